// How a feature family declares its platform calls.
//
// Each family of the platform API has one file under platform/calls/,
// numbered in catalogue order, that holds its records and enumerations and
// two lists:
//
//   #define VELTRUM_SETTINGS_dai(SETTING, SETTING_BY, TEXT_SETTING) ...
//     SETTING(X(rpcclt_openapiDaiIntfRateLimitGet),
//             X(rpcclt_openapiDaiIntfRateLimitSet),
//             INTF, int32_t, "dai.intf.rate", 15, -1, 300)
//   #define VELTRUM_CALLS_dai(X) ...
//     X(rpcclt_openapiDaiVlanStatsGet,
//       (openapiClientHandle_t * client, uint32_t vlanId, OPEN_DAI_VLAN_STATS_t *stats))
//   VELTRUM_PLATFORM_FAMILY(dai, 10)
//
// A plain setting is one row: its getter and setter, where it lives (GLOBAL,
// INTF for physical ports and LAGs, INTF_PHY for physical ports only, or
// VLAN), its type, the simulator's state key, the factory default
// and the platform's own range (for text: the syntax and the length range).
// The row gives the signatures of both calls:
//
//   GLOBAL   Get(client, T *value)                 Set(client, T value)
//   INTF     Get(client, uint32_t ifNum, T *value) Set(client, uint32_t ifNum, T value)
//   VLAN     Get(client, uint32_t vlanId, T *value) Set(client, uint32_t vlanId, T value)
//
// SETTING_BY adds a selector after the index (an address family, a storm
// type): SETTING_BY(X(get), X(set), scope, SelectorType, selectors, T, key,
// default, min, max), with selector values 0 .. selectors-1; the getter is
// Get(client[, index], SelectorType sel, T *value). TEXT_SETTING is a text
// in an open_buffdesc: TEXT_SETTING(X(get), X(set), scope, key, "default",
// syntax, min length, max length), syntax one of ANY, NAME, HOST, IPV4, IPV6,
// IP, MAC (see sim/store.h).
//
// Every other call is one line of the call list with its full signature.
// From the two lists come, per family: the call ids, their names, their
// signatures (for the simulator), the client stubs (declared here, defined
// once per family in a generated unit, see platform/stubs.h) and a
// fingerprint that both ends compare when a connection opens.
//
// Parameter kinds and how they travel:
//   integer, enum or record by value       in
//   const T *  (record, integer)           in; null allowed
//   T *        (record, integer)           in and out; null allowed
//   const open_buffdesc *                  in: the `size` bytes at `pstart`
//   open_buffdesc *                        in and out: the service sees the
//                                          caller's size, never writes past
//                                          it, and sets `size` to what it wrote
//
// Handler code includes only the families it calls; touching one family's
// file rebuilds that family's code and the channel's plumbing
// (platform/all_calls.h), not the tree.
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/client.h"
#include "platform/open_types.h"

namespace veltrum::rpc {

// Wire ids: family number in the high bits, position within the family below.
inline constexpr uint32_t kFamilyShift = 12;
inline constexpr uint32_t kMaxFamilyCalls = 1u << kFamilyShift;
constexpr uint32_t wire_id(uint32_t family, uint32_t position) { return family << kFamilyShift | position; }

constexpr uint32_t fnv1a(const char *s, uint32_t h = 2166136261u) {
  for (; *s; ++s) h = (h ^ static_cast<uint8_t>(*s)) * 16777619u;
  return h;
}

// A family's CallId enumeration knows its family number and the signature
// of each of its calls.
template <typename FamilyCallId>
struct FamilyOf;

template <auto Id>
constexpr uint32_t wire_id_of() {
  return wire_id(FamilyOf<decltype(Id)>::number, static_cast<uint32_t>(Id));
}

// The signature of a call, by its id (an enumerator of its family's CallId).
template <auto Id>
using CallSig = typename FamilyOf<decltype(Id)>::template Sig<Id>;

// The client stub of one call. Declared here for every call; the member is
// defined once per family (platform/stubs.h), so including a family header
// costs declarations only.
template <uint32_t WireId, typename Sig>
struct StubOf;
template <uint32_t WireId, typename... A>
struct StubOf<WireId, open_error_t(openapiClientHandle_t *, A...)> {
  static open_error_t call(openapiClientHandle_t *client, A... args);
};

// The name of a client stub by its address, for the agent's logs and its
// start-up check of declarations; null for an address that is no stub.
// Each family's stub unit registers its names.
const char *stub_name(const void *stub);
struct StubName {
  const void *stub;
  const char *name;
};
void register_stub_names(const StubName *names, size_t count);

// What the simulator needs of a plain setting row, without its types.
enum class SettingScope : uint8_t { Global, Intf, Vlan };
enum class TextSyntax : uint8_t { ANY, NAME, HOST, IPV4, IPV6, IP, MAC };

}  // namespace veltrum::rpc

// ---------------------------------------------------------------- setting rows as calls

