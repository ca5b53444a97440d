// The key for completion.
#pragma once

namespace rv {

// Asks the program for candidates for the word at the cursor; completes it as far as they agree, or shows them below
// the line. is_second: the key before was the same: then a single candidate that stands there already is described.
void tab_pressed(bool is_second);

}  // namespace rv
