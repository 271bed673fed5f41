// The walks and value conversions that declarations share, in-process
// against a simulated switch: LAG walks, walks over numbers (a constant
// range or a platform count), an outer walk times an inner one, several
// lists in one element, arguments looked up by another call, masks as
// prefix lengths, identifiers as hexadecimal, times as text, durations as
// four members, POSTs that answer what they wrote, platform results mapped
// to success or a code, number lists in the list notation and the set
// replacement.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "core/platform_call.h"
#include "platform/calls/01_interfaces.h"
#include "platform/calls/02_vlans.h"
#include "platform/calls/03_network.h"
#include "platform/calls/17_storm_control.h"
#include "support/json_ptr.h"
#include "tests/core/validate_test_util.h"

namespace {

using namespace veltrum::handler;
using namespace veltrum::calls::storm_control;

class Vocabulary : public SimulatedSwitchTest {
 protected:
  // The data a GET of `r` answers, as text ("" when it failed).
  std::string read(const Resource &r) {
    ResponseHolder holder{};
    resource_get(r, nullptr, &holder);
    JsonPtr doc(json_tokener_parse(holder.body));
    std::free(holder.body);
    json_object *data = nullptr;
    if (!json_object_object_get_ex(doc.get(), r.name, &data)) return "";
    return json_text(data);
  }
  int write(const Resource &r, const std::string &body) {
    ResponseHolder holder{};
    JsonPtr request(json_tokener_parse(body.c_str()));
    resource_post(r, nullptr, request.get(), &holder);
    JsonPtr doc(json_tokener_parse(holder.body));
    std::free(holder.body);
    json_object *resp = nullptr, *code = nullptr;
    json_object_object_get_ex(doc.get(), "resp", &resp);
    json_object_object_get_ex(resp, "respCode", &code);
    return json_object_get_int(code);
  }
};

int one_to_three(int64_t &min, int64_t &max) {
  min = 1;
  max = 3;
  return OPEN_E_NONE;
}
int unreadable(int64_t &, int64_t &) { return OPEN_E_FAIL; }

TEST_F(Vocabulary, WalksOverLagsAndOverNumbers) {
  static const Field kLagFields[] = {{.key = "lag", .check = port_check(2, "Port validation failed")},
                                     {.key = "pvid", .get = platform_get<&openapiVlanIfPvidGet>}};
  const Resource lags_only{.name = "x", .walk = lags(), .fields = kLagFields};
  EXPECT_EQ(read(lags_only), R"([{"lag":33,"pvid":1},{"lag":34,"pvid":1},{"lag":35,"pvid":1},{"lag":36,"pvid":1},)"
                             R"({"lag":37,"pvid":1},{"lag":38,"pvid":1},{"lag":39,"pvid":1},{"lag":40,"pvid":1}])");

  // Protected port groups 0..2, each with its ports.
  ASSERT_EQ(rpcclt_openapiProtectedPortGroupIntfAdd(&g_client_handle, 1, 5), OPEN_E_NONE);
  static const Field kGroupFields[] = {
      {.key = "group", .check = any_number()},
      {.key = "ports", .get = get<&rpcclt_openapiProtectedPortGroupIntfListGet, Idx<0>, NumList<>>}};
  EXPECT_EQ(read(Resource{.name = "x", .walk = numbers(0, 2), .fields = kGroupFields}),
            R"([{"group":0,"ports":""},{"group":1,"ports":"5"},{"group":2,"ports":""}])");

  // 1..the platform's count; a count that cannot be read fails the walk.
  static const Field kIndexOnly[] = {{.key = "n", .check = any_number()}};
  EXPECT_EQ(read(Resource{.name = "x", .walk = numbers(one_to_three), .fields = kIndexOnly}),
            R"([{"n":1},{"n":2},{"n":3}])");
  EXPECT_EQ(read(Resource{.name = "x", .walk = numbers(unreadable), .fields = kIndexOnly}), "[]");
}

TEST_F(Vocabulary, AnOuterWalkMayRunTimesAnInnerOne) {
  add_vlan(10);
  ASSERT_EQ(rpcclt_openapiVlanIfParticipationSet(&g_client_handle, 10, 34, OPEN_VLAN_PARTICIPATION_MODE_INCLUDE),
            OPEN_E_NONE);
  // One element per VLAN and LAG: whether the LAG takes part in the VLAN.
  static constexpr Walk kLags = lags();
  static const Field kFields[] = {
      {.key = "vlan", .check = vlan_check("Validation failed for vlan %d.\n")},
      {.key = "lag", .check = port_check(2, "Port validation failed")},
      {.key = "mode", .get = get<&openapiVlanIfParticipationStatusGet, Idx<0>, Idx<1>, Val>},
  };
  const Resource r{.name = "x", .walk = vlans().times(kLags), .fields = kFields};
  EXPECT_TRUE(check_declaration("matrix", r));
  std::string answer = read(r);
  EXPECT_EQ(answer.rfind(R"([{"vlan":1,"lag":33,"mode":0},)", 0), 0u) << answer;
  EXPECT_NE(answer.find(R"({"vlan":10,"lag":33,"mode":1},{"vlan":10,"lag":34,"mode":0},)"), std::string::npos) << answer;
  EXPECT_EQ(std::count(answer.begin(), answer.end(), '{'), 16);  // 2 VLANs x 8 LAGs

  // An inner walk that is no walk of numbers, or a second key that is no number, is refused.
  static const Walk kList = list(nullptr);
  EXPECT_FALSE(check_declaration("matrix_of_list", Resource{.name = "x", .walk = vlans().times(kList), .fields = kFields}));
  static const Field kText[] = {{.key = "vlan", .check = any_number()}, {.key = "name", .check = any_text()}};
  EXPECT_FALSE(check_declaration("matrix_text", Resource{.name = "x", .walk = vlans().times(kLags), .fields = kText}));
}

TEST_F(Vocabulary, AnElementMayHoldSeveralLists) {
  ASSERT_EQ(rpcclt_openapiProtectedPortGroupIntfAdd(&g_client_handle, 2, 7), OPEN_E_NONE);
  static const Field kGroupFields[] = {
      {.key = "group", .check = any_number()},
      {.key = "ports", .get = get<&rpcclt_openapiProtectedPortGroupIntfListGet, Idx<0>, NumList<>>}};
  static const Resource kGroups{.name = "groups", .walk = numbers(1, 2), .fields = kGroupFields};
  static const Field kLagFields[] = {{.key = "lag", .check = port_check(2, "Port validation failed")},
                                     {.key = "pvid", .get = platform_get<&openapiVlanIfPvidGet>}};
  static const Resource kLags{.name = "lags", .walk = lags(), .fields = kLagFields};
  static const Nested kLists[] = {{.key = "groups", .child = &kGroups}, {.key = "lags", .child = &kLags}};
  static const Field kFields[] = {{.key = "max", .get = platform_get<&rpcclt_openapiDot1VlanMaxGet>}};
  const Resource r{.name = "x", .walk = scalar(), .fields = kFields, .nested = kLists};
  EXPECT_TRUE(check_declaration("several_lists", r));
  std::string answer = read(r);
  EXPECT_EQ(answer.rfind(R"({"max":4093,"groups":[{"group":1,"ports":""},{"group":2,"ports":"7"}],"lags":[)", 0), 0u)
      << answer;
  EXPECT_NE(answer.find(R"({"lag":40,"pvid":1}]})"), std::string::npos) << answer;
}

TEST_F(Vocabulary, MasksAreHandedAsPrefixLengthsAndSecondsAsFourMembers) {
  static const Field kFields[] = {
      {.key = "mask",
       .check = mask_check("Mask", "Invalid mask"),
       .get = get<&rpcclt_openapiStormControlThresholdGet, Lit<0>, Mask<Val>>,
       .set = set<&rpcclt_openapiStormControlThresholdSet, Lit<0>, Mask<Val>>},
      {.key = "since", .get = get<&rpcclt_openapiStormControlThresholdGet, Lit<1>, Duration<"since">>, .flags = kGet | kMerge},
  };
  const Resource r{.name = "x", .walk = scalar(), .fields = kFields};
  ASSERT_EQ(write(r, R"({"x":{"mask":"255.255.255.0"}})"), 0);
  uint32_t threshold = 0;
  ASSERT_EQ(rpcclt_openapiStormControlThresholdGet(&g_client_handle, OPEN_STORM_BCAST, &threshold), OPEN_E_NONE);
  EXPECT_EQ(threshold, 24u);
  // 100 seconds are 0 days, 0 hours, 1 minute and 40 seconds.
  ASSERT_EQ(rpcclt_openapiStormControlThresholdSet(&g_client_handle, OPEN_STORM_MCAST, 100), OPEN_E_NONE);
  EXPECT_EQ(read(r), R"({"mask":"255.255.255.0","sinceDay":0,"sinceHour":0,"sinceMin":1,"sinceSec":40})");
  // A mask whose ones are not contiguous is no prefix: the call is not made.
  sim_.reset_counts();
  EXPECT_EQ(write(r, R"({"x":{"mask":"255.0.255.0"}})"), -1);
  EXPECT_EQ(sim_.count("rpcclt_openapiStormControlThresholdSet"), 0u);
}

TEST_F(Vocabulary, AnArgumentMayBeLookedUpAndAFailedLookupIsTheResult) {
  add_vlan(10);
  add_vlan(20);
  ASSERT_EQ(rpcclt_openapiRtrVlanIntfCreate(&g_client_handle, 10), OPEN_E_NONE);
  // The name of each VLAN's routing interface: the VLAN's number gives the
  // interface, whose name the next call reads; a VLAN without one lists "".
  static const Field kFields[] = {
      {.key = "vlan", .check = any_number()},
      {.key = "routing",
       .get = get_or<0, &openapiIfNameGet, Lookup<&rpcclt_openapiRtrVlanIntfIfNumGet, Idx<0>>, ValText<60>>}};
  EXPECT_EQ(read(Resource{.name = "x", .walk = vlans(), .fields = kFields}),
            R"([{"vlan":1,"routing":0},{"vlan":10,"routing":"vlan 10"},{"vlan":20,"routing":0}])");
}

TEST_F(Vocabulary, PlatformResultsMayBeMappedToSuccessOrToACode) {
  // Deleting a protected port that is not in the group: the switch answers
  // -26, which this declaration reads as done; adding one twice in another
  // group (-24) answers errCode 4242.
  static const Field kFields[] = {{.key = "port", .check = port_check(1, "Port validation failed")},
                                  {.key = "group", .check = choice(0, 2, "Invalid group %d"), .flags = kPost | kDelete}};
  static const ResultCode kResults[] = {{OPEN_E_NOT_FOUND, 0}, {OPEN_E_EXISTS, 4242}};
  const Resource r{.name = "x",
                   .walk = physical_ports(),
                   .fields = kFields,
                   .aggregate = 4240,
                   .create = act<&rpcclt_openapiProtectedPortGroupIntfAdd, Key<"group">, Idx<0>>,
                   .remove = act<&rpcclt_openapiProtectedPortGroupIntfDelete, Key<"group">, Idx<0>>,
                   .results = kResults};
  auto remove = [&](const std::string &body) {
    ResponseHolder holder{};
    JsonPtr request(json_tokener_parse(body.c_str()));
    resource_delete(r, nullptr, request.get(), &holder);
    std::string text = holder.body;
    std::free(holder.body);
    return text;
  };
  EXPECT_EQ(remove(R"({"x":[{"port":3,"group":1}]})"),
            R"({"resp":{"status":"success","respCode":0,"respMsg":"Operation success"}})");
  ASSERT_EQ(write(r, R"({"x":[{"port":3,"group":1}]})"), 0);
  ResponseHolder holder{};
  JsonPtr again(json_tokener_parse(R"({"x":[{"port":3,"group":2}]})"));
  resource_post(r, nullptr, again.get(), &holder);
  EXPECT_NE(std::string(holder.body).find(R"("respCode":-1,"errCode":4242)"), std::string::npos) << holder.body;
  std::free(holder.body);
}

TEST_F(Vocabulary, IdentifiersAreAnsweredAsHexadecimalAndTimesAsText) {
  // The platform turns a MAC text into its six bytes; listed as hex pairs.
  static const Field kFields[] = {
      {.key = "mac", .get = get<&rpcclt_openapiMacAddrStringToHexGet, LitText<"00-1A-2b-3C-4d-FF">, Hex<6>>},
      {.key = "raw", .get = get<&rpcclt_openapiMacAddrStringToHexGet, LitText<"00:1a:2b:3c:4d:ff">, Hex<6, 0>>},
      {.key = "at", .get = get<&rpcclt_openapiStormControlThresholdGet, Lit<0>, TimeText>},
  };
  ASSERT_EQ(rpcclt_openapiStormControlThresholdSet(&g_client_handle, OPEN_STORM_BCAST, 100), OPEN_E_NONE);
  setenv("TZ", "UTC", 1);
  tzset();
  EXPECT_EQ(read(Resource{.name = "x", .walk = scalar(), .fields = kFields}),
            R"({"mac":"00:1a:2b:3c:4d:ff","raw":"001a2b3c4dff","at":"Thu 1970-01-01 00:01:40 UTC"})");
}

TEST_F(Vocabulary, APostMayAnswerWhatItWrote) {
  // Ports whose default priority is set answer it back, with what the
  // switch made of the rest; a refused element is not answered.
  static const Field kFields[] = {
      {.key = "port", .check = port_check(3, "Port validation failed")},
      {.key = "ppri",
       .check = range(0, 7, "Port Priority", "Invalid  priority %d"),
       .get = platform_get<&rpcclt_openapiVlanIfDefaultUserPriorityGet>,
       .set = platform_set<&rpcclt_openapiVlanIfDefaultUserPrioritySet>},
      {.key = "pvid", .get = platform_get<&openapiVlanIfPvidGet>, .flags = kGet},
  };
  const Resource r{.name = "x", .walk = ports(), .fields = kFields, .aggregate = 4241, .answers = true};
  ResponseHolder holder{};
  JsonPtr request(json_tokener_parse(R"({"x":[{"port":2,"ppri":5},{"port":3,"ppri":9},{"port":34,"ppri":1}]})"));
  resource_post(r, nullptr, request.get(), &holder);
  std::string answer = holder.body;
  std::free(holder.body);
  EXPECT_NE(answer.find(R"("x":[{"port":2,"ppri":5,"pvid":1},{"port":34,"ppri":1,"pvid":1}])"), std::string::npos)
      << answer;
  EXPECT_NE(answer.find(R"("errCode":9)"), std::string::npos) << answer;
}

TEST_F(Vocabulary, SetsAreReplacedRemovingFirst) {
  std::vector<std::string> done;
  auto add = [&](uint32_t n) {
    done.push_back("+" + std::to_string(n));
    return OPEN_E_NONE;
  };
  auto remove = [&](uint32_t n) {
    done.push_back("-" + std::to_string(n));
    return n == 9 ? OPEN_E_FAIL : OPEN_E_NONE;
  };
  EXPECT_EQ(replace_set({1, 2, 3}, {3, 4, 4, 5}, add, remove), OPEN_E_NONE);
  EXPECT_EQ(done, (std::vector<std::string>{"-1", "-2", "+4", "+5"}));
  done.clear();
  EXPECT_EQ(replace_set({9, 1}, {2}, add, remove), OPEN_E_FAIL);  // the first failure ends it
  EXPECT_EQ(done, (std::vector<std::string>{"-9"}));

  const uint32_t numbers[] = {1, 2, 3, 5, 7, 8};
  JsonPtr text(call_detail::number_list_json(numbers, 6));
  EXPECT_STREQ(json_object_get_string(text.get()), "1-3,5,7-8");
}

}  // namespace
