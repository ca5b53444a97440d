// Values as a tree of JSON text: instance numbers as keys, "max_instance" in every multi-instance object. Secrets and
// what the viewer may not read are left out.
#pragma once

#include <string>

#include "ravd/model/reading.h"

namespace ravd {

class ValueTree {
 public:
    ValueTree(Reading &reading, std::string &out) : reading_(reading), out_(out) {}

    // The object, the instance or the multi-instance object node; record holds it, or is the instance.
    void write_whole(const SchemaNode &node, Record &record);
    // A parameter as a member: its name and its value.
    void write_parameter(const SchemaNode &parameter, Record &record);

 private:
    void write_instances(const SchemaNode &object, Record &record);

    Reading &reading_;
    std::string &out_;
};

}  // namespace ravd
