// A model with every type and relation, and a provider whose values the test decides, for tests of writing.
#pragma once

#include "tests/unit/ravd/model_fixture.h"

namespace ravd {

// What the provider of this model finds. Providers are plain functions, so this is one for the program.
struct LiveYard {
    std::string name = "live";
    struct Port {
        std::string name;
        bool enable;
    };
    std::vector<Port> ports;

    static LiveYard &instance() {
        static LiveYard yard;
        return yard;
    }
};

inline std::span<const Provider> yard_providers() {
    static const char *const served[] = {"Name", "Enable"};
    static constexpr auto list = [](LiveRows &rows) {
        for (const auto &port : LiveYard::instance().ports)
            rows.add(port.name).set("Name", port.name).set("Enable", port.enable);
    };
    static constexpr auto name = [](const Viewer &) { return std::optional<Value>(LiveYard::instance().name); };
    static const LiveTable tables[] = {{"Device.Port.", served, list, true}};
    static const LiveParameter parameters[] = {{"Device.Values.Live", name}};
    static const Provider providers[] = {{"yard", parameters, tables}};
    return providers;
}

class WriteTest : public ModelTest {
 protected:
    WriteTest() : ModelTest("yard", yard_providers()) {
        yard = LiveYard();
        model->set_listener(&listener);
    }
    ~WriteTest() override { model->set_listener(nullptr); }

    // Sets one parameter to a JSON text; the fault's text of that pair, or "" when it was set.
    std::string set_one(const std::string &name, const std::string &value, bool raw = false) {
        const std::string outcome = set(pairs({{name, value}}), raw);
        if (outcome == done) return "";
        const std::string before = "9003: [" + name + "] ";
        EXPECT_EQ(outcome.substr(0, before.size()), before);
        return outcome.substr(before.size(), outcome.size() - before.size() - 1);
    }
    // The value of one parameter as JSON text.
    std::string get(const std::string &name) {
        const std::string result = values({name.c_str()});
        const std::string before = "{\"ParameterList\":[{\"Name\":\"" + name + "\",\"Value\":";
        if (!result.starts_with(before)) return result;
        return result.substr(before.size(), result.size() - before.size() - 3);
    }
    // What the listener was told since the last call, joined by blanks.
    std::string told() {
        std::string text;
        for (const std::string &each : std::exchange(listener.told, {})) text += (text.empty() ? "" : " ") + each;
        return text;
    }
    static std::string pairs(std::initializer_list<std::pair<std::string, std::string>> list) {
        std::string text = "[";
        for (const auto &[name, value] : list)
            text += (text.size() > 1 ? "," : "") + ("{\"Name\":\"" + name) + "\",\"Value\":" + value + "}";
        return text + "]";
    }
    void must(const std::string &outcome) { EXPECT_TRUE(outcome.starts_with("{")) << outcome; }

    static constexpr char done[] = "{\"Status\":0}";
    LiveYard &yard = LiveYard::instance();
    RecordingListener listener;
};

}  // namespace ravd
