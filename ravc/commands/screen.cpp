// clear, pwd.
#include <stdio.h>

#include "ravc/cdpath.h"
#include "ravc/commands/handlers.h"

int process_clear(const char *, json_t *) {
    fputs("\033[2J\033[H", stdout);
    fflush(stdout);
    return 0;
}

int process_pwd(const char *, json_t *) {
    printf(":%s\n", current_path.path);
    return 0;
}
