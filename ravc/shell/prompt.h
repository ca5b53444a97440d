// The prompt: who is logged in, which special mode the shell is in, and where in the data model it stands.
#pragma once

enum { PROMPT_SIZE = 384, PROMPT_MODE_SIZE = 16 };  // bytes of the buffers, the closing zero included

// The one buffer that the prompt is built in, in place: whoever draws it later sees the newest text.
const char *prompt_text();

// Builds the prompt anew. Control characters in it are left out; what does not fit is cut between characters.
void prompt_update();
// Names the special mode, "-" in front, cut to the buffer; null for none. Then builds the prompt anew.
void prompt_set_mode(const char *mode);
