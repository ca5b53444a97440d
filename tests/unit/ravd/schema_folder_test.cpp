// The default data model in schema/: every file by itself, and the whole with the providers of this program.
#include <algorithm>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>

#include <gtest/gtest.h>
#include <jansson.h>
#include <regex.h>
#include <string.h>

#include "ravd/model/live.h"
#include "ravd/model/model.h"
#include "ravd/model/read.h"
#include "rv/tr.h"

namespace ravd {
namespace {

const std::string folder = RAV_SOURCE "/schema";

Json load_file(const std::filesystem::path &path, json_error_t *error) {
    return Json(json_load_file(path.c_str(), JSON_REJECT_DUPLICATES, error));
}

// Calls use(name, attributes) for every parameter below the node.
void each_parameter(const std::string &name, json_t *node,
                    const std::function<void(const std::string &, json_t *)> &use) {
    json_t *attr = json_object_get(node, "#attr");
    const int type = rv_tr_type_from_name(json_string_value(json_object_get(attr, "type")));
    if (rv_tr_dm_type_is_parameter(type)) use(name, attr);
    const char *key = nullptr;
    json_t *child = nullptr;
    json_object_foreach(node, key, child) {
        if (strcmp(key, "#attr") != 0) each_parameter(name.empty() ? key : name + "." + key, child, use);
    }
}

void each_parameter_of_model(const std::function<void(const std::string &, json_t *)> &use) {
    for (const auto &entry : std::filesystem::directory_iterator(folder)) {
        json_error_t error;
        const Json file = load_file(entry.path(), &error);
        ASSERT_TRUE(file) << entry.path() << ":" << error.line << ": " << error.text;
        each_parameter("", file.get(), use);
    }
}

bool is_writable(const json_t *attr) {
    return strcmp(json_string_value(json_object_get(attr, "access")), "readWrite") == 0;
}

int type_of(const json_t *attr) {
    return rv_tr_type_from_name(json_string_value(json_object_get(attr, "type")));
}

bool matches(const char *pattern, const char *text) {
    regex_t compiled;
    if (regcomp(&compiled, pattern, REG_EXTENDED | REG_NOSUB) != 0) return false;
    const bool found = regexec(&compiled, text, 0, nullptr, 0) == 0;
    regfree(&compiled);
    return found;
}

TEST(SchemaFolder, OneBranchAFile) {
    size_t files = 0;
    for (const auto &entry : std::filesystem::directory_iterator(folder)) {
        files++;
        json_error_t error;
        const Json file = load_file(entry.path(), &error);
        ASSERT_TRUE(file) << entry.path() << ":" << error.line << ": " << error.text;
        if (entry.path().stem() == "device") continue;
        json_t *device = json_object_get(file.get(), "Device");
        EXPECT_EQ(json_object_size(file.get()), 1U) << entry.path();
        ASSERT_EQ(json_object_size(device), 1U) << entry.path();
        const char *branch = json_object_iter_key(json_object_iter(device));
        EXPECT_EQ(strcasecmp(branch, entry.path().stem().c_str()), 0) << entry.path();
    }
    EXPECT_GE(files, 11U);
}

TEST(SchemaFolder, EveryParameterSaysWhatItIs) {
    each_parameter_of_model([](const std::string &name, json_t *attr) {
        EXPECT_TRUE(json_string_length(json_object_get(attr, "description")) > 0) << name;
        EXPECT_TRUE(json_string_value(json_object_get(attr, "access"))) << name;
        EXPECT_FALSE(json_object_get(attr, "const")) << name << ": access says it";
        if (type_of(attr) == RV_TR_ENUMERATION) {
            EXPECT_GT(json_array_size(json_object_get(attr, "enum")), 1U) << name;
        }
    });
}

// What the loader would fill in or leave open is written in these files.
TEST(SchemaFolder, WritableParametersHaveDefaultsAndLimits) {
    each_parameter_of_model([](const std::string &name, json_t *attr) {
        if (!is_writable(attr)) return;
        EXPECT_TRUE(json_object_get(attr, "default")) << name;
        if (rv_tr_type_json(type_of(attr)) == JSON_INTEGER) {
            EXPECT_TRUE(json_object_get(attr, "minInclusive")) << name;
            EXPECT_TRUE(json_object_get(attr, "maxInclusive")) << name;
        }
        if (type_of(attr) == RV_TR_STRING) {
            EXPECT_TRUE(json_object_get(attr, "maxLength")) << name;
        }
    });
}

TEST(SchemaFolder, DefaultsFitTheirEnumerationsAndPatterns) {
    each_parameter_of_model([](const std::string &name, json_t *attr) {
        json_t *value = json_object_get(attr, "default");
        const char *pattern = json_string_value(json_object_get(attr, "regex"));
        if (pattern) {
            EXPECT_TRUE(matches(pattern, value ? json_string_value(value) : "")) << name;
        }
        json_t *allowed = json_object_get(attr, "enum");
        bool found = !allowed || !value;
        for (size_t i = 0; i < json_array_size(allowed); i++) found |= json_equal(json_array_get(allowed, i), value);
        EXPECT_TRUE(found) << name;
    });
}

TEST(SchemaFolder, SecretsAreNotForGuests) {
    size_t secrets = 0;
    each_parameter_of_model([&](const std::string &name, json_t *attr) {
        if (type_of(attr) == RV_TR_SECRET) secrets++;
        if (name != "Device.DeviceInfo.SerialNumber") return;
        EXPECT_STREQ(json_string_value(json_object_get(attr, "perms")), "r-r---");
    });
    EXPECT_GT(secrets, 0U);
    for (const auto &entry : std::filesystem::directory_iterator(folder)) {
        const std::string stem = entry.path().stem();
        if (stem == "device" || stem == "deviceinfo") continue;
        json_error_t error;
        const Json file = load_file(entry.path(), &error);
        json_t *device = json_object_get(file.get(), "Device");
        json_t *branch = json_object_iter_value(json_object_iter(device));
        const char *perms = json_string_value(json_object_get(json_object_get(branch, "#attr"), "perms"));
        ASSERT_TRUE(perms) << stem;
        EXPECT_STREQ(perms + 4, "--") << stem;
    }
}

TEST(SchemaFolder, LoadsWithTheProvidersOfThisProgram) {
    std::string error;
    const auto model = Model::load(folder, all_providers(), error);
    ASSERT_TRUE(model) << error;
    EXPECT_EQ(error, "");
    size_t written = 0;
    each_parameter_of_model([&](const std::string &, json_t *) { written++; });
    EXPECT_EQ(model->parameter_count(), written);
}

// Whether the model has a parameter of this full name; attributes are there for instances that are not.
bool has_parameter(Model &model, const std::string &name) {
    const Json names(json_pack("[s]", name.c_str()));
    std::string result;
    return !read_attributes(model, {Role::admin, "admin"}, names.get(), 0, false, result) &&
           result.find(R"("type":"object")") == std::string::npos;
}

TEST(SchemaFolder, HasEveryNameThatAProviderServes) {
    std::string error;
    const auto model = Model::load(folder, all_providers(), error);
    ASSERT_TRUE(model) << error;
    for (const Provider &provider : all_providers()) {
        for (const LiveParameter &live : provider.parameters)
            EXPECT_TRUE(has_parameter(*model, live.path)) << live.path;
        for (const LiveTable &live : provider.tables) {
            for (std::string name : live.serves) {
                for (size_t mark; (mark = name.find("{i}")) != name.npos;) name.replace(mark, 3, "1");
                EXPECT_TRUE(has_parameter(*model, std::string(live.path) + "1." + name)) << live.path << name;
            }
        }
    }
}

}  // namespace
}  // namespace ravd
