// Live tables brought up to date before they are read. One LiveSync serves one reading call: each table is listed at
// most once in it, so that all names of the call see the same instances.
#pragma once

#include <vector>

#include "ravd/model/parts.h"

namespace ravd {

class LiveSync {
 public:
    explicit LiveSync(Model::Parts &parts) : parts_(parts), done_(parts.live_tables.size()) {}

    // Lists the table of a multi-instance object where it is live: new keys become instances, the instances of keys
    // that are gone are deleted, values are set. The listener is told what was added and deleted where the table says
    // so, but not what the very first list finds. Does nothing for all other nodes.
    void update(const SchemaNode &object);
    // The same for every live table at or below node that the role may see.
    void update_below(const SchemaNode &node, Role role);

 private:
    Model::Parts &parts_;
    std::vector<bool> done_;
};

}  // namespace ravd
