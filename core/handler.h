// The handler pattern shared by the configuration resources.
//
// A typical resource is a declaration: its name, how its elements are
// walked (one scalar object, the ports, the VLANs, a list keyed by number
// or text, a list nested in another), the JSON keys of one element with
// their checks, and the platform getter and setter of each key in the
// order they are called. The shared walkers do the rest, the same way for
// every resource:
//
//   - parse the body: the top-level member named after the resource, an
//     array of elements (or one object for scalar settings), each element
//     parsed strictly; an element that lacks a key is skipped uncounted
//     (optional keys may be absent: their setters are skipped);
//   - validate each element key by key, in table order; the first failing
//     check logs its message, counts one failure, may set the errCode and
//     add its details to the error arguments, and the element is done;
//   - apply each element: its create action (lists with create), then its
//     setters in table order; the first failing call logs, counts one
//     failure and ends that element (what was already set stays set:
//     nothing is rolled back);
//   - answer: no failure is success; exactly one keeps the errCode it set
//     (which may be 0); more than one gives the resource's aggregate code;
//     a failure whose errCode is still 0 also gets the aggregate code.
//   - for GET: walk the indexes of the shape, read every listed key with
//     its getter, and answer the array; the first failing call ends the
//     walk, and the partial array still goes out with the failure.
//
// Handlers come from the declaration: VELTRUM_SERVE(resource, kDecl)
// defines <resource>_get, _post and _delete, which the URI table's row
// names. What is truly particular to a resource is written as code on top
// of the same Outcome, checks and walkers (VELTRUM_HANDLER).
// docs/handlers.md walks through the vocabulary with examples.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string>

#include <json-c/json.h>

#include "core/platform_client.h"
#include "core/response.h"
#include "support/mem.h"

namespace veltrum::handler {

// ---------------------------------------------------------------- outcome

// The outcome variables of one handler call and the JSON objects it
// answers with: rc, the last platform result, errCode, the failure counts
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
  unsigned failures = 0;         // validation failures
  unsigned apply_failures = 0;   // failed creations and platform calls, counted apart
  bool body_failed = false;      // the body itself was unusable (key absent, no array)
  json_object *err_args;         // owned

  // One failed element: logs `format` at level 4 (printf style), counts it.
  void fail(const char *format, ...) __attribute__((format(printf, 2, 3)));
  // One failed platform step, counted apart from validation failures.
  void fail_apply(const char *format, ...) __attribute__((format(printf, 2, 3)));
  unsigned total_failures() const { return failures + apply_failures; }
  // Details of the failure: errCode (unless 0) and members of "errMsgArgs".
  void detail_int(const char *key, int64_t value) { json_object_object_add(err_args, key, json_object_new_int64(value)); }
  void detail_text(const char *key, const char *value) {
    json_object_object_add(err_args, key, json_object_new_string(value ? value : ""));
  }
  void detail(const char *key, json_object *value) { json_object_object_add(err_args, key, value); }
  void code(int c) { err_code = c; }

  // The endings of a write save the running configuration when the write
  // succeeded, then answer the envelope without data.
  //
  // finish_write: rc from the failure counts, errCode and arguments to the
  // error record when it failed; answers whether it succeeded. `data`
  // (owned, released here) is answered under `name` when given: a write
  // that answers what it wrote.
  bool finish_write(ResponseHolder *response, const char *name, int aggregate, json_object *data = nullptr);
  // Ends a scalar write: the error record is touched only by a failure
  // that set an errCode of its own.
  void finish_scalar(ResponseHolder *response, const char *name);
  // Ends a read: the envelope with `data` (owned, released here) under
  // `name` when given, rc as set by the handler.
  void finish_read(ResponseHolder *response, const char *name, json_object *data);
  // A write answered with rc as set, without touching the error record.
  void finish_plain(ResponseHolder *response, const char *name);

  // What the checks of one request read of the platform once, however many
  // elements they check: the bounds of platform ranges, the port layout,
  // the highest VLAN id (core/checks.cpp).
  struct Facts {
    static constexpr size_t kLimits = 8;
    int (*limits_fn[kLimits])(int64_t &, int64_t &) = {};
    int64_t limits_min[kLimits] = {};
    int64_t limits_max[kLimits] = {};
    int limits_rc[kLimits] = {};
    size_t limits_count = 0;
    bool have_ports[4] = {};  // by port validator kind
    uint32_t ports[4][4] = {};
    bool have_vlan_max = false;
    int vlan_max_rc = 0;
    uint32_t vlan_max = 0;
  } facts;

