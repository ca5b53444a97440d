// The progress bar.
#include <algorithm>
#include <string>

#include <stdio.h>
#include <unistd.h>

#include "libglobal/term/columns.h"
#include "libglobal/term/text.h"
#include "rv/rl.h"

namespace {

constexpr int percent_width = 5;  // with its blank
constexpr int frame_width = 3;    // of the bar: a blank and brackets
constexpr int kept_free = 3;      // two columns, and the last one, where terminals differ

}  // namespace

void rv_rl_draw_progressbar(int percent, const char *label) {
    if (!isatty(STDOUT_FILENO)) return;
    percent = std::clamp(percent, 0, 100);
    const int room = std::max(rv::terminal_size().columns - percent_width - kept_free, 0);
    const std::string whole = rv::printable(label);
    const std::string text(rv::cut_to_width(whole, room));
    printf("\r%s", text.c_str());
    const int bar = room - rv::text_width(text) - frame_width;
    if (bar > 0) {
        const int done = bar * percent / 100;
        printf(" [%s%s]", std::string(static_cast<size_t>(done), '#').c_str(),
               std::string(static_cast<size_t>(bar - done), '-').c_str());
    }
    printf(" %3d%%\033[K", percent);
    fflush(stdout);
}
