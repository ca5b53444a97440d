// Completion of module names, and loading a module whose name is complete.
#include <unordered_set>

#include <dirent.h>
#include <glob.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>

#include "libglobal/term/text.h"
#include "ravc/lua/complete.h"
#include "ravc/lua/lua.h"
#include "ravc/shell/interrupt.h"
#include "rv/rl.h"

namespace {

enum { ENTRIES_MAX = 100000, ENTRIES_A_CHECK = 256 };  // of folders

// What is looked for, and what Lua tells of where.
struct Search {
    std::string word;   // as typed
    std::string quote;  // that it begins with, or ""
    std::string begin;  // of a module's name: the rest of it

    const char *event = nullptr;  // what has become of the module that the word names, if anything
    bool is_open = false;         // names that begin so are to be looked for
    bool is_preloadable = false;  // package.preload has such a name
    std::string separator, template_separator, mark;
    std::string templates;  // each closed by the template separator
};

// Makes the value on top of the stack the global of that name, raw, unless there is one. Returns whether there was
// none.
bool set_new_global(lua_State *L, const std::string &name) {
    lua_pushglobaltable(L);
    lua_pushlstring(L, name.data(), name.size());
    lua_pushvalue(L, -1);
    if (lua_rawget(L, -3) != LUA_TNIL) return false;
    lua_pop(L, 1);
    lua_pushvalue(L, -3);
    lua_rawset(L, -3);
    return true;
}

// Returns whether it was loaded, and is a global now.
bool load_module(lua_State *L, const std::string &name) {
    const std::string chunk = name + "=require(\"" + name + "\")";
    const int status = luaL_loadbufferx(L, chunk.data(), chunk.size(), "completion", "t");
    if (status == LUA_OK && lua_pcall(L, 0, 0, 0) == LUA_OK) return true;
    rv_lua_check();  // for the error may be that of Ctrl-C
    return false;
}

// Returns whether the word is the name of a module that is loaded now. package: stack index.
bool make_global(lua_State *L, int package, Search *search) {
    lua_getfield(L, package, "loaded");
    lua_pushlstring(L, search->word.data(), search->word.size());
    lua_gettable(L, -2);
    if (lua_toboolean(L, -1)) {
        if (set_new_global(L, search->word)) search->event = "Globalized";
        return true;
    }
    if (!load_module(L, search->word)) return false;
    search->event = "Loaded";
    return true;
}

bool is_preloadable(lua_State *L, int package, const std::string &begin) {
    if (lua_getfield(L, package, "preload") != LUA_TTABLE) return false;
    const int preload = lua_gettop(L);
    lua_pushnil(L);
    while (lua_next(L, preload)) {
        if (lua_type(L, -2) == LUA_TSTRING && std::string_view(lua_tostring(L, -2)).starts_with(begin)) return true;
        lua_pop(L, 1);
    }
    return false;
}

std::string text_field(lua_State *L, int table, const char *name) {
    lua_getfield(L, table, name);
    return luaL_checkstring(L, -1);
}

// The first line of text, which is taken away from it.
std::string take_line(std::string_view *text) {
    const std::string line(text->substr(0, text->find('\n')));
    text->remove_prefix(std::min(line.size() + 1, text->size()));
    return line;
}

void read_templates(lua_State *L, int package, Search *search) {
    const std::string config = text_field(L, package, "config");
    std::string_view rest = config;
    search->separator = take_line(&rest);
    search->template_separator = take_line(&rest);
    search->mark = take_line(&rest);
    search->templates = text_field(L, package, "path") + search->template_separator + text_field(L, package, "cpath") +
                        search->template_separator;
    search->is_open = !search->template_separator.empty() && !search->mark.empty();
}

// Argument: the search. What it finds out before an error counts.
int ask_package(lua_State *L) {
    auto *search = static_cast<Search *>(lua_touserdata(L, 1));
    lua_pushglobaltable(L);
    lua_pushliteral(L, "require");
    if (lua_rawget(L, -2) != LUA_TFUNCTION) return 0;
    lua_pushliteral(L, "package");
    lua_call(L, 1, 1);
    const int package = lua_gettop(L);
    const bool is_name = !search->word.empty() && search->quote.empty() && search->word.back() != '.';
    if (is_name && make_global(L, package, search)) return 0;
    search->is_preloadable = is_preloadable(L, package, search->begin);
    read_templates(L, package, search);
    return 0;
}

std::string replace_all(std::string text, const std::string &from, const std::string &to) {
    for (size_t at = from.empty() ? text.npos : text.find(from); at != text.npos; at = text.find(from, at + to.size()))
        text.replace(at, from.size(), to);
    return text;
}

int entries_read;

bool is_over() {
    return entries_read >= ENTRIES_MAX || (entries_read % ENTRIES_A_CHECK == 0 && interrupt_pending());
}

void *open_folder(const char *path) {
    return is_over() ? nullptr : opendir(path);
}

dirent *read_entry(void *folder) {
    if (is_over()) return nullptr;
    entries_read++;
    return readdir(static_cast<DIR *>(folder));
}

void close_folder(void *folder) {
    closedir(static_cast<DIR *>(folder));
}

// Candidates, each once.
class Names {
 public:
    Names(const Search &search, json_t *out) : search_(search), out_(out) {}

