// Changes that handlers of the schema take part in: they are asked before the model makes them.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "ravd/model/handlers.h"
#include "ravd/model/schema.h"
#include "ravd/model/value.h"

namespace ravd {

struct Place;

struct HandledValue {
    std::string name;  // relative to the change's path; "" for the parameter itself
    std::string path;  // full name
    Value before, after;

    bool operator==(const HandledValue &) const = default;
};

// What one handler is asked.
struct HandledChange {
    Action action;           // set, add or remove
    const SchemaNode *node;  // that has the handler
    std::string path;        // set: of node; add: of the object, remove: of the instance; closed, unless a parameter
    uint32_t instance = 0;   // add: the number to come
    std::vector<HandledValue> values;  // set: of node and below it

    bool operator==(const HandledChange &) const = default;
    const std::string &program() const { return node->handlers->of(action); }
};

// The handlers' part of one request, in the order in which they are to be asked.
class HandledChanges {
 public:
    // A parameter will have another value, or the same again. What is set below one object's handler is one change.
    void set(const Place &place, Value before, Value after);
    // An instance will be added to the object at path.
    void add(const SchemaNode &object, const std::string &path, uint32_t instance);
    // The instance at path, of the node "#template", will be deleted.
    void remove(const SchemaNode &instance, const std::string &path);

    std::vector<HandledChange> list;
};

// Who asks them.
class ChangeGate {
 public:
    virtual ~ChangeGate() = default;
    // Called with the handlers' part of a request, when there is one, after all was checked and before anything is
    // made. False: nothing is made now.
    virtual bool admits(std::vector<HandledChange> changes) = 0;
};

}  // namespace ravd
