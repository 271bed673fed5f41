#include "core/log_mask.h"

#include <strings.h>

#include <array>
#include <cstring>

namespace {

constexpr std::array<const char *, 8> kSecretKeys = {"password", "current", "new",     "confirm",
                                                     "secret",   "key",     "authKey", "encryKey"};

bool is_secret_key(std::string_view key) {
  for (const char *secret : kSecretKeys)
    if (key.size() == std::strlen(secret) && strncasecmp(key.data(), secret, key.size()) == 0) return true;
  return false;
}

// Index just past the closing quote of the string starting at `open`, or
// npos when the text ends inside it.
size_t string_end(std::string_view text, size_t open) {
  for (size_t i = open + 1; i < text.size(); ++i) {
    if (text[i] == '\\') {
      ++i;
    } else if (text[i] == '"') {
      return i + 1;
    }
  }
  return std::string_view::npos;
}

size_t skip_blanks(std::string_view text, size_t i) {
  while (i < text.size() && (text[i] == ' ' || text[i] == '\t' || text[i] == '\r' || text[i] == '\n')) ++i;
  return i;
}

}  // namespace

std::string mask_secrets(std::string_view body) {
  std::string out;
  out.reserve(body.size());
  size_t i = 0;
  while (i < body.size()) {
    if (body[i] != '"') {
      out += body[i++];
      continue;
    }
    size_t end = string_end(body, i);
    if (end == std::string_view::npos) {
      out.append(body.substr(i));
      break;
    }
    std::string_view token = body.substr(i, end - i);
    out.append(token);
    i = end;

    // A string followed by ':' is a member name.
    size_t colon = skip_blanks(body, i);
    if (colon >= body.size() || body[colon] != ':' || !is_secret_key(token.substr(1, token.size() - 2)))
      continue;
    size_t value = skip_blanks(body, colon + 1);
    out.append(body.substr(i, value - i));
    i = value;
    if (value >= body.size()) break;
    if (body[value] == '"') {
      size_t value_end = string_end(body, value);
      if (value_end == std::string_view::npos) {
        out += "\"****";
        break;
      }
      out += "\"****\"";
      i = value_end;
    } else if (body[value] != '{' && body[value] != '[') {
      // A number or a word: masked up to the next delimiter.
      size_t value_end = value;
      while (value_end < body.size() && !std::strchr(",}] \t\r\n", body[value_end])) ++value_end;
      out += "****";
      i = value_end;
    }
  }
  return out;
}
