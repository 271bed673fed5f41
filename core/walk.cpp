// GET: the walks of every shape, the keys each element lists, and the
// query variables that name or filter elements.
#include <algorithm>

#include "core/handler_detail.h"
#include "support/log.h"

namespace veltrum::handler {

namespace detail {

QueryValues::~QueryValues() {
  for (auto *x : v) json_object_put(x);
}

// The request's query variables as JSON values (numbers for numeric
// checks), checked; false after logging when a required one is absent or
// one fails its check.
bool read_query(const Resource &r, MHD_Connection *connection, QueryValues &query) {
  json_object **values = query.v;
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

}  // namespace detail

using namespace detail;

namespace {

// The index fields of one element as JSON, from its index.
void index_to_json(const Resource &r, const Element &e, uint8_t base_nums, uint8_t base_texts, json_object *obj) {
  uint8_t n = base_nums;
  uint8_t t = base_texts;
  for (size_t i = 0; i < r.fields.size(); ++i) {
    if (!is_index(r, i)) continue;
    if (numeric_check(r.fields[i].check))
      json_object_object_add(obj, r.fields[i].key, json_object_new_int64(n < Index::kParts ? e.index.num[n++] : 0));
    else
      json_object_object_add(obj, r.fields[i].key,
                             json_object_new_string(t < Index::kTexts ? e.index.text[t++].c_str() : ""));
  }
}

// A failing getter logs the table's text, or one made of its key and call.
void log_get_failure(const Field &f, int result) {
  if (f.get_error) {
    log_table_message(f.get_error, result);
    return;
  }
  const char *call = f.get.call_name();
  agent_log(4, "Failed to get %s%s%s%s and error code:%d", f.key, call ? " (" : "", call ? call : "",
            call ? ")" : "", result);
}

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
      log_get_failure(f, out.result);
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
  for (const Nested &n : r.nested) {
    Element child_base;
    child_base.resource = n.child;
    child_base.connection = e.connection;
    child_base.index = e.index;
    child_base.parent = &e;
    json_object *children = json_object_new_array();
    json_object_object_add(obj, n.list_key ? n.list_key : n.key, children);
    if (!walk_list(out, *n.child, child_base, children)) return false;
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

// Calls `visit(e)` for each element `walk` gives after `base`'s index (the
// parent's parts, the query, the connection); false from `visit` stops.
// False when the walk failed (out.rc -1) or `visit` did.
template <typename Visit>
bool walk_elements(Outcome &out, const Resource &r, const Walk &walk, Element &base, Visit visit) {
  const uint8_t base_nums = base.index.nums;
  const uint8_t base_texts = base.index.texts;
  switch (walk.kind) {
    case WalkKind::Ports:
    case WalkKind::PhysicalPorts:
    case WalkKind::Lags: {
      bool ok = true;
      for (OPEN_INTF_TYPE_t type : {OPEN_INTF_TYPE_PHY, OPEN_INTF_TYPE_LAG}) {
        if (type == OPEN_INTF_TYPE_LAG && walk.kind == WalkKind::PhysicalPorts) break;
        if (type == OPEN_INTF_TYPE_PHY && walk.kind == WalkKind::Lags) continue;
        int first = for_each_interface(type, [&](uint32_t ifNum) {
          Element e = base;
          e.index.num[base_nums] = ifNum;
          e.index.nums = base_nums + 1;
          return ok = visit(e);
        });
        if (first != OPEN_E_NONE) {
          if (walk.first_error) log_table_message(walk.first_error, first);
          ok = false;
        }
        if (!ok) break;
      }
      if (!ok) out.rc = -1;
      return ok;
    }
    case WalkKind::Numbers: {
      int64_t first = walk.first, last = walk.last;
      if (walk.count) {
        int rc = walk.count(first, last);
        if (rc != OPEN_E_NONE) {
          if (walk.first_error) log_table_message(walk.first_error, rc);
          out.rc = -1;
          return false;
        }
      }
      for (int64_t n = first; n <= last; ++n) {
        Element e = base;
        e.index.num[base_nums] = static_cast<uint32_t>(n);
        e.index.nums = base_nums + 1;
        if (!visit(e)) return false;
      }
      return true;
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
        if (!visit(e)) return false;
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
          for (size_t p = base_texts; p < Index::kTexts; ++p) e.index.text[p].clear();
          e.index.nums = base_nums;
          e.index.texts = base_texts;
        }
        int rc = walk.next(e, first);
        if (rc != OPEN_E_NONE) {
          json_object_put(e.row);
          e.row = nullptr;
          if (walk_ended(rc)) return true;
          if (walk.first_error) log_table_message(walk.first_error, rc);
          out.rc = -1;
          return false;
        }
        if (filtered && !passes_filter(r, base.query, e)) continue;
        bool ok = visit(e);
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

// Walks the elements of `r` from `base` into `array`: its walk, or its
// outer walk times its inner one. False when the walk failed (out.rc -1).
bool walk_list(Outcome &out, const Resource &r, Element &base, json_object *array) {
  const uint8_t base_nums = base.index.nums;
  const uint8_t base_texts = base.index.texts;
  auto list = [&](const Element &e) { return list_element(out, r, e, base_nums, base_texts, array); };
  if (!r.walk.inner) return walk_elements(out, r, r.walk, base, list);
  return walk_elements(out, r, r.walk, base, [&](const Element &outer) {
    Element e = outer;
    return walk_elements(out, r, *r.walk.inner, e, list);
  });
}

}  // namespace

bool detail::list_into(Outcome &out, const Resource &r, const Element &e, json_object *obj) {
  index_to_json(r, e, e.parent ? e.parent->index.nums : 0, e.parent ? e.parent->index.texts : 0, obj);
  return read_element(out, r, e, obj);
}

void resource_get(const Resource &r, MHD_Connection *connection, ResponseHolder *response) {
  Outcome out;
  QueryValues query;
  if (!read_query(r, connection, query)) {
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

}  // namespace veltrum::handler
