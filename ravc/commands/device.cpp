// Commands that act on the whole device: reboot, reset, save, upload, debug; and sh, which acts on this machine.
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>
#include <unistd.h>

#include "ravc/commands/handlers.h"
#include "ravc/commands/local_url.h"
#include "ravc/daemon/reply_status.h"
#include "ravc/daemon/request.h"
#include "ravc/main/password.h"
#include "rv/log.h"
#include "rv/str_json.h"
#include "rv/wait.h"

namespace {

// The word at index, which must be one. command is the handler that asks.
const char *require_word(json_t *args, size_t index, const char *command) {
    const char *word = json_string_value(json_array_get(args, index));
    if (!word) __rv_log_assert("args must be an array of strings", "arg != NULL", command, __LINE__, "ravc/commands");
    return word;
}

bool is_result(const rv_jrpcmsg *reply) {
    return rv_jrpcmsg_typeof(reply) == RV_JRPCMSG_RESULT;
}

// Sends method with params (null: none; borrowed) and tells how it went.
void run_method(const char *method, json_t *params) {
    message_auto_t *msg = request_new(method, params);
    send_request(msg, NO_TIMEOUT);
    print_reply_status(msg);
}

int print_reboot_syntax(const char *command) {
    printf("syntax: %s [-f] [<DeviceMode>]\n", command);
    return -1;
}

struct TypeName {
    const char *word;
    const char *name;
};

constexpr TypeName upload_types[] = {{"config", "Config"}, {"buildconfig", "BuildConfig"}, {"log", "Log"}};

const char *upload_type(const char *word) {
    for (const TypeName &type : upload_types)
        if (word && strcmp(word, type.word) == 0) return type.name;
    return nullptr;
}

// All three types are taken, and only one is told of: intended.
int print_upload_syntax(const char *command) {
    printf("syntax: %s config <remote_url> [<target_file_name>]\n", command);
    return -1;
}

constexpr const char *debug_modes[] = {"Disabled", "Temporary", "Permanent"};

const char *find_debug_mode(const char *word) {
    for (const char *mode : debug_modes)
        if (word && strcasecmp(word, mode) == 0) return mode;
    return nullptr;
}

// The password of the user who is logged in, as a new text for a request.
json_t *ask_password() {
    char *password = password_prompt("[ravc] password for current user: ");
    json_t *text = json_string(password);
    password_free(password);
    return text;
}

// Ends the shell that this program was started from, as a terminal that hangs up does. As the child of the system's
// first process, or of nobody in this container, it was started from none.
void hang_up_parent() {
    const pid_t parent = getppid();
    if (parent > 1) kill(parent, SIGHUP);
}

// The words of args, each followed by a blank: a new text. An interactive shell where there are none.
json_t *command_line(const json_t *args) {
    if (json_array_size(args) == 0) return json_string("sh ");
    char *words = rv_str_json_join(args, " ");
    json_t *line = json_sprintf("%s ", words);
    free(words);
    return line;
}

// For as long as one exists, a SIGINT that would run a handler does nothing: system() holds a lock at its beginning and
// at its end, which a handler that jumps would leave behind. Children get the default action all the same.
class InterruptLetIn {
 public:
    InterruptLetIn() {
        sigset_t interrupt;
        sigemptyset(&interrupt);
        sigaddset(&interrupt, SIGINT);
        sigaction(SIGINT, nullptr, &action_);
        if (action_.sa_handler != SIG_IGN && action_.sa_handler != SIG_DFL) signal(SIGINT, [](int) {});
        pthread_sigmask(SIG_UNBLOCK, &interrupt, &mask_);
    }
    ~InterruptLetIn() {
        pthread_sigmask(SIG_SETMASK, &mask_, nullptr);
        sigaction(SIGINT, &action_, nullptr);
    }
    InterruptLetIn(const InterruptLetIn &) = delete;
    InterruptLetIn &operator=(const InterruptLetIn &) = delete;

