// One row for each type that has a form.
#include "ravd/model/forms.h"

#include <algorithm>
#include <charconv>
#include <string>

#include <arpa/inet.h>

#include "rv/tr.h"

namespace ravd {

namespace {

bool is_digit(char c) {
    return c >= '0' && c <= '9';
}
bool is_hex_digit(char c) {
    return is_digit(c) || (c >= 'A' && c <= 'F') || (c >= 'a' && c <= 'f');
}
bool is_letter(char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

// True when text looks like sample, in which "9" stands for a digit, "F" for a hex digit, and all else for itself.
bool looks_like(std::string_view text, std::string_view sample) {
    return std::ranges::equal(text, sample, [](char c, char like) {
        return like == '9' ? is_digit(c) : like == 'F' ? is_hex_digit(c) : c == like;
    });
}

// The number that text is; -1 when it is none, or has more than nine digits.
int number(std::string_view text) {
    int value = -1;
    if (text.empty() || text.size() > 9 || !std::ranges::all_of(text, is_digit)) return -1;
    std::from_chars(text.begin(), text.end(), value);
    return value;
}

int days_in_month(int year, int month) {
    constexpr int days[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
    return days[month - 1] + (month == 2 && leap ? 1 : 0);
}

// "", "Z" or an offset such as "+01:00".
bool is_zone(std::string_view text) {
    if (text.empty() || text == "Z") return true;
    if (!looks_like(text, "+99:99") && !looks_like(text, "-99:99")) return false;
    return number(text.substr(1, 2)) <= 14 && number(text.substr(4)) <= 59;
}

bool is_date_time(std::string_view text) {
    constexpr std::string_view sample = "9999-99-99T99:99:99";
    if (!looks_like(text.substr(0, sample.size()), sample)) return false;
    const int year = number(text.substr(0, 4)), month = number(text.substr(5, 2)), day = number(text.substr(8, 2));
    if (year < 1 || month < 1 || month > 12 || day < 1 || day > days_in_month(year, month)) return false;
    if (number(text.substr(11, 2)) > 23 || number(text.substr(14, 2)) > 59 || number(text.substr(17, 2)) > 59)
        return false;
    text.remove_prefix(sample.size());
    if (text.starts_with('.')) {
        const size_t end = std::min(text.find_first_not_of("0123456789", 1), text.size());
        if (end == 1) return false;
        text.remove_prefix(end);
    }
    return is_zone(text);
}

bool is_base64(std::string_view text) {
    if (text.size() % 4 != 0) return false;
    for (int padding = 0; padding < 2 && text.ends_with('='); padding++) text.remove_suffix(1);
    return std::ranges::all_of(text, [](char c) { return is_letter(c) || is_digit(c) || c == '+' || c == '/'; });
}

bool is_hex_binary(std::string_view text) {
    return text.size() % 2 == 0 && std::ranges::all_of(text, is_hex_digit);
}

// The family of an address, AF_INET or AF_INET6; 0 when text is none.
int address_family(std::string_view text) {
    if (text.find('\0') != text.npos || text.size() >= INET6_ADDRSTRLEN) return 0;
    const std::string address(text);
    in6_addr unused;
    for (const int family : {AF_INET, AF_INET6})
        if (inet_pton(family, address.c_str(), &unused) == 1) return family;
    return 0;
}

bool is_ip_address(std::string_view text) {
    return address_family(text) != 0;
}

bool is_ip_prefix(std::string_view text) {
    const size_t slash = text.find('/');
    if (slash == text.npos) return false;
    const int family = address_family(text.substr(0, slash));
    const std::string_view bits = text.substr(slash + 1);
    if (family == 0 || bits.size() > 3 || (bits.size() > 1 && bits.front() == '0')) return false;
    return number(bits) >= 0 && number(bits) <= (family == AF_INET ? 32 : 128);
}

bool is_mac_address(std::string_view text) {
    return looks_like(text, "FF:FF:FF:FF:FF:FF");
}

bool is_url(std::string_view text) {
    const size_t end = text.find("://");
    if (end == text.npos || end == 0 || end + 3 == text.size() || !is_letter(text.front())) return false;
    const bool scheme = std::ranges::all_of(
        text.substr(0, end), [](char c) { return is_letter(c) || is_digit(c) || c == '+' || c == '-' || c == '.'; });
    return scheme && text.find_first_of(" \t\n") == text.npos;
}

bool is_uuid(std::string_view text) {
    return looks_like(text, "FFFFFFFF-FFFF-FFFF-FFFF-FFFFFFFFFFFF");
}

bool is_alias(std::string_view text) {
    return is_letter(text.front()) &&
           std::ranges::all_of(text, [](char c) { return is_letter(c) || is_digit(c) || c == '_' || c == '-'; });
}

struct Form {
    int type;
    bool (*fits)(std::string_view text);  // never asked about the empty text
    const char *problem;
};

constexpr Form forms[] = {
    {RV_TR_DATE_TIME, is_date_time, "is no date and time as in 2001-02-03T04:05:06Z"},
    {RV_TR_BASE64, is_base64, "is no base64"},
    {RV_TR_HEX_BINARY, is_hex_binary, "is no even number of hex digits"},
    {RV_TR_IP_ADDRESS, is_ip_address, "is no IP address"},
    {RV_TR_IP_PREFIX, is_ip_prefix, "is no IP prefix as in 192.0.2.0/24"},
    {RV_TR_MAC_ADDRESS, is_mac_address, "is no MAC address as in 02:00:5E:10:00:01"},
    {RV_TR_URL, is_url, "is no URL"},
    {RV_TR_UUID, is_uuid, "is no UUID"},
    {RV_TR_ALIAS, is_alias, "is no alias (a letter, then letters, digits, \"_\" and \"-\")"},
};

int64_t character_count(std::string_view text) {
    return std::ranges::count_if(text, [](char c) { return (static_cast<unsigned char>(c) & 0xc0) != 0x80; });
}

}  // namespace

const char *form_problem(int type, std::string_view text) {
    if (text.empty()) return nullptr;
    for (const Form &form : forms)
        if (form.type == type) return form.fits(text) ? nullptr : form.problem;
    return nullptr;
}

int64_t text_length(int type, std::string_view text) {
    if (type == RV_TR_HEX_BINARY) return static_cast<int64_t>(text.size() / 2);
    if (type != RV_TR_BASE64) return character_count(text);
    const size_t padding = text.ends_with("==") ? 2 : text.ends_with('=') ? 1 : 0;
    return static_cast<int64_t>((text.size() - padding) * 3 / 4);
}

const char *length_unit(int type) {
    return type == RV_TR_HEX_BINARY || type == RV_TR_BASE64 ? "bytes" : "characters";
}

}  // namespace ravd
