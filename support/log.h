// agent_log: the agent's one logging call.
//
// Levels follow syslog: 1 fatal start-up and server errors, 3 job errors,
// 4 rejected input and handler failures, 6 the start banner, 7 routine traces.
// Lines at or below the threshold go to syslog (ident "Veltrum") or to
// standard error, chosen once by log_configure(); the default is standard
// error with threshold 7 so a developer sees everything.
//
// As a development aid, VELTRUM_LOG_LEVEL (a decimal integer) read at the
// first logging call replaces the default threshold 7; log_configure()
// still overrides it.
//
// On standard error each call writes one line "veltrum[<pid>] <level>: <text>",
// adding the newline only when the text lacks one. On syslog the level is the
// priority (facility daemon). Lines above the threshold are dropped before
// any formatting. Every call may come from any thread.
#pragma once

#include <cstdarg>

enum class LogSink { Stderr, Syslog };

// Names the program in each line ("veltrum" unless set; syslog takes it
// when it is first opened). `ident` must live as long as the process.
void log_set_ident(const char *ident);

// Sets where lines go and the highest level that is written.
void log_configure(LogSink sink, int threshold);
int log_threshold();

void agent_log(int level, const char *format, ...) __attribute__((format(printf, 2, 3)));
void agent_vlog(int level, const char *format, va_list args);
