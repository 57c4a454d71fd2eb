// Data: a shared buffer and the part of it that this object shows.
#include "sifterra/platform/Data.h"

#include <utility>

namespace sifterra::platform {

Data::Data(std::string bytes)
    : owner_(std::make_shared<const std::string>(std::move(bytes))), bytes_(*owner_) {}

Data::Data(std::span<const std::byte> bytes)
    : Data(std::string(reinterpret_cast<const char*>(bytes.data()), bytes.size())) {}

Data Data::slice(std::size_t offset, std::size_t count) const {
  Data part = *this;
  if (part.isNull()) return part;
  part.bytes_ = offset < bytes_.size() ? bytes_.substr(offset, count) : std::string_view();
  return part;
}

}  // namespace sifterra::platform
