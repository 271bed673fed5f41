// The RPC channel: every parameter kind crosses it intact, buffers are
// bounded by the caller's size, and a service that goes away or hangs makes
// calls fail with OPEN_E_RPC instead of crashing or hanging: a hung service
// costs one call time-out, then calls fail without reaching it until it
// answers a connectivity check again.
#include <gtest/gtest.h>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>
#include <condition_variable>
#include <cstring>
#include <filesystem>
#include <map>
#include <mutex>
#include <thread>

#include "core/platform_call.h"
#include "core/platform_client.h"
#include "platform/calls/08_files.h"
#include "platform/calls/10_dai.h"
#include "platform/rpc_server.h"
#include "platform/stubs.h"
#include "support/device.h"
#include "tests/common/sim_fixture.h"

namespace {

using veltrum::rpc::CallSig;
using veltrum::rpc::make_handler;
namespace dai = veltrum::calls::dai;
namespace files = veltrum::calls::files;
namespace interfaces = veltrum::calls::interfaces;
namespace network = veltrum::calls::network;
namespace sys = veltrum::calls::system;

// A service whose calls are lambdas of the test.
class ScriptedService : public veltrum::rpc::CallSink {
 public:
  template <auto Id, typename F>
  void on(F fn) {
    handlers_[veltrum::rpc::wire_id_of<Id>()] = make_handler<CallSig<Id>>(std::move(fn));
  }
  // A call of the test's own, by wire id and signature.
  template <uint32_t WireId, typename Sig, typename F>
  void on_wire(F fn) {
    handlers_[WireId] = make_handler<Sig>(std::move(fn));
  }
  bool serve(uint32_t id, openapiClientHandle_t *client, veltrum::rpc::Reader &in,
             veltrum::rpc::Writer &out) override {
    auto it = handlers_.find(id);
    return it != handlers_.end() && it->second(client, in, out, nullptr);
  }

 private:
  std::map<uint32_t, veltrum::rpc::CallHandler> handlers_;
};

class RpcTest : public ::testing::Test {
 protected:
  void SetUp() override {
    set_device_root(root_.path());
    std::filesystem::create_directories(root_.path() + "/run/openapi");
    server_ = std::make_unique<veltrum::rpc::Server>(device_path(OPENAPI_SOCKET_PATH), service_);
    ASSERT_TRUE(server_->start());
    ASSERT_EQ(openapiClientRegister("rpc-test", &client_), OPEN_E_NONE);
  }
  void TearDown() override {
    openapiClientTearDown(&client_);
    server_->stop();
  }

