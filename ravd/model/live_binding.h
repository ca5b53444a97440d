// Providers tied to the schema: which node each name that they serve stands for.
#pragma once

#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "ravd/model/live.h"
#include "ravd/model/schema.h"

namespace ravd {

// What a provider serves in the rows of one multi-instance object. Names are relative to the row.
struct LiveRow {
    struct Parameter {
        std::string_view name;
        const SchemaNode *node;
    };
    struct Nested {
        std::string name;
        const SchemaNode *node;
        std::unique_ptr<LiveRow> row;
    };
    std::vector<Parameter> parameters;
    std::vector<Nested> tables;
};

struct LiveBinding {
    const LiveTable *table = nullptr;
    const SchemaNode *node = nullptr;
    LiveRow row;
    bool listed = false;  // at least once: what the first list finds is no news
};

// Ties every parameter and table of the providers to its node (SchemaNode::live and live_table, Source::live) and
// fills bindings. What the schema does not have is not served: a device maker may leave branches out. False with an
// error
// "<provider>: <reason>" when a name stands for a node of another kind, or is served twice.
bool bind_providers(Schema &schema, std::span<const Provider> providers, std::vector<LiveBinding> &bindings,
                    std::string &error);

}  // namespace ravd
