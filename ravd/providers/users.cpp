// Device.Users: who is reading. Everything else there is configuration.
#include "ravd/model/access.h"
#include "ravd/providers/providers.h"

namespace ravd {

namespace {

// Denied while nobody has logged in: a client tells by it whether its token was accepted.
std::optional<Value> current_user(const Viewer &viewer) {
    if (viewer.user.empty()) return std::nullopt;
    return viewer.user;
}

std::optional<Value> system_access(const Viewer &viewer) {
    return viewer.role == Role::admin && !viewer.user.empty();
}

constexpr LiveParameter parameters[] = {
    {"Device.Users.CurrentUser", current_user},
    {"Device.Users.SystemAccess", system_access},
};

}  // namespace

Provider users_provider() {
    return {"users", parameters, {}};
}

}  // namespace ravd
