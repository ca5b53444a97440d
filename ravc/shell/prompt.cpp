// The prompt's buffer and what goes into it.
#include "ravc/shell/prompt.h"

#include <initializer_list>

#include <string.h>

#include "ravc/cdpath.h"
#include "ravc/main/identity.h"

namespace {

char prompt[PROMPT_SIZE];
char mode_suffix[PROMPT_MODE_SIZE];

struct Character {
    unsigned code;
    size_t length;  // bytes; 0: the text is at its end, or what stands there is no UTF-8
};

// The character at text, whose encoding may be wrong or cut short.
Character character_at(const char *text) {
    const auto byte = [text](size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned first = byte(0);
    if (first < 0x80) return {first, first ? size_t{1} : 0};
    const size_t length = first >= 0xf0 ? 4 : first >= 0xe0 ? 3 : 2;
    unsigned code = first & (0x7fU >> length);
    for (size_t i = 1; i < length; i++) {
        if ((byte(i) & 0xc0) != 0x80) return {0, 0};
        code = code << 6 | (byte(i) & 0x3fU);
    }
    return {code, first < 0xc0 || first > 0xf7 ? 0 : length};
}

// Whether a character could drive the terminal or turn the text around: C0, DEL, C1, line separators and the controls
// of writing direction.
bool is_control(unsigned code) {
    return code < 0x20 || (code >= 0x7f && code < 0xa0) || code == 0x200e || code == 0x200f ||
           (code >= 0x2028 && code <= 0x202e) || (code >= 0x2066 && code <= 0x2069);
}

// Appends to the text of *length bytes in a buffer of size bytes what of added is fit to be shown. Returns false when
// not all of it fitted.
bool append(char *buffer, size_t size, size_t *length, const char *added) {
    while (*added) {
        const Character c = character_at(added);
        if (c.length > 0 && !is_control(c.code)) {
            if (*length + c.length >= size) return false;
            memcpy(buffer + *length, added, c.length);
            *length += c.length;
        }
        added += c.length > 0 ? c.length : 1;
    }
    return true;
}

// Builds a text of its parts, as much of it as a buffer of size bytes holds.
void build(char *buffer, size_t size, std::initializer_list<const char *> parts) {
    size_t length = 0;
    for (const char *part : parts)
        if (!append(buffer, size, &length, part)) break;
    buffer[length] = '\0';
}

}  // namespace

const char *prompt_text() {
    return prompt;
}

void prompt_update() {
    const char *user = identity_user();
    build(prompt, sizeof prompt,
          {user ? user : "", user ? "@" : "", "ravc", mode_suffix, ":", current_path.path, "> "});
}

void prompt_set_mode(const char *mode) {
    build(mode_suffix, sizeof mode_suffix, {mode ? "-" : "", mode ? mode : ""});
    prompt_update();
}
