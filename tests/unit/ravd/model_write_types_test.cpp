// Every type with values that it takes, and with values that it does not, typed and as text.
#include "tests/unit/ravd/write_fixture.h"

namespace ravd {
namespace {

struct Case {
    const char *name;   // below Device.Values.
    const char *value;  // JSON
    const char *fault;  // "": none
};

#define WANTED(type) "9006 Invalid parameter type: " type " wanted"
#define REFUSED "9007 Invalid parameter value: "

const Case typed[] = {
    {"Text", R"("")", ""},
    {"Text", R"("\u00e4\u00f6\u00fc\u20acx")", ""},
    {"Text", R"("a\tb\n")", ""},
    {"Text", R"("abcdef")", REFUSED R"("abcdef" is longer than 5 characters)"},
    {"Text", "1", WANTED("string")},
    {"Text", "null", WANTED("string")},
    {"Text", "[]", WANTED("string")},
    {"Text", R"("a\u001b")", REFUSED R"("a" has control characters)"},
    {"Text", R"("a\u007f")", REFUSED R"("a" has control characters)"},
    {"Text", R"("a\u009b")", REFUSED R"("a" has control characters)"},
    {"Text", R"("\r")", REFUSED R"("" has control characters)"},
    {"Name", R"("x")", REFUSED R"("x" is shorter than 2 characters)"},
    {"Boolean", "true", ""},
    {"Boolean", "1", WANTED("boolean")},
    {"Boolean", R"("true")", WANTED("boolean")},
    {"Flag", "true", ""},
    {"Flag", "0", WANTED("flag")},
    {"Int", "-2147483648", ""},
    {"Int", "2147483647", ""},
    {"Int", "2147483648", REFUSED "2147483648 is above 2147483647"},
    {"Int", "-2147483649", REFUSED "-2147483649 is below -2147483648"},
    {"Int", "1.0", WANTED("int")},
    {"Int", R"("1")", WANTED("int")},
    {"Int", "1e30", REFUSED "the number is above 9223372036854775807"},
    {"Int", "-1e30", REFUSED "the number is below -9223372036854775808"},
    {"Port", "65535", ""},
    {"Port", "70000", REFUSED "70000 is above 65535"},
    {"Port", "0", REFUSED "0 is below 1"},
    {"UnsignedInt", "4294967295", ""},
    {"UnsignedInt", "4294967296", REFUSED "4294967296 is above 4294967295"},
    {"UnsignedInt", "-1", REFUSED "-1 is below 0"},
    {"Long", "-9223372036854775808", ""},
    {"Long", "9223372036854775807", ""},
    {"UnsignedLong", "9223372036854775807", ""},
    {"UnsignedLong", "-1", REFUSED "-1 is below 0"},
    {"UnsignedLong", "18446744073709551615.0", REFUSED "the number is above 9223372036854775807"},
    {"Decimal", "2.5", ""},
    {"Decimal", "2", ""},
    {"Decimal", "2.75", REFUSED "2.75 is above 2.5"},
    {"Decimal", "-2", REFUSED "-2.0 is below -1.5"},
    {"Decimal", R"("1")", WANTED("decimal")},
    {"DateTime", R"("2024-02-29T23:59:59Z")", ""},
    {"DateTime", R"("2024-02-29T23:59:59.123+01:00")", ""},
    {"DateTime", R"("0001-01-01T00:00:00Z")", ""},
    {"DateTime", R"("")", ""},
    {"DateTime", R"("2023-02-29T00:00:00Z")",
     REFUSED R"("2023-02-29T00:00:00Z" is no date and time as in 2001-02-03T04:05:06Z)"},
    {"DateTime", R"("2024-01-01")", REFUSED R"("2024-01-01" is no date and time as in 2001-02-03T04:05:06Z)"},
    {"DateTime", R"("2024-01-01T24:00:00Z")",
     REFUSED R"("2024-01-01T24:00:00Z" is no date and time as in 2001-02-03T04:05:06Z)"},
    {"DateTime", R"("2024-01-01T00:00:00.Z")",
     REFUSED R"("2024-01-01T00:00:00.Z" is no date and time as in 2001-02-03T04:05:06Z)"},
    {"DateTime", R"("2024-01-01T00:00:00ZZ")",
     REFUSED R"("2024-01-01T00:00:00ZZ" is no date and time as in 2001-02-03T04:05:06Z)"},
    {"Base64", R"("AAAA")", ""},
    {"Base64", R"("AAAAAA==")", ""},
    {"Base64", R"("AAAAAAA=")", REFUSED R"("AAAAAAA=" is longer than 4 bytes)"},
    {"Base64", R"("AAA")", REFUSED R"("AAA" is no base64)"},
    {"Base64", R"("A=AA")", REFUSED R"("A=AA" is no base64)"},
    {"Base64", R"("====")", REFUSED R"("====" is no base64)"},
    {"HexBinary", R"("00fFaB")", ""},
    {"HexBinary", R"("00112233")", REFUSED R"("00112233" is longer than 3 bytes)"},
    {"HexBinary", R"("001")", REFUSED R"("001" is no even number of hex digits)"},
    {"HexBinary", R"("0x")", REFUSED R"("0x" is no even number of hex digits)"},
    {"Choice", R"("High")", ""},
    {"Choice", R"("high")", REFUSED R"("high" is not one of Low, High)"},
    {"Choice", R"("")", REFUSED R"("" is not one of Low, High)"},
    {"IPAddress", R"("192.0.2.1")", ""},
    {"IPAddress", R"("2001:db8::1")", ""},
    {"IPAddress", R"("192.0.2.256")", REFUSED R"("192.0.2.256" is no IP address)"},
    {"IPAddress", R"("192.0.2.1 ")", REFUSED R"("192.0.2.1 " is no IP address)"},
    {"IPPrefix", R"("192.0.2.0/24")", ""},
    {"IPPrefix", R"("2001:db8::/128")", ""},
    {"IPPrefix", R"("192.0.2.0/33")", REFUSED R"("192.0.2.0/33" is no IP prefix as in 192.0.2.0/24)"},
    {"IPPrefix", R"("2001:db8::/129")", REFUSED R"("2001:db8::/129" is no IP prefix as in 192.0.2.0/24)"},
    {"IPPrefix", R"("192.0.2.0")", REFUSED R"("192.0.2.0" is no IP prefix as in 192.0.2.0/24)"},
    {"IPPrefix", R"("192.0.2.0/")", REFUSED R"("192.0.2.0/" is no IP prefix as in 192.0.2.0/24)"},
    {"MACAddress", R"("02:00:5e:10:00:0F")", ""},
    {"MACAddress", R"("02-00-5e-10-00-0f")",
     REFUSED R"("02-00-5e-10-00-0f" is no MAC address as in 02:00:5E:10:00:01)"},
    {"URL", R"("https://example.com/x?y")", ""},
    {"URL", R"("example.com")", REFUSED R"("example.com" is no URL)"},
    {"URL", R"("http://")", REFUSED R"("http://" is no URL)"},
    {"URL", R"("http://a b")", REFUSED R"("http://a b" is no URL)"},
    {"UUID", R"("123e4567-e89b-12d3-a456-426614174000")", ""},
    {"UUID", R"("123e4567e89b12d3a456426614174000")", REFUSED R"("123e4567e89b12d3a456426614174000" is no UUID)"},
    {"Alias", R"("cpe-1")", ""},
    {"Alias", R"("1cpe")", REFUSED R"("1cpe" is no alias (a letter, then letters, digits, "_" and "-"))"},
    {"Alias", R"("a.b")", REFUSED R"("a.b" is no alias (a letter, then letters, digits, "_" and "-"))"},
    {"Secret", R"("12345678")", ""},
    {"Secret", R"("123456789")", REFUSED "it is longer than 8 characters"},
    {"Secret", R"("a\u0001")", REFUSED "it has control characters"},
    {"List", R"("A, B")", ""},
    {"List", R"("")", ""},
    {"List", R"("A,D")", REFUSED R"("A,D" has the item "D", which is not one of A, B, C)"},
    {"List", R"("A,B,C")", REFUSED R"("A,B,C" has more items than 2)"},
    {"Codes", R"("1, 22")", ""},
    {"Codes", R"("1,x")", REFUSED R"("1,x" has the item "x", which does not match [0-9]+)"},
    {"Any", R"({"a":[1,null,"x\n"]})", ""},
    {"Any", "null", ""},
    {"Any", R"({"a":["\u009b"]})", REFUSED R"({"a":[""]} has control characters)"},
    {"Any", R"({"a\u007f":1})", REFUSED R"({"a":1} has control characters)"},
    {"PathRef", R"("Device.Values")", ""},
    {"PathRef", R"("Device.Values.Text")", ""},
    {"PathRef", R"("Device.Box.1")", REFUSED R"("Device.Box.1" names nothing that exists)"},
    {"PathRef", R"("Device.Values.Text.")", REFUSED R"("Device.Values.Text." names nothing that exists)"},
    {"PathRef", R"("Device.Box.#template.")", REFUSED R"("Device.Box.#template." names nothing that exists)"},
    {"InstanceRef", R"("Device.Values")", REFUSED R"("Device.Values" is no instance)"},
    {"Pattern", R"("abc")", ""},
    {"Pattern", R"("")", ""},
    {"Pattern", R"("abc1")", REFUSED R"("abc1" does not match [a-z]+|)"},
    {"Pattern", R"("1abc")", REFUSED R"("1abc" does not match [a-z]+|)"},
    {"Pattern", R"("abc\n")", REFUSED R"("abc" does not match [a-z]+|)"},
};

// As text; what is not here is taken as it is typed.
const Case raw[] = {
    {"Boolean", R"("true")", ""},
    {"Boolean", R"("0")", ""},
    {"Boolean", "true", ""},
    {"Boolean", R"("TRUE")", WANTED("boolean")},
    {"Boolean", R"("")", WANTED("boolean")},
    {"Int", R"("-5")", ""},
    {"Int", "5", ""},
    {"Int", R"("+5")", WANTED("int")},
    {"Int", R"(" 5")", WANTED("int")},
    {"Int", R"("5.0")", WANTED("int")},
    {"Int", R"("0x5")", WANTED("int")},
    {"Int", R"("")", WANTED("int")},
    {"Int", R"("2147483648")", REFUSED "2147483648 is above 2147483647"},
    {"UnsignedLong", R"("18446744073709551615")", REFUSED "18446744073709551615 is above 9223372036854775807"},
    {"Long", R"("-9223372036854775809")", REFUSED "-9223372036854775809 is below -9223372036854775808"},
    {"Hex", R"("0x1f")", ""},
    {"Hex", R"("31")", ""},
    {"Hex", R"("0x")", WANTED("unsignedInt")},
    {"Hex", R"("0x-1")", WANTED("unsignedInt")},
    {"Octal", R"("017")", ""},
    {"Octal", R"("0")", ""},
    {"Octal", R"("08")", WANTED("unsignedInt")},
    {"Bits", R"("0b101")", ""},
    {"Bits", R"("-2")", ""},
    {"Decimal", R"("1.25")", ""},
    {"Decimal", R"("1e-2")", ""},
    {"Decimal", R"("nan")", WANTED("decimal")},
    {"Decimal", R"("1,5")", WANTED("decimal")},
    {"Decimal", R"("1e999")", REFUSED "a number that is too large or too small"},
    {"Any", R"("[1,{\"a\":null}]")", ""},
    {"Any", R"("\"text\"")", ""},
    {"Any", R"("text")", WANTED("any")},
    {"Any", R"("")", WANTED("any")},
    {"Text", R"("true")", ""},
    {"Text", "true", WANTED("string")},
};

class WriteTypes : public WriteTest {
 protected:
    void run(std::span<const Case> cases, bool as_text) {
        for (const Case &each : cases) {
            const std::string name = std::string("Device.Values.") + each.name;
            EXPECT_EQ(set_one(name, each.value, as_text), each.fault) << each.name << " " << each.value;
        }
    }
};

TEST_F(WriteTypes, TakeTheirOwnAndNothingElse) {
    run(typed, false);
}

TEST_F(WriteTypes, TakeTextsWhereAskedTo) {
    run(raw, true);
}

TEST_F(WriteTypes, EveryTypeIsInTheTable) {
    std::string all;
    for (const Case &each : typed) all += attributes({("Device.Values." + std::string(each.name)).c_str()});
    for (int type = RV_TR_STRING; type <= RV_TR_FLAG; type++)
        EXPECT_NE(all.find(std::string("\"type\":\"") + rv_tr_type_name(type) + "\""), std::string::npos) << type;
}

TEST_F(WriteTypes, TextsBecomeValues) {
    const Case rows[] = {{"Hex", "\"0x1f\"", "31"},    {"Octal", "\"017\"", "15"},      {"Bits", "\"0b101\"", "5"},
                         {"Boolean", "\"1\"", "true"}, {"Decimal", "\"1e-2\"", "0.01"}, {"Any", "\"[1, 2]\"", "[1,2]"},
                         {"Decimal", "\"2\"", "2.0"},  {"Long", "\"-7\"", "-7"},        {"Octal", "\"9\"", "9"}};
    for (const auto &[name, text, value] : rows) {
        EXPECT_EQ(set_one(std::string("Device.Values.") + name, text, true), "") << name;
        EXPECT_EQ(get(std::string("Device.Values.") + name), value) << name;
    }
}

TEST_F(WriteTypes, LongValuesAreCutInFaultsBetweenCharacters) {
    std::string text;
    for (int i = 0; i < 50; i++) text += "\u00e4";
    std::string shown;
    for (int i = 0; i < 32; i++) shown += "\u00e4";
    EXPECT_EQ(set_one("Device.Values.Text", "\"" + text + "\""),
              REFUSED "\"" + shown + "...\" is longer than 5 characters");
    EXPECT_EQ(set_one("Device.Values.Text", "\"x" + text + "\""),
              REFUSED "\"x" + shown.substr(2) + "...\" is longer than 5 characters");
}

TEST_F(WriteTypes, NoPatternTakesForever) {
    const std::string fault = set_one("Device.Values.Slow", "\"" + std::string(100'000, 'a') + "\"");
    EXPECT_NE(fault.find("takes too much work to match"), std::string::npos) << fault.substr(0, 200);
    EXPECT_EQ(set_one("Device.Values.Slow", "\"aaab\""), "");
    EXPECT_EQ(set_one("Device.Values.Pattern", "\"" + std::string(1'000'000, 'a') + "\""), "");
}

TEST_F(WriteTypes, JsonIsNotNestedWithoutEnd) {
    const auto nested = [](size_t levels) { return std::string(levels, '[') + std::string(levels, ']'); };
    EXPECT_EQ(set_one("Device.Values.Any", nested(100)), "");
    EXPECT_NE(set_one("Device.Values.Any", nested(102)).find("is nested too deep"), std::string::npos);
    EXPECT_NE(set_one("Device.Values.Any", "\"" + nested(2000) + "\"", true).find("is nested too deep"),
              std::string::npos);
}

}  // namespace
}  // namespace ravd
