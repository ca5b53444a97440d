// The data-model schema library: what client, daemon and tests must agree on about nodes, types and names.
// A node is a JSON object as the node cache holds it: its schema attributes stand under "#attr" (see docs/protocol.md,
// "Attributes"); a null node is allowed everywhere and counts as unknown. Nothing here prints or allocates but where
// it says so.
#pragma once

#include <jansson.h>

#ifdef __cplusplus
extern "C" {
#endif

// Type codes. 3 and above are parameters.
enum {
    RV_TR_UNKNOWN = 0,
    RV_TR_OBJECT = 1,
    RV_TR_METHOD = 2,
    RV_TR_STRING = 3,
    RV_TR_BOOLEAN = 4,
    RV_TR_INT = 5,
    RV_TR_UNSIGNED_INT = 6,
    RV_TR_LONG = 7,
    RV_TR_UNSIGNED_LONG = 8,
    RV_TR_DECIMAL = 9,
    RV_TR_DATE_TIME = 10,
    RV_TR_BASE64 = 11,
    RV_TR_HEX_BINARY = 12,
    RV_TR_ENUMERATION = 13,
    RV_TR_IP_ADDRESS = 14,
    RV_TR_IP_PREFIX = 15,
    RV_TR_MAC_ADDRESS = 16,
    RV_TR_URL = 17,
    RV_TR_UUID = 18,
    RV_TR_ALIAS = 19,
    RV_TR_SECRET = 20,
    RV_TR_LIST = 21,
    RV_TR_ANY = 22,
    RV_TR_PATH_REF = 23,
    RV_TR_INSTANCE_REF = 24,
    RV_TR_FLAG = 25
};

// The code of a type's name ("unsignedInt"), RV_TR_UNKNOWN for any other text or null.
int rv_tr_type_from_name(const char *name);
// The name of a type's code; null for RV_TR_UNKNOWN and codes that are none.
const char *rv_tr_type_name(int type);
// The JSON type that values of a parameter type have: JSON_STRING, JSON_INTEGER, JSON_REAL or JSON_TRUE (booleans);
// -1 for "any" and for what is no parameter type.
int rv_tr_type_json(int type);

// The node's type code, from "#attr"."type".
int rv_tr_dm_node_type_get(const json_t *node);
// 1 when the code is a parameter's, else 0.
int rv_tr_dm_type_is_parameter(int type);
// The numeric base that integers of the node are shown in: 2, 8, 10 or 16; 10 when the schema gives none.
int rv_tr_dm_node_get_base(const json_t *node);

// The node's schema attributes, the object "#attr": borrowed, null when it has none.
json_t *rv_tr_dm_node_attr_get(const json_t *node);
// The node's default value, "#attr"."default": borrowed, null when the schema gives none.
json_t *rv_tr_dm_node_default_get(const json_t *node);
// 1 when the node is a multi-instance object resp. an ordered one, else 0.
int rv_tr_dm_node_is_multi(const json_t *node);
int rv_tr_dm_node_is_ordered(const json_t *node);

// Path forms. A full path names its node without a closing "."; a partial path ends in ".". The empty text is neither.
int rv_tr_path_is_full(const char *path);
int rv_tr_path_is_partial(const char *path);

// The tree of the names in list, an array of objects with a text "Name": nested objects keyed by the elements of each
// name below prefix ("." is the root), the object of a name holding its element of list under "#info". Elements of list
// whose name stands outside of prefix, has an empty element, holds a key that is reserved ("#…" other than "#template",
// "#input" and "#output") or has more than 128 levels are left out. A new reference; an empty object when list is none.
json_t *rv_tr_names_to_config(const json_t *list, const char *prefix);

// The tree of the values in list, an array of {"Name", "Value"}: nested objects keyed by the elements of each name
// below prefix (null or ".": the root), the values as leaves. Elements without a value, or whose name
// rv_tr_names_to_config() would leave out, are left out; where a name stands for a value and for an object, the object
// wins. A new reference, or null when nothing is left.
json_t *rv_tr_namevalues_to_config(const json_t *list, const char *prefix);

// The cache object of a node by its full name ("Device.IP.Interface.1.Enable", a closing "." allowed), searched from
// root; instances that the tree lacks are found through "#template". relative is the part of full_name that the caller
// will print, and may be null: it is not needed to find the node. Borrowed; null when there is no such node.
json_t *rv_tr_node_find(json_t *root, const char *full_name, const char *relative);

// 1 when text is an instance number: 1 to 20 decimal digits and nothing else.
int rv_tr_is_instance_number(const char *text);

#ifdef __cplusplus
}
#endif
