// Access control lists: IPv4, IPv6 and MAC lists, their rules and matches, interface and VLAN bindings.
#pragma once

#include "platform/family.h"

// An ACL is named by its id. Numbered IPv4 lists have their number as id
// (1 to 99 standard, 100 to 199 extended) and its decimal text as name;
// named lists of every type have ids above 199. Names are unique within
// a type and have 1 to 255 characters.
typedef enum : uint32_t {
  OPEN_ACL_TYPE_NONE = 0,
  OPEN_ACL_TYPE_IP = 1,
  OPEN_ACL_TYPE_IPV6 = 2,
  OPEN_ACL_TYPE_MAC = 3,
} OPEN_ACL_TYPE_t;

typedef enum : uint32_t {
  OPEN_ACL_NUMBERED_STANDARD = 0,  // 1 to 99
  OPEN_ACL_NUMBERED_EXTENDED = 1,  // 100 to 199
} OPEN_ACL_NUMBERED_KIND_t;

typedef enum : uint32_t { OPEN_ACL_DENY = 0, OPEN_ACL_PERMIT = 1 } OPEN_ACL_ACTION_t;

typedef enum : uint32_t { OPEN_ACL_INBOUND = 0, OPEN_ACL_OUTBOUND = 1 } OPEN_ACL_DIRECTION_t;

// A layer-4 port match: one port with an operator, or a range (start to end).
typedef enum : uint32_t {
  OPEN_ACL_L4_PORT_EQUAL = 0,
  OPEN_ACL_L4_PORT_RANGE = 1,
  OPEN_ACL_L4_PORT_NOT_EQUAL = 2,
  OPEN_ACL_L4_PORT_LESS_THAN = 3,
  OPEN_ACL_L4_PORT_GREATER_THAN = 4,
} OPEN_ACL_L4_PORT_OPERATOR_t;

// An ether type by keyword, or CUSTOM with a value of 0x0600 to 0xFFFF.
typedef enum : uint32_t {
  OPEN_ETYPE_CUSTOM = 0,
  OPEN_ETYPE_APPLETALK = 1,
  OPEN_ETYPE_ARP = 2,
  OPEN_ETYPE_IBMSNA = 3,
  OPEN_ETYPE_IPV4 = 4,
  OPEN_ETYPE_IPV6 = 5,
  OPEN_ETYPE_IPX = 6,
  OPEN_ETYPE_MPLSMCAST = 7,
  OPEN_ETYPE_MPLSUCAST = 8,
  OPEN_ETYPE_NETBIOS = 9,
  OPEN_ETYPE_NOVELL = 10,
  OPEN_ETYPE_PPPOE = 11,
  OPEN_ETYPE_RARP = 12,
} OPEN_ETYPE_KEYWORD_t;

// The matches a rule has, as bits of OPEN_ACL_RULE_t::configured.
typedef enum : uint32_t {
  OPEN_ACL_MATCH_QUEUE = 1u << 0,
  OPEN_ACL_MATCH_MIRROR = 1u << 1,
  OPEN_ACL_MATCH_REDIRECT = 1u << 2,
  OPEN_ACL_MATCH_EVERY = 1u << 3,
  OPEN_ACL_MATCH_LOGGING = 1u << 4,
  OPEN_ACL_MATCH_COS = 1u << 5,
  OPEN_ACL_MATCH_DST_MAC = 1u << 6,
  OPEN_ACL_MATCH_SRC_MAC = 1u << 7,
  OPEN_ACL_MATCH_ETYPE = 1u << 8,
  OPEN_ACL_MATCH_VLAN = 1u << 9,
  OPEN_ACL_MATCH_PROTOCOL = 1u << 10,
  OPEN_ACL_MATCH_SRC_IP = 1u << 11,
  OPEN_ACL_MATCH_DST_IP = 1u << 12,
  OPEN_ACL_MATCH_SRC_IPV6 = 1u << 13,
  OPEN_ACL_MATCH_DST_IPV6 = 1u << 14,
  OPEN_ACL_MATCH_SRC_L4 = 1u << 15,
  OPEN_ACL_MATCH_DST_L4 = 1u << 16,
  OPEN_ACL_MATCH_ICMP = 1u << 17,
  OPEN_ACL_MATCH_IGMP = 1u << 18,
  OPEN_ACL_MATCH_FRAGMENTS = 1u << 19,
  OPEN_ACL_MATCH_PRECEDENCE = 1u << 20,
  OPEN_ACL_MATCH_TOS = 1u << 21,
  OPEN_ACL_MATCH_DSCP = 1u << 22,
  OPEN_ACL_MATCH_ROUTING = 1u << 23,
  OPEN_ACL_MATCH_FLOW_LABEL = 1u << 24,
  OPEN_ACL_MATCH_TCP_FLAGS = 1u << 25,
} OPEN_ACL_MATCH_t;

