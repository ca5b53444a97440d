// Why a request failed: what becomes the error object of its reply.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace ravd {

struct Fault {
    int code = 0;                                                 // 0: no fault
    std::string detail;                                           // further text, may be empty
    std::vector<std::pair<std::string, std::string>> parameters;  // offending names, each with "<code> <text>"

    explicit operator bool() const { return code != 0; }
};

// The published text of a JSON-RPC error code or CWMP fault code: 9005 is "Invalid parameter name".
// "Unknown error" for any other number.
std::string_view fault_text(int code);

}  // namespace ravd
