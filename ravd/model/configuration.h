// The configuration: what users have set that lasts, and the instances they have added, as one JSON document, so that
// it can be kept, taken elsewhere and brought back. What is read only, runtime or a keeper's is no part of it.
//
//     {"Format": "ravd configuration 1", "Secrets": true,
//      "Tables": [{"Name": "Device.DNS.Client.Server.", "Last": 4, "Rows": [1, 4]}, …],
//      "Values": {"Device.DNS.Client.Server.4.Enable": true, …}}
//
// Rows are the instances in their order, those of a provider's with its key: [2, "eth0"]; Last is the highest number
// ever used. Values that nobody has set are not there. Nothing here knows of sockets; nothing is printed.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "ravd/model/fault.h"

namespace ravd {

class Model;

enum class Secrets { left_out, included };
std::string export_configuration(Model &model, Secrets secrets);
// The same of a model in which nobody has set anything.
std::string default_configuration();

// Makes the model hold what the document says, and its defaults where that says nothing; the secrets of a document that
// has them left out stay as they are. Instances of providers are known again by their keys. Everything is checked
// before anything changes; listeners and recorder are told of each change. 9018 when it is no such document, or 9003
// with every refused name among its parameters: then nothing has changed.
Fault import_configuration(Model &model, std::string_view document);
// The same, for a document of another version of the schema: what the model does not take is passed over. refused gets
// those names, each with its reason.
Fault import_what_fits(Model &model, std::string_view document, Fault &refused);

struct Difference {
    enum class Kind { set, added, deleted } kind;
    std::string path;           // full name: of a parameter, or of an instance, closed
    std::string before, after;  // of set: compact JSON, "" for the default; "***" for secrets
};
// What users did to the configuration before to make it the one after; both are documents of this model with secrets.
// Instances of providers come and go by themselves and are not told. In the order of the names.
std::vector<Difference> compare_configurations(Model &model, std::string_view before, std::string_view after);

}  // namespace ravd