enum {
  OPEN_ACL_NAME_MAX = 255,         // characters, without the NUL
  OPEN_ACL_MAX_LISTS_PER_DIR = 4,  // lists bound to one interface or VLAN in one direction
  OPEN_ACL_SEQ_MAX = 2147483647,   // rule and binding sequence numbers: 1 to this
};

// One rule: its action and every match it has (the members of matches it
// lacks are zero). Addresses are IPv4 (host order) or IPv6 by the match;
// IPv6 matches take a prefix length instead of a mask.
typedef struct {
  uint32_t configured;  // OPEN_ACL_MATCH_t bits
  OPEN_ACL_ACTION_t action;
  uint32_t assignQueue;
  uint32_t mirrorIntf;
  uint32_t redirectIntf;
  OPEN_BOOL_t matchEvery;
  OPEN_BOOL_t logging;
  uint32_t cos;
  char dstMac[OPEN_MAC_TEXT_SIZE];
  char dstMacMask[OPEN_MAC_TEXT_SIZE];
  char srcMac[OPEN_MAC_TEXT_SIZE];
  char srcMacMask[OPEN_MAC_TEXT_SIZE];
  OPEN_ETYPE_KEYWORD_t etherTypeKeyword;
  uint32_t etherTypeValue;
  uint32_t vlanId;
  uint32_t protocol;
  open_inet_addr_t srcIp;
  open_inet_addr_t srcMask;
  uint32_t srcPfxLen;
  OPEN_ACL_L4_PORT_OPERATOR_t srcL4Operator;
  uint32_t srcL4StartPort;
  uint32_t srcL4EndPort;
  open_inet_addr_t dstIp;
  open_inet_addr_t dstMask;
  uint32_t dstPfxLen;
  OPEN_ACL_L4_PORT_OPERATOR_t dstL4Operator;
  uint32_t dstL4StartPort;
  uint32_t dstL4EndPort;
  uint32_t icmpType;
  uint32_t icmpCode;
  uint32_t igmpType;
  OPEN_BOOL_t fragments;
  OPEN_BOOL_t routing;
  uint32_t flowLabel;
  uint32_t dscp;
  uint32_t precedence;
  uint32_t tos;
  uint32_t tosMask;
  uint32_t tcpFlags;
  uint32_t tcpFlagsMask;
} OPEN_ACL_RULE_t;

// The lists bound to one interface or VLAN in one direction, by sequence.
typedef struct {
  OPEN_ACL_TYPE_t aclType;
  uint32_t aclId;
  uint32_t seqNum;
} OPEN_ACL_DIR_ENTRY_t;
typedef struct {
  uint32_t count;
  OPEN_ACL_DIR_ENTRY_t entries[OPEN_ACL_MAX_LISTS_PER_DIR];
} OPEN_ACL_DIR_LIST_t;

#define VELTRUM_SETTINGS_acl(SETTING, SETTING_BY, TEXT_SETTING)

