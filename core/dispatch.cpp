#include "core/dispatch.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

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

// The logout answer: a success envelope with an empty "logout" object (a
// data object, so nothing is saved).
void answer_logout(ResponseHolder *holder) {
  JsonPtr envelope(json_object_new_object());
  JsonPtr resp(json_object_new_object());
  JsonPtr data(json_object_new_object());
  uri_response(holder, envelope.get(), resp.get(), data.get(), "logout", 0);
}

// Request lines go to the log with the values of secret members masked
// (mask_secrets): logs leave the device (syslog, support bundles), and a
// password or key must never be found in them.
void log_request_line(const char *method, const char *url, const char *upload_data, size_t size) {
  if (log_threshold() < 7) return;
  if (!upload_data || size == 0) {
    agent_log(7, "%s %s %s", method, url, "(null)");
    return;
  }
  std::string masked = mask_secrets(std::string_view(upload_data, size));
  agent_log(7, "%s %s %s", method, url, masked.c_str());
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

  JsonPtr request;
  if (body && body_size > 0) {
    // The upload buffer is not terminated: parse a terminated copy.
    std::string text(body, body_size);
    json_tokener_error error = json_tokener_success;
    request.reset(json_tokener_parse_verbose(text.c_str(), &error));
    if (error != json_tokener_success) {
      request.reset();
      set_response(holder, kParseErrorText, 400);
      return;
    }
  }
  call_entry_handler(connection, is_post ? URI_SLOT_POST : URI_SLOT_DELETE, row, holder, request.get());
}

MHD_Result access_handler(void *closure, MHD_Connection *connection, const char *url, const char *method,
                          const char *version, const char *upload_data, size_t *upload_data_size,
                          void **request_pointer) {
  bool is_get = std::strcmp(method, "GET") == 0;
  bool is_post = std::strcmp(method, "POST") == 0;
  bool is_delete = std::strcmp(method, "DELETE") == 0;
  if (!is_get && !is_post && !is_delete) return send_text(connection, 406, kIllegalMethodText, nullptr);

  auto *holder = static_cast<ResponseHolder *>(*request_pointer);
  if (!holder) {
    holder = static_cast<ResponseHolder *>(std::calloc(1, sizeof(ResponseHolder)));
    if (!holder) {
      agent_log(4, "Failed to allocate memory for the response of %s", url);
      return MHD_NO;
    }
    *request_pointer = holder;
    return MHD_YES;
  }

  bool pending = *upload_data_size != 0;
  if (is_post && !pending && std::strcmp(url, kAdminCredPath) == 0) return send_holder(connection, holder);

  if (is_post && std::strcmp(url, kLoginPath) == 0) {
    if (pending) {
      login_handler(connection, upload_data, *upload_data_size, holder);
      *upload_data_size = 0;
      return MHD_YES;
    }
    return send_holder(connection, holder);
  }

  if (is_get && std::strcmp(url, kSetupPath) == 0) return setup_redirect(connection);

  bool is_logout = is_post && std::strcmp(url, kLogoutPath) == 0;
  // A logout answers on its final call: libmicrohttpd takes an answer only
  // once the body is in, so the session is ended then and not on a chunk.
  if (is_logout && pending) {
    *upload_data_size = 0;
    return MHD_YES;
  }

  if (!authenticate_request(connection, is_logout)) {
    // The body of a refused request is swallowed; the final call answers.
    if (pending) {
      *upload_data_size = 0;
      return MHD_YES;
    }
    return send_text(connection, 307, kBadCredentialsText, "/");
  }

  if (is_logout) {
    answer_logout(holder);
    return send_holder(connection, holder);
  }

  log_request_line(method, url, pending ? upload_data : nullptr, pending ? *upload_data_size : 0);

  if (is_post) {
    if (pending) {
      dispatch_request(connection, method, url, upload_data, *upload_data_size, holder);
      *upload_data_size = 0;
      return MHD_YES;
    }
    if (holder->body) return send_holder(connection, holder);
    return send_text(connection, 400, kEmptyPostText, nullptr);
  }

  if (is_delete) {
    if (pending) {
      dispatch_request(connection, method, url, upload_data, *upload_data_size, holder);
      *upload_data_size = 0;
      return MHD_YES;
    }
    if (!holder->body) dispatch_request(connection, method, url, nullptr, 0, holder);
    return send_holder(connection, holder);
  }

  // GET: a body, if one came, is not read.
  if (pending) {
    *upload_data_size = 0;
    return MHD_YES;
  }
  dispatch_request(connection, method, url, nullptr, 0, holder);
  return send_holder(connection, holder);
}

void request_completed(void *closure, MHD_Connection *connection, void **request_pointer,
                       MHD_RequestTerminationCode termination_code) {
  auto *holder = static_cast<ResponseHolder *>(*request_pointer);
  if (!holder) return;
  // A body still here was never sent (the connection ended first).
  std::free(holder->body);
  std::free(holder);
  *request_pointer = nullptr;
}
