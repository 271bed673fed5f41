#include "core/handler.h"

#include <arpa/inet.h>

#include <cerrno>
#include <cmath>
#include <cstdarg>
#include <cstdlib>
#include <vector>

#include <microhttpd.h>

#include "core/validate.h"
#include "support/log.h"

namespace veltrum::handler {

namespace {

// The most keys one element may have; a declaration with more is refused
// at start (check_declarations).
constexpr size_t kMaxFields = 64;
constexpr size_t kMaxQuery = 8;

}  // namespace

void log_table_message(const char *format, ...) {
  va_list ap;
  va_start(ap, format);
  agent_vlog(4, format, ap);
  va_end(ap);
}

namespace {

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
void log_with_value(const char *format, json_object *value, int rest = 0) {
  if (first_conversion(format) == 's')
    log_table_message(format, text_of(value), rest);
  else
    log_table_message(format, static_cast<int>(int_of(value)), rest);
}

}  // namespace

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

void Outcome::finish_write(ResponseHolder *response, const char *name, int aggregate) {
  rc = (total_failures() == 0 && !body_failed) ? 0 : -1;
  if (total_failures() > 1) err_code = aggregate;
  if (rc != 0) {
    if (err_code == 0) err_code = aggregate;
    set_rest_err(err_code, err_args);
  }
  uri_response(response, envelope_, resp_, nullptr, name, rc);
}

void Outcome::finish_scalar(ResponseHolder *response, const char *name) {
  if (rc != 0 && err_code > 0) set_rest_err(err_code, err_args);
  uri_response(response, envelope_, resp_, nullptr, name, rc);
}

void Outcome::finish_read(ResponseHolder *response, const char *name, json_object *data) {
  uri_response(response, envelope_, resp_, data, name, rc);
  json_object_put(data);
}

void Outcome::finish_plain(ResponseHolder *response, const char *name) {
  uri_response(response, envelope_, resp_, nullptr, name, rc);
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

// ---------------------------------------------------------------- checks

bool numeric_check(const Check &check) {
  switch (check.kind) {
    case CheckKind::Custom:
      return check.numeric;
    case CheckKind::Range:
    case CheckKind::Limits:
    case CheckKind::Flag:
    case CheckKind::Choice:
    case CheckKind::OneOf:
    case CheckKind::NonZero:
    case CheckKind::Port:
    case CheckKind::Vlan:
    case CheckKind::Number:
      return true;
    default:
      return false;
  }
}

namespace {

// Logs a check's message with what its LogArgs say.
void log_check(const Check &check, json_object *value, int64_t number, int64_t min, int64_t max) {
  if (!check.log) return;
  switch (check.log_args) {
    case LogArgs::Value:
      if (numeric_check(check) && first_conversion(check.log) != 's')
        log_table_message(check.log, static_cast<int>(number));
      else
        log_with_value(check.log, value);
      break;
    case LogArgs::MinMax:
      log_table_message(check.log, static_cast<int>(min), static_cast<int>(max));
      break;
    case LogArgs::Max:
      log_table_message(check.log, static_cast<int>(max));
      break;
    case LogArgs::None:
      log_table_message("%s", check.log);
      break;
    case LogArgs::ValueMinMax:
      log_table_message(check.log, static_cast<int>(number), static_cast<int>(min), static_cast<int>(max));
      break;
  }
}

bool valid_mask(const char *text) {
  in_addr a{};
  if (inet_pton(AF_INET, text, &a) != 1) return false;
  uint32_t inverse = ~ntohl(a.s_addr);
  return (inverse & (inverse + 1)) == 0;  // ones, then zeros
}

bool text_passes(const Check &check, const std::string &text, int64_t min, int64_t max) {
  if (check.allow_empty && text.empty()) return true;
  switch (check.kind) {
    case CheckKind::Mac:
      return validate_mac_text(text.c_str()) == 0;
    case CheckKind::Text:
      return static_cast<int64_t>(text.size()) >= min && static_cast<int64_t>(text.size()) <= max;
    case CheckKind::Ipv4:
      return validate_ipv4_text(text.c_str()) == 0;
    case CheckKind::Ipv6:
      return validate_ipv6_text(text.c_str()) == 0;
    case CheckKind::Ip:
      return validate_ipv4_text(text.c_str()) == 0 || validate_ipv6_text(text.c_str()) == 0;
    case CheckKind::Mask:
      return valid_mask(text.c_str());
    case CheckKind::Host:
      return validate_ipv4_text(text.c_str()) == 0 || validate_ipv6_text(text.c_str()) == 0 ||
             validate_host_name(text.c_str()) == 0;
    default:
      return true;
  }
}

}  // namespace

bool check_value(Outcome &out, const char *key, const Check &check, json_object *value) {
  if (check.kind == CheckKind::Custom) return check.custom(out, key, value);
  if (check.kind == CheckKind::None) {
    int64_t n = 0;
    std::string t;
    if (read_int(value, n) || read_text(value, t)) return true;
    out.fail("Invalid value of %s", key);
    return false;
  }

  if (!numeric_check(check)) {
    std::string text;
    bool readable = read_text(value, text);
    int64_t min = check.min;
    int64_t max = check.max;
    if (readable && check.kind == CheckKind::Text && check.limits) {
      int rc = check.limits(min, max);
      if (rc != OPEN_E_NONE) {
        out.fail("Failed to get the range of %s and error code:%d", key, rc);
        return false;
      }
    }
    if (readable && text_passes(check, text, min, max)) return true;
    if (check.secret) {
      // Neither the log nor the answer shows a secret: the bounds only.
      if (check.log) log_table_message(check.log, static_cast<int>(max));
      if (!readable) agent_log(4, "%s: not a text", key);
      ++out.failures;
      return false;
    }
    log_check(check, value, 0, min, max);
    if (!readable) agent_log(4, "%s: not a text", key);
    ++out.failures;
    if (check.code > 0) out.code(check.code);
    if (check.kind == CheckKind::Text) {
      out.detail_text("value", text.c_str());
      if (check.label) out.detail_text("params", check.label);
    } else if (check.label || check.kind == CheckKind::Mac) {
      out.detail_text("params", check.label);
      out.detail_text("value", text.c_str());
    }
    return false;
  }

  int64_t v = 0;
  bool readable = read_int(value, v);
  int64_t min = check.min;
  int64_t max = check.max;
  bool ok = false;
  if (readable) {
    switch (check.kind) {
      case CheckKind::Range:
      case CheckKind::Flag:
      case CheckKind::Choice:
        ok = v >= min && v <= max;
        break;
      case CheckKind::Limits: {
        int rc = check.limits(min, max);
        if (rc != OPEN_E_NONE) {
          out.fail("Failed to get the range of %s and error code:%d", key, rc);
          return false;
        }
        ok = v >= min && v <= max;
        break;
      }
      case CheckKind::OneOf:
        for (size_t i = 0; i < check.value_count && !ok; ++i) ok = check.values[i] == v;
        break;
      case CheckKind::NonZero:
        ok = v != 0;
        break;
      case CheckKind::Port:
        ok = v >= 0 && v <= UINT32_MAX && validate_port(static_cast<uint32_t>(v), check.port_kind) == 0;
        break;
      case CheckKind::Vlan:
        ok = v >= 0 && v <= UINT32_MAX && validate_vlan(static_cast<uint32_t>(v)) == 0;
        break;
      default:
        ok = true;
        break;
    }
  }
  if (ok) return true;

  if (readable)
    log_check(check, value, v, min, max);
  else
    agent_log(4, "%s: not a number", key);
  ++out.failures;
  json_object *shown = readable ? json_object_new_int64(v) : json_object_get(value);
  switch (check.kind) {
    case CheckKind::Range:
    case CheckKind::Limits:
      if (check.code > 0) out.code(check.code);
      out.detail("value", shown);
      out.detail_text("params", check.label);
      out.detail_int("min", min);
      out.detail_int("max", max);
      return false;
    case CheckKind::Port:
      out.code(check.code);
      out.detail("port_id", shown);
      return false;
    case CheckKind::Vlan:
      out.code(check.code);
      out.detail("vlan_id", shown);
      return false;
    default:
      json_object_put(shown);
      return false;
  }
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

// ---------------------------------------------------------------- roles of keys

namespace {

bool indexed_by_first_field(const Resource &r) {
  return r.walk.kind == WalkKind::Ports || r.walk.kind == WalkKind::PhysicalPorts || r.walk.kind == WalkKind::Vlans;
}

bool is_index(const Resource &r, size_t i) {
  return indexed_by_first_field(r) ? i == 0 : (r.fields[i].flags & kIndex) != 0;
}

bool listed(const Resource &r, size_t i) {
  const Field &f = r.fields[i];
  if (is_index(r, i)) return true;
  return f.flags ? (f.flags & kGet) != 0 : f.get != nullptr;
}

bool posted(const Resource &r, size_t i) {
  const Field &f = r.fields[i];
  if (is_index(r, i)) return true;
  return f.flags ? (f.flags & kPost) != 0 : (f.set != nullptr || f.check.kind != CheckKind::None);
}

bool deleted(const Resource &r, size_t i) { return is_index(r, i) || (r.fields[i].flags & kDelete) != 0; }

// The parts of the index the element's own index fields take, after its
// parent's.
void index_from_values(const Resource &r, Element &e, json_object *const *values) {
  for (size_t i = 0; i < r.fields.size(); ++i) {
    if (!is_index(r, i) || !values[i]) continue;
    if (numeric_check(r.fields[i].check)) {
      if (e.index.nums < Index::kParts) e.index.num[e.index.nums++] = static_cast<uint32_t>(int_of(values[i]));
    } else if (e.index.texts < 2) {
      read_text(values[i], e.index.text[e.index.texts++]);
    }
  }
}

// The index fields of one element as JSON, from its index.
void index_to_json(const Resource &r, const Element &e, uint8_t base_nums, uint8_t base_texts, json_object *obj) {
  uint8_t n = base_nums;
  uint8_t t = base_texts;
  for (size_t i = 0; i < r.fields.size(); ++i) {
    if (!is_index(r, i)) continue;
    if (numeric_check(r.fields[i].check))
      json_object_object_add(obj, r.fields[i].key, json_object_new_int64(n < Index::kParts ? e.index.num[n++] : 0));
    else
      json_object_object_add(obj, r.fields[i].key, json_object_new_string(t < 2 ? e.index.text[t++].c_str() : ""));
  }
}

// ---------------------------------------------------------------- query variables

// The request's query variables as JSON values (numbers for numeric
// checks), checked; false after logging when a required one is absent or
// one fails its check. `values` is owned by the caller.
bool read_query(const Resource &r, MHD_Connection *connection, Outcome &out, json_object **values) {
  for (size_t i = 0; i < r.query.size(); ++i) {
    const Query &q = r.query[i];
    const char *text = query_arg(connection, q.name);
    if (!text) {
      if (q.missing_log) {
        log_table_message("%s", q.missing_log);
        return false;
      }
      continue;
    }
    values[i] = json_object_new_string(text);
    if (numeric_check(q.check)) {
      int64_t n = 0;
      if (!read_int(values[i], n)) {
        agent_log(4, "%s: not a number in the query", q.name);
        return false;
      }
      json_object_put(values[i]);
      values[i] = json_object_new_int64(n);
    }
    Outcome scratch;  // a query failure answers plainly, without error details
    if (!check_value(scratch, q.name, q.check, values[i])) return false;
  }
  return true;
}

struct QueryValues {
  json_object *v[kMaxQuery] = {};
  ~QueryValues() {
    for (auto *x : v) json_object_put(x);
  }
};

// The index parts a Single walk takes from its query variables, and the
// filter a List walk applies.
void index_from_query(const Resource &r, json_object *const *query, Element &e) {
  for (size_t i = 0; i < r.query.size(); ++i) {
    if (r.query[i].index < 0 || !query[i]) continue;
    if (numeric_check(r.query[i].check)) {
      e.index.num[r.query[i].index] = static_cast<uint32_t>(int_of(query[i]));
      e.index.nums = std::max<uint8_t>(e.index.nums, r.query[i].index + 1);
    } else {
      read_text(query[i], e.index.text[r.query[i].index]);
      e.index.texts = std::max<uint8_t>(e.index.texts, r.query[i].index + 1);
    }
  }
}

bool passes_filter(const Resource &r, json_object *const *query, const Element &e) {
  for (size_t i = 0; i < r.query.size(); ++i) {
    if (r.query[i].index < 0 || !query[i]) continue;
    if (numeric_check(r.query[i].check)) {
      if (e.index.num[r.query[i].index] != static_cast<uint32_t>(int_of(query[i]))) return false;
    } else if (e.index.text[r.query[i].index] != text_of(query[i])) {
      return false;
    }
  }
  return true;
}

bool has_filter(const Resource &r, json_object *const *query) {
  for (size_t i = 0; i < r.query.size(); ++i)
    if (r.query[i].index >= 0 && query[i]) return true;
  return false;
}

// ---------------------------------------------------------------- GET

bool walk_list(Outcome &out, const Resource &r, Element &base, json_object *array);

// Reads every listed key of one element into `obj`; false (with out.rc -1)
// at the first failing getter.
bool read_element(Outcome &out, const Resource &r, const Element &e, json_object *obj) {
  for (size_t i = 0; i < r.fields.size(); ++i) {
    const Field &f = r.fields[i];
    if (is_index(r, i) || !listed(r, i) || !f.get) continue;
    json_object *value = nullptr;
    out.result = f.get(e, &value);
    if (out.result != OPEN_E_NONE) {
      log_table_message(f.get_error ? f.get_error : "Failed to get %d", out.result);
      out.rc = -1;
      return false;
    }
    if ((f.flags & kMerge) && json_object_is_type(value, json_type_object)) {
      json_object_object_foreach(value, member, member_value) json_object_object_add(obj, member, json_object_get(member_value));
      json_object_put(value);
    } else {
      json_object_object_add(obj, f.key, value);
    }
  }
  if (r.nested) {
    Element child_base;
    child_base.resource = r.nested->child;
    child_base.connection = e.connection;
    child_base.index = e.index;
    child_base.parent = &e;
    json_object *children = json_object_new_array();
    json_object_object_add(obj, r.nested->list_key ? r.nested->list_key : r.nested->key, children);
    if (!walk_list(out, *r.nested->child, child_base, children)) return false;
  }
  return true;
}

// One list element: its index keys, then every key read.
bool list_element(Outcome &out, const Resource &r, const Element &e, uint8_t base_nums, uint8_t base_texts,
                  json_object *array) {
  json_object *obj = json_object_new_object();
  index_to_json(r, e, base_nums, base_texts, obj);
  if (!read_element(out, r, e, obj)) {
    json_object_put(obj);
    return false;
  }
  json_object_array_add(array, obj);
  return true;
}

// Walks the elements of `r` from `base` (its parent's index, query and
// connection) into `array`. False when the walk failed (out.rc -1).
bool walk_list(Outcome &out, const Resource &r, Element &base, json_object *array) {
  const uint8_t base_nums = base.index.nums;
  const uint8_t base_texts = base.index.texts;
  switch (r.walk.kind) {
    case WalkKind::Ports:
    case WalkKind::PhysicalPorts: {
      bool ok = true;
      for (OPEN_INTF_TYPE_t type : {OPEN_INTF_TYPE_PHY, OPEN_INTF_TYPE_LAG}) {
        if (type == OPEN_INTF_TYPE_LAG && r.walk.kind == WalkKind::PhysicalPorts) break;
        int first = for_each_interface(type, [&](uint32_t ifNum) {
          Element e = base;
          e.index.num[base_nums] = ifNum;
          e.index.nums = base_nums + 1;
          return ok = list_element(out, r, e, base_nums, base_texts, array);
        });
        if (first != OPEN_E_NONE) {
          if (r.walk.first_error) log_table_message(r.walk.first_error, first);
          ok = false;
        }
        if (!ok) break;
      }
      if (!ok) out.rc = -1;
      return ok;
    }
    case WalkKind::Vlans: {
      uint32_t vlan = 0;
      for (;;) {
        int rc = openapiVlanNextGet(&g_client_handle, vlan, &vlan);
        if (rc != OPEN_E_NONE) {
          if (walk_ended(rc)) return true;
          agent_log(4, "Failed to walk the VLANs and error code:%d", rc);
          out.rc = -1;
          return false;
        }
        Element e = base;
        e.index.num[base_nums] = vlan;
        e.index.nums = base_nums + 1;
        if (!list_element(out, r, e, base_nums, base_texts, array)) return false;
      }
    }
    case WalkKind::List: {
      Element e = base;
      bool filtered = base.query && has_filter(r, base.query);
      for (bool first = true;; first = false) {
        json_object_put(e.row);
        e.row = json_object_new_object();
        if (first) {
          // The walk's own parts start from zero and the empty text.
          for (size_t p = base_nums; p < Index::kParts; ++p) e.index.num[p] = 0;
          for (size_t p = base_texts; p < 2; ++p) e.index.text[p].clear();
          e.index.nums = base_nums;
          e.index.texts = base_texts;
        }
        int rc = r.walk.next(e, first);
        if (rc != OPEN_E_NONE) {
          json_object_put(e.row);
          e.row = nullptr;
          if (walk_ended(rc)) return true;
          if (r.walk.first_error) log_table_message(r.walk.first_error, rc);
          out.rc = -1;
          return false;
        }
        if (filtered && !passes_filter(r, base.query, e)) continue;
        bool ok = list_element(out, r, e, base_nums, base_texts, array);
        if (!ok || filtered) {
          json_object_put(e.row);
          return ok;
        }
      }
    }
    default:
      return true;
  }
}

}  // namespace

void resource_get(const Resource &r, MHD_Connection *connection, ResponseHolder *response) {
  Outcome out;
  QueryValues query;
  if (!read_query(r, connection, out, query.v)) {
    out.finish_read(response, r.name, nullptr);
    return;
  }
  Element e;
  e.resource = &r;
  e.connection = connection;
  e.query = query.v;

  if (r.walk.kind == WalkKind::Scalar || r.walk.kind == WalkKind::Single) {
    index_from_query(r, query.v, e);
    json_object *data = json_object_new_object();
    if (r.walk.kind == WalkKind::Single)
      for (size_t i = 0; i < r.query.size(); ++i)
        if (r.query[i].index >= 0 && query.v[i]) json_object_object_add(data, r.query[i].name, json_object_get(query.v[i]));
    if (read_element(out, r, e, data)) {
      out.rc = 0;
      out.finish_read(response, r.name, data);
    } else {
      json_object_put(data);  // a failed read answers without data
      out.finish_read(response, r.name, nullptr);
    }
    return;
  }

  json_object *array = json_object_new_array();
  if (walk_list(out, r, e, array)) out.rc = 0;
  json_object *data = array;
  if (r.wrapper) {
    data = json_object_new_object();
    json_object_object_add(data, r.wrapper, array);
  }
  out.finish_read(response, r.name, data);
}

// ---------------------------------------------------------------- POST and DELETE

namespace {

enum class Method { Post, Delete };

void log_action_failure(const char *format, ActionLog how, const Element &e, int result) {
  uint32_t number = e.index.nums ? e.index.num[e.index.nums - 1] : 0;
  const char *text = e.index.texts ? e.index.text[e.index.texts - 1].c_str() : "";
  switch (how) {
    case ActionLog::Rc:
      log_table_message(format, result);
      break;
    case ActionLog::IndexRc:
      log_table_message(format, static_cast<int>(number), result);
      break;
    case ActionLog::TextRc:
      log_table_message(format, text, result);
      break;
    case ActionLog::Index:
      log_table_message(format, static_cast<int>(number));
      break;
    case ActionLog::Text:
      log_table_message(format, text);
      break;
    case ActionLog::None:
      break;
  }
}

void log_set_failure(const Field &f, const Element &e, json_object *value, int result) {
  const char *format = f.set_error ? f.set_error : "Failed to set %d";
  switch (f.set_log) {
    case SetLog::Rc:
      log_table_message(format, result);
      break;
    case SetLog::IndexRc:
      log_table_message(format, static_cast<int>(e.index.num[0]), result);
      break;
    case SetLog::ValueRc:
      log_with_value(format, value, result);
      break;
    case SetLog::Value:
      log_with_value(format, value);
      break;
    case SetLog::None:
      log_table_message("%s", format);
      break;
  }
}

// Parses, checks and applies one element of a POST or DELETE. Answers
// false when the body is unusable from here on (a nested member missing),
// which ends the whole request.
bool write_element(Outcome &out, const Resource &r, Method method, json_object *obj, const Element *parent,
                   MHD_Connection *connection) {
  json_object *values[kMaxFields] = {};
  bool wanted[kMaxFields] = {};
  for (size_t i = 0; i < r.fields.size(); ++i) {
    wanted[i] = method == Method::Post ? posted(r, i) : deleted(r, i);
    if (!wanted[i]) continue;
    bool present = json_object_is_type(obj, json_type_object) && json_object_object_get_ex(obj, r.fields[i].key, &values[i]);
    if (!present) {
      values[i] = nullptr;
      format_last_error("Parsing error (%s)", r.fields[i].key);
      if (!(r.fields[i].flags & kOptional)) {
        if (r.fields[i].missing_log) log_table_message("%s", r.fields[i].missing_log);
        return true;  // skipped, not counted
      }
      wanted[i] = false;
    }
  }
  for (size_t i = 0; i < r.fields.size(); ++i)
    if (wanted[i] && !check_value(out, r.fields[i].key, r.fields[i].check, values[i])) return true;

  Element e;
  e.resource = &r;
  e.connection = connection;
  e.values = values;
  e.parent = parent;
  if (parent) {
    e.index = parent->index;
    e.query = nullptr;
  }
  index_from_values(r, e, values);

  if (method == Method::Delete) {
    if (r.remove) {
      out.result = r.remove(e);
      if (out.result != OPEN_E_NONE) {
        log_action_failure(r.remove_error ? r.remove_error : "Failed to delete and error code:%d", r.remove_log, e,
                           out.result);
        ++out.apply_failures;
        return true;
      }
    }
  } else {
    if (r.create) {
      out.result = r.create(e);
      if (out.result != OPEN_E_NONE) {
        log_action_failure(r.create_error ? r.create_error : "Failed to create and error code:%d", r.create_log, e,
                           out.result);
        ++out.apply_failures;
        return true;
      }
    }
    for (size_t i = 0; i < r.fields.size(); ++i) {
      const Field &f = r.fields[i];
      if (!wanted[i] || !f.set) continue;
      out.result = f.set(e, values[i]);
      if (out.result != OPEN_E_NONE) {
        log_set_failure(f, e, values[i], out.result);
        ++out.apply_failures;
        return true;
      }
    }
  }

  if (!r.nested) return true;
  json_object *children = nullptr;
  if (!json_object_object_get_ex(obj, r.nested->key, &children)) {
    log_table_message(r.nested->missing_log ? r.nested->missing_log : "Parsing Error %s object ", r.nested->key);
    return false;
  }
  if (!json_object_is_type(children, json_type_array)) {
    log_table_message(r.nested->not_array_log ? r.nested->not_array_log : "Parsing error - expected %s array ",
                      r.nested->key);
    return false;
  }
  for (size_t c = 0; c < json_object_array_length(children); ++c)
    if (!write_element(out, *r.nested->child, method, json_object_array_get_idx(children, c), &e, connection))
      return false;
  return true;
}

// The array of elements of a write, or null after logging why.
json_object *elements_of(const Resource &r, json_object *request) {
  if (!r.wrapper) return request_array(request, r.body_name(), r.missing_key_log);
  json_object *body = nullptr;
  json_object *array = nullptr;
  if (!request || !json_object_object_get_ex(request, r.body_name(), &body)) {
    log_table_message(r.missing_key_log ? r.missing_key_log : "Parsing Error %s object ", r.body_name());
    return nullptr;
  }
  if (!json_object_object_get_ex(body, r.wrapper, &array) || !json_object_is_type(array, json_type_array)) {
    log_table_message(r.wrapper_missing_log ? r.wrapper_missing_log : "Parsing error - %s", r.wrapper);
    return nullptr;
  }
  return array;
}

void list_write(const Resource &r, Method method, MHD_Connection *connection, json_object *request,
                ResponseHolder *response) {
  Outcome out;
  json_object *array = elements_of(r, request);
  if (!array) {
    out.body_failed = true;
  } else {
    for (size_t i = 0; i < json_object_array_length(array); ++i)
      if (!write_element(out, r, method, json_object_array_get_idx(array, i), nullptr, connection)) {
        out.body_failed = true;
        break;
      }
  }
  int aggregate = r.aggregate;
  if (r.apply_aggregate && out.failures == 0 && out.apply_failures > 1) aggregate = r.apply_aggregate;
  out.finish_write(response, r.name, aggregate);
}

void scalar_post(const Resource &r, MHD_Connection *connection, json_object *request, ResponseHolder *response) {
  Outcome out;
  json_object *body = nullptr;
  if (!request || !json_object_object_get_ex(request, r.body_name(), &body)) {
    format_last_error("Parsing error (%s)", r.body_name());
    if (r.missing_key_log) log_table_message(r.missing_key_log, r.body_name());
    out.finish_scalar(response, r.name);
    return;
  }
  json_object *values[kMaxFields] = {};
  bool wanted[kMaxFields] = {};
  for (size_t i = 0; i < r.fields.size(); ++i) {
    wanted[i] = posted(r, i);
    if (!wanted[i]) continue;
    if (!json_object_is_type(body, json_type_object) || !json_object_object_get_ex(body, r.fields[i].key, &values[i])) {
      values[i] = nullptr;
      format_last_error("Parsing error (%s)", r.fields[i].key);
      if (!(r.fields[i].flags & kOptional)) {
        if (r.fields[i].missing_log) log_table_message("%s", r.fields[i].missing_log);
        out.finish_scalar(response, r.name);
        return;
      }
      wanted[i] = false;
    }
  }
  for (size_t i = 0; i < r.fields.size(); ++i)
    if (wanted[i] && !check_value(out, r.fields[i].key, r.fields[i].check, values[i])) {
      out.finish_scalar(response, r.name);
      return;
    }
  Element e;
  e.resource = &r;
  e.connection = connection;
  e.values = values;
  if (r.create) {
    out.result = r.create(e);
    if (out.result != OPEN_E_NONE) {
      log_action_failure(r.create_error ? r.create_error : "Failed and error code:%d", r.create_log, e, out.result);
      out.finish_scalar(response, r.name);
      return;
    }
  }
  for (size_t i = 0; i < r.fields.size(); ++i) {
    const Field &f = r.fields[i];
    if (!wanted[i] || !f.set) continue;
    out.result = f.set(e, values[i]);
    if (out.result != OPEN_E_NONE) {
      log_set_failure(f, e, values[i], out.result);
      out.finish_scalar(response, r.name);
      return;
    }
  }
  out.rc = 0;
  out.finish_scalar(response, r.name);
}

}  // namespace

void resource_post(const Resource &r, MHD_Connection *connection, json_object *request, ResponseHolder *response) {
  if (r.walk.kind == WalkKind::Scalar)
    scalar_post(r, connection, request, response);
  else
    list_write(r, Method::Post, connection, request, response);
}

void resource_delete(const Resource &r, MHD_Connection *connection, json_object *request,
                     ResponseHolder *response) {
  list_write(r, Method::Delete, connection, request, response);
}

// ---------------------------------------------------------------- what a declaration serves

bool serves_get(const Resource &r) { return r.walk.kind != WalkKind::None; }

bool serves_post(const Resource &r) {
  if (r.create || (r.nested && serves_post(*r.nested->child))) return true;
  for (const Field &f : r.fields)
    if (f.set) return true;
  return false;
}

bool serves_delete(const Resource &r) { return r.remove || (r.nested && serves_delete(*r.nested->child)); }

// ---------------------------------------------------------------- registry

namespace {
std::vector<Served> &registry() {
  static std::vector<Served> all;
  return all;
}
}  // namespace

std::span<const Served> served() { return registry(); }

void register_served(const char *name, const Resource *resource) { registry().push_back({name, resource}); }

namespace {

// Whether a log format takes the arguments a walker gives it: its
// conversions, in order, are at most those `given` lists ('d' a number,
// 's' a text, 'v' either). A format asking for more, or for another type,
// would read what is not there.
bool format_fits(const char *format, const char *given) {
  if (!format) return true;
  size_t n = 0;
  for (const char *p = format; (p = std::strchr(p, '%'));) {
    ++p;
    if (*p == '%') {
      ++p;
      continue;
    }
    while (*p && std::strchr("-+ #0123456789.", *p)) ++p;
    // The walkers pass int and char *: a length modifier would read another
    // width (%ld, %jd and %td read 64 bits on x86-64 by chance, not on 32-bit ARM).
    if (*p && std::strchr("hlLqjzt", *p)) return false;
    char want = given[n++];
    if (!want) return false;
    bool number = std::strchr("diuxXc", *p) != nullptr;
    if (want == 'd' ? !number : want == 's' ? *p != 's' : !(number || *p == 's')) return false;
  }
  return true;
}

const char *given_by(SetLog how) {
  switch (how) {
    case SetLog::Rc: return "d";
    case SetLog::ValueRc: return "vd";
    case SetLog::IndexRc: return "dd";
    case SetLog::Value: return "v";
    case SetLog::None: return "";
  }
  return "";
}

const char *given_by(ActionLog how) {
  switch (how) {
    case ActionLog::Rc: return "d";
    case ActionLog::IndexRc: return "dd";
    case ActionLog::TextRc: return "sd";
    case ActionLog::Index: return "d";
    case ActionLog::Text: return "s";
    case ActionLog::None: return "";
  }
  return "";
}

const char *given_by(LogArgs how) {
  switch (how) {
    case LogArgs::Value: return "v";
    case LogArgs::MinMax: return "dd";
    case LogArgs::Max: return "d";
    case LogArgs::None: return "";
    case LogArgs::ValueMinMax: return "ddd";
  }
  return "";
}

bool check_resource(const char *name, const Resource &r) {
  bool ok = true;
  auto fault = [&](const char *what, const char *key) {
    agent_log(1, "The declaration of %s cannot be served: %s%s%s", name, what, key ? " " : "", key ? key : "");
    ok = false;
  };
  auto format = [&](const char *text, const char *given, const char *key) {
    if (!format_fits(text, given)) fault("a log format does not take what it is given:", key ? key : text);
  };
  format(r.walk.first_error, "d", nullptr);
  format(r.missing_key_log, "s", nullptr);
  format(r.create_error, given_by(r.create_log), nullptr);
  format(r.remove_error, given_by(r.remove_log), nullptr);
  for (const Query &q : r.query) format(q.check.log, given_by(q.check.log_args), q.name);
  if (r.fields.size() > kMaxFields) fault("it has more keys than an element may hold", nullptr);
  if (r.query.size() > kMaxQuery) fault("it has more query variables than a request may hold", nullptr);
  if (indexed_by_first_field(r) && (r.fields.empty() || !numeric_check(r.fields[0].check)))
    fault("its walk needs a numeric index key first", nullptr);
  if (r.walk.kind == WalkKind::List && !r.walk.next) fault("its list walk has no cursor", nullptr);
  for (size_t i = 0; i < r.fields.size() && i < kMaxFields; ++i) {
    const Field &f = r.fields[i];
    format(f.check.log, given_by(f.check.log_args), f.key);
    format(f.get_error, "d", f.key);
    format(f.set_error, given_by(f.set_log), f.key);
    format(f.missing_log, "", f.key);
    if (serves_get(r) && !is_index(r, i) && (f.flags & kGet) && !f.get) fault("GET lists a key without getter:", f.key);
    if ((f.flags & kPost) && !f.set && f.check.kind == CheckKind::None && !r.create && !r.nested)
      fault("POST reads a key that nothing uses:", f.key);
  }
  if (r.nested) ok = check_resource(name, *r.nested->child) && ok;
  return ok;
}

}  // namespace

bool check_declaration(const char *name, const Resource &resource) { return check_resource(name, resource); }

bool check_declarations() {
  bool ok = true;
  for (const Served &s : registry()) ok = check_resource(s.name, *s.resource) && ok;
  return ok;
}

}  // namespace veltrum::handler