  veltrum::test::TempDir root_;
  ScriptedService service_;
  std::unique_ptr<veltrum::rpc::Server> server_;
  openapiClientHandle_t client_{};
};

open_buffdesc text(const char *s) { return open_buffdesc{static_cast<uint32_t>(std::strlen(s) + 1), const_cast<char *>(s)}; }

TEST_F(RpcTest, ScalarsEnumsAndRecordsRoundTrip) {
  service_.on<interfaces::CallId::openapiIfNextGet>([](openapiClientHandle_t *, OPEN_INTF_TYPE_t type, uint32_t ifNum, uint32_t *next) {
    EXPECT_EQ(type, OPEN_INTF_TYPE_LAG);
    *next = ifNum + 0x80000000u;  // the top bit survives
    return OPEN_E_NONE;
  });
  service_.on<sys::CallId::rpcclt_openapiApiVersionGet>([](openapiClientHandle_t *, open_revision_data_t *v) {
    EXPECT_EQ(v->major, 9);  // the caller's value arrives (in and out)
    *v = {1, 2, 3, 4};
    return OPEN_E_NONE;
  });
  service_.on<dai::CallId::rpcclt_openapiDaiIntfRateLimitSet>([](openapiClientHandle_t *, uint32_t, int32_t rate) {
    return rate == -1 ? OPEN_E_NONE : OPEN_E_PARAM;
  });
  service_.on<dai::CallId::rpcclt_openapiDaiVlanStatsGet>([](openapiClientHandle_t *, uint32_t vlan, OPEN_DAI_VLAN_STATS_t *s) {
    *s = {};
    s->dhcpDrops = vlan;
    s->dropped = 0xFFFFFFFFu;
    return OPEN_E_EMPTY;  // out arguments come back with any result
  });

  uint32_t next = 0;
  EXPECT_EQ(openapiIfNextGet(&client_, OPEN_INTF_TYPE_LAG, 7, &next), OPEN_E_NONE);
  EXPECT_EQ(next, 0x80000007u);

  open_revision_data_t version{9, 0, 0, 0};
  EXPECT_EQ(rpcclt_openapiApiVersionGet(&client_, &version), OPEN_E_NONE);
  EXPECT_EQ(version.major, 1);
  EXPECT_EQ(version.build_num, 4);

  EXPECT_EQ(rpcclt_openapiDaiIntfRateLimitSet(&client_, 1, -1), OPEN_E_NONE);
  EXPECT_EQ(rpcclt_openapiDaiIntfRateLimitSet(&client_, 1, 5), OPEN_E_PARAM);

  OPEN_DAI_VLAN_STATS_t stats{};
  EXPECT_EQ(rpcclt_openapiDaiVlanStatsGet(&client_, 12, &stats), OPEN_E_EMPTY);
  EXPECT_EQ(stats.dhcpDrops, 12u);
  EXPECT_EQ(stats.dropped, 0xFFFFFFFFu);
}

// The shape of the platform's statistics records (interface and IP
// counters): 64-bit counters beside 32-bit ones, a byte before a 64-bit
// member (the padding that uint64_t's 8-byte alignment makes, the same on
// every target), a signed member, an enumeration, a text, and a long run of
// counters. No family has such a record yet; this one crosses the channel
// through a call of the test's own.
typedef struct {
  uint32_t ifNum;
  OPEN_BOOL_t valid;
  uint64_t octetsRx;
  uint8_t duplex;
  uint64_t octetsTx;
  int32_t delta;
  uint16_t speed;
  char name[60];
  uint64_t counters[70];
} WideStats;

// The same layout on every target: these numbers hold on x86-64 and on
// 32-bit ARM alike, and so do the platform's own records below.
static_assert(sizeof(WideStats) == 664 && offsetof(WideStats, octetsRx) == 8 && offsetof(WideStats, duplex) == 16 &&
              offsetof(WideStats, octetsTx) == 24 && offsetof(WideStats, delta) == 32 &&
              offsetof(WideStats, speed) == 36 && offsetof(WideStats, name) == 38 &&
              offsetof(WideStats, counters) == 104);
static_assert(sizeof(OPEN_DAI_VLAN_STATS_t) == 36 && offsetof(OPEN_DAI_VLAN_STATS_t, dropped) == 32);
static_assert(sizeof(open_inet_addr_t) == 20 && offsetof(open_inet_addr_t, addr) == 4);
static_assert(sizeof(open_revision_data_t) == 4);

using WideStatsGet = open_error_t(openapiClientHandle_t *, uint32_t, WideStats *, uint64_t *);
constexpr uint32_t kWideStatsWire = veltrum::rpc::wire_id(255, 0);  // no family has number 255
constexpr auto &wide_stats_get = veltrum::rpc::StubOf<kWideStatsWire, WideStatsGet>::call;

std::string json_text(json_object *o) {
  std::string text = json_object_to_json_string_ext(o, JSON_C_TO_STRING_PLAIN);
  json_object_put(o);
  return text;
}

TEST_F(RpcTest, WideRecordsAndSixtyFourBitCountersKeepEveryBit) {
  service_.on_wire<kWideStatsWire, WideStatsGet>(
      [](openapiClientHandle_t *, uint32_t ifNum, WideStats *s, uint64_t *total) {
        EXPECT_EQ(s->counters[69], 7u);  // the caller's record arrives whole
        *s = {};
        s->ifNum = ifNum;
        s->valid = OPEN_TRUE;
        s->octetsRx = UINT64_MAX;
        s->duplex = 0xFF;
        s->octetsTx = uint64_t{1} << 63;
        s->delta = -5;
        s->speed = 0xFFFF;
        std::strcpy(s->name, "0/28");
        for (uint64_t i = 0; i < 70; ++i) s->counters[i] = (uint64_t{1} << 32) + i;  // each past 32 bits
        *total = (uint64_t{1} << 53) + 1;  // past what a double holds exactly
        return OPEN_E_NONE;
      });

  WideStats stats{};
  stats.counters[69] = 7;
  uint64_t total = 0;
  ASSERT_EQ(wide_stats_get(&client_, 28, &stats, &total), OPEN_E_NONE);
  EXPECT_EQ(stats.ifNum, 28u);
  EXPECT_EQ(stats.valid, OPEN_TRUE);
  EXPECT_EQ(stats.octetsRx, UINT64_MAX);
  EXPECT_EQ(stats.duplex, 0xFF);
  EXPECT_EQ(stats.octetsTx, uint64_t{1} << 63);
  EXPECT_EQ(stats.delta, -5);
  EXPECT_EQ(stats.speed, 0xFFFF);
  EXPECT_STREQ(stats.name, "0/28");
  EXPECT_EQ(stats.counters[0], 4294967296u);
  EXPECT_EQ(stats.counters[69], 4294967365u);
  EXPECT_EQ(total, 9007199254740993u);

  // As a handler shows them: members read by offset and size, a scalar
  // counter as it came.
  using veltrum::handler::call_detail::member_json;
  constexpr veltrum::handler::Member kMembers[] = {
      VELTRUM_MEMBER(WideStats, valid, "valid"),       VELTRUM_MEMBER(WideStats, octetsRx, "octRx"),
      VELTRUM_MEMBER(WideStats, duplex, "duplex"),     VELTRUM_MEMBER(WideStats, octetsTx, "octTx"),
      VELTRUM_MEMBER(WideStats, delta, "delta"),       VELTRUM_MEMBER(WideStats, speed, "speed"),
      VELTRUM_MEMBER(WideStats, counters[69], "last"),
  };
  std::string shown;
  for (const auto &m : kMembers) shown += std::string(m.key) + "=" + json_text(member_json(&stats, m)) + " ";
  EXPECT_EQ(shown,
            "valid=1 octRx=18446744073709551615 duplex=255 octTx=9223372036854775808 delta=-5 speed=65535 "
            "last=4294967365 ");
  veltrum::handler::call_detail::OutToJson<uint64_t *> out;
  *out.arg() = total;
  EXPECT_EQ(json_text(out.json()), "9007199254740993");
  *out.arg() = UINT64_MAX;
  EXPECT_EQ(json_text(out.json()), "18446744073709551615");
}

TEST_F(RpcTest, NullPointersTravelAsNull) {
  service_.on<network::CallId::rpcclt_openapiNetworkPortIPv4AddrGet>([](openapiClientHandle_t *, uint32_t *addr, uint32_t *mask) {
    EXPECT_NE(addr, nullptr);
    EXPECT_EQ(mask, nullptr);
    *addr = 0x0A000001;
    return OPEN_E_NONE;
  });
  uint32_t addr = 0;
  EXPECT_EQ(rpcclt_openapiNetworkPortIPv4AddrGet(&client_, &addr, nullptr), OPEN_E_NONE);
  EXPECT_EQ(addr, 0x0A000001u);
}

TEST_F(RpcTest, BuffersAreBoundedByTheCallersSize) {
  service_.on<dai::CallId::rpcclt_openapiArpAclNextGet>(
      [](openapiClientHandle_t *, const open_buffdesc *name, open_buffdesc *next) {
        // Input text arrives with its size; the output has the caller's size.
        EXPECT_EQ(name->size, 6u);
        EXPECT_STREQ(static_cast<const char *>(name->pstart), "first");
        const char answer[] = "second";
        if (next->size < sizeof answer) return OPEN_E_BUFFER;
        std::memcpy(next->pstart, answer, sizeof answer);
        next->size = sizeof answer;
        return OPEN_E_NONE;
      });
  service_.on<interfaces::CallId::openapiIfNameGet>([](openapiClientHandle_t *, uint32_t, open_buffdesc *name) {
    // A careless service that claims to have written more than it may.
    std::memset(name->pstart, 'x', name->size);
    name->size = 1000;
    return OPEN_E_NONE;
  });

  open_buffdesc in = text("first");
  char out[16];
  std::memset(out, 0, sizeof out);
  open_buffdesc next{sizeof out, out};
  EXPECT_EQ(rpcclt_openapiArpAclNextGet(&client_, &in, &next), OPEN_E_NONE);
  EXPECT_STREQ(out, "second");
  EXPECT_EQ(next.size, 7u);

  char small[4] = {};
  open_buffdesc short_buf{sizeof small, small};
  EXPECT_EQ(rpcclt_openapiArpAclNextGet(&client_, &in, &short_buf), OPEN_E_BUFFER);

  // Guard bytes around the caller's buffer stay untouched.
  char guarded[12];
  std::memset(guarded, 'G', sizeof guarded);
  std::memset(guarded + 4, 0, 4);
  open_buffdesc name{4, guarded + 4};
  EXPECT_EQ(openapiIfNameGet(&client_, 1, &name), OPEN_E_NONE);
  EXPECT_EQ(std::string(guarded, 12), "GGGGxxxxGGGG");
  EXPECT_EQ(name.size, 4u);  // never more than the caller's size
}

TEST_F(RpcTest, OversizedBufferIsRefusedBeforeSending) {
  open_buffdesc huge{veltrum::rpc::kMaxBuffer + 1, nullptr};
  EXPECT_EQ(rpcclt_openapiArpAclCreate(&client_, &huge), OPEN_E_PARAM);
}

TEST_F(RpcTest, UnknownCallEndsTheConnectionAndTheNextCallReconnects) {
  // No handler for SaveConfig: the service drops the connection.
  EXPECT_EQ(rpcclt_openapiSaveConfig(&client_), OPEN_E_RPC);
  service_.on<sys::CallId::rpcclt_openapiConnectivityCheck>([](openapiClientHandle_t *) { return OPEN_E_NONE; });
  EXPECT_EQ(rpcclt_openapiConnectivityCheck(&client_), OPEN_E_NONE);
}

TEST_F(RpcTest, ServiceDownThenBack) {
  service_.on<sys::CallId::rpcclt_openapiConnectivityCheck>([](openapiClientHandle_t *) { return OPEN_E_NONE; });
  ASSERT_EQ(rpcclt_openapiConnectivityCheck(&client_), OPEN_E_NONE);
  server_->go_down(std::chrono::milliseconds(300));
  EXPECT_EQ(rpcclt_openapiConnectivityCheck(&client_), OPEN_E_RPC);
  EXPECT_EQ(rpcclt_openapiConnectivityCheck(&client_), OPEN_E_RPC);
  for (int i = 0; i < 100 && rpcclt_openapiConnectivityCheck(&client_) != OPEN_E_NONE; ++i)
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  EXPECT_EQ(rpcclt_openapiConnectivityCheck(&client_), OPEN_E_NONE);
}

TEST_F(RpcTest, ACallThatTakesTheServiceDownStillGetsItsOwnAnswer) {
  // The reload asks for the restart once its answer is out, and another
  // client's call is answered in the meantime: the restart waits for the
  // reload's answer, not for that one.
  std::mutex mu;
  std::condition_variable cv;
  bool reloading = false;
  bool other_answered = false;
  service_.on<files::CallId::rpcclt_openapiSystemReload>([&](openapiClientHandle_t *) {
    server_->go_down_after_answer(std::chrono::milliseconds(300));
    std::unique_lock<std::mutex> lock(mu);
    reloading = true;
    cv.notify_all();
    cv.wait_for(lock, std::chrono::seconds(3), [&] { return other_answered; });
    return OPEN_E_NONE;
  });
  service_.on<sys::CallId::rpcclt_openapiConnectivityCheck>([](openapiClientHandle_t *) { return OPEN_E_NONE; });
  openapiClientHandle_t other{};
  ASSERT_EQ(openapiClientRegister("other", &other), OPEN_E_NONE);
  ASSERT_EQ(rpcclt_openapiConnectivityCheck(&other), OPEN_E_NONE);

  open_error_t reload = OPEN_E_FAIL;
  std::thread reloader([&] { reload = rpcclt_openapiSystemReload(&client_); });
  {
    std::unique_lock<std::mutex> lock(mu);
    ASSERT_TRUE(cv.wait_for(lock, std::chrono::seconds(3), [&] { return reloading; }));
  }
  EXPECT_EQ(rpcclt_openapiConnectivityCheck(&other), OPEN_E_NONE);
  {
    std::lock_guard<std::mutex> lock(mu);
    other_answered = true;
  }
  cv.notify_all();
  reloader.join();
  EXPECT_EQ(reload, OPEN_E_NONE);
  // And then (the server thread goes on after its answer) the service is
  // away for a while, and back.
  for (int i = 0; i < 300 && server_->listening(); ++i) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  EXPECT_FALSE(server_->listening());
  for (int i = 0; i < 200 && !server_->listening(); ++i) std::this_thread::sleep_for(std::chrono::milliseconds(10));
  ASSERT_TRUE(server_->listening());
  EXPECT_EQ(rpcclt_openapiConnectivityCheck(&other), OPEN_E_NONE);
  openapiClientTearDown(&other);
}

TEST_F(RpcTest, HandlesOwnTheirConnections) {
  service_.on<sys::CallId::rpcclt_openapiConnectivityCheck>([](openapiClientHandle_t *) { return OPEN_E_NONE; });
  openapiClientHandle_t second{};
  ASSERT_EQ(openapiClientRegister("second", &second), OPEN_E_NONE);
  EXPECT_NE(second.channel, client_.channel);
  EXPECT_EQ(rpcclt_openapiConnectivityCheck(&second), OPEN_E_NONE);
  openapiClientTearDown(&second);
  EXPECT_EQ(rpcclt_openapiConnectivityCheck(&client_), OPEN_E_NONE);
  EXPECT_EQ(rpcclt_openapiConnectivityCheck(&second), OPEN_E_RPC);  // torn down
}

TEST_F(RpcTest, ConcurrentCallersOnOneHandle) {
  service_.on<interfaces::CallId::openapiIfNextGet>([](openapiClientHandle_t *, OPEN_INTF_TYPE_t, uint32_t ifNum, uint32_t *next) {
    *next = ifNum + 1;
    return OPEN_E_NONE;
  });
  std::vector<std::thread> threads;
  std::atomic<int> wrong{0};
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([&, t] {
      for (uint32_t i = 0; i < 500; ++i) {
        uint32_t next = 0;
        uint32_t mine = static_cast<uint32_t>(t) * 100000 + i;
        if (openapiIfNextGet(&client_, OPEN_INTF_TYPE_PHY, mine, &next) != OPEN_E_NONE || next != mine + 1) ++wrong;
      }
    });
  for (auto &th : threads) th.join();
  EXPECT_EQ(wrong, 0);
}

// A listener that takes connections into its queue and never answers: a
// hung service, as far as a client can tell.
class SilentListener {
 public:
  explicit SilentListener(const std::string &path) {
    fd_ = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    sockaddr_un addr{};
    addr.sun_family = AF_UNIX;
    std::memcpy(addr.sun_path, path.c_str(), path.size() + 1);
    ::unlink(path.c_str());
    ok_ = fd_ >= 0 && ::bind(fd_, reinterpret_cast<sockaddr *>(&addr), sizeof addr) == 0 && ::listen(fd_, 64) == 0;
    path_ = path;
  }
  ~SilentListener() {
    ::close(fd_);
    ::unlink(path_.c_str());
  }
  bool ok() const { return ok_; }
  // How many connections were made to it so far.
  int connections() {
    int n = 0;
    for (int c; (c = ::accept4(fd_, nullptr, nullptr, SOCK_CLOEXEC)) >= 0; ++n) ::close(c);
    return n;
  }

