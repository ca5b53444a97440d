// DeleteObject: first all that would go and all that refers to it is found, round by round along the relations, then
// the verdicts are looked at, and only then is anything changed.
#include <algorithm>
#include <deque>
#include <map>

#include "ravd/model/reading.h"
#include "ravd/model/references.h"
#include "ravd/model/write.h"

namespace ravd {

namespace {

class Deletion {
 public:
    explicit Deletion(Reading &reading) : reading_(reading) {}

    // Finds what deleting the instance means; place.table is its table. A fault when it must not be.
    Fault plan(const Place &place);
    // Whether the handlers that take part in it have been asked.
    bool is_admitted() const;
    // False when what is kept could not be; then nothing has changed.
    bool carry_out();

 private:
    struct Doomed {
        std::string path;
        Table *table;
        uint32_t number;
    };
    struct Reference {
        Place place;                   // of the parameter that refers
        const InstancePaths *targets;  // among these
    };
    // The instances, by their objects, that were found in one round.
    using Round = std::map<const SchemaNode *, InstancePaths>;

    void doom(std::string path, Record &record, Table &table);
    void note(const std::string &path, Record &record, const SchemaNode &object);
    void follow(const Relation &relation, const InstancePaths &targets);
    Fault denial() const;
    bool is_doomed(const Place &place) const { return leads_into(place.name, all_); }
    void clear(Reference &reference);
    std::vector<ModelKeeper::Change> deletions() const;

