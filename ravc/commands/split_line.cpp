// The line splitter: one state machine over the bytes of the line.
#include "ravc/commands/split_line.h"

#include <string>

#include <ctype.h>

namespace {

class Splitter {
 public:
    Splitter(int cursor, int *words_before) : cursor_(cursor), words_before_(words_before), words_(json_array()) {}

    void feed(char c, int position) {
        if (comment_) {
            feed_comment(c);
        } else if (escape_) {
            feed_escaped(c, position);
        } else if (c == '#' && !quote_) {
            end_word();
            count_word_end(position);  // also after an empty word
            comment_ = true;
        } else if ((c == '\'' || c == '"') && (!quote_ || quote_ == c)) {
            quote_ = quote_ ? '\0' : c;
        } else if (c == '\\') {
            escape_ = true;
        } else {
            feed_ordinary(c, position);
        }
    }

    json_t *finish() {
        // A comment that ends in a backslash leaves the word "\" behind: intended.
        if (escape_) word_ += '\\';
        end_word();
        return words_;
    }

 private:
    // A backslash continues the comment over the next newline, whatever stands between the two.
    void feed_comment(char c) {
        if (c == '\\') escape_ = true;
        if (c != '\n') return;
        comment_ = escape_;
        escape_ = false;
    }

    void feed_escaped(char c, int position) {
        escape_ = false;
        if (c == '\'' || c == '"' || c == '\\' || c == '#') {
            word_ += c;
        } else {
            word_ += '\\';
            feed_ordinary(c, position);
        }
    }

    void feed_ordinary(char c, int position) {
        if (quote_ || !isspace(static_cast<unsigned char>(c))) {
            word_ += c;
        } else if (!word_.empty()) {
            end_word();
            count_word_end(position);
        }
    }

    void end_word() {
        // jansson answers a word that is not UTF-8 with null, which appending passes over
        if (!word_.empty()) json_array_append_new(words_, json_stringn(word_.data(), word_.size()));
        word_.clear();
    }

    void count_word_end(int position) {
        if (words_before_ && position < cursor_) ++*words_before_;
    }

    int cursor_;
    int *words_before_;
    json_t *words_;
    std::string word_;
    char quote_ = '\0';
    bool escape_ = false;
    bool comment_ = false;
};

}  // namespace

json_t *split_line(const char *line, int cursor, int *words_before) {
    if (!line) return nullptr;
    if (cursor < 0) words_before = nullptr;
    if (words_before) *words_before = 0;
    Splitter splitter(cursor, words_before);
    for (int position = 0; line[position]; position++) splitter.feed(line[position], position);
    return splitter.finish();
}
