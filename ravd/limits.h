// What the daemon grants its clients: sizes, times and counts, in one place.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace ravd {

constexpr uint64_t kib = 1024, mib = 1024 * kib;

struct ClientLimits {
    // One message, in bytes without its line feed: before and after login. The local socket has the latter at once.
    uint64_t message_guest = 64 * kib;
    uint64_t message = 16 * mib;
    uint64_t nesting = 128;           // levels; the message object is level 1, a batch array counts
    uint64_t values = 1'048'576;      // JSON values in one message, about
    uint64_t batch = 1024;            // requests in one batch
    uint64_t batch_reply = 16 * mib;  // bytes of a batch's replies; what is left then fails
    // What a list of names may grow to in one reply, in bytes, past which it fails; guests as above. No client takes
    // more.
    uint64_t reply_guest = 4 * mib;
    uint64_t reply = 256 * mib;
    uint64_t groups = 1024;  // event groups of one session

    // Milliseconds, counted from a fixed start: bytes that drip in do not extend them.
    uint64_t login_ms = 15000;    // TLS handshake, and a TCP session that neither logs in nor joins a group
    uint64_t partial_ms = 30000;  // a message begun and not ended
    uint64_t linger_ms = 2000;    // a connection ended by the daemon, until the peer has taken the last reply

    uint64_t connections = 4096;
    uint64_t per_uid = 1024;            // local connections of one user
    uint64_t guests = 64;               // TCP connections without a login
    uint64_t guests_per_address = 8;    // the same from one address (IPv6: from one /64 network)
    uint64_t descriptors_percent = 75;  // of RLIMIT_NOFILE, for connections

    // Refused logins of one peer, see ravd/penalties.h.
    uint64_t login_free = 3;                // cost nothing
    uint64_t login_pause_ms = 5000;         // after the next one, and doubled by each further one ...
    uint64_t login_pause_max_ms = 600'000;  // ... up to this
    uint64_t login_forget_ms = 900'000;     // after a pause, until the peer starts anew
    uint64_t login_waiting = 32;            // attempts of one peer that wait for its pause to end
    uint64_t login_peers = 4096;            // peers that are remembered

    // Programs that requests start, see ravd/handlers/programs.h.
    uint64_t programs = 8;                // at once
    uint64_t programs_waiting = 64;       // for one of them to end
    uint64_t program_ms = 30000;          // until one is killed
    uint64_t program_output = 64 * kib;   // bytes of its answer
    uint64_t program_memory = 512 * mib;  // address space of each of its processes
    uint64_t program_processes = 64;      // of the user that they have of their own

    // Methods that ask the network, see ravd/operations/diagnostic.h.
    uint64_t diagnostics = 16;         // at once
    uint64_t diagnostic_ms = 300'000;  // until one fails

    uint64_t firmware = 256 * mib;        // bytes of a firmware image
    uint64_t firmware_wait_ms = 900'000;  // an image that is neither applied nor cancelled

    // Files that are fetched and sent.
    uint64_t transfers = 8;               // at once
    uint64_t transfer_ms = 3'600'000;     // until one is given up
    uint64_t transfer_stall_ms = 30'000;  // the same when in that time less than ...
    uint64_t transfer_floor = 4 * kib;    // ... so many bytes have moved
    uint64_t configuration = 16 * mib;    // bytes of a configuration that is fetched
    uint64_t file = 64 * mib;             // bytes of any other file
    uint64_t files = 256 * mib;           // bytes of all of those together
    uint64_t files_count = 1024;          // and their number

    uint64_t turn_requests = 32;      // requests of one connection before the others have their turn
    uint64_t turn_ms = 5;             // the same in time
    uint64_t unsent_high = mib;       // bytes of untaken replies that stop the reading of requests ...
    uint64_t unsent_low = 256 * kib;  // ... and that let it go on
    uint64_t event_queue = mib;       // bytes of events kept for one connection
    uint64_t event_room = 16 * kib;   // events go out while less than this is unsent
};

// Sets one limit from "NAME=VALUE", the names being those above with "-" for "_". Returns an empty text, or why not.
std::string set_limit(ClientLimits &limits, std::string_view assignment);

// The names set_limit() knows with their present values, a line each: for --help.
std::string describe_limits(const ClientLimits &limits);

}  // namespace ravd
