// Denial-of-service protection: "auto_dos_cfg" and "dos_service_cfg".
#include "core/platform_call.h"
#include "platform/calls/18_dos.h"
#include "support/log.h"

using namespace veltrum::handler;

namespace {

// ---------------------------------------------------------------- dos_service_cfg

// Each check and size: the key, its check and its two calls.
#define VELTRUM_DOS_FIELD(key, check, name)                                                                        \
  Field {                                                                                                          \
    key, check, platform_get<&rpcclt_openapiDoS##name##Get>, platform_set<&rpcclt_openapiDoS##name##Set>,          \
        "Failed to get " key " and error code:%d", "Failed to set " key " %d and error code : %d", SetLog::ValueRc \
  }

const Field kServiceFields[] = {
    VELTRUM_DOS_FIELD(
        "minTcpHead",
        range(0, OPEN_DOS_TCP_HEADER_MAX, "Denial of Service Min TCP Header Size", "Invalid TCP Header Size: %d"),
        FirstFragSize),
    VELTRUM_DOS_FIELD("icmpv4", flag("Invalid ICMPV4 Mode %d"), ICMPMode),
    VELTRUM_DOS_FIELD(
        "icmpv4MaxSize",
        range(0, OPEN_DOS_ICMP_SIZE_MAX, "Denial of Service Max ICMPV4 Packet Size", "Invalid ICMPV4 Max Size:%d"),
        ICMPSize),
    VELTRUM_DOS_FIELD("icmpv6", flag("Invalid ICMPV6 Mode %d"), ICMPv6Mode),
    VELTRUM_DOS_FIELD(
        "icmpv6MaxSize",
        range(0, OPEN_DOS_ICMP_SIZE_MAX, "Denial of Service Max ICMPV6 Packet Size", "Invalid ICMPV6 Max Size %d"),
        ICMPv6Size),
    VELTRUM_DOS_FIELD("firstFrag", flag("Invalid FirstFrag Mode %d"), FirstFragMode),
    VELTRUM_DOS_FIELD("icmpFrag", flag("Invalid ICMPFrag Mode %d"), ICMPFragMode),
    VELTRUM_DOS_FIELD("sipEqDip", flag("Invalid SIPEQDIP Mode %d"), SIPDIPMode),
    VELTRUM_DOS_FIELD("smacEqDmac", flag("Invalid SMACEQDMAC Mode %d"), SMACDMACMode),
    VELTRUM_DOS_FIELD("tcpFinUrgPsh", flag("Invalid TCPFINURGPSH Mode %d"), TCPFinUrgPshMode),
    VELTRUM_DOS_FIELD("tcpSeq", flag("Invalid TCPSEQ Mode %d"), TCPFlagSeqMode),
    VELTRUM_DOS_FIELD("tcpFrag", flag("Invalid TCPFRAG Mode %d"), TCPFragMode),
    VELTRUM_DOS_FIELD("tcpOffset", flag("Invalid TCPOFFSET Mode %d"), TCPOffsetMode),
    VELTRUM_DOS_FIELD("tcpPort", flag("Invalid TCPPORT Mode %d"), TCPPortMode),
    VELTRUM_DOS_FIELD("tcpSyn", flag("Invalid TCPSYN Mode %d"), TCPSynMode),
    VELTRUM_DOS_FIELD("tcpSynFin", flag("Invalid TCPSYNFIN Mode %d"), TCPSynFinMode),
    VELTRUM_DOS_FIELD("udpPort", flag("Invalid UDPPORT Mode %d"), UDPPortMode),
};
#undef VELTRUM_DOS_FIELD
const Resource kService{.name = "dos_service_cfg", .walk = scalar(), .fields = kServiceFields};

// ---------------------------------------------------------------- auto_dos_cfg

// The automatic mode switches every check with it: on, each check is
// enabled with its default sizes; off, each check is disabled (sizes
// stay). The first failing call ends the request.
int set_auto(const Element &e, json_object *value) {
  using ModeSet = open_error_t (*)(openapiClientHandle_t *, OPEN_CONTROL_t);
  static constexpr ModeSet kModes[] = {
      rpcclt_openapiDoSFirstFragModeSet,
      rpcclt_openapiDoSICMPModeSet,
      rpcclt_openapiDoSICMPv6ModeSet,
      rpcclt_openapiDoSICMPFragModeSet,
      rpcclt_openapiDoSSIPDIPModeSet,
      rpcclt_openapiDoSSMACDMACModeSet,
      rpcclt_openapiDoSTCPFinUrgPshModeSet,
      rpcclt_openapiDoSTCPFlagSeqModeSet,
      rpcclt_openapiDoSTCPFragModeSet,
      rpcclt_openapiDoSTCPOffsetModeSet,
      rpcclt_openapiDoSTCPPortModeSet,
      rpcclt_openapiDoSTCPSynModeSet,
      rpcclt_openapiDoSTCPSynFinModeSet,
      rpcclt_openapiDoSUDPPortModeSet,
      rpcclt_openapiDoSGlobalSmurfAttackModeSet,
  };
  if (int rc = platform_set<&rpcclt_openapiDoSAutoModeSet>(e, value)) return rc;
  auto mode = int_of(value) ? OPEN_ENABLE : OPEN_DISABLE;
  for (ModeSet fn : kModes)
    if (int rc = fn(&g_client_handle, mode)) return rc;
  if (mode == OPEN_ENABLE) {
    if (int rc = rpcclt_openapiDoSFirstFragSizeSet(&g_client_handle, OPEN_DOS_TCP_HEADER_DEFAULT)) return rc;
    if (int rc = rpcclt_openapiDoSICMPSizeSet(&g_client_handle, OPEN_DOS_ICMP_SIZE_DEFAULT)) return rc;
    if (int rc = rpcclt_openapiDoSICMPv6SizeSet(&g_client_handle, OPEN_DOS_ICMP_SIZE_DEFAULT)) return rc;
  }
  return OPEN_E_NONE;
}

const Field kAutoFields[] = {
    {.key = "auto",
     .check = flag("Invalid DOS Auto mode %d"),
     .get = platform_get<&rpcclt_openapiDoSAutoModeGet>,
     .set = set_auto,
     .set_log = SetLog::ValueRc},
};
const Resource kAuto{.name = "auto_dos_cfg", .walk = scalar(), .fields = kAutoFields};

}  // namespace

VELTRUM_SERVE(auto_dos_cfg, kAuto);
VELTRUM_SERVE(dos_service_cfg, kService);