    void add(const std::string &candidate) {
        if (rv::has_control(candidate) || !found_.insert(candidate).second) return;
        json_array_append_new(out_, json_string(candidate.c_str()));
    }

    // What stands in the place of the mark in a file that a template finds.
    void add_file(std::string name) {
        if (search_.word.find('.') != std::string::npos) name = replace_all(name, search_.separator, ".");
        if (name.ends_with("init")) return;
        add(search_.quote + name + search_.quote);
    }

    void add_template(const std::string &pattern, std::string_view head, std::string_view tail) {
        glob_t found = {};
        found.gl_opendir = open_folder;
        found.gl_readdir = read_entry;
        found.gl_closedir = close_folder;
        found.gl_stat = stat;
        found.gl_lstat = lstat;
        const std::string files = std::string(head) + pattern + std::string(tail);
        if (glob(files.c_str(), GLOB_ALTDIRFUNC, nullptr, &found) == 0) {
            for (size_t i = 0; i < found.gl_pathc; ++i) {
                const std::string_view file = found.gl_pathv[i];
                if (file.size() < head.size() + tail.size()) continue;
                add_file(std::string(file.substr(head.size(), file.size() - head.size() - tail.size())));
            }
        }
        globfree(&found);
    }

 private:
    const Search &search_;
    json_t *out_;
    std::unordered_set<std::string> found_;
};

void find_files(const Search &search, Names *names) {
    const std::string pattern = replace_all(search.begin, ".", search.separator) + "*";
    entries_read = 0;
    for (std::string_view rest = search.templates; !rest.empty() && !is_over();) {
        const std::string_view each = rest.substr(0, rest.find(search.template_separator));
        rest.remove_prefix(each.size() + search.template_separator.size());
        const size_t at = each.find(search.mark);
        if (at != each.npos) names->add_template(pattern, each.substr(0, at), each.substr(at + search.mark.size()));
    }
}

}  // namespace

void lua_complete_modules(rv_lua *context, const std::string &word, json_t *out) {
    Search search;
    search.word = word;
    search.quote = word.starts_with('"') || word.starts_with('\'') ? word.substr(0, 1) : "";
    search.begin = word.substr(search.quote.size());
    if (!lua_checkstack(context->state, 2)) return;
    lua_pushcfunction(context->state, ask_package);
    lua_pushlightuserdata(context->state, &search);
    lua_complete_call(context, 1, 0);
    if (search.event) rv_rl_show_below((std::string(search.event) + " module '" + word + "'.\n").c_str());
    Names names(search, out);
    if (search.is_preloadable) names.add(word);  // what is typed, not the name: intended
    if (search.is_open) find_files(search, &names);
}