 private:
    struct sigaction action_;
    sigset_t mask_;
};

// Ctrl-C is the child's, which inherits the mask.
void run_with_interrupt_let_in(const char *line) {
    const InterruptLetIn scope;
    if (system(line) == -1) perror("sh");
}

}  // namespace

int process_reboot(const char *name, json_t *args) {
    json_auto_t *params = json_object();
    message_auto_t *msg = request_new("Reboot", params);  // shares what is filled in below
    if (json_array_size(args) > 2) return print_reboot_syntax(name);
    for (size_t i = 0; i < json_array_size(args); i++) {
        if (strcmp(require_word(args, i, __func__), "-f") == 0) {
            json_object_set_new(params, "Force", json_true());
        } else if (!json_object_get(params, "DeviceMode")) {
            object_set(params, "DeviceMode", json_array_get(args, i));
        } else {
            return print_reboot_syntax(name);
        }
    }
    send_request(msg, NO_TIMEOUT);
    print_reply_status(msg);
    if (is_result(msg)) return 0;
    return print_reboot_syntax(name);  // after the status: intended
}

int process_reset(const char *name, json_t *args) {
    if (json_array_size(args) > 2) {
        printf("syntax: %s <DeviceMode> [all]\n", name);  // not as help has it: intended
        return -1;
    }
    json_auto_t *params = json_object();
    for (size_t i = 0; i < json_array_size(args); i++) {
        if (strcmp(require_word(args, i, __func__), "all") == 0) {
            json_object_set_new(params, "CleanAll", json_true());
        } else if (!json_object_get(params, "DeviceMode")) {  // a second mode is ignored: intended
            object_set(params, "DeviceMode", json_array_get(args, i));
        }
    }
    run_method("FactoryReset", params);
    return 0;
}

int process_save(const char *, json_t *args) {
    json_t *restore_point = json_array_get(args, 0);
    json_auto_t *params = restore_point ? json_pack("{s: O}", "RestorePointName", restore_point) : nullptr;
    run_method("SaveConfig", params);
    return 0;
}

int process_upload(const char *name, json_t *args) {
    const size_t words = json_array_size(args);
    const char *type = upload_type(json_string_value(json_array_get(args, 0)));
    if (words < 2 || words > 3 || !type) return print_upload_syntax(name);
    char url[URL_MAX + 1];
    if (local_url(json_string_value(json_array_get(args, 1)), url) == URL_WRONG) return print_upload_syntax(name);
    json_auto_t *params = json_pack("{s: s, s: s}", "FileType", type, "URL", url);
    if (!params) return print_upload_syntax(name);  // the real path is no UTF-8
    if (words == 3) object_set(params, "TargetFileName", json_array_get(args, 2));
    message_auto_t *msg = request_new("Upload", params);
    send_request(msg, NO_TIMEOUT);
    if (is_result(msg)) return 0;
    print_reply_status(msg);
    return -1;
}

int process_debug(const char *, json_t *args) {
    const char *mode = find_debug_mode(json_string_value(json_array_get(args, 0)));
    if (!mode) {
        printf("syntax: %s\n", "change system debug mode");  // without the command's name: intended
        return -1;
    }
    json_t *password = mode == debug_modes[0] ? nullptr : ask_password();
    message_auto_t *msg = rv_jrpcmsg_cmd_execute_new("Device.System.Debug", nullptr);
    rv_jrpcmsg_set_secret(msg);
    rv_jrpcmsg_cmd_set_parameter_values_add_new(msg, "Mode", json_string(mode));
    rv_jrpcmsg_cmd_set_parameter_values_add_new(msg, "UserPassword", password);
    send_request(msg, NO_TIMEOUT);
    print_reply_status(msg);
    if (!is_result(msg)) return 0;
    puts("You must log out and log back in for the changes to take effect.");
    fflush(stdout);
    hang_up_parent();
    return 0;
}

int process_sh(const char *, json_t *args) {
    fflush(stdout);
    if (rv_interrupt_pending()) rv_sleep_ms(0);  // lets it in, before anything is begun
    json_auto_t *line = command_line(args);
    run_with_interrupt_let_in(json_string_value(line));
    return 0;
}
