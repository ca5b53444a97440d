// Executing a method of the data model: which one a path means and who may, its arguments checked, its outputs put in
// their order. What it does is told elsewhere; nothing here knows of sockets, and nothing is printed.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <jansson.h>

#include "ravd/model/access.h"
#include "ravd/model/fault.h"
#include "ravd/model/schema.h"
#include "ravd/model/value.h"

namespace ravd {

class Model;

// Values by their names relative to "#input." or "#output.": "Host", "Route.Metric".
using NamedValues = std::vector<std::pair<std::string, Value>>;

// A method of the model, about to be run with arguments.
struct Operation {
    const SchemaNode *method = nullptr;  // lent by the model
    std::string name;                    // full, closed: "Device.Users.User.3.CreateToken."
    std::string pattern;                 // "Device.Users.User.{i}.CreateToken"
    uint32_t instance = 0;               // of the innermost instance that the method is in; 0: of none
    NamedValues arguments;               // all that the schema has, in its order; those not given with their defaults

    // The value of an argument that the schema has with that type.
    template <typename Type>
    const Type &argument(std::string_view argument_name) const {
        for (const auto &[each, value] : arguments)
            if (each == argument_name) return std::get<Type>(value);
        static const Type none = {};
        return none;
    }
};

// Fills all but the arguments. path: with or without its closing ".". 9005 when it is no method, or of no instance that
// exists, or the viewer may not see it; 9001 when the viewer may not write, and so not execute, it.
Fault find_operation(Model &model, const Viewer &viewer, std::string_view path, Operation &operation);

// Fills the arguments. list: an array of {"Name": text, "Value": any} (the caller has checked that), or null for none;
// a null value counts as not given. 9003 with every refused argument among its parameters: those given in their order,
// then those that are mandatory and were not given.
Fault read_arguments(Model &model, const Viewer &viewer, const json_t *list, Operation &operation);

// {"ParameterList": [{"Name", "Value"}]} of those outputs that the schema has, in its order; those of a table
// ("Hops.2.Address") in their own.
std::string operation_result(const SchemaNode &method, const NamedValues &outputs);

// What the arguments were, as {"Host":"192.0.2.7"}, for the log; secrets as "***".
std::string arguments_for_log(const Operation &operation);

// The patterns of all methods in the schema, in its order.
std::vector<std::string> all_operations(Model &model);

}  // namespace ravd
