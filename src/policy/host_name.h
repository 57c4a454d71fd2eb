// host_name.h: where the site stands in the name of a host.
#pragma once

#include <cstddef>
#include <string_view>

namespace sifterra {

// Digits and dots only, at least one.
[[nodiscard]] bool isNumericHost(std::u16string_view host) noexcept;

// Where the last two labels start; 0 when there are no more.
[[nodiscard]] std::size_t lastTwoLabels(std::u16string_view host) noexcept;

// The end of the name that tells the site (see hostnameFromSecondLevelDomain), in the case that it has.
[[nodiscard]] std::u16string_view siteOfHost(std::u16string_view host) noexcept;

}  // namespace sifterra
