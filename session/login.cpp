#include "session/login.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include <microhttpd.h>

#include "core/platform_client.h"
#include "session/session.h"
#include "support/agent_config.h"
#include "support/json_ptr.h"
#include "support/log.h"
#include "support/mem.h"
#include "support/uptime.h"

namespace {

// Error codes the client turns into messages.
constexpr int kErrLoginFailed = 2;
constexpr int kErrCurrentPassword = 308;
constexpr int kErrPasswordMismatch = 309;
constexpr int kErrPasswordSet = 312;
constexpr int kErrNoSession = 481;

// The password change only ever changes this account.
constexpr const char *kAdminUser = "admin";
// Each of current, new and confirm is cut to this many characters.
constexpr size_t kPasswordChars = 64;

// Input text for a platform call: its bytes and the terminating NUL.
open_buffdesc input_text(const char *text) {
  return open_buffdesc{static_cast<uint32_t>(std::strlen(text) + 1), const_cast<char *>(text)};
}

struct CFree {
  void operator()(char *text) const { std::free(text); }
};
using CText = std::unique_ptr<char, CFree>;

enum class LoginMember { User, Password };

// A member that can stand for a text: a text, or a number or boolean as
// json-c writes it. An object, an array or null cannot.
bool is_scalar(json_object *value) {
  return value && !json_object_is_type(value, json_type_object) && !json_object_is_type(value, json_type_array);
}

// A heap copy of a member's text, or null (logged) when the member is no
// text or memory fails.
CText copy_member(json_object *value, LoginMember member) {
  bool is_user = member == LoginMember::User;
  const char *text = is_scalar(value) ? json_object_get_string(value) : nullptr;
  if (!text) {
    agent_log(7, is_user ? "Failed to get username." : "Failed to get password.");
    return nullptr;
  }
  size_t size = std::strlen(text) + 1;
  CText copy(static_cast<char *>(std::malloc(size)));
  if (!copy) {
    if (is_user)
      agent_log(7, "Failed to allocate user:%d.", static_cast<int>(size));
    else
      agent_log(7, "Failed to allocate password:%d.", static_cast<int>(size));
    return nullptr;
  }
  std::memcpy(copy.get(), text, size);
  return copy;
}

}  // namespace

int credential_check(const char *user, const char *password, int *out_remote, int *out_default_password,
                     int *out_locked) {
  if (is_str_empty(user) || is_str_empty(password)) return -1;

  // The platform is told the login comes from the loopback address, which is
  // where the web front end reaches the agent from.
  char address[31] = {};
  strncpyt(address, "127.0.0.1", sizeof address - 1);
  open_buffdesc user_desc = input_text(user);
  open_buffdesc password_desc = input_text(password);
  open_buffdesc address_desc = input_text(address);

  OPEN_LOGIN_ACCESS_LEVELS_t access_level = OPEN_LOGIN_ACCESS_NONE;
  OPEN_USER_AUTH_METHOD_t method = OPEN_AUTH_METHOD_UNDEFINED;
  OPEN_BOOL_t default_password = OPEN_FALSE;
  open_error_t rc = rpcclt_openapiUserSessionAuthentication(&g_client_handle, &user_desc, &password_desc,
                                                            OPEN_LOGIN_TYPE_HTTPS, &address_desc,
                                                            &access_level, &method, &default_password);
  if (rc == OPEN_E_NONE) {
    if (access_level != OPEN_LOGIN_ACCESS_READ_ONLY && access_level != OPEN_LOGIN_ACCESS_READ_WRITE) return -1;
    if (out_remote) *out_remote = method != OPEN_AUTH_METHOD_LOCAL;
    if (out_default_password) *out_default_password = default_password == OPEN_TRUE;
    return 0;
  }

  if (out_locked) {
    OPEN_USER_LOCKOUT_STATUS_t status = OPEN_USER_LOCKOUT_NONE;
    if (rpcclt_openapiUserLockoutStatusGet(&g_client_handle, &user_desc, &status) == OPEN_E_NONE)
      *out_locked = status == OPEN_USER_LOCKOUT_LOCKED;
  }
  return -1;
}

