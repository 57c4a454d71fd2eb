// url_domain.h: what of a host or an address tells the site. The receiver comes first.
//
//   hostnameFromSecondLevelDomain(URL of "https://shop.example.com/a")   gives "example.com"
//   hostnameFromSecondLevelDomain(URL of "https://www.example.de/")      gives "example.de"
//   normalizedRelativePath(URL of "https://example.com/News/Sport//")    gives "/news/sport"
//
// None of these writes a log line; any thread may call them at any time.
#pragma once

#include "sifterra/platform/Export.h"
#include "sifterra/platform/String.h"
#include "sifterra/platform/URL.h"

namespace sifterra {

// Whether the text consists of digits and dots only; false for the empty and the null text. Nothing is said
// about how many there are: "999.1" and "..." are numeric.
[[nodiscard]] WF_API bool _isIPv4DomainAddress(const platform::String& receiver);

// The last two labels of a host name with more of them; any other, and a numeric one, as it is. Knows no
// suffixes: "a.b.co.uk" gives "co.uk". The name is spelled as programs know it.
[[nodiscard]] WF_API platform::String stringWithMostSignificatDomainPart(const platform::String& receiver);

// Whether the address has a host of digits and dots only.
[[nodiscard]] WF_API bool hostnameIsIPAddress(const platform::URL& receiver);

// The site that the address belongs to, in lower case: two labels under com, edu, gov, mil, net, org and us,
// the host without a leading "www" under any other. The host is null, and so is the answer, when the address
// has none or an empty one.
//
// Kept: under any other label nothing is cut but "www", for the lists are written that way.
//
// A numeric host stands for the name that the name service knows for it (platform/NameLookup.h: bounded in
// time, can be switched off), and for itself when there is none.
[[nodiscard]] WF_API platform::String hostnameFromSecondLevelDomain(const platform::URL& receiver);

// The path in lower case, as it stands in the address (escapes stay), without slashes at its end; never null.
[[nodiscard]] WF_API platform::String normalizedRelativePath(const platform::URL& receiver);

}  // namespace sifterra
