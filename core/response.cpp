#include "core/response.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#include "core/log_mask.h"
#include "core/platform_client.h"
#include "support/device.h"
#include "support/log.h"
#include "support/process.h"

char last_error_text[kLastErrorSize];

namespace {
rest_err_t *g_rest_err = nullptr;
}

const rest_err_t *rest_err() { return g_rest_err; }

// A body stored earlier is released here: the dispatcher resets the holder
// before the handler answers, and a DELETE whose handler left no answer is
// dispatched a second time. The copy is made first, so the text may be the
// holder's own body.
void set_response(ResponseHolder *holder, const char *text, int status) {
  if (!holder) return;
  char *copy = text ? strdup(text) : nullptr;
  std::free(holder->body);
  holder->body = copy;
  holder->length = copy ? static_cast<uint32_t>(std::strlen(copy)) : 0;
  holder->status = status;
}

void set_rest_err(int code, json_object *args) {
  if (!g_rest_err) {
    g_rest_err = static_cast<rest_err_t *>(std::calloc(1, sizeof(rest_err_t)));
    if (!g_rest_err) {
      agent_log(4, "Failed to allocate memory for rest_err_t.");
      return;
    }
  }
  if (code < 0 || code > 99999) {
    agent_log(4, "Invalid error code %d.", code);
    return;
  }
  g_rest_err->code = code;
  if (args) {
    // An error detail goes to the client and, with every later failure
    // envelope, to whoever fails next: it never carries a secret.
    blank_secret_members(args);
    // The record keeps a reference of its own: the handler releases its
    // envelope (and with it whatever the builder added) after each answer.
    json_object_get(args);
    json_object_put(g_rest_err->args);
    g_rest_err->args = args;
  }
}

void format_last_error(const char *format, ...) {
  std::memset(last_error_text, 0, sizeof last_error_text);
  va_list ap;
  va_start(ap, format);
  std::vsnprintf(last_error_text, sizeof last_error_text, format, ap);
  va_end(ap);
}

bool is_str_empty(const char *text) { return !text || !*text; }

void save_running_config() {
  if (rpcclt_openapiSaveConfig(&g_client_handle) != OPEN_E_NONE)
    agent_log(7, "func=%s openapiSaveConfig Failed.", "uri_response");
  std::string program = device_path("/bin/PellmarCli");
  char *argv[] = {const_cast<char *>(program.c_str()), const_cast<char *>("instant_monitoring"), nullptr};
  char output[512] = {};
  execvp_cmd(program.c_str(), argv, output, sizeof output);
}

void uri_response(ResponseHolder *holder, json_object *envelope, json_object *resp, json_object *data,
                  const char *name, int rc) {
  if (!holder || !envelope || !resp) return;
  if (rc != 0) {
    json_object_object_add(resp, "status", json_object_new_string("failure"));
    json_object_object_add(resp, "respCode", json_object_new_int(rc));
    if (g_rest_err) {
      json_object_object_add(resp, "errCode", json_object_new_int(g_rest_err->code));
      // The envelope gets a reference of its own, so the record survives
      // the handler releasing the envelope.
      if (g_rest_err->args) json_object_object_add(resp, "errMsgArgs", json_object_get(g_rest_err->args));
    }
  } else {
    json_object_object_add(resp, "status", json_object_new_string("success"));
    json_object_object_add(resp, "respCode", json_object_new_int(0));
    json_object_object_add(resp, "respMsg", json_object_new_string("Operation success"));
  }
  // The envelope takes references of its own to resp and data, so the
  // handler's own json_object_put of each stays balanced.
  json_object_object_add(envelope, "resp", json_object_get(resp));
  if (data) json_object_object_add(envelope, name ? name : "", json_object_get(data));
  const char *text = json_object_to_json_string_ext(envelope, JSON_C_TO_STRING_NOSLASHESCAPE);
  // Answers that carry tokens (the login resources) are never logged, and
  // secrets in any other answer are masked like those of request lines; an
  // answer without secret members (nearly all) is logged as it was made.
  if (log_threshold() >= 7 && !std::strstr(text, "login"))
    agent_log(7, "%s", has_secret_member(envelope) ? masked_json_text(envelope).c_str() : text);
  set_response(holder, text, 200);
}

int parse_json_fields(const char *key, json_object *object, JsonField *fields, size_t count, bool lenient) {
  json_object *scope = object;
  if (key) {
    if (!json_object_object_get_ex(object, key, &scope)) {
      format_last_error("Parsing error (%s)", key);
      return -1;
    }
  }
  for (size_t i = 0; i < count; ++i) {
    fields[i].value = nullptr;
    if (!json_object_object_get_ex(scope, fields[i].name, &fields[i].value)) {
      fields[i].value = nullptr;
      format_last_error("Parsing error (%s)", fields[i].name);
      if (!lenient) return -1;
    }
  }
  return 0;
}
