// The CLI bridge against the simulated switch's telnet CLI: the session's
// life cycle, the bytes on the wire, the login dialogue's results, a CLI
// that hangs up, platform faults before the connection, commands in
// sub-modes, and descriptors over many sessions.
#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>

#include "cli/bridge.h"
#include "core/platform_client.h"
#include "platform/calls/10_dai.h"
#include "support/cli_port.h"
#include "tests/cli/cli_fixture.h"

namespace {

using namespace veltrum::cli;
using veltrum::test::CliSuite;
using veltrum::test::open_descriptors;
using veltrum::test::wait_until;

class BridgeTest : public CliSuite {
 protected:
  // Runs the login dialogue by hand with the given credentials on a new
  // connection; the connection is closed afterwards.
  int login_with(const char *user, const char *password) {
    EXPECT_EQ(cli_connect(), 0);
    cli_bridge.user = strdup(user);
    cli_bridge.password = strdup(password);
    int rc = login_to_cli();
    std::free(cli_bridge.user);
    std::free(cli_bridge.password);
    cli_bridge.user = cli_bridge.password = nullptr;
    close(cli_bridge.socket);
    cli_bridge.socket = -1;
    return rc;
  }
  std::string command(const char *line) {
    char answer[kCliAnswerSize];
    EXPECT_EQ(fastpath_cli_cmd(line, answer, sizeof answer), 0) << line;
    return answer;
  }
};

TEST_F(BridgeTest, OpenKeepAliveStatusCloseAndReopen) {
  EXPECT_EQ(fastpath_cli_session_control(kCliStatus), -1);
  EXPECT_EQ(fastpath_cli_session_control(kCliKeepAlive), -1);  // nothing to keep alive

  ASSERT_EQ(fastpath_cli_session_control(kCliOpen), 0);
  EXPECT_EQ(fastpath_cli_session_control(kCliStatus), 0);
  EXPECT_GE(cli_bridge.socket, 0);
  EXPECT_EQ(cli_bridge.user, nullptr);  // the credentials live only during the dialogue
  EXPECT_EQ(cli_bridge.password, nullptr);
  // The dialogue walked user exec and privileged mode into configuration mode.
  EXPECT_EQ(simd().transcript_count(" login admin"), 1u);
  EXPECT_EQ(simd().transcript_count(R"(line "enable\0\r\n")"), 1u);
  EXPECT_EQ(simd().transcript_count(R"(line "configure\0\r\n")"), 1u);

  // Open while logged in keeps the session.
  int socket = cli_bridge.socket;
  EXPECT_EQ(fastpath_cli_session_control(kCliOpen), 0);
  EXPECT_EQ(cli_bridge.socket, socket);
  EXPECT_EQ(simd().transcript_count(" open"), 1u);

  EXPECT_EQ(fastpath_cli_session_control(kCliKeepAlive), 0);
  EXPECT_EQ(fastpath_cli_session_control(kCliStatus), 0);

  EXPECT_EQ(fastpath_cli_session_control(kCliClose), 0);
  EXPECT_EQ(cli_bridge.socket, -1);
  EXPECT_EQ(fastpath_cli_session_control(kCliStatus), -1);
  EXPECT_EQ(fastpath_cli_session_control(kCliClose), 0);  // closing twice is harmless

  ASSERT_EQ(fastpath_cli_session_control(kCliOpen), 0);
  EXPECT_EQ(simd().transcript_count(" login admin"), 2u);
  EXPECT_EQ(fastpath_cli_session_control(0), -1);
  EXPECT_EQ(fastpath_cli_session_control(5), -1);
  EXPECT_EQ(fastpath_cli_session_control(kCliStatus), 0);  // unknown actions change nothing
}

TEST_F(BridgeTest, EveryLineReachesTheCliWithItsNulByteAndCrLf) {
  std::string answer = command("show radius accounting");
  EXPECT_EQ(simd().transcript_count(R"(user "admin\0\r\n")"), 1u);
  EXPECT_EQ(simd().transcript_count(R"(line "show radius accounting\0\r\n")"), 1u);
  // The answer: the echo, the output, and the configuration prompt.
  EXPECT_NE(answer.find("show radius accounting\r\nRADIUS Accounting Mode"), std::string::npos) << answer;
  EXPECT_EQ(answer.substr(answer.size() - 19), "(Veltrum) (Config)#");

  // A keep-alive is an empty line with the same ending.
  EXPECT_EQ(fastpath_cli_session_control(kCliKeepAlive), 0);
  EXPECT_EQ(simd().transcript_count(R"(line "\r\n")"), 1u);
}

TEST_F(BridgeTest, CommandLinesOf128BytesOrMoreAreRefusedWithoutTouchingTheSession) {
  ASSERT_EQ(fastpath_cli_session_control(kCliOpen), 0);
  size_t lines = simd().transcript().size();
  char answer[kCliAnswerSize];
  std::string longest(127, 'x');
  std::string too_long(128, 'x');
  EXPECT_EQ(fastpath_cli_cmd(too_long.c_str(), answer, sizeof answer), -1);
  EXPECT_EQ(fastpath_cli_splmode_cmd("interface 0/1", too_long.c_str(), answer, sizeof answer), -1);
  EXPECT_EQ(fastpath_cli_vlan_db_cmd(too_long.c_str(), "vlan 5", answer, sizeof answer), -1);
  EXPECT_EQ(fastpath_cli_cmd("", answer, sizeof answer), -1);
  EXPECT_EQ(fastpath_cli_cmd("show radius accounting", answer, 1), -1);
  EXPECT_EQ(send_data(too_long.c_str(), 128), -1);
  EXPECT_EQ(send_data(too_long.c_str(), 0), -1);
  EXPECT_EQ(simd().transcript().size(), lines);
  EXPECT_EQ(fastpath_cli_session_control(kCliStatus), 0);

  // 127 bytes go out; the CLI does not know the word.
  EXPECT_EQ(fastpath_cli_cmd(longest.c_str(), answer, sizeof answer), 0);
  EXPECT_NE(std::strstr(answer, "% Invalid input detected at '^' marker."), nullptr);
  EXPECT_EQ(simd().transcript_count("line \"" + longest + "\\0\\r\\n\""), 1u);
}

TEST_F(BridgeTest, LoginResults) {
  // Wrong password: asked again twice, then the CLI hangs up.
  EXPECT_EQ(login_with("admin", "not-the-password"), -2);
  EXPECT_EQ(simd().transcript_count(" login refused"), 3u);

  // A prompt the dialogue does not know.
  simd().set_setting("cli.fault", 2);
  EXPECT_EQ(login_with("admin", "password"), -1);

  // The CLI hangs up in the middle of the dialogue.
  simd().set_setting("cli.fault", 1);
  EXPECT_EQ(login_with("admin", "password"), -2);

  simd().set_setting("cli.fault", 0);
  EXPECT_EQ(login_with("admin", "password"), 0);
}

TEST_F(BridgeTest, AFailedOpenLeavesNothingOpenAndTheNextOpenStartsAfresh) {
  for (int fault : {1, 2}) {
    simd().set_setting("cli.fault", fault);
    EXPECT_EQ(fastpath_cli_session_control(kCliOpen), -1) << fault;
    EXPECT_EQ(cli_bridge.socket, -1);
    EXPECT_EQ(cli_bridge.logged_in, 0);
    EXPECT_EQ(fastpath_cli_session_control(kCliStatus), -1);
  }
  simd().set_setting("cli.fault", 0);
  char answer[kCliAnswerSize];
  EXPECT_EQ(fastpath_cli_cmd("show spanning-tree summary", answer, sizeof answer), 0);
  EXPECT_NE(std::strstr(answer, "Spanning Tree Version"), nullptr);
  EXPECT_EQ(simd().transcript_count(" open"), 3u);
  EXPECT_EQ(simd().transcript_count(" login admin"), 2u);  // the foreign prompt came after a good password

  // A locked account is refused like a wrong password.
  ASSERT_EQ(fastpath_cli_session_control(kCliClose), 0);
  ASSERT_EQ(simd().control().set("user_status", R"({"key":["admin"],"record":{"failures":5,"locked":1}})"),
            OPEN_E_NONE);
  EXPECT_EQ(fastpath_cli_session_control(kCliOpen), -1);
  EXPECT_EQ(cli_bridge.socket, -1);
}

TEST_F(BridgeTest, ACliThatClosesTheSessionIsLoggedIntoAgain) {
  simd().set_setting("cli.fault", 3);  // hangs up once configuration mode is reached
  ASSERT_EQ(fastpath_cli_session_control(kCliOpen), 0);
  simd().set_setting("cli.fault", 0);
  ASSERT_TRUE(wait_until([&] { return simd().transcript_count(" close") == 1; }));

  // The next command reads the end of the stream (an empty answer) or fails
  // on its write; either way a following command logs in afresh.
  char answer[kCliAnswerSize];
  int attempts = 0;
  bool answered = false;
  while (!answered && attempts < 3) {
    ++attempts;
    int rc = fastpath_cli_cmd("show spanning-tree summary", answer, sizeof answer);
    answered = rc == 0 && std::strstr(answer, "Spanning Tree Version") != nullptr;
    if (!answered && rc == 0) {
      EXPECT_STREQ(answer, "");
    }
  }
  EXPECT_TRUE(answered);
  EXPECT_GE(attempts, 2);
  EXPECT_EQ(simd().transcript_count(" login admin"), 2u);
}

TEST_F(BridgeTest, PlatformFailuresEndTheOpenBeforeAnyConnection) {
  for (const char *call :
       {"rpcclt_openapiUserNameSizeGet", "rpcclt_openapiPasswordSizeGet", "rpcclt_openapiUserPasswordGet"}) {
    simd().control().fail(call, 1, OPEN_E_INTERNAL);
    EXPECT_EQ(fastpath_cli_session_control(kCliOpen), -1) << call;
    EXPECT_EQ(cli_bridge.socket, -1);
  }
  EXPECT_EQ(simd().transcript_count(" open"), 0u);

  // Nothing listens where the root says the CLI is.
  int port = veltrum::test::free_tcp_port();
  ASSERT_EQ(write_cli_telnet_port(simd().root(), port), 0);
  EXPECT_EQ(fastpath_cli_session_control(kCliOpen), -1);
  EXPECT_EQ(cli_bridge.socket, -1);
  simd().restart();  // takes a port again and records it
  EXPECT_EQ(fastpath_cli_session_control(kCliOpen), 0);
}

// Sub-mode and VLAN database commands return to configuration mode, and act
// on the state the platform calls see.
TEST_F(BridgeTest, SubModeCommandsActOnTheSwitchStateAndReturnToConfiguration) {
  char answer[kCliAnswerSize];
  ASSERT_EQ(fastpath_cli_splmode_cmd("interface 0/5", "ip arp inspection trust", answer, sizeof answer), 0);
  OPEN_BOOL_t trust = OPEN_FALSE;
  EXPECT_EQ(rpcclt_openapiDaiIntfTrustGet(&g_client_handle, 5, &trust), OPEN_E_NONE);
  EXPECT_EQ(trust, OPEN_TRUE);
  std::vector<std::string> sent;
  wait_until([&] {
    sent.clear();
    for (const auto &l : simd().transcript())
      if (l.find(" line ") != std::string::npos) sent.push_back(l.substr(l.find('"')));
    return sent.size() >= 8;
  });
  std::vector<std::string> expected = {R"("enable\0\r\n")",        R"("configure\0\r\n")",
                                       R"("end\0\r\n")",           R"("configure\0\r\n")",
                                       R"("interface 0/5\0\r\n")", R"("ip arp inspection trust\0\r\n")",
                                       R"("end\0\r\n")",           R"("configure\0\r\n")"};
  EXPECT_EQ(sent, expected);

  ASSERT_EQ(fastpath_cli_vlan_db_cmd("vlan database", "vlan 77", answer, sizeof answer), 0);
  EXPECT_EQ(openapiVlanCreatedCheck(&g_client_handle, 77), OPEN_E_NONE);
  EXPECT_EQ(fastpath_cli_splmode_cmd_fast("interface 0/6", "ip arp inspection limit rate 40 burst interval 3", answer,
                                          sizeof answer),
            0);

  // The reverse: set through the platform, shown by the CLI, which is back
  // in configuration mode.
  ASSERT_EQ(rpcclt_openapiDaiIntfTrustSet(&g_client_handle, 6, OPEN_TRUE), OPEN_E_NONE);
  std::string shown = command("show running-config interface 0/6");
  EXPECT_NE(shown.find("ip arp inspection trust\r\n"), std::string::npos) << shown;
  EXPECT_NE(shown.find("ip arp inspection limit rate 40 burst interval 3\r\n"), std::string::npos) << shown;
  EXPECT_EQ(shown.substr(shown.size() - 19), "(Veltrum) (Config)#");
  int32_t rate = 0;
  EXPECT_EQ(rpcclt_openapiDaiIntfRateLimitGet(&g_client_handle, 6, &rate), OPEN_E_NONE);
  EXPECT_EQ(rate, 40);
}

TEST_F(BridgeTest, AThousandOpenAndCloseCyclesLeaveTheDescriptorCountUnchanged) {
  veltrum::cli::cli_set_pauses(std::chrono::microseconds(0), std::chrono::microseconds(0));
  ASSERT_EQ(fastpath_cli_session_control(kCliOpen), 0);  // first use: the platform client's connection
  ASSERT_EQ(fastpath_cli_session_control(kCliClose), 0);
  size_t agent_before = open_descriptors();
  size_t sim_before = open_descriptors(simd().pid());
  for (int i = 0; i < 1000; ++i) {
    ASSERT_EQ(fastpath_cli_session_control(kCliOpen), 0) << i;
    ASSERT_EQ(fastpath_cli_session_control(kCliClose), 0) << i;
  }
  EXPECT_EQ(open_descriptors(), agent_before);
  // The simulator ends each session when it sees the close (the first
  // session may still have been ending when `sim_before` was counted, so
  // the count may also end below it).
  EXPECT_TRUE(wait_until([&] { return open_descriptors(simd().pid()) <= sim_before; }))
      << open_descriptors(simd().pid()) << " descriptors, " << sim_before << " before";
  EXPECT_EQ(simd().transcript_count(" login admin"), 1001u);
}

}  // namespace
