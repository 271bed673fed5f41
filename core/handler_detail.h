// What the files of the handler mechanism share among themselves: log
// helpers, the element's index as the walks build it, the request's query
// variables. Not for family code.
#pragma once

#include <cstdint>

#include "core/handler.h"

namespace veltrum::handler::detail {

// The most keys one element may have and the most query variables of a
// request; a declaration with more is refused at start.
constexpr size_t kMaxFields = 128;
constexpr size_t kMaxQuery = 8;

// The conversion of a format's first argument ('s', 'd', ...), 0 when it
// takes none.
char first_conversion(const char *format);
// Logs a table format whose first argument is a member's value: its text
// where the format reads a text, its number otherwise, whatever the JSON
// type of the value (a client may send either); `rest` follows.
void log_with_value(const char *format, json_object *value, int rest = 0);

// Lists one element as GET does (its index keys, every listed key, its
// nested lists) into `obj`; false (out.rc -1) at the first failing getter.
bool list_into(Outcome &out, const Resource &r, const Element &e, json_object *obj);

// The parts of the index the element's own index fields take, after its
// parent's.
void index_from_values(const Resource &r, Element &e, json_object *const *values);

// The request's query variables as JSON values (numbers for numeric
// checks), checked; false after logging when a required one is absent or
// one fails its check.
struct QueryValues {
  json_object *v[kMaxQuery] = {};
  QueryValues() = default;
  QueryValues(const QueryValues &) = delete;
  QueryValues &operator=(const QueryValues &) = delete;
  ~QueryValues();
};
bool read_query(const Resource &r, MHD_Connection *connection, QueryValues &values);

}  // namespace veltrum::handler::detail