 private:
  void answer_write(ResponseHolder *response, const char *name, json_object *data = nullptr);

  json_object *envelope_;
  json_object *resp_;
};

// ---------------------------------------------------------------- reading values

// A member's value as a number: integers, booleans, integral fractions and
// decimal texts ("1") are numbers; other texts, fractions, objects, arrays
// and null are not.
bool read_int(json_object *value, int64_t &out);
// A member's value as a text: texts, and numbers as their decimal text.
bool read_text(json_object *value, std::string &out);
// The same for code that has checked the value already.
int64_t int_of(json_object *value);
const char *text_of(json_object *value);

// ---------------------------------------------------------------- checks

enum class CheckKind : uint8_t {
  None,     // any number or text
  Range,    // min..max; errCode 9 (unless given) with value/params/min/max
  Limits,   // the same, with min and max read from the platform at request time
  Flag,     // 0 or 1; log only, errCode unchanged
  Choice,   // min..max; log only, errCode unchanged
  OneOf,    // one of `values`; log only
  NonZero,  // log only
  Port,     // the port validator of `port_kind`; errCode 247, {"port_id": id}
  Vlan,     // the VLAN validator; errCode 412, {"vlan_id": id}
  Mac,      // MAC text; errCode 16, {"params": label, "value": text}
  Text,     // text of min..max characters (read from the platform when `limits` is
            // given); errCode (if any) with value/params, none for a secret
  Ipv4,     // an IPv4 address text
  Ipv6,     // an IPv6 address text
  Ip,       // either
  Mask,     // an IPv4 network mask text (contiguous ones)
  Host,     // a host name or an address
  Number,   // any number (type only)
  String,   // any text (type only)
  Custom,   // `custom` decides, records its own failure and answers false
};

// What a failing check's log format is given after the format.
enum class LogArgs : uint8_t {
  Value,        // the value (%d for numbers, %s for texts)
  MinMax,       // the range's min and max
  Max,          // the range's max
  None,         // nothing
  ValueMinMax,  // the value (a number), then the range's min and max
};

// A range read from the platform at request time (Limits).
using LimitsFn = int (*)(int64_t &min, int64_t &max);
class Outcome;
// A check of its own: records its failure in the outcome (counted, with
// its code and details) and answers false.
using CustomCheck = bool (*)(Outcome &out, const char *key, json_object *value);

// How one key of an element is checked. `log` is a printf format given
// what `log_args` says. For address and text kinds, `allow_empty` lets the
// empty text pass ("any address").
struct Check {
  CheckKind kind = CheckKind::None;
  const char *log = nullptr;
  int64_t min = 0;
  int64_t max = 0;
  const char *label = nullptr;  // "params" of the error arguments
  int code = -1;                // errCode to set; -1: the kind's own
  int port_kind = 3;
  LogArgs log_args = LogArgs::Value;
  LimitsFn limits = nullptr;
  const int64_t *values = nullptr;
  size_t value_count = 0;
  bool allow_empty = false;
  CustomCheck custom = nullptr;
  bool numeric = false;  // Custom: the value is a number (for the index)
  bool secret = false;   // Text: a key or password, never logged nor answered
};

