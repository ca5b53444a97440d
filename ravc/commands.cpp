// The command table, looking commands up in it, and running them.
#include "ravc/commands.h"

#include <stdio.h>
#include <string.h>

#include "ravc/commands/handlers.h"
#include "rv/string.h"

namespace {

// name, method, id, (hashes), handler by name, handler by method, usage, help
command_row rows[] = {
    {"add", "AddObject", 1, 0, 0, process_add, process_add, "add <path>",
     "add a new instance to multi-instance object"},
    {"attr", "GetParameterAttributes", 15, 0, 0, process_attr, process_attr_by_method, "attr [<path1> <path2>...]",
     "show node's attributes"},
    {"cd", nullptr, 4, 0, 0, process_cd, nullptr, "cd <path>", "cd to the node"},
    {"cat", "GetParameterValues", 2, 0, 0, process_cat, process_cat, "cat [<path1> <path2>...]",
     "retrieve node's values"},
    {"catree", nullptr, 3, 0, 0, process_catree, nullptr, "catree [<path1> <path2>...]",
     "retrieve node's values and print as tree"},
    {"clear", nullptr, 5, 0, 0, process_clear, nullptr, "clear", "clear screen"},
    {"color", nullptr, 6, 0, 0, process_color, nullptr, "color [<type> <hsv>]", "manage color scheme"},
    {"debug", nullptr, 8, 0, 0, process_debug, process_debug, nullptr, nullptr},
    {"del", "DeleteObject", 7, 0, 0, process_del, process_del, "del <path>",
     "delete instance from multi-instance object"},
    {"download", "Download", 9, 0, 0, process_download, process_download,
     "download <firmware|config|file> <path_to_file> [<target_file_name>]",
     "download a file to CPE and immediately apply if firmware|config"},
    {"get", "GetParameterValues", 2, 0, 0, process_cat, process_cat, "get [<path1> <path2>...]", "same as 'cat'"},
    {"help", nullptr, 14, 0, 0, process_help, nullptr, "help", "show this message"},
    {"info", "GetParameterAttributes", 15, 0, 0, process_attr, process_attr_by_method, "info <path> [<path2>...]",
     "same as 'attr'"},
    {"login", nullptr, 18, 0, 0, process_login, process_login, "login [<username> [ -p <password>]]",
     "login as user <username> (or as $USER if empty)"},
    {"logout", nullptr, 20, 0, 0, process_logout, process_logout, "logout", "logout"},
    {"login_if_guest", nullptr, 19, 0, 0, process_login_if_guest, nullptr,
     "login_if_guest <username|token> [<password>]", "try login if not authorized"},
    {"ls", "GetParameterNames", 21, 0, 0, process_ls, process_ls, "ls [-l] [<path1> <path2>...]",
     "list object's subnodes"},
    {"lua", "lua", 22, 0, 0, process_lua, process_lua, "lua [<Lua statement>]",
     "run Lua script (without arguments - enter Luamode)"},
    {"luarecord", nullptr, 23, 0, 0, process_luarecord, nullptr, "luarecord <filename>",
     "create lua-script from Lua session"},
    {"opt", nullptr, 25, 0, 0, process_opt, nullptr, "opt autocomplete|hint on|off", "enable/disable shell options"},
    {"order", "ChangeOrder", 26, 0, 0, process_order, process_order, "order <path> <num>",
     "assign order number to instance"},
    {"pwd", nullptr, 27, 0, 0, process_pwd, nullptr, "pwd", "print current path"},
    {"reboot", "Reboot", 28, 0, 0, process_reboot, process_reboot, "reboot [-f] [<DeviceMode>]",
     "reboot device (force reboot with '-f')"},
    {"reset", "FactoryReset", 30, 0, 0, process_reset, process_reset, "reset [all]",
     "reset device configuration to default"},
    {"rm", "DeleteObject", 7, 0, 0, process_del, process_del, "rm <path>", "same as 'del'"},
    {"save", "SaveConfig", 33, 0, 0, process_save, process_save, "save [<name>]", "save device configuration in NVRAM"},
    {"select", nullptr, 34, 0, 0, process_select, process_select, "select <path>", "select config paths"},
    {"set", "SetParameterValues", 35, 0, 0, process_set, process_set, "set <path>=<value> [...]",
     "set parameters' values"},
    {"record", nullptr, 29, 0, 0, process_record, nullptr, "record <filename>|abort",
     "create ravc-script from current shell session"},
    {"sh", nullptr, 36, 0, 0, process_sh, process_sh, "sh [<cmd> <...>]",
     "runs command (without arguments - run interactive shell"},  // the text lacks its closing parenthesis: intended
    {"touch", "AddObject", 1, 0, 0, process_add, process_add, "touch <path>", "same as 'add'"},
    {"take", nullptr, 37, 0, 0, process_take, nullptr, "take <path>",
     "add a new instance to multi-instace object and cd to it"},  // "multi-instace": intended
    {"tree", nullptr, 38, 0, 0, process_tree, nullptr, "tree [<path>]", "show node scheme in tree form"},
    {"up", nullptr, 39, 0, 0, process_up, nullptr, "up [<levels>]", "cd to upper level node"},
    {"upgrade", nullptr, 40, 0, 0, process_upgrade, process_upgrade, "upgrade <path_to_firmware>",
     "upgrade CPE firmware"},
    {"upload", "Upload", 41, 0, 0, process_upload, process_upload, "upload config <remote_url> [<target_file_name>]",
     "upload config to remote server"},
    {"execute", nullptr, 12, 0, 0, process_execute, process_execute,
     "execute <path_to_method> [<rpath1>=<value1> <rpath2>=<value2>...]", "execute method"},
};

bool hashed;

void command_hash_init() {
    for (command_row &row : rows) {
        row.name_hash = rv_string_get_hash(row.name);
        row.method_hash = rv_string_get_hash(row.method);
    }
    hashed = true;
}

const command_row *find_row(const char *name) {
    if (!hashed) command_hash_init();
    const uint32_t hash = rv_string_get_hash(name);
    for (const command_row &row : rows) {
        if (hash == row.name_hash && strcmp(name, row.name) == 0) return &row;
        if (hash == row.method_hash && row.method && strcmp(name, row.method) == 0) return &row;
    }
    return nullptr;
}

}  // namespace

std::span<const command_row> command_table() {
    return rows;
}

const command_row *command_lookup(const char *name) {
    if (!name) return nullptr;
    const command_row *row = find_row(strcmp(name, "?") == 0 ? "help" : name);
    return row && row->handler ? row : nullptr;
}

int dispatch_by_name(const char *name, json_t *args) {
    const command_row *row = command_lookup(name);
    if (!row || row->cmd_id == 0) {
        printf("%s: command not found.\n", name ? name : "(null)");
        return -1;
    }
    return row->handler(row->name, args);
}

int dispatch_by_method(const char *name, json_t *args) {
    const command_row *row = name ? find_row(name) : nullptr;
    if (!row || !row->method_handler || row->cmd_id == 0) {
        printf("%s: unknown method.\n", name ? name : "(null)");
        return -1;
    }
    return row->method_handler(name, args);
}
