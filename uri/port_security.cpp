// Port security: "port_security_cfg", "port_security_intf",
// "port_security_dynamicmac", "port_security_settings",
// "port_security_violations".
#include "core/platform_call.h"
#include "platform/calls/12_port_security.h"

using namespace veltrum::handler;

namespace {

// Aggregate codes of the family (docs/security.md).
constexpr int kIntfAggregate = 1240;
constexpr int kSettingsAggregate = 1241;

constexpr size_t kMacText = OPEN_MAC_TEXT_SIZE;  // the text and its NUL

// ---------------------------------------------------------------- port_security_cfg

const Field kGlobalFields[] = {
    {.key = "mode",
     .check = flag("Invalid Port secuirty Admin Mode %d"),
     .get = platform_get<&rpcclt_openapiPmlGlobalAdminModeGet>,
     .set = platform_set<&rpcclt_openapiPmlGlobalAdminModeSet>,
     .set_log = SetLog::ValueRc},
};
const Resource kGlobal{.name = "port_security_cfg", .walk = scalar(), .fields = kGlobalFields};

// ---------------------------------------------------------------- port_security_intf

// The limits are the platform's: a value it refuses is a counted failure.
const Field kIntfFields[] = {
    {.key = "port", .check = port_check(3, "Port validation failed.\n")},
    {.key = "admin",
     .check = flag("Invalid Admin Mode %d"),
     .get = platform_get<&rpcclt_openapiPmlIntfModeGet>,
     .set = platform_set<&rpcclt_openapiPmlIntfModeSet>,
     .set_log = SetLog::IndexRc},
    {.key = "maxLearn",
     .check = any_number(),
     .get = platform_get<&rpcclt_openapiPmlIntfDynamicLimitGet>,
     .set = platform_set<&rpcclt_openapiPmlIntfDynamicLimitSet>,
     .set_log = SetLog::IndexRc},
    {.key = "maxStatic",
     .check = any_number(),
     .get = platform_get<&rpcclt_openapiPmlIntfStaticLimitGet>,
     .set = platform_set<&rpcclt_openapiPmlIntfStaticLimitSet>,
     .set_log = SetLog::IndexRc},
    {.key = "shutdown",
     .check = flag("Invalid Enable violation shutdown Mode %d"),
     .get = platform_get<&rpcclt_openapiPmlIntfViolationDDisableModeGet>,
     .set = platform_set<&rpcclt_openapiPmlIntfViolationDDisableModeSet>,
     .set_log = SetLog::IndexRc},
    {.key = "trap",
     .check = flag("Invalid Enable violation trap Mode %d"),
     .get = platform_get<&rpcclt_openapiPmlIntfViolationTrapModeGet>,
     .set = platform_set<&rpcclt_openapiPmlIntfViolationTrapModeSet>,
     .set_log = SetLog::IndexRc},
};
const Resource kIntf{.name = "port_security_intf", .walk = ports(), .fields = kIntfFields, .aggregate = kIntfAggregate};

// ---------------------------------------------------------------- port_security_dynamicmac

const Query kPortQuery[] = {
    {.name = "port",
     .check = port_check(3, "Port validation failed"),
     .missing_log = "port id not found in query var",
     .index = 0},
};
const Query kPortFilter[] = {
    {.name = "port", .check = port_check(3, "Port validation failed"), .missing_log = "port id not found in query var"},
};
// The addresses one port learned, in (MAC, VLAN) order.
constexpr Cursor kLearnedWalk = cursor2<
    cursor<&rpcclt_openapiPmlIntfDynamicEntryGetFirst, Q<"port">, NextTxt<0, kMacText>, NextNum<0>>,
    cursor<&rpcclt_openapiPmlIntfDynamicEntryGetNext, Q<"port">, Txt<0>, Idx<0>, NextTxt<0, kMacText>, NextNum<0>>>;
const Field kLearnedFields[] = {
    {.key = "mac", .check = any_text(), .flags = kIndex},
    {.key = "vlan", .check = any_number(), .flags = kIndex},
    {.key = "port", .get = from_query<"port">, .flags = kGet},
};
const Resource kLearned{.name = "port_security_dynamicmac",
                        .walk = list(kLearnedWalk, "Failed to get the learned addresses and error code:%d"),
                        .fields = kLearnedFields,
                        .query = kPortFilter};

// ---------------------------------------------------------------- port_security_settings

// GET asks for one port; POST makes the addresses each listed port learned
// static.
const Field kSettingsFields[] = {
    {.key = "port", .check = port_check(3, "Port validation failed"), .flags = kIndex},
    {.key = "macNum", .get = get<&rpcclt_openapiPmlIntfDynamicLearnedAddrCountGet, Idx<0>, Val>, .flags = kGet},
};
const Resource kSettings{.name = "port_security_settings",
                         .walk = single(),
                         .fields = kSettingsFields,
                         .aggregate = kSettingsAggregate,
                         .query = kPortQuery,
                         .create = act<&rpcclt_openapiPmlIntfDynamicToStaticMove, Idx<0>>,
                         .create_error = "Failed to move the learned addresses of port %d and error code : %d",
                         .create_log = ActionLog::IndexRc};

// ---------------------------------------------------------------- port_security_violations

const Field kViolationFields[] = {
    {.key = "port", .check = port_check(3, "Port validation failed")},
    {.key = "violation",
     .get = get<&rpcclt_openapiPmlIntfLastViolationAddrGet, Idx<0>, IntoText<"mac", kMacText>, Into<"vlan">>,
     .flags = kGet | kMerge},
};
const Resource kViolations{.name = "port_security_violations", .walk = ports(), .fields = kViolationFields};

}  // namespace

VELTRUM_SERVE(port_security_cfg, kGlobal);
VELTRUM_SERVE(port_security_intf, kIntf);
VELTRUM_SERVE(port_security_dynamicmac, kLearned);
VELTRUM_SERVE(port_security_settings, kSettings);
VELTRUM_SERVE(port_security_violations, kViolations);
