// ravc: start, run the chosen mode, tear down.
#include <exception>

#include <jansson.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/auxv.h>
#include <sys/resource.h>
#include <unistd.h>

#include "libglobal/base/descriptors.h"
#include "ravc/daemon/connections.h"
#include "ravc/main/identity.h"
#include "ravc/main/modes.h"
#include "ravc/main/options.h"
#include "ravc/main/startup.h"

// In the place of the C++ library's own handler, which brings a demangler of 50 KB with it to name the exception.
void __gnu_cxx::__verbose_terminate_handler() {
    fputs("ravc: fatal error, most likely out of memory.\n", stderr);
    abort();
}

// jansson would open /dev/urandom for the seed of its hashes; the kernel has left random bytes with the program.
static void seed_hashes() {
    size_t seed = 0;
    if (const auto *random = reinterpret_cast<const void *>(getauxval(AT_RANDOM))) memcpy(&seed, random, sizeof seed);
    json_object_seed(seed);
}

// A password may be in memory: no core image of it is left behind. The hard limit stays, for programs run from here.
static void forbid_core_images() {
    rlimit limit;
    if (getrlimit(RLIMIT_CORE, &limit) != 0) return;
    limit.rlim_cur = 0;
    setrlimit(RLIMIT_CORE, &limit);
}

static Options options;

// Whatever ends the program in good order passes through here.
static void tear_down() {
    connections_deinit();
    options_release(&options);
    identity_release();
}

int main(int argc, char **argv) {
    rv::fill_standard_descriptors();
    forbid_core_images();
    seed_hashes();
    connections_init();
    atexit(tear_down);
    const int result = options_parse(argc, argv, &options);
    if (result != -1) return result;
    return startup(&options) == 0 ? run_mode(&options) : 1;
}
