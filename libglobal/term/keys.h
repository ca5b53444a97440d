// Keys: bytes of the terminal collected to whole characters and whole escape sequences. Nothing here reads.
#pragma once

#include <string>

namespace rv {

class Keys {
 public:
    // Takes a byte. Returns a key once it is whole, else an empty text; what begins no key is dropped, and so is a
    // character that nobody can type (not UTF-8, or a control character beyond ASCII).
    std::string add(unsigned char byte);
    // Whether nothing but Escape has come: a key of its own, or the beginning of a sequence.
    bool is_escape() const { return part_ == "\033"; }
    // Gives what has come so far as a key.
    std::string take();

 private:
    std::string part_;
};

}  // namespace rv
