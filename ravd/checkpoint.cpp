#include "ravd/checkpoint.h"

#include <utility>

#include "ravd/password.h"

namespace ravd {

Checkpoint::Checkpoint(event_base *base, std::function<void(const std::string &document)> restore)
    : restore_(std::move(restore)),
      timer_(event_new(
          base, -1, 0, [](evutil_socket_t, short, void *self) { static_cast<Checkpoint *>(self)->expire(); }, this)) {}

Checkpoint::~Checkpoint() {
    wipe(document_);
    event_free(timer_);
}

void Checkpoint::open(std::string document, unsigned seconds) {
    document_ = std::move(document);
    const timeval span = {static_cast<time_t>(seconds), 0};
    event_add(timer_, &span);
}

bool Checkpoint::confirm() {
    event_del(timer_);
    const bool waited = !document_.empty();
    wipe(document_);
    return waited;
}

void Checkpoint::forget() {
    confirm();
    is_restoring_ = false;
}

void Checkpoint::expire() {
    std::string document = std::exchange(document_, {});
    is_restoring_ = true;
    restore_(document);
    wipe(document);
}

}  // namespace ravd
