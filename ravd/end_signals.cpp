#include "ravd/end_signals.h"

#include <cerrno>
#include <cstring>
#include <utility>

#include <signal.h>
#include <sys/signalfd.h>

namespace ravd {

namespace {

sigset_t end_signals() {
    sigset_t set;
    sigemptyset(&set);
    for (const int number : {SIGTERM, SIGINT}) sigaddset(&set, number);
    return set;
}

}  // namespace

EndSignals::EndSignals(event_base *base, std::function<void()> call) : base_(base), call_(std::move(call)) {
    const sigset_t set = end_signals();
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
}

EndSignals::~EndSignals() {
    if (on_signal_ != nullptr) event_free(on_signal_);
}

bool EndSignals::open(std::string &error) {
    const sigset_t set = end_signals();
    source_.reset(signalfd(-1, &set, SFD_NONBLOCK | SFD_CLOEXEC));
    if (!source_) {
        error = std::string("signalfd: ") + strerror(errno);
        return false;
    }
    on_signal_ = event_new(
        base_, source_.get(), EV_READ | EV_PERSIST,
        [](evutil_socket_t, short, void *self) { static_cast<EndSignals *>(self)->take(); }, this);
    event_add(on_signal_, nullptr);
    return true;
}

void EndSignals::take() {
    signalfd_siginfo info;
    while (read(source_.get(), &info, sizeof info) == static_cast<ssize_t>(sizeof info)) call_();
}

}  // namespace ravd
