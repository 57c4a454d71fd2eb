// directives: the settings as c-icap's configuration file spells them, "sifterra.DefaultUser family".
#pragma once

#include "Settings.h"

struct ci_conf_entry;

namespace sifterra::icap {

// Ends with an empty entry. Changes configuredSettings().
extern ci_conf_entry directiveTable[];

// What the configuration file says so far.
[[nodiscard]] Settings& configuredSettings();

}  // namespace sifterra::icap
