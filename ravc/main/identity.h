// Who the session is: texts and flags, kept in one place. Nothing here talks to the daemon; see session.h.
#pragma once

// The name of the user who is logged in; null while nobody is. Borrowed until the next change.
const char *identity_user();
// The password that was given at login; null when there was none. Borrowed until the next change.
const char *identity_password();
// Whether the login text was accepted as a token.
bool identity_is_token();
// Whether the user has system access.
bool identity_has_system_access();

// Copies both texts (null stays null). The old ones, and the old password's bytes with them, are wiped and freed.
void identity_set(const char *user, const char *password);
void identity_set_token(bool token);
void identity_set_system_access(bool access);
// Wipes and frees both texts.
void identity_release();