constexpr Check no_check() { return {}; }
constexpr Check any_number() { return {.kind = CheckKind::Number}; }
constexpr Check any_text() { return {.kind = CheckKind::String}; }
constexpr Check range(int64_t min, int64_t max, const char *label, const char *log, int code = 9,
                      LogArgs args = LogArgs::Value) {
  return {.kind = CheckKind::Range, .log = log, .min = min, .max = max, .label = label, .code = code, .log_args = args};
}
// A range whose bounds the platform gives at request time; the log gets
// the value, or the bounds (LogArgs::MinMax, LogArgs::Max).
constexpr Check platform_range(LimitsFn limits, const char *label, const char *log, LogArgs args = LogArgs::Value,
                               int code = 9) {
  return {.kind = CheckKind::Limits, .log = log, .label = label, .code = code, .log_args = args, .limits = limits};
}
constexpr Check flag(const char *log) { return {.kind = CheckKind::Flag, .log = log, .min = 0, .max = 1, .code = 0}; }
constexpr Check choice(int64_t min, int64_t max, const char *log) {
  return {.kind = CheckKind::Choice, .log = log, .min = min, .max = max, .code = 0};
}
template <size_t N>
constexpr Check one_of(const int64_t (&values)[N], const char *log) {
  return {.kind = CheckKind::OneOf, .log = log, .code = 0, .values = values, .value_count = N};
}
constexpr Check non_zero(const char *log) { return {.kind = CheckKind::NonZero, .log = log, .code = 0}; }
constexpr Check port_check(int kind, const char *log) {
  return {.kind = CheckKind::Port, .log = log, .code = 247, .port_kind = kind};
}
constexpr Check vlan_check(const char *log) { return {.kind = CheckKind::Vlan, .log = log, .code = 412}; }
constexpr Check mac_check(const char *label, const char *log) {
  return {.kind = CheckKind::Mac, .log = log, .label = label, .code = 16};
}
constexpr Check text_length(int64_t min, int64_t max, const char *label, const char *log, int code = 0) {
  return {.kind = CheckKind::Text, .log = log, .min = min, .max = max, .label = label, .code = code};
}
// A text whose length bounds the platform gives at request time (a name,
// an address, a file name); the log gets the bounds (LogArgs::Max: the
// maximum), or the value.
constexpr Check platform_text_length(LimitsFn limits, const char *label, const char *log, LogArgs args = LogArgs::Max,
                                     int code = 0) {
  return {.kind = CheckKind::Text, .log = log, .label = label, .code = code, .log_args = args, .limits = limits};
}
// A secret (a shared key) of min..max characters, or within the bounds the
// platform gives when `limits` is given. A failure logs `log` with the
// maximum and answers without the value: a secret is never logged nor
// returned.
constexpr Check secret_length(int64_t min, int64_t max, const char *log, LimitsFn limits = nullptr) {
  return {.kind = CheckKind::Text, .log = log, .min = min, .max = max, .code = 0, .log_args = LogArgs::Max,
          .limits = limits, .secret = true};
}
// Address and name checks: errCode `code` (0: log only) with "params" and
// "value" when a label is given.
constexpr Check ipv4_check(const char *label, const char *log, int code = 0, bool allow_empty = false) {
  return {.kind = CheckKind::Ipv4, .log = log, .label = label, .code = code, .allow_empty = allow_empty};
}
constexpr Check ipv6_check(const char *label, const char *log, int code = 0, bool allow_empty = false) {
  return {.kind = CheckKind::Ipv6, .log = log, .label = label, .code = code, .allow_empty = allow_empty};
}
constexpr Check ip_check(const char *label, const char *log, int code = 0, bool allow_empty = false) {
  return {.kind = CheckKind::Ip, .log = log, .label = label, .code = code, .allow_empty = allow_empty};
}
constexpr Check mask_check(const char *label, const char *log, int code = 0) {
  return {.kind = CheckKind::Mask, .log = log, .label = label, .code = code};
}
constexpr Check host_check(const char *label, const char *log, int code = 0) {
  return {.kind = CheckKind::Host, .log = log, .label = label, .code = code};
}
constexpr Check custom_check(CustomCheck fn, bool numeric = false) {
  return {.kind = CheckKind::Custom, .custom = fn, .numeric = numeric};
}

// Applies `check` to `value` (the member named `key`); on a failure
// records it in `out` (one counted failure) and answers false.
bool check_value(Outcome &out, const char *key, const Check &check, json_object *value);
// Whether the check reads numbers (the others read texts).
bool numeric_check(const Check &check);

// ---------------------------------------------------------------- elements

struct Resource;

// The key of one element: numbers (interface, VLAN, sequence ...) and
// texts (list names), in the order the walk and its parents give them.
struct Index {
  static constexpr size_t kParts = 4;
  static constexpr size_t kTexts = 2;
  uint32_t num[kParts] = {};
  std::string text[kTexts];
  uint8_t nums = 0;
  uint8_t texts = 0;
};

// What an accessor of one element sees: the resource, its index, the
// element's members as parsed (POST and DELETE; by field position), the
// request's query variables (by position), and for a nested element its
// parent. `row` holds what a walk's cursor read besides the index.
struct Element {
  const Resource *resource = nullptr;
  MHD_Connection *connection = nullptr;
  Index index;
  json_object *const *values = nullptr;
  json_object *const *query = nullptr;
  const Element *parent = nullptr;
  json_object *row = nullptr;

