// Local users, login checks and passwords.
//
// "users" rows: name -> {"hash" (the password as a salted SHA-512 crypt
// hash, "$6$..."), "level" (OPEN_LOGIN_ACCESS_*), "default" (1 while the
// factory password is unchanged)}. The password itself is never stored, so
// the saved configuration does not give it away. A row of an older saved
// configuration that still holds "password" in clear is checked against it
// once and then holds a hash.
//
// Failed logins are counted in the dynamic table "user_status" (name ->
// {"failures", "locked", "locked_at"}); "users.lockout_attempts" failures in
// a row (0 never locks) lock the account for "users.lockout_seconds", as a
// switch does: while locked even the right password is refused (and not
// counted), and the first check after the time has passed lifts the lock.
// "locked_at" is the simulator's monotonic clock in milliseconds; a lock
// written without it (a test's) lasts until the row is cleared or a reload.
//
// The clear passwords the switch has learned (set, or proven by a login)
// are dynamic state, "user_secrets" (name -> {"password"}): never saved,
// gone after a restart, and handed out only while they still match the
// stored hash.
#include "sim/features/users.h"

#include <crypt.h>

#include <chrono>
#include <iterator>
#include <memory>

#include "platform/calls/04_users.h"
#include "sim/bind.h"

namespace veltrum::sim {

namespace {

constexpr uint32_t kPasswordMin = 8;
constexpr uint32_t kPasswordMax = 128;

const SettingSpec kSettings[] = {
    {"users.lockout_attempts", Scope::Global, int64_t{5}, 0, 64},
    {"users.lockout_seconds", Scope::Global, int64_t{300}, 1, 24 * 3600},
};
const TableSpec kUsers{"users", 8, true};
const TableSpec kUserStatus{"user_status", 8, false};
const TableSpec kUserSecrets{"user_secrets", 8, false};

int64_t now_ms() {
  return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now().time_since_epoch())
      .count();
}

// The part's settings and tables.
struct Users {
  SettingRef lockout_attempts;
  SettingRef lockout_seconds;
  Table &users;
  Table &status;
  Table &secrets;
};

// The members read with a default: a status row a test wrote may lack
// "locked_at" or "failures", and a user row of an older saved
// configuration may lack "hash" (it holds "password") or "default".
int64_t member(const Record &r, const char *key) {
  auto it = r.find(key);
  return it != r.end() && std::holds_alternative<int64_t>(it->second) ? std::get<int64_t>(it->second) : 0;
}

std::string text_member(const Record &r, const char *key) {
  auto it = r.find(key);
  return it != r.end() && std::holds_alternative<std::string>(it->second) ? std::get<std::string>(it->second) : "";
}

// crypt(3) with a work area of its own (calls may come from any connection).
std::string crypt_text(const std::string &password, const char *setting) {
  auto data = std::make_unique<crypt_data>();
  const char *out = crypt_r(password.c_str(), setting, data.get());
  // A failure answers null or a text starting with '*'.
  return out && *out != '*' ? out : "";
}

// A fresh salted SHA-512 hash of the password, or "" when none can be made.
std::string hash_password(const std::string &password) {
  char salt[CRYPT_GENSALT_OUTPUT_SIZE];
  if (!crypt_gensalt_rn("$6$", 0, nullptr, 0, salt, sizeof salt)) return "";
  return crypt_text(password, salt);
}

// Compares without stopping at the first difference.
bool same_text(const std::string &a, const std::string &b) {
  if (a.size() != b.size()) return false;
  unsigned char diff = 0;
  for (size_t i = 0; i < a.size(); ++i) diff |= static_cast<unsigned char>(a[i] ^ b[i]);
  return diff == 0;
}

// Whether `password` is the user's. A row that still holds its password in
// clear is given a hash the first time it matches.
bool password_matches(Table &users, const std::string &user, const std::string &password) {
  Record *r = users.find({user});
  if (!r) return false;
  std::string hash = text_member(*r, "hash");
  if (!hash.empty()) return same_text(crypt_text(password, hash.c_str()), hash);
  if (!r->count("password") || !same_text(text_member(*r, "password"), password)) return false;
  std::string fresh = hash_password(password);
  if (!fresh.empty()) {
    r->erase("password");
    (*r)["hash"] = fresh;
  }
  return true;
}

// Whether the user is locked out now; a lock whose time has passed is
// lifted here.
bool lock_in_force(const Users &u, const std::string &user) {
  const Record *s = u.status.find({user});
  if (!s || member(*s, "locked") == 0) return false;
  if (!s->count("locked_at")) return true;
  int64_t lockout_ms = u.lockout_seconds.integer() * 1000;
  if (now_ms() - member(*s, "locked_at") < lockout_ms) return true;
  u.status.erase({user});
  return false;
}

void learn_password(const Users &u, const std::string &user, const std::string &password) {
  u.secrets.upsert({user}, {{"password", password}});
}

void count_failure(const Users &u, const std::string &user) {
  Table &t = u.status;
  Record r;
  if (const Record *old = t.find({user})) r = *old;
  int64_t failures = member(r, "failures") + 1;
  int64_t limit = u.lockout_attempts.integer();
  r["failures"] = failures;
  r["locked"] = int64_t{limit > 0 && failures >= limit};
  if (limit > 0 && failures >= limit) r["locked_at"] = now_ms();
  t.upsert({user}, std::move(r));
}

// The handles by name, for the entry points the CLI calls (at a login, not
// per platform call).
Users users_of(Sim &sim) {
  Store &store = sim.store();
  return Users{store.setting("users.lockout_attempts"), store.setting("users.lockout_seconds"), store.table("users"),
               store.table("user_status"), store.table("user_secrets")};
}

}  // namespace

