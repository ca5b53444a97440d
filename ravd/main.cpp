// ravd: options, the model, its folder, and the server, in order; and all of it again after a restart.
#include <cstdio>
#include <optional>
#include <string>
#include <utility>

#include <sys/resource.h>
#include <sys/stat.h>

#include "libglobal/base/descriptors.h"
#include "ravd/accounts.h"
#include "ravd/device_mode.h"
#include "ravd/handover.h"
#include "ravd/json_text.h"
#include "ravd/log.h"
#include "ravd/model/model.h"
#include "ravd/operations/operations.h"
#include "ravd/options.h"
#include "ravd/persist/database.h"
#include "ravd/saved_configuration.h"
#include "ravd/server.h"
#include "ravd/set_password.h"
#include "ravd/state_folder.h"
#include "ravd/tokens.h"

namespace {

int fail(const std::string &error) {
    ravd::log_error("%s", error.c_str());
    return 1;
}

int check(const ravd::Options &options) {
    std::string error;
    const auto model = ravd::Model::load(options.schema, ravd::all_providers(), error);
    if (!model) return fail(error);
    printf("%s: %zu objects, %zu parameters\n", options.schema.c_str(), model->object_count(),
           model->parameter_count());
    return 0;
}

int set_password(const ravd::Options &options) {
    std::string error;
    ravd::StateFolder state;
    ravd::Database database;
    if (!state.open(options.state, error) || !database.open(options.state, error)) return fail(error);
    return ravd::set_password(database, options.set_password, options.hash_cost);
}

// Runs the daemon to its end. Returns its exit status, or nothing when it is to be started anew, with what it is to
// find open in kept.
std::optional<int> run(const ravd::Options &options, ravd::Handover &kept) {
    std::string error;
    const auto model = ravd::Model::load(options.schema, ravd::all_providers(), error);
    if (!model) return fail(error);
    ravd::StateFolder state;
    if (!state.open(options.state, error, std::exchange(kept.lock, -1))) return fail(error);
    ravd::Database database;
    if (!database.open(options.state, error)) return fail(error);
    ravd::Accounts accounts(*model, database, options.hash_cost);
    if (!accounts.load(error)) return fail(error);
    ravd::SavedConfiguration saved(*model, database);
    if (!saved.load(error)) return fail(error);
    ravd::adopt_device_mode(*model, database, saved);
    ravd::restore_debug_mode(database);
    ravd::Tokens tokens(database);
    ravd::Server server(options, *model, database, saved, accounts, tokens);
    if (!server.open(kept, error)) return fail(error);
    if (!server.run()) return 0;
    server.release(kept);
    kept.lock = state.release();
    return std::nullopt;
}

}  // namespace

int main(int argc, char **argv) {
    rv::fill_standard_descriptors();
    ravd::wipe_freed_json();
    ravd::Options options;
    if (const auto status = ravd::parse_options(argc, argv, options)) return *status;
    ravd::log_set_level(options.log_level);
    umask(0077);
    constexpr rlimit no_core = {0, 0};  // passwords pass through this memory
    setrlimit(RLIMIT_CORE, &no_core);
    if (options.check) return check(options);
    if (!options.set_password.empty()) return set_password(options);

    const std::string program = ravd::own_program();
    ravd::Handover kept = ravd::take_handover();
    for (;;) {
        if (const auto status = run(options, kept)) return *status;
        const std::string reason = ravd::start_anew(program, argv, kept);
        ravd::log_error("%s; it goes on as the program that it is", reason.c_str());
    }
}
