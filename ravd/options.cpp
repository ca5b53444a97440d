// The command line.
#include "ravd/options.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <map>

namespace ravd {

const char installed_schema[] = RAVD_SCHEMA_DIR;

namespace {

const std::map<std::string, LogLevel> log_levels = {
    {"error", LogLevel::error}, {"warning", LogLevel::warning}, {"info", LogLevel::info}, {"debug", LogLevel::debug}};

void add_options(CLI::App &app, Options &options, std::vector<std::string> &limits) {
    app.add_option("--socket", options.socket, "UNIX socket to listen on")->type_name("PATH")->capture_default_str();
    app.add_option("--listen", options.listen, "Listen on TCP too; repeatable, port 0 lets the system choose")
        ->type_name("tcp://HOST:PORT")
        ->allow_extra_args(false);
    auto *certificate = app.add_option("--tls-cert", options.tls_certificate, "Certificate chain, PEM");
    auto *key = app.add_option("--tls-key", options.tls_key, "Its private key, PEM");
    certificate->type_name("FILE")->needs(key);
    key->type_name("FILE")->needs(certificate);
    app.add_option("--schema", options.schema, "Folder of the data model's schema")
        ->type_name("FOLDER")
        ->capture_default_str();
    app.add_option("--state", options.state, "Folder of the saved state")->type_name("FOLDER")->capture_default_str();
    auto *handlers = app.add_option("--handlers", options.handlers, "Folder of the programs that the schema may name");
    handlers->type_name("FOLDER");
    app.add_option("--handler-user", options.handler_user, "User that these programs run as, ravd's own unless given")
        ->type_name("USER")
        ->needs(handlers);
    app.add_option("--firmware-key", options.firmware_key, "Public Ed25519 key that firmware must be signed with, PEM")
        ->type_name("FILE");
    app.add_flag("--allow-plain-login", options.allow_plain_login, "Take passwords and tokens over TCP without TLS");
    app.add_flag("--check", options.check, "Load the schema, report what it holds, and exit");
    app.add_option("--set-password", options.set_password,
                   "Read a new password of that user from standard input, and exit; no daemon may run on the state")
        ->type_name("USER");
    app.add_option("--hash-cost", options.hash_cost, "How much work a new password's hash is, each step twice the last")
        ->type_name("1..11")
        ->check(CLI::Range(lowest_hash_cost, highest_hash_cost).description(""))
        ->capture_default_str();
    app.add_option("--log-level", options.log_level, "error, warning, info or debug")
        ->type_name("LEVEL")
        ->transform(CLI::CheckedTransformer(log_levels).description(""));
    app.add_option("--max-message", options.limits.message, "Largest message taken, the same as --limit message")
        ->type_name("BYTES")
        ->check(CLI::Range(uint64_t{64}, 1024 * mib).description(""));
    app.add_option("--limit", limits, "Set one of the limits below; repeatable")
        ->type_name("NAME=VALUE")
        ->allow_extra_args(false);
    app.set_version_flag("--version", "ravd " RAV_VERSION);
    app.footer("Limits (sizes in bytes, times in milliseconds):\n" + describe_limits(ClientLimits()));
}

}  // namespace

std::optional<int> parse_options(int argc, char **argv, Options &options) {
    CLI::App app("The management daemon of a home gateway.", "ravd");
    std::vector<std::string> limits;
    add_options(app, options, limits);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        return app.exit(error) == 0 ? 0 : 1;
    }
    for (const std::string &limit : limits) {
        if (const std::string reason = set_limit(options.limits, limit); !reason.empty()) {
            fprintf(stderr, "--limit: %s\n", reason.c_str());
            return 1;
        }
    }
    return std::nullopt;
}

}  // namespace ravd
