// ravc: start, run the chosen mode, tear down.
#include <fcntl.h>
#include <unistd.h>

#include "ravc/daemon/connections.h"
#include "ravc/main/modes.h"
#include "ravc/main/options.h"
#include "ravc/main/startup.h"

// A standard descriptor that is closed would be given to the first socket, and output would go to the daemon.
static void fill_standard_descriptors() {
    for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; fd++)
        if (fcntl(fd, F_GETFD) == -1 && open("/dev/null", O_RDWR) != fd) _exit(1);
}

int main(int argc, char **argv) {
    fill_standard_descriptors();
    connections_init();
    Options options;
    int result = options_parse(argc, argv, &options);
    if (result == -1) result = startup(&options) == 0 ? run_mode(&options) : 1;
    connections_deinit();
    options_release(&options);
    return result;
}
