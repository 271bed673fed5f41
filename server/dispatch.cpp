#include "server/dispatch.h"

#include <strings.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <optional>
#include <string>

#include "core/log_mask.h"
#include "core/mgmt_address.h"
#include "session/login.h"
#include "session/session.h"
#include "support/agent_config.h"
#include "support/json_ptr.h"
#include "support/log.h"

namespace {

constexpr const char *kLoginPath = "/api/v1/login";
constexpr const char *kLogoutPath = "/api/v1/logout";
constexpr const char *kSetupPath = "/api/v1/setup";
constexpr const char *kAdminCredPath = "/api/v1/device_admincred";

// A libmicrohttpd response object, destroyed once it is queued.
struct MhdResponseDestroy {
  void operator()(MHD_Response *response) const { MHD_destroy_response(response); }
};
using MhdResponse = std::unique_ptr<MHD_Response, MhdResponseDestroy>;

// Answers a fixed text, copied by libmicrohttpd, without a content type.
MHD_Result send_text(MHD_Connection *connection, unsigned status, const char *text, const char *location) {
  MhdResponse response(MHD_create_response_from_buffer(std::strlen(text), const_cast<char *>(text),
                                                       MHD_RESPMEM_MUST_COPY));
  if (!response) return MHD_NO;
  if (location) MHD_add_response_header(response.get(), "Location", location);
  return MHD_queue_response(connection, status, response.get());
}

// Answers whatever the holder holds. The body passes to libmicrohttpd, which
// frees it; the holder forgets it.
MHD_Result send_holder(MHD_Connection *connection, ResponseHolder *holder) {
  char *body = holder->body;
  size_t length = holder->length;
  holder->body = nullptr;
  holder->length = 0;
  MhdResponse response(MHD_create_response_from_buffer(length, body, MHD_RESPMEM_MUST_FREE));
  if (!response) {
    std::free(body);
    return MHD_NO;
  }
  MHD_add_response_header(response.get(), "Content-Type", "application/json");
  return MHD_queue_response(connection, static_cast<unsigned>(holder->status), response.get());
}

// GET "/api/v1/setup": tells the client where the web front end's login page
// is. The address travels in the body; "Location" stays "/".
MHD_Result setup_redirect(MHD_Connection *connection) {
  char address[40] = {};
  char target[128] = {};
  if (mgmt_ipv4_address_get(address, sizeof address) == 0) {
    if (g_agent_config.httpEnable)
      std::snprintf(target, sizeof target, "http://%s:%d/login", address, g_agent_config.httpPort);
    else
      std::snprintf(target, sizeof target, "https://%s:%d/login", address, g_agent_config.httpsPort);
  }
  return send_text(connection, 307, target, "/");
}

// The logout answer: a success envelope with an empty "logout" object.
void answer_logout(ResponseHolder *holder) {
  JsonPtr envelope(json_object_new_object());
  JsonPtr resp(json_object_new_object());
  JsonPtr data(json_object_new_object());
  uri_response(holder, envelope.get(), resp.get(), data.get(), "logout", 0);
}

// Counts the headers that tell a body's length.
MHD_Result count_length_headers(void *closure, MHD_ValueKind, const char *key, const char *) {
  auto *counts = static_cast<int *>(closure);
  if (strcasecmp(key, "Content-Length") == 0) ++counts[0];
  if (strcasecmp(key, "Transfer-Encoding") == 0) ++counts[1];
  return MHD_YES;
}

// A request whose body length two headers tell (Content-Length and
// Transfer-Encoding, or Content-Length twice) could be read one way here and
// another way by a proxy in front: such a request is refused, and its
// connection closed, before any of its body is read.
bool ambiguous_length(MHD_Connection *connection) {
  int counts[2] = {0, 0};
  MHD_get_connection_values(connection, MHD_HEADER_KIND, &count_length_headers, counts);
  return counts[0] > 1 || (counts[0] > 0 && counts[1] > 0);
}

MHD_Result refuse_ambiguous_length(MHD_Connection *connection) {
  MhdResponse response(MHD_create_response_from_buffer(
      std::strlen(kAmbiguousLengthText), const_cast<char *>(kAmbiguousLengthText), MHD_RESPMEM_MUST_COPY));
  if (!response) return MHD_NO;
  MHD_add_response_header(response.get(), "Connection", "close");
  return MHD_queue_response(connection, 400, response.get());
}

// The state of one request between libmicrohttpd's calls: the holder the
// handlers answer in, and the body gathered across upload chunks.
struct RequestState {
  ResponseHolder holder{};
  std::string body;
  bool body_too_large = false;
  // The session check, made once per request (at its first body chunk, or
  // at its end when it has no body).
  std::optional<bool> authenticated;
};

// A request body as the dispatcher sees it.
struct ParsedBody {
  size_t size = 0;     // bytes received; 0: no body
  bool valid = false;  // parsed as JSON
  JsonPtr json;        // null for no body, a parse error, or the JSON literal null
};

// Parses a whole body (a terminated text; json-c reads up to the NUL, as it
// always has).
ParsedBody parse_body(const std::string &body) {
  ParsedBody parsed;
  if (body.empty()) return parsed;
  parsed.size = body.size();
  json_tokener_error error = json_tokener_success;
  parsed.json.reset(json_tokener_parse_verbose(body.c_str(), &error));
  parsed.valid = error == json_tokener_success;
  if (!parsed.valid) parsed.json.reset();
  return parsed;
}

// Request lines go to the log with the values of secret members masked in
// the parsed body (masked_json_text): logs leave the device (syslog,
// support bundles), and a password or key must never be found in them. Of a
// body that is not JSON only the length is logged: no masking could be
// trusted on it.
void log_request_line(const char *method, const char *url, const ParsedBody &body) {
  if (log_threshold() < 7) return;
  if (body.size == 0) {
    agent_log(7, "%s %s %s", method, url, "(null)");
  } else if (body.valid) {
    agent_log(7, "%s %s %s", method, url, masked_json_text(body.json.get()).c_str());
  } else {
    agent_log(7, "%s %s (a body of %zu bytes that is not JSON)", method, url, body.size);
  }
}

// Lookup and handler call for a request whose body is parsed already.
void dispatch_parsed(MHD_Connection *connection, const char *method, const char *url, const ParsedBody &body,
                     ResponseHolder *holder) {
  set_response(holder, nullptr, 404);
  const UriEntry *row = find_uri_entry(url);
  if (!row) {
    agent_log(4, "%s is not supported\n", url ? url : "");
    set_response(holder, kUnhandledUriText, 404);
    return;
  }

  bool is_post = std::strcmp(method, "POST") == 0;
  bool is_delete = std::strcmp(method, "DELETE") == 0;
  if (std::strcmp(method, "GET") == 0) {
    call_entry_handler(connection, URI_SLOT_GET, row, holder, nullptr);
    return;
  }
  if (!is_post && !is_delete) return;
  if (body.size > 0 && !body.valid) {
    set_response(holder, kParseErrorText, 400);
    return;
  }
  call_entry_handler(connection, is_post ? URI_SLOT_POST : URI_SLOT_DELETE, row, holder, body.json.get());
}

// The request's whole body (if any) logged and dispatched.
void dispatch_body(MHD_Connection *connection, const char *method, const char *url, const RequestState &state,
                   ResponseHolder *holder) {
  ParsedBody body = parse_body(state.body);
  log_request_line(method, url, body);
  dispatch_parsed(connection, method, url, body, holder);
}

// Keeps a chunk of the body, up to kMaxBodySize in all. Past that the body
// is dropped and the request is answered 413 at its end.
void gather(RequestState &state, const char *data, size_t size) {
  if (state.body_too_large) return;
  if (size > kMaxBodySize - state.body.size()) {
    state.body_too_large = true;
    std::string().swap(state.body);
    return;
  }
  state.body.append(data, size);
}

}  // namespace

