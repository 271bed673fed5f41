// The outcome of one handler call, reading members' values, and the small
// helpers every walker and handler of its own uses.
#include <cerrno>
#include <cmath>
#include <cstdarg>
#include <cstdlib>
#include <cstring>

#include <json-c/json.h>
#include <microhttpd.h>

#include "core/handler_detail.h"
#include "core/validate.h"
#include "support/log.h"

namespace veltrum::handler {

void log_table_message(const char *format, ...) {
  va_list ap;
  va_start(ap, format);
  agent_vlog(4, format, ap);
  va_end(ap);
}

namespace detail {


// The conversion of a format's first argument ('s', 'd', ...), 0 when it
// takes none.
char first_conversion(const char *format) {
  for (const char *p = format; (p = std::strchr(p, '%')); ) {
    ++p;
    if (*p == '%') {
      ++p;
      continue;
    }
    while (*p && std::strchr("-+ #0123456789.lhjzt", *p)) ++p;
    return *p;
  }
  return 0;
}

// Logs a table format whose first argument is a member's value: its text
// where the format reads a text, its number otherwise, whatever the JSON
// type of the value (a client may send either); `rest` follows.
void log_with_value(const char *format, json_object *value, int rest) {
  if (first_conversion(format) == 's')
    log_table_message(format, text_of(value), rest);
  else
    log_table_message(format, static_cast<int>(int_of(value)), rest);
}

}  // namespace detail

using detail::first_conversion;

// ---------------------------------------------------------------- outcome

Outcome::Outcome()
    : err_args(json_object_new_object()), envelope_(json_object_new_object()), resp_(json_object_new_object()) {}

Outcome::~Outcome() {
  json_object_put(err_args);
  json_object_put(resp_);
  json_object_put(envelope_);
}

void Outcome::fail(const char *format, ...) {
  va_list ap;
  va_start(ap, format);
  agent_vlog(4, format, ap);
  va_end(ap);
  ++failures;
}

void Outcome::fail_apply(const char *format, ...) {
  va_list ap;
  va_start(ap, format);
  agent_vlog(4, format, ap);
  va_end(ap);
  ++apply_failures;
}

bool Outcome::finish_write(ResponseHolder *response, const char *name, int aggregate, json_object *data) {
  rc = (total_failures() == 0 && !body_failed) ? 0 : -1;
  if (total_failures() > 1) err_code = aggregate;
  if (rc != 0) {
    if (err_code == 0) err_code = aggregate;
    set_rest_err(err_code, err_args);
  }
  answer_write(response, name, data);
  return rc == 0;
}

void Outcome::finish_scalar(ResponseHolder *response, const char *name) {
  if (rc != 0 && err_code > 0) set_rest_err(err_code, err_args);
  answer_write(response, name);
}

void Outcome::finish_read(ResponseHolder *response, const char *name, json_object *data) {
  uri_response(response, envelope_, resp_, data, name, rc);
  json_object_put(data);
}

void Outcome::finish_plain(ResponseHolder *response, const char *name) { answer_write(response, name); }

void Outcome::answer_write(ResponseHolder *response, const char *name, json_object *data) {
  if (rc == 0) save_running_config();
  uri_response(response, envelope_, resp_, data, name, rc);
  json_object_put(data);
}

// ---------------------------------------------------------------- reading values

bool read_int(json_object *value, int64_t &out) {
  switch (json_object_get_type(value)) {
    case json_type_int:
      errno = 0;
      out = json_object_get_int64(value);
      // json-c clamps integers beyond int64 and says so in errno.
      return errno == 0 || (out != INT64_MAX && out != INT64_MIN);
    case json_type_boolean:
      out = json_object_get_boolean(value) ? 1 : 0;
      return true;
    case json_type_double: {
      double d = json_object_get_double(value);
      if (!std::isfinite(d) || d != std::floor(d) || std::fabs(d) > 9.0e15) return false;
      out = static_cast<int64_t>(d);
      return true;
    }
    case json_type_string: {
      const char *s = json_object_get_string(value);
      if (!*s) return false;
      char *end = nullptr;
      errno = 0;
      long long v = std::strtoll(s, &end, 10);
      if (errno != 0 || *end != '\0' || end == s || isspace(static_cast<unsigned char>(*s))) return false;
      out = v;
      return true;
    }
    default:
      return false;
  }
}

bool read_text(json_object *value, std::string &out) {
  switch (json_object_get_type(value)) {
    case json_type_string:
      out.assign(json_object_get_string(value), static_cast<size_t>(json_object_get_string_len(value)));
      return out.find('\0') == std::string::npos;
    case json_type_int:
      out = std::to_string(json_object_get_int64(value));
      return true;
    default:
      return false;
  }
}

int64_t int_of(json_object *value) {
  int64_t v = 0;
  read_int(value, v);
  return v;
}

const char *text_of(json_object *value) {
  const char *s = value ? json_object_get_string(value) : nullptr;
  return s ? s : "";
}


// ---------------------------------------------------------------- elements

json_object *Element::value(const char *key) const {
  for (const Element *e = this; e; e = e->parent) {
    if (!e->values || !e->resource) continue;
    for (size_t i = 0; i < e->resource->fields.size(); ++i)
      if (std::strcmp(e->resource->fields[i].key, key) == 0 && e->values[i]) return e->values[i];
  }
  return nullptr;
}

json_object *Element::query_value(const char *key) const {
  for (const Element *e = this; e; e = e->parent) {
    if (!e->query || !e->resource) continue;
    for (size_t i = 0; i < e->resource->query.size(); ++i)
      if (std::strcmp(e->resource->query[i].name, key) == 0) return e->query[i];
  }
  return nullptr;
}

// ---------------------------------------------------------------- helpers

json_object *request_array(json_object *request, const char *key, const char *missing_log) {
  json_object *array = nullptr;
  if (!request || !json_object_object_get_ex(request, key, &array)) {
    log_table_message(missing_log ? missing_log : "Parsing Error %s object ", key);
    return nullptr;
  }
  if (!json_object_is_type(array, json_type_array)) {
    agent_log(4, "Parsing error - expected array ");
    return nullptr;
  }
  return array;
}

const char *query_arg(MHD_Connection *connection, const char *key) {
  if (!connection) return nullptr;
  const char *v = MHD_lookup_connection_value(connection, MHD_GET_ARGUMENT_KIND, key);
  return (v && *v) ? v : nullptr;
}

}  // namespace veltrum::handler
