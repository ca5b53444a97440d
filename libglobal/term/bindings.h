// Which key does what. Nothing here prints by itself.
#pragma once

#include <string_view>

namespace rv {

// A key that nobody can type, which ends a line without a trace.
inline constexpr char drop_key = '\xff';

// Our bindings, then the user's inputrc as readline finds it (INPUTRC, ~/.inputrc, /etc/inputrc), then what no file may
// bring back. For an initialised readline.
void bindings_init();

// Whether key, a single one, is the first of a sequence of keys; Escape is not counted.
bool bindings_begin_sequence(std::string_view key);

// Whether the key for completion was pressed since the last call.
bool bindings_completion_asked();

}  // namespace rv
