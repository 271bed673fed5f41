// Secrets never reach the log: request lines and answer bodies are logged
// through mask_secrets.
#pragma once

#include <string>
#include <string_view>

// The request body as it may appear in the log: the values of members that
// carry secrets ("password", "current", "new", "confirm", "secret", "key",
// "authKey", "encryKey", compared without regard to case) are replaced by
// ****, wherever they appear in the document. Works on partial or malformed
// text; an unterminated secret value is masked to the end.
std::string mask_secrets(std::string_view body);
