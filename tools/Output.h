// Output: standard output, exactly, and messages on standard error.
//
// A reader that goes away (`sifterra check ... | head -1`) is no error worth a message: writing just
// stops. Any other failure to write is reported once.
#pragma once

#include <string>
#include <string_view>

namespace sifterra::tools {

class Output {
 public:
  // Writes all bytes; false when that is no longer possible.
  bool write(std::string_view bytes);
  // Whether standard output is a terminal.
  [[nodiscard]] static bool isTerminal();
  // Hands on what is buffered; false when writing failed now or before. Reports why, except for a
  // reader that went away.
  bool finish();

 private:
  bool failed_ = false;
};

// "sifterra: MESSAGE" on standard error, after what was written to standard output before. Control characters
// in the message become "?".
void printError(const std::string& message);

}  // namespace sifterra::tools
