// Lines from where there is no terminal to draw on.
#include "libglobal/term/line_reader.h"

#include <string.h>

char *rv::LineReader::add(int byte, bool *is_end) {
    *is_end = byte < 0 && line_.empty();
    if (*is_end) return nullptr;
    if (byte >= 0 && byte != '\n') {
        line_ += static_cast<char>(byte);
        return nullptr;
    }
    if (!line_.empty() && line_.back() == '\r') line_.pop_back();
    char *line = strdup(line_.c_str());
    line_.clear();
    return line;
}
