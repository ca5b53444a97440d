// What the editor shows: prompt, line and hint, drawn by readline at one place of the screen. readline only notes that
// something changed; it is drawn when the editor says so, once for all that one key did. For an initialised readline
// (engine.h). Everything here prints to standard output and leaves nothing in its buffer.
#pragma once

#include <string_view>

namespace rv {

// Takes over readline's drawing.
void draw_init();
// Whether the terminal can do no more than print: no hint and no colour then.
bool draw_is_plain();

// Lays prompt out for the terminal's width and gives it to readline. What is on the screen stays.
void draw_set_prompt(std::string_view prompt);
// The prompt as readline takes it, for a new line.
const char *draw_prompt();

// Draws what changed, the hint too where one is due, unless more input waits: then later.
void draw_changes();
// Draws what changed, now and without a hint.
void draw_without_hint();
// Draws everything anew from the present row on; the hint too where one is due and no more input waits.
void draw_anew();
// Until set_before_wait(nullptr) (base/wait.h): when the program begins to wait, what is typed is drawn first.
void draw_before_wait();
// Forgets that something changed.
void draw_nothing();

// Takes it all off the screen; the cursor is then where the prompt began.
void draw_hide();
// Leaves it on the screen without a hint, the cursor behind the line's last character.
void draw_park();
// Takes text on rows of its own below the line, in the colour of completion, and draws the line anew under it.
void draw_below(std::string_view text);
// Draws anew when the terminal's size has changed, or the program was stopped and continued, and it was shown.
// Returns whether there was such a change.
bool draw_resized(bool shown);

}  // namespace rv
