// Interfaces: walks by type, names, types and the generic interface getters
// and setters every family shares: administrative, link and operational
// state, speed, frame sizes, descriptions, MAC addresses, link traps, media
// and special roles of a port.
//
// The walks and names cover ports, LAGs, the CPU interface and the VLAN
// routing interfaces (type OPEN_INTF_TYPE_VLAN, named "vlan <id>"). The
// getters of state, speed, description, MAC address and role answer for
// ports, LAGs and the CPU interface; the setting rows take ports and LAGs;
// SpeedSet and ActiveMediaTypeGet physical ports only. Any other interface
// number answers OPEN_E_PARAM.
#pragma once

#include "platform/family.h"

enum {
  OPEN_INTF_NAME_SIZE = 60,
  OPEN_INTF_DESCR_LEN_MAX = 64,  // the longest description, without its NUL
  OPEN_FRAME_SIZE_MIN = 1518,    // the range of the maximum frame size
  OPEN_FRAME_SIZE_MAX = 9216,
  OPEN_FRAME_OVERHEAD = 18,      // Ethernet header and FCS: frame size - MTU
};

typedef enum : uint32_t {
  OPEN_LINK_DOWN = 0,
  OPEN_LINK_UP = 1,
} OPEN_LINK_STATE_t;

// A port's speed and duplex: what it is set to (AUTO_NEG or a fixed mode)
// and what it runs at (UNKNOWN while its link is down; LAG for a LAG).
// Copper ports take AUTO_NEG and 10 M to 1 G; uplinks AUTO_NEG, 1 G, 10 G.
typedef enum : uint32_t {
  OPEN_PORT_SPEED_UNKNOWN = 0,
  OPEN_PORT_SPEED_AUTO_NEG = 1,
  OPEN_PORT_SPEED_HALF_10 = 2,
  OPEN_PORT_SPEED_FULL_10 = 3,
  OPEN_PORT_SPEED_HALF_100 = 4,
  OPEN_PORT_SPEED_FULL_100 = 5,
  OPEN_PORT_SPEED_FULL_1000 = 6,
  OPEN_PORT_SPEED_FULL_10G = 7,
  OPEN_PORT_SPEED_LAG = 8,
} OPEN_PORT_SPEED_t;

// The role that takes a port out of normal forwarding.
typedef enum : uint32_t {
  OPEN_SPECIAL_PORT_TYPE_NORMAL = 0,
  OPEN_SPECIAL_PORT_TYPE_TRUNK_MEMBER = 1,  // a member of a LAG
  OPEN_SPECIAL_PORT_TYPE_MIRRORED = 2,      // a mirroring source
  OPEN_SPECIAL_PORT_TYPE_PROBE = 3,         // a mirroring destination
} OPEN_SPECIAL_PORT_TYPE_t;

typedef enum : uint32_t {
  OPEN_PORT_MEDIA_UNKNOWN = 0,
  OPEN_PORT_MEDIA_COPPER = 1,
  OPEN_PORT_MEDIA_FIBER = 2,
} OPEN_PORT_MEDIA_TYPE_t;

#define VELTRUM_SETTINGS_interfaces(SETTING, SETTING_BY, TEXT_SETTING)                             \
  SETTING(X(openapiIfAdminStateGet), X(openapiIfAdminStateSet),                                    \
          INTF, OPEN_CONTROL_t, "interfaces.intf.admin", 1, 0, 1)                                  \
  SETTING(X(rpcclt_openapiIfLinkTrapGet), X(rpcclt_openapiIfLinkTrapSet),                          \
          INTF, OPEN_CONTROL_t, "interfaces.intf.link_trap", 1, 0, 1)                              \
  SETTING(X(openapiIfMaxFrameSizeGet), X(openapiIfMaxFrameSizeSet),                                \
          INTF, uint32_t, "interfaces.intf.max_frame", OPEN_FRAME_SIZE_MIN, OPEN_FRAME_SIZE_MIN,   \
          OPEN_FRAME_SIZE_MAX)

// LinkState: the link is up while the port is enabled and has a partner (a
// LAG: while it is enabled and one of its members has its link up; the CPU
// interface: always). OprState is the same for every interface. ActiveState
// is whether the port forwards on its own: link up and no special role.
// Speed answers what the port runs at, SpeedMode what it is set to; AutoNeg
// is enabled while it is set to AUTO_NEG. MtuSize is the maximum frame size
// less OPEN_FRAME_OVERHEAD. MacAddrGet answers "HH:HH:HH:HH:HH:HH".
#define VELTRUM_CALLS_interfaces(X)                                                                \
  X(openapiIfFirstGet, (openapiClientHandle_t * client, OPEN_INTF_TYPE_t ifType, uint32_t *ifNum)) \
  X(openapiIfNextGet, (openapiClientHandle_t * client, OPEN_INTF_TYPE_t ifType, uint32_t ifNum,    \
                       uint32_t *nextIfNum))                                                       \
  X(openapiIfNameGet, (openapiClientHandle_t * client, uint32_t ifNum, open_buffdesc *ifName))     \
  X(openapiIfTypeGet, (openapiClientHandle_t * client, uint32_t ifNum, OPEN_INTF_TYPE_t *ifType))  \
  X(openapiIfLinkStateGet,                                                                         \
    (openapiClientHandle_t * client, uint32_t ifNum, OPEN_LINK_STATE_t *linkState))                \
  X(openapiIfOprStateGet,                                                                          \
    (openapiClientHandle_t * client, uint32_t ifNum, OPEN_LINK_STATE_t *operState))                \
  X(rpcclt_openapiIfActiveStateGet,                                                                \
    (openapiClientHandle_t * client, uint32_t ifNum, OPEN_CONTROL_t *active))                      \
  X(openapiIfSpeedGet, (openapiClientHandle_t * client, uint32_t ifNum, OPEN_PORT_SPEED_t *speed)) \
  X(rpcclt_openapiIfSpeedModeGet,                                                                  \
    (openapiClientHandle_t * client, uint32_t ifNum, OPEN_PORT_SPEED_t *speed))                    \
  X(rpcclt_openapiIfSpeedSet, (openapiClientHandle_t * client, uint32_t ifNum, OPEN_PORT_SPEED_t speed)) \
  X(openapiIfAutoNegGet, (openapiClientHandle_t * client, uint32_t ifNum, OPEN_CONTROL_t *autoNeg)) \
  X(openapiIfMtuSizeGet, (openapiClientHandle_t * client, uint32_t ifNum, uint32_t *mtu))          \
  X(rpcclt_openapiIfDescrGet, (openapiClientHandle_t * client, uint32_t ifNum, open_buffdesc *descr)) \
  X(rpcclt_openapiIfDescrSet,                                                                      \
    (openapiClientHandle_t * client, uint32_t ifNum, const open_buffdesc *descr))                  \
  X(rpcclt_openapiIfMacAddrGet, (openapiClientHandle_t * client, uint32_t ifNum, open_buffdesc *mac)) \
  X(rpcclt_openapiIfSpecialPortTypeGet,                                                            \
    (openapiClientHandle_t * client, uint32_t ifNum, OPEN_SPECIAL_PORT_TYPE_t *type))              \
  X(rpcclt_openapiIfActiveMediaTypeGet,                                                            \
    (openapiClientHandle_t * client, uint32_t ifNum, OPEN_PORT_MEDIA_TYPE_t *media))

VELTRUM_PLATFORM_FAMILY(interfaces, 1)
