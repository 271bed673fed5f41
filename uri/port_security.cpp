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
    {"mode", flag("Invalid Port secuirty Admin Mode %d"), platform_get<&rpcclt_openapiPmlGlobalAdminModeGet>,
     platform_set<&rpcclt_openapiPmlGlobalAdminModeSet>, "Failed to get the port security admin mode and error code:%d",
     "Failed to set the port security admin mode %d and error code : %d", SetLog::ValueRc},
};
const Resource kGlobal{.name = "port_security_cfg", .walk = scalar(), .fields = kGlobalFields};

// ---------------------------------------------------------------- port_security_intf

// The limits are the platform's: a value it refuses is a counted failure.
const Field kIntfFields[] = {
    {"port", port_check(3, "Port validation failed.\n")},
    {"admin", flag("Invalid Admin Mode %d"), platform_get<&rpcclt_openapiPmlIntfModeGet>,
     platform_set<&rpcclt_openapiPmlIntfModeSet>, "Failed to get the port security mode and error code:%d",
     "Failed to set the port security mode of port %d and error code : %d", SetLog::IndexRc},
    {"maxLearn", any_number(), platform_get<&rpcclt_openapiPmlIntfDynamicLimitGet>,
     platform_set<&rpcclt_openapiPmlIntfDynamicLimitSet>, "Failed to get the dynamic limit and error code:%d",
     "Failed to set the dynamic limit of port %d and error code : %d", SetLog::IndexRc},
    {"maxStatic", any_number(), platform_get<&rpcclt_openapiPmlIntfStaticLimitGet>,
     platform_set<&rpcclt_openapiPmlIntfStaticLimitSet>, "Failed to get the static limit and error code:%d",
     "Failed to set the static limit of port %d and error code : %d", SetLog::IndexRc},
    {"shutdown", flag("Invalid Enable violation shutdown Mode %d"),
     platform_get<&rpcclt_openapiPmlIntfViolationDDisableModeGet>,
     platform_set<&rpcclt_openapiPmlIntfViolationDDisableModeSet>,
     "Failed to get the violation shutdown mode and error code:%d",
     "Failed to set the violation shutdown mode of port %d and error code : %d", SetLog::IndexRc},
    {"trap", flag("Invalid Enable violation trap Mode %d"), platform_get<&rpcclt_openapiPmlIntfViolationTrapModeGet>,
     platform_set<&rpcclt_openapiPmlIntfViolationTrapModeSet>, "Failed to get the violation trap mode and error code:%d",
     "Failed to set the violation trap mode of port %d and error code : %d", SetLog::IndexRc},
};
const Resource kIntf{.name = "port_security_intf", .walk = ports(), .fields = kIntfFields, .aggregate = kIntfAggregate};

// ---------------------------------------------------------------- port_security_dynamicmac

const Query kPortQuery[] = {
    {.name = "port", .check = port_check(3, "Port validation failed"), .missing_log = "port id not found in query var",
     .index = 0},
};
const Query kPortFilter[] = {
    {.name = "port", .check = port_check(3, "Port validation failed"), .missing_log = "port id not found in query var"},
};
// The addresses one port learned, in (MAC, VLAN) order.
constexpr Cursor kLearnedWalk =
    cursor2<cursor<&rpcclt_openapiPmlIntfDynamicEntryGetFirst, Q<"port">, NextTxt<0, kMacText>, NextNum<0>>,
            cursor<&rpcclt_openapiPmlIntfDynamicEntryGetNext, Q<"port">, Txt<0>, Idx<0>, NextTxt<0, kMacText>,
                   NextNum<0>>>;
const Field kLearnedFields[] = {
    {"mac", any_text(), nullptr, nullptr, nullptr, nullptr, SetLog::Rc, kIndex},
    {"vlan", any_number(), nullptr, nullptr, nullptr, nullptr, SetLog::Rc, kIndex},
    {"port", no_check(), from_query<"port">, nullptr, nullptr, nullptr, SetLog::Rc, kGet},
};
const Resource kLearned{.name = "port_security_dynamicmac",
                        .walk = list(kLearnedWalk, "Failed to get the learned addresses and error code:%d"),
                        .fields = kLearnedFields,
                        .query = kPortFilter};

// ---------------------------------------------------------------- port_security_settings

// GET asks for one port; POST makes the addresses each listed port learned
// static.
const Field kSettingsFields[] = {
    {"port", port_check(3, "Port validation failed"), nullptr, nullptr, nullptr, nullptr, SetLog::Rc, kIndex},
    {"macNum", no_check(), get<&rpcclt_openapiPmlIntfDynamicLearnedAddrCountGet, Idx<0>, Val>, nullptr,
     "Failed to get the number of learned addresses and error code:%d", nullptr, SetLog::Rc, kGet},
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
    {"port", port_check(3, "Port validation failed")},
    {"violation", no_check(),
     get<&rpcclt_openapiPmlIntfLastViolationAddrGet, Idx<0>, IntoText<"mac", kMacText>, Into<"vlan">>, nullptr,
     "Failed to get the last violation and error code:%d", nullptr, SetLog::Rc, kGet | kMerge},
};
const Resource kViolations{.name = "port_security_violations", .walk = ports(), .fields = kViolationFields};

}  // namespace

VELTRUM_SERVE(port_security_cfg, kGlobal);
VELTRUM_SERVE(port_security_intf, kIntf);
VELTRUM_SERVE(port_security_dynamicmac, kLearned);
VELTRUM_SERVE(port_security_settings, kSettings);
VELTRUM_SERVE(port_security_violations, kViolations);
