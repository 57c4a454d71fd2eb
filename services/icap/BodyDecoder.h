// BodyDecoder: the first bytes of a body behind its content codings, as they arrive.
//
//   BodyDecoder decoder({Coding::Gzip}, limit);
//   while (decoder.state() == BodyDecoder::State::Open && more()) decoder.write(chunk());
//   decoder.finish();
//   judge(decoder.text());
//
// What comes out is bounded by the limit, and what passes between two codings by kMostBetween, so that a body
// that grows without end costs neither memory nor time. A body that ends early or turns to nonsense half way
// leaves what could be read, as it does in a browser.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "content_coding.h"

namespace sifterra::icap {

class BodyDecoder {
 public:
  enum class State {
    Open,      // more is welcome
    Full,      // the limit is reached
    Ended,     // the codings say that nothing more belongs to the body
    Damaged,   // not what its codings promise
    Excessive  // too many bytes between two codings
  };

  static constexpr std::size_t kMostBetween = std::size_t{32} << 20;

  // The codings in the order in which they were applied: the last one is taken off first.
  BodyDecoder(const std::vector<Coding>& codings, std::size_t limit);
  ~BodyDecoder();
  BodyDecoder(const BodyDecoder&) = delete;
  BodyDecoder& operator=(const BodyDecoder&) = delete;

  State write(std::string_view bytes);
  // No more bytes will come.
  State finish();

  [[nodiscard]] State state() const noexcept { return state_; }
  [[nodiscard]] const std::string& text() const noexcept { return text_; }
  [[nodiscard]] std::string takeText() noexcept { return std::move(text_); }

  // One coding. Public for its implementations alone.
  class Layer;

 private:
  void push(std::size_t layer, std::string_view bytes);
  void append(std::string_view bytes);

  std::vector<std::unique_ptr<Layer>> layers_;  // outermost first
  std::size_t limit_;
  std::size_t between_ = 0;
  State state_ = State::Open;
  std::string text_;
};

}  // namespace sifterra::icap
