// PCRE2, with limits that keep the longest match in the order of milliseconds.
#include "ravd/model/pattern.h"

#define PCRE2_CODE_UNIT_WIDTH 8
#include <pcre2.h>

namespace ravd {

namespace {

constexpr uint32_t step_limit = 200'000;
constexpr uint32_t depth_limit = 50'000;
constexpr uint32_t memory_limit = 8 * 1024;  // KiB

struct Release {
    void operator()(pcre2_code *code) const { pcre2_code_free(code); }
    void operator()(pcre2_match_context *context) const { pcre2_match_context_free(context); }
    void operator()(pcre2_match_data *data) const { pcre2_match_data_free(data); }
};
template <typename T>
using Owned = std::unique_ptr<T, Release>;

std::string message_of(int code) {
    PCRE2_UCHAR text[256] = {};
    pcre2_get_error_message(code, text, sizeof text);
    return reinterpret_cast<const char *>(text);
}

}  // namespace

struct Pattern::Compiled {
    Owned<pcre2_code> code;
    Owned<pcre2_match_context> context;
};

Pattern::Pattern(std::string text, std::unique_ptr<Compiled> compiled)
    : text_(std::move(text)), compiled_(std::move(compiled)) {}
Pattern::~Pattern() = default;

std::unique_ptr<Pattern> Pattern::compile(const std::string &text, std::string &error) {
    constexpr uint32_t options =
        PCRE2_ANCHORED | PCRE2_ENDANCHORED | PCRE2_UTF | PCRE2_NO_AUTO_CAPTURE | PCRE2_NEVER_BACKSLASH_C;
    int code = 0;
    PCRE2_SIZE at = 0;
    auto compiled = std::make_unique<Compiled>();
    compiled->code.reset(
        pcre2_compile(reinterpret_cast<PCRE2_SPTR>(text.data()), text.size(), options, &code, &at, nullptr));
    if (!compiled->code) {
        error = message_of(code) + " at character " + std::to_string(at);
        return nullptr;
    }
    compiled->context.reset(pcre2_match_context_create(nullptr));
    pcre2_set_match_limit(compiled->context.get(), step_limit);
    pcre2_set_depth_limit(compiled->context.get(), depth_limit);
    pcre2_set_heap_limit(compiled->context.get(), memory_limit);
    return std::unique_ptr<Pattern>(new Pattern(text, std::move(compiled)));
}

Pattern::Outcome Pattern::match(std::string_view value) const {
    const Owned<pcre2_match_data> data(pcre2_match_data_create(1, nullptr));
    const int code = pcre2_match(compiled_->code.get(), reinterpret_cast<PCRE2_SPTR>(value.data()), value.size(), 0, 0,
                                 data.get(), compiled_->context.get());
    if (code >= 0) return Outcome::match;
    return code == PCRE2_ERROR_NOMATCH ? Outcome::no_match : Outcome::too_much_work;
}

}  // namespace ravd
