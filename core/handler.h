// The handler pattern shared by the configuration resources.
//
// A typical resource is a declaration: its name, the JSON keys of one
// element, the check of each key (a range with its label, a 0/1 flag, a
// port, a VLAN, a MAC address ...), and the platform getter and setter of
// each key in the order they are called. The shared walkers below do the
// rest, the same way for every resource:
//
//   - parse the body: the top-level member named after the resource, an
//     array of elements (or one object for scalar settings), each element
//     parsed strictly; an element that lacks a key is skipped uncounted;
//   - validate each element key by key, in table order; the first failing
//     check logs its message, counts one failure, may set the errCode and
//     add its details to the error arguments, and the walk moves on;
//   - apply each element with its setters in table order; the first
//     failing call logs, counts one failure and ends that element (what was
//     already set stays set: nothing is rolled back);
//   - answer: no failure is success; exactly one keeps the errCode it set
//     (which may be 0); more than one gives the resource's aggregate code;
//     a failure whose errCode is still 0 also gets the aggregate code.
//   - for GET: walk the indexes of the shape (the physical ports and then
//     the LAGs, every VLAN, or one scalar record), read every key with its
//     getter, and answer the array; the first failing call ends the walk,
//     and the partial array still goes out with the failure.
//
// What is truly particular to a resource (nested bodies, lists keyed by
// name, statistics records) is written as code on top of the same Outcome,
// checks and helpers. docs/handlers.md walks through an example.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <tuple>
#include <type_traits>

#include <json-c/json.h>

#include "core/platform_client.h"
#include "core/response.h"
#include "support/mem.h"

namespace veltrum::handler {

// ---------------------------------------------------------------- outcome

// The outcome variables of one handler call and the JSON objects it
// answers with: rc, the last platform result, errCode, the failure count
// and the error arguments ("errMsgArgs"), plus the envelope and "resp".
class Outcome {
 public:
  Outcome();
  ~Outcome();
  Outcome(const Outcome &) = delete;
  Outcome &operator=(const Outcome &) = delete;

  int rc = -1;
  int result = OPEN_E_INTERNAL;  // last platform result; no call made yet
  int err_code = 0;
  unsigned failures = 0;
  bool body_failed = false;  // the body itself was unusable (key absent, no array)
  json_object *err_args;  // owned

  // One failed element: logs `format` at level 4 (printf style), counts it.
  void fail(const char *format, ...);
  // Details of the failure: errCode (unless 0) and members of "errMsgArgs".
  void detail_int(const char *key, int64_t value) { json_object_object_add(err_args, key, json_object_new_int64(value)); }
  void detail_text(const char *key, const char *value) {
    json_object_object_add(err_args, key, json_object_new_string(value ? value : ""));
  }
  void code(int c) { err_code = c; }

  // Ends a write: rc from the failure count, errCode and arguments to the
  // error record when it failed, the envelope without data (a successful
  // write saves the configuration).
  void finish_write(ResponseHolder *response, const char *name, int aggregate);
  // Ends a read: the envelope with `data` (owned, released here) under
  // `name` when given, rc as set by the handler.
  void finish_read(ResponseHolder *response, const char *name, json_object *data);
  // A write answered without touching the error record (scalar settings).
  void finish_plain(ResponseHolder *response, const char *name);

