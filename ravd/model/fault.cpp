// The published error codes and their texts.
#include "ravd/model/fault.h"

namespace ravd {

namespace {

struct FaultRow {
    int code;
    std::string_view text;
};

constexpr FaultRow faults[] = {
    {-32700, "Parse error"},
    {-32600, "Invalid Request"},
    {-32601, "Method not found"},
    {-32602, "Invalid params"},
    {-32603, "Internal error"},
    {9000, "Method not supported"},
    {9001, "Request denied"},
    {9002, "Internal error"},
    {9003, "Invalid arguments"},
    {9004, "Resources exceeded"},
    {9005, "Invalid parameter name"},
    {9006, "Invalid parameter type"},
    {9007, "Invalid parameter value"},
    {9008, "Attempt to set a non-writable parameter"},
    {9009, "Notification request rejected"},
    {9010, "File transfer failure"},
    {9011, "Upload failure"},
    {9012, "File transfer server authentication failure"},
    {9013, "Unsupported protocol for file transfer"},
    {9015, "Unable to contact file server"},
    {9016, "Unable to access file"},
    {9017, "Unable to complete download"},
    {9018, "File corrupted"},
    {9019, "File authentication failure"},
};

}  // namespace

std::string_view fault_text(int code) {
    for (const FaultRow &row : faults)
        if (row.code == code) return row.text;
    return "Unknown error";
}

}  // namespace ravd