 private:
  int fd_ = -1;
  bool ok_ = false;
  std::string path_;
};

bool answers_within(openapiClientHandle_t *client, std::chrono::seconds limit) {
  auto deadline = std::chrono::steady_clock::now() + limit;
  while (rpcclt_openapiConnectivityCheck(client) != OPEN_E_NONE) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  return true;
}

TEST_F(RpcTest, ASilentServiceCostsOneTimeoutThenCallsFailWithoutConnecting) {
  server_->stop();
  {
    SilentListener silent(device_path(OPENAPI_SOCKET_PATH));
    ASSERT_TRUE(silent.ok());
    veltrum::rpc::set_call_timeout(&client_, std::chrono::milliseconds(200));
    // The greeting of a new connection is not answered: the call ends.
    EXPECT_EQ(rpcclt_openapiConnectivityCheck(&client_), OPEN_E_RPC);
    for (int i = 0; i < 10; ++i) EXPECT_EQ(rpcclt_openapiSaveConfig(&client_), OPEN_E_RPC);
    // The failed call's connection and one connectivity check, no more.
    EXPECT_EQ(silent.connections(), 2);
  }

  // The service answers again: within a check or two the handle works.
  server_ = std::make_unique<veltrum::rpc::Server>(device_path(OPENAPI_SOCKET_PATH), service_);
  service_.on<sys::CallId::rpcclt_openapiConnectivityCheck>([](openapiClientHandle_t *) { return OPEN_E_NONE; });
  ASSERT_TRUE(server_->start());
  EXPECT_TRUE(answers_within(&client_, std::chrono::seconds(5)));
}

TEST_F(RpcTest, AServiceHungInACallIsWaitedForOnce) {
  std::mutex mu;
  std::condition_variable released;
  bool hung = true;
  std::atomic<int> next_calls{0};
  std::atomic<int> checks{0};
  auto wait_while_hung = [&] {
    std::unique_lock<std::mutex> lock(mu);
    released.wait(lock, [&] { return !hung; });
  };
  service_.on<interfaces::CallId::openapiIfNextGet>([&](openapiClientHandle_t *, OPEN_INTF_TYPE_t, uint32_t ifNum, uint32_t *next) {
    ++next_calls;
    wait_while_hung();
    *next = ifNum + 1;
    return OPEN_E_NONE;
  });
  service_.on<sys::CallId::rpcclt_openapiConnectivityCheck>([&](openapiClientHandle_t *) {
    ++checks;
    wait_while_hung();
    return OPEN_E_NONE;
  });
  veltrum::rpc::set_call_timeout(&client_, std::chrono::milliseconds(200));
  uint32_t next = 0;
  EXPECT_EQ(openapiIfNextGet(&client_, OPEN_INTF_TYPE_PHY, 1, &next), OPEN_E_RPC);
  for (int i = 0; i < 20; ++i) EXPECT_EQ(openapiIfNextGet(&client_, OPEN_INTF_TYPE_PHY, 1, &next), OPEN_E_RPC);
  EXPECT_EQ(next_calls, 1);  // the others never left the client
  EXPECT_LE(checks, 1);

  {
    std::lock_guard<std::mutex> lock(mu);
    hung = false;
  }
  released.notify_all();
  EXPECT_TRUE(answers_within(&client_, std::chrono::seconds(5)));
  EXPECT_EQ(openapiIfNextGet(&client_, OPEN_INTF_TYPE_PHY, 1, &next), OPEN_E_NONE);
  EXPECT_EQ(next, 2u);
}

TEST(RpcRegister, RefusesMissingArguments) {
  openapiClientHandle_t h{};
  EXPECT_EQ(openapiClientRegister(nullptr, &h), OPEN_E_PARAM);
  EXPECT_EQ(openapiClientRegister("", &h), OPEN_E_PARAM);
  EXPECT_EQ(openapiClientRegister("x", nullptr), OPEN_E_PARAM);
  EXPECT_EQ(rpcclt_openapiConnectivityCheck(&h), OPEN_E_RPC);  // never registered
}

}  // namespace
