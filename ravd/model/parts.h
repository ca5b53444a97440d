// The model's insides, for the operations on it.
#pragma once

#include <memory>
#include <vector>

#include "ravd/model/handled_changes.h"
#include "ravd/model/keeper.h"
#include "ravd/model/live_binding.h"
#include "ravd/model/model.h"
#include "ravd/model/recorder.h"
#include "ravd/model/schema.h"
#include "ravd/model/store.h"

namespace ravd {

class ToldValues;

// Told of what has changed where the schema has handlers that redraw.
class RedrawListener {
 public:
    virtual ~RedrawListener() = default;
    virtual void changed(std::string_view path) = 0;
};

struct Model::Parts {
    std::unique_ptr<Schema> schema;
    std::vector<LiveBinding> live_tables;  // by SchemaNode::live_table
    std::unique_ptr<Record> root;
    ModelListener *listener = nullptr;
    ModelKeeper *keeper = nullptr;
    ChangeRecorder *recorder = nullptr;
    ToldValues *told = nullptr;  // see ToldValues::Use
    ChangeGate *gate = nullptr;  // null: changes are made without their handlers
    RedrawListener *redraws = nullptr;

    // Asks the keeper about changes to come, where it keeps any. False: they must not be made.
    bool keep(std::vector<ModelKeeper::Change> changes);
    // Tells the keeper that they were made.
    void kept();
    // Whether what is below a full name is kept by somebody else.
    bool is_kept(std::string_view name) const { return keeper && keeper->keeps(name); }
    // Tells the recorder, where there is one, and whoever redraws.
    void record(const RecordedChange &change) const {
        if (recorder) recorder->changed(change);
        if (redraws && schema->has_redrawn) redraws->changed(change.path);
    }
    // Whether changes can be asked for.
    bool asks() const { return gate && schema->has_changers; }
    // False: not to be made now.
    bool admits(HandledChanges changes) const { return changes.list.empty() || gate->admits(std::move(changes.list)); }

 private:
    bool keeping_ = false;
};

}  // namespace ravd
