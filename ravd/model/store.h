// What is stored under the schema: records of values and tables of instances. One record is the root's; every other
// one is an instance. A value nobody has set takes no room of its own until a neighbour in its record is set.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "ravd/model/schema.h"
#include "ravd/model/value.h"

namespace ravd {

class Record;

// Instance numbers stay below this.
constexpr uint32_t instance_limit = uint32_t{1} << 31;

// The instances of one multi-instance object below one record. Finding one by its number takes logarithmic time.
class Table {
 public:
    explicit Table(const SchemaNode &node) : node_(&node) {}
    Table(Table &&) noexcept;
    Table &operator=(Table &&) noexcept;
    ~Table();

    const SchemaNode &node() const { return *node_; }
    size_t size() const { return rows_.size(); }
    // The highest number in use, 0 when there are no instances.
    uint32_t highest() const;
    // The instance of that number, lent until it is deleted; null when there is none.
    Record *find(uint32_t number) const;

    // Adds an instance under the lowest number above every number ever used, as the last one in the order. Null when
    // the numbers are used up.
    Record *add();
    // Deletes the instances that doomed() is true for.
    template <typename Predicate>
    void erase_if(Predicate doomed);

    // The instances: by number, and in the order that lists have them in, which differs for ordered objects only.
    const std::vector<std::unique_ptr<Record>> &by_number() const { return rows_; }
    template <typename Function>
    void for_each(Function function) const;

 private:
    const SchemaNode *node_;
    uint32_t last_used_ = 0;
    std::vector<std::unique_ptr<Record>> rows_;  // by number
    std::vector<uint32_t> order_;                // of ordered objects: the numbers in their order
};

class Record {
 public:
    Record(const Shape &shape, uint32_t number);

    uint32_t number() const { return number_; }  // 0: the root's
    // The value of a parameter of this record's shape: what was set, else the default.
    const Value &value(const SchemaNode &parameter) const;
    void set(const SchemaNode &parameter, Value value);
    // The instances of a multi-instance object of this record's shape.
    Table &table(const SchemaNode &object) { return tables_[object.slot]; }

    // By which the provider of a live table knows the instance; empty for instances that users added.
    std::string_view key() const { return key_ ? *key_ : std::string_view(); }
    void set_key(std::string key) { key_ = std::make_unique<std::string>(std::move(key)); }

 private:
    const Shape *shape_;
    uint32_t number_;
    std::unique_ptr<std::string> key_;
    std::vector<Value> values_;  // by slot; empty until the first one is set
    std::vector<Table> tables_;  // by slot
};

template <typename Predicate>
void Table::erase_if(Predicate doomed) {
    std::erase_if(rows_, [&](const std::unique_ptr<Record> &row) { return doomed(std::as_const(*row)); });
    std::erase_if(order_, [this](uint32_t number) { return !find(number); });
}

template <typename Function>
void Table::for_each(Function function) const {
    if (!node_->ordered) {
        for (const auto &row : rows_) function(*row);
    } else {
        for (const uint32_t number : order_) function(*find(number));
    }
}

}  // namespace ravd
