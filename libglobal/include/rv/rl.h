// The terminal: an editor of lines that is fed one key at a time, so that a program can wait for other things too, the
// same as one call that reads a whole line, and small helpers for output. There is one terminal: standard input and
// standard output. The editor draws only when both are one; else lines are read as they come and nothing is drawn.
#pragma once

#include <jansson.h>
#include <stddef.h>
#include <stdint.h>

#include "rv/colors.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct rv_rl_async rv_rl_async;

// A new editor. One editor can be prepared at a time.
rv_rl_async *rv_rl_async_new(void);
// Restores the terminal and frees it. Takes null.
void rv_rl_async_free(rv_rl_async *e);

// Puts the terminal into key-at-a-time mode and draws the prompt (which is copied) and the partial line. Can be called
// again without a restore between: what is shown is drawn anew.
void rv_rl_async_prepare(rv_rl_async *e, const char *prompt);
// Takes prompt and partial line off the screen, the cursor where the prompt began, and gives the terminal its own mode
// back. The line, its undo history and the cursor's place are kept. After a finished line only the mode changes; what
// is restored already stays as it is.
void rv_rl_async_restore(rv_rl_async *e);
// Drops the partial line, a search, a half key sequence. Draws nothing.
void rv_rl_async_clear(rv_rl_async *e);
// Removes the hint and leaves the cursor behind the line's last character, so that what is printed next follows it.
void rv_rl_async_park(rv_rl_async *e);
// Draws anew when the terminal's size has changed, or when the program was stopped and continued, since it was last
// drawn. Returns 1 when it did, else 0.
int rv_rl_async_resized(rv_rl_async *e);

// The next byte from the terminal, or from what standard input is; waits for it (rv/wait.h). Returns -1 at the end of
// input, after a hang-up, or when a signal interrupted it. Nothing is read ahead.
int rv_rl_getch(void);
// Applies one byte; -1 is the end of input. Returns the finished line (new, the caller frees it), or null. *state is 1
// while a line is being edited, else 0: a line was finished, or input ended.
char *rv_rl_async_feed(rv_rl_async *e, int key, int32_t *state);
// 1 once the last key was Ctrl-D on an empty line, or input has ended.
int rv_rl_ctrl_d_is_pressed(void);

// Reads a whole line: prepare, feed and restore in one call. timeout_ms: for each wait for a key, -1 = no limit.
// Nothing is completed or hinted at: what is read is an answer, not a command.
// Returns a new text, null at the end of input or at the time-out. Where SIGINT has its default action, Ctrl-C
// restores the terminal and ends the program; a handler that jumps out of here leaves a terminal that the next call
// puts right.
char *rv_rl(const char *prompt, int timeout_ms);

// Candidates for the word under the cursor: complete fills out (borrowed, an array) with texts that each replace the
// word from its last separator on: "." or "=" (one further before a double quote) or "/", which outranks them. line is
// whole, cursor in bytes. Null: none are offered. May be abandoned by SIGINT while it waits.
typedef void (*rv_rl_complete_cb)(const char *line, size_t cursor, json_t *out);
void rv_rl_set_autocomplete_cb(rv_rl_complete_cb complete);
// The characters that end a word, of which candidates then replace all that stands before the cursor (borrowed for as
// long as it is set). Null: words and separators as above.
void rv_rl_set_word_delimiters(const char *delimiters);
// What would finish the line: a new text (freed here) or null; shown behind the line while the cursor is at its end.
typedef char *(*rv_rl_hint_cb)(const char *line);
void rv_rl_set_hint_cb(rv_rl_hint_cb hint);
// Whether candidates fit what is typed in any case (1) or exactly (0, as at the start).
void rv_rl_case_insensitive(int on);
// What is told of a single candidate that is typed in full already, on a second Tab: a new text of one or more lines
// (freed here) or null. line ends at the cursor.
typedef char *(*rv_rl_describe_cb)(const char *line);
void rv_rl_set_describe_cb(rv_rl_describe_cb describe);

// Begins a new row below the line that is being edited, prints text, which is whole lines, and draws the line anew
// under it. For callbacks. Where no line is drawn: a line feed, and text.
void rv_rl_show_below(const char *text);
// Begins a row, unless the cursor stands at the begin of one: where programs may have left it in the middle. Does
// nothing where standard input or standard output is no terminal.
void rv_rl_begin_row(void);

// The editor's colours. Nothing is coloured while rv_colors_toggle(0) holds.
void rv_rl_set_colors(rv_hsv prompt, rv_hsv hint, rv_hsv completion);

// Echo of what is typed at fd, a terminal; anything else is left as it is. Off, a line feed still shows nothing, typed
// ahead input is discarded, and the terminal is put right when the program ends, stops (and set again when it goes on)
// or is killed by a signal that can be caught.
void rv_rl_echo_off(int fd);
void rv_rl_echo_on(int fd);

// Shows an array of strings in columns that fit the terminal, sorted down the columns as given; one a line where
// standard output is no terminal. Prints nothing for an empty array.
void rv_rl_show_list(const json_t *list);

// Draws a bar of percent (cut to 0..100) behind label on the present row, over what stood there, and leaves at least
// two columns free behind it. Where standard output is no terminal: prints nothing.
void rv_rl_draw_progressbar(int percent, const char *label);

// Sorts an array of strings byte-wise, ascending where ascending is 1, else descending. Elements that are no strings
// sort as empty texts.
void rv_qsort_json(json_t *list, int ascending);

#ifdef __cplusplus
}
#endif
