// Reading and sorting. The daemon answers the requests of a connection in their order, so a reply belongs to the first
// unanswered request with its id: a late reply is never taken for that to a later request with an equal id.
#include "libglobal/net/incoming.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "libglobal/net/message.h"

namespace rv {

namespace {

constexpr size_t kept_limit = size_t{512} * 1024;
constexpr size_t kept_overhead = 64;  // about what a line costs beside its text

using Place = std::deque<KeptLine>::iterator;

void drop(Kept &kept, Place place) {
    kept.bytes -= place->text.size() + kept_overhead;
    kept.lines.erase(place);
}

rv_jrpcmsg *take(Kept &kept, Place place) {
    json_t *json = json_loadb(place->text.data(), place->text.size(), 0, nullptr);
    rv_jrpcmsg *msg = rv_jrpcmsg_parse_json(json);
    json_decref(json);
    drop(kept, place);
    return msg;
}

// The place of the request that reply answers. An error with the id null answers the oldest one: the daemon could not
// read it.
std::deque<json_t *>::iterator answered_by(std::deque<json_t *> &unanswered, const json_t *reply) {
    json_t *id = json_object_get(reply, "id");
    const auto found =
        std::find_if(unanswered.begin(), unanswered.end(), [id](json_t *other) { return json_equal(id, other); });
    const bool unread = json_is_null(id) && message_kind(reply) == RV_JRPCMSG_ERROR;
    return found == unanswered.end() && unread ? unanswered.begin() : found;
}

// Takes reply.
void sort_reply(Exchange &exchange, json_t *reply) {
    const auto found = answered_by(exchange.unanswered, reply);
    if (found == exchange.unanswered.end()) {
        json_decref(reply);
        return;
    }
    const bool awaited = exchange.waiting && found + 1 == exchange.unanswered.end();
    for (auto id = exchange.unanswered.begin(); id <= found; ++id) json_decref(*id);
    exchange.unanswered.erase(exchange.unanswered.begin(), found + 1);
    if (!awaited) {
        json_decref(reply);
        return;
    }
    exchange.waiting = false;
    exchange.reply = reply;
}

}  // namespace

void keep(Kept &kept, std::string_view line, uint32_t group) {
    kept.lines.push_back({std::string(line), group});
    kept.bytes += line.size() + kept_overhead;
    while (kept.bytes > kept_limit && kept.lines.size() > 1) drop(kept, kept.lines.begin());
}

int receive(rv_jrpcapi &c) {
    size_t size = 0;
    char *room = c.in.room(&size);
    if (!room) return RV_SOCKET_ERR_TOO_LARGE;
    const ssize_t got = socket_receive(c.socket, room, size);
    if (got <= 0) return static_cast<int>(got);
    c.in.received(static_cast<size_t>(got));
    return 1;
}

int sort_next_line(rv_jrpcapi &c) {
    std::string_view line;
    if (!c.in.next(&line)) return c.in.too_large() ? RV_SOCKET_ERR_TOO_LARGE : 0;
    json_t *json = json_loadb(line.data(), line.size(), 0, nullptr);
    const int kind = message_kind(json);
    if (kind == RV_JRPCMSG_ERROR || kind == RV_JRPCMSG_RESULT) {
        sort_reply(c.exchange, json);
    } else {
        if (kind != RV_JRPCMSG_NONE) keep(c.kept, line, kind == RV_JRPCMSG_EVENT ? message_group(json) : 0);
        json_decref(json);
    }
    c.in.trim();
    return kind == RV_JRPCMSG_NONE ? static_cast<int>(RV_SOCKET_ERR_GARBAGE) : 1;
}

int sort_lines(rv_jrpcapi &c) {
    int result;
    do result = sort_next_line(c);
    while (result > 0);
    return result;
}

rv_jrpcmsg *take_kept(rv_jrpcapi &c) {
    return c.kept.lines.empty() ? nullptr : take(c.kept, c.kept.lines.begin());
}

rv_jrpcmsg *take_kept_event(rv_jrpcapi &c, const uint32_t *groups, size_t count) {
    const auto is_wanted = [&](const KeptLine &line) {
        return line.group != 0 && std::find(groups, groups + count, line.group) != groups + count;
    };
    const Place found = std::find_if(c.kept.lines.begin(), c.kept.lines.end(), is_wanted);
    return found == c.kept.lines.end() ? nullptr : take(c.kept, found);
}

void keep_again(rv_jrpcapi &c, Kept &&before) {
    for (KeptLine &line : c.kept.lines) keep(before, line.text, line.group);
    c.kept = std::move(before);
}

}  // namespace rv
