// Secrets never leave the agent: not in the log, not in an error detail.
//
// A secret is the value of a member whose name is one of "password",
// "current", "new", "confirm", "secret", "key", "authKey", "encryKey" or
// "token", compared without regard to case. Names are compared as json-c
// decodes them, so "n\u0065w" is "new"; members are found at any depth.
#pragma once

#include <string>

#include <json-c/json.h>

// Whether a member of that (decoded) name carries a secret.
bool is_secret_key(const char *key);

// The document as the log may show it: compact text in which the value of
// every secret member, whatever its type, reads "****". The document itself
// is left alone.
std::string masked_json_text(json_object *document);

// Whether the document has a secret member at any depth.
bool has_secret_member(json_object *document);

// Replaces, in place, the value of every secret member by the empty text.
// The error record passes every detail object through this.
void blank_secret_members(json_object *document);

// A session token as a log line may show it: its first four characters.
std::string token_for_log(const char *token);
