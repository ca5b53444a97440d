// ravd: options, the model, its folder, and the server, in order.
#include <cstdio>
#include <string>

#include <sys/resource.h>
#include <sys/stat.h>

#include "libglobal/base/descriptors.h"
#include "ravd/accounts.h"
#include "ravd/json_text.h"
#include "ravd/log.h"
#include "ravd/model/model.h"
#include "ravd/options.h"
#include "ravd/persist/database.h"
#include "ravd/server.h"
#include "ravd/set_password.h"
#include "ravd/state_folder.h"
#include "ravd/tokens.h"

int main(int argc, char **argv) {
    rv::fill_standard_descriptors();
    ravd::wipe_freed_json();
    ravd::Options options;
    if (const auto status = ravd::parse_options(argc, argv, options)) return *status;
    ravd::log_set_level(options.log_level);
    umask(0077);
    constexpr rlimit no_core = {0, 0};  // passwords pass through this memory
    setrlimit(RLIMIT_CORE, &no_core);

    std::string error;
    const auto model = ravd::Model::load(options.schema, ravd::all_providers(), error);
    if (!model) {
        ravd::log_error("%s", error.c_str());
        return 1;
    }
    if (options.check) {
        printf("%s: %zu objects, %zu parameters\n", options.schema.c_str(), model->object_count(),
               model->parameter_count());
        return 0;
    }

    ravd::StateFolder state;
    if (!state.open(options.state, error)) {
        ravd::log_error("%s", error.c_str());
        return 1;
    }
    ravd::Database database;
    if (!database.open(options.state, error)) {
        ravd::log_error("%s", error.c_str());
        return 1;
    }
    if (!options.set_password.empty()) return ravd::set_password(database, options.set_password, options.hash_cost);
    ravd::Accounts accounts(*model, database, options.hash_cost);
    if (!accounts.load(error)) {
        ravd::log_error("%s", error.c_str());
        return 1;
    }
    ravd::Tokens tokens(database);
    ravd::Server server(options, *model, accounts, tokens);
    if (!server.open(error)) {
        ravd::log_error("%s", error.c_str());
        return 1;
    }
    server.run();
    return 0;
}
