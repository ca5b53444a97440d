// Loading the modules that come with the shell.
#include "ravc/lua/preload.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include <dirent.h>
#include <stdio.h>
#include <string.h>

#include "ravc/lua/lua.h"

namespace {

constexpr char module_folder[] = "/usr/lib/lua/5.3/corvane";
constexpr char prefix[] = "corvane.";
constexpr size_t most_bytes = 255;  // of a module's name

// The short names of the modules in the folder.
std::vector<std::string> module_names() {
    std::vector<std::string> names;
    DIR *folder = opendir(module_folder);
    if (!folder) return names;
    while (const dirent *entry = readdir(folder)) {
        std::string_view name = entry->d_name;
        if (name == "." || name == ".." || strlen(prefix) + name.size() > most_bytes) continue;
        if (name.ends_with(".so")) name.remove_suffix(3);
        names.emplace_back(name);
    }
    closedir(folder);
    std::sort(names.begin(), names.end());
    return names;
}

// Argument: a short name. Raises what require raises.
int load_module(lua_State *L) {
    const auto *name = static_cast<const char *>(lua_touserdata(L, 1));
    lua_pushglobaltable(L);
    lua_pushstring(L, name);
    lua_getglobal(L, "require");
    lua_pushfstring(L, "%s%s", prefix, name);
    lua_call(L, 1, 1);
    lua_rawset(L, -3);
    return 0;
}

}  // namespace

int lua_preload_modules(rv_lua *context) {
    lua_State *L = context->state;
    for (const std::string &name : module_names()) {
        lua_pushcfunction(L, load_module);
        lua_pushlightuserdata(L, const_cast<char *>(name.c_str()));
        const int code = rv_lua_call(context, 1, 0, 0);
        if (code == RV_LUA_DONE) printf("> preloaded %s\n", name.c_str());
        if (code == RV_LUA_FAILED) lua_pop(L, 1);
        if (code == RV_LUA_INTERRUPTED || code == RV_LUA_EXIT) return code;
    }
    return RV_LUA_DONE;
}
