// Login, credentials and the password change.
#pragma once

#include <cstddef>

#include "core/response.h"

// Checks a user and password against the platform's user database. 0 when
// accepted (access level 1 or 2), -1 otherwise. The outputs, each written
// only when given: remote = the login was not a local-database one,
// default_password = the account still has its factory password (both on
// acceptance), locked = the account is locked out (on refusal, when the
// platform tells).
int credential_check(const char *user, const char *password, int *out_remote, int *out_default_password,
                     int *out_locked);

// POST "/api/v1/login" (open): called by the access handler with each body
// chunk as it arrives. Answers the envelope named "login" with
// {"token", "expire", "remote", "def_password", "locked"}.
void login_handler(MHD_Connection *connection, const char *body, size_t body_size, ResponseHolder *holder);
