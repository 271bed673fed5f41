// Control calls of the simulated switch: what tests, demos and the
// veltrum-simctl tool use to steer the simulator. They travel on the same
// channel as the platform calls, numbered from rpc::kControlBase, and are
// neither counted nor subject to injected faults. The agent never makes them.
#pragma once

#include "platform/stubs.h"

#define VELTRUM_SIM_CONTROL_CALLS(X)                                                              \
  /* The next `count` calls of `callName` answer `result` instead of running. */                 \
  X(simctlFaultSet,                                                                               \
    (openapiClientHandle_t * client, const open_buffdesc *callName, uint32_t count, int32_t result)) \
  /* The same, after the next `skip` calls of `callName` have run normally. */                  \
  X(simctlFaultSetAfter, (openapiClientHandle_t * client, const open_buffdesc *callName, uint32_t skip, \
                          uint32_t count, int32_t result))                                        \
  /* Clears every injected fault. */                                                              \
  X(simctlFaultsClear, (openapiClientHandle_t * client))                                          \
  /* How often `callName` was called since the last reset. */                                     \
  X(simctlCallCountGet, (openapiClientHandle_t * client, const open_buffdesc *callName,           \
                         uint32_t *count))                                                        \
  /* The names of the calls since the last reset, oldest first, as a JSON array. */              \
  X(simctlCallJournalGet, (openapiClientHandle_t * client, open_buffdesc *json))                  \
  X(simctlCallCountsReset, (openapiClientHandle_t * client))                                      \
  /* Stop answering: close every connection and the listener for `downtimeMs`. */                \
  X(simctlGoDown, (openapiClientHandle_t * client, uint32_t downtimeMs))                          \
  /* A setting (default and values) or a table (rows) as JSON. */                                 \
  X(simctlStateGet, (openapiClientHandle_t * client, const open_buffdesc *name, open_buffdesc *json)) \
  /* Writes a setting ({"value": v} or {"index": i, "value": v}) or a table row                   \
     ({"key": [...], "record": {...}}; a null record deletes the row). */                        \
  X(simctlStateSet,                                                                               \
    (openapiClientHandle_t * client, const open_buffdesc *name, const open_buffdesc *json))       \
  /* Running configuration back to the saved one, dynamic state cleared: a reboot. */            \
  X(simctlReload, (openapiClientHandle_t * client))                                               \
  /* Saved and running configuration back to factory defaults. */                                 \
  X(simctlFactoryReset, (openapiClientHandle_t * client))

namespace veltrum::sim {

enum class ControlId : uint32_t {
#define VELTRUM_CONTROL_ID(name, params) name,
  VELTRUM_SIM_CONTROL_CALLS(VELTRUM_CONTROL_ID)
#undef VELTRUM_CONTROL_ID
      Count
};

template <ControlId Id>
struct ControlSig;
#define VELTRUM_CONTROL_SIG(name, params) \
  template <>                             \
  struct ControlSig<ControlId::name> {    \
    using type = open_error_t params;     \
  };
VELTRUM_SIM_CONTROL_CALLS(VELTRUM_CONTROL_SIG)
#undef VELTRUM_CONTROL_SIG

}  // namespace veltrum::sim

#define VELTRUM_CONTROL_STUB(name, params)                                                          \
  inline constexpr auto &name = veltrum::rpc::StubOf<veltrum::rpc::kControlBase +                   \
                                                         static_cast<uint32_t>(veltrum::sim::ControlId::name), \
                                                     open_error_t params>::call;
VELTRUM_SIM_CONTROL_CALLS(VELTRUM_CONTROL_STUB)
#undef VELTRUM_CONTROL_STUB