  // The member or query variable named `key`, or null.
  json_object *value(const char *key) const;
  json_object *query_value(const char *key) const;
};

// A read of one key: the element -> platform result; `out` gets a new JSON
// value on success. A write: (element, value) -> platform result. An
// action (create, delete, clear) of one element -> platform result.
using Getter = int (*)(const Element &e, json_object **out);
using Setter = int (*)(const Element &e, json_object *value);
using Action = int (*)(const Element &e);

// Where one argument of a bound platform call comes from, as the start-up
// check reads it: the key's value, an index part (by position), another
// member of the element, a query variable; everything else (constants,
// outputs) needs no check.
enum class SourceKind : uint8_t { Other, Value, Index, IndexText, Member, Query };
struct SourceRef {
  SourceKind kind = SourceKind::Other;
  const char *name = nullptr;  // Member, Query
  int position = -1;           // Index, IndexText
};

// What a binding tells of itself: the platform call it makes (null for
// code of its own) and its sources, in parameter order.
struct Binding {
  const char *(*call)() = nullptr;
  const SourceRef *sources = nullptr;
  uint8_t source_count = 0;

  const char *call_name() const { return call ? call() : nullptr; }
};

// Getters, setters and actions: a function and what it binds. Code of its
// own converts from a plain function (nothing to inspect then).
struct GetBinding : Binding {
  Getter fn = nullptr;
  constexpr GetBinding() = default;
  constexpr GetBinding(Getter f, Binding b = {}) : Binding(b), fn(f) {}
  explicit constexpr operator bool() const { return fn != nullptr; }
  int operator()(const Element &e, json_object **out) const { return fn(e, out); }
};
struct SetBinding : Binding {
  Setter fn = nullptr;
  constexpr SetBinding() = default;
  constexpr SetBinding(Setter f, Binding b = {}) : Binding(b), fn(f) {}
  explicit constexpr operator bool() const { return fn != nullptr; }
  int operator()(const Element &e, json_object *value) const { return fn(e, value); }
};
struct ActBinding : Binding {
  Action fn = nullptr;
  constexpr ActBinding() = default;
  constexpr ActBinding(Action f, Binding b = {}) : Binding(b), fn(f) {}
  explicit constexpr operator bool() const { return fn != nullptr; }
  int operator()(const Element &e) const { return fn(e); }
};

// What a failing setter's message is given, after its format.
enum class SetLog : uint8_t {
  Rc,       // the platform result
  ValueRc,  // the value (%d or %s), then the result
  IndexRc,  // the element's first index number, then the result
  Value,    // the value only
  None,     // nothing
};

// What a failing create or delete action's message is given, after its
// format.
enum class ActionLog : uint8_t {
  Rc,       // the platform result
  IndexRc,  // the element's last index number, then the result
  TextRc,   // the element's last index text, then the result
  Index,    // the element's last index number
  Text,     // the element's last index text
  None,     // nothing: the action logs its own failure (steps with messages of their own)
};

// The roles of a key. Without any, a key is listed by GET when it has a
// getter and read by POST when it has a setter or a check.
enum FieldFlags : uint16_t {
  kGet = 1,        // listed by GET
  kPost = 2,       // read by POST
  kDelete = 4,     // read by DELETE
  kOptional = 8,   // POST and DELETE: may be absent (its setter is skipped)
  kIndex = 16,     // part of the element's index (numbers and texts by its check)
  kMerge = 32,     // GET: the getter answers an object whose members join the element
  kRefers = 64,    // POST: the value names an entry another resource creates (an ACL), which
                   // must exist: a generic write cannot make one up
  kWriteOnly = kPost,
  kReadOnly = kGet,
};

// One key of a resource's element, written with designated members:
//
//   {.key = "trust", .check = flag("Invalid  trusted %d"),
//    .get = platform_get<&rpcclt_openapiDaiIntfTrustGet>, .set = platform_set<&rpcclt_openapiDaiIntfTrustSet>}
//
// A failing getter or setter logs `get_error` / `set_error` when the
// resource's table gives a text; without one the walkers log a text made of
// the key and the platform call ("Failed to set trust (rpcclt_openapiDaiIntfTrustSet) ...").
struct Field {
  const char *key;
  Check check = {};                 // POST, and DELETE unless `delete_check`
  GetBinding get = {};              // listed by GET when given
  SetBinding set = {};              // applied by POST when given
  const char *get_error = nullptr;  // log format, given the platform result
  const char *set_error = nullptr;  // log format, see `set_log`
  SetLog set_log = SetLog::Rc;
  uint16_t flags = 0;
  // Logged (level 4) when POST or DELETE finds the member absent; null: nothing.
  const char *missing_log = nullptr;
  // DELETE's own check and absent-member text, where they differ from POST's.
  const Check *delete_check = nullptr;
  const char *delete_missing_log = nullptr;

