// Standard descriptors that a program was started without.
#include "libglobal/base/descriptors.h"

#include <fcntl.h>
#include <unistd.h>

namespace rv {

void fill_standard_descriptors() {
    for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; fd++)
        if (fcntl(fd, F_GETFD) == -1 && open("/dev/null", O_RDWR) != fd) _exit(1);
}

}  // namespace rv