#define VELTRUM_INDEX_GLOBAL
#define VELTRUM_INDEX_INTF uint32_t ifNum,
#define VELTRUM_INDEX_INTF_PHY uint32_t ifNum,
#define VELTRUM_INDEX_VLAN uint32_t vlanId,

// The call name inside a row's X(...) marker.
#define VELTRUM_NAME_X(name) name
#define VELTRUM_NAME(x) VELTRUM_NAME_##x

// The two calls of a setting row as X(name, (parameters)). VELTRUM_CALL
// expands the name before X sees it.
#define VELTRUM_CALL(X, name, params) X(name, params)
#define VELTRUM_ROW_CALLS_INT(X, get, set, scope, T, key, def, min, max)                          \
  VELTRUM_CALL(X, VELTRUM_NAME(get), (openapiClientHandle_t * client, VELTRUM_INDEX_##scope T * value)) \
  VELTRUM_CALL(X, VELTRUM_NAME(set), (openapiClientHandle_t * client, VELTRUM_INDEX_##scope T value))
#define VELTRUM_ROW_CALLS_BY(X, get, set, scope, S, count, T, key, def, min, max)                 \
  VELTRUM_CALL(X, VELTRUM_NAME(get),                                                              \
               (openapiClientHandle_t * client, VELTRUM_INDEX_##scope S selector, T * value))     \
  VELTRUM_CALL(X, VELTRUM_NAME(set),                                                              \
               (openapiClientHandle_t * client, VELTRUM_INDEX_##scope S selector, T value))
#define VELTRUM_ROW_CALLS_TEXT(X, get, set, scope, key, def, syntax, min, max)                    \
  VELTRUM_CALL(X, VELTRUM_NAME(get),                                                              \
               (openapiClientHandle_t * client, VELTRUM_INDEX_##scope open_buffdesc * value))     \
  VELTRUM_CALL(X, VELTRUM_NAME(set),                                                              \
               (openapiClientHandle_t * client, VELTRUM_INDEX_##scope const open_buffdesc *value))

// What the family macro makes of each call.
#define VELTRUM_EACH_ENUM(name, params) name,
#define VELTRUM_EACH_NAME(name, params) #name,
#define VELTRUM_EACH_TEXT(name, params) #name #params
#define VELTRUM_EACH_SIG(name, params)   \
  template <>                            \
  struct CallSig<CallId::name> {         \
    using type = open_error_t params;    \
  };
#define VELTRUM_EACH_STUB(name, params) \
  inline constexpr auto &name = veltrum::rpc::StubOf<VELTRUM_FAMILY_WIRE(name), open_error_t params>::call;
#define VELTRUM_EACH_INSTANCE(name, params) \
  template struct StubOf<VELTRUM_FAMILY_WIRE(name), open_error_t params>;
#define VELTRUM_EACH_STUBNAME(name, params) \
  {reinterpret_cast<const void *>(&StubOf<VELTRUM_FAMILY_WIRE(name), open_error_t params>::call), #name},

#define VELTRUM_ROW_INT_ENUM(...) VELTRUM_ROW_CALLS_INT(VELTRUM_EACH_ENUM, __VA_ARGS__)
#define VELTRUM_ROW_BY_ENUM(...) VELTRUM_ROW_CALLS_BY(VELTRUM_EACH_ENUM, __VA_ARGS__)
#define VELTRUM_ROW_TEXT_ENUM(...) VELTRUM_ROW_CALLS_TEXT(VELTRUM_EACH_ENUM, __VA_ARGS__)
#define VELTRUM_ROW_INT_NAME(...) VELTRUM_ROW_CALLS_INT(VELTRUM_EACH_NAME, __VA_ARGS__)
#define VELTRUM_ROW_BY_NAME(...) VELTRUM_ROW_CALLS_BY(VELTRUM_EACH_NAME, __VA_ARGS__)
#define VELTRUM_ROW_TEXT_NAME(...) VELTRUM_ROW_CALLS_TEXT(VELTRUM_EACH_NAME, __VA_ARGS__)
#define VELTRUM_ROW_INT_TEXT(...) VELTRUM_ROW_CALLS_INT(VELTRUM_EACH_TEXT, __VA_ARGS__)
#define VELTRUM_ROW_BY_TEXT(...) VELTRUM_ROW_CALLS_BY(VELTRUM_EACH_TEXT, __VA_ARGS__)
#define VELTRUM_ROW_TEXT_TEXT(...) VELTRUM_ROW_CALLS_TEXT(VELTRUM_EACH_TEXT, __VA_ARGS__)
#define VELTRUM_ROW_INT_SIG(...) VELTRUM_ROW_CALLS_INT(VELTRUM_EACH_SIG, __VA_ARGS__)
#define VELTRUM_ROW_BY_SIG(...) VELTRUM_ROW_CALLS_BY(VELTRUM_EACH_SIG, __VA_ARGS__)
#define VELTRUM_ROW_TEXT_SIG(...) VELTRUM_ROW_CALLS_TEXT(VELTRUM_EACH_SIG, __VA_ARGS__)
#define VELTRUM_ROW_INT_STUB(...) VELTRUM_ROW_CALLS_INT(VELTRUM_EACH_STUB, __VA_ARGS__)
#define VELTRUM_ROW_BY_STUB(...) VELTRUM_ROW_CALLS_BY(VELTRUM_EACH_STUB, __VA_ARGS__)
#define VELTRUM_ROW_TEXT_STUB(...) VELTRUM_ROW_CALLS_TEXT(VELTRUM_EACH_STUB, __VA_ARGS__)
#define VELTRUM_ROW_INT_INSTANCE(...) VELTRUM_ROW_CALLS_INT(VELTRUM_EACH_INSTANCE, __VA_ARGS__)
#define VELTRUM_ROW_INT_STUBNAME(...) VELTRUM_ROW_CALLS_INT(VELTRUM_EACH_STUBNAME, __VA_ARGS__)
#define VELTRUM_ROW_BY_INSTANCE(...) VELTRUM_ROW_CALLS_BY(VELTRUM_EACH_INSTANCE, __VA_ARGS__)
#define VELTRUM_ROW_BY_STUBNAME(...) VELTRUM_ROW_CALLS_BY(VELTRUM_EACH_STUBNAME, __VA_ARGS__)
#define VELTRUM_ROW_TEXT_INSTANCE(...) VELTRUM_ROW_CALLS_TEXT(VELTRUM_EACH_INSTANCE, __VA_ARGS__)
#define VELTRUM_ROW_TEXT_STUBNAME(...) VELTRUM_ROW_CALLS_TEXT(VELTRUM_EACH_STUBNAME, __VA_ARGS__)

// Every call of family `fam` (setting rows first, getter before setter,
// then the call list), each made into KIND.
#define VELTRUM_FAMILY_CALLS(fam, KIND)                                                           \
  VELTRUM_SETTINGS_##fam(VELTRUM_ROW_INT_##KIND, VELTRUM_ROW_BY_##KIND, VELTRUM_ROW_TEXT_##KIND)  \
  VELTRUM_CALLS_##fam(VELTRUM_EACH_##KIND)

#define VELTRUM_FAMILY_WIRE(name) veltrum::rpc::wire_id_of<CallId::name>()

// Declares family `fam` with its number: namespace veltrum::calls::fam holds
// CallId, kNames, kCount, kFingerprint, kFamily and the CallSig of each call;
// the client stubs are global, named after the calls.
#define VELTRUM_PLATFORM_FAMILY(fam, num)                                                         \
  namespace veltrum::calls::fam {                                                                 \
  inline constexpr uint32_t kFamily = num;                                                        \
  inline constexpr const char *kFamilyName = #fam;                                                \
  enum class CallId : uint32_t { VELTRUM_FAMILY_CALLS(fam, ENUM) Count };                         \
  inline constexpr uint32_t kCount = static_cast<uint32_t>(CallId::Count);                        \
  inline constexpr const char *kNames[kCount + 1] = {VELTRUM_FAMILY_CALLS(fam, NAME) nullptr};    \
  inline constexpr uint32_t kFingerprint = veltrum::rpc::fnv1a(#fam VELTRUM_FAMILY_CALLS(fam, TEXT)); \
  static_assert(kCount < veltrum::rpc::kMaxFamilyCalls, "too many calls in one family");          \
  template <auto Id>                                                                              \
  struct CallSig;                                                                                 \
  VELTRUM_FAMILY_CALLS(fam, SIG)                                                                  \
  }                                                                                               \
  template <>                                                                                     \
  struct veltrum::rpc::FamilyOf<veltrum::calls::fam::CallId> {                                    \
    static constexpr uint32_t number = num;                                                       \
    template <auto Id>                                                                            \
    using Sig = typename veltrum::calls::fam::CallSig<Id>::type;                                  \
  };                                                                                              \
  namespace veltrum::calls::fam::stubs {                                                          \
  VELTRUM_FAMILY_CALLS(fam, STUB)                                                                 \
  }                                                                                               \
  using namespace veltrum::calls::fam::stubs;

// Defines the client stubs of family `fam` (one generated unit per family).
#define VELTRUM_PLATFORM_FAMILY_STUBS(fam)                                            \
  namespace veltrum::rpc {                                                            \
  using namespace veltrum::calls::fam;                                                \
  VELTRUM_FAMILY_CALLS(fam, INSTANCE)                                                 \
  namespace {                                                                         \
  const StubName kStubNames[] = {VELTRUM_FAMILY_CALLS(fam, STUBNAME){nullptr, nullptr}}; \
  [[maybe_unused]] const bool kStubNamesRegistered =                                  \
      (register_stub_names(kStubNames, sizeof kStubNames / sizeof kStubNames[0] - 1), true); \
  }                                                                                   \
  }
