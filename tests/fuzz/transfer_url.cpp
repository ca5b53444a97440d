// Fuzzes what is read from the URLs of transfers: no credentials are left for the log, no name leads out of a folder.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "ravd/transfer/address.h"

namespace {

void must(bool good) {
    if (!good) abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const std::string url(reinterpret_cast<const char *>(data), size);
    const std::string shown = ravd::url_for_log(url);
    if (ravd::way_of(url) == ravd::Way::web) must(shown.find('?') == shown.npos && shown.find('#') == shown.npos);
    const std::string name = ravd::last_component(url);
    if (ravd::problem_of_name(name).empty()) must(!name.empty() && name[0] != '.' && name.find('/') == name.npos);
    if (const auto address = ravd::netcat_address(url)) must(address->sin_family == AF_INET && address->sin_port != 0);
    const std::string path = ravd::path_of(url);
    must(path.empty() || path[0] == '/');
    ravd::url_in_folder(url, "name");
    return 0;
}
