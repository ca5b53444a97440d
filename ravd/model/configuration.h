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

#include <memory>
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

// Brings a document's configuration into a model.
class ConfigurationImport {
 public:
    explicit ConfigurationImport(Model &model);
    ~ConfigurationImport();
    ConfigurationImport(const ConfigurationImport &) = delete;
    ConfigurationImport &operator=(const ConfigurationImport &) = delete;

    // Reads and checks everything; the model stays as it is. 9018 when it is no such document, 9003 with every refused
    // name among its parameters.
    Fault read(std::string_view document);
    // The same for a document of another version of the schema: what the model does not take is passed over; refused
    // gets those names, each with its reason.
    Fault read_what_fits(std::string_view document, Fault &refused);
    // Whether the handlers that take part in the changes agree, or there are none (see ChangeGate). After read().
    bool is_admitted() const;
    // Makes the model hold what the document says, and its defaults where that says nothing; the secrets of a document
    // that has them left out stay as they are. Instances of providers are known again by their keys. Listeners and
    // recorder are told of each change. After read(); does not fail.
    void make();

 private:
    struct State;
    std::unique_ptr<State> state_;
};

// read() and make(), without handlers. On a fault nothing has changed.
Fault import_configuration(Model &model, std::string_view document);

struct Difference {
    enum class Kind { set, added, deleted } kind;
    std::string path;           // full name: of a parameter, or of an instance, closed
    std::string before, after;  // of set: compact JSON, "" for the default; "***" for secrets
};
// What users did to the configuration before to make it the one after; both are documents of this model with secrets.
// Instances of providers come and go by themselves and are not told. In the order of the names.
std::vector<Difference> compare_configurations(Model &model, std::string_view before, std::string_view after);

}  // namespace ravd
