// Local users, login checks and passwords.
//
// "users" rows: name -> {"password", "level" (OPEN_LOGIN_ACCESS_*),
// "default" (1 while the factory password is unchanged)}. Failed logins are
// counted in the dynamic table "user_status" (name -> {"failures",
// "locked"}); "users.lockout_attempts" failures in a row lock the account
// (0 never locks) until a reload or until the row is cleared.
#include "platform/calls/04_users.h"
#include "sim/bind.h"

namespace veltrum::sim {

namespace {

constexpr uint32_t kPasswordMin = 8;
constexpr uint32_t kPasswordMax = 128;

const SettingSpec kSettings[] = {
    {"users.lockout_attempts", Scope::Global, int64_t{5}, 0, 64},
};
const TableSpec kUsers{"users", 8, true};
const TableSpec kUserStatus{"user_status", 8, false};

bool locked(Sim &sim, const std::string &user) {
  const Record *s = sim.store().table("user_status").find({user});
  return s && s->count("locked") && std::get<int64_t>(s->at("locked")) != 0;
}

void count_failure(Sim &sim, const std::string &user) {
  Table &t = sim.store().table("user_status");
  Record r;
  if (const Record *old = t.find({user})) r = *old;
  int64_t failures = (r.count("failures") ? std::get<int64_t>(r["failures"]) : 0) + 1;
  int64_t limit = sim.store().integer("users.lockout_attempts");
  r["failures"] = failures;
  r["locked"] = int64_t{limit > 0 && failures >= limit};
  t.upsert({user}, std::move(r));
}

}  // namespace

using namespace calls::users;

VELTRUM_SIM_PART(users, kFamily) {
  sim.store().define(kSettings);
  sim.store().define_table(kUsers);
  sim.store().define_table(kUserStatus);
  sim.on_factory_defaults([](Sim &s) {
    s.store().table("users").upsert({std::string("admin")},
                                    {{"password", std::string("password")},
                                     {"level", int64_t{OPEN_LOGIN_ACCESS_READ_WRITE}},
                                     {"default", int64_t{1}}});
  });

  sim.implement<CallId::rpcclt_openapiUserSessionAuthentication>(
      [&sim](openapiClientHandle_t *, const open_buffdesc *userName, const open_buffdesc *password,
             OPEN_LOGIN_TYPE_t, const open_buffdesc *, OPEN_LOGIN_ACCESS_LEVELS_t *level,
             OPEN_USER_AUTH_METHOD_t *method, OPEN_BOOL_t *defaultPassword) {
        std::string user = buffer_text(userName);
        const Record *r = sim.store().table("users").find({user});
        if (!r || locked(sim, user) || std::get<std::string>(r->at("password")) != buffer_text(password)) {
          if (r) count_failure(sim, user);
          return OPEN_E_FAIL;
        }
        sim.store().table("user_status").erase({user});
        if (level) *level = static_cast<OPEN_LOGIN_ACCESS_LEVELS_t>(std::get<int64_t>(r->at("level")));
        if (method) *method = OPEN_AUTH_METHOD_LOCAL;
        if (defaultPassword) *defaultPassword = std::get<int64_t>(r->at("default")) ? OPEN_TRUE : OPEN_FALSE;
        return OPEN_E_NONE;
      });

  sim.implement<CallId::rpcclt_openapiUserLockoutStatusGet>(
      [&sim](openapiClientHandle_t *, const open_buffdesc *userName, OPEN_USER_LOCKOUT_STATUS_t *status) {
        std::string user = buffer_text(userName);
        if (!sim.store().table("users").find({user})) return OPEN_E_NOT_FOUND;
        if (!status) return OPEN_E_PARAM;
        *status = locked(sim, user) ? OPEN_USER_LOCKOUT_LOCKED : OPEN_USER_LOCKOUT_NONE;
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
      [&sim](openapiClientHandle_t *, const open_buffdesc *userName, const open_buffdesc *password) {
        const Record *r = sim.store().table("users").find({buffer_text(userName)});
        if (!r) return OPEN_E_NOT_FOUND;
        return std::get<std::string>(r->at("password")) == buffer_text(password) ? OPEN_E_NONE : OPEN_E_FAIL;
      });

  // Sets the password of an existing user, or creates a read-only user.
  sim.implement<CallId::rpcclt_openapiUserSet>(
      [&sim](openapiClientHandle_t *, const open_buffdesc *userName, const open_buffdesc *password) {
        std::string user = buffer_text(userName);
        std::string pw = buffer_text(password);
        if (user.empty() || user.size() >= OPEN_USER_NAME_SIZE) return OPEN_E_PARAM;
        if (pw.size() < kPasswordMin || pw.size() > kPasswordMax) return OPEN_E_PARAM;
        for (unsigned char c : pw)
          if (c < 0x21 || c > 0x7e) return OPEN_E_PARAM;
        Table &t = sim.store().table("users");
        Record r;
        if (const Record *old = t.find({user}))
          r = *old;
        else
          r["level"] = int64_t{OPEN_LOGIN_ACCESS_READ_ONLY};
        r["password"] = pw;
        r["default"] = int64_t{0};
        return t.upsert({user}, std::move(r));
      });
}

}  // namespace veltrum::sim
