// The smaller parts of the model: fault texts, the locator, values and their limits, records and tables.
#include <gtest/gtest.h>

#include "ravd/model/check.h"
#include "ravd/model/fault.h"
#include "ravd/model/locate.h"
#include "ravd/model/store.h"

namespace ravd {

TEST(FaultText, EveryPublishedCode) {
    const std::pair<int, const char *> rows[] = {
        {-32700, "Parse error"},
        {-32600, "Invalid Request"},
        {-32601, "Method not found"},
        {-32602, "Invalid params"},
        {-32603, "Internal error"},
        {9000, "Method not supported"},
        {9001, "Request denied"},
        {9002, "Internal error"},
        {9003, "Invalid arguments"},
        {9004, "Resources exceeded"},
        {9005, "Invalid parameter name"},
        {9006, "Invalid parameter type"},
        {9007, "Invalid parameter value"},
        {9008, "Attempt to set a non-writable parameter"},
        {9009, "Notification request rejected"},
        {9010, "File transfer failure"},
        {9011, "Upload failure"},
        {9012, "File transfer server authentication failure"},
        {9013, "Unsupported protocol for file transfer"},
        {9015, "Unable to contact file server"},
        {9016, "Unable to access file"},
        {9017, "Unable to complete download"},
        {9018, "File corrupted"},
        {9019, "File authentication failure"},
        {9014, "Unknown error"},
        {0, "Unknown error"},
    };
    for (const auto &[code, text] : rows) EXPECT_EQ(fault_text(code), text) << code;
}

TEST(LocateLine, FollowsKeysThroughEveryKindOfValue) {
    const std::string_view text = R"({
  "skip": [1, {"b": "}"}, "\"]", null],
  "text": "a { \" [",
  "n": -1.5e3, "deep": {
    "b": true,

    "c": {"d": {}},
    "\u0065": [
      1
    ]
  },
  "c": 1
}
)";
    const auto line = [&](std::vector<std::string> keys) { return locate_line(text, keys); };
    EXPECT_EQ(line({}), 1U);
    EXPECT_EQ(line({"skip"}), 2U);
    EXPECT_EQ(line({"n"}), 4U);
    EXPECT_EQ(line({"deep"}), 4U);
    EXPECT_EQ(line({"deep", "b"}), 5U);
    EXPECT_EQ(line({"deep", "c", "d"}), 7U);
    EXPECT_EQ(line({"deep", "e"}), 8U);  // as it reads, however it is written
    EXPECT_EQ(line({"c"}), 12U);
    EXPECT_EQ(line({"deep", "missing"}), 4U);
    EXPECT_EQ(line({"missing", "b"}), 1U);
    EXPECT_EQ(line({"c", "b"}), 12U);
}

namespace {

Value value_of(int type, const char *json) {
    const Json value(json_loads(json, JSON_DECODE_ANY, nullptr));
    return value_from_json(type, value.get()).value_or(Value());
}

bool fits(const SchemaNode &parameter, const char *json) {
    const Value value = value_of(parameter.type, json);
    return !std::holds_alternative<std::monostate>(value) && value_problem(parameter, value).empty();
}

}  // namespace

TEST(CheckValue, TakesOnlyItsJsonType) {
    EXPECT_EQ(value_of(RV_TR_BOOLEAN, "true"), Value(true));
    EXPECT_EQ(value_of(RV_TR_FLAG, "false"), Value(false));
    EXPECT_EQ(value_of(RV_TR_BOOLEAN, "1"), Value());
    EXPECT_EQ(value_of(RV_TR_INT, "5"), Value(int64_t{5}));
    EXPECT_EQ(value_of(RV_TR_INT, "5.0"), Value());
    EXPECT_EQ(value_of(RV_TR_INT, "\"5\""), Value());
    EXPECT_EQ(value_of(RV_TR_DECIMAL, "5"), Value(5.0));
    EXPECT_EQ(value_of(RV_TR_DECIMAL, "5.5"), Value(5.5));
    EXPECT_EQ(value_of(RV_TR_STRING, "\"x\""), Value(std::string("x")));
    EXPECT_EQ(value_of(RV_TR_STRING, "null"), Value());
    EXPECT_TRUE(std::holds_alternative<SharedJson>(value_of(RV_TR_ANY, "null")));
    EXPECT_EQ(value_of(RV_TR_OBJECT, "{}"), Value());
}

