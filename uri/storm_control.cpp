// Storm control: "stormcontrol_global_cfg" and "stormcontrol_intf_cfg".
// "mode" names the storm type (0 broadcast, 1 multicast, 2 unicast): a
// query variable of each GET, a member of each POST that the other
// members are set for.
#include "core/platform_call.h"
#include "platform/calls/17_storm_control.h"

using namespace veltrum::handler;

namespace {

// Aggregate code of the family (docs/security.md).
constexpr int kIntfAggregate = 1340;

constexpr Check kAction = choice(OPEN_STORM_ACTION_NONE, OPEN_STORM_ACTION_TRAP, "Invalid  action %d");
// Thresholds are checked against the platform's range at request time.
constexpr Check kThreshold = platform_range(platform_limits<&rpcclt_openapiStormControlThresholdMinMaxGet>, "Threshold",
                                            "Invalid Threshold value. The allowable range is %d - %d", LogArgs::MinMax);

const Query kModeQuery[] = {
    {.name = "mode", .check = choice(OPEN_STORM_BCAST, OPEN_STORM_UCAST, "Invalid  mode %d"),
     .missing_log = "mode not found in query var"},
};

// ---------------------------------------------------------------- stormcontrol_global_cfg

const Field kGlobalFields[] = {
    {"mode", choice(OPEN_STORM_BCAST, OPEN_STORM_UCAST, "Invalid mode %d"), from_query<"mode">, nullptr, nullptr,
     nullptr, SetLog::Rc, kGet | kPost},
    {"glbState", flag("Invalid  state %d"), get<&rpcclt_openapiStormControlModeGet, Q<"mode">, Val>,
     set<&rpcclt_openapiStormControlModeSet, Key<"mode">, Val>, "Failed to get the storm control mode and error code:%d",
     "Failed to set the storm control mode %d and error code : %d", SetLog::ValueRc},
    {"glbThreshold", kThreshold, get<&rpcclt_openapiStormControlThresholdGet, Q<"mode">, Val>,
     set<&rpcclt_openapiStormControlThresholdSet, Key<"mode">, Val>,
     "Failed to get the storm control threshold and error code:%d",
     "Failed to set the storm control threshold %d and error code : %d", SetLog::ValueRc},
    {"act", kAction, get<&rpcclt_openapiStormControlActionGet, Q<"mode">, Val>,
     set<&rpcclt_openapiStormControlActionSet, Key<"mode">, Val>,
     "Failed to get the storm control action and error code:%d",
     "Failed to set the storm control action %d and error code : %d", SetLog::ValueRc},
};
const Resource kGlobal{.name = "stormcontrol_global_cfg", .walk = scalar(), .fields = kGlobalFields, .query = kModeQuery};

// ---------------------------------------------------------------- stormcontrol_intf_cfg

// The platform sets a port's action by one call per storm type.
int set_port_action(const Element &e, json_object *value) {
  switch (int_of(e.value("mode"))) {
    case OPEN_STORM_BCAST:
      return set<&rpcclt_openapiSwDevCtrlBcastStormControlActionIntfSet, Idx<0>, Val>(e, value);
    case OPEN_STORM_MCAST:
      return set<&rpcclt_openapiSwDevCtrlMcastStormControlActionIntfSet, Idx<0>, Val>(e, value);
    default:
      return set<&rpcclt_openapiSwDevCtrlUcastStormControlActionIntfSet, Idx<0>, Val>(e, value);
  }
}

const Field kIntfFields[] = {
    {"port", port_check(3, "Port validation failed")},
    {"mode", choice(OPEN_STORM_BCAST, OPEN_STORM_UCAST, "Invalid  mode %d"), nullptr, nullptr, nullptr, nullptr,
     SetLog::Rc, kPost},
    {"state", flag("Invalid  state %d"), get<&rpcclt_openapiStormControlIntfModeGet, Idx<0>, Q<"mode">, Val>,
     set<&rpcclt_openapiStormControlIntfModeSet, Idx<0>, Key<"mode">, Val>,
     "Failed to get the storm control mode of the port and error code:%d",
     "Failed to set the storm control mode of port %d and error code : %d", SetLog::IndexRc},
    {"threshold", kThreshold, get<&rpcclt_openapiStormControlIntfThresholdGet, Idx<0>, Q<"mode">, Val>,
     set<&rpcclt_openapiStormControlIntfThresholdSet, Idx<0>, Key<"mode">, Val>,
     "Failed to get the storm control threshold of the port and error code:%d",
     "Failed to set the storm control threshold of port %d and error code : %d", SetLog::IndexRc},
    {"act", kAction, get<&rpcclt_openapiSwDevCtrlStormControlActionIntfGet, Idx<0>, Q<"mode">, Val>, set_port_action,
     "Failed to get the storm control action of the port and error code:%d",
     "Failed to set the storm control action of port %d and error code : %d", SetLog::IndexRc},
};
const Resource kIntf{.name = "stormcontrol_intf_cfg",
                     .walk = ports(),
                     .fields = kIntfFields,
                     .aggregate = kIntfAggregate,
                     .query = kModeQuery};

}  // namespace

VELTRUM_SERVE(stormcontrol_global_cfg, kGlobal);
VELTRUM_SERVE(stormcontrol_intf_cfg, kIntf);
