// The session table and the session check of every protected request.
//
// A session binds a user name to the client's "lhttpdsid" cookie (made by
// the web front end, never by the agent) and to a token that the agent made
// at login. A request proves itself with the cookie plus either
// "Authorization: Bearer <token>" or HTTP Basic credentials.
//
// Sessions live in one singly linked list, newest first, guarded by
// session_mutex (support/agent_config.h). The table functions expect the
// caller to hold the mutex; authenticate_request takes it itself.
//
// Times are the system uptime in whole seconds (support/uptime.h), never the
// wall clock. A session is alive while
//   now - created     <= hardTimeout * 3600   and
//   now - last_access <= softTimeout * 60
// (signed 32-bit compares; equality is still alive).
#pragma once

#include <cstdint>

struct MHD_Connection;

struct Session {
  Session *next;
  char user[32];
  char sid[128];
  char token[128];
  int32_t created;
  int32_t last_access;
};

// The newest session, or null when the table is empty.
Session *session_table_head();

// Whether a session is alive at `now` under the given limits.
bool session_alive(const Session *session, int32_t now, int soft_minutes, int hard_hours);

// Unlinks and frees every dead session; returns the number left.
int session_purge_expired(int soft_minutes, int hard_hours);

// The session of this user and cookie (the stored user and cookie may be
// prefixes of the given ones), refreshed; or a new one when the table has
// room after the purge. Null when the table is full, memory or the random
// source fails, or an argument is null.
Session *session_get_or_create(const char *user, const char *sid, int soft_minutes, int hard_hours,
                               int max_sessions);

// Exact token and cookie match (128 characters), or null.
Session *session_find_by_token(const char *token, const char *sid);

// Frees every session with this token and cookie.
void session_delete_by_token(const char *token, const char *sid);

// Frees the first session of this user (32 characters) and cookie.
void session_delete_by_user(const char *user, const char *sid);

// Prints every session to standard output (a debugging aid).
void session_dump();

// Frees every session.
void session_table_clear();

// Holds session_mutex for its scope.
class SessionLock {
 public:
  SessionLock();
  ~SessionLock();
  SessionLock(const SessionLock &) = delete;
  SessionLock &operator=(const SessionLock &) = delete;
};

// The session check: true when the request carries the "lhttpdsid" cookie
// and either Basic credentials the platform accepts (judged alone, the
// Bearer header is then not looked at) or "Bearer <token>" of a live session
// of that cookie. A live Bearer session is refreshed; a dead one is deleted.
// With is_logout the session is deleted instead (by token, or by user and
// cookie for Basic credentials).
bool authenticate_request(MHD_Connection *connection, bool is_logout);
