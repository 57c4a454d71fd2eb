// BodyDecoder: a chain of layers, each with a small buffer for what it hands to the next.
#include "BodyDecoder.h"

#include <algorithm>
#include <array>

#include "decoding_layers.h"

namespace sifterra::icap {

BodyDecoder::BodyDecoder(const std::vector<Coding>& codings, std::size_t limit) : limit_(limit) {
  for (auto coding = codings.rbegin(); coding != codings.rend(); ++coding)
    layers_.push_back(makeLayer(*coding));
}

BodyDecoder::~BodyDecoder() = default;

BodyDecoder::State BodyDecoder::write(std::string_view bytes) {
  if (state_ == State::Open) push(0, bytes);
  return state_;
}

BodyDecoder::State BodyDecoder::finish() {
  // A short zlib stream may wait for bytes that tell it from a bare one.
  for (std::size_t layer = 0; layer < layers_.size() && state_ == State::Open; ++layer) {
    layers_[layer]->end();
    push(layer, {});
  }
  return state_;
}

void BodyDecoder::append(std::string_view bytes) {
  const std::size_t room = limit_ - text_.size();
  text_.append(bytes.substr(0, room));
  if (bytes.size() >= room) state_ = State::Full;
}

void BodyDecoder::push(std::size_t index, std::string_view bytes) {
  if (index == layers_.size()) {
    append(bytes);
    return;
  }
  Layer& layer = *layers_[index];
  const bool last = index + 1 == layers_.size();
  std::array<char, 16384> buffer;
  while (state_ == State::Open) {
    const std::size_t waiting = bytes.size();
    std::size_t produced = buffer.size();
    const Layer::Status status = layer.decode(&bytes, buffer.data(), &produced);
    if (!last && (between_ += produced) > kMostBetween) {
      state_ = State::Excessive;
      return;
    }
    if (produced > 0) push(index + 1, {buffer.data(), produced});
    if (state_ != State::Open) return;
    if (status == Layer::Status::Damaged) state_ = State::Damaged;
    if (status == Layer::Status::Ended) state_ = State::Ended;
    if (status != Layer::Status::Going || (bytes.empty() && produced < buffer.size())) return;
    if (produced == 0 && bytes.size() == waiting) return;  // it waits for bytes that are not here yet
  }
}

}  // namespace sifterra::icap
