// The model as a whole: loaded, tied to its providers, empty.
#include "ravd/model/model.h"

#include "ravd/model/load.h"
#include "ravd/model/parts.h"

namespace ravd {

Model::Model(std::unique_ptr<Parts> parts) : parts_(std::move(parts)) {}
Model::~Model() = default;

std::unique_ptr<Model> Model::load(const std::string &folder, std::span<const Provider> providers, std::string &error) {
    auto parts = std::make_unique<Parts>();
    parts->schema = load_schema(folder, error);
    if (!parts->schema || !bind_providers(*parts->schema, providers, parts->live_tables, error)) return nullptr;
    parts->root = std::make_unique<Record>(*parts->schema->root.shape, 0);
    return std::unique_ptr<Model>(new Model(std::move(parts)));
}

void Model::set_listener(ModelListener *listener) {
    parts_->listener = listener;
}

void Model::set_keeper(ModelKeeper *keeper) {
    parts_->keeper = keeper;
}

void Model::set_recorder(ChangeRecorder *recorder) {
    parts_->recorder = recorder;
}

std::string recorded_value(const SchemaNode &parameter, const Value &value) {
    std::string text;
    append_value(text, parameter.type == RV_TR_SECRET ? Value(std::string("***")) : value);
    return text;
}

bool Model::Parts::keep(std::vector<ModelKeeper::Change> changes) {
    keeping_ = false;
    if (keeper == nullptr) return true;
    std::erase_if(changes, [this](const auto &change) { return !keeper->keeps(change.path); });
    if (changes.empty()) return true;
    keeping_ = keeper->keep(changes);
    return keeping_;
}

void Model::Parts::kept() {
    if (keeping_) keeper->made();
    keeping_ = false;
}

size_t Model::object_count() const {
    return parts_->schema->objects;
}
size_t Model::parameter_count() const {
    return parts_->schema->parameters;
}

}  // namespace ravd
