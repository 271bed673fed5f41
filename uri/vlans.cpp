// VLANs: "swcfg_vlan", "swcfg_vlan_reset", "swcfg_vlan_membership",
// "vlan_advanced_cfg", "protected_mbrship".
//
// Declarations serve every method but the VLAN table's reset, which walks
// the VLANs and deletes them: code of its own. The VLAN table is listed as
// a walk over the VLANs and written as one object (create or rename, and
// delete), so its GET and its writes are two declarations. Readings of
// what the tables leave open are in docs/switching.md.
#include <string>
#include <vector>

#include "core/platform_call.h"
#include "core/validate.h"
#include "platform/calls/01_interfaces.h"
#include "platform/calls/02_vlans.h"
#include "platform/calls/03_network.h"
#include "platform/calls/22_voice_vlan.h"
#include "support/json_ptr.h"
#include "support/log.h"

using namespace veltrum::handler;

namespace {

// Codes of requests with several failing elements (the family's block).
constexpr int kMembershipAggregate = 1040;
constexpr int kAdvancedAggregate = 1041;
constexpr int kResetAggregate = 1042;

// VLAN names are handed over with at most 32 characters.
constexpr size_t kNameText = OPEN_VLAN_NAME_LEN_MAX + 1;

// The VLANs a user may not create, rename or delete: the default VLAN, and
// the automatic VLANs of the QoS function and the voice VLAN unless one of
// their reads fails (then only VLAN 1 is held back).
bool reserved_vlan(uint32_t vlan) {
  if (vlan == 1) return true;
  uint32_t wifi = 0, camera = 0, voice = 0;
  if (rpcclt_openapiQosAutoVlanIdGet(&g_client_handle, OPEN_QOS_AUTO_VLAN_WIFI, &wifi) != OPEN_E_NONE ||
      rpcclt_openapiQosAutoVlanIdGet(&g_client_handle, OPEN_QOS_AUTO_VLAN_CAMERA, &camera) != OPEN_E_NONE ||
      rpcclt_openapiVoipGlobalVlanIdGet(&g_client_handle, &voice) != OPEN_E_NONE)
    return false;
  return vlan == wifi || vlan == camera || vlan == voice;
}

// Calls `visit(ifNum)` for each physical port, then each LAG; false stops.
// Answers a failure of the walk that is no plain end (a switch without
// LAGs has an empty LAG list).
template <typename F>
int for_each_port_and_lag(F visit) {
  bool go_on = true;
  for (OPEN_INTF_TYPE_t type : {OPEN_INTF_TYPE_PHY, OPEN_INTF_TYPE_LAG}) {
    int rc = for_each_interface(type, [&](uint32_t ifNum) { return go_on = visit(ifNum); });
    if (rc != OPEN_E_NONE && !(type == OPEN_INTF_TYPE_LAG && rc == OPEN_E_NOT_FOUND)) return rc;
    if (!go_on) break;
  }
  return OPEN_E_NONE;
}

// The static members of VLAN `vlan`, in port order.
int vlan_members(uint32_t vlan, std::vector<uint32_t> &members) {
  int failed = OPEN_E_NONE;
  int rc = for_each_port_and_lag([&](uint32_t ifNum) {
    OPEN_VLAN_PARTICIPATION_MODE_t mode = OPEN_VLAN_PARTICIPATION_MODE_AUTO;
    failed = openapiVlanIfParticipationStatusGet(&g_client_handle, vlan, ifNum, &mode);
    if (failed == OPEN_E_NONE && mode == OPEN_VLAN_PARTICIPATION_MODE_INCLUDE) members.push_back(ifNum);
    return failed == OPEN_E_NONE;
  });
  return failed != OPEN_E_NONE ? failed : rc;
}

// ---------------------------------------------------------------- swcfg_vlan

// GET: the member ports of the VLAN in list notation ("memberports") and
// by name ("swcfg_vlan_mbr").
int members_of_vlan(const Element &e, json_object **out) {
  std::vector<uint32_t> members;
  if (int rc = vlan_members(e.index.num[0], members)) return rc;
  JsonPtr names(json_object_new_array());
  for (uint32_t ifNum : members) {
    char name[OPEN_INTF_NAME_SIZE] = {};
    open_buffdesc desc{sizeof name, name};
    if (int rc = openapiIfNameGet(&g_client_handle, ifNum, &desc)) return rc;
    json_object_array_add(names.get(), json_object_new_string(name));
  }
  *out = json_object_new_object();
  json_object_object_add(*out, "memberports", call_detail::number_list_json(members.data(), members.size()));
  json_object_object_add(*out, "swcfg_vlan_mbr", names.release());
  return OPEN_E_NONE;
}

const Field kVlanFields[] = {
    {.key = "vlanid", .check = any_number()},
    {.key = "vlanname", .get = platform_get<&rpcclt_openapiVlanNameGet, kNameText>},
    {.key = "vlantype", .get = platform_get<&rpcclt_openapiVlanTypeGet>},
    {.key = "routingref", .get = get_or<0, &rpcclt_openapiRtrVlanIntfIfNumGet, Idx<0>, Val>},
    {.key = "members", .get = members_of_vlan, .flags = kGet | kMerge},
};
const Resource kVlans{.name = "swcfg_vlan", .walk = vlans(), .fields = kVlanFields};

// POST {"vlanId", "name"} creates the VLAN when it is absent and names it;
// DELETE {"vlan_id"} deletes it. Both refuse the reserved VLANs.
bool not_reserved(Outcome &out, const Element &e, bool deleting) {
  auto vlan = static_cast<uint32_t>(int_of(e.value(deleting ? "vlan_id" : "vlanId")));
  if (!reserved_vlan(vlan)) return true;
  out.fail(deleting ? "Error. VLAN ID %d cannot be modified by user)" : "Error. VLAN ID %d cannot be modified by user",
           static_cast<int>(vlan));
  return false;
}

int create_if_absent(const Element &e) {
  auto vlan = static_cast<uint32_t>(int_of(e.value("vlanId")));
  int rc = openapiVlanCreatedCheck(&g_client_handle, vlan);
  if (rc == OPEN_E_NOT_FOUND) rc = rpcclt_openapiVlanCreate(&g_client_handle, vlan);
  return rc;
}

// The name, cut to the platform's longest VLAN name.
int set_name(const Element &e, json_object *value) {
  uint32_t longest = 0;
  int rc = rpcclt_openapiVlanNameLenGet(&g_client_handle, &longest);
  if (rc != OPEN_E_NONE) {
    log_table_message("Failed to get VLAN name length result = %d", rc);
    return rc;
  }
  std::string name = text_of(value);
  if (name.size() > longest) name.resize(longest);
  call_detail::TextIn text;
  text.set(std::move(name));
  return rpcclt_openapiVlanNameSet(&g_client_handle, static_cast<uint32_t>(int_of(e.value("vlanId"))), &text.desc);
}

constexpr Check kVlanIdRange = platform_range(platform_limits<&rpcclt_openapiDot1VlanMaxGet, 1>, "VLAN ID",
                                              "Error. VLAN ID %d out of range (%d - %d)", LogArgs::ValueMinMax);
const Field kVlanWriteFields[] = {
    {.key = "vlanId", .check = kVlanIdRange, .flags = kPost},
    {.key = "name",
     .check = any_text(),
     .set = set_name,
     .set_error = "Failed to set the VLAN name result = %d",
     .flags = kPost},
    {.key = "vlan_id",
     .check = kVlanIdRange,
     .flags = kDelete,
     .missing_log = "Parsing Error 'vlan id' invalid.\n"},
};
const Resource kVlanWrites{.name = "swcfg_vlan",
                           .walk = scalar(),
                           .fields = kVlanWriteFields,
                           .create = {create_if_absent},
                           .create_error = "Failed to create a new VLAN result = %d",
                           .remove = act<&rpcclt_openapiVlanDelete, Key<"vlan_id">>,
                           .verify = not_reserved};

// ---------------------------------------------------------------- swcfg_vlan_membership

// A port's part in a VLAN as one number.
enum TagStatus : int { kUntagged = 0, kTagged = 1, kNotMember = 2, kForbidden = 3 };

// The child elements' index: the VLAN, then the port.
int tag_status(const Element &e, json_object **out) {
  const uint32_t vlan = e.index.num[0], port = e.index.num[1];
  OPEN_VLAN_PARTICIPATION_MODE_t mode = OPEN_VLAN_PARTICIPATION_MODE_AUTO;
  if (int rc = openapiVlanIfParticipationStatusGet(&g_client_handle, vlan, port, &mode)) return rc;
  int status = mode == OPEN_VLAN_PARTICIPATION_MODE_EXCLUDE ? kForbidden : kNotMember;
  if (mode == OPEN_VLAN_PARTICIPATION_MODE_INCLUDE) {
    OPEN_CONTROL_t tagging = OPEN_DISABLE;
    if (int rc = openapiVlanIfTaggingGet(&g_client_handle, port, vlan, &tagging)) return rc;
    status = tagging == OPEN_ENABLE ? kTagged : kUntagged;
  }
  *out = json_object_new_int(status);
  return OPEN_E_NONE;
}

int set_tag_status(const Element &e, json_object *value) {
  const uint32_t vlan = e.index.num[0], port = e.index.num[1];
  const auto status = static_cast<int>(int_of(value));
  OPEN_VLAN_PARTICIPATION_MODE_t mode = status == kForbidden   ? OPEN_VLAN_PARTICIPATION_MODE_EXCLUDE
                                        : status == kNotMember ? OPEN_VLAN_PARTICIPATION_MODE_AUTO
                                                               : OPEN_VLAN_PARTICIPATION_MODE_INCLUDE;
  if (int rc = rpcclt_openapiVlanIfParticipationSet(&g_client_handle, vlan, port, mode)) return rc;
  if (mode != OPEN_VLAN_PARTICIPATION_MODE_INCLUDE) return OPEN_E_NONE;
  return rpcclt_openapiVlanIfTaggingSet(&g_client_handle, port, vlan, status == kTagged ? OPEN_ENABLE : OPEN_DISABLE);
}

int is_pvid(const Element &e, json_object **out) {
  uint32_t pvid = 0;
  if (int rc = openapiVlanIfPvidGet(&g_client_handle, e.index.num[1], &pvid)) return rc;
  *out = json_object_new_int(pvid == e.index.num[0]);
  return OPEN_E_NONE;
}

// "ispvid": 1 makes the VLAN the port's VLAN id; 0 leaves it as it is (a
// port always has one).
int set_pvid(const Element &e, json_object *value) {
  if (int_of(value) == 0) return OPEN_E_NONE;
  return rpcclt_openapiVlanIfPvidSet(&g_client_handle, e.index.num[1], e.index.num[0]);
}

int member_list(const Element &e, json_object **out) {
  std::vector<uint32_t> members;
  if (int rc = vlan_members(e.index.num[0], members)) return rc;
  *out = call_detail::number_list_json(members.data(), members.size());
  return OPEN_E_NONE;
}

const Field kMemberPortFields[] = {
    {.key = "port",
     .check = port_check(3, "Parsing Error: 'port' invalid.\n"),
     .missing_log = "Parsing Error: 'port' invalid.\n"},
    {.key = "tagstatus",
     .check = choice(kUntagged, kForbidden, "Parsing Error: 'tagstatus' invalid.\n"),
     .get = tag_status,
     .set = set_tag_status,
     .missing_log = "Parsing Error: 'tagstatus' invalid.\n"},
    {.key = "ispvid",
     .check = flag("Parsing Error: 'ispvid' invalid.\n"),
     .get = is_pvid,
     .set = set_pvid,
     .missing_log = "Parsing Error: 'ispvid' invalid.\n"},
};
const Resource kMemberPorts{.name = "swcfg_vlan_membership", .walk = ports(), .fields = kMemberPortFields};
const Nested kMemberNested{.key = "ports", .child = &kMemberPorts};

constexpr Check kMemberVlan = vlan_check("Validation failed for vlan %d.\n");
const Query kMembershipQuery[] = {
    {.name = "vlanid", .check = kMemberVlan, .missing_log = "vlanid not found in query var", .index = 0}};
const Field kMembershipFields[] = {
    {.key = "vlanId", .check = kMemberVlan, .flags = kIndex, .missing_log = "Parsing Error: 'vlanId' invalid.\n"},
    {.key = "selVid", .get = from_query<"vlanid">, .flags = kGet},
    {.key = "name", .get = platform_get<&rpcclt_openapiVlanNameGet, kNameText>},
    {.key = "type", .get = platform_get<&rpcclt_openapiVlanTypeGet>},
    {.key = "vlanMemberports", .get = member_list, .flags = kGet},
};
const Resource kMembership{.name = "swcfg_vlan_membership",
                           .walk = single(),
                           .fields = kMembershipFields,
                           .aggregate = kMembershipAggregate,
                           .query = kMembershipQuery,
                           .nested = {&kMemberNested, 1},
                           .wrapper = "vlanMemberports"};

// ---------------------------------------------------------------- vlan_advanced_cfg

// A VLAN list ("1-3,5"): every VLAN in it passes the VLAN validator.
bool vlan_list_check(Outcome &out, const char *, json_object *value) {
  std::string text;
  uint16_t numbers[4094];
  uint32_t count = 0;
  if (!read_text(value, text) || vlan_list_to_numbers(text.c_str(), numbers, std::size(numbers), &count) != 0) {
    out.fail("Validation failed for vlan id: %d", 0);
    out.code(412);
    out.detail_int("vlan_id", 0);
    return false;
  }
  for (uint32_t i = 0; i < count; ++i)
    if (validate_vlan(numbers[i]) != 0) {
      out.fail("Validation failed for vlan id: %d", numbers[i]);
      out.code(412);
      out.detail_int("vlan_id", numbers[i]);
      return false;
    }
  return true;
}

// The VLANs of a list that passed vlan_list_check.
std::vector<uint32_t> vlans_of(json_object *value) {
  uint16_t numbers[4094];
  uint32_t count = 0;
  std::vector<uint32_t> out;
  if (vlan_list_to_numbers(text_of(value), numbers, std::size(numbers), &count) == 0) out.assign(numbers, numbers + count);
  return out;
}

int set_members(const Element &e, json_object *value) {
  const uint32_t port = e.index.num[0];
  std::vector<uint32_t> current;
  if (int rc = numbers_of<&rpcclt_openapiVlanVIDListGet, Idx<0>, NumList<>>(e, current)) return rc;
  auto join = [port](OPEN_VLAN_PARTICIPATION_MODE_t mode) {
    return [port, mode](uint32_t vlan) { return rpcclt_openapiVlanIfParticipationSet(&g_client_handle, vlan, port, mode); };
  };
  return replace_set(current, vlans_of(value), join(OPEN_VLAN_PARTICIPATION_MODE_INCLUDE),
                     join(OPEN_VLAN_PARTICIPATION_MODE_AUTO));
}

int set_tagging(const Element &e, json_object *value) {
  const uint32_t port = e.index.num[0];
  std::vector<uint32_t> current;
  if (int rc = numbers_of<&rpcclt_openapiDot1qSwPortTaggedVlanListGet, Idx<0>, NumList<>>(e, current)) return rc;
  auto tag = [port](OPEN_CONTROL_t on) {
    return [port, on](uint32_t vlan) { return rpcclt_openapiVlanIfTaggingSet(&g_client_handle, port, vlan, on); };
  };
  return replace_set(current, vlans_of(value), tag(OPEN_ENABLE), tag(OPEN_DISABLE));
}

// A port tags only VLANs it is a member of: the members the element sets,
// or else those it has.
bool tags_members_only(Outcome &out, const Element &e, bool) {
  json_object *tags = e.value("vlanTag");
  if (!tags) return true;
  std::vector<uint32_t> members;
  if (json_object *listed = e.value("member")) {
    members = vlans_of(listed);
  } else if (int rc = numbers_of<&rpcclt_openapiVlanVIDListGet, Idx<0>, NumList<>>(e, members)) {
    out.fail_apply("Failed to get the VLANs of port %d and error code:%d", static_cast<int>(e.index.num[0]), rc);
    return false;
  }
  for (uint32_t vlan : vlans_of(tags))
    if (std::find(members.begin(), members.end(), vlan) == members.end()) {
      out.fail("Cannot set VLAN tagging for port %d due to not member of VLAN %d", static_cast<int>(e.index.num[0]),
               static_cast<int>(vlan));
      return false;
    }
  return true;
}

constexpr uint16_t kReadWrite = kGet | kPost | kOptional;
const Field kAdvancedFields[] = {
    {.key = "port", .check = port_check(3, "Port validation failed")},
    {.key = "member",
     .check = custom_check(vlan_list_check),
     .get = get<&rpcclt_openapiVlanVIDListGet, Idx<0>, NumList<>>,
     .set = set_members,
     .flags = kReadWrite},
    {.key = "vlanTag",
     .check = custom_check(vlan_list_check),
     .get = get<&rpcclt_openapiDot1qSwPortTaggedVlanListGet, Idx<0>, NumList<>>,
     .set = set_tagging,
     .flags = kReadWrite},
    {.key = "pvid",
     .check = vlan_check("Validation failed for vlan id: %d"),
     .get = platform_get<&openapiVlanIfPvidGet>,
     .set = platform_set<&rpcclt_openapiVlanIfPvidSet>,
     .flags = kReadWrite},
    {.key = "ppri",
     .check = range(0, OPEN_DOT1P_PRIORITY_MAX, "Port Priority", "Invalid  priority %d"),
     .get = platform_get<&rpcclt_openapiVlanIfDefaultUserPriorityGet>,
     .set = platform_set<&rpcclt_openapiVlanIfDefaultUserPrioritySet>,
     .flags = kReadWrite},
    {.key = "frameType",
     .check = choice(OPEN_DOT1Q_ADMIT_ALL, OPEN_DOT1Q_ADMIT_UNTAGGED_ONLY, "Invalid  frameType %d"),
     .get = platform_get<&rpcclt_openapiVlanIfAcceptFrameTypeGet>,
     .set = platform_set<&rpcclt_openapiVlanIfAcceptFrameTypeSet>,
     .flags = kReadWrite},
    {.key = "ingress",
     .check = flag("Invalid  ingress %d"),
     .get = platform_get<&rpcclt_openapiQportsEnableIngressFilteringGet>,
     .set = platform_set<&rpcclt_openapiQportsEnableIngressFilteringSet>,
     .flags = kReadWrite},
    {.key = "ingressOper", .get = platform_get<&rpcclt_openapiQportsCurrentIngressFilteringGet>},
    {.key = "untagged", .get = get<&rpcclt_openapiDot1qSwPortUntaggedVlanListGet, Idx<0>, NumList<>>},
    {.key = "tagged", .get = get<&rpcclt_openapiDot1qSwPortTaggedVlanListGet, Idx<0>, NumList<>>},
    {.key = "forbidden", .get = get<&rpcclt_openapiDot1qSwPortForbiddenVlanListGet, Idx<0>, NumList<>>},
    {.key = "dynamic", .get = get<&rpcclt_openapiDot1qSwPortDynamicallyAddedVlanListGet, Idx<0>, NumList<>>},
};
const Resource kAdvanced{.name = "vlan_advanced_cfg",
                         .walk = ports(),
                         .fields = kAdvancedFields,
                         .aggregate = kAdvancedAggregate,
                         .verify = tags_members_only};

// ---------------------------------------------------------------- protected_mbrship

// The protected ports of group 0: {"ports": [{"port": n}, ...]}, written as
// the whole set.
constexpr int kProtectedGroup = 0;
const Field kProtectedFields[] = {
    {.key = "ports",
     .check = custom_check(port_list_check_of<1, "Validation failed">),
     .get = get<&rpcclt_openapiProtectedPortGroupIntfListGet, Lit<kProtectedGroup>, PortArray<"port">>,
     .set = replace_ports<&rpcclt_openapiProtectedPortGroupIntfListGet, &rpcclt_openapiProtectedPortGroupIntfAdd,
                          &rpcclt_openapiProtectedPortGroupIntfDelete, Lit<kProtectedGroup>>},
};
const Resource kProtected{.name = "protected_mbrship", .walk = scalar(), .fields = kProtectedFields};

}  // namespace

