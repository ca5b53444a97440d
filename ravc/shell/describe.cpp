// What a word that is typed in full stands for.
#include <string>

#include <string.h>

#include "ravc/cache/node_cache.h"
#include "ravc/commands.h"
#include "ravc/commands/split_line.h"
#include "ravc/commands/target.h"
#include "ravc/daemon/request.h"
#include "ravc/shell/complete.h"

namespace {

std::string text_of(const json_t *attributes, const char *key) {
    const char *text = json_string_value(json_object_get(attributes, key));
    return text ? text : "";
}

char *describe_command(const char *name) {
    const command_row *row = command_lookup(name);
    if (!row || !row->usage || !row->help) return nullptr;
    return strdup((std::string(row->usage) + "\n" + row->help).c_str());
}

// "<name>  <type>  <access>", and the description below.
char *describe_node(const cdpath *target) {
    const TargetName object = target_object_name(target);
    json_auto_t *attributes =
        fetch_node_attributes(target_is_parameter(target) ? target->path : object.text, REST_TIMEOUT_MS);
    if (!json_is_object(attributes)) return nullptr;
    std::string text = std::string(target->path) + "  " + text_of(attributes, "type");
    if (const std::string access = text_of(attributes, "access"); !access.empty()) text += "  " + access;
    if (const std::string about = text_of(attributes, "description"); !about.empty()) text += "\n" + about;
    return strdup(text.c_str());
}

// Where a path that is typed as an argument leads; a value behind "=" is left out. Returns false when nowhere.
bool find(cdpath *target, const char *word) {
    target->quiet = true;
    const char *sign = strchr(word, '=');
    json_auto_t *path = json_stringn(word, sign ? static_cast<size_t>(sign - word) : strlen(word));
    return target->node && target_resolve(target, json_string_value(path)) == 0 && target->node != node_cache_root;
}

}  // namespace

char *describe_line(const char *line) {
    int index = 0;
    json_auto_t *words = split_line(line, static_cast<int>(strlen(line)), &index);
    const char *word = json_string_value(json_array_get(words, static_cast<size_t>(index)));
    if (!word) return nullptr;
    if (index == 0) return describe_command(word);
    target_auto_t target = target_here();
    return find(&target, word) ? describe_node(&target) : nullptr;
}
