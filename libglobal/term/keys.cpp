// Keys. The editor reads on inside one key in places (a search, a quoted character), where half a character or half a
// sequence would be taken for a whole one: so it is given whole ones only.
#include "libglobal/term/keys.h"

#include "libglobal/term/text.h"

namespace {

constexpr char escape = '\033';
constexpr size_t longest_sequence = 32;

size_t length_of_utf8(unsigned char lead) {
    return lead >= 0xf0 ? 4 : lead >= 0xe0 ? 3 : 2;
}

bool is_lead(unsigned char byte) {
    return byte >= 0xc2 && byte < 0xf5;
}

bool is_continuation(unsigned char byte) {
    return (byte & 0xc0) == 0x80;
}

bool is_c0(unsigned char byte) {
    return byte < 0x20 || byte == 0x7f;
}

// Escape and a character; or "[" with parameters and a letter, "[[" and a letter, "O" and a letter; each may have a
// second Escape before it, where a terminal sends one for the Meta key.
bool is_whole_sequence(const std::string &key) {
    const size_t at = key.find_first_not_of(escape);
    if (at == std::string::npos) return false;
    const size_t more = key.size() - at - 1;
    if (key[at] == 'O') return more > 0;
    if (key[at] != '[') return true;
    if (more > 0 && key[at + 1] == '[') return more > 1;
    return more > 0 && key.back() >= 0x40;
}

bool is_typeable(const std::string &character) {
    const rv::Character c = rv::first_character(character);
    return c.bytes == character.size() && c.code >= 0xa0 && c.code <= 0x10ffff;
}

}  // namespace

std::string rv::Keys::take() {
    std::string key;
    key.swap(part_);
    return key;
}

std::string rv::Keys::add(unsigned char byte) {
    const bool in_character = !part_.empty() && part_[0] != escape;
    if (byte >= 0x80) {
        const bool goes_on = in_character && is_continuation(byte);
        if (!goes_on) part_.clear();
        if (!goes_on && !is_lead(byte)) return "";
        part_ += static_cast<char>(byte);
        if (part_.size() < length_of_utf8(static_cast<unsigned char>(part_[0]))) return "";
        std::string character = take();
        return is_typeable(character) ? character : "";
    }
    // A control character ends what was begun before it.
    const bool in_sequence = !part_.empty() && !in_character;
    if (in_character || (in_sequence && part_.size() > 1 && is_c0(byte)) || part_.size() >= longest_sequence)
        part_.clear();
    part_ += static_cast<char>(byte);
    if (part_[0] == escape && !is_whole_sequence(part_)) return "";
    std::string key = take();
    if (key.size() > 2 && key[1] == escape) key.erase(0, 1);
    return key;
}