 private:
  json_object *envelope_;
  json_object *resp_;
};

// ---------------------------------------------------------------- checks

enum class CheckKind {
  None,   // accepted as it is
  Range,  // min..max; errCode 9 (unless given) with value/params/min/max
  Flag,   // 0 or 1; log only, errCode unchanged
  Choice, // min..max; log only, errCode unchanged
  NonZero,
  Port,   // the port validator of `port_kind`; errCode 247, {"port_id": id}
  Vlan,   // the VLAN validator; errCode 412, {"vlan_id": id}
  Mac,    // MAC text; errCode 16, {"params": label, "value": text}
  Text,   // text of min..max characters; errCode (if any) with value/params
};

// How one key of an element is checked. `log` is a printf format given the
// value (%d for numbers, %s for text) unless the kind says otherwise.
struct Check {
  CheckKind kind = CheckKind::None;
  const char *log = nullptr;
  int64_t min = 0;
  int64_t max = 0;
  const char *label = nullptr;  // "params" of the error arguments
  int code = -1;                // errCode to set; -1: the kind's own
  int port_kind = 3;
};

constexpr Check no_check() { return {}; }
constexpr Check range(int64_t min, int64_t max, const char *label, const char *log, int code = 9) {
  return {CheckKind::Range, log, min, max, label, code, 3};
}
constexpr Check flag(const char *log) { return {CheckKind::Flag, log, 0, 1, nullptr, 0, 3}; }
constexpr Check choice(int64_t min, int64_t max, const char *log) { return {CheckKind::Choice, log, min, max, nullptr, 0, 3}; }
constexpr Check non_zero(const char *log) { return {CheckKind::NonZero, log, 0, 0, nullptr, 0, 3}; }
constexpr Check port_check(int kind, const char *log) { return {CheckKind::Port, log, 0, 0, nullptr, 247, kind}; }
constexpr Check vlan_check(const char *log) { return {CheckKind::Vlan, log, 0, 0, nullptr, 412, 3}; }
constexpr Check mac_check(const char *label, const char *log) { return {CheckKind::Mac, log, 0, 0, label, 16, 3}; }
constexpr Check text_length(int64_t min, int64_t max, const char *label, const char *log, int code = 0) {
  return {CheckKind::Text, log, min, max, label, code, 3};
}

// Applies `check` to `value` (the element's member named `key`); on a
// failure records it in `out` and answers false.
bool check_value(Outcome &out, const char *key, const Check &check, json_object *value);

// ---------------------------------------------------------------- platform accessors

// A read of one key: (index, out) -> platform result; `out` gets a new
// JSON value on success. A write: (index, value) -> platform result. The
// index is the interface number, the VLAN id, or 0 for scalar settings.
using Getter = int (*)(uint32_t index, json_object **out);
using Setter = int (*)(uint32_t index, json_object *value);

namespace detail {

template <typename F>
struct CallShape;
template <typename... A>
struct CallShape<open_error_t (*)(openapiClientHandle_t *, A...)> {
  static constexpr size_t count = sizeof...(A);
  using Last = std::tuple_element_t<sizeof...(A) - 1, std::tuple<A...>>;
};

template <auto Fn, typename Arg>
open_error_t call(uint32_t index, Arg arg) {
  if constexpr (CallShape<decltype(Fn)>::count == 1)
    return Fn(&g_client_handle, arg);
  else
    return Fn(&g_client_handle, index, arg);
}

}  // namespace detail

// Getter of a call shaped (client, T *) or (client, uint32_t index, T *),
// T an integer or enumeration, or (..., open_buffdesc *) for text read
// into a zeroed buffer of `TextSize` bytes.
template <auto Fn, size_t TextSize = 32>
int platform_get(uint32_t index, json_object **out) {
  using Last = typename detail::CallShape<decltype(Fn)>::Last;
  using T = std::remove_pointer_t<Last>;
  if constexpr (std::is_same_v<T, open_buffdesc>) {
    char buffer[TextSize + 1] = {};
    open_buffdesc desc{TextSize, buffer};
    open_error_t rc = detail::call<Fn>(index, &desc);
    if (rc == OPEN_E_NONE) *out = json_object_new_string(buffer);
    return rc;
  } else {
    T value{};
    open_error_t rc = detail::call<Fn>(index, &value);
    if (rc == OPEN_E_NONE) *out = json_object_new_int64(static_cast<int64_t>(value));
    return rc;
  }
}

// Setter of a call shaped (client, T) or (client, uint32_t index, T), or
// (..., const open_buffdesc *) for text, copied into a zeroed buffer of at
// most `TextSize` characters.
template <auto Fn, size_t TextSize = 32>
int platform_set(uint32_t index, json_object *value) {
  using Last = typename detail::CallShape<decltype(Fn)>::Last;
  if constexpr (std::is_pointer_v<Last>) {
    char buffer[TextSize + 1] = {};
    strncpyt(buffer, json_object_get_string(value), TextSize);
    open_buffdesc desc{static_cast<uint32_t>(std::strlen(buffer) + 1), buffer};
    return detail::call<Fn>(index, &desc);
  } else {
    return detail::call<Fn>(index, static_cast<Last>(json_object_get_int64(value)));
  }
}

// ---------------------------------------------------------------- resources

// What a failing setter's message is given, after its format.
enum class SetLog {
  Rc,          // the platform result
  ValueRc,     // the value (%d or %s), then the result
  IndexRc,     // the element's index (port or VLAN), then the result
};

// One key of a resource's element.
struct Field {
  const char *key;
  Check check = {};
  Getter get = nullptr;  // listed by GET when given
  Setter set = nullptr;  // applied by POST when given
  const char *get_error = nullptr;  // log format, given the platform result
  const char *set_error = nullptr;  // log format, see `set_log`
  SetLog set_log = SetLog::Rc;
};

enum class Shape {
  Scalar,     // one object of settings
  Interface,  // one element per port: physical ports, then LAGs
  Vlan,       // one element per VLAN
};

struct Resource {
  const char *name;   // the resource: top-level key and envelope name
  Shape shape;
  const Field *fields;
  size_t field_count;
  // The index key of list shapes ("port", "vlan") is fields[0]; its check
  // validates the element's index and it has no getter or setter.
  int aggregate = 0;                       // errCode of a request with several failures
  const char *missing_key_log = nullptr;   // log when the top-level key is absent (default "Parsing Error %s object ")
  const char *first_intf_error = "Failed to get the First Interface and error code:%d";
};

// GET of a Scalar, Interface or Vlan resource.
void resource_get(const Resource &resource, ResponseHolder *response);
// POST of the same. Scalar: one object, checks in order, setters in order,
// the first fault ends the request, no errCode of its own. Lists: the
// array walk described at the top of this file.
void resource_post(const Resource &resource, json_object *request, ResponseHolder *response);

// ---------------------------------------------------------------- walkers for code of its own

// The array under `key` of the request, or null after logging why:
// absent ("Parsing Error %s object " with the key, or `missing_log` as
// given) or not an array ("Parsing error - expected array ").
json_object *request_array(json_object *request, const char *key, const char *missing_log = nullptr);

// The interface numbers of one type in platform order, through
// openapiIfFirstGet / openapiIfNextGet. Answers the first call's result
// (0 also when the list ends normally).
template <typename F>
int for_each_interface(OPEN_INTF_TYPE_t type, F visit) {
  uint32_t ifNum = 0;
  int rc = openapiIfFirstGet(&g_client_handle, type, &ifNum);
  if (rc != OPEN_E_NONE) return rc;
  do {
    if (!visit(ifNum)) return OPEN_E_NONE;
  } while (openapiIfNextGet(&g_client_handle, type, ifNum, &ifNum) == OPEN_E_NONE);
  return OPEN_E_NONE;
}

// A query variable of the request; null when absent or empty.
const char *query_arg(MHD_Connection *connection, const char *key);

// An element's member as a number or a text (the value json-c gives).
inline int64_t int_of(json_object *value) { return json_object_get_int64(value); }
inline const char *text_of(json_object *value) {
  const char *s = json_object_get_string(value);
  return s ? s : "";
}

// Logs a table message at level 4. The formats come from the resource
// tables (string literals reviewed with them), not from clients.
void log_table_message(const char *format, ...);

}  // namespace veltrum::handler
