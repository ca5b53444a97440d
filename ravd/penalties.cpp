// The records behind the pauses. A record goes when it is forgiven, when it has been quiet for long, or when room is
// needed and it is the one to be forgotten soonest.
#include "ravd/penalties.h"

#include <algorithm>
#include <cstring>
#include <string>

namespace ravd {

namespace {

size_t hash_of(std::string_view text) {
    return std::hash<std::string_view>()(text);
}

}  // namespace

PeerKey key_of(const Peer &peer) {
    PeerKey key = {};
    if (peer.transport == Transport::local) {
        memcpy(key.data() + 1, &peer.uid, sizeof peer.uid);
    } else {
        key[0] = 1;
        std::copy(peer.address.begin(), peer.address.end(), key.begin() + 1);
    }
    return key;
}

Penalties::Record *Penalties::find(const PeerKey &peer) {
    const auto found = records_.find(peer);
    if (found == records_.end()) return nullptr;
    Record &record = found->second;
    if (record.refusals == 0 || now_() < record.forgotten_at) return &record;
    if (record.under_way > 0) {
        record = {.under_way = record.under_way};
        return &record;
    }
    records_.erase(found);
    return nullptr;
}

Penalties::Record *Penalties::find_or_make(const PeerKey &peer) {
    if (Record *record = find(peer)) return record;
    if (records_.size() >= limits_.login_peers && !make_room()) return nullptr;
    return &records_[peer];
}

bool Penalties::make_room() {
    auto victim = records_.end();
    for (auto each = records_.begin(); each != records_.end(); ++each) {
        if (each->second.under_way > 0) continue;
        if (victim == records_.end() || each->second.forgotten_at < victim->second.forgotten_at) victim = each;
    }
    if (victim == records_.end()) return false;
    records_.erase(victim);
    return true;
}

bool Penalties::begin(const PeerKey &peer) {
    Record *record = find_or_make(peer);
    if (record == nullptr || now_() < record->pause_end) return false;
    if (record->under_way > 0 && record->refusals + record->under_way >= limits_.login_free) return false;
    ++record->under_way;
    return true;
}

uint64_t Penalties::pause(const PeerKey &peer) const {
    const auto found = records_.find(peer);
    const uint64_t now = now_();
    return found == records_.end() || found->second.pause_end <= now ? 0 : found->second.pause_end - now;
}

void Penalties::count(Record &record, std::string_view name) {
    const size_t hash = hash_of(name);
    record.several_names = record.refusals > 0 && (record.several_names || record.name != hash);
    record.name = hash;
    ++record.refusals;
    const uint64_t now = now_();
    if (record.refusals > limits_.login_free) {
        uint64_t pause = limits_.login_pause_ms;
        for (uint64_t n = limits_.login_free + 1; n < record.refusals && pause < limits_.login_pause_max_ms; ++n) {
            pause *= 2;
        }
        record.pause_end = now + std::min(pause, limits_.login_pause_max_ms);
    }
    record.forgotten_at = std::max(now, record.pause_end) + limits_.login_forget_ms;
}

void Penalties::refused(const PeerKey &peer, std::string_view name) {
    Record *record = find(peer);
    if (record == nullptr) return;
    --record->under_way;
    count(*record, name);
    record->token_is_free = true;
}

void Penalties::accepted(const PeerKey &peer, std::string_view name) {
    Record *record = find(peer);
    if (record == nullptr) return;
    --record->under_way;
    if (record->refusals > 0 && (record->several_names || record->name != hash_of(name))) return;
    if (record->under_way > 0) {
        *record = {.under_way = record->under_way};
    } else {
        records_.erase(peer);
    }
}

void Penalties::cancelled(const PeerKey &peer) {
    Record *record = find(peer);
    if (record == nullptr) return;
    if (--record->under_way == 0 && record->refusals == 0) records_.erase(peer);
}

void Penalties::refused_token(const PeerKey &peer, std::string_view text) {
    Record *record = find_or_make(peer);
    if (record == nullptr) return;
    const bool free = record->token_is_free && record->name == hash_of(text);
    record->token_is_free = false;
    if (!free) count(*record, text);
}

}  // namespace ravd
