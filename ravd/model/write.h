// The writing operations on the model. Like the reading ones (read.h) each appends its result object to result, or
// returns a fault; then neither result nor the model has changed. Whoever listens to the model is told of every change,
// in order. Where handlers of the schema take part in a change and the model has a gate (handled_changes.h) that does
// not admit it, nothing is made and result stays as it is, without a fault. Rights are those of the node that a name
// leads to. Nothing here knows of sockets; nothing is printed.
#pragma once

#include <map>
#include <string>
#include <string_view>

#include <jansson.h>

#include "ravd/model/access.h"
#include "ravd/model/fault.h"

namespace ravd {

class Model;

// Texts that are stored as hashes only (see ModelKeeper::hashes), by the full names of their parameters.
struct Hashes {
    std::map<std::string, std::string> made;
    std::map<std::string, std::string> wanted;  // texts whose hashes are missing
};

// pairs: an array of {"Name": text, "Value": any} (the caller has checked that). All values are set or none; the fault
// is 9003 with every refused pair among its parameters, in their order. raw: a text is taken for every type
// (convert.h). A value that stays as it was is told to nobody. {"Status": 0}.
// Takes time with the number of pairs; for a unique parameter that gets its default other than "" back, with the number
// of instances of its table too.
// Where the request has texts to be hashed that hashes->made lacks, and all else is in order, hashes->wanted gets them
// and nothing is done: result stays as it is. 9002 when what must be durable could not be stored.
Fault set_values(Model &model, const Viewer &viewer, const json_t *pairs, bool raw, std::string &result,
                 Hashes *hashes = nullptr);

// Adds an instance with the defaults, under the lowest number above every one that was ever used in its table. 9005
// when name is no multi-instance object, 9008 when the schema forbids adding, 9001 when the viewer may not, 9004 when
// the numbers are used up. {"InstanceNumber": number, "Status": 0}.
// Defaults are not checked to be unique: otherwise a default other than "" would allow one instance only.
Fault add_object(Model &model, const Viewer &viewer, std::string_view name, std::string &result);

// Deletes one instance with all below it, and does what the relations say about parameters that refer to it. Codes as
// with add_object(); 9001 with the reason in the detail when a relation denies it, or a provider keeps the instance.
// {"Status": 0}. Takes time with the number of parameters that may refer to it.
Fault delete_object(Model &model, const Viewer &viewer, std::string_view name, std::string &result);

}  // namespace ravd