VELTRUM_SERVE_GET(swcfg_vlan, kVlans);
VELTRUM_HANDLER(swcfg_vlan_post) { resource_post(kVlanWrites, connection, request, response); }
VELTRUM_HANDLER(swcfg_vlan_delete) { resource_delete(kVlanWrites, connection, request, response); }
static const ServeRegistrar serve_registrar_swcfg_vlan_writes("swcfg_vlan", &kVlanWrites, kServePost | kServeDelete);
VELTRUM_SERVE(swcfg_vlan_membership, kMembership);
VELTRUM_SERVE(vlan_advanced_cfg, kAdvanced);
VELTRUM_SERVE(protected_mbrship, kProtected);

// POST: every VLAN but the default, the reserved and the management VLAN is
// deleted; the body is not read. A VLAN the switch will not delete (one
// with a routing interface) counts one failure and the others go on.
VELTRUM_HANDLER(swcfg_vlan_reset_post) {
  Outcome out;
  uint32_t management = 0;
  if (rpcclt_openapiNetworkMgmtVlanGet(&g_client_handle, &management) != OPEN_E_NONE)
    agent_log(4, "Failed to get managment vlan");
  std::vector<uint32_t> doomed;
  uint32_t vlan = 0;
  int rc = OPEN_E_NONE;
  while ((rc = openapiVlanNextGet(&g_client_handle, vlan, &vlan)) == OPEN_E_NONE)
    if (vlan != management && !reserved_vlan(vlan)) doomed.push_back(vlan);
  if (!walk_ended(rc)) out.fail_apply("Failed to walk the VLANs and error code:%d", rc);
  for (uint32_t v : doomed) {
    out.result = rpcclt_openapiVlanDelete(&g_client_handle, v);
    if (out.result != OPEN_E_NONE)
      out.fail_apply("Failed to delete VLAN %d and error code:%d", static_cast<int>(v), out.result);
  }
  out.finish_write(response, "swcfg_vlan_reset", kResetAggregate);
}
