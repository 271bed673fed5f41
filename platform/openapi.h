// The switch platform's management API as the agent sees it: one function
// per line of platform/calls.h, each a client stub that carries the call to
// the platform service over the RPC channel and returns its result.
//
// A call that cannot reach the service (not running, restarting, gone)
// returns OPEN_E_RPC; the next call reconnects by itself. A call that the
// service does not answer within the handle's call time-out returns
// OPEN_E_RPC too, and the handle then fails every call at once until the
// service answers again (see set_call_timeout).
#pragma once

#include <chrono>
#include <cstdint>
#include <vector>

#include "platform/calls.h"
#include "platform/open_types.h"
#include "platform/rpc_codec.h"

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
inline constexpr std::chrono::milliseconds kDefaultCallTimeout{5000};
// After a time-out, how often a handle checks whether the service answers
// again. Between checks its calls fail at once with OPEN_E_RPC.
inline constexpr std::chrono::milliseconds kRecheckInterval{1000};

// Sets the call time-out of a registered handle (kDefaultCallTimeout until
// set). Values of 0 or less are ignored.
void set_call_timeout(openapiClientHandle_t *client, std::chrono::milliseconds timeout);

}  // namespace veltrum::rpc

namespace veltrum::rpc {

enum class CallId : uint32_t {
#define VELTRUM_CALL_ID(name, params) name,
  VELTRUM_PLATFORM_CALLS(VELTRUM_CALL_ID)
#undef VELTRUM_CALL_ID
      Count
};
inline constexpr uint32_t kCallCount = static_cast<uint32_t>(CallId::Count);

inline constexpr const char *kCallNames[] = {
#define VELTRUM_CALL_NAME(name, params) #name,
    VELTRUM_PLATFORM_CALLS(VELTRUM_CALL_NAME)
#undef VELTRUM_CALL_NAME
};

// Signature of each call, by id.
template <CallId Id>
struct CallSig;
#define VELTRUM_CALL_SIG(name, params)   \
  template <>                            \
  struct CallSig<CallId::name> {         \
    using type = open_error_t params;    \
  };
VELTRUM_PLATFORM_CALLS(VELTRUM_CALL_SIG)
#undef VELTRUM_CALL_SIG

// A fingerprint of the call list, exchanged when a connection opens, so that
// a client and a service built from different lists refuse each other.
constexpr uint32_t fnv1a(const char *s) {
  uint32_t h = 2166136261u;
  for (; *s; ++s) h = (h ^ static_cast<uint8_t>(*s)) * 16777619u;
  return h;
}
#define VELTRUM_CALL_TEXT(name, params) #name #params
inline constexpr uint32_t kPlatformFingerprint = fnv1a(VELTRUM_PLATFORM_CALLS(VELTRUM_CALL_TEXT));
#undef VELTRUM_CALL_TEXT

// Sends one request frame (its first 8 bytes reserved for length and id,
// already filled with the id) and receives the answer body. OPEN_E_RPC when
// the channel fails.
open_error_t channel_call(openapiClientHandle_t *client, std::vector<uint8_t> &request,
                          std::vector<uint8_t> &answer);

template <uint32_t Id, typename... A>
open_error_t invoke(openapiClientHandle_t *client, A... args) {
  if (!(Codec<A>::check(args) && ...)) return OPEN_E_PARAM;
  thread_local std::vector<uint8_t> request;
  thread_local std::vector<uint8_t> answer;
  request.clear();
  Writer w(request);
  w.u32(0);
  w.u32(Id);
  (Codec<A>::send(w, args), ...);
  open_error_t rc = channel_call(client, request, answer);
  if (rc != OPEN_E_NONE) return rc;
  Reader r(answer.data(), answer.size());
  int32_t result = 0;
  if (!r.i32(result)) return OPEN_E_RPC;
  if (!(Codec<A>::take(r, args) && ...) || !r.at_end()) return OPEN_E_RPC;
  return static_cast<open_error_t>(result);
}

template <uint32_t Id, typename Sig>
struct Stub;
template <uint32_t Id, typename... A>
struct Stub<Id, open_error_t(openapiClientHandle_t *, A...)> {
  static open_error_t call(openapiClientHandle_t *client, A... args) {
    return invoke<Id, A...>(client, args...);
  }
};

}  // namespace veltrum::rpc

// The platform calls themselves: `rpcclt_openapiSaveConfig(&handle)` and so on.
#define VELTRUM_CALL_STUB(name, params)                                                   \
  inline constexpr auto &name =                                                           \
      veltrum::rpc::Stub<static_cast<uint32_t>(veltrum::rpc::CallId::name), open_error_t params>::call;
VELTRUM_PLATFORM_CALLS(VELTRUM_CALL_STUB)
#undef VELTRUM_CALL_STUB
