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
    {.key = "admin",
     .check = flag("Invalid Admin Mode %d"),
     .get = platform_get<&rpcclt_openapiLoopProtectAdminModeGet>,
     .set = platform_set<&rpcclt_openapiLoopProtectAdminModeSet>,
     .set_log = SetLog::ValueRc},
    {.key = "txInterval",
     .check = choice(1, 10, "Invalid TX Interval %d"),
     .get = platform_get<&rpcclt_openapiLoopProtectTxTimerGet>,
     .set = platform_set<&rpcclt_openapiLoopProtectTxTimerSet>,
     .set_log = SetLog::ValueRc},
    {.key = "rxPdu",
     .check = choice(1, 10, "Invalid RXPDU Interval %d"),
     .get = platform_get<&rpcclt_openapiLoopProtectMaxPduReceiveGet>,
     .set = platform_set<&rpcclt_openapiLoopProtectMaxPduReceiveSet>,
     .set_log = SetLog::ValueRc},
    {.key = "disableTimer",
     .check = choice(0, 604800, "Invalid Disable Time Interval %d"),
     .get = platform_get<&rpcclt_openapiLoopProtectDisableTimerGet>,
     .set = platform_set<&rpcclt_openapiLoopProtectDisableTimerSet>,
     .set_log = SetLog::ValueRc},
};
const Resource kGlobal{.name = "loopprotection_global_cfg", .walk = scalar(), .fields = kGlobalFields};

// ---------------------------------------------------------------- loop_protection_cfg

// GET lists what each port saw; POST sets its mode ("keepalive", listed as
// "state") and its action.
const Field kPortFields[] = {
    {.key = "port", .check = port_check(3, "Port validation failed.\n")},
    {.key = "state", .get = platform_get<&rpcclt_openapiLoopProtectPortAdminModeGet>, .flags = kGet},
    {.key = "loop", .get = platform_get<&rpcclt_openapiLoopProtectIsLoopDetected>, .flags = kGet},
    {.key = "loopCnt", .get = platform_get<&rpcclt_openapiLoopProtectPortloopDetectCountGet>, .flags = kGet},
    {.key = "lastTime", .get = platform_get<&rpcclt_openapiLoopProtectPortTimeSinceLastLoopGet>, .flags = kGet},
    {.key = "status", .get = platform_get<&rpcclt_openapiLoopProtectIsPortDisabled>, .flags = kGet},
    {.key = "keepalive",
     .check = flag("Invalid Admin Mode %d"),
     .set = platform_set<&rpcclt_openapiLoopProtectPortAdminModeSet>,
     .set_log = SetLog::IndexRc,
     .flags = kPost},
    {.key = "rxaction",
     .check = choice(OPEN_LOOP_ACTION_SHUTDOWN, OPEN_LOOP_ACTION_BOTH, "Invalid Port Action mode: %d"),
     .get = platform_get<&rpcclt_openapiLoopProtectPortActionGet>,
     .set = platform_set<&rpcclt_openapiLoopProtectPortActionSet>,
     .set_log = SetLog::IndexRc},
};
const Resource kPorts{
    .name = "loop_protection_cfg", .walk = ports(), .fields = kPortFields, .aggregate = kPortAggregate};

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
    {.key = "port", .check = custom_check(check_clear_port, true), .flags = kPost},
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
