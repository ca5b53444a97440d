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
#include "ravd/model/keeper.h"

namespace ravd {

class Database;
class Model;
class Record;
class Table;
struct SchemaNode;

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
    uint32_t number = 0;
};

class Accounts : private ModelKeeper {
 public:
    // Borrows both; becomes the model's keeper. hash_cost: of the password that is made at a first start.
    Accounts(Model &model, Database &database, unsigned hash_cost);
    ~Accounts() override;
    Accounts(const Accounts &) = delete;
    Accounts &operator=(const Accounts &) = delete;

    // Puts the saved accounts into the model. Where there has never been one, makes the user "admin" with a random
    // password, which is told once in the log. Does nothing where the schema has no users. Returns false and sets error
    // when the database fails.
    bool load(std::string &error);

    // To begin with the first user again: store_reset() in an open transaction of the database, and once that is
    // committed reset(). The sessions of those who were there end; the new password is told as at a first start.
    void store_reset();
    void reset();

    // The enabled account of that user name, as the model has it now; nothing where there is none.
    std::optional<Account> find(std::string_view name) const;
    // The account of an instance, enabled or not.
    std::optional<Account> find(uint32_t number) const;

    // Called on the loop for every change that matters to sessions, after it was made.
    using Listener = std::function<void(const AccountChange &change)>;
    void listen(Listener listener);

 private:
    bool keeps(std::string_view name) const override;
    bool keep(std::span<const Change> changes) override;
    void made() override;
    bool hashes(std::string_view name) const override;

    void read_rows(int64_t last_number);
    bool make_first(std::string &error);
    void store_first();
    void tell_first();
    void store(const Change &change);
    void end_tokens(uint32_t number);
    Account account_of(const Record &record) const;
    const Table *table() const;

    Model &model_;
    Database &database_;
    const unsigned hash_cost_;
    const SchemaNode *node_ = nullptr;  // Device.Users.User.; null where the schema has none
    std::vector<Account> before_;       // those that the changes being made are about
    std::vector<Listener> listeners_;
    std::string first_password_;  // from its making until it is told
};

// Stores the hash of a user's password in the database of a daemon that does not run. Returns false and sets error
// when there is no such user or the database fails.
bool set_stored_password(Database &database, const std::string &user, const std::string &hash, std::string &error);

}  // namespace ravd
