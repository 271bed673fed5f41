// POST and DELETE: one parse-check-apply path for every shape. A write
// takes an object (scalar settings) or an array of elements (every other
// walk), and for each element: parses the members the method reads, checks
// them in table order, runs the create or remove action, applies the
// setters in table order, then writes the element's nested lists. The
// outcome's write endings save the running configuration after a
// successful write.
#include <json-c/json.h>

#include "core/handler_detail.h"
#include "support/log.h"

namespace veltrum::handler {

using namespace detail;

namespace {

enum class Method { Post, Delete };

// How one element ended.
enum class Written {
  Done,     // applied, or failed and counted
  Skipped,  // a member was absent: not counted
  Stop,     // the body is unusable from here on: the request ends
};

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

// A failing action logs the table's text, or one made of the resource,
// what it did and the call.
void action_failed(const Resource &r, const ActBinding &action, const char *error, ActionLog how, const char *what,
                   const Element &e, int result) {
  if (error) {
    log_action_failure(error, how, e, result);
  } else if (how != ActionLog::None) {
    const char *call = action.call_name();
    agent_log(4, "Failed to %s %s%s%s%s and error code:%d", what, r.name, call ? " (" : "", call ? call : "",
              call ? ")" : "", result);
  }
}

void log_set_failure(const Field &f, const Element &e, json_object *value, int result) {
  if (!f.set_error) {
    const char *call = f.set.call_name();
    agent_log(4, "Failed to set %s%s%s%s and error code:%d", f.key, call ? " (" : "", call ? call : "",
              call ? ")" : "", result);
    return;
  }
  switch (f.set_log) {
    case SetLog::Rc:
      log_table_message(f.set_error, result);
      break;
    case SetLog::IndexRc:
      log_table_message(f.set_error, static_cast<int>(e.index.num[0]), result);
      break;
    case SetLog::ValueRc:
      log_with_value(f.set_error, value, result);
      break;
    case SetLog::Value:
      log_with_value(f.set_error, value);
      break;
    case SetLog::None:
      log_table_message("%s", f.set_error);
      break;
  }
}

// Whether a step's result fails the element: a result the resource maps
// to success does not (the outcome's result is then success); one mapped to
// a code sets that errCode.
bool step_failed(Outcome &out, const Resource &r, int result) {
  out.result = result;
  if (result == OPEN_E_NONE) return false;
  for (const ResultCode &m : r.results) {
    if (m.result != result) continue;
    if (m.code == 0) {
      out.result = OPEN_E_NONE;
      return false;
    }
    out.code(m.code);
  }
  return true;
}

struct Write {
  const Resource &root;
  Method method;
  MHD_Connection *connection;
  Outcome out;
  json_object *answer = nullptr;  // what a POST that answers lists, owned
  bool scalar() const { return root.walk.kind == WalkKind::Scalar; }
};

Written write_element(Write &w, const Resource &r, json_object *obj, const Element *parent);

// The children of one element under each of its Nested members.
Written write_children(Write &w, const Resource &r, json_object *obj, const Element &e) {
  for (const Nested &n : r.nested) {
    json_object *children = nullptr;
    if (!json_object_object_get_ex(obj, n.key, &children)) {
      log_table_message(n.missing_log ? n.missing_log : "Parsing Error %s object ", n.key);
      return Written::Stop;
    }
    if (!json_object_is_type(children, json_type_array)) {
      log_table_message(n.not_array_log ? n.not_array_log : "Parsing error - expected %s array ", n.key);
      return Written::Stop;
    }
    for (size_t c = 0; c < json_object_array_length(children); ++c)
      if (write_element(w, *n.child, json_object_array_get_idx(children, c), &e) == Written::Stop) return Written::Stop;
  }
  return Written::Done;
}

Written write_element(Write &w, const Resource &r, json_object *obj, const Element *parent) {
  const bool deleting = w.method == Method::Delete;
  const unsigned failures_before = w.out.total_failures();
  json_object *values[kMaxFields] = {};
  bool wanted[kMaxFields] = {};
  for (size_t i = 0; i < r.fields.size(); ++i) {
    wanted[i] = deleting ? deleted(r, i) : posted(r, i);
    if (!wanted[i]) continue;
    const Field &f = r.fields[i];
    if (json_object_is_type(obj, json_type_object) && json_object_object_get_ex(obj, f.key, &values[i])) continue;
    values[i] = nullptr;
    wanted[i] = false;
    format_last_error("Parsing error (%s)", f.key);
    if (f.flags & kOptional) continue;
    if (const char *missing = f.missing_for(deleting)) log_table_message("%s", missing);
    if (w.scalar()) return Written::Stop;
    switch (w.root.missing) {
      case MissingMember::Skip:
        return Written::Skipped;
      case MissingMember::Stop:
        return Written::Stop;
      case MissingMember::Fail:
        ++w.out.failures;
        return Written::Done;
    }
  }
  for (size_t i = 0; i < r.fields.size(); ++i)
    if (wanted[i] && !check_value(w.out, r.fields[i].key, r.fields[i].check_for(deleting), values[i]))
      return Written::Done;

  Element e;
  e.resource = &r;
  e.connection = w.connection;
  e.values = values;
  e.parent = parent;
  if (parent) e.index = parent->index;
  index_from_values(r, e, values);
  if (r.verify && !r.verify(w.out, e, deleting)) return Written::Done;

  if (deleting) {
    if (r.remove) {
      if (step_failed(w.out, r, r.remove(e))) {
        action_failed(r, r.remove, r.remove_error, r.remove_log, "delete", e, w.out.result);
        ++w.out.apply_failures;
        return Written::Done;
      }
    }
  } else {
    if (r.create) {
      if (step_failed(w.out, r, r.create(e))) {
        action_failed(r, r.create, r.create_error, r.create_log, "create", e, w.out.result);
        ++w.out.apply_failures;
        return Written::Done;
      }
    }
    for (size_t i = 0; i < r.fields.size(); ++i) {
      const Field &f = r.fields[i];
      if (!wanted[i] || !f.set) continue;
      if (step_failed(w.out, r, f.set(e, values[i]))) {
        log_set_failure(f, e, values[i], w.out.result);
        ++w.out.apply_failures;
        return Written::Done;
      }
    }
  }
  Written written = write_children(w, r, obj, e);
  // A resource that answers what it wrote lists the element as GET would.
  if (w.answer && !parent && written == Written::Done && w.out.total_failures() == failures_before) {
    json_object *listed = json_object_new_object();
    Outcome read;
    if (list_into(read, r, e, listed)) {
      json_object_array_add(w.answer, listed);
    } else {
      json_object_put(listed);
      ++w.out.apply_failures;
    }
  }
  return written;
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

// A scalar write: one object, every member it reads present. A failure
// touches the error record only when it set an errCode of its own.
void write_scalar(Write &w, json_object *request, ResponseHolder *response) {
  const Resource &r = w.root;
  json_object *body = nullptr;
  if (!request || !json_object_object_get_ex(request, r.body_name(), &body)) {
    format_last_error("Parsing error (%s)", r.body_name());
    if (r.missing_key_log) log_table_message(r.missing_key_log, r.body_name());
  } else if (write_element(w, r, body, nullptr) == Written::Done && w.out.total_failures() == 0) {
    w.out.rc = 0;
  }
  w.out.finish_scalar(response, r.name);
}

void write_array(Write &w, json_object *request, ResponseHolder *response) {
  const Resource &r = w.root;
  json_object *array = elements_of(r, request);
  if (!array) {
    w.out.body_failed = true;
  } else {
    for (size_t i = 0; i < json_object_array_length(array); ++i)
      if (write_element(w, r, json_object_array_get_idx(array, i), nullptr) == Written::Stop) {
        w.out.body_failed = true;
        break;
      }
  }
  int aggregate = r.aggregate;
  if (r.apply_aggregate && w.out.failures == 0 && w.out.apply_failures > 1) aggregate = r.apply_aggregate;
  json_object *answer = w.answer;
  w.answer = nullptr;
  w.out.finish_write(response, r.name, aggregate, answer);
}

void write(const Resource &r, Method method, MHD_Connection *connection, json_object *request,
           ResponseHolder *response) {
  Write w{r, method, connection, {}};
  if (r.answers && method == Method::Post) w.answer = json_object_new_array();
  if (w.scalar())
    write_scalar(w, request, response);
  else
    write_array(w, request, response);
}

}  // namespace

void resource_post(const Resource &r, MHD_Connection *connection, json_object *request, ResponseHolder *response) {
  write(r, Method::Post, connection, request, response);
}

void resource_delete(const Resource &r, MHD_Connection *connection, json_object *request,
                     ResponseHolder *response) {
  write(r, Method::Delete, connection, request, response);
}

}  // namespace veltrum::handler