void call_entry_handler(MHD_Connection *connection, int slot, const UriEntry *row, ResponseHolder *holder,
                        json_object *json) {
  if (!connection || !row || !holder) {
    agent_log(1, "Failed to call entry handler.");
    return;
  }
  uri_handler_t handler = nullptr;
  switch (slot) {
    case URI_SLOT_GET:
      handler = row->get;
      break;
    case URI_SLOT_POST:
      handler = row->post;
      break;
    case URI_SLOT_PUT:
      handler = row->put;
      break;
    case URI_SLOT_DELETE:
      handler = row->del;
      break;
    default:
      break;
  }
  if (!handler) {
    set_response(holder, kUnhandledUriText, 404);
    return;
  }
  handler(connection, holder, json);
}

void dispatch_request(MHD_Connection *connection, const char *method, const char *url, const char *body,
                      size_t body_size, ResponseHolder *holder) {
  // The body need not be terminated: parse a terminated copy.
  dispatch_parsed(connection, method, url, parse_body(body ? std::string(body, body_size) : std::string()), holder);
}

MHD_Result access_handler(void *closure, MHD_Connection *connection, const char *url, const char *method,
                          const char *version, const char *upload_data, size_t *upload_data_size,
                          void **request_pointer) {
  bool is_get = std::strcmp(method, "GET") == 0;
  bool is_post = std::strcmp(method, "POST") == 0;
  bool is_delete = std::strcmp(method, "DELETE") == 0;
  if (!is_get && !is_post && !is_delete) return send_text(connection, 406, kIllegalMethodText, nullptr);

  auto *state = static_cast<RequestState *>(*request_pointer);
  if (!state) {
    if (ambiguous_length(connection)) return refuse_ambiguous_length(connection);
    state = new (std::nothrow) RequestState;
    if (!state) {
      agent_log(4, "Failed to allocate memory for the response of %s", url);
      return MHD_NO;
    }
    *request_pointer = state;
    return MHD_YES;
  }
  ResponseHolder *holder = &state->holder;
  bool is_login = is_post && std::strcmp(url, kLoginPath) == 0;
  bool is_admincred = is_post && std::strcmp(url, kAdminCredPath) == 0;
  bool is_logout = is_post && std::strcmp(url, kLogoutPath) == 0;

  if (*upload_data_size != 0) {
    // A chunk of the body: kept when a handler will read it, swallowed
    // otherwise (the body of a GET or a logout, of a refused request). The
    // request is answered on its final call, once the whole body is in.
    if (is_login) {
      gather(*state, upload_data, *upload_data_size);
    } else if ((is_post || is_delete) && !is_logout) {
      if (!state->authenticated) state->authenticated = authenticate_request(connection, false);
      if (*state->authenticated) gather(*state, upload_data, *upload_data_size);
    }
    *upload_data_size = 0;
    return MHD_YES;
  }

  // The final call. A device_admincred post is answered without a session
  // check: with the untouched holder, or with what the dispatch of a body
  // that came with a valid session left.
  if (is_admincred) {
    if (state->body_too_large) return send_text(connection, 413, kBodyTooLargeText, nullptr);
    if (!state->body.empty()) dispatch_body(connection, method, url, *state, holder);
    return send_holder(connection, holder);
  }

  if (is_login) {
    if (state->body_too_large) return send_text(connection, 413, kBodyTooLargeText, nullptr);
    if (!state->body.empty()) login_handler(connection, state->body.data(), state->body.size(), holder);
    return send_holder(connection, holder);
  }

  if (is_get && std::strcmp(url, kSetupPath) == 0) return setup_redirect(connection);

  // A logout ends its session here, on the final call: libmicrohttpd takes
  // an answer only once the body is in.
  if (is_logout) {
    if (!authenticate_request(connection, true)) return send_text(connection, 307, kBadCredentialsText, "/");
    answer_logout(holder);
    return send_holder(connection, holder);
  }

  if (!state->authenticated) state->authenticated = authenticate_request(connection, false);
  if (!*state->authenticated) return send_text(connection, 307, kBadCredentialsText, "/");
  if (state->body_too_large) return send_text(connection, 413, kBodyTooLargeText, nullptr);

  if (is_post) {
    if (state->body.empty()) {
      log_request_line(method, url, ParsedBody{});
      return send_text(connection, 400, kEmptyPostText, nullptr);
    }
    dispatch_body(connection, method, url, *state, holder);
    if (holder->body) return send_holder(connection, holder);
    return send_text(connection, 400, kEmptyPostText, nullptr);
  }

  if (is_delete) {
    if (state->body.empty())
      log_request_line(method, url, ParsedBody{});
    else
      dispatch_body(connection, method, url, *state, holder);
    if (!holder->body) dispatch_request(connection, method, url, nullptr, 0, holder);
    return send_holder(connection, holder);
  }

  // GET: a body, if one came, is not read.
  log_request_line(method, url, ParsedBody{});
  dispatch_request(connection, method, url, nullptr, 0, holder);
  return send_holder(connection, holder);
}

void request_completed(void *closure, MHD_Connection *connection, void **request_pointer,
                       MHD_RequestTerminationCode termination_code) {
  auto *state = static_cast<RequestState *>(*request_pointer);
  if (!state) return;
  // A body still here was never sent (the connection ended first).
  std::free(state->holder.body);
  delete state;
  *request_pointer = nullptr;
}
