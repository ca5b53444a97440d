// The terminal's modes, of which this is the one owner: whatever changes them is put right when the program ends, is
// killed by a signal that can be caught, or is stopped. Signal handlers stand only while the modes are changed; what
// the program ignores stays ignored, what it handles itself stays handled. Nothing here prints but as told.
#pragma once

#include <termios.h>

namespace rv {

// Every key at once and not echoed, for the editor; SIGINT, SIGQUIT and SIGTSTP still come from their keys. The
// terminal on standard output is told to mark what is pasted. Until modes_restore(), SIGTSTP, SIGCONT and SIGWINCH come
// only while the library waits (rv/wait.h). Returns 0, or -1 when standard input is no terminal.
int modes_keys(bool mark_paste);
// Whole lines that are not echoed, at fd; what was typed ahead is discarded. Returns 0, or -1 when fd is no terminal.
int modes_silent(int fd);
// The modes that the terminal had before the first of these calls. Does nothing when they hold already.
void modes_restore();

// Whether the program was stopped and continued, or the terminal's size changed, since the last call, in modes_keys().
bool modes_continued();
bool modes_resized();
// A number that changes with each signal that was handled here and means nothing to others: whose wait it ended may
// wait on.
int modes_signals();

}  // namespace rv
