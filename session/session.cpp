#include "session/session.h"

#include <sys/random.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include <microhttpd.h>

#include "core/log_mask.h"
#include "session/login.h"
#include "support/agent_config.h"
#include "support/log.h"
#include "support/mem.h"
#include "support/uptime.h"

namespace {

Session *g_sessions = nullptr;

int32_t uptime_now() { return static_cast<int32_t>(get_uptime()); }

// limit * unit as a signed 32-bit number, wrapping like the stored times.
int32_t limit_seconds(int limit, uint32_t unit) {
  return static_cast<int32_t>(static_cast<uint32_t>(limit) * unit);
}

int32_t elapsed(int32_t now, int32_t since) {
  return static_cast<int32_t>(static_cast<uint32_t>(now) - static_cast<uint32_t>(since));
}

bool hard_alive(const Session *s, int32_t now, int hard_hours) {
  return elapsed(now, s->created) <= limit_seconds(hard_hours, 3600);
}

bool soft_alive(const Session *s, int32_t now, int soft_minutes) {
  return elapsed(now, s->last_access) <= limit_seconds(soft_minutes, 60);
}

// Tokens are four 32-bit values printed "%X%X%X%X". The values come from the
// kernel's cryptographic random source rather than the C library's random():
// a token is the only secret of a Bearer session, and random() without a seed
// repeats the same sequence at every start. The format is unchanged.
bool make_token(char *token, size_t size) {
  uint32_t values[4];
  size_t filled = 0;
  auto *bytes = reinterpret_cast<unsigned char *>(values);
  while (filled < sizeof values) {
    ssize_t n = getrandom(bytes + filled, sizeof values - filled, 0);
    if (n < 0) {
      if (errno == EINTR) continue;
      agent_log(4, "Failed to read the random source for a session token: %s", std::strerror(errno));
      return false;
    }
    filled += static_cast<size_t>(n);
  }
  std::snprintf(token, size, "%X%X%X%X", values[0], values[1], values[2], values[3]);
  return true;
}

// Unlinks *link's record and frees it; *link then names the next one.
void unlink_and_free(Session **link) {
  Session *dead = *link;
  *link = dead->next;
  std::free(dead);
}

struct MhdFree {
  void operator()(char *text) const { MHD_free(text); }
};
using MhdText = std::unique_ptr<char, MhdFree>;

struct CFree {
  void operator()(char *text) const { std::free(text); }
};

}  // namespace

SessionLock::SessionLock() { pthread_mutex_lock(&session_mutex); }
SessionLock::~SessionLock() { pthread_mutex_unlock(&session_mutex); }

Session *session_table_head() { return g_sessions; }

bool session_alive(const Session *session, int32_t now, int soft_minutes, int hard_hours) {
  return hard_alive(session, now, hard_hours) && soft_alive(session, now, soft_minutes);
}

int session_purge_expired(int soft_minutes, int hard_hours) {
  int32_t now = uptime_now();
  int left = 0;
  for (Session **link = &g_sessions; *link;) {
    if (!session_alive(*link, now, soft_minutes, hard_hours)) {
      unlink_and_free(link);
    } else {
      ++left;
      link = &(*link)->next;
    }
  }
  return left;
}

Session *session_get_or_create(const char *user, const char *sid, int soft_minutes, int hard_hours,
                               int max_sessions) {
  if (!user || !sid) return nullptr;
  int32_t now = uptime_now();
  int survivors = session_purge_expired(soft_minutes, hard_hours);

  // The stored user and cookie are compared over their own length: a stored
  // "adm" is the session of a login as "admin".
  for (Session *s = g_sessions; s; s = s->next) {
    if (std::strncmp(s->user, user, std::strlen(s->user)) == 0 &&
        std::strncmp(s->sid, sid, std::strlen(s->sid)) == 0) {
      s->last_access = now;
      return s;
    }
  }

  if (survivors >= max_sessions) {
    agent_log(4, "Max session number reaches\n");
    return nullptr;
  }
  auto *s = static_cast<Session *>(std::calloc(1, sizeof(Session)));
  if (!s) {
    agent_log(4, "Failed to allocate memory for a new session\n");
    return nullptr;
  }
  strncpyt(s->user, user, sizeof s->user - 1);
  strncpyt(s->sid, sid, sizeof s->sid - 1);
  if (!make_token(s->token, sizeof s->token)) {
    std::free(s);
    return nullptr;
  }
  s->created = now;
  s->last_access = now;
  s->next = g_sessions;
  g_sessions = s;
  return s;
}

