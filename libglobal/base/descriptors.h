// Standard descriptors that a program was started without.
#pragma once

namespace rv {

// Opens /dev/null where descriptor 0, 1 or 2 is closed; else the first socket would be given its number, and what is
// printed would go there. To be called first of all: ends the program with status 1 when it can't.
void fill_standard_descriptors();

}  // namespace rv
