// Type names, codes and JSON types.
#include <gtest/gtest.h>

#include "rv/tr.h"

TEST(Types, NamesAndCodesBelongTogether) {
    const char *const names[] = {nullptr,       "object",      "method",       "string",   "boolean",    "int",
                                 "unsignedInt", "long",        "unsignedLong", "decimal",  "dateTime",   "base64",
                                 "hexBinary",   "enumeration", "ipAddress",    "ipPrefix", "macAddress", "url",
                                 "uuid",        "alias",       "secret",       "list",     "any",        "pathRef",
                                 "instanceRef", "flag"};
    for (int type = 0; type <= RV_TR_FLAG; type++) {
        EXPECT_STREQ(rv_tr_type_name(type), names[type]);
        EXPECT_EQ(rv_tr_type_from_name(names[type]), type);
        EXPECT_EQ(rv_tr_dm_type_is_parameter(type), type >= 3 ? 1 : 0);
    }
}

TEST(Types, EverythingElseIsUnknown) {
    for (const char *name : {"", "String", "integer", "string ", "unknown"})
        EXPECT_EQ(rv_tr_type_from_name(name), RV_TR_UNKNOWN) << name;
    EXPECT_EQ(rv_tr_type_from_name(nullptr), RV_TR_UNKNOWN);
    for (const int type : {-1, RV_TR_FLAG + 1, 1000}) {
        EXPECT_EQ(rv_tr_type_name(type), nullptr);
        EXPECT_EQ(rv_tr_type_json(type), -1);
        EXPECT_EQ(rv_tr_dm_type_is_parameter(type), 0);
    }
}

TEST(Types, JsonTypes) {
    for (int type = RV_TR_STRING; type <= RV_TR_FLAG; type++) {
        int expected = JSON_STRING;
        if (type == RV_TR_BOOLEAN || type == RV_TR_FLAG) expected = JSON_TRUE;
        if (type >= RV_TR_INT && type <= RV_TR_UNSIGNED_LONG) expected = JSON_INTEGER;
        if (type == RV_TR_DECIMAL) expected = JSON_REAL;
        if (type == RV_TR_ANY) expected = -1;
        EXPECT_EQ(rv_tr_type_json(type), expected) << rv_tr_type_name(type);
    }
    for (const int type : {RV_TR_UNKNOWN, RV_TR_OBJECT, RV_TR_METHOD}) EXPECT_EQ(rv_tr_type_json(type), -1);
}
