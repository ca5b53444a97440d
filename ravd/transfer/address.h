// What the URL of a transfer names: which way the bytes go, and what of it may be told.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include <netinet/in.h>

namespace ravd {

enum class Way { none, web, netcat, file };

// By the scheme: http, https and ftp are web; none for others and for what is no URL.
Way way_of(std::string_view url);

// The absolute path of a file:// URL, as it stands there: nothing in it is decoded. "" when there is none.
std::string path_of(std::string_view url);

// Of netcat://a.b.c.d:port.
std::optional<sockaddr_in> netcat_address(std::string_view url);

// The URL as logs may have it: without user, password, query and fragment; only its scheme where it can't be taken
// apart.
std::string url_for_log(const std::string &url);

// The URL of a file of that name in the folder that the URL names; "" where it can't be taken apart.
std::string url_in_folder(const std::string &url, const std::string &name);

// The last component of a URL's path, decoded where the scheme has it encoded; "" where there is none.
std::string last_component(const std::string &url);

// Why name can't be the name of a file in a folder of ours; "" when it can: one component of up to 255 bytes that does
// not begin with a period, without control characters.
std::string problem_of_name(std::string_view name);

}  // namespace ravd
