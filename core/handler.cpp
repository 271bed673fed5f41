#include "core/handler.h"

#include <cstdarg>

#include <microhttpd.h>

#include "core/validate.h"
#include "support/log.h"

namespace veltrum::handler {

namespace {

constexpr size_t kMaxFields = 64;

// Logs `format` given the value of a member: its text for a JSON string,
// its integer otherwise (the formats use %s and %d accordingly).
void log_value(const char *format, json_object *value) {
  if (!format) return;
  if (json_object_is_type(value, json_type_string))
    log_table_message(format, text_of(value));
  else
    log_table_message(format, static_cast<int>(int_of(value)));
}

}  // namespace

void log_table_message(const char *format, ...) {
  va_list ap;
  va_start(ap, format);
  agent_vlog(4, format, ap);
  va_end(ap);
}

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

void Outcome::finish_write(ResponseHolder *response, const char *name, int aggregate) {
  rc = (failures == 0 && !body_failed) ? 0 : -1;
  if (failures > 1) err_code = aggregate;
  if (rc != 0) {
    if (err_code == 0) err_code = aggregate;
    set_rest_err(err_code, err_args);
  }
  uri_response(response, envelope_, resp_, nullptr, name, rc);
}

void Outcome::finish_read(ResponseHolder *response, const char *name, json_object *data) {
  uri_response(response, envelope_, resp_, data, name, rc);
  json_object_put(data);
}

void Outcome::finish_plain(ResponseHolder *response, const char *name) {
  uri_response(response, envelope_, resp_, nullptr, name, rc);
}

// ---------------------------------------------------------------- checks

bool check_value(Outcome &out, const char *key, const Check &check, json_object *value) {
  int64_t v = int_of(value);
  switch (check.kind) {
    case CheckKind::None:
      return true;
    case CheckKind::Range:
      if (v >= check.min && v <= check.max) return true;
      log_value(check.log, value);
      ++out.failures;
      if (check.code > 0) out.code(check.code);
      out.detail_int("value", v);
      out.detail_text("params", check.label);
      out.detail_int("min", check.min);
      out.detail_int("max", check.max);
      return false;
    case CheckKind::Flag:
    case CheckKind::Choice:
      if (v >= check.min && v <= check.max) return true;
      log_value(check.log, value);
      ++out.failures;
      return false;
    case CheckKind::NonZero:
      if (v != 0) return true;
      log_value(check.log, value);
      ++out.failures;
      return false;
    case CheckKind::Port:
      if (v >= 0 && v <= UINT32_MAX && validate_port(static_cast<uint32_t>(v), check.port_kind) == 0) return true;
      log_value(check.log, value);
      ++out.failures;
      out.code(check.code);
      out.detail_int("port_id", v);
      return false;
    case CheckKind::Vlan:
      if (v >= 0 && v <= UINT32_MAX && validate_vlan(static_cast<uint32_t>(v)) == 0) return true;
      log_value(check.log, value);
      ++out.failures;
      out.code(check.code);
      out.detail_int("vlan_id", v);
      return false;
    case CheckKind::Mac:
      if (validate_mac_text(text_of(value)) == 0) return true;
      log_value(check.log, value);
      ++out.failures;
      out.code(check.code);
      out.detail_text("params", check.label);
      out.detail_text("value", text_of(value));
      return false;
    case CheckKind::Text: {
      auto n = static_cast<int64_t>(std::strlen(text_of(value)));
      if (json_object_is_type(value, json_type_string) && n >= check.min && n <= check.max) return true;
      log_value(check.log, value);
      ++out.failures;
      if (check.code > 0) out.code(check.code);
      out.detail_text("value", text_of(value));
      if (check.label) out.detail_text("params", check.label);
      return false;
    }
  }
  (void)key;
  return true;
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

// ---------------------------------------------------------------- GET

namespace {

// Reads every key of one element; false (with out.rc -1) at the first
// failing getter.
bool read_element(Outcome &out, const Resource &res, uint32_t index, json_object *element) {
  for (size_t i = 0; i < res.field_count; ++i) {
    const Field &f = res.fields[i];
    if (!f.get) continue;
    json_object *value = nullptr;
    out.result = f.get(index, &value);
    if (out.result != OPEN_E_NONE) {
      log_table_message(f.get_error ? f.get_error : "Failed to get %d", out.result);
      out.rc = -1;
      return false;
    }
    json_object_object_add(element, f.key, value);
  }
  return true;
}

// One list element: the index key, then every key read.
bool list_element(Outcome &out, const Resource &res, uint32_t index, json_object *array) {
  json_object *element = json_object_new_object();
  json_object_object_add(element, res.fields[0].key, json_object_new_int64(index));
  if (!read_element(out, res, index, element)) {
    json_object_put(element);
    return false;
  }
  json_object_array_add(array, element);
  return true;
}

}  // namespace

void resource_get(const Resource &res, ResponseHolder *response) {
  Outcome out;
  if (res.shape == Shape::Scalar) {
    json_object *data = json_object_new_object();
    if (read_element(out, res, 0, data)) {
      out.rc = 0;
      out.finish_read(response, res.name, data);
    } else {
      json_object_put(data);  // a failed read answers without data
      out.finish_read(response, res.name, nullptr);
    }
    return;
  }

  json_object *array = json_object_new_array();
  bool ok = true;
  if (res.shape == Shape::Interface) {
    for (OPEN_INTF_TYPE_t type : {OPEN_INTF_TYPE_PHY, OPEN_INTF_TYPE_LAG}) {
      int first = for_each_interface(type, [&](uint32_t ifNum) { return ok = list_element(out, res, ifNum, array); });
      if (first != OPEN_E_NONE) {
        log_table_message(res.first_intf_error, first);
        out.rc = -1;
        ok = false;
      }
      if (!ok) break;
    }
  } else {
    uint32_t vlan = 0;
    while (ok && openapiVlanNextGet(&g_client_handle, vlan, &vlan) == OPEN_E_NONE)
      ok = list_element(out, res, vlan, array);
  }
  if (ok) out.rc = 0;
  out.finish_read(response, res.name, array);
}

// ---------------------------------------------------------------- POST

namespace {

void log_set_failure(const Field &f, const SetLog how, uint32_t index, json_object *value, int result) {
  const char *format = f.set_error ? f.set_error : "Failed to set %d";
  switch (how) {
    case SetLog::Rc:
      log_table_message(format, result);
      break;
    case SetLog::IndexRc:
      log_table_message(format, static_cast<int>(index), result);
      break;
    case SetLog::ValueRc:
      if (json_object_is_type(value, json_type_string))
        log_table_message(format, text_of(value), result);
      else
        log_table_message(format, static_cast<int>(int_of(value)), result);
      break;
  }
}

void scalar_post(const Resource &res, json_object *request, ResponseHolder *response) {
  Outcome out;
  JsonField fields[kMaxFields];
  for (size_t i = 0; i < res.field_count; ++i) fields[i] = {res.fields[i].key, nullptr};
  if (parse_json_fields(res.name, request, fields, res.field_count, false) != 0) {
    out.finish_plain(response, res.name);
    return;
  }
  for (size_t i = 0; i < res.field_count; ++i)
    if (!check_value(out, res.fields[i].key, res.fields[i].check, fields[i].value)) {
      out.finish_plain(response, res.name);
      return;
    }
  for (size_t i = 0; i < res.field_count; ++i) {
    const Field &f = res.fields[i];
    if (!f.set) continue;
    out.result = f.set(0, fields[i].value);
    if (out.result != OPEN_E_NONE) {
      log_set_failure(f, f.set_log, 0, fields[i].value, out.result);
      out.finish_plain(response, res.name);
      return;
    }
  }
  out.rc = 0;
  out.finish_plain(response, res.name);
}

}  // namespace

void resource_post(const Resource &res, json_object *request, ResponseHolder *response) {
  if (res.shape == Shape::Scalar) {
    scalar_post(res, request, response);
    return;
  }
  Outcome out;
  json_object *array = request_array(request, res.name, res.missing_key_log);
  if (!array) {
    out.body_failed = true;
    out.finish_write(response, res.name, res.aggregate);
    return;
  }
  JsonField fields[kMaxFields];
  for (size_t e = 0; e < json_object_array_length(array); ++e) {
    json_object *element = json_object_array_get_idx(array, e);
    for (size_t i = 0; i < res.field_count; ++i) fields[i] = {res.fields[i].key, nullptr};
    if (parse_json_fields(nullptr, element, fields, res.field_count, false) != 0) continue;  // skipped, not counted

    bool valid = true;
    for (size_t i = 0; valid && i < res.field_count; ++i)
      valid = check_value(out, res.fields[i].key, res.fields[i].check, fields[i].value);
    if (!valid) continue;

    auto index = static_cast<uint32_t>(int_of(fields[0].value));
    for (size_t i = 0; i < res.field_count; ++i) {
      const Field &f = res.fields[i];
      if (!f.set) continue;
      out.result = f.set(index, fields[i].value);
      if (out.result != OPEN_E_NONE) {
        log_set_failure(f, f.set_log, index, fields[i].value, out.result);
        ++out.failures;
        break;
      }
    }
  }
  out.finish_write(response, res.name, res.aggregate);
}

}  // namespace veltrum::handler
