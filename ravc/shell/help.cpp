// help: every command with its usage.
#include "ravc/shell/help.h"

#include <algorithm>
#include <vector>

#include <stdio.h>
#include <string.h>

#include "ravc/commands/handlers.h"
#include "ravc/shell/colors.h"

void help_show(std::span<const command_row> rows) {
    std::vector<command_row> shown;
    std::copy_if(rows.begin(), rows.end(), std::back_inserter(shown),
                 [](const command_row &row) { return row.usage && row.help; });
    std::stable_sort(shown.begin(), shown.end(),
                     [](const command_row &a, const command_row &b) { return strcmp(a.name, b.name) < 0; });
    size_t width = 0;
    for (const command_row &row : shown) width = std::max(width, strlen(row.usage));
    if (width == 0) {
        printf("No available help. Please refer to #15692");  // without a newline: intended
        return;
    }
    for (const command_row &row : shown) {
        rv_colors_set_hsv2(color_of(COLOR_AUTOCOMPLETE));
        printf("%-*s", static_cast<int>(width), row.usage);
        rv_colors_reset();
        printf(" - %s\n", row.help);
    }
}

int process_help(const char *, json_t *) {
    help_show(command_table());
    return 0;
}
