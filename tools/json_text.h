// json_text: JSON as the commands print it.
#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "sifterra/platform/String.h"

namespace sifterra::tools {

// Members keep their order. Numbers are floats, so that a score prints with the digits it has
// (0.81) and not with those of the nearest double (0.810000002384186).
using Json = nlohmann::basic_json<nlohmann::ordered_map, std::vector, std::string, bool, std::int64_t,
                                  std::uint64_t, float>;

// Null for a null string; lone surrogates become U+FFFD.
[[nodiscard]] inline Json jsonText(const platform::String& text) {
  return text ? Json(text.toUTF8()) : Json(nullptr);
}

// One line without line end. File names that are no UTF-8 get U+FFFD; not-a-number prints as null.
[[nodiscard]] inline std::string jsonLine(const Json& json) {
  return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

}  // namespace sifterra::tools
