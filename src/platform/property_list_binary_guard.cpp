// binaryPropertyListProblem: the objects of a binary list walked from the root, without recursion.
//
// Objects refer to each other by number, so one may stand in many places, or inside itself. Each is visited
// once; its depth, number of values and number of bytes are those of its parts added up, and the sums stop
// growing at the limits.
#include <algorithm>
#include <cstdint>
#include <vector>

#include "platform/property_list_guard.h"

namespace sifterra::platform {
namespace {

constexpr std::string_view kMagic = "bplist00";
constexpr std::size_t kTrailerBytes = 32;

constexpr auto kTruncated = "its table of objects is damaged";
constexpr auto kTooMany = "it holds more than 2,000,000 values";
constexpr auto kObject = "an object reaches beyond its end";

// What one object takes, everything below it included.
struct Extent {
  enum class State : std::uint8_t { New, Open, Done } state = State::New;
  bool isKey = false;  // a text without zero characters, over which libplist would end the process
  std::uint8_t depth = 0;
  std::uint32_t values = 0;
  std::uint64_t bytes = 0;
};

// The header of an object.
struct Object {
  unsigned kind = 0;
  std::uint64_t count = 0;     // of elements, units or bytes
  std::uint64_t payload = 0;   // where they begin
  std::uint64_t children = 0;  // references
};

class Guard {
 public:
  explicit Guard(std::string_view bytes) : bytes_(bytes) {}

  const char* run() {
    if (const char* problem = readTrailer()) return problem;
    extents_.resize(objects_);
    return walk();
  }

 private:
  struct Visit {
    std::uint64_t number = 0;
    Object object;
    std::uint64_t next = 0;  // the reference to follow
  };

  std::uint64_t number(std::uint64_t at, unsigned size) const {
    std::uint64_t value = 0;
    for (unsigned i = 0; i < size; ++i) value = value << 8 | static_cast<unsigned char>(bytes_[at + i]);
    return value;
  }

  const char* readTrailer() {
    if (bytes_.size() < kMagic.size() + kTrailerBytes) return kTruncated;
    end_ = bytes_.size() - kTrailerBytes;
    offsetBytes_ = static_cast<unsigned>(number(end_ + 6, 1));
    referenceBytes_ = static_cast<unsigned>(number(end_ + 7, 1));
    objects_ = number(end_ + 8, 8);
    root_ = number(end_ + 16, 8);
    table_ = number(end_ + 24, 8);
    if (offsetBytes_ < 1 || offsetBytes_ > 8 || referenceBytes_ < 1 || referenceBytes_ > 8) return kTruncated;
    if (table_ < kMagic.size() || table_ > end_ || objects_ == 0 || root_ >= objects_) return kTruncated;
    if (objects_ > (end_ - table_) / offsetBytes_) return kTruncated;
    // What nothing refers to counts too, or a table of 64 MiB would take 1 GiB here.
    return objects_ > kMostPropertyListValues ? kTooMany : nullptr;
  }

  // The object with that number; what is wrong with it, or null.
  const char* read(std::uint64_t objectNumber, Object& object) const {
    std::uint64_t at = number(table_ + objectNumber * offsetBytes_, offsetBytes_);
    if (at < kMagic.size() || at >= table_) return kObject;
    const auto marker = static_cast<unsigned char>(bytes_[at++]);
    object.kind = marker >> 4;
    object.count = marker & 0xF;
    const bool counted = object.kind >= 0x4 && object.kind <= 0xD && object.kind != 0x8;
    if (counted && object.count == 0xF) {
      if (at >= table_) return kObject;
      const auto sizeMarker = static_cast<unsigned char>(bytes_[at++]);
      const unsigned size = 1U << (sizeMarker & 0xF);
      if (sizeMarker >> 4 != 1 || size > 8 || size > table_ - at) return kObject;
      object.count = number(at, size);
      at += size;
    }
    object.payload = at;
    return measure(object);
  }

