// The recording of a session into a file, which the commands record and luarecord begin.
#pragma once

bool recording();
// One more line was entered while recording.
void record_count_line();
// Ends the recording that runs: writes the lines entered since it began, the newest of the history, to its file, and
// takes its mark off the prompt. Prints "record: can't write …" when the file can't be written. Does nothing when none
// runs.
void record_finish();
