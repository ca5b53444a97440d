// Test cases as folders of files: tests/data/SUITE/CASE/{input,output,…}.
#pragma once

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

struct DataCase {
    std::filesystem::path folder;

    std::string name() const { return folder.filename().string(); }
    bool has(const char *file) const { return std::filesystem::exists(folder / file); }
    std::string read(const char *file) const {
        std::ifstream stream(folder / file, std::ios::binary);
        std::ostringstream text;
        text << stream.rdbuf();
        return text.str();
    }
};

// The cases of a suite, sorted by name.
inline std::vector<DataCase> data_cases(const char *suite) {
    std::vector<DataCase> cases;
    for (const auto &entry : std::filesystem::directory_iterator(std::string(RAV_SOURCE "/tests/data/") + suite))
        cases.push_back({entry.path()});
    std::sort(cases.begin(), cases.end(), [](const DataCase &a, const DataCase &b) { return a.folder < b.folder; });
    return cases;
}

inline void PrintTo(const DataCase &c, std::ostream *out) {
    *out << c.name();
}

// Names the tests of a suite after its cases.
inline std::string case_name(const testing::TestParamInfo<DataCase> &test) {
    return test.param.name();
}
