// The simulated switch as its own process: clients of the real
// veltrum-simd, the model it presents, faults and counts, downtime, and
// a saved configuration surviving a restart.
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <thread>

#include "core/platform_client.h"
#include "platform/calls/10_dai.h"
#include "sim/control_calls.h"
#include "support/device.h"
#include "tests/common/child_process.h"
#include "tests/common/sim_fixture.h"

namespace {

using veltrum::test::build_path;
using veltrum::test::ChildProcess;
using veltrum::test::InProcessSim;
using veltrum::test::TempDir;

// A buffer over text that outlives the call (a literal or a named string).
open_buffdesc text(const char *s) { return open_buffdesc{static_cast<uint32_t>(std::strlen(s) + 1), const_cast<char *>(s)}; }

bool wait_until_answers(openapiClientHandle_t *client) {
  for (int i = 0; i < 500; ++i) {
    if (rpcclt_openapiConnectivityCheck(client) == OPEN_E_NONE) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return false;
}

std::unique_ptr<ChildProcess> start_simd(const std::string &root) {
  return std::make_unique<ChildProcess>(std::vector<std::string>{build_path("sim/veltrum-simd"), "--root", root});
}

TEST(SimProcess, ClientsSurviveAServiceRestartAndSavedConfigurationPersists) {
  TempDir root;
  set_device_root(root.path());
  openapiClientHandle_t a{};
  openapiClientHandle_t b{};
  ASSERT_EQ(openapiClientRegister("client-a", &a), OPEN_E_NONE);
  ASSERT_EQ(openapiClientRegister("client-b", &b), OPEN_E_NONE);
  EXPECT_NE(rpcclt_openapiConnectivityCheck(&a), OPEN_E_NONE);  // nothing runs yet

  auto simd = start_simd(root.path());
  ASSERT_TRUE(wait_until_answers(&a));
  ASSERT_TRUE(wait_until_answers(&b));

  // A change that is saved, and one that is only running.
  EXPECT_EQ(rpcclt_openapiDaiIntfRateLimitSet(&a, 3, 120), OPEN_E_NONE);
  EXPECT_EQ(rpcclt_openapiSaveConfig(&b), OPEN_E_NONE);
  EXPECT_EQ(rpcclt_openapiDaiIntfBurstIntervalSet(&a, 3, 9), OPEN_E_NONE);
  EXPECT_TRUE(std::filesystem::exists(root.path() + "/mnt/fastpath/startup-config.json"));

  // A crash: calls fail with a code, promptly.
  simd->kill_hard();
  auto before = std::chrono::steady_clock::now();
  int32_t rate = 0;
  EXPECT_EQ(rpcclt_openapiDaiIntfRateLimitGet(&a, 3, &rate), OPEN_E_RPC);
  EXPECT_EQ(rpcclt_openapiConnectivityCheck(&b), OPEN_E_RPC);
  EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(5));

  simd = start_simd(root.path());
  ASSERT_TRUE(wait_until_answers(&a));
  ASSERT_TRUE(wait_until_answers(&b));
  EXPECT_EQ(rpcclt_openapiDaiIntfRateLimitGet(&a, 3, &rate), OPEN_E_NONE);
  EXPECT_EQ(rate, 120);
  uint32_t burst = 0;
  EXPECT_EQ(rpcclt_openapiDaiIntfBurstIntervalGet(&b, 3, &burst), OPEN_E_NONE);
  EXPECT_EQ(burst, 1u);  // never saved: back to the default

  EXPECT_EQ(simd->stop(), 0);  // an orderly stop on SIGTERM
  openapiClientTearDown(&a);
  openapiClientTearDown(&b);
}

TEST(SimProcess, AnUnreadableSavedConfigurationStartsFromDefaults) {
  TempDir root;
  set_device_root(root.path());
  std::filesystem::create_directories(root.path() + "/mnt/fastpath");
  std::ofstream(root.path() + "/mnt/fastpath/startup-config.json") << "{ half a file";
  auto simd = start_simd(root.path());
  openapiClientHandle_t c{};
  openapiClientRegister("client", &c);
  ASSERT_TRUE(wait_until_answers(&c));
  uint32_t max = 0;
  EXPECT_EQ(rpcclt_openapiDot1VlanMaxGet(&c, &max), OPEN_E_NONE);
  EXPECT_EQ(max, 4093u);
  openapiClientTearDown(&c);
}

TEST(SimModel, EveryPlatformCallHasAnImplementation) {
  InProcessSim sim;
  EXPECT_EQ(sim.model().missing_calls(), std::vector<std::string>{});
}

TEST(SimModel, InterfacesLeaveAGapBeforeTheLags) {
  InProcessSim sim;
  auto walk = [&](OPEN_INTF_TYPE_t type) {
    std::vector<uint32_t> out;
    uint32_t n = 0;
    for (open_error_t rc = openapiIfFirstGet(sim.client(), type, &n); rc == OPEN_E_NONE;
         rc = openapiIfNextGet(sim.client(), type, n, &n))
      out.push_back(n);
    return out;
  };
  auto phy = walk(OPEN_INTF_TYPE_PHY);
  auto lag = walk(OPEN_INTF_TYPE_LAG);
  ASSERT_EQ(phy.size(), 28u);
  ASSERT_EQ(lag.size(), 8u);
  EXPECT_EQ(phy.front(), 1u);
  EXPECT_GT(lag.front(), phy.back() + 1);
  EXPECT_EQ(walk(OPEN_INTF_TYPE_CPU).size(), 1u);

  char name[OPEN_INTF_NAME_SIZE] = {};
  open_buffdesc buf{sizeof name, name};
  EXPECT_EQ(openapiIfNameGet(sim.client(), lag.front(), &buf), OPEN_E_NONE);
  EXPECT_STREQ(name, "lag 1");
  char tiny[3] = {};
  open_buffdesc small{sizeof tiny, tiny};
  EXPECT_EQ(openapiIfNameGet(sim.client(), lag.front(), &small), OPEN_E_BUFFER);

  // VLAN 1 holds every port and LAG untagged; nothing else exists.
  EXPECT_EQ(openapiVlanCreatedCheck(sim.client(), 1), OPEN_E_NONE);
  EXPECT_EQ(openapiVlanCreatedCheck(sim.client(), 2), OPEN_E_NOT_FOUND);
  uint32_t next = 0;
  EXPECT_EQ(openapiVlanNextGet(sim.client(), 0, &next), OPEN_E_NONE);
  EXPECT_EQ(next, 1u);
  EXPECT_EQ(openapiVlanNextGet(sim.client(), 1, &next), OPEN_E_NOT_FOUND);
  EXPECT_NE(sim.get("vlan_members").find("[1,40]"), std::string::npos);
}

TEST(SimModel, ModelSizesAreConfigurable) {
  veltrum::sim::SimOptions options;
  options.copper = 8;
  options.uplinks = 2;
  options.lags = 2;
  options.max_vlan = 100;
  InProcessSim sim(options);
  uint32_t n = 0;
  uint32_t count = 0;
  for (open_error_t rc = openapiIfFirstGet(sim.client(), OPEN_INTF_TYPE_PHY, &n); rc == OPEN_E_NONE;
       rc = openapiIfNextGet(sim.client(), OPEN_INTF_TYPE_PHY, n, &n))
    ++count;
  EXPECT_EQ(count, 10u);
  uint32_t max = 0;
  rpcclt_openapiDot1VlanMaxGet(sim.client(), &max);
  EXPECT_EQ(max, 100u);
}

TEST(SimControl, FaultsCountsAndJournal) {
  InProcessSim sim;
  sim.fail("rpcclt_openapiDaiIntfTrustSet", 2, OPEN_E_INTERNAL);
  EXPECT_EQ(rpcclt_openapiDaiIntfTrustSet(sim.client(), 1, OPEN_TRUE), OPEN_E_INTERNAL);
  EXPECT_EQ(rpcclt_openapiDaiIntfTrustSet(sim.client(), 1, OPEN_TRUE), OPEN_E_INTERNAL);
  EXPECT_EQ(rpcclt_openapiDaiIntfTrustSet(sim.client(), 1, OPEN_TRUE), OPEN_E_NONE);
  EXPECT_EQ(sim.count("rpcclt_openapiDaiIntfTrustSet"), 3u);

  // A faulted Get leaves the caller's outputs alone.
  sim.fail("rpcclt_openapiDaiIntfTrustGet", 1, OPEN_E_FAIL);
  OPEN_BOOL_t trust = OPEN_FALSE;  // the switch holds OPEN_TRUE by now
  EXPECT_EQ(rpcclt_openapiDaiIntfTrustGet(sim.client(), 1, &trust), OPEN_E_FAIL);
  EXPECT_EQ(trust, OPEN_FALSE);
  EXPECT_EQ(rpcclt_openapiDaiIntfTrustGet(sim.client(), 1, &trust), OPEN_E_NONE);
  EXPECT_EQ(trust, OPEN_TRUE);

  sim.reset_counts();
  rpcclt_openapiDaiSourceMacValidateModeSet(sim.client(), OPEN_ENABLE);
  rpcclt_openapiDaiDestMacValidateModeSet(sim.client(), OPEN_ENABLE);
  char journal[256] = {};
  open_buffdesc out{sizeof journal, journal};
  ASSERT_EQ(simctlCallJournalGet(sim.client(), &out), OPEN_E_NONE);
  EXPECT_STREQ(journal, R"(["rpcclt_openapiDaiSourceMacValidateModeSet","rpcclt_openapiDaiDestMacValidateModeSet"])");

  // Faults may wait for some calls to pass first.
  open_buffdesc trust_set = text("rpcclt_openapiDaiIntfTrustSet");
  ASSERT_EQ(simctlFaultSetAfter(sim.client(), &trust_set, 2, 1, OPEN_E_FULL), OPEN_E_NONE);
  EXPECT_EQ(rpcclt_openapiDaiIntfTrustSet(sim.client(), 1, OPEN_TRUE), OPEN_E_NONE);
  EXPECT_EQ(rpcclt_openapiDaiIntfTrustSet(sim.client(), 1, OPEN_TRUE), OPEN_E_NONE);
  EXPECT_EQ(rpcclt_openapiDaiIntfTrustSet(sim.client(), 1, OPEN_TRUE), OPEN_E_FULL);
  EXPECT_EQ(rpcclt_openapiDaiIntfTrustSet(sim.client(), 1, OPEN_TRUE), OPEN_E_NONE);

  open_buffdesc unknown = text("noSuchCall");
  EXPECT_EQ(simctlFaultSet(sim.client(), &unknown, 1, -1), OPEN_E_NOT_FOUND);
}

TEST(SimControl, GoDownAnswersFirstThenComesBack) {
  InProcessSim sim;
  EXPECT_EQ(simctlGoDown(sim.client(), 300), OPEN_E_NONE);
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  EXPECT_EQ(rpcclt_openapiConnectivityCheck(sim.client()), OPEN_E_RPC);
  ASSERT_TRUE(wait_until_answers(sim.client()));
}

TEST(SimControl, ReloadAndFactoryReset) {
  InProcessSim sim;
  rpcclt_openapiDaiIntfRateLimitSet(sim.client(), 2, 50);
  rpcclt_openapiSaveConfig(sim.client());
  rpcclt_openapiDaiIntfRateLimitSet(sim.client(), 2, 60);
  ASSERT_EQ(sim.set("user_status", R"({"key":["admin"],"record":{"failures":5,"locked":1}})"), OPEN_E_NONE);

  ASSERT_EQ(simctlReload(sim.client()), OPEN_E_NONE);
  int32_t rate = 0;
  rpcclt_openapiDaiIntfRateLimitGet(sim.client(), 2, &rate);
  EXPECT_EQ(rate, 50);
  EXPECT_EQ(sim.get("user_status"), "[]");  // dynamic state cleared

  ASSERT_EQ(simctlFactoryReset(sim.client()), OPEN_E_NONE);
  rpcclt_openapiDaiIntfRateLimitGet(sim.client(), 2, &rate);
  EXPECT_EQ(rate, 15);
  EXPECT_FALSE(std::filesystem::exists(sim.root() + "/mnt/fastpath/startup-config.json"));
}

TEST(SimUsers, DefaultPasswordLockoutAndChange) {
  InProcessSim sim;
  auto login = [&](const std::string &user, const std::string &pw, OPEN_BOOL_t *def) {
    open_buffdesc u = text(user.c_str());
    open_buffdesc p = text(pw.c_str());
    open_buffdesc addr = text("127.0.0.1");
    OPEN_LOGIN_ACCESS_LEVELS_t level{};
    OPEN_USER_AUTH_METHOD_t method{};
    return rpcclt_openapiUserSessionAuthentication(sim.client(), &u, &p, OPEN_LOGIN_TYPE_HTTPS, &addr, &level,
                                                   &method, def);
  };
  OPEN_BOOL_t def = OPEN_FALSE;
  EXPECT_EQ(login("admin", "password", &def), OPEN_E_NONE);
  EXPECT_EQ(def, OPEN_TRUE);

  open_buffdesc admin = text("admin");
  open_buffdesc fresh = text("n3w-Secret");
  open_buffdesc short_pw = text("short");
  EXPECT_EQ(rpcclt_openapiUserSet(sim.client(), &admin, &short_pw), OPEN_E_PARAM);
  EXPECT_EQ(rpcclt_openapiUserSet(sim.client(), &admin, &fresh), OPEN_E_NONE);
  EXPECT_EQ(login("admin", "n3w-Secret", &def), OPEN_E_NONE);
  EXPECT_EQ(def, OPEN_FALSE);

  for (int i = 0; i < 5; ++i) EXPECT_NE(login("admin", "wrong", &def), OPEN_E_NONE);
  OPEN_USER_LOCKOUT_STATUS_t status{};
  EXPECT_EQ(rpcclt_openapiUserLockoutStatusGet(sim.client(), &admin, &status), OPEN_E_NONE);
  EXPECT_EQ(status, OPEN_USER_LOCKOUT_LOCKED);
  EXPECT_NE(login("admin", "n3w-Secret", &def), OPEN_E_NONE);  // locked: even the right password
}

TEST(SimUsers, PasswordsAreKeptAsSaltedHashesInAFileOnlyItsOwnerReads) {
  InProcessSim sim;
  open_buffdesc admin = text("admin");
  open_buffdesc guest = text("guest");
  open_buffdesc secret = text("n3w-Secret");
  ASSERT_EQ(rpcclt_openapiUserSet(sim.client(), &admin, &secret), OPEN_E_NONE);
  ASSERT_EQ(rpcclt_openapiUserSet(sim.client(), &guest, &secret), OPEN_E_NONE);
  ASSERT_EQ(rpcclt_openapiSaveConfig(sim.client()), OPEN_E_NONE);

  std::string path = sim.root() + "/mnt/fastpath/startup-config.json";
  std::ifstream in(path);
  std::string saved((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  EXPECT_EQ(saved.find("n3w-Secret"), std::string::npos) << saved;
  EXPECT_EQ(std::filesystem::status(path).permissions() & std::filesystem::perms::all,
            std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
  // Salted: the same password gives two different hashes.
  std::string users = sim.get("users");
  size_t first = users.find("\"$6$");
  ASSERT_NE(first, std::string::npos) << users;
  size_t second = users.find("\"$6$", first + 1);
  ASSERT_NE(second, std::string::npos) << users;
  EXPECT_NE(users.substr(first, 40), users.substr(second, 40));

  // The hashes check the passwords after a restart of the configuration.
  ASSERT_EQ(simctlReload(sim.client()), OPEN_E_NONE);
  EXPECT_EQ(rpcclt_openapiValidateUserPassword(sim.client(), &admin, &secret), OPEN_E_NONE);
  open_buffdesc wrong = text("n3w-secret");
  EXPECT_EQ(rpcclt_openapiValidateUserPassword(sim.client(), &admin, &wrong), OPEN_E_FAIL);

  // A row of an older saved configuration, password in clear, is hashed the
  // first time it checks out.
  ASSERT_EQ(sim.set("users", R"({"key":["old"],"record":{"password":"plain-Pass1","level":1,"default":0}})"),
            OPEN_E_NONE);
  open_buffdesc old_user = text("old");
  open_buffdesc old_password = text("plain-Pass1");
  EXPECT_EQ(rpcclt_openapiValidateUserPassword(sim.client(), &old_user, &old_password), OPEN_E_NONE);
  EXPECT_EQ(sim.get("users").find("plain-Pass1"), std::string::npos) << sim.get("users");
  EXPECT_EQ(rpcclt_openapiValidateUserPassword(sim.client(), &old_user, &old_password), OPEN_E_NONE);
}

}  // namespace
