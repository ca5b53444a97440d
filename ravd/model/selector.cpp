// A parser by descent: one function for each rule of the grammar, which stands in docs/protocol.md.
#include "ravd/model/selector.h"

#include <algorithm>
#include <utility>

namespace ravd {

namespace {

bool is_blank(char c) {
    return c == ' ' || c == '\t';
}

bool is_digit(char c) {
    return c >= '0' && c <= '9';
}

bool is_name_character(char c) {
    return is_digit(c) || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_' || c == '-';
}

class Parser {
 public:
    explicit Parser(std::string_view text) : text_(text) {}

    bool parse(Selector &selector);

    std::string error() const {
        const auto characters = std::count_if(text_.begin(), text_.begin() + static_cast<std::ptrdiff_t>(at_),
                                              [](char c) { return (c & 0xc0) != 0x80; });
        return "column " + std::to_string(characters + 1) + ": " + problem_;
    }

 private:
    bool path(Selector &selector);
    bool element(SelectorElement &element);
    bool conditions(SelectorElement &element);
    bool condition(Condition &condition);
    bool relative_path(std::string_view &path);
    bool comparison(Comparison &comparison);
    bool value(Condition &condition);
    bool quoted(Condition &condition);
    bool kept(Selector &selector);
    bool name(std::string_view &name);

    bool fail(const char *problem) {
        problem_ = problem;
        return false;
    }
    char peek() const { return at_ < text_.size() ? text_[at_] : '\0'; }
    bool at_end() const { return at_ >= text_.size(); }
    void skip_blanks() {
        while (is_blank(peek())) at_++;
    }
    // Takes token, where it comes next, and the blanks around it.
    bool take(std::string_view token) {
        skip_blanks();
        if (!text_.substr(at_).starts_with(token)) return false;
        at_ += token.size();
        skip_blanks();
        return true;
    }

    std::string_view text_;
    size_t at_ = 0;
    const char *problem_ = "";
};

bool Parser::parse(Selector &selector) {
    if (text_.size() > selector_length) {
        at_ = selector_length;
        return fail("the selector is too long");
    }
    if (!path(selector)) return false;
    if (take("{") && !kept(selector)) return false;
    skip_blanks();
    return at_end() || fail("unexpected text");
}

bool Parser::path(Selector &selector) {
    if (take(".")) return true;
    do {
        skip_blanks();
        if (!selector.elements.empty() && (at_end() || peek() == '{')) return true;
        if (!element(selector.elements.emplace_back())) return false;
    } while (take("."));
    return true;
}

bool Parser::element(SelectorElement &element) {
    if (take("[")) return conditions(element);
    const size_t begin = at_;
    if (take("*")) {
        element.text = text_.substr(begin, 1);
        return true;
    }
    return name(element.text);
}

bool Parser::name(std::string_view &name) {
    skip_blanks();
    const size_t begin = at_;
    while (is_name_character(peek())) at_++;
    name = text_.substr(begin, at_ - begin);
    return !name.empty() || fail("a name is missing");
}

bool Parser::conditions(SelectorElement &element) {
    do {
        if (!condition(element.conditions.emplace_back())) return false;
    } while (take("&&"));
    return take("]") || fail("\"]\" or \"&&\" is missing");
}

bool Parser::condition(Condition &condition) {
    return relative_path(condition.path) && comparison(condition.comparison) && value(condition);
}

bool Parser::relative_path(std::string_view &path) {
    skip_blanks();
    const size_t begin = at_;
    std::string_view element;
    do {
        if (!name(element)) return false;
    } while (peek() == '.' && ++at_);
    path = text_.substr(begin, at_ - begin);
    return true;
}

bool Parser::comparison(Comparison &comparison) {
    // Longer signs come before those that they begin with.
    constexpr std::pair<std::string_view, Comparison> signs[] = {
        {"==", Comparison::equal},    {"!=", Comparison::different}, {"<=", Comparison::at_most},
        {">=", Comparison::at_least}, {"~=", Comparison::contains},  {"<", Comparison::less},
        {">", Comparison::greater},
    };
    for (const auto &[sign, meaning] : signs) {
        comparison = meaning;
        if (take(sign)) return true;
    }
    return fail("one of == != < > <= >= ~= is missing");
}

// A JSON scalar, or a bare word, which ends before a blank, "]" or "&".
bool Parser::value(Condition &condition) {
    if (peek() == '"') return quoted(condition);
    const size_t length = std::min(text_.substr(at_).find_first_of(" \t]&"), text_.size() - at_);
    const std::string_view word = text_.substr(at_, length);
    if (word.empty()) return fail("a value is missing");
    condition.text = word;
    condition.value.reset(json_loadb(word.data(), word.size(), JSON_DECODE_ANY, nullptr));
    const bool is_scalar =
        condition.value && !json_is_object(condition.value.get()) && !json_is_array(condition.value.get());
    if (!is_scalar) condition.value.reset(json_stringn(word.data(), word.size()));
    if (!condition.value) return fail("the value is no UTF-8");
    at_ += length;
    return true;
}

bool Parser::quoted(Condition &condition) {
    size_t end = at_ + 1;
    while (end < text_.size() && text_[end] != '"') end += text_[end] == '\\' ? 2 : 1;
    if (end >= text_.size()) return fail("the text is not ended");
    condition.value.reset(json_loadb(text_.data() + at_, end + 1 - at_, JSON_DECODE_ANY, nullptr));
    if (!condition.value) return fail("the text is no JSON");
    condition.text = json_string_value(condition.value.get());
    at_ = end + 1;
    return true;
}

bool Parser::kept(Selector &selector) {
    selector.keeps_some = true;
    do {
        if (!name(selector.kept.emplace_back())) return false;
    } while (take(","));
    return take("}") || fail("\"}\" or \",\" is missing");
}

}  // namespace

std::string parse_selector(std::string_view text, Selector &selector) {
    selector = {};
    Parser parser(text);
    return parser.parse(selector) ? "" : parser.error();
}

}  // namespace ravd
