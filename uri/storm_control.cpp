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
    {.name = "mode",
     .check = choice(OPEN_STORM_BCAST, OPEN_STORM_UCAST, "Invalid  mode %d"),
     .missing_log = "mode not found in query var"},
};

// ---------------------------------------------------------------- stormcontrol_global_cfg

const Field kGlobalFields[] = {
    {.key = "mode",
     .check = choice(OPEN_STORM_BCAST, OPEN_STORM_UCAST, "Invalid mode %d"),
     .get = from_query<"mode">,
     .flags = kGet | kPost},
    {.key = "glbState",
     .check = flag("Invalid  state %d"),
     .get = get<&rpcclt_openapiStormControlModeGet, Q<"mode">, Val>,
     .set = set<&rpcclt_openapiStormControlModeSet, Key<"mode">, Val>,
     .set_log = SetLog::ValueRc},
    {.key = "glbThreshold",
     .check = kThreshold,
     .get = get<&rpcclt_openapiStormControlThresholdGet, Q<"mode">, Val>,
     .set = set<&rpcclt_openapiStormControlThresholdSet, Key<"mode">, Val>,
     .set_log = SetLog::ValueRc},
    {.key = "act",
     .check = kAction,
     .get = get<&rpcclt_openapiStormControlActionGet, Q<"mode">, Val>,
     .set = set<&rpcclt_openapiStormControlActionSet, Key<"mode">, Val>,
     .set_log = SetLog::ValueRc},
};
const Resource kGlobal{
    .name = "stormcontrol_global_cfg", .walk = scalar(), .fields = kGlobalFields, .query = kModeQuery};

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
    {.key = "port", .check = port_check(3, "Port validation failed")},
    {.key = "mode", .check = choice(OPEN_STORM_BCAST, OPEN_STORM_UCAST, "Invalid mode %d"), .flags = kPost},
    {.key = "state",
     .check = flag("Invalid  state %d"),
     .get = get<&rpcclt_openapiStormControlIntfModeGet, Idx<0>, Q<"mode">, Val>,
     .set = set<&rpcclt_openapiStormControlIntfModeSet, Idx<0>, Key<"mode">, Val>,
     .set_log = SetLog::IndexRc},
    {.key = "threshold",
     .check = kThreshold,
     .get = get<&rpcclt_openapiStormControlIntfThresholdGet, Idx<0>, Q<"mode">, Val>,
     .set = set<&rpcclt_openapiStormControlIntfThresholdSet, Idx<0>, Key<"mode">, Val>,
     .set_log = SetLog::IndexRc},
    {.key = "act",
     .check = kAction,
     .get = get<&rpcclt_openapiSwDevCtrlStormControlActionIntfGet, Idx<0>, Q<"mode">, Val>,
     .set = set_port_action,
     .set_log = SetLog::IndexRc},
};
const Resource kIntf{.name = "stormcontrol_intf_cfg",
                     .walk = ports(),
                     .fields = kIntfFields,
                     .aggregate = kIntfAggregate,
                     .query = kModeQuery};

}  // namespace

VELTRUM_SERVE(stormcontrol_global_cfg, kGlobal);
VELTRUM_SERVE(stormcontrol_intf_cfg, kIntf);
