// Runs a fuzz target over every file of a folder: how its seeds are replayed as an ordinary test.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

int main(int argc, char **argv) {
    if (argc != 2) {
        fprintf(stderr, "usage: %s FOLDER\n", argv[0]);
        return 1;
    }
    int count = 0;
    std::error_code error;
    for (const auto &entry : std::filesystem::recursive_directory_iterator(argv[1], error)) {
        if (!entry.is_regular_file()) continue;
        std::ifstream file(entry.path(), std::ios::binary);
        const std::vector<char> bytes{std::istreambuf_iterator<char>(file), {}};
        LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t *>(bytes.data()), bytes.size());
        count++;
    }
    printf("%d inputs replayed from %s\n", count, argv[1]);
    return count > 0 && !error ? 0 : 1;
}