int64_t check_login(Sim &sim, const std::string &user, const std::string &password) {
  Users u = users_of(sim);
  if (!u.users.find({user}) || lock_in_force(u, user) || !password_matches(u.users, user, password)) return -1;
  learn_password(u, user, password);
  return member(*u.users.find({user}), "level");
}

std::string known_password(Sim &sim, const std::string &user) {
  Users u = users_of(sim);
  const Record *secret = u.secrets.find({user});
  const Record *r = u.users.find({user});
  if (!secret || !r) return {};
  std::string password = text_member(*secret, "password");
  std::string hash = text_member(*r, "hash");
  return !hash.empty() && same_text(crypt_text(password, hash.c_str()), hash) ? password : std::string();
}

using namespace calls::users;

VELTRUM_SIM_PART(users, kFamily) {
  Store &store = sim.store();
  static_assert(std::size(kSettings) == 2);
  const Users u{store.define(kSettings[0]), store.define(kSettings[1]), store.define_table(kUsers),
                store.define_table(kUserStatus), store.define_table(kUserSecrets)};
  sim.on_factory_defaults([u](Sim &) {
    u.users.upsert({std::string("admin")}, {{"hash", hash_password("password")},
                                           {"level", int64_t{OPEN_LOGIN_ACCESS_READ_WRITE}},
                                           {"default", int64_t{1}}});
    learn_password(u, "admin", "password");
  });

  sim.implement<CallId::rpcclt_openapiUserSessionAuthentication>(
      [u](openapiClientHandle_t *, const open_buffdesc *userName, const open_buffdesc *password, OPEN_LOGIN_TYPE_t,
          const open_buffdesc *, OPEN_LOGIN_ACCESS_LEVELS_t *level, OPEN_USER_AUTH_METHOD_t *method,
          OPEN_BOOL_t *defaultPassword) {
        std::string user = buffer_text(userName);
        Table &users = u.users;
        if (!users.find({user})) return OPEN_E_FAIL;
        if (lock_in_force(u, user)) return OPEN_E_FAIL;
        if (!password_matches(users, user, buffer_text(password))) {
          count_failure(u, user);
          return OPEN_E_FAIL;
        }
        u.status.erase({user});
        learn_password(u, user, buffer_text(password));
        const Record *r = users.find({user});
        if (level) *level = static_cast<OPEN_LOGIN_ACCESS_LEVELS_t>(member(*r, "level"));
        if (method) *method = OPEN_AUTH_METHOD_LOCAL;
        if (defaultPassword) *defaultPassword = member(*r, "default") ? OPEN_TRUE : OPEN_FALSE;
        return OPEN_E_NONE;
      });

  sim.implement<CallId::rpcclt_openapiUserLockoutStatusGet>(
      [u](openapiClientHandle_t *, const open_buffdesc *userName, OPEN_USER_LOCKOUT_STATUS_t *status) {
        std::string user = buffer_text(userName);
        if (!u.users.find({user})) return OPEN_E_NOT_FOUND;
        if (!status) return OPEN_E_PARAM;
        *status = lock_in_force(u, user) ? OPEN_USER_LOCKOUT_LOCKED : OPEN_USER_LOCKOUT_NONE;
        return OPEN_E_NONE;
      });

  sim.implement<CallId::rpcclt_openapiUserPasswordSizeGet>(
      [](openapiClientHandle_t *, uint32_t encrypted, uint32_t *min, uint32_t *max) {
        if (!min || !max) return OPEN_E_PARAM;
        *min = encrypted ? kPasswordMax : kPasswordMin;
        *max = kPasswordMax;
        return OPEN_E_NONE;
      });

  sim.implement<CallId::rpcclt_openapiValidateUserPassword>(
      [u](openapiClientHandle_t *, const open_buffdesc *userName, const open_buffdesc *password) {
        Table &users = u.users;
        std::string user = buffer_text(userName);
        if (!users.find({user})) return OPEN_E_NOT_FOUND;
        return password_matches(users, user, buffer_text(password)) ? OPEN_E_NONE : OPEN_E_FAIL;
      });

  // Sets the password of an existing user, or creates a read-only user.
  sim.implement<CallId::rpcclt_openapiUserSet>(
      [u](openapiClientHandle_t *, const open_buffdesc *userName, const open_buffdesc *password) {
        std::string user = buffer_text(userName);
        std::string pw = buffer_text(password);
        if (user.empty() || user.size() >= OPEN_USER_NAME_SIZE) return OPEN_E_PARAM;
        if (pw.size() < kPasswordMin || pw.size() > kPasswordMax) return OPEN_E_PARAM;
        for (unsigned char c : pw)
          if (c < 0x21 || c > 0x7e) return OPEN_E_PARAM;
        std::string hash = hash_password(pw);
        if (hash.empty()) return OPEN_E_INTERNAL;
        Table &t = u.users;
        Record r;
        if (const Record *old = t.find({user}))
          r = *old;
        else
          r["level"] = int64_t{OPEN_LOGIN_ACCESS_READ_ONLY};
        r.erase("password");
        r["hash"] = hash;
        r["default"] = int64_t{0};
        if (open_error_t rc = t.upsert({user}, std::move(r))) return rc;
        learn_password(u, user, pw);
        return OPEN_E_NONE;
      });
}

}  // namespace veltrum::sim
