// Lines from where there is no terminal to draw on. Nothing here prints.
#pragma once

#include <string>

namespace rv {

class LineReader {
 public:
    // Applies one byte; -1 is the end of input. Returns the finished line (new, the caller frees it), or null; *is_end
    // is set when nothing came before the end of input. A line ends with a line feed, also with a carriage return
    // before it, or with the end of input.
    char *add(int byte, bool *is_end);
    void clear() { line_.clear(); }

 private:
    std::string line_;
};

}  // namespace rv
