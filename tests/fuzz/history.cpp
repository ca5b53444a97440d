// A history file: whatever stands in it, what is written from it is read back as the same.
#include "rv/history.h"

#include <string>

#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

namespace {

std::string fresh_file() {
    const char *folder = getenv("TMPDIR");
    std::string name = std::string(folder ? folder : "/tmp") + "/rv_fuzz_XXXXXX";
    const int fd = mkstemp(name.data());
    if (fd < 0) abort();
    close(fd);
    return name;
}

std::string read_file(const std::string &name) {
    std::string text;
    FILE *file = fopen(name.c_str(), "rb");
    for (int c; (c = getc(file)) != EOF;) text += static_cast<char>(c);
    fclose(file);
    return text;
}

void need(bool holds) {
    if (!holds) abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const std::string name = fresh_file();
    FILE *file = fopen(name.c_str(), "wb");
    fwrite(data, 1, size, file);
    fclose(file);
    rv_history_clear();
    need(rv_history_load(name.c_str()) == 0);
    const int count = rv_history_count();
    need(rv_history_dump(name.c_str(), -1) == 0);
    const std::string first = read_file(name);
    rv_history_clear();
    need(rv_history_load(name.c_str()) == 0 && rv_history_count() == count);
    need(rv_history_dump(name.c_str(), -1) == 0);
    need(read_file(name) == first);
    unlink(name.c_str());
    rv_history_clear();
    return 0;
}
