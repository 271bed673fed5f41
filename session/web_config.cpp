// The web front end's settings and certificates: "http_config",
// "https_cert_mgmt", "https_cert_upld" and "global_states".
//
// The settings live in the agent configuration record (support/
// agent_config.h); a change is written back with dump_agent_config. The
// session check reads the session limits from the record on every request,
// so a change counts from the next request on; a change of a listener
// setting (either enable flag or port) asks the front end's monitor to
// reload. Refusals are told in last_error_text only; the client sees the
// result code. "https_cert_mgmt" answers its POST under the name
// "http_config", and a refused "global_states" value still answers success:
// clients rely on both.
//
// Uploaded certificate halves are taken only from inside the front end's
// upload directory (WEB_UPLOAD_DIR, session/web_files.h): a path that leads
// anywhere else, through "..", or through a link out of it, is "not found",
// so no client can move an arbitrary file of the switch into the key slot.
#include <cstring>
#include <string>

#include "core/response.h"
#include "session/web_files.h"
#include "support/agent_config.h"
#include "support/device.h"
#include "support/files.h"
#include "support/json_ptr.h"
#include "support/log.h"
#include "support/mem.h"

namespace {

using veltrum::web::member_int;
using veltrum::web::refuse;
using veltrum::web::run_program;

constexpr int kParseFailed = -99;
// Captured output of "openssl ... -modulus".
constexpr size_t kModulusSize = 2112;

const char *const kCertFiles[] = {HTTPS_CERT_FILE, HTTPS_KEY_FILE, HTTPS_COMBINED_FILE};

// ---------------------------------------------------------------- http_config

// The nine settings of "http_config", in their order.
const char *const kHttpKeys[] = {"httpEnable", "httpPort",    "httpsEnable", "httpsPort", "maxSes",
                                 "softTimeout", "hardTimeout", "httpLang",    "themeSel"};
constexpr size_t kHttpKeyCount = std::size(kHttpKeys);

// The texts as the POST reads them: the language into 16 bytes, the theme
// into 8.
struct HttpSettings {
  int httpEnable, httpPort, httpsEnable, httpsPort, maxSes, softTimeout, hardTimeout;
  char httpLang[16];
  char themeSel[8];
};

HttpSettings current_http_settings() {
  const AgentConfig &c = g_agent_config;
  HttpSettings s{c.httpEnable, c.httpPort, c.httpsEnable, c.httpsPort, c.maxSes, c.softTimeout, c.hardTimeout,
                 {}, {}};
  strncpyt(s.httpLang, c.httpLang, sizeof c.httpLang - 1);
  strncpyt(s.themeSel, c.themeSel, sizeof c.themeSel - 1);
  return s;
}

// The first refusal of the checks, in their order; 0 when all pass.
int check_http_settings(const HttpSettings &s) {
  if ((s.httpEnable != 0 && s.httpEnable != 1) || (s.httpsEnable != 0 && s.httpsEnable != 1))
    return refuse(-1, "Invalid HTTP/HTTPS config");
  if (s.httpEnable == 0 && s.httpsEnable == 0) return refuse(-1, "Can't disable both HTTP and HTTPs");
  if (!veltrum::web::valid_web_port(s.httpPort, 80)) return refuse(-1, "Invalid HTTP port:%d", s.httpPort);
  if (!veltrum::web::valid_web_port(s.httpsPort, 443)) return refuse(-1, "Invalid HTTPS port:%d", s.httpsPort);
  if (s.maxSes < 1 || s.maxSes > 4) return refuse(-1, "Invalid HTTP session:%d", s.maxSes);
  if (s.softTimeout < 0 || s.softTimeout > 60) return refuse(-1, "Invalid HTTP soft timeout:%d", s.softTimeout);
  if (s.hardTimeout < 0 || s.hardTimeout > 168) return refuse(-1, "Invalid HTTP hard timeout:%d", s.hardTimeout);
  if (!veltrum::web::valid_web_language(s.httpLang))
    return refuse(-1, "Invalid HTTP language:%s", s.httpLang);
  if (!veltrum::web::valid_web_theme(s.themeSel))
    return refuse(-1, "Invalid HTTP theme selection:%s", s.themeSel);
  return 0;
}

int http_config_apply(json_object *request) {
  HttpSettings s = current_http_settings();
  const HttpSettings old = s;
  JsonField fields[kHttpKeyCount];
  for (size_t i = 0; i < kHttpKeyCount; ++i) fields[i] = {kHttpKeys[i], nullptr};
  if (parse_json_fields("http_config", request, fields, kHttpKeyCount, false) != 0) return kParseFailed;

  int *numbers[] = {&s.httpEnable, &s.httpPort, &s.httpsEnable, &s.httpsPort,
                    &s.maxSes,     &s.softTimeout, &s.hardTimeout};
  for (size_t i = 0; i < std::size(numbers); ++i) *numbers[i] = member_int(fields[i].value);
  if (json_object_is_type(fields[7].value, json_type_string))
    strncpyt(s.httpLang, json_object_get_string(fields[7].value), sizeof s.httpLang - 1);
  if (json_object_is_type(fields[8].value, json_type_string))
    strncpyt(s.themeSel, json_object_get_string(fields[8].value), sizeof s.themeSel - 1);

  if (check_http_settings(s) != 0) return -1;

  bool listeners_changed = s.httpEnable != old.httpEnable || s.httpPort != old.httpPort ||
                           s.httpsEnable != old.httpsEnable || s.httpsPort != old.httpsPort;
  bool unchanged = !listeners_changed && s.maxSes == old.maxSes && s.softTimeout == old.softTimeout &&
                   s.hardTimeout == old.hardTimeout &&
                   std::strncmp(s.httpLang, old.httpLang, sizeof s.httpLang) == 0 &&
                   std::strncmp(s.themeSel, old.themeSel, sizeof s.themeSel) == 0;
  if (unchanged) return 0;

  AgentConfig &c = g_agent_config;
  c.httpEnable = s.httpEnable;
  c.httpPort = s.httpPort;
  c.httpsEnable = s.httpsEnable;
  c.httpsPort = s.httpsPort;
  c.maxSes = s.maxSes;
  c.softTimeout = s.softTimeout;
  c.hardTimeout = s.hardTimeout;
  strncpyt(c.httpLang, s.httpLang, sizeof c.httpLang - 1);
  strncpyt(c.themeSel, s.themeSel, sizeof c.themeSel - 1);
  dump_agent_config(&c);
  if (listeners_changed) veltrum::web::signal_web_monitor();
  return 0;
}

// ---------------------------------------------------------------- certificates

bool cert_file_exists(const char *device_file) { return exists(device_path(device_file).c_str()) != 0; }

int cert_mgmt_apply(json_object *request) {
  JsonField fields[] = {{"operation", nullptr}};
  if (parse_json_fields("https_cert_mgmt", request, fields, 1, false) != 0) return kParseFailed;
  int operation = member_int(fields[0].value);
  agent_log(1, "Oper = %d.", operation);
  if (operation != 1 && operation != 2) return refuse(-1, "Bad Operation mode(%d-%d) : %d\n", 1, 2, operation);
  for (const char *file : kCertFiles) {
    if (!cert_file_exists(file)) continue;
    if (run_program({"rm", device_path(file)}) != 0) return refuse(-1, "Failed to delete : %s", file);
  }
  if (operation == 1 && run_program({device_path("/bin/restgen")}) != 0)
    return refuse(-1, "Failed to generate SSL certificates.\n");
  return 0;
}

// The modulus of a key ("rsa") or certificate ("x509") file, as openssl
// prints it; 0 when openssl accepted the file.
int capture_modulus(const char *kind, const std::string &path, char (&out)[kModulusSize]) {
  std::memset(out, 0, sizeof out);
  return run_program({"openssl", kind, "-noout", "-modulus", "-in", path}, out, sizeof out);
}

int cert_upload_apply(json_object *request) {
  JsonField fields[] = {{"file", nullptr}, {"localpath", nullptr}};
  if (parse_json_fields("https_cert_upld", request, fields, 2, false) != 0) return kParseFailed;
  int file = member_int(fields[0].value);
  if (file != 1 && file != 2) return refuse(-1, "Invalid upload file type\n");
  if (!json_object_is_type(fields[1].value, json_type_string))
    return refuse(kParseFailed, "Parsing Error 'file path' invalid.\n");
  char localpath[128] = {};
  strncpyt(localpath, json_object_get_string(fields[1].value), sizeof localpath - 1);
  std::string upload;
  if (veltrum::web::resolve_upload(localpath, upload) != 0)
    return refuse(-1, "Upload error : file not found:%s\n", localpath);

  bool is_key = file == 2;
  const std::string key = device_path(HTTPS_KEY_FILE);
  const std::string cert = device_path(HTTPS_CERT_FILE);
  const std::string combined = device_path(HTTPS_COMBINED_FILE);
  char key_modulus[kModulusSize];
  char cert_modulus[kModulusSize];
  std::memset(key_modulus, 0, sizeof key_modulus);
  std::memset(cert_modulus, 0, sizeof cert_modulus);
  char(&uploaded_modulus)[kModulusSize] = is_key ? key_modulus : cert_modulus;
  char(&installed_modulus)[kModulusSize] = is_key ? cert_modulus : key_modulus;

  if (capture_modulus(is_key ? "rsa" : "x509", upload, uploaded_modulus) != 0)
    return refuse(-1, "%s", is_key ? "Failed to validate SSL private key.\n" : "Failed to validate SSL public certificate.\n");
  if (run_program({"mv", upload, is_key ? key : cert}) != 0)
    return refuse(-1, "%s", is_key ? "Failed to upload SSL private key.\n" : "Failed to upload SSL public certificate.\n");
  const std::string &other = is_key ? cert : key;
  if (exists(other.c_str())) capture_modulus(is_key ? "x509" : "rsa", other, installed_modulus);

  if (run_program({"rm", combined}) != 0) agent_log(3, "certificate deletion failed");
  if (std::memcmp(key_modulus, cert_modulus, kModulusSize) == 0) {
    int rc = run_program({"cp", key, combined});
    if (rc == 0)
      rc = veltrum::web::run_shell("cat " + veltrum::web::shell_quote(cert) + " >> " +
                                   veltrum::web::shell_quote(combined));
    if (rc != 0) agent_log(3, "Error while creating certificate file");
  }
  return 0;
}

// ---------------------------------------------------------------- global_states

int global_states_apply(json_object *request) {
  JsonField fields[] = {{"pellmar", nullptr}, {"localMgmt", nullptr}};
  if (parse_json_fields("global_states", request, fields, 2, false) != 0) return kParseFailed;
  int pellmar = member_int(fields[0].value);
  int local = member_int(fields[1].value);
  // Refusals are logged but answered as success.
  if (pellmar != 0 && pellmar != 1) return refuse(0, "Invalid Pellmar config");
  if (local != 0 && local != 1) return refuse(0, "Invalid Local Mgmt config");
  if (pellmar == g_agent_config.pellmar && local == g_agent_config.localMgmt) return 0;
  g_agent_config.pellmar = pellmar;
  g_agent_config.localMgmt = local;
  dump_agent_config(&g_agent_config);
  return 0;
}

}  // namespace