    Reading &reading_;
    InstancePaths all_;           // everything that goes, what is inside of instances too
    std::vector<Doomed> doomed_;  // in the order of their finding; the first one is what was asked for
    std::vector<Place> denying_;
    std::vector<Reference> clearing_;
    std::string kept_;          // an instance that its provider keeps
    std::deque<Round> rounds_;  // the last one is being filled
};

Fault Deletion::plan(const Place &place) {
    rounds_.emplace_back();
    doom(place.name, *place.record, *place.table);
    while (!rounds_.back().empty()) {
        const Round &round = rounds_.back();
        rounds_.emplace_back();
        for (const auto &[object, paths] : round) {
            for (const SchemaNode *node : {object, &object->instance()})
                for (const Relation &relation : node->relations) follow(relation, paths);
        }
    }
    std::erase_if(clearing_, [this](const Reference &reference) { return is_doomed(reference.place); });
    return denial();
}

void Deletion::doom(std::string path, Record &record, Table &table) {
    if (all_.contains(path)) return;
    if (record.is_live()) kept_ = path;
    note(path, record, table.node());
    doomed_.push_back({std::move(path), &table, record.number()});
}

// Notes an instance that goes and, from its inside, every other one.
void Deletion::note(const std::string &path, Record &record, const SchemaNode &object) {
    if (!all_.insert(path).second) return;
    rounds_.back()[&object].insert(path);
    for (const SchemaNode *nested : object.instance().shape->tables) {
        const std::string prefix = path + nested->name_in_record() + '.';
        record.table(*nested).for_each(
            [&](Record &row) { note(prefix + std::to_string(row.number()) + '.', row, *nested); });
    }
}

void Deletion::follow(const Relation &relation, const InstancePaths &targets) {
    const SchemaNode &referrer = *relation.referrer;
    const std::string name = referrer.full_name();
    Path path;
    parse_path(*reading_.parts.schema, name, path);
    for (Place &place : present_places(path, reading_.parts, reading_.sync)) {
        const auto *text = std::get_if<std::string>(&place.record->value(referrer));
        if (!text || !refers_to(referrer, *text, targets)) continue;
        switch (relation.verdict) {
            case Verdict::deny:
                denying_.push_back(std::move(place));
                break;
            case Verdict::cascade:
                place.name.resize(place.name.size() - referrer.name_in_record().size());
                doom(std::move(place.name), *place.record, *place.table);
                break;
            case Verdict::clear:
                clearing_.push_back({std::move(place), &targets});
                break;
            case Verdict::keep:
                break;
        }
    }
}

// In the order of carry_out(), instances inside of others before them.
bool Deletion::is_admitted() const {
    if (!reading_.parts.asks()) return true;
    HandledChanges handled;
    for (const Reference &reference : clearing_) {
        const Place &place = reference.place;
        const Value &before = place.record->value(*place.node);
        handled.set(place, before, without_references(*place.node, std::get<std::string>(before), *reference.targets));
    }
    for (auto path = all_.rbegin(); path != all_.rend(); ++path) {
        Path parsed;
        parse_path(*reading_.parts.schema, *path, parsed);
        handled.remove(*parsed.node, *path);
    }
    return reading_.parts.admits(std::move(handled));
}

// What goes too can't deny.
Fault Deletion::denial() const {
    const std::string &asked = doomed_.front().path;
    Fault fault;
    if (!kept_.empty()) {
        fault = failure(asked, 9001);
        fault.detail = kept_ + " is the device's own";
    }
    const auto denying = std::ranges::find_if(denying_, [this](const Place &place) { return !is_doomed(place); });
    if (denying == denying_.end()) return fault;
    fault = failure(asked, 9001);
    fault.detail = reading_.can_see(*denying->node) ? denying->name + " refers to it" : "something refers to it";
    return fault;
}

// References first, then those that referred before those that they referred to.
bool Deletion::carry_out() {
    if (!reading_.parts.keep(deletions())) return false;
    for (Reference &reference : clearing_) clear(reference);
    std::erase_if(doomed_, [this](const Doomed &each) {
        const std::string_view path = each.path;
        return leads_into(path.substr(0, path.rfind('.', path.size() - 2)), all_);  // goes with what it is in
    });
    for (auto each = doomed_.rbegin(); each != doomed_.rend(); ++each) {
        const std::string prefix = each->path.substr(0, each->path.rfind('.', each->path.size() - 2) + 1);
        each->table->erase(each->number);
        reading_.parts.record({RecordedChange::Kind::remove, each->path, {}, {}});
        if (reading_.parts.listener) reading_.parts.listener->instance_deleted(prefix, each->number);
    }
    reading_.parts.kept();
    return true;
}

// What the keeper is asked about.
std::vector<ModelKeeper::Change> Deletion::deletions() const {
    std::vector<ModelKeeper::Change> deletions;
    for (const std::string &path : all_) deletions.push_back({ModelKeeper::Change::Kind::deleted, path, nullptr});
    return deletions;
}

void Deletion::clear(Reference &reference) {
    const auto &[node, record, name, table] = reference.place;
    const auto &text = std::get<std::string>(record->value(*node));
    Value left = without_references(*node, text, *reference.targets);
    std::string told;
    append_value(told, node->type == RV_TR_SECRET ? Value(std::string()) : left);
    const std::string before = recorded_value(*node, record->value(*node));
    record->set(*node, std::move(left));
    record->keep(*node);
    reading_.parts.record({RecordedChange::Kind::set, name, before, recorded_value(*node, record->value(*node))});
    if (reading_.parts.listener) reading_.parts.listener->value_changed(name, told);
}

}  // namespace

Fault delete_object(Model &model, const Viewer &viewer, std::string_view name, std::string &result) {
    Reading reading(model, viewer);
    Path path;
    if (const int code = reading.parse(name, path)) return failure(name, code);
    const SchemaNode &node = *path.node;
    if (!node.is_instance() || path.every_instance) return failure(name, 9005);
    const std::vector<Place> places = present_places(path, reading.parts, reading.sync);
    if (places.empty()) return failure(name, 9005);
    if (node.fixed) return failure(name, 9008);
    if (!node.can_write(viewer.role)) return failure(name, 9001);
    Deletion deletion(reading);
    if (Fault fault = deletion.plan(places.front())) return fault;
    if (!deletion.is_admitted()) return {};
    if (!deletion.carry_out()) return failure(name, 9002);
    result += "{\"Status\":0}";
    return {};
}

}  // namespace ravd
