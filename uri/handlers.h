// Every resource handler of the agent, by family. The URI table
// (uri/uri_rows.h) names them; each family's file defines them.
#pragma once

#include "core/response.h"

#define VELTRUM_HANDLER(name) void name(MHD_Connection *connection, ResponseHolder *response, json_object *request)

// Built-in probes (uri/builtin.cpp)
VELTRUM_HANDLER(uri_ping);
VELTRUM_HANDLER(uri_hang);
VELTRUM_HANDLER(default_uri_handler);

// Credentials (session/login.cpp)
VELTRUM_HANDLER(user_password_change_handler);
