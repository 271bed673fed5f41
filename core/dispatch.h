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
// Each body chunk is dispatched on its own: a body must arrive in one chunk
// of libmicrohttpd's upload buffer to be parsed whole.
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

// Method slots of a URI table row.
enum UriSlot { URI_SLOT_GET = 0, URI_SLOT_POST = 1, URI_SLOT_PUT = 2, URI_SLOT_DELETE = 3 };

MHD_Result access_handler(void *closure, MHD_Connection *connection, const char *url, const char *method,
                          const char *version, const char *upload_data, size_t *upload_data_size,
                          void **request_pointer);

// Frees the request's holder (its body already belongs to libmicrohttpd).
void request_completed(void *closure, MHD_Connection *connection, void **request_pointer,
                       MHD_RequestTerminationCode termination_code);

// Lookup, body parsing and the handler call for one request (or one chunk
// of its body). `body` may be null; it need not be NUL-terminated.
void dispatch_request(MHD_Connection *connection, const char *method, const char *url, const char *body,
                      size_t body_size, ResponseHolder *holder);

// Calls one slot of a row; an empty slot answers 404. Does nothing (and
// logs) when the connection, the row or the holder is missing.
void call_entry_handler(MHD_Connection *connection, int slot, const UriEntry *row, ResponseHolder *holder,
                        json_object *json);

