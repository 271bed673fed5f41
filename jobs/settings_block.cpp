#include "jobs/settings_block.h"

#include <cstdio>
#include <cstring>
#include <memory>

#include "session/web_files.h"
#include "support/log.h"
#include "support/mem.h"

namespace {

constexpr const char *kStartMarker = "!Switch Veltrum Configuration:\n";
constexpr const char *kEndMarker = "!Switch Veltrum Configuration End\n";
// Lines are read into buffers of these sizes.
constexpr size_t kStripLine = 512;
constexpr size_t kBlockLine = 256;
// A word of a block line; longer words are cut.
constexpr size_t kWord = 64;

struct FileCloser {
  void operator()(FILE *f) const { std::fclose(f); }
};
using File = std::unique_ptr<FILE, FileCloser>;

File open_file(const char *path, const char *mode) { return File(path ? std::fopen(path, mode) : nullptr); }

bool word_is(const char *word, const char *expected) { return std::strncmp(word, expected, std::strlen(expected)) == 0; }

// The number after `skip` words of a block line, when there is one.
bool number_after(const char *line, int skip, int *out) {
  if (skip == 3) return std::sscanf(line, "!%*s %*s %*s %d", out) == 1;
  return std::sscanf(line, "!%*s %*s %*s %*s %d", out) == 1;
}

// Sets `field` from the line's number when `valid` accepts it.
void take_number(const char *line, int skip, int *field, bool (*valid)(int), const char *what) {
  int value = 0;
  if (!number_after(line, skip, &value)) return;
  if (!valid(value)) {
    agent_log(4, "Settings block: invalid %s %d skipped", what, value);
    return;
  }
  *field = value;
}

void take_text(const char *line, char (&field)[8], bool (*valid)(const char *), const char *what) {
  char word[kWord] = {};
  if (std::sscanf(line, "!%*s %*s %*s %63s", word) != 1) return;
  if (!valid(word)) {
    agent_log(4, "Settings block: invalid %s %s skipped", what, word);
    return;
  }
  strncpyt(field, word, sizeof field - 1);
}

bool http_port_ok(int port) { return veltrum::web::valid_web_port(port, 80); }
bool https_port_ok(int port) { return veltrum::web::valid_web_port(port, 443); }
bool sessions_ok(int n) { return n >= 1 && n <= 4; }
bool soft_ok(int n) { return n >= 0 && n <= 60; }
bool hard_ok(int n) { return n >= 0 && n <= 168; }

void apply_line(const char *line, AgentConfig &cfg) {
  char first[kWord] = {};
  char third[kWord] = {};
  if (std::sscanf(line, "!%63s %*s %63s", first, third) != 2) return;
  char fourth[kWord] = {};
  bool has_fourth = std::sscanf(line, "!%*s %*s %*s %63s", fourth) == 1;
  if (word_is(first, "no")) {
    if (!has_fourth) return;
    if (word_is(fourth, "server"))
      cfg.httpEnable = 0;
    else
      cfg.httpsEnable = 0;
    return;
  }
  if (!word_is(first, "ip")) return;
  if (word_is(third, "server")) {
    cfg.httpEnable = 1;
  } else if (word_is(third, "port")) {
    take_number(line, 3, &cfg.httpPort, http_port_ok, "HTTP port");
  } else if (word_is(third, "secure")) {
    if (has_fourth && word_is(fourth, "server"))
      cfg.httpsEnable = 1;
    else
      take_number(line, 4, &cfg.httpsPort, https_port_ok, "HTTPS port");
  } else if (word_is(third, "session")) {
    if (!has_fourth) return;
    if (word_is(fourth, "maxsessions"))
      take_number(line, 4, &cfg.maxSes, sessions_ok, "session count");
    else if (word_is(fourth, "soft_timeout"))
      take_number(line, 4, &cfg.softTimeout, soft_ok, "soft timeout");
    else if (word_is(fourth, "hard_timeout"))
      take_number(line, 4, &cfg.hardTimeout, hard_ok, "hard timeout");
  } else if (word_is(third, "language")) {
    take_text(line, cfg.httpLang, veltrum::web::valid_web_language, "language");
  } else if (word_is(third, "theme")) {
    take_text(line, cfg.themeSel, veltrum::web::valid_web_theme, "theme");
  }
}

}  // namespace

