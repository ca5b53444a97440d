// The kernel's random source.
#include "ravd/firmware/random_id.h"

#include <array>
#include <cstdlib>

#include <sys/random.h>

#include "ravd/hex.h"

namespace ravd {

std::string random_id() {
    std::array<unsigned char, 16> bytes;
    if (getrandom(bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size())) abort();
    return hex_digits(bytes);
}

}  // namespace ravd
