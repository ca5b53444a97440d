// Completion in Lua mode: keywords, modules, and the fields of tables that an expression reaches. Errors of Lua yield
// fewer candidates and nothing else; the stack is left as it was. Candidates are whole words (see lua_word_delimiters);
// those with control characters are left out.
#pragma once

#include <string>
#include <string_view>

#include <jansson.h>
#include <stddef.h>

#include "rv/lua.h"

// The characters that end a word.
inline constexpr char lua_word_delimiters[] = " \t\n`@$><=;|&{(";

// The context that is completed in, borrowed; null for none.
void lua_complete_use(rv_lua *context);

// The line editor's completion (rv/rl.h): appends to out the candidates for the word at cursor. A word that is the
// whole name of a module makes that module a global, and loads it before where that is needed; a line below the edited
// one tells of it. Runs Lua code: what the word says, metamethods, modules. Where Ctrl-C stops it, SIGINT is raised
// again, for whoever waits for the next key.
void lua_complete_line(const char *line, size_t cursor, json_t *out);

// Where keys are looked for: in the table itself, or in the "__index" of its metatable.
enum class LuaKeys { own, inherited };

// One of the words that the last part of word, a key behind "." or ":" or "[", or else a global's name, may become: a
// new text (malloc), or null when there are no more. index: 0 starts anew; each further one, with the same keys, gives
// the next. An enumeration must come to its end before another begins.
char *lua_complete_expression(rv_lua *context, const char *word, int index, LuaKeys keys = LuaKeys::own);

// Appends the modules that word, which may begin with a quote, is the begin of. Makes a module global as above.
void lua_complete_modules(rv_lua *context, const std::string &word, json_t *out);

// rv_lua_call() for completion, with its stack effect for RV_LUA_DONE. Returns false where it ended otherwise: nothing
// of it is left on the stack then.
bool lua_complete_call(rv_lua *context, int arguments, int results);