void http_config_get(MHD_Connection *, ResponseHolder *response, json_object *) {
  const AgentConfig &c = g_agent_config;
  JsonPtr data(json_object_new_object());
  const int numbers[] = {c.httpEnable, c.httpPort, c.httpsEnable, c.httpsPort, c.maxSes, c.softTimeout, c.hardTimeout};
  for (size_t i = 0; i < std::size(numbers); ++i)
    json_object_object_add(data.get(), kHttpKeys[i], json_object_new_int(numbers[i]));
  char lang[sizeof c.httpLang] = {};
  char theme[sizeof c.themeSel] = {};
  strncpyt(lang, c.httpLang, sizeof lang - 1);
  strncpyt(theme, c.themeSel, sizeof theme - 1);
  json_object_object_add(data.get(), "httpLang", json_object_new_string(lang));
  json_object_object_add(data.get(), "themeSel", json_object_new_string(theme));
  veltrum::web::answer(response, data.get(), "http_config", 0);
}

void http_config_post(MHD_Connection *, ResponseHolder *response, json_object *request) {
  veltrum::web::answer(response, nullptr, "http_config", http_config_apply(request));
}

void https_cert_mgmt_get(MHD_Connection *, ResponseHolder *response, json_object *) {
  bool all = true;
  for (const char *file : kCertFiles) {
    if (cert_file_exists(file)) continue;
    agent_log(4, "File not found :%s\n", file);
    all = false;
  }
  JsonPtr data(json_object_new_object());
  json_object_object_add(data.get(), "certstatus", json_object_new_int(all ? 1 : 0));
  veltrum::web::answer(response, data.get(), "https_cert_mgmt", all ? 0 : -1);
}

void https_cert_mgmt_post(MHD_Connection *, ResponseHolder *response, json_object *request) {
  veltrum::web::answer(response, nullptr, "http_config", cert_mgmt_apply(request));
}

void https_cert_upld_post(MHD_Connection *, ResponseHolder *response, json_object *request) {
  veltrum::web::answer(response, nullptr, "https_cert_upld", cert_upload_apply(request));
}

void global_states_get(MHD_Connection *, ResponseHolder *response, json_object *) {
  JsonPtr data(json_object_new_object());
  json_object_object_add(data.get(), "pellmar", json_object_new_int(g_agent_config.pellmar));
  json_object_object_add(data.get(), "localMgmt", json_object_new_int(g_agent_config.localMgmt));
  veltrum::web::answer(response, data.get(), "global_states", 0);
}

void global_states_post(MHD_Connection *, ResponseHolder *response, json_object *request) {
  veltrum::web::answer(response, nullptr, "global_states", global_states_apply(request));
}
