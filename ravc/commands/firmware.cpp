// The dialogue about a firmware image. The replies to cancelling and applying are not looked at: how the upgrade goes
// is told by its progress.
#include "ravc/commands/firmware.h"

#include <algorithm>

#include <stdio.h>
#include <stdlib.h>
#include <strings.h>

#include "ravc/commands/handlers.h"
#include "ravc/daemon/reply_status.h"
#include "ravc/daemon/request.h"
#include "rv/firmware.h"
#include "rv/rl.h"
#include "rv/tr.h"
#include "rv/wait.h"

namespace {

enum { POLL_TIMEOUT_MS = 1000, POLL_PAUSE_MS = 100 };

constexpr char label[] = "Flashing:";

void reset_config() {
    puts("Resetting config...");
    process_reset(nullptr, nullptr);
}

void send_unread(json_t *params) {
    message_auto_t *msg = request_new("Download", params);
    send_request(msg, NO_TIMEOUT);
}

void apply(const json_t *result, json_t *params) {
    const char *saved = json_string_value(json_object_get(result, "SavedFirmware"));
    json_object_set_new(params, "URL", json_sprintf("file://%s", saved ? saved : ""));
    object_set(params, "TransactionID", json_object_get(result, "TransactionID"));
    send_unread(params);
}

void cancel(const json_t *result, json_t *params) {
    json_object_clear(params);
    json_object_set_new(params, "FileType", json_string("Firmware"));
    object_set(params, "TransactionID", json_object_get(result, "TransactionID"));
    send_unread(params);
}

enum class Step { poll, apply, ask, reset };

struct Change {
    int difference;  // as rv_firmware_version_cmp() gives it
    const char *words[2];
    Step step;
};

constexpr Change changes[] = {
    {0, {}, Step::poll},  // nothing to apply; the daemon's progress is watched all the same: intended
    {RV_FIRMWARE_BUILD, {"Build", "upgrade"}, Step::apply},
    {-RV_FIRMWARE_BUILD, {"Build", "downgrade"}, Step::apply},
    {RV_FIRMWARE_MINOR, {"Minor", "upgrade"}, Step::apply},
    {-RV_FIRMWARE_MINOR, {"Minor", "downgrade"}, Step::apply},
    {RV_FIRMWARE_MAJOR, {"Major", "upgrade"}, Step::ask},
    {-RV_FIRMWARE_MAJOR, {"Major", "downgrade"}, Step::ask},
    {RV_FIRMWARE_BRANCH, {}, Step::reset},
    {-RV_FIRMWARE_BRANCH, {}, Step::reset},
};

constexpr Change any_other = {0, {}, Step::apply};

// A daemon that does not tell both versions gives no reason to reset anything.
const Change &change_of(const json_t *result) {
    const char *current = json_string_value(json_object_get(result, "CurrentVersion"));
    const char *next = json_string_value(json_object_get(result, "NewVersion"));
    if (!current || !next) return any_other;
    const int difference = rv_firmware_version_cmp(current, next);
    for (const Change &change : changes)
        if (change.difference == difference) return change;
    return any_other;
}

// Returns false when the user gives the upgrade up. Any other answer but "y" is a no, and so is none.
bool ask() {
    char *answer = rv_rl("Reset config[(N)o/(y)es/(c)ancel] ", -1);
    const bool is_cancel = answer && strcasecmp(answer, "c") == 0;
    const bool is_yes = answer && strcasecmp(answer, "y") == 0;
    free(answer);
    if (is_yes) reset_config();
    return !is_cancel;
}

// Takes the image through to where only its progress is left to watch. Returns false when the user gave it up.
bool settle(const json_t *result, json_t *params) {
    if (json_integer_value(json_object_get(result, "Status")) == 0) return true;
    const Change &change = change_of(result);
    if (change.words[0]) printf("%s %s...\n", change.words[0], change.words[1]);
    if (change.step == Step::poll) return true;
    if (change.step == Step::ask && !ask()) {
        cancel(result, params);
        return false;
    }
    if (change.step == Step::reset) reset_config();
    apply(result, params);
    return true;
}

// Asks for the progress. Returns false when the upgrade has ended or the daemon does not answer.
bool read_progress(rv_jrpcmsg *msg, int64_t *percent) {
    rv_jrpcmsg_set_result_new(msg, nullptr);
    send_request(msg, POLL_TIMEOUT_MS);
    if (rv_jrpcmsg_typeof(msg) != RV_JRPCMSG_RESULT) return false;
    const json_t *list = json_object_get(rv_jrpcmsg_get_result_json(msg), "ParameterList");
    json_auto_t *info = rv_tr_namevalues_to_config(list, "Device.DeviceInfo.");
    *percent = json_integer_value(json_object_get(info, "UpgradeProgress"));
    return json_integer_value(json_object_get(info, "UpgradeStatus")) >= 0;
}

void draw(int64_t percent) {
    rv_rl_draw_progressbar(static_cast<int>(std::clamp<int64_t>(percent, 0, 100)), label);
}

// Bar and marks are both shown: intended.
void watch() {
    message_auto_t *msg = rv_jrpcmsg_cmd_get_parameter_values_new(
        json_pack("[s, s]", "Device.DeviceInfo.UpgradeProgress", "Device.DeviceInfo.UpgradeStatus"));
    printf("%s ", label);
    fflush(stdout);
    int64_t before = 0, percent = 0;
    while (read_progress(msg, &percent)) {
        draw(percent);
        if (const char mark = firmware_progress_mark(before, percent)) putchar(mark);
        fflush(stdout);
        before = percent;
        rv_sleep_ms(POLL_PAUSE_MS);
    }
    draw(100);
    putchar('\n');
}

}  // namespace

char firmware_progress_mark(int64_t before, int64_t now) {
    if (before / 2 == now / 2) return '\0';
    return before / 10 != now / 10 ? '@' : '*';
}

int firmware_upgrade(const rv_jrpcmsg *reply, json_t *params) {
    if (!settle(rv_jrpcmsg_get_result_json(reply), params)) return 0;
    watch();
    print_reply_status(reply);
    exit(EXIT_SUCCESS);
}
