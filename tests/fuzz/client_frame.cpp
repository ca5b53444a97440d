// Fuzzes what a daemon can send to the client: the receive buffer, and every line of it as a message with all that can
// be read from one.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include <jansson.h>

#include "libglobal/net/frame.h"
#include "rv/jrpcmsg.h"

namespace {

constexpr size_t line_limit = 64 * 1024;

void must(bool good) {
    if (!good) abort();
}

void read_message(std::string_view line) {
    json_auto_t *json = json_loadb(line.data(), line.size(), 0, nullptr);
    rv_jrpcmsg *msg = rv_jrpcmsg_parse_json(json);
    const int kind = rv_jrpcmsg_typeof(msg);
    must((kind == RV_JRPCMSG_ERROR) == (rv_jrpcmsg_get_error_code(msg) != 0));
    must((kind == RV_JRPCMSG_RESULT) == (rv_jrpcmsg_get_result_json(msg) != nullptr));
    must(kind == RV_JRPCMSG_EVENT || rv_jrpcmsg_get_event_code(msg) == 0);
    const char *texts[] = {rv_jrpcmsg_get_error_message(msg), rv_jrpcmsg_get_error_detail(msg)};
    for (const char *text : texts) must(!text || (kind == RV_JRPCMSG_ERROR && strlen(text) <= line.size()));
    const json_t *data = rv_jrpcmsg_get_errordata_json(msg);
    must(!data || json_is_object(data));
    rv_jrpcmsg_get_params_json(msg);
    json_auto_t *whole = rv_jrpcmsg_json(msg);
    must(!msg || whole == json);
    rv_jrpcmsg_free(msg);
}

void take_lines(rv::FrameBuffer &buffer) {
    std::string_view line;
    for (;;) {
        const bool found = buffer.has_line();
        if (!buffer.next(&line)) return;
        must(found && !line.empty() && line.size() <= line_limit && line.find('\n') == line.npos);
        read_message(line);
        buffer.trim();
    }
}

}  // namespace

// The first byte says how many bytes come at a time.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size == 0) return 0;
    const size_t step = size_t{1} + data[0];
    rv::FrameBuffer buffer(line_limit);
    for (size_t at = 1; at < size; at += step) {
        size_t room = 0;
        char *to = buffer.room(&room);
        if (!to) return 0;
        const size_t n = std::min(step, size - at);
        must(n <= room);
        memcpy(to, data + at, n);
        buffer.received(n);
        take_lines(buffer);
    }
    return 0;
}
