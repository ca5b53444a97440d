// Records and tables.
#include "ravd/model/store.h"

#include <algorithm>
#include <functional>

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
    return &insert(last_used_ + 1, std::move(key));
}

Record &Table::insert(uint32_t number, std::string key) {
    last_used_ = std::max(last_used_, number);
    const auto behind =
        std::ranges::upper_bound(rows_, number, {}, [](const auto &record) { return record->number(); });
    Record &record = **rows_.insert(behind, std::make_unique<Record>(*node_->instance().shape, number, this));
    if (node_->ordered) {
        order_.push_back(number);
        record.index_ = static_cast<uint32_t>(order_.size());
    }
    if (!key.empty()) {
        record.live_ = std::make_unique<Record::Live>(Record::Live{std::move(key), {}});
        if (!keys_) keys_ = std::make_unique<Keys>();
        keys_->emplace(record.key(), &record);
    }
    return record;
}

void Table::erase(uint32_t number) {
    const auto row = std::ranges::lower_bound(rows_, number, {}, [](const auto &record) { return record->number(); });
    if (keys_) keys_->erase((*row)->key());
    for (const auto &[slot, value] : (*row)->values_) forget(*node_->instance().shape->parameters[slot], value, **row);
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

void Table::index(const SchemaNode &parameter, const Value &value, const Record &record) {
    if (!parameter.unique) return;
    if (!index_) index_ = std::make_unique<Index>();
    index_->emplace(unique_hash(parameter, value), &record);
}

void Table::forget(const SchemaNode &parameter, const Value &value, const Record &record) {
    if (!parameter.unique) return;
    const auto [begin, end] = index_->equal_range(unique_hash(parameter, value));
    index_->erase(std::find_if(begin, end, [&](const auto &each) { return each.second == &record; }));
}

const Table::Keys &Table::keys() const {
    static const Keys none;
    return keys_ ? *keys_ : none;
}

size_t unique_hash(const SchemaNode &parameter, const Value &value) {
    std::string text = std::to_string(parameter.slot) + ' ';
    append_value(text, value);
    return std::hash<std::string>()(text);
}

Record::Record(const Shape &shape, uint32_t number, Table *owner) : owner_(owner), number_(number) {
    tables_.reserve(shape.tables.size());
    for (const SchemaNode *table : shape.tables) tables_.emplace_back(*table, this);
}

const Record::Stored *Record::find(const SchemaNode &parameter) const {
    const auto stored = std::ranges::lower_bound(values_, parameter.slot, {}, &Stored::slot);
    return stored != values_.end() && stored->slot == parameter.slot ? &*stored : nullptr;
}

const Value &Record::value(const SchemaNode &parameter) const {
    const Stored *stored = find(parameter);
    return stored ? stored->value : parameter.default_value;
}

void Record::set(const SchemaNode &parameter, Value value) {
    const auto stored = std::ranges::lower_bound(values_, parameter.slot, {}, &Stored::slot);
    const bool known = stored != values_.end() && stored->slot == parameter.slot;
    const bool unset = std::holds_alternative<std::monostate>(value);
    if (known ? stored->value == value : unset) return;
    if (owner_ && known) owner_->forget(parameter, stored->value, *this);
    if (owner_ && !unset) owner_->index(parameter, value, *this);
    if (unset) {
        values_.erase(stored);
    } else if (known) {
        stored->value = std::move(value);
    } else {
        values_.insert(stored, {parameter.slot, std::move(value)});
    }
}

void Record::keep(const SchemaNode &parameter) {
    if (live_ && !is_kept(parameter)) live_->kept.push_back(parameter.slot);
}

void Record::give_back(const SchemaNode &parameter) {
    if (live_) std::erase(live_->kept, parameter.slot);
}

bool Record::is_kept(const SchemaNode &parameter) const {
    return live_ && std::ranges::find(live_->kept, parameter.slot) != live_->kept.end();
}

}  // namespace ravd
