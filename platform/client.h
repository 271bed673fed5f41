// A registered client of the platform service, and its registration.
#pragma once

#include "platform/open_types.h"

namespace veltrum::rpc {
class Channel;
}

// A registered client of the platform service. Each handle owns its own
// connection, so a forked child that registers talks on a socket of its own.
struct openapiClientHandle_t {
  veltrum::rpc::Channel *channel = nullptr;
};

// Registers a client under `clientName` (at most 19 characters are kept).
// The connection is made on first use, so this succeeds while the service is
// still down; rpcclt_openapiConnectivityCheck tells when it answers.
open_error_t openapiClientRegister(const char *clientName, openapiClientHandle_t *clientHandle);
// Closes the handle's connection and forgets the registration.
open_error_t openapiClientTearDown(openapiClientHandle_t *clientHandle);

// Where the platform service listens (under the device root).
#define OPENAPI_SOCKET_PATH "/run/openapi/openapi.sock"
