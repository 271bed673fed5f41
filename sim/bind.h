// Ties uniform platform calls to settings of the store, so that a Get/Set
// pair is one line of a feature file:
//
//   bind_setting<CallId::rpcclt_openapiDaiIntfTrustGet,
//                CallId::rpcclt_openapiDaiIntfTrustSet>(sim, "dai.intf.trust");
//
// The shape of the call decides what it does: (client, T *) reads a global
// setting, (client, uint32_t index, T *) a per-interface or per-VLAN one,
// and the Set forms (client, T) and (client, uint32_t index, T) write them.
// T is an integer or enumeration, or a text buffer (open_buffdesc).
#pragma once

#include <cstring>
#include <string>
#include <type_traits>

#include "sim/sim.h"

namespace veltrum::sim {

// Copies `text` into a caller's buffer with its NUL: OPEN_E_BUFFER when it
// does not fit (nothing is written then).
open_error_t fill_text(open_buffdesc *out, const std::string &text);
// The text in a caller's buffer (up to its size or first NUL).
std::string buffer_text(const open_buffdesc *in);

namespace detail {

template <typename T>
open_error_t read_into(const Value &v, T *out) {
  if (!out) return OPEN_E_PARAM;
  if constexpr (std::is_same_v<T, open_buffdesc>) {
    return fill_text(out, std::get<std::string>(v));
  } else {
    *out = static_cast<T>(std::get<int64_t>(v));
    return OPEN_E_NONE;
  }
}

template <typename T>
Value value_of(const T &in) {
  if constexpr (std::is_pointer_v<T>)
    return buffer_text(in);
  else
    return static_cast<int64_t>(in);
}

}  // namespace detail

template <rpc::CallId Get>
void bind_get(Sim &sim, const char *key) {
  sim.implement<Get>([&sim, key](openapiClientHandle_t *, auto... args) -> open_error_t {
    Value v;
    if constexpr (sizeof...(args) == 1) {
      if (open_error_t rc = sim.store().get(key, v)) return rc;
      return detail::read_into(v, args...);
    } else {
      auto tie = std::tie(args...);
      if (open_error_t rc = sim.store().get(key, static_cast<uint32_t>(std::get<0>(tie)), v)) return rc;
      return detail::read_into(v, std::get<1>(tie));
    }
  });
}

template <rpc::CallId Set>
void bind_set(Sim &sim, const char *key) {
  sim.implement<Set>([&sim, key](openapiClientHandle_t *, auto... args) -> open_error_t {
    if constexpr (sizeof...(args) == 1) {
      auto tie = std::tie(args...);
      if constexpr (std::is_pointer_v<std::decay_t<decltype(std::get<0>(tie))>>)
        if (!std::get<0>(tie)) return OPEN_E_PARAM;
      return sim.store().set(key, detail::value_of(std::get<0>(tie)));
    } else {
      auto tie = std::tie(args...);
      if constexpr (std::is_pointer_v<std::decay_t<decltype(std::get<1>(tie))>>)
        if (!std::get<1>(tie)) return OPEN_E_PARAM;
      return sim.store().set(key, static_cast<uint32_t>(std::get<0>(tie)), detail::value_of(std::get<1>(tie)));
    }
  });
}

template <rpc::CallId Get, rpc::CallId Set>
void bind_setting(Sim &sim, const char *key) {
  bind_get<Get>(sim, key);
  bind_set<Set>(sim, key);
}

}  // namespace veltrum::sim
