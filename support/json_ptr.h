// Owning handle for a json-c object: releases its reference on destruction.
#pragma once

#include <memory>
#include <string>

#include <json-c/json.h>

struct JsonPut {
  void operator()(json_object *o) const { json_object_put(o); }
};
using JsonPtr = std::unique_ptr<json_object, JsonPut>;

// Compact text of a json-c object, "/" not escaped.
inline std::string json_text(json_object *o) {
  return json_object_to_json_string_ext(o, JSON_C_TO_STRING_PLAIN | JSON_C_TO_STRING_NOSLASHESCAPE);
}
