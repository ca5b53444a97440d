// Values that programs tell at the moment of reading. Reading finds out which programs a request needs: it is done once
// without their values, which notes who has to be asked, and again when they have answered.
//
//     ToldValues told;
//     {
//         const ToldValues::Use use(model, told);
//         fault = read_values(model, viewer, names, …);
//     }
//     for (const ToldValues::Teller &teller : told.take_wanted()) …ask, then told.answer() or told.fail()…
//
// Who reads without any has the stored values instead.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include <jansson.h>

#include "ravd/model/model.h"
#include "ravd/model/store.h"

namespace ravd {

class ToldValues {
 public:
    // Somebody to be asked.
    struct Teller {
        std::string path;        // full name: of the parameter, or of the object or instance, closed
        const SchemaNode *node;  // with the handler
    };
    struct Finding {
        int code = 0;                  // not 0: the value can't be had
        const Value *value = nullptr;  // null: the stored one counts
    };

    // While one lives, the model's reading operations take their values from here.
    class Use {
     public:
        Use(Model &model, ToldValues &told);
        ~Use();
        Use(const Use &) = delete;
        Use &operator=(const Use &) = delete;

     private:
        Model &model_;
    };

    // The value of a parameter that has a teller, which is wanted from now on when nobody has asked it yet.
    Finding find(const SchemaNode &parameter, const Record &record);
    // Who has to be asked since the last call.
    std::vector<Teller> take_wanted() { return std::exchange(wanted_, {}); }
    bool wants_some() const { return !wanted_.empty(); }

    // Takes what a teller has answered: {"value": …} of a parameter, {"values": {relative name: …}} of an object. null
    // and what is not named mean the stored value. Returns what is wrong, for the log: those values can't be had then.
    std::string answer(const Teller &teller, const json_t *answer);
    // The teller has refused or failed: none of its values can be had.
    void fail(const Teller &teller, int code);

 private:
    struct Told {
        int code = 0;
        Value value;
    };
    struct Answer {
        int code = 0;                                   // not 0: of all its values
        std::map<std::string, Told, std::less<>> told;  // by relative names, "" for the parameter itself
    };

    std::string take(const Teller &teller, Answer &answer, std::string_view name, json_t *json);

    std::map<std::string, Answer> answers_;  // by the tellers' paths; empty ones while they are asked
    std::vector<Teller> wanted_;
};

// json as a value of the parameter, as a program tells it: without control characters, and checked. Unset for null.
// Returns an empty text, or why it can't be one, as "has control characters".
std::string told_value(const SchemaNode &parameter, json_t *json, Value &value);

}  // namespace ravd
