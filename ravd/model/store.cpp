// Records and tables.
#include "ravd/model/store.h"

#include <algorithm>

namespace ravd {

Table::Table(Table &&) noexcept = default;
Table &Table::operator=(Table &&) noexcept = default;
Table::~Table() = default;

uint32_t Table::highest() const {
    return rows_.empty() ? 0 : rows_.back()->number();
}

Record *Table::find(uint32_t number) const {
    const auto row = std::ranges::lower_bound(rows_, number, {}, [](const auto &record) { return record->number(); });
    return row != rows_.end() && (*row)->number() == number ? row->get() : nullptr;
}

Record *Table::add() {
    if (last_used_ + 1 >= instance_limit) return nullptr;
    last_used_++;
    rows_.push_back(std::make_unique<Record>(*node_->instance().shape, last_used_));
    if (node_->ordered) order_.push_back(last_used_);
    return rows_.back().get();
}

Record::Record(const Shape &shape, uint32_t number) : shape_(&shape), number_(number) {
    tables_.reserve(shape.tables.size());
    for (const SchemaNode *table : shape.tables) tables_.emplace_back(*table);
}

const Value &Record::value(const SchemaNode &parameter) const {
    if (parameter.slot >= values_.size()) return parameter.default_value;
    const Value &value = values_[parameter.slot];
    return std::holds_alternative<std::monostate>(value) ? parameter.default_value : value;
}

void Record::set(const SchemaNode &parameter, Value value) {
    if (values_.empty()) {
        values_.reserve(shape_->parameters.size());
        values_.resize(shape_->parameters.size());
    }
    values_[parameter.slot] = std::move(value);
}

}  // namespace ravd
