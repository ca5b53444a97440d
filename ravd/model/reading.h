// What the reading operations share: the state of one call, values as text, and the collecting of faults.
#pragma once

#include <string>
#include <string_view>

#include "ravd/model/access.h"
#include "ravd/model/fault.h"
#include "ravd/model/live_sync.h"
#include "ravd/model/resolve.h"

namespace ravd {

// One reading call.
struct Reading {
    Reading(Model &model, const Viewer &who) : parts(model.parts()), viewer(who), sync(parts) {}

    // Parses name into path. 9005 when the schema has no such name or the viewer may not see it, else 0.
    int parse(std::string_view name, Path &path) const;
    bool can_see(const SchemaNode &node) const { return node.can_see(viewer.role); }
    // Appends the parameter's value as JSON; record holds it. False, with nothing appended, when the viewer may not
    // read it, or the program that tells it can't. Secrets read as "".
    bool append_value_of(const SchemaNode &parameter, Record *record, std::string &out);

    // The code for a parameter that append_value_of() has refused.
    int refusal(const SchemaNode &parameter, const Record &record) const;

    Model::Parts &parts;
    const Viewer &viewer;
    LiveSync sync;
};

// Notes that name failed. The first failure's code becomes the fault's.
void add_failure(Fault &fault, std::string_view name, int code);
// A fault about one name.
Fault failure(std::string_view name, int code);

// Takes back what was written of a result that has grown too large.
Fault too_large(std::string &result, size_t before);

// Appends what goes between two members or elements: "," unless out ends in an opening bracket.
inline void append_comma(std::string &out) {
    if (out.back() != '[' && out.back() != '{') out += ',';
}

// Appends a member's key that needs no escaping, with its colon, and the comma before it.
inline void append_key(std::string &out, std::string_view key) {
    append_comma(out);
    out += '"';
    out += key;
    out += "\":";
}

}  // namespace ravd
