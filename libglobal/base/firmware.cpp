// Comparing versions of firmware.
#include "rv/firmware.h"

#include <array>
#include <string_view>

namespace {

using Numbers = std::array<std::string_view, 3>;  // decimal digits without leading zeros

// Takes a decimal number off the text. Returns false when it begins with none.
bool take_number(std::string_view *text, std::string_view *number) {
    size_t digits = 0;
    while (digits < text->size() && (*text)[digits] >= '0' && (*text)[digits] <= '9') digits++;
    *number = text->substr(0, digits);
    text->remove_prefix(digits);
    while (!number->empty() && number->front() == '0') number->remove_prefix(1);
    return digits > 0;
}

bool take(std::string_view *text, char c) {
    if (text->empty() || text->front() != c) return false;
    text->remove_prefix(1);
    return true;
}

// Reads "MAJOR.MINOR.BUILD" or "MAJOR.MINOR.BUILD-BRANCH".
bool parse(std::string_view text, Numbers *numbers, std::string_view *branch) {
    for (size_t i = 0; i < numbers->size(); i++)
        if ((i > 0 && !take(&text, '.')) || !take_number(&text, &(*numbers)[i])) return false;
    *branch = text;
    return text.empty() || (text.front() == '-' && text.size() > 1);
}

// Less than, equal to, or greater than 0, as a is.
int compare_numbers(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) return a.size() < b.size() ? -1 : 1;
    return a.compare(b);
}

}  // namespace

int rv_firmware_version_cmp(const char *current, const char *next) {
    constexpr int codes[] = {RV_FIRMWARE_MAJOR, RV_FIRMWARE_MINOR, RV_FIRMWARE_BUILD};
    const std::string_view old_text(current), new_text(next);
    Numbers old_numbers, new_numbers;
    std::string_view old_branch, new_branch;
    if (old_text == new_text) return 0;
    if (!parse(old_text, &old_numbers, &old_branch) || !parse(new_text, &new_numbers, &new_branch) ||
        old_branch != new_branch)
        return new_text > old_text ? RV_FIRMWARE_BRANCH : -RV_FIRMWARE_BRANCH;
    for (size_t i = 0; i < old_numbers.size(); i++) {
        const int order = compare_numbers(new_numbers[i], old_numbers[i]);
        if (order != 0) return order > 0 ? codes[i] : -codes[i];
    }
    return 0;
}
