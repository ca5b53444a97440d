// SetParameterValues: every pair is planned and checked first, then all of them are applied.
#include <algorithm>
#include <functional>
#include <map>
#include <optional>
#include <unordered_map>

#include "ravd/model/check.h"
#include "ravd/model/convert.h"
#include "ravd/model/reading.h"
#include "ravd/model/references.h"
#include "ravd/model/write.h"

namespace ravd {

namespace {

struct Change {
    size_t pair;  // its place in the request
    Place place;
    Value value;
};

class ValueWriting {
 public:
    ValueWriting(Model &model, const Viewer &viewer, bool raw) : reading_(model, viewer), raw_(raw) {}

    // The next pair of the request.
    void plan(const char *name, json_t *value);
    // What depends on other pairs; after the last plan().
    void check_unique();
    // The refusals so far, or none.
    Fault fault() const;
    // Puts hashes in the place of the texts that are held as such; those still missing are asked for. False when some
    // are.
    bool use_hashes(Hashes *hashes);
    // Whether the handlers that take part in the changes have been asked.
    bool is_admitted() const;
    // False when what is kept could not be; then nothing has changed.
    bool apply();

 private:
    struct ValueHash {
        size_t operator()(const Value &value) const;
    };
    using Wanted = std::unordered_map<Value, std::vector<size_t>, ValueHash>;  // by changes_

    std::optional<Place> resolve(std::string_view name, int &code);
    Refusal check(const Place &place, json_t *json, Value &value);
    void refuse_taken(const Table &table, const SchemaNode &parameter, const Value &value,
                      const std::vector<size_t> &changes);
    const Value &planned(const Record &record, const SchemaNode &parameter) const;
    static bool is_provided(const Place &place);
    Value present(const Place &place) const;
    bool is_change(const Change &change) const;
    void move(const Change &change);
    void set(Change &change);