  const Check &check_for(bool deleting) const { return deleting && delete_check ? *delete_check : check; }
  const char *missing_for(bool deleting) const { return deleting && delete_check ? delete_missing_log : missing_log; }
};

// ---------------------------------------------------------------- walks

// Moves e.index (and e.row) to the first entry (`first`) or the one after
// the current; 0 when there is one, OPEN_E_NOT_FOUND (or another platform
// result) at the end. The end of a list is not an error, but a walk that
// could not reach the platform (OPEN_E_RPC, OPEN_E_TIMEOUT) fails the
// request.
using Cursor = int (*)(Element &e, bool first);

enum class WalkKind : uint8_t {
  None,           // no GET
  Scalar,         // one object of settings
  Ports,          // one element per port: physical ports, then LAGs
  PhysicalPorts,  // physical ports only
  Vlans,          // every VLAN
  Lags,           // LAGs only
  Numbers,        // the numbers first..last, or 1..the count `count` gives
  List,           // entries of a platform list, through `next`
  Single,         // the one element that the query variables name
};

// The parts of an element's index, in order: a parent's parts first, then
// the walk's own: the first key for Ports, PhysicalPorts and Vlans walks,
// the keys marked kIndex of a List walk (numbers and texts apart, by their
// checks), the query variables with `index` of a Single walk, and the
// numbers a cursor adds besides (`parts`, by name: an ACL's id found by its
// name). Bindings name parts by position (Idx<1>: the second number); the
// start-up check refuses a position past the walk's parts.
struct Walk {
  WalkKind kind = WalkKind::None;
  Cursor next = nullptr;
  // Logged with the platform result when a walk's first call fails.
  const char *first_error = nullptr;
  // Numbers and texts a cursor adds to the index after the keys' (an ACL's
  // id found by its name, a client's logical port), by name.
  std::span<const char *const> parts = {};
  std::span<const char *const> text_parts = {};
  // Numbers: the constant range, or the platform's count (its maximum).
  uint32_t first = 0;
  uint32_t last = 0;
  int (*count)(int64_t &min, int64_t &max) = nullptr;
  // An inner walk each element of this one is walked times (VLANs times
  // ports: one element per pair); its index key is fields[1].
  const Walk *inner = nullptr;

  constexpr Walk times(const Walk &in) const {
    Walk w = *this;
    w.inner = &in;
    return w;
  }

  constexpr Walk adding(std::span<const char *const> numbers, std::span<const char *const> texts = {}) const {
    Walk w = *this;
    w.parts = numbers;
    w.text_parts = texts;
    return w;
  }
};

constexpr Walk scalar() { return {WalkKind::Scalar}; }
constexpr Walk ports(const char *first_error = "Failed to get the First Interface and error code:%d") {
  return {WalkKind::Ports, nullptr, first_error};
}
constexpr Walk physical_ports(const char *first_error = "Failed to get the First Interface and error code:%d") {
  return {WalkKind::PhysicalPorts, nullptr, first_error};
}
constexpr Walk vlans() { return {WalkKind::Vlans}; }
constexpr Walk lags(const char *first_error = "Failed to get the First Interface and error code:%d") {
  return {WalkKind::Lags, nullptr, first_error};
}
// One element per number of a constant range (queues 0..7, protected port
// groups 0..2), or of 1..the maximum a platform count gives
// (numbers(platform_limits<&rpcclt_openapiSwPortMonitorSessionCount, 1>)).
constexpr Walk numbers(uint32_t first, uint32_t last) {
  Walk w{WalkKind::Numbers};
  w.first = first;
  w.last = last;
  return w;
}
constexpr Walk numbers(int (*count)(int64_t &min, int64_t &max), const char *first_error = nullptr) {
  Walk w{WalkKind::Numbers, nullptr, first_error};
  w.count = count;
  return w;
}
// A list walked by `next` (see core/platform_call.h for cursors made
// from first/next calls); `first_error` is logged when it fails.
constexpr Walk list(Cursor next, const char *first_error = nullptr) { return {WalkKind::List, next, first_error}; }
constexpr Walk single() { return {WalkKind::Single}; }

