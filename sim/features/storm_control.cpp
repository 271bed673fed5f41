// Storm control: the global and per-port modes, thresholds and actions of
// each storm type come from their rows in platform/calls/17_storm_control.h;
// the per-port action ("storm.intf.action", per type) is read by one call
// and set by one call per type.
#include "platform/calls/17_storm_control.h"
#include "sim/bind.h"

namespace veltrum::sim {

namespace {
const SettingSpec kIntfAction{.key = "storm.intf.action", .scope = Scope::Intf, .initial = int64_t{0}, .min = 0,
                              .max = 2, .selectors = 3};
}  // namespace

using namespace calls::storm_control;

VELTRUM_SIM_PART(storm_control, kFamily) {
  SettingRef intf_action = sim.store().define(kIntfAction);
  // A plain setting of the family's rows, bound before any part.
  SettingRef threshold = sim.store().setting("storm.intf.threshold");

  // Thresholds are bounded by the range of their settings.
  sim.implement<CallId::rpcclt_openapiStormControlThresholdMinMaxGet>(
      [threshold](openapiClientHandle_t *, uint32_t *min, uint32_t *max) {
        if (!min || !max) return OPEN_E_PARAM;
        const SettingSpec &spec = threshold.spec();
        *min = static_cast<uint32_t>(spec.min);
        *max = static_cast<uint32_t>(spec.max);
        return OPEN_E_NONE;
      });

  sim.implement<CallId::rpcclt_openapiSwDevCtrlStormControlActionIntfGet>(
      [intf_action](openapiClientHandle_t *, uint32_t ifNum, OPEN_STORMCONTROL_TYPE_t type,
                    OPEN_STORMCONTROL_ACTION_t *action) {
        if (!action) return OPEN_E_PARAM;
        Value v;
        if (open_error_t rc = intf_action.get(ifNum, type, v)) return rc;
        *action = static_cast<OPEN_STORMCONTROL_ACTION_t>(std::get<int64_t>(v));
        return OPEN_E_NONE;
      });
  auto set_action = [intf_action](uint32_t ifNum, OPEN_STORMCONTROL_TYPE_t type, OPEN_STORMCONTROL_ACTION_t action) {
    return intf_action.set(ifNum, type, int64_t{action});
  };
  sim.implement<CallId::rpcclt_openapiSwDevCtrlBcastStormControlActionIntfSet>(
      [set_action](openapiClientHandle_t *, uint32_t ifNum, OPEN_STORMCONTROL_ACTION_t action) {
        return set_action(ifNum, OPEN_STORM_BCAST, action);
      });
  sim.implement<CallId::rpcclt_openapiSwDevCtrlMcastStormControlActionIntfSet>(
      [set_action](openapiClientHandle_t *, uint32_t ifNum, OPEN_STORMCONTROL_ACTION_t action) {
        return set_action(ifNum, OPEN_STORM_MCAST, action);
      });
  sim.implement<CallId::rpcclt_openapiSwDevCtrlUcastStormControlActionIntfSet>(
      [set_action](openapiClientHandle_t *, uint32_t ifNum, OPEN_STORMCONTROL_ACTION_t action) {
        return set_action(ifNum, OPEN_STORM_UCAST, action);
      });
}

}  // namespace veltrum::sim
