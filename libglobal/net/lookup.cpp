// A look-up is shared by the thread that asks the name servers and the one that waits for it; whichever lets go of it
// last frees it, so that the waiting side can leave at any time.
#include "libglobal/net/lookup.h"

#include <atomic>
#include <string>
#include <utility>

#include <errno.h>
#include <pthread.h>
#include <signal.h>
#include <stdio.h>
#include <strings.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

namespace rv {

struct Lookup {
    std::string host;
    uint16_t port = 0;
    int done = -1;  // an event descriptor
    addrinfo *found = nullptr;
    int system_error = 0;
    std::atomic<int> result{0};  // set last: whoever has read it may read the two above
    std::atomic<int> owners{2};
};

namespace {

int ask(const char *host, uint16_t port, int flags, addrinfo **found) {
    char service[8];
    snprintf(service, sizeof service, "%u", unsigned{port});
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_NUMERICSERV | flags;
    return getaddrinfo(host, service, &hints, found);
}

void *run(void *arg) {
    auto *lookup = static_cast<Lookup *>(arg);
    const int result = ask(lookup->host.c_str(), lookup->port, AI_ADDRCONFIG, &lookup->found);
    lookup->system_error = errno;
    lookup->result = result;
    eventfd_write(lookup->done, 1);
    drop_lookup(lookup);
    return nullptr;
}

int start_detached(Lookup *lookup) {
    sigset_t all, before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    pthread_t thread;
    const int err = pthread_create(&thread, nullptr, run, lookup);
    if (err == 0) pthread_detach(thread);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return err;
}

}  // namespace

Lookup *start_lookup(const char *host, uint16_t port) {
    auto *lookup = new Lookup;
    lookup->host = host;
    lookup->port = port;
    lookup->done = eventfd(0, EFD_CLOEXEC);
    const int err = lookup->done < 0 ? errno : start_detached(lookup);
    if (err == 0) return lookup;
    lookup->owners = 1;
    drop_lookup(lookup);
    errno = err;
    return nullptr;
}

int lookup_fd(const Lookup *lookup) {
    return lookup->done;
}

int lookup_result(Lookup *lookup, addrinfo **found) {
    const int result = lookup->result;
    *found = std::exchange(lookup->found, nullptr);
    if (result == EAI_SYSTEM) errno = lookup->system_error;
    return result;
}

void drop_lookup(Lookup *lookup) {
    if (!lookup || lookup->owners.fetch_sub(1) > 1) return;
    if (lookup->found) freeaddrinfo(lookup->found);
    if (lookup->done >= 0) close(lookup->done);
    delete lookup;
}

int known_address(const char *host, uint16_t port, addrinfo **found) {
    // without a name, getaddrinfo() gives the loopback addresses
    return ask(strcasecmp(host, "localhost") == 0 ? nullptr : host, port, AI_NUMERICHOST, found);
}

}  // namespace rv
