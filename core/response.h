// Responses and the error model.
//
// Every answer travels in the request's ResponseHolder. Handlers fill it
// either directly (set_response: a status and a fixed text) or, as every
// configuration resource does, through uri_response, which wraps the data in
// the envelope {"resp": {...}, <resource name>: data}, reports the
// process-wide error record on failure, and always answers HTTP 200. A
// write that succeeded saves the running configuration itself, with
// save_running_config, before it answers.
//
// The error record and last_error_text are process-wide and unguarded: all
// handlers run one at a time on the server thread. The error record is
// never cleared, so a failure that sets no code of its own repeats the code
// (and arguments) of the last failure: clients rely on that carry-over.
#pragma once

#include <cstddef>
#include <cstdint>

#include <json-c/json.h>

struct MHD_Connection;

struct ResponseHolder {
  int32_t status;
  uint32_t length;  // bytes of body without the NUL; 0 without a body
  char *body;       // heap text, handed to libmicrohttpd when sent
};

struct rest_err_t {
  int32_t code;       // 0..99999
  json_object *args;  // the "errMsgArgs" object, or null
};

// A handler of one method of one resource. `request` is the parsed body
// (null for a GET and a DELETE without body), owned by the dispatcher.
typedef void (*uri_handler_t)(MHD_Connection *connection, ResponseHolder *response, json_object *request);
// Declares or defines a handler: VELTRUM_HANDLER(dai_stats_get) { ... }.
// Handlers are named <resource>_get, _post and _delete; the URI table's
// rows (uri/uri_rows.h) name them and declare them.
#define VELTRUM_HANDLER(name) \
  void name([[maybe_unused]] MHD_Connection *connection, [[maybe_unused]] ResponseHolder *response, \
            [[maybe_unused]] json_object *request)

// Detail text of the last failure, for the log only (never sent).
inline constexpr size_t kLastErrorSize = 1024;
extern char last_error_text[kLastErrorSize];

// The record, or null before the first error of the process.
const rest_err_t *rest_err();

void set_response(ResponseHolder *holder, const char *text, int status);
void set_rest_err(int code, json_object *args);
void uri_response(ResponseHolder *holder, json_object *envelope, json_object *resp, json_object *data,
                  const char *name, int rc);
void format_last_error(const char *format, ...) __attribute__((format(printf, 1, 2)));
// Makes a successful change permanent (the platform's save of the running
// configuration) and tells the companion agent.
void save_running_config();

// One member to extract: the name, and the value found (borrowed from the
// request object; null when absent).
struct JsonField {
  const char *name;
  json_object *value;
};

// Looks up `key` in `object` (or searches `object` itself without a key),
// then each field in order. Strict: the first missing member fails (-1)
// with "Parsing error (%s)" in last_error_text. Lenient: missing members
// stay null and only a missing key fails.
int parse_json_fields(const char *key, json_object *object, JsonField *fields, size_t count, bool lenient);

bool is_str_empty(const char *text);
