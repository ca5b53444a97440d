// What ravd is told on its command line.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "ravd/limits.h"
#include "ravd/log.h"
#include "ravd/password.h"

namespace ravd {

// Where the schema is installed.
extern const char installed_schema[];

struct Options {
    std::string socket = "/var/run/ravd.sock";
    std::vector<std::string> listen;  // "tcp://HOST:PORT" each
    std::string tls_certificate, tls_key;
    std::string schema = installed_schema;
    std::string state = "/var/lib/ravd";
    std::string handlers;            // the folder of programs that the schema may name; empty: none
    std::string handler_user;        // whom they run as; empty: as ravd does
    std::string firmware_key;        // the public key that firmware must be signed with; empty: none
    bool allow_plain_login = false;  // take passwords over TCP without TLS
    bool check = false;
    std::string set_password;  // the user whose password is to be set; empty: none
    unsigned hash_cost = default_hash_cost;
    LogLevel log_level = LogLevel::info;
    ClientLimits limits;
};

// Reads the command line. Returns nothing to go on with options, or the exit status: 0 after --help and --version,
// which print on standard output, 1 after an error, told on standard error.
std::optional<int> parse_options(int argc, char **argv, Options &options);

}  // namespace ravd