    Reading reading_;
    const bool raw_;
    std::vector<std::pair<std::string, Refusal>> pairs_;
    std::vector<Change> changes_;
    std::map<std::pair<const Record *, const SchemaNode *>, size_t> named_;  // to changes_
};

size_t ValueWriting::ValueHash::operator()(const Value &value) const {
    std::string text;
    append_value(text, value);
    return std::hash<std::string>()(text);
}

void ValueWriting::plan(const char *name, json_t *json) {
    auto &refusal = pairs_.emplace_back(name, Refusal()).second;
    std::optional<Place> place = resolve(name, refusal.code);
    if (!place) return;
    if (!named_.emplace(std::pair(place->record, place->node), changes_.size()).second) {
        refusal = {9003, "named twice"};
        return;
    }
    Change &change = changes_.emplace_back(Change{pairs_.size() - 1, std::move(*place), {}});
    refusal = check(change.place, json, change.value);
}

// The parameter that the name leads to, if the viewer may set it; else the code of the refusal.
std::optional<Place> ValueWriting::resolve(std::string_view name, int &code) {
    Path path;
    code = reading_.parse(name, path);
    if (code != 0) return std::nullopt;
    const SchemaNode &node = *path.node;
    std::vector<Place> places;
    if (node.is_parameter() && !path.closed && !path.every_instance)
        places = present_places(path, reading_.parts, reading_.sync);
    if (places.empty()) {
        code = 9005;
    } else if (node.fixed) {
        code = 9008;
    } else if (!node.can_write(reading_.viewer.role)) {
        code = 9001;
    }
    return code == 0 ? std::optional(std::move(places.front())) : std::nullopt;
}

Refusal ValueWriting::check(const Place &place, json_t *json, Value &value) {
    const SchemaNode &node = *place.node;
    if (Refusal refusal = convert(node, json, raw_, value)) return refusal;
    std::string problem = value_problem(node, value);
    if (problem.empty() && node.source == Source::index) {
        const size_t last = place.table->size();
        if (std::get<int64_t>(value) > static_cast<int64_t>(last)) problem = "is above " + std::to_string(last);
    }
    if (const auto *text = std::get_if<std::string>(&value); text && problem.empty())
        problem = reference_problem(reading_, node, *text);
    return problem.empty() ? Refusal() : Refusal{9007, complaint(node, value, problem)};
}

// The value that the record's parameter will have.
const Value &ValueWriting::planned(const Record &record, const SchemaNode &parameter) const {
    const auto found = named_.find({&record, &parameter});
    return found != named_.end() ? changes_[found->second].value : record.value(parameter);
}

bool ValueWriting::is_change(const Change &change) const {
    const auto &[node, record, name, table] = change.place;
    if (node->source == Source::index) return std::get<int64_t>(change.value) != record->index();
    if (node->source == Source::live && !record->is_set(*node)) {
        const auto live = node->live->read(reading_.viewer);
        return !live || *live != change.value;
    }
    return record->value(*node) != change.value;
}

// The value is what a provider says, not what a user has set.
bool ValueWriting::is_provided(const Place &place) {
    const SchemaNode &node = *place.node;
    if (node.source == Source::live) return !place.record->is_set(node);
    return place.record->is_live() && !place.record->is_kept(node);
}

Value ValueWriting::present(const Place &place) const {
    const SchemaNode &node = *place.node;
    if (node.source == Source::index) return static_cast<int64_t>(place.record->index());
    if (node.source != Source::live || place.record->is_set(node)) return place.record->value(node);
    const auto live = node.live->read(reading_.viewer);
    return live && !std::holds_alternative<std::monostate>(*live) ? *live : node.default_value;
}

// Counted as the request leaves it: others may give a value up in it, or take one twice.
void ValueWriting::check_unique() {
    std::map<std::pair<Table *, const SchemaNode *>, Wanted> tables;
    for (size_t i = 0; i < changes_.size(); i++) {
        const auto &[pair, place, value] = changes_[i];
        const auto *text = std::get_if<std::string>(&value);
        if (!place.node->unique || !place.table || pairs_[pair].second || (text && text->empty())) continue;
        if (is_change(changes_[i])) tables[{place.table, place.node}][value].push_back(i);
    }
    for (const auto &[where, wanted] : tables)
        for (const auto &[value, changes] : wanted) refuse_taken(*where.first, *where.second, value, changes);
}

// changes: those that would give the value to another instance each.
void ValueWriting::refuse_taken(const Table &table, const SchemaNode &parameter, const Value &value,
                                const std::vector<size_t> &changes) {
    std::vector<const Record *> holders;
    holders.reserve(changes.size() + 1);
    for (const size_t i : changes) holders.push_back(changes_[i].place.record);
    table.each_holder(parameter, value, [&](const Record &record) {
        if (planned(record, parameter) == value) holders.push_back(&record);
    });
    if (holders.size() < 2) return;
    for (const size_t i : changes) {
        const Change &change = changes_[i];
        const auto other = std::ranges::find_if(holders, [&](auto *each) { return each != change.place.record; });
        const std::string problem = "is taken by instance " + std::to_string((*other)->number());
        pairs_[change.pair].second = {9007, complaint(parameter, value, problem)};
    }
}

Fault ValueWriting::fault() const {
    Fault fault;
    for (const auto &[name, refusal] : pairs_) {
        if (!refusal) continue;
        add_failure(fault, name, refusal.code);
        if (!refusal.reason.empty()) fault.parameters.back().second += ": " + refusal.reason;
    }
    if (fault) fault.code = 9003;
    return fault;
}

bool ValueWriting::use_hashes(Hashes *hashes) {
    const ModelKeeper *keeper = reading_.parts.keeper;
    bool complete = true;
    for (Change &change : changes_) {
        auto *text = std::get_if<std::string>(&change.value);
        const bool is_hashed = change.place.node->type == RV_TR_SECRET && keeper && keeper->hashes(change.place.name);
        if (!is_hashed || !text || text->empty()) continue;
        const auto found = hashes->made.find(change.place.name);
        if (found == hashes->made.end()) {
            hashes->wanted.emplace(change.place.name, *text);
            complete = false;
        } else {
            *text = found->second;
        }
    }
    return complete;
}

bool ValueWriting::is_admitted() const {
    if (!reading_.parts.asks()) return true;
    HandledChanges handled;
    for (const Change &change : changes_) handled.set(change.place, present(change.place), change.value);
    return reading_.parts.admits(std::move(handled));
}

bool ValueWriting::apply() {
    std::vector<ModelKeeper::Change> kept;
    if (reading_.parts.keeper)
        for (const Change &change : changes_)
            kept.push_back({ModelKeeper::Change::Kind::set, change.place.name, &change.value});
    if (!reading_.parts.keep(std::move(kept))) return false;
    for (Change &change : changes_) {
        if (change.place.node->source == Source::index) {
            move(change);
        } else {
            set(change);
        }
    }
    reading_.parts.kept();
    return true;
}

// The instance that was moved is told first, then those that had to shift.
void ValueWriting::move(const Change &change) {
    const auto &[node, record, name, table] = change.place;
    const auto to = static_cast<uint32_t>(std::get<int64_t>(change.value));
    const uint32_t from = record->index();
    if (from == to) return;
    table->move(*record, to);
    reading_.parts.record({RecordedChange::Kind::move, name, std::to_string(from), std::to_string(to)});
    ModelListener *listener = reading_.parts.listener;
    if (!listener) return;
    listener->value_changed(name, std::to_string(to));
    const std::string_view tail = name;
    const std::string path(tail.substr(0, tail.rfind('.', tail.size() - node->name.size() - 2) + 1));
    for (uint32_t index = std::min(from, to); index <= std::max(from, to); index++) {
        if (index == to) continue;
        listener->value_changed(path + std::to_string(table->at(index).number()) + "." + node->name,
                                std::to_string(index));
    }
}

void ValueWriting::set(Change &change) {
    auto &[node, record, name, table] = change.place;
    const bool changed = is_change(change);
    std::string text;
    if (changed) append_value(text, node->type == RV_TR_SECRET ? Value(std::string()) : change.value);
    // What a provider says gives way to what a user has set, even to the same value.
    const bool provided = is_provided(change.place);
    if (changed || provided) {
        const std::string before = recorded_value(*node, present(change.place));
        record->set(*node, std::move(change.value));
        record->keep(*node);
        reading_.parts.record({RecordedChange::Kind::set, name, before, recorded_value(*node, record->value(*node))});
    }
    if (changed && reading_.parts.listener) reading_.parts.listener->value_changed(name, text);
}

}  // namespace

Fault set_values(Model &model, const Viewer &viewer, const json_t *pairs, bool raw, std::string &result,
                 Hashes *hashes) {
    ValueWriting writing(model, viewer, raw);
    for (size_t i = 0; i < json_array_size(pairs); i++) {
        const json_t *pair = json_array_get(pairs, i);
        writing.plan(json_string_value(json_object_get(pair, "Name")), json_object_get(pair, "Value"));
    }
    writing.check_unique();
    if (Fault fault = writing.fault()) return fault;
    Hashes none;
    if (!writing.use_hashes(hashes ? hashes : &none)) return hashes ? Fault() : Fault{9002, "no hashes", {}};
    if (!writing.is_admitted()) return {};
    if (!writing.apply()) return {9002, "the change could not be stored", {}};
    result += "{\"Status\":0}";
    return {};
}

}  // namespace ravd
