// VLAN classification: "macbased_vlan_cfg" (MAC-based VLAN entries),
// "protocol_vlangroup_cfg" (protocol-based VLAN groups) and
// "swcfg_pbvlan_membership" (the member ports of one group).
//
// The resources are declarations served by the shared walkers. Code of its
// own: the walk of the MAC entries (the platform's cursor is a text it
// reads and rewrites), the readings of a group (its EtherTypes as text,
// its VLAN, its ports in list notation), the replacement of a group's
// EtherTypes, VLAN and ports, and the handlers of "protocol_vlangroup_cfg",
// whose GET answers a plain array while its writes come wrapped and its
// DELETE names the group by another key.
#include <algorithm>
#include <cstdio>
#include <vector>

#include "core/platform_call.h"
#include "core/validate.h"
#include "platform/calls/23_vlan_classify.h"

using namespace veltrum::handler;

namespace {

// Aggregate codes of the family (docs/switching.md).
constexpr int kMacVlanAggregate = 1460;
constexpr int kGroupAggregate = 1461;
constexpr int kMembershipAggregate = 1462;

constexpr size_t kMacText = 17;
constexpr size_t kNameMax = OPEN_PBVLAN_NAME_LEN_MAX;

// ---------------------------------------------------------------- generic helpers

// Reads the numbers of a platform walk where 0 asks for the first:
// next(current, &following). The walk ends at OPEN_E_NOT_FOUND; any other
// failure is answered.
template <typename Next>
int read_walk(Next next, std::vector<uint32_t> &out) {
  uint32_t current = 0;
  for (;;) {
    uint32_t following = 0;
    int rc = next(current, &following);
    if (rc == OPEN_E_NOT_FOUND) return OPEN_E_NONE;
    if (rc != OPEN_E_NONE) return rc;
    if (following <= current && !out.empty()) return OPEN_E_NONE;  // a walk that does not advance
    out.push_back(following);
    current = following;
  }
}

// ---------------------------------------------------------------- macbased_vlan_cfg

// The entries in MAC order: the platform rewrites the text it is given
// (empty for the first) with the next entry's.
int mac_entry_cursor(Element &e, bool first) {
  char mac[kMacText + 1] = {};
  if (!first) strncpyt(mac, e.index.text[0].c_str(), sizeof mac - 1);
  open_buffdesc desc{sizeof mac, mac};
  uint32_t vlan = 0;
  int rc = rpcclt_openapiVlanMacGetNext(&g_client_handle, &desc, &vlan);
  if (rc != OPEN_E_NONE) return rc;
  mac[kMacText] = '\0';
  e.index.text[0] = mac;
  e.index.texts = std::max<uint8_t>(e.index.texts, 1);
  if (e.row) json_object_object_add(e.row, "vlan", json_object_new_int64(vlan));
  return OPEN_E_NONE;
}

// A DELETE names the entry by its MAC address alone: its VLAN is read
// first.
int remove_mac_entry(const Element &e) {
  const std::string &text = e.index.text[0];
  char mac[kMacText + 1] = {};
  strncpyt(mac, text.c_str(), sizeof mac - 1);
  open_buffdesc desc{static_cast<uint32_t>(std::strlen(mac) + 1), mac};
  uint32_t vlan = 0;
  int rc = rpcclt_openapiVlanMacGet(&g_client_handle, &desc, &vlan);
  if (rc != OPEN_E_NONE) return rc;
  return rpcclt_openapiVlanMacDelete(&g_client_handle, &desc, vlan);
}

const Field kMacFields[] = {
    {.key = "mac", .check = mac_check("MAC Address", "Invalid MAC Address %s\n"), .flags = kIndex},
    {.key = "vlan", .get = from_row<"vlan">, .flags = kGet},
    {.key = "vlan_id", .check = vlan_check("Validation failed for vlan %d.\n"), .flags = kPost},
};
const Resource kMacVlan{.name = "macbased_vlan_cfg",
                        .walk = list(mac_entry_cursor, "Failed to get the MAC-based VLAN entries and error code:%d"),
                        .fields = kMacFields,
                        .aggregate = kMacVlanAggregate,
                        .create = act<&rpcclt_openapiVlanMacAdd, Txt<0, kMacText>, Key<"vlan_id">>,
                        .create_error = "Failed to add the MAC-based VLAN entry %s and error code : %d",
                        .create_log = ActionLog::TextRc,
                        .remove = remove_mac_entry,
                        .remove_error = "Failed to delete the MAC-based VLAN entry %s and error code : %d",
                        .remove_log = ActionLog::TextRc};

// ---------------------------------------------------------------- a group's readings

constexpr Check kGroupId = range(1, OPEN_PBVLAN_GROUP_MAX, "Group ID", "Group ID range (1-128) exceeded %d \n");

// The groups in id order.
constexpr Cursor kGroupWalk = cursor2<cursor<&rpcclt_openapiPbVlanGroupGetFirst, NextNum<0>>,
                                      cursor<&rpcclt_openapiPbVlanGroupGetNext, Idx<0>, NextNum<0>>>;

int group_ports(uint32_t group, std::vector<uint32_t> &ports) {
  return read_walk(
      [group](uint32_t ifNum, uint32_t *next) {
        return rpcclt_openapiPbVlanGroupPortGetNext(&g_client_handle, group, ifNum, next);
      },
      ports);
}

int group_protocols(uint32_t group, std::vector<uint32_t> &protocols) {
  uint32_t list[OPEN_PBVLAN_PROTOCOLS_MAX] = {};
  open_buffdesc desc{sizeof list, list};
  int rc = rpcclt_openapiPbVlanGroupProtocolGet(&g_client_handle, group, &desc);
  if (rc != OPEN_E_NONE) return rc;
  size_t count = std::min<size_t>(desc.size / sizeof(uint32_t), OPEN_PBVLAN_PROTOCOLS_MAX);
  protocols.assign(list, list + count);
  return OPEN_E_NONE;
}

// "proto": the EtherTypes as "0x0800,0x0806".
int get_protocols(const Element &e, json_object **out) {
  std::vector<uint32_t> protocols;
  if (int rc = group_protocols(e.index.num[0], protocols)) return rc;
  std::string text;
  for (uint32_t p : protocols) {
    char item[16];
    std::snprintf(item, sizeof item, "%s0x%04x", text.empty() ? "" : ",", p);
    text += item;
  }
  *out = json_object_new_string(text.c_str());
  return OPEN_E_NONE;
}

// "vlan": the group's VLAN, 0 when it has none.
int get_group_vlan(const Element &e, json_object **out) {
  uint32_t vlan = 0;
  int rc = rpcclt_openapiPbVlanGroupVlanIDGet(&g_client_handle, e.index.num[0], &vlan);
  if (rc == OPEN_E_NOT_FOUND)
    vlan = 0;
  else if (rc != OPEN_E_NONE)
    return rc;
  *out = json_object_new_int64(vlan);
  return OPEN_E_NONE;
}

// The member ports in list notation ("1-3,5").
int get_port_list(const Element &e, json_object **out) {
  std::vector<uint32_t> ports;
  if (int rc = group_ports(e.index.num[0], ports)) return rc;
  *out = call_detail::number_list_json(ports.data(), ports.size());
  return OPEN_E_NONE;
}

// The member ports as [{"port": n}, ...].
int get_port_array(const Element &e, json_object **out) {
  std::vector<uint32_t> ports;
  if (int rc = group_ports(e.index.num[0], ports)) return rc;
  json_object *list = json_object_new_array();
  for (uint32_t port : ports) {
    json_object *o = json_object_new_object();
    json_object_object_add(o, "port", json_object_new_int64(port));
    json_object_array_add(list, o);
  }
  *out = list;
  return OPEN_E_NONE;
}

// Every group id.
int get_group_ids(const Element &, json_object **out) {
  std::vector<uint32_t> ids;
  int rc = read_walk(
      [](uint32_t group, uint32_t *next) {
        return group == 0 ? rpcclt_openapiPbVlanGroupGetFirst(&g_client_handle, next)
                          : rpcclt_openapiPbVlanGroupGetNext(&g_client_handle, group, next);
      },
      ids);
  if (rc != OPEN_E_NONE) return rc;
  json_object *list = json_object_new_array();
  for (uint32_t id : ids) json_object_array_add(list, json_object_new_int64(id));
  *out = list;
  return OPEN_E_NONE;
}

// The group asked for.
int get_selected(const Element &e, json_object **out) {
  *out = json_object_new_int64(e.index.num[0]);
  return OPEN_E_NONE;
}

// ---------------------------------------------------------------- protocol_vlangroup_cfg

// "proto" as a list of EtherTypes: numbers (hexadecimal after "0x") and the
// words ip, arp and ipx. An empty list, a word of no EtherType, and more
// EtherTypes than a group holds are refused here; the platform judges the
// numbers.
bool parse_protocols(json_object *value, std::vector<uint32_t> &out) {
  std::string text;
  if (!read_text(value, text) || text.empty() || text.size() > 255) return false;
  std::vector<char> buffer(text.begin(), text.end());
  buffer.push_back('\0');
  uint32_t numbers[OPEN_PBVLAN_PROTOCOLS_MAX] = {};
  uint32_t count = 0;
  if (protocol_list_parse(buffer.data(), numbers, OPEN_PBVLAN_PROTOCOLS_MAX, &count) != 0 || count == 0) return false;
  for (uint32_t i = 0; i < count; ++i)
    if (numbers[i] == 0) return false;  // a word that names no EtherType
  out.assign(numbers, numbers + count);
  return true;
}

bool check_protocols(Outcome &out, const char *, json_object *value) {
  std::vector<uint32_t> protocols;
  if (parse_protocols(value, protocols)) return true;
  out.fail("Parsing Error: 'proto' invalid.\n");
  return false;
}

// The group's EtherTypes become exactly the list.
int set_protocols(const Element &e, json_object *value) {
  std::vector<uint32_t> wanted;
  if (!parse_protocols(value, wanted)) return OPEN_E_PARAM;
  const uint32_t group = e.index.num[0];
  std::vector<uint32_t> current;
  if (int rc = group_protocols(group, current)) return rc;
  return replace_set(
      current, wanted,
      [group](uint32_t p) { return rpcclt_openapiPbVlanGroupProtocolAdd(&g_client_handle, group, p); },
      [group](uint32_t p) { return rpcclt_openapiPbVlanGroupProtocolDelete(&g_client_handle, group, p); });
}

// "vlan": a VLAN that exists. The VLAN validator's own text says why not.
bool check_group_vlan(Outcome &out, const char *, json_object *value) {
  int64_t vlan = 0;
  if (!read_int(value, vlan) || vlan < 0 || vlan > UINT32_MAX) {
    out.fail("Parsing Error: 'vlan' invalid.\n");
    return false;
  }
  if (validate_vlan(static_cast<uint32_t>(vlan)) == 0) return true;
  out.fail("%s", last_error_text);
  out.code(412);
  out.detail_int("vlan_id", vlan);
  return false;
}

// The group's VLAN becomes the one given: the old one is taken off first.
int set_group_vlan(const Element &e, json_object *value) {
  const uint32_t group = e.index.num[0];
  const auto wanted = static_cast<uint32_t>(int_of(value));
  uint32_t old = 0;
  int rc = rpcclt_openapiPbVlanGroupVlanIDGet(&g_client_handle, group, &old);
  if (rc == OPEN_E_NOT_FOUND)
    old = 0;
  else if (rc != OPEN_E_NONE)
    return rc;
  if (old == wanted) return OPEN_E_NONE;
  if (old != 0)
    if ((rc = rpcclt_openapiPbVlanGroupVlanIDDelete(&g_client_handle, group, old))) return rc;
  return rpcclt_openapiPbVlanGroupVlanIDAdd(&g_client_handle, group, wanted);
}

// A POST creates the group when it does not exist yet.
int ensure_group(const Element &e) {
  int rc = rpcclt_openapiPbVlanGroupCreate(&g_client_handle, e.index.num[0]);
  return rc == OPEN_E_EXISTS ? OPEN_E_NONE : rc;
}

const Field kGroupFields[] = {
    {.key = "grp_id", .check = kGroupId, .flags = kIndex, .missing_log = "Parsing Error: 'grp_id' invalid.\n"},
    {.key = "name",
     .check = text_length(0, kNameMax, "Group Name", "Group name length exceeded max length 16"),
     .get = get<&rpcclt_openapiPbVlanGroupNameGet, Idx<0>, ValText<kNameMax>>,
     .set = set<&rpcclt_openapiPbVlanGroupNameSet, Idx<0>, Val>},
    {.key = "proto",
     .check = custom_check(check_protocols),
     .get = get_protocols,
     .set = set_protocols,
     .missing_log = "Parsing Error: 'proto' invalid.\n"},
    {.key = "vlan",
     .check = custom_check(check_group_vlan, true),
     .get = get_group_vlan,
     .set = set_group_vlan,
     .missing_log = "Parsing Error: 'vlan' invalid.\n"},
    {.key = "ports", .get = get_port_list, .flags = kGet},
};
constexpr const char *kGroupWalkError = "Failed to get the protocol groups and error code:%d";

// The writes: {"protocol_vlangroup_cfg": {"Protocol": [...]}}.
const Resource kGroups{.name = "protocol_vlangroup_cfg",
                       .walk = list(kGroupWalk, kGroupWalkError),
                       .fields = kGroupFields,
                       .aggregate = kGroupAggregate,
                       .create = ensure_group,
                       .create_error = "Failed to create the protocol group %d and error code : %d",
                       .create_log = ActionLog::IndexRc,
                       .wrapper = "Protocol"};
// GET answers the groups as a plain array.
const Resource kGroupList{.name = "protocol_vlangroup_cfg",
                          .walk = list(kGroupWalk, kGroupWalkError),
                          .fields = kGroupFields};
// DELETE names each group by "grpId".
const Field kGroupDeleteFields[] = {
    {.key = "grpId", .check = kGroupId, .flags = kIndex, .missing_log = "Parsing Error: 'grpId' invalid.\n"},
};
const Resource kGroupDelete{.name = "protocol_vlangroup_cfg",
                            .walk = list(kGroupWalk, kGroupWalkError),
                            .fields = kGroupDeleteFields,
                            .aggregate = kGroupAggregate,
                            .remove = act<&rpcclt_openapiPbVlanGroupDelete, Idx<0>>,
                            .remove_error = "Failed to delete the protocol group %d and error code : %d",
                            .remove_log = ActionLog::IndexRc,
                            .wrapper = "Protocol"};

// ---------------------------------------------------------------- swcfg_pbvlan_membership

// The group's ports become exactly the listed ones.
int set_group_ports(const Element &e, json_object *value) {
  const uint32_t group = e.index.num[0];
  std::vector<uint32_t> current;
  if (int rc = group_ports(group, current)) return rc;
  return replace_set(
      current, ports_of(value),
      [group](uint32_t port) { return rpcclt_openapiPbVlanGroupPortAdd(&g_client_handle, group, port); },
      [group](uint32_t port) { return rpcclt_openapiPbVlanGroupPortDelete(&g_client_handle, group, port); });
}

const Query kGroupQuery[] = {
    {.name = "grp_id", .check = kGroupId, .missing_log = "grp_id not found in query var", .index = 0},
};
const Field kMembershipFields[] = {
    {.key = "groupId", .check = kGroupId, .flags = kIndex, .missing_log = "Parsing Error: 'groupId' invalid.\n"},
    {.key = "selIdx", .get = get_selected, .flags = kGet},
    {.key = "name", .get = get<&rpcclt_openapiPbVlanGroupNameGet, Idx<0>, ValText<kNameMax>>, .flags = kGet},
    {.key = "idxs", .get = get_group_ids, .flags = kGet},
    {.key = "vlanGroupMemberports", .get = get_port_list, .flags = kGet},
    {.key = "ports",
     .check = custom_check(port_list_check_of<PORT_KIND_PHYSICAL, "Port validation failed.\n">),
     .get = get_port_array,
     .set = set_group_ports,
     .missing_log = "Parsing Error: 'port' invalid.\n"},
};
const Resource kMembership{.name = "swcfg_pbvlan_membership",
                           .walk = single(),
                           .fields = kMembershipFields,
                           .aggregate = kMembershipAggregate,
                           .query = kGroupQuery,
                           .wrapper = "ProtoVlanMembership"};

}  // namespace

VELTRUM_SERVE(macbased_vlan_cfg, kMacVlan);
VELTRUM_SERVE(swcfg_pbvlan_membership, kMembership);

VELTRUM_HANDLER(protocol_vlangroup_cfg_get) { resource_get(kGroupList, connection, response); }
VELTRUM_HANDLER(protocol_vlangroup_cfg_post) { resource_post(kGroups, connection, request, response); }
VELTRUM_HANDLER(protocol_vlangroup_cfg_delete) { resource_delete(kGroupDelete, connection, request, response); }
static const ServeRegistrar serve_registrar_protocol_vlangroup_cfg_get("protocol_vlangroup_cfg", &kGroupList,
                                                                        kServeGet);
static const ServeRegistrar serve_registrar_protocol_vlangroup_cfg_post("protocol_vlangroup_cfg", &kGroups, kServePost);
static const ServeRegistrar serve_registrar_protocol_vlangroup_cfg_delete("protocol_vlangroup_cfg", &kGroupDelete,
                                                                           kServeDelete);