// A query variable: required ones fail the request with `missing_log`
// when absent or empty; numbers are checked with `check` (a port id with
// the port validator, say) and their failure fails the request too. Query
// failures give the plain failure envelope.
struct Query {
  const char *name;
  Check check = {};
  const char *missing_log = nullptr;  // null: optional
  // Index part this variable gives a Single walk (a number or a text by
  // its check), or -1.
  int index = -1;
};

// A list nested in each element of its parent: the parent's elements hold
// an array of children under `key`. The children are a resource of their
// own (their walk runs with the parent's index before theirs).
struct Nested {
  const char *key;                     // member holding the children ("aclrules", "ports")
  const Resource *child;
  const char *missing_log = nullptr;   // the member is absent: the request ends
  const char *not_array_log = nullptr; // the member is no array: the request ends
  // The member GET lists the children under, when it is not `key` (a body
  // that writes "aclrule" while the listing says "aclrules").
  const char *list_key = nullptr;
};

// A check of the whole element, run after the checks of its keys and before
// anything is applied: it sees every member, the index and the platform
// (a reserved id, a value that depends on another). A failure is recorded
// in `out` (out.fail, and the errCode and details where it has them) and
// answers false; the element is then done.
using ElementCheck = bool (*)(Outcome &out, const Element &e, bool deleting);

// A platform result a resource's table maps: to success (`code` 0: the
// delete of an entry already gone), or to an errCode of its own (-24 "the
// address already has an entry").
struct ResultCode {
  int result;
  int code;
};

// What a write does with an element that lacks a member it must have.
// Arrays skip the element uncounted by default; a scalar write always fails.
enum class MissingMember : uint8_t {
  Skip,  // the element is skipped, not counted; the next one is written
  Stop,  // the walk ends: later elements are not written; earlier ones stay
  Fail,  // the element counts as one failure
};

// A resource's declaration. For Ports, PhysicalPorts, Lags, Vlans and
// Numbers walks the
// element's index is fields[0] ("port", "vlan"), checked by its check and
// without getter or setter; List walks index their elements by the fields
// marked kIndex, Single walks by their query variables.
struct Resource {
  const char *name;                  // the envelope name
  Walk walk = {};
  std::span<const Field> fields = {};
  int aggregate = 0;                 // errCode of a request with several failures
  const char *body_key = nullptr;    // top-level key of bodies, when it is not the name
  const char *missing_key_log = nullptr;  // default "Parsing Error %s object "
  std::span<const Query> query = {};
  // POST: run per element after its checks and before its setters
  // (creating a list entry, clearing counters).
  ActBinding create = {};
  const char *create_error = nullptr;  // log format, see create_log
  ActionLog create_log = ActionLog::Rc;
  // DELETE: run per element after the checks of its kDelete fields.
  ActBinding remove = {};
  const char *remove_error = nullptr;
  ActionLog remove_log = ActionLog::Rc;
  // Lists nested in each element, in order ({&kRules, 1}, or an array of
  // several: a port holding its VLAN lists and its protocol groups).
  std::span<const Nested> nested = {};
  // A body member wrapping the array of elements ({"acls": [...]}), or null.
  const char *wrapper = nullptr;
  const char *wrapper_missing_log = nullptr;
  // Aggregate code when only creations or platform calls failed (default: aggregate).
  int apply_aggregate = 0;
  // What an element without one of its members does (see MissingMember).
  MissingMember missing = MissingMember::Skip;
  // POST and DELETE: the whole element's check, after its keys' checks.
  ElementCheck verify = nullptr;
  // An array POST answers each element it wrote as GET lists it (a test
  // started and its result), in an array under the resource's name.
  bool answers = false;
  // POST and DELETE: platform results of actions and setters mapped to
  // success or to an errCode; any other failure counts as it is.
  std::span<const ResultCode> results = {};

  const char *body_name() const { return body_key ? body_key : name; }
};

// The roles of a key, as the walkers read them: part of the index, listed
// by GET, read by POST, read by DELETE.
bool is_index(const Resource &r, size_t field);
bool listed(const Resource &r, size_t field);
bool posted(const Resource &r, size_t field);
bool deleted(const Resource &r, size_t field);

// The methods a declaration serves.
bool serves_get(const Resource &r);
bool serves_post(const Resource &r);
bool serves_delete(const Resource &r);

