// Loads the TLS module and remembers why the secure layer failed.
#include "libglobal/net/secure.h"

#include <dlfcn.h>
#include <limits.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

namespace rv {

namespace {

char last_reason[256];

// The module stands at a fixed place beside the folder of the program. A search path in the program would do as well,
// but would have the loader look there for libc, too, at every start.
void *open_library() {
    char path[PATH_MAX] = "";
    const ssize_t length = readlink("/proc/self/exe", path, sizeof path - 1);
    char *slash = length > 0 ? strrchr(path, '/') : nullptr;
    if (!slash) return dlopen("librv_tls.so", RTLD_NOW | RTLD_LOCAL);
    const size_t room = sizeof path - static_cast<size_t>(slash + 1 - path);
    if (static_cast<size_t>(snprintf(slash + 1, room, "%s", RV_TLS_MODULE)) >= room) return nullptr;
    return dlopen(path, RTLD_NOW | RTLD_LOCAL);
}

const TlsModule *load() {
    void *library = open_library();
    const void *symbol = library ? dlsym(library, tls_module_symbol) : nullptr;
    if (!symbol) {
        note_tls_reason(dlerror());
        return nullptr;
    }
    const auto *module = static_cast<const TlsModule *>(symbol);
    if (module->version == tls_module_version) return module;
    note_tls_reason("librv_tls.so is of another version");
    return nullptr;
}

}  // namespace

const TlsModule *tls_module() {
    static const TlsModule *module;
    if (!module) module = load();
    return module;
}

void note_tls_reason(const char *reason) {
    snprintf(last_reason, sizeof last_reason, "%s", reason ? reason : "");
}

const char *tls_reason() {
    return last_reason;
}

}  // namespace rv
