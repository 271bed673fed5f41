// The body of every client stub: encode the arguments, send the request on
// the handle's channel, decode the answer into the out parameters.
//
// Included by the generated stub unit of each family (one per file under
// platform/calls/, see platform/CMakeLists.txt) and by the simulator's
// control calls; handler code never needs it.
#pragma once

#include <vector>

#include "platform/family.h"
#include "platform/rpc_codec.h"

namespace veltrum::rpc {

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

template <uint32_t WireId, typename... A>
open_error_t StubOf<WireId, open_error_t(openapiClientHandle_t *, A...)>::call(openapiClientHandle_t *client,
                                                                               A... args) {
  return invoke<WireId, A...>(client, args...);
}

}  // namespace veltrum::rpc
