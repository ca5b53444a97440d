// Handlers as the model knows them: who tells what, what has to be asked for which change, and names of what records
// hold.
#include "ravd/json_text.h"
#include "ravd/model/handled_changes.h"
#include "ravd/model/resolve.h"
#include "ravd/model/told_values.h"
#include "ravd/model/write.h"
#include "tests/unit/ravd/model_fixture.h"

namespace ravd {
namespace {

// Notes what is asked for, and lets it through or not.
class TestGate : public ChangeGate {
 public:
    bool admits(std::vector<HandledChange> changes) override {
        for (const HandledChange &change : changes) {
            asked += std::string(asked.empty() ? "" : "; ") + change.program() + " " + action_name(change.action) +
                     " " + change.path;
            if (change.instance != 0) asked += "#" + std::to_string(change.instance);
            for (const HandledValue &value : change.values) {
                asked += " " + value.name + ":";
                append_value(asked, value.before);
                asked += ">";
                append_value(asked, value.after);
            }
        }
        return open;
    }

    std::string asked;
    bool open = true;
};

class HandledTest : public ModelTest {
 protected:
    HandledTest() : ModelTest("handled", {}) { model->parts().gate = &gate; }
    ~HandledTest() override { model->parts().gate = nullptr; }

    // GetParameterValues with what was told so far.
    std::string read(const char *name) {
        const ToldValues::Use use(*model, told);
        return values({name});
    }
    // Who has to be asked since the last call, and becomes so.
    std::string wanted() {
        std::string text;
        for (const ToldValues::Teller &teller : told.take_wanted()) {
            text += (text.empty() ? "" : " ") + teller.path;
            tellers[teller.path] = teller;
        }
        return text;
    }
    // What is wrong with an answer.
    std::string answer(const std::string &path, const std::string &text) {
        const Json json(json_loads(text.c_str(), 0, nullptr));
        EXPECT_TRUE(json) << text;
        return told.answer(tellers.at(path), json.get());
    }
    void must_add(const char *name) { EXPECT_TRUE(add(name).starts_with("{")) << name; }
    // The changes that were to be asked for since the last call.
    std::string asked() { return std::exchange(gate.asked, ""); }

