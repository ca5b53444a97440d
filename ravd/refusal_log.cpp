// The lines, and the count of those left out.
#include "ravd/refusal_log.h"

#include <string>
#include <utility>

#include "ravd/identity.h"
#include "ravd/log.h"

namespace ravd {

namespace {

constexpr uint64_t lines_a_second = 5;

}  // namespace

void RefusalLog::tell(const Peer &peer, const char *user, const char *reason) {
    const uint64_t second = now_() / 1000;
    if (std::exchange(second_, second) != second) told_ = 0;
    if (told_ == lines_a_second) {
        ++untold_;
        return;
    }
    ++told_;
    const uint64_t untold = std::exchange(untold_, 0);
    const std::string more = untold == 0 ? "" : " (and " + std::to_string(untold) + " more refused before)";
    const std::string who = user == nullptr ? "an unknown user" : std::string("user ") + user;
    log_warning("login refused: %s, %s: %s%s", who.c_str(), peer_name(peer).c_str(), reason, more.c_str());
}

}  // namespace ravd
