// Members of the row objects that the CLI-backed reads produce.
#pragma once

#include <cstdint>
#include <string>

#include <json-c/json.h>

namespace veltrum::test {

inline json_object *row_member(json_object *rows, size_t row, const char *key) {
  json_object *value = nullptr;
  json_object_object_get_ex(json_object_array_get_idx(rows, row), key, &value);
  return value;
}
inline int64_t member(json_object *rows, size_t row, const char *key) {
  return json_object_get_int64(row_member(rows, row, key));
}
inline std::string text_member(json_object *rows, size_t row, const char *key) {
  json_object *value = row_member(rows, row, key);
  return value ? json_object_get_string(value) : "";
}

}  // namespace veltrum::test
