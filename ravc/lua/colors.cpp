#include "ravc/lua/colors.h"

#include <utility>

#include "libglobal/base/colors.h"

namespace {

bool colored = true;

}  // namespace

bool lua_colored() {
    return colored && rv::colors_are_on();
}

bool lua_set_colored(bool on) {
    return std::exchange(colored, on);
}

const char *lua_bold_on() {
    return lua_colored() ? "\033[1m" : "";
}

const char *lua_bold_off() {
    return lua_colored() ? "\033[22m" : "";
}
