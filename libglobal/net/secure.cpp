// Loads the TLS module and remembers why the secure layer failed.
#include "libglobal/net/secure.h"

#include <dlfcn.h>
#include <stdio.h>

namespace rv {

namespace {

char last_reason[256];

const TlsModule *load() {
    void *library = dlopen("librv_tls.so", RTLD_NOW | RTLD_LOCAL);
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
