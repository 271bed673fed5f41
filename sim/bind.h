// Ties platform calls to settings of the store.
//
// Plain settings need nothing here: their rows in platform/calls/ bind
// themselves (sim/rows.h). For a Get/Set pair that has a row-like
// shape but is declared in a call list (a setting shared with code of the
// family, say), one line binds it:
//
//   bind_setting<CallId::rpcclt_openapiXGet, CallId::rpcclt_openapiXSet>(sim, "x.key");
//   bind_setting<CallId::rpcclt_openapiXGet, CallId::rpcclt_openapiXSet>(sim, x);  // a SettingRef
//
// The shape of the call decides what it does: (client, [index,] [selector,]
// T *) reads, (client, [index,] [selector,] T) writes; T is an integer or
// enumeration, or a text buffer (open_buffdesc). The binding is checked
// when it is installed: the key must exist, its scope must match the
// call's index, its type the call's T; a mismatch stops the service at
// start (std::logic_error) rather than failing at request time.
#pragma once

#include <cstring>
#include <stdexcept>
#include <string>
#include <tuple>
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
constexpr bool kIsText = std::is_same_v<std::remove_cv_t<std::remove_pointer_t<T>>, open_buffdesc>;

// Reads a setting into the call's out parameter.
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

// The index and selector of a call's leading arguments, by the setting's
// scope and selectors: (value), (index, value), (selector, value) or
// (index, selector, value).
struct Where {
  uint32_t index = 0;
  uint32_t selector = 0;
};
template <typename... A>
Where where_of(const SettingSpec &spec, A... lead) {
  uint32_t v[] = {static_cast<uint32_t>(lead)..., 0};
  Where w;
  size_t i = 0;
  if (spec.scope != Scope::Global) w.index = v[i++];
  if (spec.selectors) w.selector = v[i];
  return w;
}

// Calls fn(lead..., last) with the arguments split off the last one.
template <typename F, typename Tuple, size_t... I>
open_error_t split_last(F &&fn, Tuple &&args, std::index_sequence<I...>) {
  return fn(std::get<sizeof...(I)>(args), std::get<I>(args)...);
}

template <typename... A>
void check_binding(const char *call, SettingRef setting) {
  const SettingSpec &spec = setting.spec();
  const std::string &key = spec.key;
  size_t lead = (spec.scope != Scope::Global ? 1 : 0) + (spec.selectors ? 1 : 0);
  if (sizeof...(A) != lead + 1)
    throw std::logic_error(std::string(call) + " does not match the scope of setting " + key);
  using Last = std::tuple_element_t<sizeof...(A) - 1, std::tuple<A...>>;
  if (kIsText<Last> != (spec.initial.index() == 1))
    throw std::logic_error(std::string(call) + " does not match the type of setting " + key);
}

template <typename Sig>
struct Binder;
template <typename... A>
struct Binder<open_error_t(openapiClientHandle_t *, A...)> {
  static rpc::CallHandler getter(const char *call, SettingRef setting) {
    check_binding<A...>(call, setting);
    return rpc::make_handler<open_error_t(openapiClientHandle_t *, A...)>(
        [setting](openapiClientHandle_t *, A... args) -> open_error_t {
          return split_last(
              [&](auto *out, auto... lead) -> open_error_t {
                Where w = where_of(setting.spec(), lead...);
                Value v;
                if (open_error_t rc = setting.get(w.index, w.selector, v)) return rc;
                return read_into(v, out);
              },
              std::forward_as_tuple(args...), std::make_index_sequence<sizeof...(A) - 1>{});
        });
  }
  static rpc::CallHandler setter(const char *call, SettingRef setting) {
    check_binding<A...>(call, setting);
    return rpc::make_handler<open_error_t(openapiClientHandle_t *, A...)>(
        [setting](openapiClientHandle_t *, A... args) -> open_error_t {
          return split_last(
              [&](auto in, auto... lead) -> open_error_t {
                if constexpr (std::is_pointer_v<decltype(in)>)
                  if (!in) return OPEN_E_PARAM;
                Where w = where_of(setting.spec(), lead...);
                return setting.set(w.index, w.selector, value_of(in));
              },
              std::forward_as_tuple(args...), std::make_index_sequence<sizeof...(A) - 1>{});
        });
  }
};

}  // namespace detail

// The handle is resolved once, here: the calls never look the key up.
template <auto Get, auto Set>
void bind_setting(Sim &sim, SettingRef setting) {
  sim.implement_wire(rpc::wire_id_of<Get>(), detail::Binder<rpc::CallSig<Get>>::getter("getter", setting));
  sim.implement_wire(rpc::wire_id_of<Set>(), detail::Binder<rpc::CallSig<Set>>::setter("setter", setting));
}

// By key: an unknown key stops the service at start (std::logic_error).
template <auto Get, auto Set>
void bind_setting(Sim &sim, const char *key) {
  if (!sim.store().has_setting(key))
    throw std::logic_error(std::string("a call pair is bound to an unknown setting ") + key);
  bind_setting<Get, Set>(sim, sim.store().setting(key));
}

}  // namespace veltrum::sim
