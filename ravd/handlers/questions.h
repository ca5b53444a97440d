// What handlers are asked, and what they answer: one JSON object each way.
#pragma once

#include <string>
#include <string_view>

#include "ravd/handlers/program_run.h"
#include "ravd/model/access.h"
#include "ravd/model/handlers.h"
#include "ravd/model/value.h"

namespace ravd {

// {"action":"get","path":"Device.X.Y","user":"ann","role":"admin", …}
class Question {
 public:
    Question(Action action, std::string_view path);

    // Who asks.
    Question &by(const Viewer &viewer);

    Question &add(std::string_view name, const Value &value);
    // A member that is an object of such members, up to end().
    Question &begin(std::string_view name);
    Question &end();
    // The whole text. Given away.
    std::string text();

 private:
    void append_name(std::string_view name);

    std::string text_;
};

struct HandlerAnswer {
    int code = 0;         // 0: it has done what it was asked for; 9000 to 9019: it has refused; see also failed
    bool failed = false;  // it has neither done nor refused it: what it has left behind is unknown. The code is 9002
    std::string message;  // for the client, may be empty
    Json json;            // an object, where the code is 0
};

// Reads what a program has said about path. Nothing at all counts as {}. Writes to the log why it has failed.
HandlerAnswer read_answer(const std::string &program, const std::string &path, const ProgramOutcome &outcome);

}  // namespace ravd
