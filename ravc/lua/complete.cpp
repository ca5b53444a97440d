// Completion of a line: keywords, then modules, then keys of tables.
#include "ravc/lua/complete.h"

#include <signal.h>
#include <stdlib.h>

#include "ravc/lua/lua.h"

namespace {

constexpr const char *keywords[] = {"and", "break",    "do",     "else", "elseif", "end",   "false",
                                    "for", "function", "if",     "in",   "local",  "nil",   "not",
                                    "or",  "repeat",   "return", "then", "true",   "until", "while"};

rv_lua *context;

// The part before the cursor of the word that the cursor is in or behind.
std::string word_at(std::string_view line, size_t cursor) {
    line = line.substr(0, cursor);
    return std::string(line.substr(line.find_last_of(lua_word_delimiters) + 1));
}

void complete_keywords(const std::string &word, json_t *out) {
    for (const std::string_view keyword : keywords)
        if (keyword.starts_with(word)) json_array_append_new(out, json_string(keyword.data()));
}

void complete_keys(const std::string &word, json_t *out, LuaKeys keys) {
    int index = 0;
    while (char *candidate = lua_complete_expression(context, word.c_str(), index++, keys)) {
        json_array_append_new(out, json_string(candidate));
        free(candidate);
    }
}

}  // namespace

void lua_complete_use(rv_lua *used) {
    context = used;
}

bool lua_complete_call(rv_lua *called, int arguments, int results) {
    const int code = rv_lua_call(called, arguments, results, 0);
    if (code == RV_LUA_FAILED) lua_pop(called->state, 1);
    if (code == RV_LUA_INTERRUPTED) raise(SIGINT);
    return code == RV_LUA_DONE;
}

void lua_complete_line(const char *line, size_t cursor, json_t *out) {
    if (!context) return;
    const std::string word = word_at(line, cursor);
    complete_keywords(word, out);
    lua_complete_modules(context, word, out);
    complete_keys(word, out, LuaKeys::own);
    complete_keys(word, out, LuaKeys::inherited);
}
