// The model's insides, for the operations on it.
#pragma once

#include <memory>
#include <vector>

#include "ravd/model/keeper.h"
#include "ravd/model/live_binding.h"
#include "ravd/model/model.h"
#include "ravd/model/recorder.h"
#include "ravd/model/schema.h"
#include "ravd/model/store.h"

namespace ravd {

class ToldValues;

struct Model::Parts {
    std::unique_ptr<Schema> schema;
    std::vector<LiveBinding> live_tables;  // by SchemaNode::live_table
    std::unique_ptr<Record> root;
    ModelListener *listener = nullptr;
    ModelKeeper *keeper = nullptr;
    ChangeRecorder *recorder = nullptr;
    ToldValues *told = nullptr;  // see ToldValues::Use

    // Asks the keeper about changes to come, where it keeps any. False: they must not be made.
    bool keep(std::vector<ModelKeeper::Change> changes);
    // Tells the keeper that they were made.
    void kept();
    // Whether what is below a full name is kept by somebody else.
    bool is_kept(std::string_view name) const { return keeper && keeper->keeps(name); }
    // Tells the recorder, where there is one.
    void record(const RecordedChange &change) const {
        if (recorder) recorder->changed(change);
    }

 private:
    bool keeping_ = false;
};

}  // namespace ravd
