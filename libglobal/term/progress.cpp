// The progress bar.
#include <algorithm>
#include <string>

#include <stdio.h>
#include <unistd.h>

#include "libglobal/term/columns.h"
#include "libglobal/term/text.h"
#include "rv/rl.h"

void rv_rl_draw_progressbar(int percent, const char *label) {
    if (!isatty(STDOUT_FILENO)) return;
    percent = std::clamp(percent, 0, 100);
    const std::string text = rv::printable(label);
    constexpr int beside = 11;  // blank, brackets, blank and percent, two columns kept free, and the last column
    const int room = rv::terminal_size().columns - rv::text_width(text) - beside;
    printf("\r%s", text.c_str());
    if (room > 0) {
        const int done = room * percent / 100;
        printf(" [%s%s]", std::string(static_cast<size_t>(done), '#').c_str(),
               std::string(static_cast<size_t>(room - done), '-').c_str());
    }
    printf(" %3d%%\033[K", percent);
    fflush(stdout);
}
