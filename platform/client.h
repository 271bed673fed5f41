// A registered client of the platform service, and its registration.
#pragma once

#include <chrono>

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

namespace veltrum::rpc {

// How long one platform call may take, connecting and greeting included.
// Platform calls answer in microseconds; the slowest the agent makes (a
// save of the configuration to flash) take a second or two on a switch.
// Five seconds leaves room for those and bounds what a hung service costs.
// A call that the service does not answer in time returns OPEN_E_RPC, and
// the handle then fails every call at once until the service answers again.
inline constexpr std::chrono::milliseconds kDefaultCallTimeout{5000};
// After a time-out, how often a handle checks whether the service answers
// again. Between checks its calls fail at once with OPEN_E_RPC.
inline constexpr std::chrono::milliseconds kRecheckInterval{1000};

// Sets the call time-out of a registered handle (kDefaultCallTimeout until
// set). Values of 0 or less are ignored.
void set_call_timeout(openapiClientHandle_t *client, std::chrono::milliseconds timeout);

}  // namespace veltrum::rpc
