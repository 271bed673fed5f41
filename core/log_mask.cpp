#include "core/log_mask.h"

#include <strings.h>

#include <array>
#include <cstring>
#include <string>
#include <vector>

#include "support/json_ptr.h"

namespace {

constexpr std::array<const char *, 9> kSecretKeys = {"password", "current", "new",      "confirm", "secret",
                                                     "key",      "authKey", "encryKey", "token"};

// Replaces the value of every secret member below `node` by a new text.
void replace_secrets(json_object *node, const char *replacement) {
  if (json_object_is_type(node, json_type_array)) {
    size_t length = json_object_array_length(node);
    for (size_t i = 0; i < length; ++i) replace_secrets(json_object_array_get_idx(node, i), replacement);
    return;
  }
  if (!json_object_is_type(node, json_type_object)) return;
  // Replacing a member keeps its place; it is done after the walk so the
  // walk never sees a changed table.
  std::vector<std::string> secrets;
  json_object_object_foreach(node, key, value) {
    if (is_secret_key(key))
      secrets.emplace_back(key);
    else
      replace_secrets(value, replacement);
  }
  for (const std::string &name : secrets)
    json_object_object_add(node, name.c_str(), json_object_new_string(replacement));
}

}  // namespace

bool is_secret_key(const char *key) {
  if (!key) return false;
  for (const char *secret : kSecretKeys)
    if (strcasecmp(key, secret) == 0) return true;
  return false;
}

bool has_secret_member(json_object *node) {
  if (json_object_is_type(node, json_type_array)) {
    size_t length = json_object_array_length(node);
    for (size_t i = 0; i < length; ++i)
      if (has_secret_member(json_object_array_get_idx(node, i))) return true;
    return false;
  }
  if (!json_object_is_type(node, json_type_object)) return false;
  json_object_object_foreach(node, key, value) {
    if (is_secret_key(key) || has_secret_member(value)) return true;
  }
  return false;
}

std::string masked_json_text(json_object *document) {
  if (!document) return "null";
  json_object *copy = nullptr;
  if (json_object_deep_copy(document, &copy, nullptr) != 0) return "(not shown)";
  JsonPtr owned(copy);
  replace_secrets(copy, "****");
  return json_text(copy);
}

void blank_secret_members(json_object *document) {
  if (document) replace_secrets(document, "");
}

std::string token_for_log(const char *token) {
  if (!token) return "";
  std::string shown(token, strnlen(token, 4));
  return shown + "...";
}
