// MAC filters: "macfilter_config" (the filters) and
// "macfilter_portsetting" (the source and destination ports of each).
#include "core/platform_call.h"
#include "platform/calls/16_mac_filter.h"

using namespace veltrum::handler;

namespace {

// Aggregate codes of the family (docs/security.md).
constexpr int kConfigAggregate = 1320;
constexpr int kPortAggregate = 1321;

constexpr size_t kMacText = OPEN_MAC_TEXT_SIZE;  // the text and its NUL

constexpr Check kMac = mac_check("MAC Address", "Invalid Mac Address \n");
constexpr Check kVlan = vlan_check("Validation failed for vlan %d.\n");

// A filter's ports of each direction, by its MAC address and VLAN.
constexpr GetBinding kSrcPorts = get<&rpcclt_openapiFilterSrcIntfListGet, Txt<0>, Idx<0>, PortArray<"port">>;
constexpr GetBinding kDstPorts = get<&rpcclt_openapiFilterDstIntfListGet, Txt<0>, Idx<0>, PortArray<"port">>;
constexpr const char *kPortsError = "Failed to get the ports of the MAC filter and error code:%d";

// ---------------------------------------------------------------- macfilter_config

constexpr Cursor kFilterWalk =
    cursor2<cursor<&rpcclt_openapiFilterFirstGet, NextTxt<0, kMacText>, NextNum<0>>,
            cursor<&rpcclt_openapiFilterNextGet, Txt<0>, Idx<0>, NextTxt<0, kMacText>, NextNum<0>>>;

// "drcPorts" repeats "dstPorts" under the name older clients read.
const Field kConfigFields[] = {
    {.key = "macAddr", .check = kMac, .flags = kIndex},
    {.key = "vlan", .check = kVlan, .flags = kIndex},
    {.key = "srcPorts", .get = kSrcPorts, .get_error = kPortsError, .flags = kGet},
    {.key = "dstPorts", .get = kDstPorts, .get_error = kPortsError, .flags = kGet},
    {.key = "drcPorts", .get = kDstPorts, .get_error = kPortsError, .flags = kGet},
};
const Resource kConfig{.name = "macfilter_config",
                       .walk = list(kFilterWalk, "Failed to get the MAC filters and error code:%d"),
                       .fields = kConfigFields,
                       .aggregate = kConfigAggregate,
                       .create = act<&rpcclt_openapiFilterCreate, Txt<0>, Idx<0>>,
                       .create_error = "Failed to create the MAC filter %s and error code : %d",
                       .create_log = ActionLog::TextRc,
                       .remove = act<&rpcclt_openapiFilterRemove, Txt<0>, Idx<0>>,
                       .remove_error = "Failed to remove the MAC filter %s and error code : %d",
                       .remove_log = ActionLog::TextRc};

// ---------------------------------------------------------------- macfilter_portsetting

// GET names the filter by its query variables; POST gives, per filter, the
// ports it must have: ports it has and the body does not list are removed.
const Query kFilterQuery[] = {
    {.name = "macAddr", .check = kMac, .missing_log = "mac address not found in query var", .index = 0},
    {.name = "vlan", .check = kVlan, .missing_log = "vlan not found in the query var", .index = 0},
};
const Field kPortFields[] = {
    {.key = "macAddr", .check = kMac, .flags = kIndex},
    {.key = "vlan", .check = kVlan, .flags = kIndex},
    {.key = "srcPorts",
     .check = custom_check(port_list_check),
     .get = kSrcPorts,
     .set = replace_ports<&rpcclt_openapiFilterSrcIntfListGet, &rpcclt_openapiFilterSrcIntfAdd,
                          &rpcclt_openapiFilterSrcIntfDelete, Txt<0>, Idx<0>>,
     .get_error = kPortsError},
    {.key = "dstPorts",
     .check = custom_check(port_list_check),
     .get = kDstPorts,
     .set = replace_ports<&rpcclt_openapiFilterDstIntfListGet, &rpcclt_openapiFilterDstIntfAdd,
                          &rpcclt_openapiFilterDstIntfDelete, Txt<0>, Idx<0>>,
     .get_error = kPortsError},
};
const Resource kPorts{.name = "macfilter_portsetting",
                      .walk = single(),
                      .fields = kPortFields,
                      .aggregate = kPortAggregate,
                      .query = kFilterQuery};

}  // namespace

VELTRUM_SERVE(macfilter_config, kConfig);
VELTRUM_SERVE(macfilter_portsetting, kPorts);
