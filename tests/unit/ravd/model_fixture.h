// A small model with a provider whose rows the test decides, for tests of reading.
#pragma once

#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "ravd/model/model.h"
#include "ravd/model/parts.h"
#include "ravd/model/read.h"
#include "ravd/model/value.h"

namespace ravd {

// What the fake provider finds on its machine. Providers are plain functions, so this is one for the program.
struct FakeMachine {
    struct Interface {
        std::string name;
        int64_t bytes = 0;
        std::vector<std::string> addresses;
    };
    std::vector<Interface> interfaces;
    int64_t up_time = 0;
    int listed = 0;  // how often the interfaces were listed

    static FakeMachine &instance();
};

std::span<const Provider> fake_providers();

class RecordingListener : public ModelListener {
 public:
    void value_changed(const std::string &path, const std::string &value) override {
        told.push_back(path + "=" + value);
    }
    void instance_added(const std::string &path, uint32_t number) override {
        told.push_back("+" + path + std::to_string(number));
    }
    void instance_deleted(const std::string &path, uint32_t number) override {
        told.push_back("-" + path + std::to_string(number));
    }
    std::vector<std::string> told;
};

class ModelTest : public testing::Test {
 protected:
    ModelTest() : ModelTest("house", fake_providers()) {}
    // schema: a folder of tests/data/schema.
    ModelTest(const std::string &schema, std::span<const Provider> providers);

    Record &add_rule();

    // Each returns the result, or the fault as "<code>: name <text>; name <text>".
    std::string names(const char *path, bool next_level);
    std::string values(std::initializer_list<const char *> asked, bool ignore_access_error = false);
    std::string attributes(std::initializer_list<const char *> asked, int depth = 0);
    std::string datamodel(std::initializer_list<const char *> asked, int depth = -1);
    std::string config(const char *path);
    std::string select(const std::string &selector, size_t limit = SIZE_MAX);
    // pairs: JSON text, an array.
    std::string set(const std::string &pairs, bool raw = false);
    std::string add(const char *name);
    std::string del(const char *name);

    // The names in a ParameterList, joined by blanks.
    static std::string list(const std::string &result);
    // One member of the attributes in a list of one, as JSON text; "" when it has none.
    static std::string member(const std::string &result, const char *attribute);

    FakeMachine &machine = FakeMachine::instance();
    Viewer viewer{Role::admin, ""};
    std::unique_ptr<Model> model;
};

}  // namespace ravd
