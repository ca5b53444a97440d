// The reader of command scripts. Quotes only decide where a line continues; they are passed on as they stand.
#include "ravc/shell/script.h"

#include <algorithm>
#include <string>
#include <string_view>

#include <jansson.h>
#include <limits.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "ravc/commands.h"
#include "rv/wait.h"

namespace {

enum { FIRST_LINE_SIZE = 4096 };  // bytes: lines up to this, joined ones too, leave no copy behind

// Puts the lines that continue each other together.
class Joiner {
 public:
    Joiner() { text_.reserve(FIRST_LINE_SIZE); }

    // Adds a line. Returns true when the text is whole, false when it goes on in the next line: the line's last
    // backslash or a quote is open.
    bool add(std::string_view line) {
        bool escaped = false;
        for (const char c : line) {
            if (!escaped && (c == '\'' || c == '"')) toggle_quote(c);
            escaped = c == '\\' && !escaped;
        }
        const bool more = escaped || quote_;
        if (more && line.ends_with('\\')) line.remove_suffix(1);
        text_ += line;
        return !more;
    }

    std::string &text() { return text_; }

    void clear() {
        explicit_bzero(text_.data(), text_.size());
        text_.clear();
    }

 private:
    void toggle_quote(char c) {
        if (!quote_) {
            quote_ = c;
        } else if (quote_ == c) {
            quote_ = '\0';
        }
    }

    std::string text_;
    char quote_ = '\0';
};

void sleep_seconds(const char *text) {
    const long seconds = std::clamp(strtol(text, nullptr, 10), 0L, static_cast<long>(INT_MAX / 1000));
    const int64_t end = rv_deadline(static_cast<int>(seconds) * 1000);
    for (int64_t left = end - rv_now_ms(); left > 0; left = end - rv_now_ms()) rv_sleep_ms(static_cast<int>(left));
}

// Runs a command with the words that are left of its line, up to a comment, and returns its result. Words that are not
// UTF-8 are left out without notice: intended.
int run_command_line(const char *command, char **rest, bool by_name) {
    json_auto_t *args = json_array();
    const char *word;
    while ((word = strtok_r(nullptr, " \t", rest)) && *word != '#') json_array_append_new(args, json_string(word));
    return by_name ? dispatch_by_name(command, args) : dispatch_by_method(command, args);
}

// Cuts text, which it overwrites, and runs it. *result is the command's; echo and sleep leave it as it is.
void run_line(char *text, bool by_name, int *result) {
    char *rest;
    const char *command = strtok_r(text, " \t", &rest);
    if (!command) return;
    if (strcmp(command, "echo") == 0) {
        puts(rest ? rest : "");
    } else if (strcmp(command, "sleep") == 0) {
        sleep_seconds(rest ? rest : "");
    } else {
        *result = run_command_line(command, &rest, by_name);
    }
}

// Reads and runs line by line. Ctrl-C ends the program here, it never jumps over these frames.
int run_lines(FILE *file, bool by_name) {
    int result = 0;
    Joiner pending;
    bool joined = false;  // pending holds more than one line
    size_t capacity = FIRST_LINE_SIZE;
    char *line = static_cast<char *>(malloc(capacity));
    for (ssize_t length; result >= 0 && (length = getline(&line, &capacity, file)) >= 0;) {
        if (length > 0 && line[length - 1] == '\n') line[length - 1] = '\0';
        const bool whole = pending.add(line);
        explicit_bzero(line, static_cast<size_t>(length));
        if (!whole) {
            joined = true;
            continue;
        }
        const bool skipped = pending.text().empty() || pending.text().starts_with('#');
        // What several lines joined to and is skipped goes on in the next one, too: a comment of several lines makes
        // the rest of the file a comment. Intended.
        if (skipped && joined) continue;
        if (!skipped) run_line(pending.text().data(), by_name, &result);
        pending.clear();
        joined = false;
    }
    pending.clear();
    free(line);
    return result;
}

}  // namespace

// Scripts run before the shell's loop or instead of it, and may hold passwords: none is left in memory.
int run_script_lines(FILE *file, bool by_name) {
    char buffer[BUFSIZ];
    // From standard input nothing is read ahead: a command may read its own input from there, a password say.
    setvbuf(file, buffer, file == stdin ? _IONBF : _IOFBF, sizeof buffer);
    const int result = run_lines(file, by_name);
    setvbuf(file, nullptr, _IONBF, 0);
    explicit_bzero(buffer, sizeof buffer);
    return result;
}

int run_script(const char *path, bool by_name) {
    FILE *file = path ? fopen(path, "re") : stdin;
    if (!file) {
        printf("Cannot open script file %s\n", path);
        return -1;
    }
    const int result = run_script_lines(file, by_name);
    fclose(file);
    return result;
}