Session *session_find_by_token(const char *token, const char *sid) {
  if (!token || !sid) return nullptr;
  for (Session *s = g_sessions; s; s = s->next)
    if (std::strncmp(s->token, token, sizeof s->token) == 0 && std::strncmp(s->sid, sid, sizeof s->sid) == 0)
      return s;
  return nullptr;
}

void session_delete_by_token(const char *token, const char *sid) {
  if (!token || !sid) return;
  for (Session **link = &g_sessions; *link;) {
    Session *s = *link;
    if (std::strncmp(s->token, token, sizeof s->token) == 0 && std::strncmp(s->sid, sid, sizeof s->sid) == 0)
      unlink_and_free(link);
    else
      link = &s->next;
  }
}

void session_delete_by_user(const char *user, const char *sid) {
  if (!user || !sid) return;
  for (Session **link = &g_sessions; *link; link = &(*link)->next) {
    Session *s = *link;
    if (std::strncmp(s->user, user, sizeof s->user) == 0 && std::strncmp(s->sid, sid, sizeof s->sid) == 0) {
      unlink_and_free(link);
      return;
    }
  }
}

void session_dump() {
  for (const Session *s = g_sessions; s; s = s->next)
    std::printf("session: %s:%s:%ld:%ld\n", s->user, s->sid, static_cast<long>(s->created),
                static_cast<long>(s->last_access));
}

void session_table_clear() {
  while (g_sessions) unlink_and_free(&g_sessions);
}

bool authenticate_request(MHD_Connection *connection, bool is_logout) {
  const char *cookie = MHD_lookup_connection_value(connection, MHD_COOKIE_KIND, "lhttpdsid");
  if (!cookie) return false;

  // Basic credentials are judged alone: with them the Bearer header is not
  // looked at, even when they are refused.
  char *password_raw = nullptr;
  MhdText user(MHD_basic_auth_get_username_password(connection, &password_raw));
  MhdText password(password_raw);
  if (user && password) {
    bool ok = credential_check(user.get(), password.get(), nullptr, nullptr, nullptr) == 0;
    if (ok && is_logout) {
      SessionLock lock;
      session_delete_by_user(user.get(), cookie);
    }
    return ok;
  }

  const char *authorization = MHD_lookup_connection_value(connection, MHD_HEADER_KIND, "Authorization");
  if (!authorization || std::strncmp(authorization, "Bearer ", 7) != 0) return false;
  const char *rest = authorization + 7;
  size_t length = std::strlen(rest);
  std::unique_ptr<char, CFree> token(static_cast<char *>(std::calloc(length + 2, 1)));
  if (!token) {
    agent_log(4, "Failed to allocate memory for authenticate token:%s\n", std::strerror(errno));
    return false;
  }
  std::memcpy(token.get(), rest, length);

  Session *session;
  {
    SessionLock lock;
    session = session_find_by_token(token.get(), cookie);
  }
  if (!session) {
    agent_log(7, "Not find session for token:%s\n", token_for_log(token.get()).c_str());
    return false;
  }

  int32_t now = uptime_now();
  if (hard_alive(session, now, g_agent_config.hardTimeout) &&
      soft_alive(session, now, g_agent_config.softTimeout)) {
    if (is_logout) {
      SessionLock lock;
      session_delete_by_token(token.get(), cookie);
    } else {
      session->last_access = now;
    }
    return true;
  }

  agent_log(7, "session for %s:%s expires and got deleted.\n", session->user, token_for_log(token.get()).c_str());
  SessionLock lock;
  session_delete_by_token(token.get(), cookie);
  return false;
}
