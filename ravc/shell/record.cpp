// record: lines of the shell written to a file, as a script of commands.
#include "ravc/shell/record.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "ravc/commands/handlers.h"
#include "ravc/shell/prompt.h"
#include "rv/fs.h"
#include "rv/history.h"

namespace {

char *record_file;  // null while nothing is recorded
int line_count;

void end_recording() {
    free(record_file);
    record_file = nullptr;
    prompt_set_mode(nullptr);
}

int abort_recording(const char *command) {
    if (!record_file) {
        printf("%s: no record found.\n", command);
        return -1;
    }
    end_recording();  // the file stays as it was made: intended
    return 0;
}

int begin_recording(const char *command, const char *path) {
    if (record_file) {
        printf("%s: already recording.\n", command);
        return -1;
    }
    if (rv_fs_touch(path) < 0) {
        printf("%s: can't create record file %s.\n", command, path);
        return -1;
    }
    line_count = 0;
    record_file = strdup(path);
    prompt_set_mode("record");
    return 0;
}

}  // namespace

bool recording() {
    return record_file;
}

void record_count_line() {
    if (record_file) line_count++;
}

void record_finish() {
    if (!record_file) return;
    if (rv_history_dump(record_file, line_count) < 0) printf("record: can't write record file %s.\n", record_file);
    end_recording();
}

int process_record(const char *name, json_t *args) {
    const char *word = json_string_value(json_array_get(args, 0));
    if (!word || json_array_size(args) != 1) {
        printf("syntax: %s <filename>|abort\n", name);
        return -1;
    }
    return strcmp(word, "abort") == 0 ? abort_recording(name) : begin_recording(name, word);
}
