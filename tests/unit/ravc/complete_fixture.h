// What completion and hints offer, one text for each list of candidates.
#pragma once

#include <cstring>

#include "ravc/cache/instance_events.h"
#include "ravc/shell/complete.h"
#include "tests/unit/ravc/shell_fixture.h"

class CompleteFixture : public ShellFixture {
 protected:
    explicit CompleteFixture(test::Script script = test::answer_from_model()) : ShellFixture(std::move(script)) {
        open_shell();
    }
    ~CompleteFixture() override { instance_events_clear(); }

    static std::string joined(const json_t *list) {
        std::string text;
        size_t i;
        json_t *element;
        json_array_foreach(list, i, element) text += (i > 0 ? " " : "") + std::string(json_string_value(element));
        return text;
    }

    // The candidates with the cursor at the end of line, or where "|" stands. Nothing may be printed.
    static std::string offered(std::string line) {
        size_t cursor = line.find('|');
        if (cursor == line.npos) {
            cursor = line.size();
        } else {
            line.erase(cursor, 1);
        }
        json_auto_t *candidates = json_array();
        testing::internal::CaptureStdout();
        complete_line(line.c_str(), cursor, candidates);
        EXPECT_EQ(testing::internal::GetCapturedStdout(), "") << line;
        return joined(candidates);
    }

    // "<none>" for no hint.
    static std::string hinted(const std::string &line) {
        char *hint = hint_line(line.c_str());
        const std::string text = hint ? hint : "<none>";
        free(hint);
        return text;
    }
};
