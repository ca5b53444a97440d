// Replies as text: what is written must read back as the same, and texts from outside carry nothing that drives a
// terminal.
#include "ravd/json_text.h"

#include <limits>

#include <gtest/gtest.h>

#include "ravd/model/value.h"

namespace ravd {

namespace {

std::string as_string(std::string_view text) {
    std::string out;
    append_json_string(out, text);
    return out;
}

std::string as_real(double value) {
    std::string out;
    append_json_real(out, value);
    return out;
}

}  // namespace

TEST(JsonText, EscapesWhatJsonAsksFor) {
    EXPECT_EQ(as_string(""), "\"\"");
    EXPECT_EQ(as_string("plain"), "\"plain\"");
    EXPECT_EQ(as_string("a\"b\\c"), "\"a\\\"b\\\\c\"");
    EXPECT_EQ(as_string("\b\f\n\r\t"), "\"\\b\\f\\n\\r\\t\"");
    EXPECT_EQ(as_string(std::string("\0\x1f\x7f", 3)), "\"\\u0000\\u001f\x7f\"");
    EXPECT_EQ(as_string("K\u00fcche \u20ac \U0001f600"), "\"K\u00fcche \u20ac \U0001f600\"");
}

TEST(JsonText, EveryCharacterReadsBack) {
    for (int c = 1; c < 128; c++) {
        const std::string text = std::string("x") + static_cast<char>(c) + "y";
        const Json back(json_loads(as_string(text).c_str(), JSON_DECODE_ANY, nullptr));
        ASSERT_TRUE(back) << c;
        EXPECT_EQ(json_string_value(back.get()), text);
    }
}

TEST(JsonText, Integers) {
    std::string out;
    append_json_integer(out, std::numeric_limits<int64_t>::min());
    append_json_integer(out, 0);
    append_json_integer(out, std::numeric_limits<int64_t>::max());
    EXPECT_EQ(out, "-922337203685477580809223372036854775807");
}

TEST(JsonText, RealsReadBackAsTheSameReal) {
    EXPECT_EQ(as_real(2.0), "2.0");
    EXPECT_EQ(as_real(-0.5), "-0.5");
    EXPECT_EQ(as_real(0.1), "0.1");
    for (const double value : {1e300, 1e-300, 123456789.125, 1e21, 3.0, -7e15, 5e-324}) {
        const Json back(json_loads(as_real(value).c_str(), JSON_DECODE_ANY, nullptr));
        ASSERT_TRUE(json_is_real(back.get())) << as_real(value);
        EXPECT_EQ(json_real_value(back.get()), value);
    }
    EXPECT_EQ(as_real(std::numeric_limits<double>::infinity()), "0.0");
    EXPECT_EQ(as_real(std::numeric_limits<double>::quiet_NaN()), "0.0");
}

TEST(JsonText, JanssonValuesAreWrittenCompact) {
    const Json value(json_pack("{s:[i,n,b], s:s}", "a", 1, 1, "b", "x"));
    std::string out = "before ";
    append_json(out, value.get());
    EXPECT_EQ(out, "before {\"a\":[1,null,true],\"b\":\"x\"}");
}

TEST(JsonText, Values) {
    const Json any(json_pack("[i]", 1));
    std::string out;
    for (const Value &value : {Value(), Value(true), Value(false), Value(int64_t{-3}), Value(1.5),
                               Value(std::string("a\n")), Value(SharedJson(any.get()))}) {
        append_value(out, value);
        out += ' ';
    }
    EXPECT_EQ(out, "null true false -3 1.5 \"a\\n\" [1] ");
}

TEST(CleanUtf8, KeepsText) {
    for (const char *text : {"", "plain", "K\u00fcche", "\u20ac", "\U0001f600", "\u00a0", "\U0010ffff"})
        EXPECT_EQ(clean_utf8(text), text);
}

TEST(CleanUtf8, DropsControlCharacters) {
    std::string all;
    for (int c = 0; c < 32; c++) all += static_cast<char>(c);
    EXPECT_EQ(clean_utf8("a" + all +
                         "b\x7f"
                         "c"),
              "abc");
    EXPECT_EQ(clean_utf8("a\u0080b\u009bc\u009fd"), "abcd");
    EXPECT_EQ(clean_utf8("\x1b]0;title\x07"), "]0;title");
}

TEST(CleanUtf8, DropsWhatIsNoUtf8) {
    EXPECT_EQ(clean_utf8("a\xff\xfe"
                         "b"),
              "ab");
    EXPECT_EQ(clean_utf8("a\x9b"
                         "b"),
              "ab");                      // C1 as a single byte
    EXPECT_EQ(clean_utf8("a\xc3"), "a");  // cut short
    EXPECT_EQ(clean_utf8("a\xe2\x82"
                         "b"),
              "ab");
    EXPECT_EQ(clean_utf8("a\xc1\x81"
                         "b"),
              "ab");  // too long a form
    EXPECT_EQ(clean_utf8("a\xe0\x82\x9b"
                         "b"),
              "ab");  // too long a form of a C1 character
    EXPECT_EQ(clean_utf8("a\xed\xa0\x80"
                         "b"),
              "ab");  // a surrogate
    EXPECT_EQ(clean_utf8("a\xf4\x90\x80\x80"
                         "b"),
              "ab");  // above the last code point
    EXPECT_EQ(clean_utf8("\x80\x80\xbf"), "");
}

}  // namespace ravd
