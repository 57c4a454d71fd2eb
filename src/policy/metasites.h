// metasites.h: hosts that serve many independent sites, told apart by their paths (metasites.txt).
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <unordered_set>
#include <vector>

#include "sifterra/platform/String.h"
#include "sifterra/platform/URL.h"

namespace sifterra {

using MetasiteDomains = std::unordered_set<std::u16string>;
using MetasiteLines = std::vector<platform::String>;

// The lines of a UTF-8 file that are not empty and do not begin with "#", as they stand: only line feeds end
// a line, and neither blanks nor a carriage return at its end are dropped. Nothing, and a line in the log,
// when the file cannot be read.
[[nodiscard]] std::optional<MetasiteLines> arrayByConvertingLinesInStringsAtPath(
    const platform::String& path);

// The lines of metasites.txt; nothing when it cannot be read.
[[nodiscard]] std::optional<MetasiteLines> metasiteDomainNamesArray();
// The same as a set, loaded at the first call and kept, also when there was nothing to load.
[[nodiscard]] const MetasiteDomains& sharedMetasiteDomainNamesDictionary();
// The lines of metasites_exceptions.txt, loaded at the first call that finds them and kept; else null, and
// the next call tries again.
[[nodiscard]] std::shared_ptr<const MetasiteLines> sharedMetasiteExceptionsDomainNamesArray();

// Whether the domain of the address is such a host, and its host no exception.
[[nodiscard]] bool isURLMetasite(const platform::URL& url);

// Forgets both lists. Nothing may be asking for them meanwhile.
void resetMetasitesForTesting();

}  // namespace sifterra
