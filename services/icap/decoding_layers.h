// decoding_layers: the content codings, each as a step that can be stopped at any byte.
#pragma once

#include <cstddef>
#include <memory>
#include <string_view>

#include "BodyDecoder.h"

namespace sifterra::icap {

class BodyDecoder::Layer {
 public:
  enum class Status { Going, Ended, Damaged };

  Layer() = default;
  Layer(const Layer&) = delete;
  Layer& operator=(const Layer&) = delete;
  virtual ~Layer() = default;

  // Takes bytes off the front of *in and writes at most *size bytes to out; *size receives how many. Going:
  // call again when there are more bytes, or when out was filled.
  virtual Status decode(std::string_view* in, char* out, std::size_t* size) = 0;
  // Nothing more will come in.
  virtual void end() {}
};

// Throws std::bad_alloc.
[[nodiscard]] std::unique_ptr<BodyDecoder::Layer> makeLayer(Coding coding);

}  // namespace sifterra::icap
