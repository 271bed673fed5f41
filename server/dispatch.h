// The access handler and the dispatcher.
//
// libmicrohttpd calls access_handler for every request, several times: once
// when the headers are in (the request's ResponseHolder is allocated), once
// per chunk of body, and a final time without body. The handler refuses
// methods other than GET, POST and DELETE (406), answers the open paths
// itself (login, setup, the final call of a device_admincred post), checks
// the session of every other request (307 when there is none), answers a
// logout, and hands everything else to dispatch_request, which finds the row
// of the URI table, parses the JSON body (400 on a parse error) and calls the
// row's handler for the method (404 for an unknown path or an empty slot).
// The handler's answer travels in the holder; answers made from the holder
// carry "Content-Type: application/json".
//
// A request body is gathered across libmicrohttpd's upload chunks and
// dispatched once, whole, on the final call. Bodies are kept only for
// requests a handler will read (the login, and POST and DELETE requests that
// passed the session check; everything else is swallowed unread), and up to
// kMaxBodySize: a larger body is answered 413 and reaches no handler. The
// session check is made once per request.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include <microhttpd.h>

#include "core/response.h"
#include "uri/uri_table.h"

// Fixed answers of the dispatcher (each ends in "\r\n").
inline constexpr const char *kIllegalMethodText = "Illegal request method!\r\n";
inline constexpr const char *kBadCredentialsText = "Bad Credentials or Access Restricted\r\n";
inline constexpr const char *kParseErrorText = "Failed to parse json data.\r\n";
inline constexpr const char *kEmptyPostText = "Empty data for POST request!\r\n";
inline constexpr const char *kUnhandledUriText = "Invalid request! (or) Unhandled URI\r\n";
inline constexpr const char *kBodyTooLargeText = "Request body too large!\r\n";
// A request whose body length is told twice (Content-Length together with
// Transfer-Encoding, or two Content-Lengths): 400, connection closed.
inline constexpr const char *kAmbiguousLengthText = "Ambiguous request body length!\r\n";

// The largest request body the agent reads. The largest documents of the
// interface (a full ACL, every VLAN with its ports) stay far below it; it
// bounds what one connection can make the agent hold.
inline constexpr size_t kMaxBodySize = 1024 * 1024;

// Method slots of a URI table row.
enum UriSlot { URI_SLOT_GET = 0, URI_SLOT_POST = 1, URI_SLOT_PUT = 2, URI_SLOT_DELETE = 3 };

MHD_Result access_handler(void *closure, MHD_Connection *connection, const char *url, const char *method,
                          const char *version, const char *upload_data, size_t *upload_data_size,
                          void **request_pointer);

// Frees the request's holder (its body already belongs to libmicrohttpd).
void request_completed(void *closure, MHD_Connection *connection, void **request_pointer,
                       MHD_RequestTerminationCode termination_code);

// Lookup, body parsing and the handler call for one request. `body` (the
// whole body) may be null; it need not be NUL-terminated.
void dispatch_request(MHD_Connection *connection, const char *method, const char *url, const char *body,
                      size_t body_size, ResponseHolder *holder);

// Calls one slot of a row; an empty slot answers 404. Does nothing (and
// logs) when the connection, the row or the holder is missing.
void call_entry_handler(MHD_Connection *connection, int slot, const UriEntry *row, ResponseHolder *holder,
                        json_object *json);

