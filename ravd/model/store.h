// What is stored under the schema: records of values and tables of instances. One record is the root's; every other
// one is an instance. A value that nobody has set takes no room.
#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "ravd/model/schema.h"
#include "ravd/model/value.h"

namespace ravd {

class Record;

// Instance numbers stay below this.
constexpr uint32_t instance_limit = uint32_t{1} << 31;

// The instances of one multi-instance object below one record. Finding one by its number takes logarithmic time, by
// its key constant time.
class Table {
 public:
    // By the keys of those instances that a provider keeps. Views are of the records' own keys.
    using Keys = std::unordered_map<std::string_view, Record *>;

    // holder: the record that it stands in, which stays where it is; null for none.
    explicit Table(const SchemaNode &node, const Record *holder = nullptr) : node_(&node), holder_(holder) {}
    Table(Table &&) noexcept;
    Table &operator=(Table &&) noexcept;
    ~Table();

    const SchemaNode &node() const { return *node_; }
    const Record *holder() const { return holder_; }
    size_t size() const { return rows_.size(); }
    // The highest number in use, 0 when there are no instances.
    uint32_t highest() const;
    // The instance of that number, lent until it is deleted; null when there is none.
    Record *find(uint32_t number) const;

    // Adds an instance under the lowest number above every number ever used, as the last one in the order; key: see
    // Record::key(). Null when the numbers are used up.
    Record *add(std::string key = "");
    // The same under a number that is free, as it is brought back.
    Record &insert(uint32_t number, std::string key);
    // The number that the next instance gets.
    uint32_t next_number() const { return last_used_ + 1; }
    // Numbers up to this one count as used.
    void reserve_numbers(uint32_t last) { last_used_ = std::max(last_used_, last); }
    // Deletes an instance of this table.
    void erase(uint32_t number);
    // Moves an instance of an ordered object to another index, from 1 to size(); those in between shift by one.
    void move(const Record &record, uint32_t index);

    // The instances: by number, and in the order that lists have them in, which differs for ordered objects only.
    const std::vector<std::unique_ptr<Record>> &by_number() const { return rows_; }
    template <typename Function>
    void for_each(Function function) const;
    // The instance at an index of an ordered object.
    Record &at(uint32_t index) const { return *find(order_[index - 1]); }
    const Keys &keys() const;
    // Calls visit(record) for every instance whose unique parameter has that value. Takes constant time, or for the
    // default's value, which instances have without its being set, time with their number.
    template <typename Visit>
    void each_holder(const SchemaNode &parameter, const Value &value, Visit visit) const;

 private:
    friend class Record;
    // Where to look for the records in which a unique parameter is set to a value.
    using Index = std::unordered_multimap<size_t, const Record *>;

    void renumber(size_t from, size_t to);
    void index(const SchemaNode &parameter, const Value &value, const Record &record);
    void forget(const SchemaNode &parameter, const Value &value, const Record &record);

    const SchemaNode *node_;
    const Record *holder_;
    uint32_t last_used_ = 0;
    std::vector<std::unique_ptr<Record>> rows_;  // by number
    std::vector<uint32_t> order_;                // of ordered objects: the numbers in their order
    std::unique_ptr<Keys> keys_;                 // null: no instance has one
    std::unique_ptr<Index> index_;               // null: no unique value has been set
};

class Record {
 public:
    // owner: the table that it is an instance in, which stays where it is; null for the root's.
    Record(const Shape &shape, uint32_t number, Table *owner = nullptr);

    uint32_t number() const { return number_; }  // 0: the root's
    // The record that has the table that this is an instance in; null for the root's.
    const Record *holder() const { return owner_ ? owner_->holder() : nullptr; }
    // Of an ordered object's instance: its place, from 1. 0 for all others.
    uint32_t index() const { return index_; }
    // The value of a parameter of this record's shape: what was set, else the default. Lent until the next set().
    const Value &value(const SchemaNode &parameter) const;
    bool is_set(const SchemaNode &parameter) const { return find(parameter) != nullptr; }
    // An unset value takes back what was set.
    void set(const SchemaNode &parameter, Value value);
    // The instances of a multi-instance object of this record's shape.
    Table &table(const SchemaNode &object) { return tables_[object.slot]; }

    // By which the provider of a live table knows the instance; empty for instances that users added.
    std::string_view key() const { return live_ ? live_->key : std::string_view(); }
    bool is_live() const { return live_ != nullptr; }
    Table *owner() const { return owner_; }  // the table that it is an instance in; null: the root's
    // Marks a value of a live instance as a user's: its provider no longer changes it.
    void keep(const SchemaNode &parameter);
    bool is_kept(const SchemaNode &parameter) const;
    // Takes the mark back.
    void give_back(const SchemaNode &parameter);

 private:
    friend class Table;
    struct Live {
        std::string key;
        std::vector<uint32_t> kept;  // slots
    };

    struct Stored {
        uint32_t slot;
        Value value;
    };
    const Stored *find(const SchemaNode &parameter) const;

    Table *owner_;
    uint32_t number_;
    uint32_t index_ = 0;
    std::unique_ptr<Live> live_;
    std::vector<Stored> values_;  // those that are set, by slot
    std::vector<Table> tables_;   // by slot
};

template <typename Function>
void Table::for_each(Function function) const {
    if (!node_->ordered) {
        for (const auto &row : rows_) function(*row);
    } else {
        for (const uint32_t number : order_) function(*find(number));
    }
}

// Of what is held for the unique parameter.
size_t unique_hash(const SchemaNode &parameter, const Value &value);

template <typename Visit>
void Table::each_holder(const SchemaNode &parameter, const Value &value, Visit visit) const {
    if (value == parameter.default_value) {
        for (const auto &row : rows_)
            if (row->value(parameter) == value) visit(*row);
    } else if (index_) {
        const auto [begin, end] = index_->equal_range(unique_hash(parameter, value));
        for (auto each = begin; each != end; ++each)
            if (each->second->value(parameter) == value) visit(*each->second);
    }
}

}  // namespace ravd
