// WFJavascriptStripper: reduces the text of a script to the string literals in it.
//
// What a script shows a visitor stands in its quoted strings. All operations are pure and take time
// linear in the text.
#pragma once

#include <string_view>
#include <vector>

#include "sifterra/platform/Export.h"
#include "sifterra/platform/String.h"

namespace sifterra {

class WF_API WFJavascriptStripper {
 public:
  // The strings of the script, markup removed first: those of each piece on a line of their own, a
  // comma behind each. Empty for null.
  [[nodiscard]] static platform::String stripJavascript(const platform::String& script);
  // The text split at every ";" and every line feed, empty pieces included; nothing for null.
  [[nodiscard]] static std::vector<platform::String> getJavascriptLines(const platform::String& script);
  // The double-quoted strings of the line, then the single-quoted ones.
  [[nodiscard]] static platform::String javascriptStripLine(const platform::String& line);
  // What stands between each pair of tokens, a comma behind each; there are no escapes.
  [[nodiscard]] static platform::String getStringsFromLine(const platform::String& line,
                                                           const platform::String& withTokenCharacter);
};

}  // namespace sifterra