TEST(CheckValue, IntegerTypesHaveTheirRanges) {
    SchemaNode node;
    const struct {
        int type;
        const char *smallest, *below, *largest, *above;
    } rows[] = {
        {RV_TR_INT, "-2147483648", "-2147483649", "2147483647", "2147483648"},
        {RV_TR_UNSIGNED_INT, "0", "-1", "4294967295", "4294967296"},
        {RV_TR_UNSIGNED_LONG, "0", "-1", "9223372036854775807", "\"\""},
        {RV_TR_LONG, "-9223372036854775808", "\"\"", "9223372036854775807", "\"\""},
    };
    for (const auto &row : rows) {
        node.type = static_cast<uint8_t>(row.type);
        EXPECT_TRUE(fits(node, row.smallest)) << row.smallest;
        EXPECT_FALSE(fits(node, row.below)) << row.below;
        EXPECT_TRUE(fits(node, row.largest)) << row.largest;
        EXPECT_FALSE(fits(node, row.above)) << row.above;
    }
}

TEST(CheckValue, LimitsOfTexts) {
    SchemaNode node;
    node.type = RV_TR_STRING;
    node.limits = std::make_unique<Limits>();
    node.limits->min_length = 2;
    node.limits->max_length = 3;
    EXPECT_FALSE(fits(node, "\"a\""));
    EXPECT_TRUE(fits(node, "\"\u00e4\u00f6\u00fc\""));  // characters, not bytes
    EXPECT_FALSE(fits(node, "\"abcd\""));
    EXPECT_TRUE(fits(node, "\"a\\tb\""));
    EXPECT_TRUE(fits(node, "\"a\\n\u00a0\""));
    for (const char *control : {"\"a\\u0001\"", "\"a\\r\"", "\"a\\u007f\"", "\"a\\u0080\"", "\"a\\u009f\""})
        EXPECT_FALSE(fits(node, control)) << control;
}

TEST(CheckValue, LimitsOfLists) {
    SchemaNode node;
    node.type = RV_TR_LIST;
    node.limits = std::make_unique<Limits>();
    node.limits->enumeration = {"A", "BB"};
    node.limits->max_length = 2;
    node.limits->max_count = 2;
    for (const char *good : {"\"\"", "\"A\"", "\"A,BB\"", "\" A , BB \""}) EXPECT_TRUE(fits(node, good)) << good;
    for (const char *bad : {"\"C\"", "\"A,\"", "\"A,A,A\"", "\",\""}) EXPECT_FALSE(fits(node, bad)) << bad;
    node.limits->min_count = 1;
    EXPECT_FALSE(fits(node, "\"\""));
}

class StoreTest : public testing::Test {
 protected:
    StoreTest() {
        object.name = "Row";
        object.multi = true;
        SchemaNode &instance = object.add("#template");
        instance.shape = std::make_unique<Shape>();
        for (const char *name : {"A", "B"}) {
            SchemaNode &parameter = instance.add(name);
            parameter.type = RV_TR_INT;
            parameter.default_value = Value(int64_t{7});
            parameter.slot = static_cast<uint32_t>(instance.shape->parameters.size());
            instance.shape->parameters.push_back(&parameter);
        }
    }
    const SchemaNode &parameter(size_t i) const { return *object.instance().children[i]; }

    static std::string order(const Table &table) {
        std::string text;
        table.for_each([&](const Record &row) { text += std::to_string(row.number()) + " "; });
        return text;
    }

    SchemaNode object;
};