int write_export_staging(const AgentConfig &cfg, const char *startup, const char *staging) {
  {
    File out = open_file(staging, "w");
    if (!out) {
      agent_log(4, "Unable to open %s", staging);
      return -1;
    }
    char lang[sizeof cfg.httpLang] = {};
    char theme[sizeof cfg.themeSel] = {};
    strncpyt(lang, cfg.httpLang, sizeof lang - 1);
    strncpyt(theme, cfg.themeSel, sizeof theme - 1);
    FILE *f = out.get();
    std::fputs(kStartMarker, f);
    std::fputs(cfg.httpEnable == 1 ? "!ip http server\n" : "!no ip http server\n", f);
    std::fprintf(f, "!ip http port %d\n", cfg.httpPort);
    std::fputs(cfg.httpsEnable == 1 ? "!ip http secure server\n" : "!no ip http secure server\n", f);
    std::fprintf(f, "!ip http secure port %d\n", cfg.httpsPort);
    std::fprintf(f, "!ip http session maxsessions %d\n", cfg.maxSes);
    std::fprintf(f, "!ip http session soft_timeout %d\n", cfg.softTimeout);
    std::fprintf(f, "!ip http session hard_timeout %d\n", cfg.hardTimeout);
    std::fprintf(f, "!ip http language %s\n", lang);
    std::fprintf(f, "!ip http theme %s\n", theme);
    std::fputs(kEndMarker, f);
    if (std::ferror(f)) return -1;
  }
  File in = open_file(startup, "r");
  if (!in) {
    agent_log(4, "Unable to open %s", startup);
    return -1;
  }
  File out = open_file(staging, "a");
  if (!out) {
    agent_log(4, "Unable to open %s to append startup config", staging);
    return -1;
  }
  char *line = nullptr;
  size_t size = 0;
  while (getline(&line, &size, in.get()) != -1) std::fputs(line, out.get());
  std::free(line);
  return std::ferror(out.get()) ? -1 : 0;
}

int remove_settings_block(const char *path, const char *out) {
  File in = open_file(path, "r");
  if (!in) {
    agent_log(4, "Unable to open file %s", path ? path : "");
    return -1;
  }
  bool has_block = false;
  char line[kStripLine];
  while (std::fgets(line, sizeof line, in.get())) {
    if (std::strstr(line, kEndMarker)) {
      has_block = true;
      break;
    }
  }
  if (!has_block) std::rewind(in.get());
  File dest = open_file(out, "w");
  if (!dest) {
    agent_log(4, "Unable to open file %s", out ? out : "");
    return -1;
  }
  while (std::fgets(line, sizeof line, in.get())) std::fputs(line, dest.get());
  return std::ferror(dest.get()) ? -1 : 0;
}

int read_settings_block(const char *path, AgentConfig *cfg) {
  if (!cfg) return -1;
  File in = open_file(path, "r");
  if (!in) {
    agent_log(4, "Unable to open file %s", path ? path : "");
    return -1;
  }
  AgentConfig next = *cfg;
  char line[kBlockLine];
  while (std::fgets(line, sizeof line, in.get())) apply_line(line, next);
  if (next.httpEnable == 0 && next.httpsEnable == 0) {
    agent_log(4, "Settings block: both listeners off, keeping their states");
    next.httpEnable = cfg->httpEnable;
    next.httpsEnable = cfg->httpsEnable;
  }
  *cfg = next;
  dump_agent_config(cfg);
  return 0;
}
