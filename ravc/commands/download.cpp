// download and upgrade: a file for the daemon to fetch, by a URL that is typed, found or opened for it.
#include <stdio.h>
#include <string.h>

#include "ravc/commands/file_sender.h"
#include "ravc/commands/firmware.h"
#include "ravc/commands/handlers.h"
#include "ravc/commands/local_url.h"
#include "ravc/daemon/reply_status.h"
#include "ravc/daemon/request.h"
#include "rv/md5.h"
#include "rv/wait.h"

namespace {

struct FileType {
    const char *word;
    const char *name;
    bool is_firmware;
};

constexpr FileType file_types[] = {
    {"firmware", "Firmware", true}, {"config", "Config", false}, {"file", "File", false}};

const FileType *find_file_type(const char *word) {
    for (const FileType &type : file_types)
        if (word && strcmp(word, type.word) == 0) return &type;
    return nullptr;
}

int print_syntax(const char *command) {
    printf("syntax: %s <firmware|config|file> <path_to_file> [<target_file_name>]\n", command);
    return -1;
}

void add_digest(json_t *params, const rv_md5 *digest) {
    char text[RV_MD5_TEXT_SIZE];
    if (rv_md5_to_str(digest, text, sizeof text) == 0) json_object_set_new(params, "MD5", json_string(text));
}

// The parameters of a download: a new object, or null when the path leads nowhere. The daemon's answer decides about a
// file that can't be served. The digest comes first: it takes time that a sender's client would have to wait.
json_t *download_params(const FileType *type, const char *path, json_t *target) {
    rv_md5 digest;
    const bool has_digest = rv_md5_calculate_from_file_region(path, 0, -1, &digest) == 0;
    if (rv_interrupt_pending()) rv_sleep_ms(0);  // lets it in, before anything is begun
    char url[URL_MAX + 1];
    size_t size = 0;
    const int found = local_url(path, url);
    if (found == URL_WRONG) return nullptr;
    const bool is_served = found == URL_NONE && file_sender_start(path, SENDER_PATIENCE_MS, url, &size) == 0;
    json_t *params = json_pack("{s:s, s:s}", "FileType", type->name, "URL", url);
    if (!params) return nullptr;  // the real path is no UTF-8
    if (has_digest) add_digest(params, &digest);
    if (target) object_set(params, "TargetFileName", target);
    if (is_served) json_object_set_new(params, "FileSize", json_integer(static_cast<json_int_t>(size)));
    return params;
}

// Sends "Download" and returns its reply, new; null after telling what it failed with.
rv_jrpcmsg *exchange(json_t *params) {
    rv_jrpcmsg *msg = request_new("Download", params);
    send_request(msg, NO_TIMEOUT);
    if (rv_jrpcmsg_typeof(msg) == RV_JRPCMSG_RESULT) return msg;
    print_reply_status(msg);
    message_release(&msg);
    return nullptr;
}

// Asks whether an upgrade could begin now. Returns 0, or -1 after telling why not.
int pre_update(json_t *params) {
    json_object_set_new(params, "NeedPreUpdate", json_true());
    message_auto_t *reply = exchange(params);
    json_object_set_new(params, "NeedPreUpdate", json_false());
    return reply ? 0 : -1;
}

}  // namespace

int process_download(const char *name, json_t *args) {
    const size_t words = json_array_size(args);
    const FileType *type = find_file_type(json_string_value(json_array_get(args, 0)));
    if (words < 2 || words > 3 || !type) return print_syntax(name);
    json_auto_t *params = download_params(type, json_string_value(json_array_get(args, 1)), json_array_get(args, 2));
    if (!params) return print_syntax(name);
    if (type->is_firmware && pre_update(params) < 0) return -1;
    message_auto_t *reply = exchange(params);
    if (!reply) return -1;
    return type->is_firmware ? firmware_upgrade(reply, params) : 0;
}

int process_upgrade(const char *, json_t *args) {
    json_array_insert_new(args, 0, json_string("firmware"));
    return process_download("download", args);  // whose messages speak of "download": intended
}
