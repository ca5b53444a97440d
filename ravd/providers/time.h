// The clock: the parts that read nothing.
#pragma once

#include <ctime>
#include <string>
#include <string_view>

namespace ravd {

// local, with its distance from UTC in its own field, as a dateTime: "2024-02-29T13:00:00+01:00", "Z" for no distance.
std::string local_text(const tm &local);

// The rule in POSIX form that ends a compiled time zone file ("CET-1CEST,M3.5.0,M10.5.0/3"); empty when the file is
// none or has no rule.
std::string zone_rule(std::string_view file);

}  // namespace ravd
