#include "support/log.h"

#include <pthread.h>
#include <syslog.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <string>

namespace {

// The logger's state. The first use reads VELTRUM_LOG_LEVEL so a developer
// can quieten or widen the default threshold without touching the code.
struct LogState;
LogState &state();

struct LogState {
  std::atomic<int> threshold{7};
  std::atomic<int> sink{static_cast<int>(LogSink::Stderr)};
  std::atomic<const char *> ident{"veltrum"};
  std::mutex write_mutex;  // keeps long standard-error lines whole
  std::once_flag syslog_opened;

  LogState() {
    // A child forked while another thread writes a line (the firmware jobs
    // fork from a process whose job threads log) would find the mutex held
    // for ever: the fork waits for the line to end instead.
    pthread_atfork([] { state().write_mutex.lock(); }, [] { state().write_mutex.unlock(); },
                   [] { state().write_mutex.unlock(); });
    const char *env = std::getenv("VELTRUM_LOG_LEVEL");
    if (env != nullptr && *env != '\0') {
      char *end = nullptr;
      long value = std::strtol(env, &end, 10);
      if (end != env && *end == '\0' && value >= -1 && value <= 100)
        threshold.store(static_cast<int>(value), std::memory_order_relaxed);
    }
  }
};

LogState &state() {
  // Never destroyed: worker threads may still log while the process exits.
  static LogState *s = new LogState();
  return *s;
}

void open_syslog_once(LogState &s) {
  std::call_once(s.syslog_opened, [&s] { openlog(s.ident.load(), LOG_PID, LOG_DAEMON); });
}

int syslog_priority(int level) {
  if (level < LOG_EMERG) return LOG_EMERG;
  if (level > LOG_DEBUG) return LOG_DEBUG;
  return level;
}

void write_all(int fd, const char *data, size_t size) {
  while (size > 0) {
    ssize_t n = ::write(fd, data, size);
    if (n < 0) {
      if (errno == EINTR) continue;
      return;
    }
    data += n;
    size -= static_cast<size_t>(n);
  }
}

void log_to_stderr(LogState &s, int level, const char *format, va_list args) {
  char prefix[64];
  int prefix_len = std::snprintf(prefix, sizeof prefix, "%s[%d] %d: ", s.ident.load(),
                                 static_cast<int>(::getpid()), level);
  if (prefix_len < 0) return;

  std::string line(prefix, static_cast<size_t>(prefix_len));
  char small[512];
  va_list copy;
  va_copy(copy, args);
  int text_len = std::vsnprintf(small, sizeof small, format, copy);
  va_end(copy);
  if (text_len < 0) return;
  if (static_cast<size_t>(text_len) < sizeof small) {
    line.append(small, static_cast<size_t>(text_len));
  } else {
    std::string text(static_cast<size_t>(text_len) + 1, '\0');
    va_copy(copy, args);
    std::vsnprintf(text.data(), text.size(), format, copy);
    va_end(copy);
    text.resize(static_cast<size_t>(text_len));
    line += text;
  }
  if (line.back() != '\n') line.push_back('\n');

  std::lock_guard<std::mutex> guard(s.write_mutex);
  write_all(STDERR_FILENO, line.data(), line.size());
}

}  // namespace

void log_set_ident(const char *ident) { state().ident.store(ident); }

void log_configure(LogSink sink, int threshold) {
  LogState &s = state();
  if (sink == LogSink::Syslog) open_syslog_once(s);
  s.threshold.store(threshold, std::memory_order_relaxed);
  s.sink.store(static_cast<int>(sink), std::memory_order_relaxed);
}

int log_threshold() { return state().threshold.load(std::memory_order_relaxed); }

void agent_vlog(int level, const char *format, va_list args) {
  LogState &s = state();
  // Dropped lines cost one comparison: nothing is formatted for them.
  if (level > s.threshold.load(std::memory_order_relaxed) || format == nullptr) return;

  if (s.sink.load(std::memory_order_relaxed) == static_cast<int>(LogSink::Syslog)) {
    open_syslog_once(s);
    va_list copy;
    va_copy(copy, args);
    vsyslog(syslog_priority(level), format, copy);
    va_end(copy);
    return;
  }
  log_to_stderr(s, level, format, args);
}

void agent_log(int level, const char *format, ...) {
  if (level > log_threshold()) return;
  va_list args;
  va_start(args, format);
  agent_vlog(level, format, args);
  va_end(args);
}
