#include "lsm/training/MapWriter.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <numeric>
#include <span>
#include <system_error>

#include "lsm/MapFile.h"
#include "lsm/MapHeader.h"
#include "lsm/map_generated.h"
#include "lsm/training/quantised_rows.h"
#include "lsm/training/word_tables.h"

#define XXH_INLINE_ALL
#include <xxhash.h>

namespace sifterra::lsm {
namespace {

// The file has finite numbers only: below 0 stands for "never a piece".
float costInFile(float cost) {
  return std::isfinite(cost) ? cost : -1.0f;
}

bool allFinite(const std::vector<float>& values) {
  return std::all_of(values.begin(), values.end(), [](float value) { return std::isfinite(value); });
}

std::size_t mostOfOneKey(const std::vector<NearKey>& keys) {
  std::vector<std::uint64_t> sorted;
  sorted.reserve(keys.size());
  for (const NearKey& key : keys) sorted.push_back(key.key);
  std::sort(sorted.begin(), sorted.end());
  std::size_t most = 0;
  for (std::size_t i = 0; i < sorted.size();) {
    const std::size_t from = i;
    while (i < sorted.size() && sorted[i] == sorted[from]) ++i;
    most = std::max(most, i - from);
  }
  return most;
}

bool memoryAgrees(const MapContents& contents) {
  const MapMemory& memory = contents.memory;
  return memory.weights.size() == memory.categories.size() && memory.pages.size() == memory.offsets.size() &&
         memory.points.size() == memory.pages.size() * contents.rank && allFinite(memory.points) &&
         allFinite(memory.weights) && allFinite(memory.offsets);
}

bool sizesAgree(const MapContents& contents, std::string& why) {
  const std::size_t rank = contents.rank;
  if (rank == 0) {
    why = "the rank is 0";
  } else if (contents.words.empty() || contents.words.size() > kMaxWords) {
    why = "a map of " + std::to_string(contents.words.size()) + " words cannot be written";
  } else if (contents.wordRows.size() != contents.words.size() * rank) {
    why = "the rows do not fit the words";
  } else if (!std::has_single_bit(contents.bucketCount)) {
    why = "the number of buckets is no power of two";
  } else if (contents.bucketRows.size() != std::size_t{contents.bucketCount} * rank) {
    why = "the rows do not fit the buckets";
  } else if (!memoryAgrees(contents)) {
    why = "the memory does not agree with itself";
  } else if (contents.head.size() != contents.categoryCount * rank ||
             contents.bias.size() != contents.categoryCount) {
    why = "the head does not fit the categories";
  } else if (std::any_of(contents.nearKeys.begin(), contents.nearKeys.end(),
                         [&](const NearKey& key) { return key.word >= contents.words.size(); })) {
    why = "a near word is none of the words";
  } else if (mostOfOneKey(contents.nearKeys) > kMaxProbes / 2) {
    why = "too many words share a key";
  } else if (!allFinite(contents.wordRows) || !allFinite(contents.bucketRows) || !allFinite(contents.head) ||
             !allFinite(contents.bias)) {
    why = "a number is not finite";
  } else {
    return true;
  }
  return false;
}

bool wordsDiffer(const std::vector<MapWord>& words, std::string& why) {
  std::vector<std::string_view> sorted;
  sorted.reserve(words.size());
  for (const MapWord& word : words) sorted.push_back(word.text);
  std::sort(sorted.begin(), sorted.end());
  const auto twice = std::adjacent_find(sorted.begin(), sorted.end());
  if (twice != sorted.end()) {
    why = "the word \"" + std::string(*twice) + "\" stands twice";
    return false;
  }
  return true;
}

flatbuffers::Offset<flatbuffers::Vector<flatbuffers::Offset<file::Property>>> addProperties(
    flatbuffers::FlatBufferBuilder& builder, const LsmProperties& properties) {
  if (properties.empty()) return 0;
  std::vector<flatbuffers::Offset<file::Property>> entries;
  for (const auto& [key, value] : properties) {
    const auto keyAt = builder.CreateString(key);
    if (const auto* text = std::get_if<std::string>(&value)) {
      entries.push_back(file::CreateProperty(builder, keyAt, 0, builder.CreateString(*text)));
    } else {
      entries.push_back(file::CreateProperty(builder, keyAt, std::get<float>(value)));
    }
  }
  return builder.CreateVector(entries);
}

flatbuffers::Offset<flatbuffers::Vector<std::int8_t>> addRows(flatbuffers::FlatBufferBuilder& builder,
                                                              const std::vector<std::int8_t>& values) {
  builder.ForceVectorAlignment(values.size(), sizeof(std::int8_t), 32);
  return builder.CreateVector(values);
}

std::vector<float> padded(const std::vector<float>& rows, std::size_t count, std::uint32_t rank,
                          std::uint32_t stride) {
  std::vector<float> result(count * stride, 0.0f);
  for (std::size_t i = 0; i < count; ++i) {
    std::copy_n(rows.data() + i * rank, rank, result.data() + i * stride);
  }
  return result;
}

// The contents with frequent words first (cheap as pieces means frequent): the words of a page then lie close
// together in the file's tables, which are larger than a processor's near caches.
MapContents byFrequency(const MapContents& contents) {
  std::vector<std::size_t> order(contents.words.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::stable_sort(order.begin(), order.end(), [&contents](std::size_t a, std::size_t b) {
    return costInFile(contents.words[a].splitCost) < costInFile(contents.words[b].splitCost);
  });
  MapContents sorted = contents;
  std::vector<std::uint32_t> place(order.size());
  for (std::size_t i = 0; i < order.size(); ++i) {
    sorted.words[i] = contents.words[order[i]];
    std::copy_n(contents.wordRows.data() + order[i] * contents.rank, contents.rank,
                sorted.wordRows.data() + i * contents.rank);
    place[order[i]] = static_cast<std::uint32_t>(i);
  }
  for (NearKey& key : sorted.nearKeys) key.word = place[key.word];
  return sorted;
}

flatbuffers::Offset<file::Memory> addMemory(flatbuffers::FlatBufferBuilder& builder,
                                            const MapContents& contents) {
  const MapMemory& memory = contents.memory;
  if (memory.empty()) return 0;
  const QuantisedRows points = quantised(memory.points, memory.pages.size(), contents.rank, contents.rank);
  std::vector<std::uint8_t> shares;
  for (const MapWord& word : contents.words)
    shares.push_back(static_cast<std::uint8_t>(std::lround(255 * std::clamp(word.lastShare, 0.0f, 1.0f))));
  return file::CreateMemoryDirect(builder, memory.teachingPages, &memory.weights, &memory.categories,
                                  &memory.pages, &memory.offsets, &points.scales, &points.values, &shares);
}

void buildPayload(flatbuffers::FlatBufferBuilder& builder, const MapContents& contents) {
  const std::uint32_t rank = contents.rank;
  const std::uint32_t stride = (rank + kRowPadding - 1) / kRowPadding * kRowPadding;
  const std::size_t count = contents.words.size();
  std::vector<std::uint8_t> wordBytes;
  std::vector<std::uint32_t> offsets{0};
  std::vector<float> weights;
  std::vector<float> costs;
  for (const MapWord& word : contents.words) {
    wordBytes.insert(wordBytes.end(), word.text.begin(), word.text.end());
    offsets.push_back(static_cast<std::uint32_t>(wordBytes.size()));
    weights.push_back(word.weight);
    costs.push_back(costInFile(word.splitCost));
  }
  const QuantisedRows wordRows = quantised(contents.wordRows, count, rank, stride);
  const QuantisedRows bucketRows = quantised(contents.bucketRows, contents.bucketCount, rank, stride);

  const auto properties = addProperties(builder, contents.properties);
  const auto memory = addMemory(builder, contents);
  const auto head = builder.CreateVector(padded(contents.head, contents.categoryCount, rank, stride));
  const auto bias = builder.CreateVector(contents.bias);
  const auto bytesAt = builder.CreateVector(wordBytes);
  const auto offsetsAt = builder.CreateVector(offsets);
  const auto slotsAt = builder.CreateVector(slotsFor(contents.words));
  const auto filterAt = builder.CreateVector(pieceFilterFor(contents.words));
  const auto weightsAt = builder.CreateVector(weights);
  const auto costsAt = builder.CreateVector(costs);
  const auto wordScalesAt = builder.CreateVector(wordRows.scales);
  const auto wordRowsAt = addRows(builder, wordRows.values);
  const auto bucketScalesAt = builder.CreateVector(bucketRows.scales);
  const auto bucketRowsAt = addRows(builder, bucketRows.values);
  flatbuffers::Offset<flatbuffers::Vector<std::uint64_t>> nearSlotsAt = 0;
  flatbuffers::Offset<flatbuffers::Vector<std::uint8_t>> nearFilterAt = 0;
  if (!contents.nearKeys.empty()) {
    nearSlotsAt = builder.CreateVector(nearSlotsFor(contents.nearKeys));
    nearFilterAt = builder.CreateVector(nearFilterFor(contents.nearKeys));
  }
  flatbuffers::Offset<flatbuffers::Vector<float>> partsAt = 0;
  if (!contents.partPenalties.empty()) partsAt = builder.CreateVector(contents.partPenalties);
  builder.ForceDefaults(true);
  builder.Finish(file::CreateMap(builder, properties, contents.categoryCount, rank, stride,
                                 static_cast<std::uint32_t>(count), contents.bucketCount, contents.scripts,
                                 contents.windowTokens, contents.bestWindows, contents.windowPenalty, head,
                                 bias, bytesAt, offsetsAt, slotsAt, filterAt, weightsAt, costsAt,
                                 wordScalesAt, wordRowsAt, bucketScalesAt, bucketRowsAt, partsAt,
                                 contents.partTokens, nearSlotsAt, nearFilterAt, memory),
                 file::MapIdentifier());
}

std::string withHeader(std::span<const std::uint8_t> payload) {
  MapHeader header{};
  header.magic = kMapMagic;
  header.formatVersion = kMapFormatVersion;
  header.tokenizerVersion = kTokenizerVersion;
  header.payloadBytes = payload.size();
  header.payloadHash = XXH3_64bits(payload.data(), payload.size());
  header.headerHash = XXH3_64bits(&header, kMapHeaderBytes - sizeof header.headerHash);
  std::string bytes(kMapHeaderBytes, '\0');
  std::memcpy(bytes.data(), &header, sizeof header);
  bytes.append(reinterpret_cast<const char*>(payload.data()), payload.size());
  return bytes;
}

bool systemError(std::string& why, const char* what) {
  why = std::string(what) + ": " + std::generic_category().message(errno);
  return false;
}

bool writeAll(int file, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = ::write(file, bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

// The new name must be on the disk as well; a file system that cannot do that has done what it can.
void flushDirectory(const std::filesystem::path& directory) {
  const int file = ::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (file < 0) return;
  (void)::fsync(file);
  ::close(file);
}

}  // namespace

std::string mapFileBytes(const MapContents& contents, std::string& why) {
  if (!sizesAgree(contents, why) || !wordsDiffer(contents.words, why)) return {};
  flatbuffers::FlatBufferBuilder builder(1U << 20U);
  buildPayload(builder, byFrequency(contents));
  std::string bytes = withHeader({builder.GetBufferPointer(), builder.GetSize()});
  // The reader's own rules decide about the rest (ranges, signature words): what is written can be read.
  if (!Map::ofBytes(MapBytes::copyOf(bytes), why)) return {};
  return bytes;
}

LsmMap mapOf(const MapContents& contents, std::string& why) {
  const std::string bytes = mapFileBytes(contents, why);
  return bytes.empty() ? nullptr : Map::ofBytes(MapBytes::copyOf(bytes), why);
}

bool writeMapFile(const std::string& path, const MapContents& contents, std::string& why) {
  const std::string bytes = mapFileBytes(contents, why);
  if (bytes.empty()) return false;
  const std::filesystem::path target(path);
  const std::filesystem::path directory = target.has_parent_path() ? target.parent_path() : ".";
  std::string temporary = (directory / ("." + target.filename().string() + ".XXXXXX")).string();
  const int file = ::mkostemp(temporary.data(), O_CLOEXEC);
  if (file < 0) return systemError(why, "cannot create a file beside the map");
  // Readable by all, like any resource; mkostemp makes it private.
  bool written = writeAll(file, bytes) && ::fchmod(file, 0644) == 0 && ::fsync(file) == 0;
  if (!written) systemError(why, "cannot write the map");
  ::close(file);
  if (written && ::rename(temporary.c_str(), path.c_str()) != 0) {
    written = systemError(why, "cannot rename the new map");
  }
  if (!written) {
    ::unlink(temporary.c_str());
    return false;
  }
  flushDirectory(directory);
  return true;
}

}  // namespace sifterra::lsm
