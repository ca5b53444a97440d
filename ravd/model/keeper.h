// Who keeps a part of the model durable from change to change. What is kept refers to nothing: references that are
// cleared because their instance goes are not told.
#pragma once

#include <span>
#include <string>
#include <string_view>

#include "ravd/model/value.h"

namespace ravd {

class ModelKeeper {
 public:
    struct Change {
        enum class Kind { set, added, deleted } kind;
        std::string path;    // of the parameter; of the instance, closed with "."
        const Value *value;  // of a parameter; else null
    };

    virtual ~ModelKeeper() = default;
    // Whether changes below the full name are the keeper's.
    virtual bool keeps(std::string_view name) const = 0;
    // Called with all changes of a request that it keeps, in their order, before any of them is made. When this returns
    // false the request is refused and none is made.
    virtual bool keep(std::span<const Change> changes) = 0;
    // Those changes were made.
    virtual void made() = 0;
    // Whether the texts of the parameter are held as hashes, which are made outside of the model.
    virtual bool hashes(std::string_view name) const = 0;
};

}  // namespace ravd
