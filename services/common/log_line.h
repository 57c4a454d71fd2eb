// log_line: what a service tells the journal.
#pragma once

#include <string>

namespace sifterra::services {

// One line to standard error, with the level that the journal reads in front (3 error, 4 warning, 5 notice, 6
// info); at a terminal with the program's name instead.
void logLine(const char* program, int level, const std::string& text);

}  // namespace sifterra::services