    TestGate gate;
    ToldValues told;
    std::map<std::string, ToldValues::Teller> tellers;
};

std::string one(const std::string &name, const std::string &value) {
    return R"({"ParameterList":[{"Name":")" + name + R"(","Value":)" + value + "}]}";
}

TEST_F(HandledTest, WithoutToldValuesTheStoredOnesAreRead) {
    EXPECT_EQ(values({"Device.Told"}), one("Device.Told", "7"));
    EXPECT_EQ(wanted(), "");
}

TEST_F(HandledTest, WhatIsReadIsWantedOnce) {
    EXPECT_EQ(read("Device.Told"), one("Device.Told", "7"));
    EXPECT_EQ(wanted(), "Device.Told");
    read("Device.Told");
    EXPECT_EQ(wanted(), "");
    EXPECT_EQ(answer("Device.Told", R"({"value":42})"), "");
    EXPECT_EQ(read("Device.Told"), one("Device.Told", "42"));
    EXPECT_EQ(read("Device.Plain"), one("Device.Plain", "\"\""));
    EXPECT_EQ(wanted(), "");
}

TEST_F(HandledTest, TheNearestHandlerTells) {
    must_add("Device.Group.Row.");
    must_add("Device.Group.Row.1.Inner.");
    read("Device.Group.Row.1.State");
    EXPECT_EQ(wanted(), "Device.Group.");
    read("Device.Group.Row.1.Inner.1.Size");
    EXPECT_EQ(wanted(), "Device.Group.Row.1.Inner.1.");
    read("Device.Group.");
    EXPECT_EQ(wanted(), "Device.Group.Own");
}

TEST_F(HandledTest, NobodyTellsSecretsAndWhatTheModelKnows) {
    read("Device.Group.Key");
    read("Device.Group.RowNumberOfEntries");
    read("Device.Group.Row.max_instance");
    EXPECT_EQ(wanted(), "");
}

TEST_F(HandledTest, AnswersOfObjectsAreByRelativeNames) {
    must_add("Device.Group.Row.");
    read("Device.Group.");
    wanted();
    EXPECT_EQ(answer("Device.Group.", R"({"values":{"Name":"a\u001bb","Row.1.State":"up","Row.2.State":"none"}})"), "");
    EXPECT_EQ(read("Device.Group.Name"), one("Device.Group.Name", "\"ab\""));
    EXPECT_EQ(read("Device.Group.Row.1.State"), one("Device.Group.Row.1.State", "\"up\""));
    for (const char *name : {"Own", "Key", "Row.1", "Row.", "Row.#template.State", "Row.1.Inner.1.Size", "Name.",
                             "None", "RowNumberOfEntries", "Row.max_instance"}) {
        EXPECT_EQ(answer("Device.Group.", std::string(R"({"values":{")") + name + R"(":1}})"),
                  std::string("'") + name + "' is not its to tell");
    }
}

TEST_F(HandledTest, WhatDoesNotFitCanNotBeRead) {
    read("Device.Group.");
    wanted();
    EXPECT_EQ(answer("Device.Group.", R"({"values":{"Name":"longer than 8"}})"),
              "'Name': the value is longer than 8 characters");
    EXPECT_EQ(read("Device.Group.Name"), "9002: [Device.Group.Name] 9002 Internal error;");
    EXPECT_EQ(answer("Device.Group.", R"({"values":{"Name":null}})"), "");
    EXPECT_EQ(answer("Device.Group.", R"({"value":1})"), "no \"values\"");
}

TEST_F(HandledTest, WhoFailsTellsNothing) {
    read("Device.Group.");
    wanted();
    told.fail(tellers.at("Device.Group."), 9015);
    EXPECT_EQ(read("Device.Group.Name").substr(0, 4), "9015");
    EXPECT_EQ(list(read("Device.Group.")), "Device.Group.Key Device.Group.Own Device.Group.RowNumberOfEntries");
}

TEST_F(HandledTest, ChangesAreAskedForByTheirHandlers) {
    EXPECT_EQ(set(R"([{"Name":"Device.Told","Value":8},{"Name":"Device.Group.Name","Value":"n"},)"
                  R"({"Name":"Device.Plain","Value":"p"},{"Name":"Device.Group.Key","Value":"k"}])"),
              R"({"Status":0})");
    EXPECT_EQ(asked(), R"(set set Device.Told :7>8; set set Device.Group. Name:"stored">"n" Key:"">"k")");
    EXPECT_EQ(set(R"([{"Name":"Device.Plain","Value":"q"}])"), R"({"Status":0})");
    EXPECT_EQ(asked(), "");
    must_add("Device.Group.Row.");
    EXPECT_EQ(asked(), "row add Device.Group.Row.#1");
    must_add("Device.Group.Row.1.Inner.");
    EXPECT_EQ(asked(), "");
    EXPECT_EQ(del("Device.Group.Row.1."), R"({"Status":0})");
    EXPECT_EQ(asked(), "inner delete Device.Group.Row.1.Inner.1.; row delete Device.Group.Row.1.");
}

TEST_F(HandledTest, WhatIsNotAdmittedIsNotMade) {
    must_add("Device.Group.Row.");
    gate.open = false;
    const Json pairs(
        json_loads(R"([{"Name":"Device.Plain","Value":"p"},{"Name":"Device.Told","Value":8}])", 0, nullptr));
    std::string result;
    EXPECT_FALSE(set_values(*model, viewer, pairs.get(), false, result));
    EXPECT_FALSE(add_object(*model, viewer, "Device.Group.Row.", result));
    EXPECT_FALSE(delete_object(*model, viewer, "Device.Group.Row.1.", result));
    EXPECT_EQ(result, "");
    EXPECT_EQ(values({"Device.Plain"}), one("Device.Plain", "\"\""));
    EXPECT_EQ(values({"Device.Group.Row.max_instance"}), one("Device.Group.Row.max_instance", "1"));
    asked();
    model->parts().gate = nullptr;
    EXPECT_EQ(set(R"([{"Name":"Device.Told","Value":8}])"), R"({"Status":0})") << "without a gate nobody is asked";
    EXPECT_EQ(asked(), "");
}

TEST_F(HandledTest, RefusedChangesAreNotAskedFor) {
    EXPECT_EQ(set(R"([{"Name":"Device.Told","Value":101}])").substr(0, 4), "9003");
    EXPECT_EQ(add("Device.Group.Row.9.Inner.").substr(0, 4), "9005");
    EXPECT_EQ(asked(), "");
}

TEST_F(HandledTest, NamesOfWhatRecordsHold) {
    must_add("Device.Group.Row.");
    must_add("Device.Group.Row.");
    must_add("Device.Group.Row.2.Inner.");
    for (const std::string name : {"Device.Group.Row.2.Inner.1.Size", "Device.Group.Row.2.Inner.1.",
                                   "Device.Group.Row.2.", "Device.Group.Row.", "Device.Plain", "Device."}) {
        Path path;
        ASSERT_TRUE(parse_path(*model->parts().schema, name, path));
        LiveSync sync(model->parts());
        const Place place = present_places(path, model->parts(), sync).at(0);
        EXPECT_EQ(full_name(*place.node, *place.record), name);
    }
    EXPECT_EQ(full_name(model->parts().schema->root, *model->parts().root), "");
}

TEST_F(HandledTest, AllProgramsOfTheSchema) {
    EXPECT_EQ(all_handlers(*model->parts().schema),
              (std::vector<std::string>{"group", "inner", "own", "row", "set", "tell"}));
}

TEST(Handlers, NamesOfPrograms) {
    for (const char *name : {"a", "get-it", "A_b+1.lua", "0"}) EXPECT_TRUE(is_program_name(name)) << name;
    for (const std::string name : {"", ".", "..", ".a", "a/b", "/a", "a b", "a\n", "ä"})
        EXPECT_FALSE(is_program_name(name)) << name;
    EXPECT_TRUE(is_program_name(std::string(64, 'a')));
    EXPECT_FALSE(is_program_name(std::string(65, 'a')));
    EXPECT_FALSE(is_program_name(std::string_view("a\0b", 3)));
}

}  // namespace
}  // namespace ravd
