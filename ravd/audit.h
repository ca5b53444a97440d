// The audit: one line in the log for each change that a request makes. It names who made it, from where and by which
// method, and the values before and after. --log-level leaves none of them out.
#pragma once

#include <string>
#include <string_view>

#include <jansson.h>

#include "ravd/model/recorder.h"

namespace ravd {

class Member;
struct Operation;

class Audit : public ChangeRecorder {
 public:
    // While one lives, what changes is its caller's doing, with the identity that it began with. One at a time. Changes
    // outside of it are the daemon's own.
    class Acting {
     public:
        Acting(Audit &audit, const Member &caller, const char *method);
        ~Acting();
        Acting(const Acting &) = delete;
        Acting &operator=(const Acting &) = delete;

     private:
        Audit &audit_;
    };

    void changed(const RecordedChange &change) override;
    // A method of the model has been run that changes something.
    void executed(const Operation &operation);
    // The device as a whole is acted upon. arguments: borrowed; null for none.
    void acted(const char *what, const json_t *arguments);

 private:
    std::string actor_;  // user="ann" role=admin peer="uid 0" method=AddObject
};

// A value as the line has it: JSON, or where it is long a JSON string of its beginning and "...".
std::string audit_value(std::string_view json);

}  // namespace ravd
