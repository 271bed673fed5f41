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
#include "core/handler.h"
#include "tests/common/sim_fixture.h"
#include "uri/uri_table.h"

namespace {

using namespace veltrum::handler;

// Bodies of the handlers that are code of their own, by resource; declared
// resources get theirs from their declaration (seed_of). The rest get only
// odd documents: the synchronous probes among them, since a mutated host
// could name a machine elsewhere. No job module runs in this process, so a
// job start never starts a program.
struct Seed {
  const char *resource;
  const char *body;
};
const Seed kSeeds[] = {
    {"user_password_change", R"({"user_password_change":{"current":"password","new":"password1","confirm":"password1"}})"},
    {"ping", R"({"ping":""})"},
    {"ping_test_start", R"({"pingTest":{"action":1,"ipversion":4,"host":"127.0.0.1","count":1,"size":0}})"},
    {"traceroute_start",
     R"({"tracerouteStart":{"action":1,"host":"127.0.0.1","ipVersion":4,"maxTtl":2,"srcAddr":"","gateway":""}})"},
    {"dnslookup_stop", R"({"dnsLookupStop":{"state":true}})"},
    {"http_config", R"({"http_config":{"httpEnable":1,"httpPort":80,"httpsEnable":1,"httpsPort":443,"maxSes":4,)"
                    R"("softTimeout":5,"hardTimeout":24,"httpLang":"en","themeSel":"system"}})"},
    {"global_states", R"({"global_states":{"pellmar":1,"localMgmt":1}})"},
    {"active_image", R"({"active_image":{"label":"image2"}})"},
    {"image_operation", R"({"image_operation":{"imageName":"image2","imageStatus":2}})"},
    {"image_description", R"({"image_description":{"imageName":"image2","imageDescription":"lab"}})"},
    {"copy_image", R"({"copy_image":{"srcImage":"image1","dstImage":"image2"}})"},
    {"fw_download", R"({"fw_download":{"partition":2,"nextActive":2}})"},
    {"devicefirmwareupdate", R"({"devicefirmwareupdate":{"rebootNow":false}})"},
    // No worker manager runs here, so an accepted update's child is ended at once.
    {"device_fw_update", R"({"deviceFirmwareUpdate":{"rebootNow":false,"fwUrl":"https://127.0.0.1:1/x","fwDownloadTimeout":1}})"},
};

// A plausible value of a check's kind (its range's lower end, a MAC, ...).
json_object *plausible(const Check &c) {
  switch (c.kind) {
    case CheckKind::Range:
    case CheckKind::Flag:
    case CheckKind::Choice:
      return json_object_new_int64(c.min);
    case CheckKind::Mac:
      return json_object_new_string("00:11:22:33:44:55");
    case CheckKind::Ipv4:
    case CheckKind::Ip:
      return json_object_new_string("10.0.0.1");
    case CheckKind::Ipv6:
      return json_object_new_string("2001:db8::1");
    case CheckKind::Mask:
      return json_object_new_string("255.255.255.0");
    case CheckKind::Text:
    case CheckKind::String:
    case CheckKind::Host:
      return json_object_new_string("web");
    default:
      return json_object_new_int64(1);
  }
}

// One element of a resource with a plausible value for every member, and
// its children where it has them.
json_object *element_of(const Resource &r) {
  json_object *el = json_object_new_object();
  for (const Field &f : r.fields) json_object_object_add(el, f.key, plausible(f.check));
  for (const Nested &n : r.nested) {
    json_object *children = json_object_new_array();
    json_object_array_add(children, element_of(*n.child));
    json_object_object_add(el, n.key, children);
  }
  return el;
}

// A well-formed body of a declared resource: one object for scalars, an
// array of two elements otherwise.
std::string seed_of(const Resource &r) {
  JsonPtr doc(json_object_new_object());
  json_object *content = nullptr;
  if (r.walk.kind == WalkKind::Scalar) {
    content = element_of(r);
  } else {
    content = json_object_new_array();
    json_object_array_add(content, element_of(r));
    json_object_array_add(content, element_of(r));
  }
  if (r.wrapper) {
    json_object *wrapped = json_object_new_object();
    json_object_object_add(wrapped, r.wrapper, content);
    content = wrapped;
  }
  json_object_object_add(doc.get(), r.body_name(), content);
  return json_text(doc.get());
}

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

// Every handler of the table, with mutations of a body of its own: a
// declared resource's from its declaration, the others' from kSeeds. The
// work grows with the number of resources, not with their product.
TEST_F(HandlerRobustness, EveryLandedHandlerAnswersOddBodiesWithAnEnvelope) {
  constexpr int kRounds = 40;
  std::mt19937 rng(20261122);
  size_t handlers = 0;
  for (size_t row = 0; row < UriTableCount; ++row) {
    const UriEntry &entry = UriTable[row];
    if (std::strcmp(entry.uri, "/api/v1/hang") == 0) continue;  // never returns, on purpose
    std::vector<std::string> seeds;
    for (const Served &s : served())
      if (std::string("/api/v1/") + s.name == entry.uri) seeds.push_back(seed_of(*s.resource));
    for (const Seed &s : kSeeds)
      if (std::string("/api/v1/") + s.resource == entry.uri) seeds.emplace_back(s.body);
    for (uri_handler_t handler : {entry.get, entry.post, entry.del}) {
      if (!handler) continue;
      ++handlers;
      expect_envelope(handler, nullptr, std::string(entry.uri) + " without body");
      for (const std::string &seed : seeds) {
        expect_envelope(handler, JsonPtr(json_tokener_parse(seed.c_str())).get(), std::string(entry.uri) + " with " + seed);
        for (int round = 0; round < kRounds; ++round) {
          JsonPtr body(json_tokener_parse(seed.c_str()));
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
  EXPECT_GE(handlers, 40u);
}

}  // namespace
