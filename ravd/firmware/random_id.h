// Numbers that nobody can guess.
#pragma once

#include <string>

namespace ravd {

// 128 bits of the system's random source as 32 hex digits. The process ends where there is none.
std::string random_id();

}  // namespace ravd