// The shared walkers.
void resource_get(const Resource &resource, MHD_Connection *connection, ResponseHolder *response);
void resource_post(const Resource &resource, MHD_Connection *connection, json_object *request,
                   ResponseHolder *response);
void resource_delete(const Resource &resource, MHD_Connection *connection, json_object *request,
                     ResponseHolder *response);

// ---------------------------------------------------------------- registry

// Every declaration served through VELTRUM_SERVE, by resource name, for
// the start-up check and the tests that drive every resource.
// `methods` are those the declaration answers for (kServeGet ...): a
// resource whose writes are code of its own registers its GET only.
enum ServedMethods : uint8_t { kServeGet = 1, kServePost = 2, kServeDelete = 4, kServeAll = 7 };
struct Served {
  const char *name;
  const Resource *resource;
  uint8_t methods = kServeAll;
};
std::span<const Served> served();
void register_served(const char *name, const Resource *resource, uint8_t methods = kServeAll);
// Checks every served declaration (fields the walkers can hold, getters
// where GET lists a key, a row in the URI table whose methods match) and
// logs each fault at level 1; false when there is one.
bool check_declarations();
// The same for one declaration.
bool check_declaration(const char *name, const Resource &resource);

struct ServeRegistrar {
  ServeRegistrar(const char *name, const Resource *resource, uint8_t methods = kServeAll) {
    register_served(name, resource, methods);
  }
};

// Defines the handlers of a declared resource and registers it:
//   VELTRUM_SERVE(dai_intf_cfg, kIntf);
#define VELTRUM_SERVE(name, decl)                                                                 \
  VELTRUM_HANDLER(name##_get) { ::veltrum::handler::resource_get(decl, connection, response); }   \
  VELTRUM_HANDLER(name##_post) { ::veltrum::handler::resource_post(decl, connection, request, response); } \
  VELTRUM_HANDLER(name##_delete) {                                                                \
    ::veltrum::handler::resource_delete(decl, connection, request, response);                     \
  }                                                                                               \
  static const ::veltrum::handler::ServeRegistrar serve_registrar_##name(#name, &(decl))

// Defines only the GET handler of a declared resource whose POST and DELETE
// are handlers of their own (VELTRUM_HANDLER(name_post) ...):
//   VELTRUM_SERVE_GET(swcfg_vlan, kVlans);
#define VELTRUM_SERVE_GET(name, decl)                                                           \
  VELTRUM_HANDLER(name##_get) { ::veltrum::handler::resource_get(decl, connection, response); } \
  static const ::veltrum::handler::ServeRegistrar serve_registrar_##name(#name, &(decl),        \
                                                                         ::veltrum::handler::kServeGet)

// ---------------------------------------------------------------- helpers for code of its own

// The array under `key` of the request, or null after logging why:
// absent ("Parsing Error %s object " with the key, or `missing_log` as
// given) or not an array ("Parsing error - expected array ").
json_object *request_array(json_object *request, const char *key, const char *missing_log = nullptr);

// The interface numbers of one type in platform order, through
// openapiIfFirstGet / openapiIfNextGet. Answers the first call's result
// (0 also when the list ends normally), or the failure of a later call
// that could not reach the platform.
template <typename F>
int for_each_interface(OPEN_INTF_TYPE_t type, F visit) {
  uint32_t ifNum = 0;
  int rc = openapiIfFirstGet(&g_client_handle, type, &ifNum);
  if (rc != OPEN_E_NONE) return rc;
  for (;;) {
    if (!visit(ifNum)) return OPEN_E_NONE;
    rc = openapiIfNextGet(&g_client_handle, type, ifNum, &ifNum);
    if (rc == OPEN_E_RPC || rc == OPEN_E_TIMEOUT) return rc;
    if (rc != OPEN_E_NONE) return OPEN_E_NONE;
  }
}

// Whether a walk's non-zero result is the end of the list (and not a
// platform that could not be reached).
inline bool walk_ended(int rc) { return rc != OPEN_E_RPC && rc != OPEN_E_TIMEOUT; }

// A query variable of the request; null when absent or empty.
const char *query_arg(MHD_Connection *connection, const char *key);

// Logs a table message at level 4. The formats come from the resource
// tables (string literals reviewed with them), not from clients.
void log_table_message(const char *format, ...);

}  // namespace veltrum::handler