void login_handler(MHD_Connection *connection, const char *body, size_t body_size, ResponseHolder *holder) {
  JsonPtr envelope(json_object_new_object());
  JsonPtr resp(json_object_new_object());
  JsonPtr result(json_object_new_object());
  int code = 0;
  int rc = -1;
  CText user;
  CText password;

  // One pass that any failure leaves early; the answer is made below.
  do {
    if (!body || body_size == 0) break;

    // An empty cookie counts as none: sessions are matched by the stored
    // cookie being a prefix of the request's, and the empty text is a
    // prefix of every cookie.
    const char *cookie = MHD_lookup_connection_value(connection, MHD_COOKIE_KIND, "lhttpdsid");
    if (is_str_empty(cookie)) {
      agent_log(4, "Failed to get cookie for login\n");
      break;
    }

    std::string text(body, body_size);
    json_tokener_error error = json_tokener_success;
    JsonPtr request(json_tokener_parse_verbose(text.c_str(), &error));
    if (error != json_tokener_success) {
      agent_log(7, "Failed to parse login json.");
      break;
    }

    JsonField fields[] = {{"username", nullptr}, {"password", nullptr}};
    if (parse_json_fields("login", request.get(), fields, 2, false) != 0) break;
    user = copy_member(fields[0].value, LoginMember::User);
    if (!user) break;
    password = copy_member(fields[1].value, LoginMember::Password);
    if (!password) break;

    int remote = 0;
    int def_password = 0;
    int locked = 0;
    Session *session = nullptr;
    int64_t expire = 0;
    bool accepted = credential_check(user.get(), password.get(), &remote, &def_password, &locked) == 0;
    if (accepted) {
      agent_log(7, "do login with user:%s, cookie=%s.", user.get(), cookie);
      {
        SessionLock lock;
        session = session_get_or_create(user.get(), cookie, g_agent_config.softTimeout,
                                        g_agent_config.hardTimeout, g_agent_config.maxSes);
      }
      if (!session) {
        code = kErrNoSession;
        agent_log(4, "Failed to get session for login\n");
        break;
      }
      expire = static_cast<int64_t>(g_agent_config.hardTimeout) * 3600 - get_uptime() + session->created;
    } else {
      agent_log(4, "Failed to validate credential for login\n");
    }

    json_object_object_add(result.get(), "token", json_object_new_string(session ? session->token : ""));
    json_object_object_add(result.get(), "expire", json_object_new_int64(expire));
    json_object_object_add(result.get(), "remote", json_object_new_int(remote));
    json_object_object_add(result.get(), "def_password", json_object_new_int(def_password));
    json_object_object_add(result.get(), "locked", json_object_new_int(locked));
    rc = accepted ? 0 : -1;
  } while (false);

  if (rc != 0) {
    if (code == 0) code = kErrLoginFailed;
    set_rest_err(code, nullptr);
  }
  uri_response(holder, envelope.get(), resp.get(), result.get(), "login", rc);
}

// POST "/api/v1/user_password_change": changes the admin password.
void user_password_change_handler(MHD_Connection *connection, ResponseHolder *response, json_object *request) {
  JsonPtr envelope(json_object_new_object());
  JsonPtr resp(json_object_new_object());
  JsonPtr details(json_object_new_object());
  int code = 0;
  int rc = -1;

  do {
    JsonField fields[] = {{"current", nullptr}, {"new", nullptr}, {"confirm", nullptr}};
    if (parse_json_fields("user_password_change", request, fields, 3, false) != 0) break;
    // A member that is no text (an object, an array, null) fails like a
    // missing one.
    const JsonField *unreadable = nullptr;
    for (const JsonField &f : fields)
      if (!unreadable && !is_scalar(f.value)) unreadable = &f;
    if (unreadable) {
      format_last_error("Parsing error (%s)", unreadable->name);
      break;
    }

    char current[kPasswordChars + 1] = {};
    char new_password[kPasswordChars + 1] = {};
    char confirm[kPasswordChars + 1] = {};
    strncpyt(current, json_object_get_string(fields[0].value), kPasswordChars);
    strncpyt(new_password, json_object_get_string(fields[1].value), kPasswordChars);
    strncpyt(confirm, json_object_get_string(fields[2].value), kPasswordChars);
    if (std::strcmp(new_password, confirm) != 0) {
      code = kErrPasswordMismatch;
      agent_log(4, "New Password and Confirm Password Mismatch!");
      break;
    }

    // The platform's limits must admit passwords of up to 64 characters;
    // the length of the new password itself is the platform's to judge.
    uint32_t min = 0;
    uint32_t max = 0;
    rpcclt_openapiUserPasswordSizeGet(&g_client_handle, 0, &min, &max);
    if (!(min <= kPasswordChars + 1 && max > kPasswordChars)) {
      agent_log(4, "The size of new password should be between %d and %d", static_cast<int>(min),
                static_cast<int>(max));
      break;
    }

    const char *bad = std::strpbrk(new_password, "\"?");
    if (bad) {
      agent_log(4, "Invalid Special Character '%c' in New Password!", *bad);
      break;
    }

    open_buffdesc user_desc = input_text(kAdminUser);
    open_buffdesc current_desc = input_text(current);
    open_error_t result = rpcclt_openapiValidateUserPassword(&g_client_handle, &user_desc, &current_desc);
    if (result != OPEN_E_NONE) {
      code = kErrCurrentPassword;
      agent_log(4, "Invalid Current Password and error code:%d", result);
      break;
    }

    open_buffdesc new_desc = input_text(new_password);
    result = rpcclt_openapiUserSet(&g_client_handle, &user_desc, &new_desc);
    if (result != OPEN_E_NONE) {
      // The client learns which member was refused, never its value: the
      // detail stays in the error record and goes out with later failures.
      json_object_object_add(details.get(), "password", json_object_new_string(""));
      code = kErrPasswordSet;
      agent_log(4, "Failed to set New Password and error code:%d", result);
      break;
    }
    rc = 0;
  } while (false);

  if (rc != 0) set_rest_err(code, details.get());
  if (rc == 0) save_running_config();
  uri_response(response, envelope.get(), resp.get(), nullptr, "user_password_change", rc);
}
