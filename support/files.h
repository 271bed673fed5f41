// File helpers of the support library. Paths are taken as given: callers
// resolve device paths with device_path() first.
#pragma once

#include <sys/types.h>

#include <string>
#include <string_view>

// open(2), tried again when a signal interrupts it.
int open_retry(const char *path, int flags, mode_t mode = 0);

// 1 when the path exists, 0 otherwise.
int exists(const char *path);

// A heap copy of the whole file, NUL-terminated (the caller frees it), or null.
char *load_file(const char *path);

// Copies `from` to `to` (created or truncated). 0 or -1.
int copy_file(const char *from, const char *to);

// Writes `content` to `path` atomically: a temporary file beside it is
// written, flushed to disk and renamed over the target, so a crash never
// leaves a half-written file. Creates missing parent directories. The file
// gets `mode` whatever it had before: 0600 unless told otherwise, since the
// files the system keeps for itself hold its configuration and secrets.
// 0 or -1.
int write_file_atomic(const std::string &path, std::string_view content, mode_t mode = 0600);

// Creates a directory and its parents (mode 0755). 0 or -1.
int make_dirs(const std::string &path);
