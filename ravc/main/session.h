// Logging in and out. Every change of who the session is goes through session_set_identity(), so that prompt, colours,
// system access and node cache always match it.
#pragma once

// Logs in with name and password (null: none), or, when that is refused, with name as a token. Returns 0, or -1 when
// both were refused: nobody is logged in then. Prints nothing.
int session_login(const char *name, const char *password);
// Makes nobody logged in: clears the token of a token session, else logs out. Returns 0, or what the log-out failed
// with. Prints nothing.
int session_logout();
// Logs in as the local user, without a password, where nobody is logged in and the daemon is reached over its local
// socket. Whether it was let in is not told.
void try_login();

// Copies both texts, reads whether the user has system access, applies the colours, rebuilds the prompt and the
// node cache, which there is from then on. Returns 0.
int session_set_identity(const char *user, const char *password);