// Walks: GetFirst/GetNext give the lists of one type (numbered ones
// first), IdGetFirst/IdGetNext the numbered lists, RuleGetFirst/Next the
// rules of a list by sequence number, IntfDirGetNext the (interface,
// direction) pairs that have lists bound ((0, 0) asks for the first).
// A binding's sequence number 0 asks for the next one after the last.
// Interface lists (AssignedIntfDirListGet) come as arrays of interface
// numbers (uint32_t) in the caller's buffer.
#define VELTRUM_CALLS_acl(X)                                                                                           \
  X(rpcclt_openapiAclCreate,                                                                                           \
    (openapiClientHandle_t * client, OPEN_ACL_TYPE_t aclType, const open_buffdesc *aclName, uint32_t *aclId))          \
  X(rpcclt_openapiNumberedAclCreate, (openapiClientHandle_t * client, OPEN_ACL_NUMBERED_KIND_t kind, uint32_t aclNum)) \
  X(rpcclt_openapiAclGet,                                                                                              \
    (openapiClientHandle_t * client, OPEN_ACL_TYPE_t aclType, const open_buffdesc *aclName, uint32_t *aclId))          \
  X(rpcclt_openapiAclRename, (openapiClientHandle_t * client, uint32_t aclId, const open_buffdesc *newName))           \
  X(rpcclt_openapiAclDelete, (openapiClientHandle_t * client, uint32_t aclId))                                         \
  X(rpcclt_openapiAclNameGet, (openapiClientHandle_t * client, uint32_t aclId, open_buffdesc * aclName))               \
  X(rpcclt_openapiAclGetFirst, (openapiClientHandle_t * client, OPEN_ACL_TYPE_t aclType, uint32_t * aclId))            \
  X(rpcclt_openapiAclGetNext,                                                                                          \
    (openapiClientHandle_t * client, OPEN_ACL_TYPE_t aclType, uint32_t aclId, uint32_t * nextAclId))                   \
  X(rpcclt_openapiAclIdGetFirst, (openapiClientHandle_t * client, uint32_t * aclId))                                   \
  X(rpcclt_openapiAclIdGetNext, (openapiClientHandle_t * client, uint32_t aclId, uint32_t * nextAclId))                \
  X(rpcclt_openapiAclCountGet, (openapiClientHandle_t * client, uint32_t * count))                                     \
  X(rpcclt_openapiAclMaxCountGet, (openapiClientHandle_t * client, uint32_t * maxCount))                               \
  X(rpcclt_openapiAclMaxAssignQueueGet, (openapiClientHandle_t * client, uint32_t * maxQueue))                         \
  X(rpcclt_openapiAclRuleGetFirst, (openapiClientHandle_t * client, uint32_t aclId, uint32_t * ruleId))                \
  X(rpcclt_openapiAclRuleGetNext,                                                                                      \
    (openapiClientHandle_t * client, uint32_t aclId, uint32_t ruleId, uint32_t * nextRuleId))                          \
  X(rpcclt_openapiAclRuleGet,                                                                                          \
    (openapiClientHandle_t * client, uint32_t aclId, uint32_t ruleId, OPEN_ACL_RULE_t * rule))                         \
  X(rpcclt_openapiAclRuleDelete, (openapiClientHandle_t * client, uint32_t aclId, uint32_t ruleId))                    \
  X(rpcclt_openapiAclRuleActionAdd,                                                                                    \
    (openapiClientHandle_t * client, uint32_t aclId, uint32_t ruleId, OPEN_ACL_ACTION_t action))                       \
  X(rpcclt_openapiAclRuleMatchAssignQueueAdd,                                                                          \
    (openapiClientHandle_t * client, uint32_t aclId, uint32_t ruleId, uint32_t queueId))                               \
  X(rpcclt_openapiAclRuleMatchMirrorAdd,                                                                               \
    (openapiClientHandle_t * client, uint32_t aclId, uint32_t ruleId, uint32_t ifNum))                                 \
  X(rpcclt_openapiAclRuleMatchRedirectAdd,                                                                             \
    (openapiClientHandle_t * client, uint32_t aclId, uint32_t ruleId, uint32_t ifNum))                                 \
  X(rpcclt_openapiAclRuleMatchEveryAdd,                                                                                \
    (openapiClientHandle_t * client, uint32_t aclId, uint32_t ruleId, OPEN_BOOL_t matchEvery))                         \
  X(rpcclt_openapiAclRuleMatchLoggingAdd,                                                                              \
    (openapiClientHandle_t * client, uint32_t aclId, uint32_t ruleId, OPEN_BOOL_t logging))                            \
  X(rpcclt_openapiAclRuleMatchCosAdd, (openapiClientHandle_t * client, uint32_t aclId, uint32_t ruleId, uint32_t cos)) \
  X(rpcclt_openapiAclRuleMatchMacDstMacAdd, (openapiClientHandle_t * client, uint32_t aclId, uint32_t ruleId,          \
                                             const open_buffdesc *mac, const open_buffdesc *mask))                     \
  X(rpcclt_openapiAclRuleMatchMacSrcMacAdd, (openapiClientHandle_t * client, uint32_t aclId, uint32_t ruleId,          \
                                             const open_buffdesc *mac, const open_buffdesc *mask))                     \
  X(rpcclt_openapiAclRuleMatchEthTypeAdd,                                                                              \
    (openapiClientHandle_t * client, uint32_t aclId, uint32_t ruleId, OPEN_ETYPE_KEYWORD_t keyword, uint32_t value))   \
  X(rpcclt_openapiAclRuleMatchVlanIdAdd,                                                                               \
    (openapiClientHandle_t * client, uint32_t aclId, uint32_t ruleId, uint32_t vlanId))                                \
  X(rpcclt_openapiAclRuleMatchProtocolAdd,                                                                             \
    (openapiClientHandle_t * client, uint32_t aclId, uint32_t ruleId, uint32_t protocol))                              \
  X(rpcclt_openapiAclRuleMatchIpSrcMaskAdd,                                                                            \
    (openapiClientHandle_t * client, uint32_t aclId, uint32_t ruleId, open_inet_addr_t ipAddr, open_inet_addr_t mask)) \
  X(rpcclt_openapiAclRuleMatchIpDstMaskAdd,                                                                            \
    (openapiClientHandle_t * client, uint32_t aclId, uint32_t ruleId, open_inet_addr_t ipAddr, open_inet_addr_t mask)) \
  X(rpcclt_openapiAclRuleMatchIpv6SrcPfxAdd,                                                                           \
    (openapiClientHandle_t * client, uint32_t aclId, uint32_t ruleId, open_inet_addr_t addr, uint32_t pfxLen))         \
  X(rpcclt_openapiAclRuleMatchIpv6DstPfxAdd,                                                                           \
    (openapiClientHandle_t * client, uint32_t aclId, uint32_t ruleId, open_inet_addr_t addr, uint32_t pfxLen))         \
  X(rpcclt_openapiAclRuleMatchL4SrcPortAdd, (openapiClientHandle_t * client, uint32_t aclId, uint32_t ruleId,          \
                                             OPEN_ACL_L4_PORT_OPERATOR_t oper, uint32_t startPort, uint32_t endPort))  \
  X(rpcclt_openapiAclRuleMatchL4DstPortAdd, (openapiClientHandle_t * client, uint32_t aclId, uint32_t ruleId,          \
                                             OPEN_ACL_L4_PORT_OPERATOR_t oper, uint32_t startPort, uint32_t endPort))  \
  X(rpcclt_openapiAclRuleMatchIcmpTypeCodeAdd,                                                                         \
    (openapiClientHandle_t * client, uint32_t aclId, uint32_t ruleId, uint32_t type, uint32_t code))                   \
  X(rpcclt_openapiAclRuleMatchIgmpTypeAdd,                                                                             \
    (openapiClientHandle_t * client, uint32_t aclId, uint32_t ruleId, uint32_t type))                                  \
  X(rpcclt_openapiAclRuleMatchFragmentsAdd,                                                                            \
    (openapiClientHandle_t * client, uint32_t aclId, uint32_t ruleId, OPEN_BOOL_t fragments))                          \
  X(rpcclt_openapiAclRuleMatchPrecedenceAdd,                                                                           \
    (openapiClientHandle_t * client, uint32_t aclId, uint32_t ruleId, uint32_t precedence))                            \
  X(rpcclt_openapiAclRuleMatchTosAdd,                                                                                  \
    (openapiClientHandle_t * client, uint32_t aclId, uint32_t ruleId, uint32_t tos, uint32_t tosMask))                 \
  X(rpcclt_openapiAclRuleMatchDscpAdd,                                                                                 \
    (openapiClientHandle_t * client, uint32_t aclId, uint32_t ruleId, uint32_t dscp))                                  \
  X(rpcclt_openapiAclRuleMatchRoutingAdd,                                                                              \
    (openapiClientHandle_t * client, uint32_t aclId, uint32_t ruleId, OPEN_BOOL_t routing))                            \
  X(rpcclt_openapiAclRuleMatchFlowLabelAdd,                                                                            \
    (openapiClientHandle_t * client, uint32_t aclId, uint32_t ruleId, uint32_t flowLabel))                             \
  X(rpcclt_openapiAclRuleMatchTcpFlagsAdd,                                                                             \
    (openapiClientHandle_t * client, uint32_t aclId, uint32_t ruleId, uint32_t flags, uint32_t mask))                  \
  X(rpcclt_openapiAclIntfDirAdd,                                                                                       \
    (openapiClientHandle_t * client, uint32_t ifNum, OPEN_ACL_DIRECTION_t dir, uint32_t aclId, uint32_t seqNum))       \
  X(rpcclt_openapiAclIntfDirDelete,                                                                                    \
    (openapiClientHandle_t * client, uint32_t ifNum, OPEN_ACL_DIRECTION_t dir, uint32_t aclId))                        \
  X(rpcclt_openapiAclIntfDirListGet,                                                                                   \
    (openapiClientHandle_t * client, uint32_t ifNum, OPEN_ACL_DIRECTION_t dir, OPEN_ACL_DIR_LIST_t * list))            \
  X(rpcclt_openapiAclIntfDirGetNext, (openapiClientHandle_t * client, uint32_t ifNum, OPEN_ACL_DIRECTION_t dir,        \
                                      uint32_t * nextIfNum, OPEN_ACL_DIRECTION_t * nextDir))                           \
  X(rpcclt_openapiAclAssignedIntfDirListGet,                                                                           \
    (openapiClientHandle_t * client, uint32_t aclId, OPEN_ACL_DIRECTION_t dir, open_buffdesc * intfList))              \
  X(rpcclt_openapiAclVlanDirAdd,                                                                                       \
    (openapiClientHandle_t * client, uint32_t vlanId, OPEN_ACL_DIRECTION_t dir, uint32_t aclId, uint32_t seqNum))      \
  X(rpcclt_openapiAclVlanDirDelete,                                                                                    \
    (openapiClientHandle_t * client, uint32_t vlanId, OPEN_ACL_DIRECTION_t dir, uint32_t aclId))                       \
  X(rpcclt_openapiAclVlanDirListGet,                                                                                   \
    (openapiClientHandle_t * client, uint32_t vlanId, OPEN_ACL_DIRECTION_t dir, OPEN_ACL_DIR_LIST_t * list))

VELTRUM_PLATFORM_FAMILY(acl, 11)
