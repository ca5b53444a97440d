// Accounts between the model, where they are read and changed, and the database, where they last.
#include "ravd/accounts.h"

#include <algorithm>
#include <charconv>

#include <sys/random.h>

#include "ravd/log.h"
#include "ravd/model/parts.h"
#include "ravd/password.h"
#include "ravd/persist/database.h"

namespace ravd {

namespace {

constexpr std::string_view users = "Device.Users.User.";

// The parameters of an account, with the columns that keep them.
struct Column {
    const char *parameter;
    const char *update;  // with the value and the account's number
    bool ends_tokens;    // another value does
};
constexpr Column columns[] = {
    {"Username", "UPDATE account SET username = ? WHERE number = ?", true},
    {"Enable", "UPDATE account SET enabled = ? WHERE number = ?", true},
    {"Role", "UPDATE account SET role = ? WHERE number = ?", false},
    {"Alias", "UPDATE account SET alias = ? WHERE number = ?", false},
    {"Language", "UPDATE account SET language = ? WHERE number = ?", false},
    {"Password", "UPDATE account SET password_hash = ? WHERE number = ?", true},
};
constexpr char select_all[] =
    "SELECT number, username, enabled, role, alias, language, password_hash FROM account ORDER BY number";

constexpr std::pair<std::string_view, Role> roles[] = {
    {"admin", Role::admin}, {"user", Role::user}, {"guest", Role::guest}};

Role role_named(std::string_view name) {
    const auto *found = std::ranges::find(roles, name, &std::pair<std::string_view, Role>::first);
    return found == std::end(roles) ? Role::guest : found->second;
}

// "Device.Users.User.12.Role": the number, and what stands behind it ("" for the instance itself).
struct Place {
    uint32_t number = 0;
    std::string_view parameter;
};

Place place_of(std::string_view path) {
    Place place;
    path.remove_prefix(users.size());
    const char *end = std::from_chars(path.begin(), path.end(), place.number).ptr;
    path.remove_prefix(static_cast<size_t>(end - path.begin()));
    if (!path.empty()) place.parameter = path.substr(1);
    return place;
}

// Characters that nobody takes for each other: more than 110 bits.
std::string random_password() {
    constexpr size_t random_length = 20;
    constexpr std::string_view letters = "abcdefghijkmnpqrstuvwxyzABCDEFGHJKLMNPQRSTUVWXYZ23456789";
    std::string password;
    password.reserve(random_length);  // it leaves no copy behind as it grows
    while (password.size() < random_length) {
        unsigned char byte = 0;
        if (getrandom(&byte, 1, 0) != 1) return "";
        if (byte < 256 / letters.size() * letters.size()) password += letters[byte % letters.size()];
    }
    return password;
}

// Stores the value of an account's parameter.
void store_value(Database &database, const Column &column, uint32_t number, const Value &value) {
    Statement update = database.prepare(column.update);
    if (const auto *flag = std::get_if<bool>(&value)) {
        update.bind(1, static_cast<int64_t>(*flag));
    } else if (const auto *text = std::get_if<std::string>(&value)) {
        update.bind(1, *text);
    }
    update.bind(2, number).step();
}

}  // namespace

Accounts::Accounts(Model &model, Database &database, unsigned hash_cost)
    : model_(model), database_(database), hash_cost_(hash_cost) {
    const SchemaNode *node = &model.parts().schema->root;
    for (const char *name : {"Device", "Users", "User"}) node = node != nullptr ? node->find(name) : nullptr;
    const auto has = [node](const Column &column) { return node->instance().find(column.parameter) != nullptr; };
    if (node != nullptr && node->multi && std::ranges::all_of(columns, has)) node_ = node;
    model.set_keeper(this);
}

Accounts::~Accounts() {
    model_.set_keeper(nullptr);
}

bool Accounts::load(std::string &error) {
    if (node_ == nullptr) return true;
    database_.clear();
    Statement last = database_.prepare("SELECT last FROM account_numbers");
    const int64_t last_number = last.step() ? last.integer(0) : 0;
    read_rows(last_number);
    if (last_number == 0 && !database_.failed()) return make_first(error);
    error = database_.error();
    return !database_.failed();
}

void Accounts::read_rows(int64_t last_number) {
    Table &table = model_.parts().root->table(*node_);
    const SchemaNode &instance = node_->instance();
    Statement rows = database_.prepare(select_all);
    while (rows.step()) {
        table.reserve_numbers(static_cast<uint32_t>(rows.integer(0)) - 1);
        Record &record = *table.add();
        int column = 0;
        for (const char *name : {"Username", "Enable", "Role", "Alias", "Language", "Password"}) {
            const SchemaNode &parameter = *instance.find(name);
            ++column;
            const bool is_flag = parameter.type == RV_TR_BOOLEAN;
            record.set(parameter, is_flag ? Value(rows.integer(column) != 0) : Value(rows.text(column)));
        }
    }
    table.reserve_numbers(static_cast<uint32_t>(last_number));
}

bool Accounts::make_first(std::string &error) {
    database_.begin();
    store_first();
    if (!database_.commit()) {
        error = database_.error();
        return false;
    }
    read_rows(1);
    tell_first();
    return true;
}

// In the transaction that is open; a password that can't be made fails it.
void Accounts::store_first() {
    first_password_ = random_password();
    const std::string hash = hash_password(first_password_, hash_cost_);
    const int64_t number = table()->next_number();
    Statement insert = database_.prepare("INSERT INTO account VALUES (?, 'admin', 1, 'admin', '', '', ?)");
    insert.bind(1, number);
    if (hash.empty()) {
        database_.fail("no password can be made for the first user");
    } else {
        insert.bind(2, hash).step();
    }
    database_.prepare("UPDATE account_numbers SET last = ?").bind(1, number).step();
}

void Accounts::tell_first() {
    std::string line = "first start: the user admin has the password " + first_password_;
    log_once(line);  // and nowhere else
    wipe(line);
    wipe(first_password_);
}

void Accounts::store_reset() {
    if (node_ == nullptr) return;
    database_.run("DELETE FROM account; DELETE FROM token");
    store_first();
}

void Accounts::reset() {
    if (node_ == nullptr) return;
    Model::Parts &parts = model_.parts();
    Table &rows = parts.root->table(*node_);
    std::vector<Account> gone;
    for (const auto &record : rows.by_number()) gone.push_back(account_of(*record));
    for (const Account &old : gone) {
        rows.erase(old.number);
        const std::string path = std::string(users) + std::to_string(old.number) + '.';
        parts.record({RecordedChange::Kind::remove, path, {}, {}});
        if (parts.listener) parts.listener->instance_deleted(std::string(users), old.number);
        for (const Listener &listener : listeners_) listener({old.name, true, Role::guest, old.number});
    }
    read_rows(rows.next_number());
    if (parts.listener) parts.listener->instance_added(std::string(users), rows.highest());
    tell_first();
}

const Table *Accounts::table() const {
    return node_ != nullptr ? &model_.parts().root->table(*node_) : nullptr;
}

Account Accounts::account_of(const Record &record) const {
    const SchemaNode &instance = node_->instance();
    const auto text = [&](const char *name) { return std::get<std::string>(record.value(*instance.find(name))); };
    Account account;
    account.number = record.number();
    account.name = text("Username");
    account.enabled = std::get<bool>(record.value(*instance.find("Enable")));
    account.role = role_named(text("Role"));
    account.password_hash = text("Password");
    return account;
}

std::optional<Account> Accounts::find(std::string_view name) const {
    if (table() == nullptr || name.empty()) return std::nullopt;
    for (const auto &record : table()->by_number()) {
        Account account = account_of(*record);
        if (account.enabled && account.name == name) return account;
    }
    return std::nullopt;
}

std::optional<Account> Accounts::find(uint32_t number) const {
    const Record *record = table() != nullptr ? table()->find(number) : nullptr;
    return record != nullptr ? std::optional(account_of(*record)) : std::nullopt;
}

void Accounts::listen(Listener listener) {
    listeners_.push_back(std::move(listener));
}

bool Accounts::keeps(std::string_view name) const {
    return node_ != nullptr && name.starts_with(users);
}

bool Accounts::hashes(std::string_view name) const {
    return keeps(name) && place_of(name).parameter == "Password";
}

bool Accounts::keep(std::span<const Change> changes) {
    before_.clear();
    database_.begin();
    for (const Change &change : changes) {
        const uint32_t number = place_of(change.path).number;
        if (const auto account = find(number);
            account && std::ranges::find(before_, number, &Account::number) == before_.end())
            before_.push_back(*account);
        store(change);
    }
    if (database_.commit()) return true;
    log_error("an account could not be stored: %s", database_.error().c_str());
    before_.clear();
    return false;
}

// In the transaction of what ends them, so that none outlives it.
void Accounts::end_tokens(uint32_t number) {
    database_.prepare("DELETE FROM token WHERE account = ?").bind(1, number).step();
}

void Accounts::store(const Change &change) {
    const auto [number, parameter] = place_of(change.path);
    switch (change.kind) {
        case Change::Kind::added:
            database_.prepare("INSERT INTO account VALUES (?, '', 0, '', '', '', '')").bind(1, number).step();
            database_.prepare("UPDATE account_numbers SET last = ?").bind(1, number).step();
            for (const Column &column : columns)
                store_value(database_, column, number, node_->instance().find(column.parameter)->default_value);
            break;
        case Change::Kind::deleted:
            database_.prepare("DELETE FROM account WHERE number = ?").bind(1, number).step();
            end_tokens(number);
            break;
        case Change::Kind::set:
            const auto *column = std::ranges::find(columns, parameter, &Column::parameter);
            if (column == std::end(columns)) break;
            store_value(database_, *column, number, *change.value);
            const Record *record = table()->find(number);
            if (column->ends_tokens && record && record->value(*node_->instance().find(parameter)) != *change.value)
                end_tokens(number);
            break;
    }
}

void Accounts::made() {
    for (const Account &old : std::exchange(before_, {})) {
        if (!old.enabled || old.name.empty()) continue;
        const auto now = find(old.number);
        const bool ended = !now || !now->enabled || now->name != old.name || now->password_hash != old.password_hash;
        if (!ended && now->role == old.role) continue;
        for (const Listener &listener : listeners_)
            listener({old.name, ended, ended ? Role::guest : now->role, old.number});
    }
}

bool set_stored_password(Database &database, const std::string &user, const std::string &hash, std::string &error) {
    database.begin();
    Statement find = database.prepare("SELECT number FROM account WHERE username = ?");
    const bool found = !user.empty() && find.bind(1, user).step();
    const int64_t number = found ? find.integer(0) : 0;
    find = {};
    database.prepare("UPDATE account SET password_hash = ? WHERE number = ?").bind(1, hash).bind(2, number).step();
    database.prepare("DELETE FROM token WHERE account = ?").bind(1, number).step();
    if (!database.commit()) {
        error = database.error();
        return false;
    }
    if (!found) error = "there is no user " + user;
    return found;
}

}  // namespace ravd