TEST_F(StoreTest, ValuesAreDefaultsUntilTheyAreSet) {
    Table table(object);
    Record &row = *table.add();
    EXPECT_EQ(row.value(parameter(0)), Value(int64_t{7}));
    row.set(parameter(1), int64_t{3});
    EXPECT_EQ(row.value(parameter(0)), Value(int64_t{7}));
    EXPECT_EQ(row.value(parameter(1)), Value(int64_t{3}));
    row.set(parameter(1), {});
    EXPECT_EQ(row.value(parameter(1)), Value(int64_t{7}));
}

TEST_F(StoreTest, NumbersAreNeverUsedTwice) {
    Table table(object);
    for (int i = 0; i < 3; i++) table.add();
    EXPECT_EQ(table.highest(), 3U);
    table.erase(3);
    table.erase(2);
    EXPECT_EQ(table.highest(), 1U);
    EXPECT_EQ(table.find(3), nullptr);
    EXPECT_EQ(table.add()->number(), 4U);
    EXPECT_EQ(table.find(4)->number(), 4U);
    EXPECT_EQ(table.size(), 2U);
    EXPECT_EQ(order(table), "1 4 ");
}

TEST_F(StoreTest, OrderedTablesKeepTheirOrderOverDeletion) {
    object.ordered = true;
    Table table(object);
    for (int i = 0; i < 4; i++) table.add();
    table.erase(2);
    EXPECT_EQ(order(table), "1 3 4 ");
    table.add();
    EXPECT_EQ(order(table), "1 3 4 5 ");
    EXPECT_EQ(table.find(5)->index(), 4U);
}

TEST_F(StoreTest, InstancesMoveAndTheOthersShift) {
    object.ordered = true;
    Table table(object);
    for (int i = 0; i < 5; i++) table.add();
    table.move(*table.find(2), 4);
    EXPECT_EQ(order(table), "1 3 4 2 5 ");
    table.move(*table.find(5), 1);
    EXPECT_EQ(order(table), "5 1 3 4 2 ");
    table.move(*table.find(3), 3);
    EXPECT_EQ(order(table), "5 1 3 4 2 ");
    for (uint32_t index = 1; index <= 5; index++) EXPECT_EQ(table.at(index).index(), index);
}

TEST_F(StoreTest, HoldersOfAUniqueValueAreFound) {
    const_cast<SchemaNode &>(parameter(0)).unique = true;
    Table table(object);
    const auto holders = [&](int64_t value) {
        std::string text;
        table.each_holder(parameter(0), value, [&](const Record &row) { text += std::to_string(row.number()) + " "; });
        return text;
    };
    for (int i = 0; i < 4; i++) table.add();
    EXPECT_EQ(holders(7), "1 2 3 4 ");  // the default
    EXPECT_EQ(holders(3), "");
    table.find(1)->set(parameter(0), int64_t{3});
    table.find(2)->set(parameter(0), int64_t{4});
    table.find(3)->set(parameter(1), int64_t{3});
    EXPECT_EQ(holders(3), "1 ");
    table.find(2)->set(parameter(0), int64_t{3});
    EXPECT_EQ(holders(4), "");
    table.find(1)->set(parameter(0), int64_t{7});
    EXPECT_EQ(holders(3), "2 ");
    EXPECT_EQ(holders(7), "1 3 4 ");
    table.erase(2);
    EXPECT_EQ(holders(3), "");
    table.find(1)->set(parameter(0), {});
    table.erase(1);
    EXPECT_EQ(holders(7), "3 4 ");
}

TEST_F(StoreTest, InstancesOfAProviderAreFoundByTheirKeys) {
    Table table(object);
    EXPECT_TRUE(table.keys().empty());
    Record &live = *table.add("eth0");
    table.add();
    ASSERT_EQ(table.keys().size(), 1U);
    EXPECT_EQ(table.keys().at("eth0"), &live);
    EXPECT_FALSE(live.is_kept(parameter(1)));
    live.keep(parameter(1));
    EXPECT_TRUE(live.is_kept(parameter(1)));
    EXPECT_FALSE(live.is_kept(parameter(0)));
    table.erase(2);
    EXPECT_EQ(table.keys().size(), 1U);
    table.erase(1);
    EXPECT_TRUE(table.keys().empty());
}

}  // namespace ravd
