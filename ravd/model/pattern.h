// Patterns of values: compiled once, when the schema is loaded, and matched within limits, so that no value can keep
// the daemon busy.
#pragma once

#include <memory>
#include <string>
#include <string_view>

namespace ravd {

class Pattern {
 public:
    enum class Outcome { match, no_match, too_much_work };

    // Compiles a PCRE2 expression over UTF-8; it always has to match the whole of a value. Null with the reason in
    // error when it is none.
    static std::unique_ptr<Pattern> compile(const std::string &text, std::string &error);
    ~Pattern();

    // value: UTF-8. too_much_work: the limits on steps, depth or memory were met first.
    Outcome match(std::string_view value) const;
    const std::string &text() const { return text_; }

 private:
    struct Compiled;
    Pattern(std::string text, std::unique_ptr<Compiled> compiled);

    std::string text_;
    std::unique_ptr<Compiled> compiled_;
};

}  // namespace ravd
