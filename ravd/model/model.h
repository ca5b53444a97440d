// The data model: its schema, the values and instances stored under it, and the providers of live values.
#pragma once

#include <memory>
#include <span>
#include <string>

#include "ravd/model/live.h"

namespace ravd {

class ChangeRecorder;
class ModelKeeper;

// Told of changes, in their order, after they were made. The model keeps no clients: events.h does.
class ModelListener {
 public:
    virtual ~ModelListener() = default;
    // A parameter has another value; value: compact JSON, "" for secrets. Changes that follow from instances that were
    // added or deleted (counters, max_instance, order, the index of those behind) are not told apart from these.
    virtual void value_changed(const std::string &path, const std::string &value) = 0;
    // An instance was added or deleted; path is the multi-instance object's full name, closed with ".".
    virtual void instance_added(const std::string &path, uint32_t number) = 0;
    virtual void instance_deleted(const std::string &path, uint32_t number) = 0;
};

class Model {
 public:
    // Loads every *.json file of the schema folder in the order of their names and merges them by branch.
    // On failure returns null and sets error to "<file>:<line>: <reason>" (or "<folder>: <reason>"), and nothing is
    // left half-loaded. A provider whose name stands for a node of another kind is such a failure, too: "<provider>:
    // <reason>"; a name that the schema lacks is not served.
    static std::unique_ptr<Model> load(const std::string &folder, std::span<const Provider> providers,
                                       std::string &error);
    ~Model();

    // Borrowed; null for none.
    void set_listener(ModelListener *listener);
    // The same.
    void set_keeper(ModelKeeper *keeper);
    void set_recorder(ChangeRecorder *recorder);

    // Counts for the report of --check.
    size_t object_count() const;
    size_t parameter_count() const;

    // The model's own parts, for the operations on it (read.h and its kind).
    struct Parts;
    Parts &parts() { return *parts_; }

 private:
    explicit Model(std::unique_ptr<Parts> parts);
    std::unique_ptr<Parts> parts_;
};

}  // namespace ravd
