// agent_log: the agent's one logging call.
//
// Levels follow syslog: 1 fatal start-up and server errors, 3 job errors,
// 4 rejected input and handler failures, 6 the start banner, 7 routine traces.
// Lines at or below the threshold go to syslog (ident "Veltrum") or to
// standard error, chosen once by log_configure(); the default is standard
// error with threshold 7 so a developer sees everything.
#pragma once

#include <cstdarg>

enum class LogSink { Stderr, Syslog };

// Sets where lines go and the highest level that is written.
void log_configure(LogSink sink, int threshold);
int log_threshold();

void agent_log(int level, const char *format, ...) __attribute__((format(printf, 2, 3)));
void agent_vlog(int level, const char *format, va_list args);