  // Whether the payload lies inside; sets the number of references.
  const char* measure(Object& object) const {
    std::uint64_t unit = 1;
    switch (object.kind) {
      case 0x0:
        return object.count == 8 || object.count == 9 ? nullptr : "it holds a value of an unknown kind";
      case 0x1:
      case 0x2:
      case 0x3:  // the nibble is the binary logarithm of the size
        object.count = object.count <= 4 ? std::uint64_t{1} << object.count : ~std::uint64_t{0};
        break;
      case 0x8:
        object.count += 1;
        break;
      case 0x4:
      case 0x5:
        break;
      case 0x6:
        unit = 2;
        break;
      case 0xA:
        unit = referenceBytes_;
        object.children = object.count;
        break;
      case 0xD:
        unit = std::uint64_t{2} * referenceBytes_;
        object.children = object.count;
        break;
      default:
        return "it holds a value of an unknown kind";
    }
    if (object.count > (table_ - object.payload) / unit) return kObject;
    if (object.kind == 0xD) object.children *= 2;
    return nullptr;
  }

  const char* open(std::uint64_t objectNumber, std::vector<Visit>& path) {
    if (path.size() > kDeepestPropertyList) return "it is nested deeper than 64 levels";
    Visit visit{objectNumber, {}, 0};
    if (const char* problem = read(objectNumber, visit.object)) return problem;
    Extent& extent = extents_[objectNumber];
    extent.state = Extent::State::Open;
    extent.values = 1;
    extent.isKey = isKey(visit.object);
    // libplist spells UTF-16 as UTF-8, which takes up to three bytes for two.
    extent.bytes = visit.object.children ? 0 : visit.object.count * 3;
    path.push_back(visit);
    return nullptr;
  }

  bool isKey(const Object& object) const {
    if (object.kind == 0x5)
      return bytes_.substr(object.payload, object.count).find('\0') == std::string_view::npos;
    if (object.kind != 0x6) return false;
    for (std::uint64_t i = 0; i < object.count; ++i) {
      if (number(object.payload + 2 * i, 2) == 0) return false;
    }
    return true;
  }

  const char* walk() {
    std::vector<Visit> path;
    if (const char* problem = open(root_, path)) return problem;
    while (!path.empty()) {
      Visit& visit = path.back();
      Extent& extent = extents_[visit.number];
      if (visit.next == visit.object.children) {
        // A container is a level, whatever it holds.
        if (visit.object.kind >= 0xA) ++extent.depth;
        if (extent.depth > kDeepestPropertyList) return "it is nested deeper than 64 levels";
        extent.state = Extent::State::Done;
        path.pop_back();
        continue;
      }
      const std::uint64_t child =
          number(visit.object.payload + visit.next * referenceBytes_, referenceBytes_);
      if (child >= objects_) return kObject;
      const Extent& below = extents_[child];
      if (below.state == Extent::State::Open) return "an object holds itself";
      if (below.state == Extent::State::New) {
        if (const char* problem = open(child, path)) return problem;
        continue;  // the reference is looked at again when the object is done
      }
      const bool isKeyReference = visit.object.kind == 0xD && visit.next < visit.object.count;
      if (isKeyReference && !below.isKey) return "a key of a dictionary is no text";
      ++visit.next;
      extent.depth = std::max(extent.depth, below.depth);
      extent.values += below.values;
      extent.bytes += below.bytes;
      if (extent.values > kMostPropertyListValues) return kTooMany;
      if (extent.bytes > kLargestPropertyList * 3) return "its shared parts unfold to more than 64 MiB";
    }
    return nullptr;
  }

  std::string_view bytes_;
  std::uint64_t end_ = 0;    // where the trailer begins
  std::uint64_t table_ = 0;  // where the table of offsets begins
  std::uint64_t objects_ = 0;
  std::uint64_t root_ = 0;
  unsigned offsetBytes_ = 0;
  unsigned referenceBytes_ = 0;
  std::vector<Extent> extents_;
};

}  // namespace

bool isBinaryPropertyList(std::string_view bytes) noexcept {
  return bytes.starts_with("bplist");
}

const char* binaryPropertyListProblem(std::string_view bytes) {
  if (!bytes.starts_with(kMagic)) return "it is a binary property list of an unknown version";
  return Guard(bytes).run();
}

}  // namespace sifterra::platform
