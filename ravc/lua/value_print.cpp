// The frames here hold plain data only: a metamethod's error unwinds them.
#include "ravc/lua/value_print.h"

#include <algorithm>

#include <math.h>
#include <stdio.h>
#include <string.h>

#include "ravc/lua/colors.h"
#include "rv/lua.h"

namespace {

struct {
    std::string text;
    int column;     // visible, of the end of the text
    int indent;     // column at which a new line starts
    int width;      // columns of a line
    int ancestors;  // registry reference of the tables being printed, outermost first
} out = {{}, 0, 0, 80, LUA_NOREF};

// Room for n more bytes and a terminator.
void out_reserve(size_t n) {
    out.text.reserve(out.text.size() + n + 1);
}

void out_newline() {
    out.text += '\n';
    out.text.append(static_cast<size_t>(out.indent), ' ');
    out.column = out.indent;
}

void out_append(std::string_view text) {
    out.text += text;
    out.column += visible_width(text);
}

// On a line of its own where it fits there and not here.
void out_append_wrapped(std::string_view text) {
    const int width = visible_width(text);
    if (out.column + width > out.width && out.indent + width <= out.width) out_newline();
    out.text += text;
    out.column += width;
}

// A text of a few words with bold parts.
template <typename... Parts>
void out_format_wrapped(const char *format, Parts... parts) {
    char text[80];
    snprintf(text, sizeof text, format, parts...);
    out_append_wrapped(text);
}

std::string_view string_at(lua_State *L, int index) {
    size_t size = 0;
    const char *text = lua_tolstring(L, index, &size);
    return text ? std::string_view(text, size) : std::string_view();
}

bool is_printable(unsigned char c) {
    return c >= ' ' && c < 0x7f;
}

// The letter of the escape of a control character, or 0.
char escape_letter(unsigned char c) {
    constexpr char letters[] = "abtnvfr";  // from bell, 7, on
    return c >= 7 && c < 7 + strlen(letters) ? letters[c - 7] : '\0';
}

// What the quoted form of a string costs: line breaks make it dear, other escapes cheap.
long quoted_cost(std::string_view text) {
    long cost = static_cast<long>(text.size());
    for (const char c : text) {
        if (c == '\t' || c == '\n' || c == '\v' || c == '\r') {
            cost += out.width / 2;
        } else if (!is_printable(static_cast<unsigned char>(c))) {
            cost -= out.width / 4;
        }
    }
    return cost;
}

// How many "=" the long brackets around a text need: one more than the longest run between two "]" in it.
size_t bracket_level(std::string_view text) {
    size_t level = 0;
    for (size_t at = text.find(']'); at < text.size();) {
        const size_t end = std::min(text.find_first_not_of('=', at + 1), text.size());
        if (end < text.size() && text[end] == ']') level = std::max(level, end - at);
        at = text.find(']', end);
    }
    return level;
}

void print_quoted(std::string_view text) {
    out_reserve(text.size() + 2);
    out_append("\"");
    for (const char &each : text) {
        const auto c = static_cast<unsigned char>(each);
        if (const char letter = escape_letter(c)) {
            const char escape[] = {'\\', letter};
            out_append({escape, sizeof escape});
        } else if (!is_printable(c)) {
            out_format_wrapped("\\%03u", c);
        } else {
            if (c == '"' || c == '\\') out_append("\\");
            out_append({&each, 1});
        }
    }
    out_append("\"");
}

void print_in_brackets(std::string_view text, size_t level) {
    out_reserve(text.size() + 2 * level + 5);
    const auto append_equals = [level] {
        for (size_t n = 0; n < level; ++n) out_append("=");
    };
    out_append("[");
    append_equals();
    out_append("[\n");
    out_append_wrapped(text);
    out_append("]");
    append_equals();
    out_append("]");
}

void print_string(std::string_view text) {
    if (quoted_cost(text) <= out.width) {
        print_quoted(text);
    } else {
        print_in_brackets(text, bracket_level(text));
    }
}

// Prints by the "__tostring" metafield. Returns false when the value has none.
bool print_by_metafield(lua_State *L, int index) {
    if (luaL_getmetafield(L, index, "__tostring") == LUA_TNIL) return false;
    lua_pushvalue(L, index);
    if (lua_pcall(L, 1, 1, 0) != LUA_OK) rv_lua_check();  // the message of any other error is the text then
    out_append_wrapped(string_at(L, -1));
    lua_pop(L, 1);
    return true;
}

void print_number(lua_State *L, int index) {
    lua_pushvalue(L, index);  // the copy becomes a string
    out_append_wrapped(string_at(L, -1));
    lua_pop(L, 1);
}

// How many tables out from the innermost one that is being printed the table is, from 0; -1 when it is none of them.
// ancestors: stack index.
lua_Integer find_ancestor(lua_State *L, int table, int ancestors) {
    const auto count = static_cast<lua_Integer>(lua_rawlen(L, ancestors));
    for (lua_Integer k = 0; k < count; ++k) {
        lua_rawgeti(L, ancestors, count - k);
        const bool same = lua_compare(L, -1, table, LUA_OPEQ);
        lua_pop(L, 1);
        if (same) return k;
    }
    return -1;
}

// The elements 1 to n. Returns whether the table takes several lines by them.
bool print_sequence(lua_State *L, int table, lua_Integer n) {
    bool several = false;
    bool broken = true;  // at the begin nothing stands that could need a line break
    for (lua_Integer i = 1; i <= n; ++i) {
        const bool nested = lua_geti(L, table, i) == LUA_TTABLE;
        if (nested && !broken) out_newline();
        lua_value_print(L, -1);
        lua_pop(L, 1);
        out_append(", ");
        broken = nested && i != n;
        if (broken) out_newline();
        several |= nested;
    }
    return several;
}

// Whether the key at the top of the stack is, to a millionth, a whole number from 1 to n.
bool in_sequence(lua_State *L, lua_Integer n) {
    if (lua_type(L, -1) != LUA_TNUMBER) return false;
    const lua_Number key = lua_tonumber(L, -1);
    const lua_Number whole = trunc(key);
    return fabs(key - whole) < 1e-6 && whole >= 1 && whole <= static_cast<lua_Number>(n);
}

bool is_identifier(std::string_view text) {
    const auto is_letter = [](char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_'; };
    const auto fits = [&](char c) { return is_letter(c) || (c >= '0' && c <= '9'); };
    return !text.empty() && is_letter(text[0]) && std::all_of(text.begin(), text.end(), fits);
}

// key: its stack index.
void print_key(lua_State *L, int key) {
    if (lua_type(L, key) == LUA_TSTRING && is_identifier(string_at(L, key))) {
        out_append_wrapped(lua_bold_on() + std::string(string_at(L, key)) + lua_bold_off());
    } else {
        out_append("[");
        lua_value_print(L, key);
        out_append("]");
    }
}

// What is no part of the sequence of n elements. Returns whether there was anything.
bool print_pairs(lua_State *L, int table, lua_Integer n) {
    bool any = false;
    lua_pushnil(L);
    while (lua_next(L, table)) {
        lua_pushvalue(L, -2);
        if (!in_sequence(L, n)) {
            out_newline();
            print_key(L, lua_gettop(L));
            out_append(" = ");
            lua_value_print(L, -2);
            out_append(",");
            any = true;
        }
        lua_pop(L, 2);
    }
    return any;
}

void print_entries(lua_State *L, int table) {
    const int indent = out.indent;
    out_append("{ ");
    out.indent = out.column;
    const auto n = static_cast<lua_Integer>(lua_rawlen(L, table));
    bool several = print_sequence(L, table, n);
    several |= print_pairs(L, table, n);
    out.indent = indent;
    if (several) {
        out_newline();
        out_append("}");
    } else {
        out_append(" }");
    }
}

void print_table(lua_State *L, int table) {
    if (out.indent > out.width * 8 / 10) {
        out_format_wrapped("{ %s...%s }", lua_bold_on(), lua_bold_off());
        return;
    }
    lua_rawgeti(L, LUA_REGISTRYINDEX, out.ancestors);
    const int ancestors = lua_gettop(L);
    const lua_Integer place = find_ancestor(L, table, ancestors);
    if (place >= 0) {
        out_format_wrapped("{ %s[%lld]...%s }", lua_bold_on(), static_cast<long long>(-(place + 1)), lua_bold_off());
    } else {
        const auto depth = static_cast<lua_Integer>(lua_rawlen(L, ancestors)) + 1;
        lua_pushvalue(L, table);
        lua_rawseti(L, ancestors, depth);
        print_entries(L, table);
        lua_pushnil(L);
        lua_rawseti(L, ancestors, depth);
    }
    lua_pop(L, 1);
}

void print_address(lua_State *L, int index, const char *type) {
    out_format_wrapped("<%s%s:%s %p>", lua_bold_on(), type, lua_bold_off(), lua_topointer(L, index));
}

}  // namespace

int visible_width(std::string_view text) {
    int width = 0;
    bool in_escape = false;
    for (const char c : text) {
        if (in_escape) {
            in_escape = c != 'm';
        } else if (c == '\033') {
            in_escape = true;
        } else {
            width++;
        }
    }
    return width;
}

const std::string &lua_printed() {
    return out.text;
}

void lua_print_begin(lua_State *L, int line_width) {
    out.text.clear();
    out.column = out.indent = 0;
    out.width = line_width;
    lua_newtable(L);
    out.ancestors = luaL_ref(L, LUA_REGISTRYINDEX);
}

void lua_print_end(lua_State *L) {
    luaL_unref(L, LUA_REGISTRYINDEX, out.ancestors);
    out.ancestors = LUA_NOREF;
}

void lua_value_print(lua_State *L, int index) {
    luaL_checkstack(L, 8, "printing a value");
    rv_lua_check();  // what is nested may be more than anybody can wait for
    const int value = lua_absindex(L, index);
    if (print_by_metafield(L, value)) return;
    switch (lua_type(L, value)) {
        case LUA_TNIL:
            return out_format_wrapped("%snil%s", lua_bold_on(), lua_bold_off());
        case LUA_TBOOLEAN:
            return out_format_wrapped("%s%s%s", lua_bold_on(), lua_toboolean(L, value) ? "true" : "false",
                                      lua_bold_off());
        case LUA_TNUMBER:
            return print_number(L, value);
        case LUA_TSTRING:
            return print_string(string_at(L, value));
        case LUA_TTABLE:
            return print_table(L, value);
        case LUA_TFUNCTION:
            return print_address(L, value, "function");
        case LUA_TUSERDATA:
            return print_address(L, value, "userdata");
        case LUA_TTHREAD:
            return print_address(L, value, "thread");
        default:
            return;  // light userdata shows nothing: intended
    }
}
