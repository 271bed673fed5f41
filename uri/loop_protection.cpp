// Loop protection: "loopprotection_global_cfg", "loop_protection_cfg" and
// "loop_protection_clear".
#include "core/platform_call.h"
#include "core/validate.h"
#include "platform/calls/19_loop_protection.h"

using namespace veltrum::handler;

namespace {

// Aggregate code of the family (docs/security.md).
constexpr int kPortAggregate = 1380;

// ---------------------------------------------------------------- loopprotection_global_cfg

// The agent checks the platform's ranges itself (log only, as for modes).
const Field kGlobalFields[] = {
    {"admin", flag("Invalid Admin Mode %d"), platform_get<&rpcclt_openapiLoopProtectAdminModeGet>,
     platform_set<&rpcclt_openapiLoopProtectAdminModeSet>, "Failed to get the loop protection mode and error code:%d",
     "Failed to set the loop protection mode %d and error code : %d", SetLog::ValueRc},
    {"txInterval", choice(1, 10, "Invalid TX Interval %d"), platform_get<&rpcclt_openapiLoopProtectTxTimerGet>,
     platform_set<&rpcclt_openapiLoopProtectTxTimerSet>, "Failed to get the transmit interval and error code:%d",
     "Failed to set the transmit interval %d and error code : %d", SetLog::ValueRc},
    {"rxPdu", choice(1, 10, "Invalid RXPDU Interval %d"), platform_get<&rpcclt_openapiLoopProtectMaxPduReceiveGet>,
     platform_set<&rpcclt_openapiLoopProtectMaxPduReceiveSet>, "Failed to get the PDU count and error code:%d",
     "Failed to set the PDU count %d and error code : %d", SetLog::ValueRc},
    {"disableTimer", choice(0, 604800, "Invalid Disable Time Interval %d"),
     platform_get<&rpcclt_openapiLoopProtectDisableTimerGet>, platform_set<&rpcclt_openapiLoopProtectDisableTimerSet>,
     "Failed to get the disable time and error code:%d", "Failed to set the disable time %d and error code : %d",
     SetLog::ValueRc},
};
const Resource kGlobal{.name = "loopprotection_global_cfg", .walk = scalar(), .fields = kGlobalFields};

// ---------------------------------------------------------------- loop_protection_cfg

// GET lists what each port saw; POST sets its mode ("keepalive", listed as
// "state") and its action.
const Field kPortFields[] = {
    {"port", port_check(3, "Port validation failed.\n")},
    {"state", no_check(), platform_get<&rpcclt_openapiLoopProtectPortAdminModeGet>, nullptr,
     "Failed to get the loop protection mode of the port and error code:%d", nullptr, SetLog::Rc, kGet},
    {"loop", no_check(), platform_get<&rpcclt_openapiLoopProtectIsLoopDetected>, nullptr,
     "Failed to get the loop state of the port and error code:%d", nullptr, SetLog::Rc, kGet},
    {"loopCnt", no_check(), platform_get<&rpcclt_openapiLoopProtectPortloopDetectCountGet>, nullptr,
     "Failed to get the loop count of the port and error code:%d", nullptr, SetLog::Rc, kGet},
    {"lastTime", no_check(), platform_get<&rpcclt_openapiLoopProtectPortTimeSinceLastLoopGet>, nullptr,
     "Failed to get the time since the last loop and error code:%d", nullptr, SetLog::Rc, kGet},
    {"status", no_check(), platform_get<&rpcclt_openapiLoopProtectIsPortDisabled>, nullptr,
     "Failed to get the disabled state of the port and error code:%d", nullptr, SetLog::Rc, kGet},
    {"keepalive", flag("Invalid Admin Mode %d"), nullptr, platform_set<&rpcclt_openapiLoopProtectPortAdminModeSet>,
     nullptr, "Failed to set the loop protection mode of port %d and error code : %d", SetLog::IndexRc, kPost},
    {"rxaction", choice(OPEN_LOOP_ACTION_SHUTDOWN, OPEN_LOOP_ACTION_BOTH, "Invalid Port Action mode: %d"),
     platform_get<&rpcclt_openapiLoopProtectPortActionGet>, platform_set<&rpcclt_openapiLoopProtectPortActionSet>,
     "Failed to get the loop protection action of the port and error code:%d",
     "Failed to set the loop protection action of port %d and error code : %d", SetLog::IndexRc},
};
const Resource kPorts{.name = "loop_protection_cfg", .walk = ports(), .fields = kPortFields, .aggregate = kPortAggregate};

// ---------------------------------------------------------------- loop_protection_clear

// Port 0 clears the counters of every port; any other port must exist.
bool check_clear_port(Outcome &out, const char *, json_object *value) {
  int64_t port = 0;
  if (read_int(value, port) && port == 0) return true;
  static constexpr Check kPort = port_check(3, "Port validation failed.\n");
  return check_value(out, "port", kPort, value);
}

int clear_counters(const Element &e) {
  int64_t port = int_of(e.value("port"));
  if (port == 0) return rpcclt_openapiLoopProtectAllStatsClear(&g_client_handle);
  return rpcclt_openapiLoopProtectPortStatsClear(&g_client_handle, static_cast<uint32_t>(port));
}

const Field kClearFields[] = {
    {"port", custom_check(check_clear_port, true), nullptr, nullptr, nullptr, nullptr, SetLog::Rc, kPost},
};
const Resource kClear{.name = "loop_protection_clear",
                      .walk = scalar(),
                      .fields = kClearFields,
                      .create = clear_counters,
                      .create_error = "Failed to clear the loop protection counters and error code : %d"};

}  // namespace

VELTRUM_SERVE(loopprotection_global_cfg, kGlobal);
VELTRUM_SERVE(loop_protection_cfg, kPorts);
VELTRUM_SERVE(loop_protection_clear, kClear);
