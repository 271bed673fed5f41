// Denial-of-service protection: the automatic mode and each attack check
// with its sizes.
#pragma once

#include "platform/family.h"

// Sizes: the smallest TCP header (first fragment) and the largest ICMP
// payloads the checks let through.
enum {
  OPEN_DOS_TCP_HEADER_MAX = 31,
  OPEN_DOS_ICMP_SIZE_MAX = 16376,
  OPEN_DOS_TCP_HEADER_DEFAULT = 20,
  OPEN_DOS_ICMP_SIZE_DEFAULT = 512,
};

#define VELTRUM_SETTINGS_dos(SETTING, SETTING_BY, TEXT_SETTING)                                    \
  SETTING(X(rpcclt_openapiDoSAutoModeGet), X(rpcclt_openapiDoSAutoModeSet),                         \
          GLOBAL, OPEN_CONTROL_t, "dos.auto", 0, 0, 1)                                             \
  SETTING(X(rpcclt_openapiDoSFirstFragModeGet), X(rpcclt_openapiDoSFirstFragModeSet),               \
          GLOBAL, OPEN_CONTROL_t, "dos.first_frag", 0, 0, 1)                                       \
  SETTING(X(rpcclt_openapiDoSFirstFragSizeGet), X(rpcclt_openapiDoSFirstFragSizeSet),               \
          GLOBAL, uint32_t, "dos.first_frag.size", OPEN_DOS_TCP_HEADER_DEFAULT, 0, OPEN_DOS_TCP_HEADER_MAX) \
  SETTING(X(rpcclt_openapiDoSICMPModeGet), X(rpcclt_openapiDoSICMPModeSet),                         \
          GLOBAL, OPEN_CONTROL_t, "dos.icmp", 0, 0, 1)                                             \
  SETTING(X(rpcclt_openapiDoSICMPSizeGet), X(rpcclt_openapiDoSICMPSizeSet),                         \
          GLOBAL, uint32_t, "dos.icmp.size", OPEN_DOS_ICMP_SIZE_DEFAULT, 0, OPEN_DOS_ICMP_SIZE_MAX) \
  SETTING(X(rpcclt_openapiDoSICMPv6ModeGet), X(rpcclt_openapiDoSICMPv6ModeSet),                     \
          GLOBAL, OPEN_CONTROL_t, "dos.icmpv6", 0, 0, 1)                                           \
  SETTING(X(rpcclt_openapiDoSICMPv6SizeGet), X(rpcclt_openapiDoSICMPv6SizeSet),                     \
          GLOBAL, uint32_t, "dos.icmpv6.size", OPEN_DOS_ICMP_SIZE_DEFAULT, 0, OPEN_DOS_ICMP_SIZE_MAX) \
  SETTING(X(rpcclt_openapiDoSICMPFragModeGet), X(rpcclt_openapiDoSICMPFragModeSet),                 \
          GLOBAL, OPEN_CONTROL_t, "dos.icmp_frag", 0, 0, 1)                                        \
  SETTING(X(rpcclt_openapiDoSSIPDIPModeGet), X(rpcclt_openapiDoSSIPDIPModeSet),                     \
          GLOBAL, OPEN_CONTROL_t, "dos.sip_dip", 0, 0, 1)                                          \
  SETTING(X(rpcclt_openapiDoSSMACDMACModeGet), X(rpcclt_openapiDoSSMACDMACModeSet),                 \
          GLOBAL, OPEN_CONTROL_t, "dos.smac_dmac", 0, 0, 1)                                        \
  SETTING(X(rpcclt_openapiDoSTCPFinUrgPshModeGet), X(rpcclt_openapiDoSTCPFinUrgPshModeSet),         \
          GLOBAL, OPEN_CONTROL_t, "dos.tcp_fin_urg_psh", 0, 0, 1)                                  \
  SETTING(X(rpcclt_openapiDoSTCPFlagSeqModeGet), X(rpcclt_openapiDoSTCPFlagSeqModeSet),             \
          GLOBAL, OPEN_CONTROL_t, "dos.tcp_flag_seq", 0, 0, 1)                                     \
  SETTING(X(rpcclt_openapiDoSTCPFragModeGet), X(rpcclt_openapiDoSTCPFragModeSet),                   \
          GLOBAL, OPEN_CONTROL_t, "dos.tcp_frag", 0, 0, 1)                                         \
  SETTING(X(rpcclt_openapiDoSTCPOffsetModeGet), X(rpcclt_openapiDoSTCPOffsetModeSet),               \
          GLOBAL, OPEN_CONTROL_t, "dos.tcp_offset", 0, 0, 1)                                       \
  SETTING(X(rpcclt_openapiDoSTCPPortModeGet), X(rpcclt_openapiDoSTCPPortModeSet),                   \
          GLOBAL, OPEN_CONTROL_t, "dos.tcp_port", 0, 0, 1)                                         \
  SETTING(X(rpcclt_openapiDoSTCPSynModeGet), X(rpcclt_openapiDoSTCPSynModeSet),                     \
          GLOBAL, OPEN_CONTROL_t, "dos.tcp_syn", 0, 0, 1)                                          \
  SETTING(X(rpcclt_openapiDoSTCPSynFinModeGet), X(rpcclt_openapiDoSTCPSynFinModeSet),               \
          GLOBAL, OPEN_CONTROL_t, "dos.tcp_syn_fin", 0, 0, 1)                                      \
  SETTING(X(rpcclt_openapiDoSUDPPortModeGet), X(rpcclt_openapiDoSUDPPortModeSet),                   \
          GLOBAL, OPEN_CONTROL_t, "dos.udp_port", 0, 0, 1)

// The smurf check has no getter of its own: only the automatic mode sets it.
#define VELTRUM_CALLS_dos(X)                                                                       \
  X(rpcclt_openapiDoSGlobalSmurfAttackModeSet, (openapiClientHandle_t * client, OPEN_CONTROL_t mode))

VELTRUM_PLATFORM_FAMILY(dos, 18)
