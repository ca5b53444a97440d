// The users of the device: Device.Users.User.{i}. of the model, kept apart from the saved configuration and durable at
// once. The model holds them as ordinary instances, with the hash as the value of Password.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ravd/model/access.h"

namespace ravd {

class Database;
class Model;

struct Account {
    uint32_t number = 0;  // of the instance
    std::string name;     // Username; an account without one is nobody's
    bool enabled = false;
    Role role = Role::guest;
    std::string password_hash;  // empty: no password lets this user in
};

// What happened to an account that its sessions must follow.
struct AccountChange {
    std::string name;    // the user name that it had
    bool ended = false;  // deleted, disabled, renamed, or given another password: its sessions and tokens end
    Role role = Role::guest;
};

class Accounts {
 public:
    // Borrows both.
    Accounts(Model &model, Database &database);
    ~Accounts();

    // Puts the saved accounts into the model. Where there has never been one, makes the user "admin" with a random
    // password, which is told once in the log. Returns false and sets error when the database fails.
    bool load(std::string &error);

    // The enabled account of that user name, as the model has it now; nothing where there is none.
    std::optional<Account> find(std::string_view name) const;
    // The account of an instance, enabled or not.
    std::optional<Account> find(uint32_t number) const;

    // Called on the loop for every change that matters to sessions, after it was made.
    using Listener = std::function<void(const AccountChange &change)>;
    void listen(Listener listener);

 private:
    Model &model_;
    Database &database_;
    std::vector<Listener> listeners_;
};

}  // namespace ravd
