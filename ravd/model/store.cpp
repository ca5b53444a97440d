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

Record *Table::add(std::string key) {
    if (last_used_ + 1 >= instance_limit) return nullptr;
    last_used_++;
    Record &record = *rows_.emplace_back(std::make_unique<Record>(*node_->instance().shape, last_used_));
    if (node_->ordered) {
        order_.push_back(last_used_);
        record.index_ = static_cast<uint32_t>(order_.size());
    }
    if (!key.empty()) {
        record.live_ = std::make_unique<Record::Live>(Record::Live{std::move(key), {}});
        if (!keys_) keys_ = std::make_unique<Keys>();
        keys_->emplace(record.key(), &record);
    }
    return &record;
}

void Table::erase(uint32_t number) {
    const auto row = std::ranges::lower_bound(rows_, number, {}, [](const auto &record) { return record->number(); });
    if (keys_) keys_->erase((*row)->key());
    if (node_->ordered) {
        const size_t place = (*row)->index_ - 1;
        order_.erase(order_.begin() + static_cast<ptrdiff_t>(place));
        renumber(place, order_.size());
    }
    rows_.erase(row);
}

void Table::move(const Record &record, uint32_t index) {
    const size_t from = record.index_ - 1, to = index - 1;
    const auto at = [this](size_t place) { return order_.begin() + static_cast<ptrdiff_t>(place); };
    if (from < to) {
        std::rotate(at(from), at(from + 1), at(to + 1));
    } else {
        std::rotate(at(to), at(from), at(from + 1));
    }
    renumber(std::min(from, to), std::max(from, to) + 1);
}

void Table::renumber(size_t from, size_t to) {
    for (size_t place = from; place < to; place++) find(order_[place])->index_ = static_cast<uint32_t>(place + 1);
}

const Table::Keys &Table::keys() const {
    static const Keys none;
    return keys_ ? *keys_ : none;
}

Record::Record(const Shape &shape, uint32_t number) : shape_(&shape), number_(number) {
    tables_.reserve(shape.tables.size());
    for (const SchemaNode *table : shape.tables) tables_.emplace_back(*table);
}

bool Record::is_set(const SchemaNode &parameter) const {
    return parameter.slot < values_.size() && !std::holds_alternative<std::monostate>(values_[parameter.slot]);
}

const Value &Record::value(const SchemaNode &parameter) const {
    return is_set(parameter) ? values_[parameter.slot] : parameter.default_value;
}

void Record::set(const SchemaNode &parameter, Value value) {
    if (values_.empty()) {
        values_.reserve(shape_->parameters.size());
        values_.resize(shape_->parameters.size());
    }
    values_[parameter.slot] = std::move(value);
}

void Record::keep(const SchemaNode &parameter) {
    if (live_ && !is_kept(parameter)) live_->kept.push_back(parameter.slot);
}

bool Record::is_kept(const SchemaNode &parameter) const {
    return live_ && std::ranges::find(live_->kept, parameter.slot) != live_->kept.end();
}

}  // namespace ravd
