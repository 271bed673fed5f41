#include "session/web_files.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "core/response.h"
#include "support/device.h"
#include "support/json_ptr.h"
#include "support/log.h"
#include "support/mem.h"
#include "support/process.h"

namespace veltrum::web {

namespace {

// Uploaded paths are taken into a 128-byte buffer.
constexpr size_t kPathChars = 127;

// A path with every link resolved, or "" when it does not exist.
std::string real_path(const std::string &path) {
  char *resolved = realpath(path.c_str(), nullptr);
  if (!resolved) return "";
  std::string out = resolved;
  std::free(resolved);
  return out;
}

}  // namespace

std::string shell_quote(const std::string &text) {
  std::string out = "'";
  for (char c : text) {
    if (c == '\'')
      out += "'\\''";
    else
      out += c;
  }
  return out + "'";
}

int run_program(std::initializer_list<std::string> words, char *output, size_t output_size) {
  if (words.size() == 0) return -1;
  std::vector<char *> argv;
  for (const std::string &w : words) argv.push_back(const_cast<char *>(w.c_str()));
  argv.push_back(nullptr);
  return execvp_cmd(argv[0], argv.data(), output, output_size);
}

int run_shell(const std::string &command) { return run_program({"/bin/sh", "-c", command}); }

void signal_web_monitor() {
  // The monitor is found by name in the device's process list; on a
  // development root that list holds the root's own programs only.
  std::string command = shell_quote(device_path("/bin/ps")) +
                        " | grep lighttpdMon | grep -v 'grep'| awk '{print$1}' | xargs kill -SIGUSR1";
  run_shell(command);
}

int resolve_upload(const char *client_path, std::string &resolved, std::string *device_file) {
  if (!client_path) return -1;
  char taken[kPathChars + 1] = {};
  strncpyt(taken, client_path, kPathChars);
  if (taken[0] != '/') return -1;
  std::string dir = real_path(device_path(WEB_UPLOAD_DIR));
  std::string file = real_path(device_path(taken));
  if (dir.empty() || file.empty() || file.compare(0, dir.size() + 1, dir + "/") != 0) return -1;
  struct stat st;
  if (stat(file.c_str(), &st) != 0 || !S_ISREG(st.st_mode)) return -1;
  resolved = file;
  if (device_file) *device_file = WEB_UPLOAD_DIR + file.substr(dir.size());
  return 0;
}

bool valid_web_port(int port, int privileged) { return port == privileged || (port >= 1024 && port <= 65535); }

namespace {
bool begins_with(const char *text, const char *word) { return std::strncmp(text, word, std::strlen(word)) == 0; }
}  // namespace

bool valid_web_language(const char *text) {
  return begins_with(text, "en") || begins_with(text, "de") || begins_with(text, "ja") || begins_with(text, "auto");
}

bool valid_web_theme(const char *text) {
  return begins_with(text, "system") || begins_with(text, "light") || begins_with(text, "dark");
}

void answer(ResponseHolder *response, json_object *data, const char *name, int rc) {
  JsonPtr envelope(json_object_new_object());
  JsonPtr resp(json_object_new_object());
  // A write (no data) that succeeded is saved before it is answered.
  if (!data && rc == 0) save_running_config();
  uri_response(response, envelope.get(), resp.get(), data, name, rc);
}

int refuse(int rc, const char *format, ...) {
  std::memset(last_error_text, 0, sizeof last_error_text);
  va_list ap;
  va_start(ap, format);
  std::vsnprintf(last_error_text, sizeof last_error_text, format, ap);
  va_end(ap);
  agent_log(4, "%s", last_error_text);
  return rc;
}

int member_int(json_object *value, int invalid) {
  if (!value) return invalid;
  int64_t n = 0;
  switch (json_object_get_type(value)) {
    case json_type_int:
    case json_type_boolean:
      n = json_object_get_int64(value);
      break;
    case json_type_string: {
      const char *text = json_object_get_string(value);
      char *end = nullptr;
      errno = 0;
      long long parsed = std::strtoll(text, &end, 10);
      if (errno != 0 || end == text || *end != '\0') return invalid;
      n = parsed;
      break;
    }
    default:
      return invalid;
  }
  if (n < INT_MIN || n > INT_MAX) return invalid;
  return static_cast<int>(n);
}

}  // namespace veltrum::web
