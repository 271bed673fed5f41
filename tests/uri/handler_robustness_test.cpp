// Every handler that has landed, given bodies a client should never send:
// wrong JSON types in every place, missing and extra members, arrays where
// objects belong and the reverse, numbers out of every range. Each answer
// must be a well-formed envelope; the sanitizer build turns any memory
// fault on the way into a failure. The bodies come from a fixed seed, so a
// failure repeats.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "core/platform_client.h"
#include "support/json_ptr.h"
#include "tests/common/sim_fixture.h"
#include "uri/handlers.h"
#include "uri/uri_table.h"

namespace {

// Well-formed bodies the mutations start from.
const char *const kSeeds[] = {
    R"({"dai_global_cfg":{"smac":1,"dmac":0,"ip":1}})",
    R"({"dai_vlan_cfg":[{"vlan":1,"state":1,"invalidPkts":0,"acl":"web","staticFlag":1}]})",
    R"({"dai_intf_cfg":[{"port":1,"trust":1,"rate":20,"burst":3},{"port":33,"trust":0,"rate":0,"burst":15}]})",
    R"({"dai_acl_cfg":[{"name":"web"},{"name":"db"}]})",
    R"({"dai_aclrule_cfg":{"acls":[{"name":"web","aclrules":[{"idx":1,"ip":"10.0.0.1","mac":"00:11:22:33:44:55","action":1}]}]}})",
    R"({"user_password_change":{"current":"password","new":"password1","confirm":"password1"}})",
    R"({"ping":""})",
    R"({"http_config":{"httpEnable":1,"httpPort":80,"httpsEnable":1,"httpsPort":443,"maxSes":4,"softTimeout":5,"hardTimeout":24,"httpLang":"en","themeSel":"system"}})",
    R"({"global_states":{"pellmar":1,"localMgmt":1}})",
};

// Values that do not belong where they are put.
json_object *odd_value(std::mt19937 &rng) {
  switch (rng() % 12) {
    case 0: return nullptr;  // JSON null
    case 1: return json_object_new_int64(-1);
    case 2: return json_object_new_int64(INT64_MAX);
    case 3: return json_object_new_int64(4294967296LL);
    case 4: return json_object_new_double(1.5);
    case 5: return json_object_new_boolean(1);
    case 6: return json_object_new_string("");
    case 7: return json_object_new_string(std::string(300, 'x').c_str());
    case 8: return json_object_new_string("00:11:22:33:44:5g");
    case 9: return json_object_new_array();
    case 10: return json_object_new_object();
    default: return json_object_new_string("%s%n%d");
  }
}

// Changes one place of the document at random; walks down from `node`.
void mutate(json_object *node, std::mt19937 &rng, int depth = 0) {
  if (json_object_is_type(node, json_type_object)) {
    std::vector<std::string> keys;
    json_object_object_foreach(node, member, member_value) {
      (void)member_value;
      keys.emplace_back(member);
    }
    if (keys.empty() || rng() % 8 == 0) {
      json_object_object_add(node, "extra", odd_value(rng));
      return;
    }
    const std::string picked = keys[rng() % keys.size()];
    json_object *child = json_object_object_get(node, picked.c_str());
    switch (rng() % 4) {
      case 0:
        json_object_object_del(node, picked.c_str());
        return;
      case 1:
        json_object_object_add(node, picked.c_str(), odd_value(rng));
        return;
      default:
        if (child && depth < 6) {
          mutate(child, rng, depth + 1);
        } else {
          json_object_object_add(node, picked.c_str(), odd_value(rng));
        }
        return;
    }
  }
  if (json_object_is_type(node, json_type_array)) {
    size_t n = json_object_array_length(node);
    if (n == 0 || rng() % 6 == 0) {
      json_object_array_add(node, odd_value(rng));
      return;
    }
    size_t i = rng() % n;
    if (rng() % 3 == 0) {
      json_object_array_put_idx(node, i, odd_value(rng));
    } else {
      mutate(json_object_array_get_idx(node, i), rng, depth + 1);
    }
  }
}

class HandlerRobustness : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(openapiClientRegister("robustness-test", &g_client_handle), OPEN_E_NONE); }
  void TearDown() override { openapiClientTearDown(&g_client_handle); }

  // Calls `handler` and checks that it answered with an envelope.
  static void expect_envelope(uri_handler_t handler, json_object *body, const std::string &what) {
    ResponseHolder holder{};
    handler(nullptr, &holder, body);
    ASSERT_EQ(holder.status, 200) << what;
    ASSERT_NE(holder.body, nullptr) << what;
    JsonPtr answer(json_tokener_parse(holder.body));
    bool envelope = answer && json_object_object_get_ex(answer.get(), "resp", nullptr);
    EXPECT_TRUE(envelope || std::strcmp(holder.body, R"({"ping": ""})") == 0)
        << what << " -> " << holder.body;
    std::free(holder.body);
  }

  veltrum::test::InProcessSim sim_;
};

TEST_F(HandlerRobustness, EveryLandedHandlerAnswersOddBodiesWithAnEnvelope) {
  std::mt19937 rng(20261122);
  size_t handlers = 0;
  for (size_t row = 0; row < UriTableCount; ++row) {
    const UriEntry &entry = UriTable[row];
    if (entry.get == uri_hang) continue;  // never returns, on purpose
    for (uri_handler_t handler : {entry.get, entry.post, entry.del}) {
      if (!handler) continue;
      ++handlers;
      expect_envelope(handler, nullptr, std::string(entry.uri) + " without body");
      for (const char *seed : kSeeds) {
        for (int round = 0; round < 40; ++round) {
          JsonPtr body(json_tokener_parse(seed));
          for (unsigned m = 0; m <= rng() % 3; ++m) mutate(body.get(), rng);
          std::string what = std::string(entry.uri) + " with " + json_text(body.get());
          expect_envelope(handler, body.get(), what);
          if (HasFatalFailure()) return;
        }
      }
      // Top-level documents of every other type.
      for (const char *odd : {"[]", "3", "\"text\"", "null", "{}"}) {
        JsonPtr body(json_tokener_parse(odd));
        expect_envelope(handler, body.get(), std::string(entry.uri) + " with " + odd);
      }
    }
  }
  EXPECT_GE(handlers, 16u);
}

}  // namespace
