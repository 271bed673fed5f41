// Loop protection: the timers and per-port modes and actions come from
// their rows in platform/calls/19_loop_protection.h. What each port saw is
// dynamic state, "loop_state" rows: ifNum -> {"detected", "disabled",
// "count", "last"}, "last" being the CLOCK_MONOTONIC second of the last
// loop (tests and the control tool write it).
#include <ctime>

#include "platform/calls/19_loop_protection.h"
#include "sim/bind.h"
#include "sim/features/common.h"

namespace veltrum::sim {

namespace {

const TableSpec kState{"loop_state", 64, false};

int64_t monotonic_seconds() {
  timespec ts{};
  clock_gettime(CLOCK_MONOTONIC, &ts);
  return ts.tv_sec;
}

}  // namespace

using namespace calls::loop_protection;

VELTRUM_SIM_PART(loop_protection, kFamily) {
  Table &t = sim.store().define_table(kState);

  // One member of a port's state, 0 when it saw nothing (the control tool
  // writes rows with the members it sets).
  auto state = [&sim, &t](uint32_t ifNum, const char *member, int64_t &out) {
    if (!sim.intf_exists(ifNum, kPhyAndLag)) return OPEN_E_PARAM;
    const Record *r = t.find({int64_t{ifNum}});
    out = r ? record_integer(*r, member) : 0;
    return OPEN_E_NONE;
  };
  sim.implement<CallId::rpcclt_openapiLoopProtectIsLoopDetected>([state](openapiClientHandle_t *, uint32_t ifNum, OPEN_BOOL_t *detected) {
    int64_t v = 0;
    if (!detected) return OPEN_E_PARAM;
    if (open_error_t rc = state(ifNum, "detected", v)) return rc;
    *detected = v ? OPEN_TRUE : OPEN_FALSE;
    return OPEN_E_NONE;
  });
  sim.implement<CallId::rpcclt_openapiLoopProtectIsPortDisabled>([state](openapiClientHandle_t *, uint32_t ifNum, OPEN_BOOL_t *disabled) {
    int64_t v = 0;
    if (!disabled) return OPEN_E_PARAM;
    if (open_error_t rc = state(ifNum, "disabled", v)) return rc;
    *disabled = v ? OPEN_TRUE : OPEN_FALSE;
    return OPEN_E_NONE;
  });
  sim.implement<CallId::rpcclt_openapiLoopProtectPortloopDetectCountGet>(
      [state](openapiClientHandle_t *, uint32_t ifNum, uint32_t *count) {
        int64_t v = 0;
        if (!count) return OPEN_E_PARAM;
        if (open_error_t rc = state(ifNum, "count", v)) return rc;
        *count = static_cast<uint32_t>(v);
        return OPEN_E_NONE;
      });
  sim.implement<CallId::rpcclt_openapiLoopProtectPortTimeSinceLastLoopGet>(
      [state](openapiClientHandle_t *, uint32_t ifNum, uint32_t *seconds) {
        int64_t last = 0;
        if (!seconds) return OPEN_E_PARAM;
        if (open_error_t rc = state(ifNum, "last", last)) return rc;
        *seconds = last > 0 ? static_cast<uint32_t>(std::max<int64_t>(0, monotonic_seconds() - last)) : 0;
        return OPEN_E_NONE;
      });

  // Clearing forgets the counts, not whether the port is disabled now.
  auto clear = [&t](uint32_t ifNum) {
    if (Record *r = t.find({int64_t{ifNum}})) {
      (*r)["count"] = int64_t{0};
      (*r)["last"] = int64_t{0};
    }
  };
  sim.implement<CallId::rpcclt_openapiLoopProtectPortStatsClear>([&sim, clear](openapiClientHandle_t *, uint32_t ifNum) {
    if (!sim.intf_exists(ifNum, kPhyAndLag)) return OPEN_E_PARAM;
    clear(ifNum);
    return OPEN_E_NONE;
  });
  sim.implement<CallId::rpcclt_openapiLoopProtectAllStatsClear>([&sim, clear](openapiClientHandle_t *) {
    for (const auto &i : sim.interfaces()) clear(i.ifNum);
    return OPEN_E_NONE;
  });
}

}  // namespace veltrum::sim
