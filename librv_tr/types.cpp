// The parameter types: names, codes, JSON types.
#include <string.h>

#include "rv/tr.h"

namespace {

struct TypeRow {
    const char *name;
    int json;
};

// By type code.
constexpr TypeRow types[] = {
    {nullptr, -1},
    {"object", -1},
    {"method", -1},
    {"string", JSON_STRING},
    {"boolean", JSON_TRUE},
    {"int", JSON_INTEGER},
    {"unsignedInt", JSON_INTEGER},
    {"long", JSON_INTEGER},
    {"unsignedLong", JSON_INTEGER},
    {"decimal", JSON_REAL},
    {"dateTime", JSON_STRING},
    {"base64", JSON_STRING},
    {"hexBinary", JSON_STRING},
    {"enumeration", JSON_STRING},
    {"ipAddress", JSON_STRING},
    {"ipPrefix", JSON_STRING},
    {"macAddress", JSON_STRING},
    {"url", JSON_STRING},
    {"uuid", JSON_STRING},
    {"alias", JSON_STRING},
    {"secret", JSON_STRING},
    {"list", JSON_STRING},
    {"any", -1},
    {"pathRef", JSON_STRING},
    {"instanceRef", JSON_STRING},
    {"flag", JSON_TRUE},
};
constexpr int type_count = sizeof types / sizeof types[0];

}  // namespace

int rv_tr_type_from_name(const char *name) {
    for (int type = RV_TR_OBJECT; name && type < type_count; type++)
        if (strcmp(types[type].name, name) == 0) return type;
    return RV_TR_UNKNOWN;
}

const char *rv_tr_type_name(int type) {
    return type >= 0 && type < type_count ? types[type].name : nullptr;
}

int rv_tr_type_json(int type) {
    return type >= 0 && type < type_count ? types[type].json : -1;
}

int rv_tr_dm_type_is_parameter(int type) {
    return type >= RV_TR_STRING && type < type_count;
}
