#include "libglobal/term/open_row.h"

#include <algorithm>

#include "libglobal/base/colors.h"
#include "libglobal/term/text.h"

void rv::OpenRow::open(std::string_view line, std::string_view hint, int left) {
    is_open_ = true;
    is_ahead_ = false;
    line_ = line;
    hint_width_ = text_width(hint);
    left_ = left;
}

void rv::OpenRow::close() {
    is_open_ = is_ahead_ = false;
}

bool rv::OpenRow::type_on(std::string_view line, std::string_view hint, std::string_view hint_color,
                          std::string *output) {
    if (!is_open_ || !line.starts_with(line_)) return false;
    const std::string_view added = line.substr(line_.size());
    if (!is_narrow(added) || !is_narrow(hint)) return false;
    const int added_width = text_width(added), hint_width = text_width(hint);
    if (added_width + hint_width >= left_) return false;
    *output = added;
    if (!hint.empty()) (((*output += hint_color) += hint) += color_end);
    const int stale = std::max(hint_width_ - added_width - hint_width, 0);  // columns of the hint before
    output->append(static_cast<size_t>(stale), ' ');
    output->append(static_cast<size_t>(hint_width + stale), '\b');
    is_ahead_ = true;
    line_ = line;
    hint_width_ = hint_width;
    left_ -= added_width;
    return true;
}
