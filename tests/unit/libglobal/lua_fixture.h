// A Lua context, and chunks run in it.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <jansson.h>

#include "rv/lua.h"

class LuaTest : public testing::Test {
 protected:
    int run(const std::string &text, const char *name = nullptr, const std::vector<std::string> &arguments = {}) {
        json_t *list = arguments.empty() ? nullptr : json_array();
        for (const std::string &argument : arguments) json_array_append_new(list, json_string(argument.c_str()));
        const int code = rv_lua_exec(context.get(), text.c_str(), text.size(), name, list);
        json_decref(list);
        return code;
    }

    // What an expression gives, as print shows it; the error where it fails.
    std::string value(const std::string &expression) {
        if (run("print(" + expression + ")", "test") != RV_LUA_DONE) return error();
        return output().substr(0, output().size() - 1);
    }

    std::string output() const { return {context->output.text, context->output.length}; }
    std::string error() const { return {context->error.text, context->error.length}; }

    std::unique_ptr<rv_lua, decltype(&rv_lua_free)> context{rv_lua_init(0), rv_lua_free};
};
