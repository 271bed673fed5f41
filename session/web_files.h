// What the agent shares with the device's web front end: the certificate
// files, the directory of uploaded files, the monitor's reload signal, and
// the small helpers the front-end and file handlers use to run programs.
//
// Programs run through an argument vector (support/process.h), never a
// shell, whenever a client's text is among their arguments; the few shell
// commands left are fixed text around device paths, each path quoted.
#pragma once

#include <climits>
#include <cstddef>
#include <initializer_list>
#include <string>

#include <json-c/json.h>

#include "core/response.h"

// The certificate files of the web front end.
#define HTTPS_CERT_FILE "/mnt/fastpath/lighttpd/ssl/https_cert.pem"
#define HTTPS_KEY_FILE "/mnt/fastpath/lighttpd/ssl/https_key.key"
#define HTTPS_COMBINED_FILE "/mnt/fastpath/lighttpd/ssl/https_cert.cer"

// Where the web front end keeps the files a client uploads. A client may
// name a file to install or load only inside it.
#define WEB_UPLOAD_DIR "/tmp/upload"

namespace veltrum::web {

// `text` as one word of a shell command line (single-quoted).
std::string shell_quote(const std::string &text);

// Runs a program (searched on PATH unless the first word has a slash) with
// the given words; its output is discarded, or captured into `output`
// (`output_size` bytes, always terminated). The exit status, 128 + signal,
// or -1 (support/process.h).
int run_program(std::initializer_list<std::string> words, char *output = nullptr, size_t output_size = 0);
// Runs a fixed command line through /bin/sh -c, output discarded.
int run_shell(const std::string &command);

// Tells the web front end's monitor to reload ("lighttpdMon", SIGUSR1).
void signal_web_monitor();

// A device path a client gave (at most 127 characters are taken) that must
// name a regular file inside WEB_UPLOAD_DIR: resolved with every link
// followed, it must still lie inside. On success `resolved` is the host path
// of the file (under the device root), `device_file` (when given) its path
// on the device, and 0 is returned; -1 otherwise.
int resolve_upload(const char *client_path, std::string &resolved, std::string *device_file = nullptr);

// The settings rules of "http_config", shared with every other way in
// (a downloaded settings block): a port is `privileged` or 1024 to 65535;
// a language begins with "en", "de", "ja" or "auto"; a theme with
// "system", "light" or "dark".
bool valid_web_port(int port, int privileged);
bool valid_web_language(const char *text);
bool valid_web_theme(const char *text);

// Answers through the response builder: the envelope with `data` (when
// given) under `name`, the handler's result `rc`; a write (no data) that
// succeeded saves the running configuration first.
void answer(ResponseHolder *response, json_object *data, const char *name, int rc);

// A refusal: formats the message into last_error_text (core/response.h),
// logs it at level 4 and returns `rc`.
int refuse(int rc, const char *format, ...) __attribute__((format(printf, 2, 3)));

// An integer member as the handlers read it: a JSON integer, a boolean, or
// a text that is a whole decimal number; `invalid` for anything else or a
// value outside the int range, so that the handler's range check refuses it.
int member_int(json_object *value, int invalid = INT_MIN);

}  // namespace veltrum::web
