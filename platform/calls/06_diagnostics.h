// Network diagnostics: ping and traceroute from the switch.
#pragma once

#include "platform/family.h"

// Where a diagnostic probe (ping, traceroute) sends from.
typedef enum : uint32_t {
  OPEN_PROBE_SOURCE_NETWORK_PORT = 1,  // the management network port
  OPEN_PROBE_SOURCE_INTERFACE = 2,     // a routing interface (by number), from its address
  OPEN_PROBE_SOURCE_ADDRESS = 3,       // a given address of the switch
  OPEN_PROBE_SOURCE_NONE = 4,          // no source given: the routing table decides
} OPEN_PROBE_SOURCE_t;

#define VELTRUM_SETTINGS_diagnostics(SETTING, SETTING_BY, TEXT_SETTING)

// Both probes run to their end before they answer; `response` receives the
// probe's text, cut after the last whole line that fits. `ifNum` is read for
// OPEN_PROBE_SOURCE_INTERFACE, `srcAddr` for OPEN_PROBE_SOURCE_ADDRESS. A
// source the switch cannot send from answers OPEN_E_FAIL, an unknown host
// OPEN_E_NOT_FOUND, a value out of range OPEN_E_PARAM.
#define VELTRUM_CALLS_diagnostics(X)                                                               \
  X(rpcclt_openapiPing,                                                                            \
    (openapiClientHandle_t * client, const open_buffdesc *host, OPEN_AF_t family, uint32_t count,  \
     uint32_t interval, uint32_t size, OPEN_PROBE_SOURCE_t srcType, uint32_t ifNum,                \
     const open_buffdesc *srcAddr, open_buffdesc *response))                                       \
  X(rpcclt_openapiTraceroute,                                                                      \
    (openapiClientHandle_t * client, const open_buffdesc *host, OPEN_AF_t family, uint32_t probes, \
     uint32_t interval, uint32_t initTtl, uint32_t maxTtl, uint32_t maxFail, uint32_t size,        \
     uint32_t port, OPEN_PROBE_SOURCE_t srcType, uint32_t ifNum, const open_buffdesc *srcAddr,     \
     open_buffdesc *response))

VELTRUM_PLATFORM_FAMILY(diagnostics, 6)
