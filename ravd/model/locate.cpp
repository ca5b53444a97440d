// A walk over valid JSON that skips values and compares member names.
#include "ravd/model/locate.h"

#include <algorithm>

#include <jansson.h>

#include "ravd/model/value.h"

namespace ravd {

namespace {

class Walk {
 public:
    explicit Walk(std::string_view text) : text_(text) {}

    // From before an object's value to before the value of its member key; false when it has none.
    bool enter(const std::string &key) {
        skip_blanks();
        if (peek() != '{') return false;
        at_++;
        for (skip_blanks(); peek() == '"'; skip_blanks()) {
            const size_t name_at = at_;
            const bool found = read_name() == key;
            skip_blanks();
            at_++;  // ':'
            if (found) {
                member_at_ = name_at;
                return true;
            }
            skip_value();
            skip_blanks();
            if (peek() == ',') at_++;
        }
        return false;
    }

    size_t line() const {
        return 1 + static_cast<size_t>(std::count(text_.begin(), text_.begin() + static_cast<long>(member_at_), '\n'));
    }

 private:
    char peek() const { return at_ < text_.size() ? text_[at_] : '\0'; }

    void skip_blanks() { at_ = std::min(text_.find_first_not_of(" \t\r\n", at_), text_.size()); }

    // Over a string; returns it with its quotes, as written.
    std::string_view skip_string() {
        const size_t from = at_++;
        while (at_ < text_.size() && text_[at_] != '"') at_ += text_[at_] == '\\' ? 2 : 1;
        at_ = std::min(at_ + 1, text_.size());
        return text_.substr(from, at_ - from);
    }

    std::string read_name() {
        const std::string_view written = skip_string();
        if (written.find('\\') == written.npos) return std::string(written.substr(1, written.size() - 2));
        const Json name(json_loadb(written.data(), written.size(), JSON_DECODE_ANY, nullptr));
        return name ? json_string_value(name.get()) : "";
    }

    void skip_value() {
        size_t depth = 0;
        do {
            skip_blanks();
            const char c = peek();
            if (c == '"') {
                skip_string();
            } else if (c == '{' || c == '[') {
                depth++;
                at_++;
            } else if (c == '}' || c == ']') {
                depth--;
                at_++;
            } else if (c == ',' || c == ':') {
                at_++;
            } else {
                at_ = std::min(text_.find_first_of(" \t\r\n,:]}", at_), text_.size());
            }
        } while (depth > 0 && at_ < text_.size());
    }

    std::string_view text_;
    size_t at_ = 0;
    size_t member_at_ = 0;
};

}  // namespace

size_t locate_line(std::string_view text, std::span<const std::string> keys) {
    Walk walk(text);
    for (const std::string &key : keys)
        if (!walk.enter(key)) break;
    return walk.line();
}

}  // namespace ravd
