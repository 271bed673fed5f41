// The simulated switch's CLI: how it answers lines it does not take, its
// modes, commands it refuses without changing anything, and the platform
// calls of the CLI family (credentials, "show" output to a file).
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <sstream>

#include "core/platform_client.h"
#include "platform/calls/09_cli.h"
#include "sim/cli/shell.h"
#include "tests/common/sim_fixture.h"

namespace {

using veltrum::sim::cli::Shell;
using veltrum::test::InProcessSim;

class CliShellTest : public ::testing::Test {
 protected:
  std::string run(Shell &shell, const std::string &line) { return shell.execute(line, shell.prompt().size()); }
  int64_t integer(const char *key) { return sim_.model().store().integer(key); }
  int64_t integer(const char *key, uint32_t index) { return sim_.model().store().integer(key, index); }
  InProcessSim sim_;
};

TEST_F(CliShellTest, LinesItDoesNotTakeAreAnsweredLikeASwitchCli) {
  Shell shell(sim_.model(), Shell::Mode::Config);
  // The caret stands under the first word not taken, counted from the
  // start of the prompt.
  EXPECT_EQ(run(shell, "show bogus"), std::string(19 + 5, ' ') + "^\n% Invalid input detected at '^' marker.\n");
  EXPECT_EQ(run(shell, "classofservice trust fast"),
            std::string(19 + 21, ' ') + "^\n% Invalid input detected at '^' marker.\n");
  EXPECT_EQ(run(shell, "classofservice dot1p-mapping 8 1"),
            std::string(19 + 29, ' ') + "^\n% Invalid input detected at '^' marker.\n");
  EXPECT_EQ(run(shell, "classofservice trust"), "% Incomplete command.\n");
  EXPECT_EQ(run(shell, "spanning-tree forceversion 802.1w extra"),
            std::string(19 + 34, ' ') + "^\n% Invalid input detected at '^' marker.\n");
  EXPECT_EQ(run(shell, "end | include x"), std::string(19 + 4, ' ') + "^\n% Invalid input detected at '^' marker.\n");
  EXPECT_EQ(run(shell, "show radius accounting | grep x"),
            std::string(19 + 25, ' ') + "^\n% Invalid input detected at '^' marker.\n");
  EXPECT_EQ(run(shell, "   "), "");
  EXPECT_EQ(integer("stp.force_version"), 2);  // nothing changed
  EXPECT_EQ(shell.mode(), Shell::Mode::Config);
}

TEST_F(CliShellTest, ModesAndPrompts) {
  Shell shell(sim_.model(), Shell::Mode::UserExec);
  EXPECT_EQ(shell.prompt(), "(Veltrum) >");
  EXPECT_NE(run(shell, "configure").find("% Invalid input"), std::string::npos);
  run(shell, "enable");
  EXPECT_EQ(shell.prompt(), "(Veltrum) #");
  run(shell, "configure");
  EXPECT_EQ(shell.prompt(), "(Veltrum) (Config)#");
  run(shell, "interface g1-g4");
  EXPECT_EQ(shell.prompt(), "(Veltrum) (Interface g1-g4)#");
  EXPECT_EQ(run(shell, "dot1x timeout reauth-period 90"), "");
  for (uint32_t port = 1; port <= 4; ++port) EXPECT_EQ(integer("authmgr.intf.reauth_period", port), 90);
  EXPECT_EQ(integer("authmgr.intf.reauth_period", 5), 3600);
  run(shell, "exit");
  EXPECT_EQ(shell.mode(), Shell::Mode::Config);
  run(shell, "interface 0/33");
  EXPECT_EQ(shell.prompt(), "(Veltrum) (Interface 0/33)#");
  run(shell, "end");
  EXPECT_EQ(shell.mode(), Shell::Mode::Privileged);
  run(shell, "vlan database");
  EXPECT_EQ(shell.prompt(), "(Veltrum) (Vlan)#");
  run(shell, "exit");
  run(shell, "disable");
  EXPECT_EQ(shell.mode(), Shell::Mode::UserExec);
  run(shell, "logout");
  EXPECT_TRUE(shell.logged_out());

  Shell read_only(sim_.model(), Shell::Mode::UserExec, false);
  EXPECT_EQ(run(read_only, "enable"), "% Insufficient privilege level.\n");
  EXPECT_EQ(read_only.mode(), Shell::Mode::UserExec);
}

TEST_F(CliShellTest, RefusedCommandsChangeNothing) {
  Shell shell(sim_.model(), Shell::Mode::Config);
  EXPECT_EQ(run(shell, "cos-queue min-bandwidth 50 50 1 0 0 0 0"),
            "% The sum of the minimum bandwidths may not exceed 100 percent.\n");
  EXPECT_EQ(integer("cos.queue.0.min_bw"), 0);

  run(shell, "interface lag 1");
  EXPECT_EQ(run(shell, "dot1x re-authentication"), "% This command is not supported on interface lag 1.\n");
  run(shell, "exit");
  // A range over the gap between ports and LAGs names interfaces that do not exist.
  EXPECT_NE(run(shell, "interface 0/28-33").find("% Invalid input"), std::string::npos);
  EXPECT_EQ(shell.mode(), Shell::Mode::Config);
  run(shell, "interface 0/33-34");
  EXPECT_EQ(run(shell, "no ptp clock e2e-transparent"), "% This command is not supported on interface lag 1.\n");
  run(shell, "exit");

  for (int i = 0; i < 32; ++i) run(shell, "radius server host acct 10.0.0." + std::to_string(i));
  EXPECT_EQ(run(shell, "radius server host acct 10.0.1.1"),
            "% The maximum of 32 accounting servers is configured already.\n");
  EXPECT_EQ(run(shell, "radius server host acct 10.0.0.5 port 1645"), "");  // an existing one may change
  EXPECT_EQ(sim_.model().store().table("radius_acct_servers").size(), 32u);

  Shell vlans(sim_.model(), Shell::Mode::VlanDb);
  EXPECT_EQ(run(vlans, "no vlan 1"), "% The default VLAN cannot be deleted.\n");
  EXPECT_EQ(run(vlans, "no vlan 9"), "% VLAN 9 does not exist.\n");
  EXPECT_EQ(run(vlans, "vlan 9"), "");
  sim_.model().store().set("network.mgmt_vlan", int64_t{9});
  EXPECT_EQ(run(vlans, "no vlan 9"), "% VLAN 9 is the management VLAN and cannot be deleted.\n");
  sim_.model().store().set("network.mgmt_vlan", int64_t{1});
  EXPECT_EQ(run(vlans, "vlan name 9 uplinks"), "");
  EXPECT_EQ(openapiVlanCreatedCheck(sim_.client(), 9), OPEN_E_NONE);
  EXPECT_EQ(run(vlans, "no vlan 9"), "");
  EXPECT_EQ(openapiVlanCreatedCheck(sim_.client(), 9), OPEN_E_NOT_FOUND);
}

TEST_F(CliShellTest, ShowFiltersKeepTheLinesAsked) {
  Shell shell(sim_.model(), Shell::Mode::Privileged);
  EXPECT_EQ(run(shell, "show classofservice trust | include Mode:"), "Class of Service Trust Mode: Dot1P\n");
  std::string rows = run(shell, "show classofservice dot1p-mapping | exclude Priority");
  EXPECT_EQ(std::count(rows.begin(), rows.end(), '\n'), 9);  // the separator and eight rows
  EXPECT_EQ(run(shell, "show ptp clock e2e-transparent | begin 0/28"), "0/28      28        Enabled      Disabled\n");
}

// The platform calls of the CLI family, through the RPC channel.
TEST_F(CliShellTest, CredentialsAndShowOutputToAFile) {
  uint32_t size = 0;
  EXPECT_EQ(rpcclt_openapiUserNameSizeGet(sim_.client(), &size), OPEN_E_NONE);
  EXPECT_EQ(size, static_cast<uint32_t>(OPEN_USER_NAME_SIZE));
  EXPECT_EQ(rpcclt_openapiPasswordSizeGet(sim_.client(), &size), OPEN_E_NONE);
  EXPECT_EQ(size, static_cast<uint32_t>(OPEN_PASSWORD_SIZE));
  char name[] = "admin";
  char password[OPEN_PASSWORD_SIZE] = {};
  open_buffdesc user{sizeof name, name};
  open_buffdesc out{sizeof password, password};
  EXPECT_EQ(rpcclt_openapiUserPasswordGet(sim_.client(), &user, &out), OPEN_E_NONE);
  EXPECT_STREQ(password, "password");
  open_buffdesc small{4, password};
  EXPECT_EQ(rpcclt_openapiUserPasswordGet(sim_.client(), &user, &small), OPEN_E_BUFFER);
  char nobody[] = "nobody";
  open_buffdesc unknown{sizeof nobody, nobody};
  EXPECT_EQ(rpcclt_openapiUserPasswordGet(sim_.client(), &unknown, &out), OPEN_E_NOT_FOUND);

  auto show = [&](const char *command, const char *file) {
    open_buffdesc c{static_cast<uint32_t>(std::strlen(command) + 1), const_cast<char *>(command)};
    open_buffdesc f{static_cast<uint32_t>(std::strlen(file) + 1), const_cast<char *>(file)};
    return rpcclt_openapiCliShowExecuteToFile(sim_.client(), &c, &f);
  };
  auto content = [&](const char *file) {
    std::ifstream in(sim_.root() + file);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
  };
  ASSERT_EQ(show("show spanning-tree summary", "/tmp/stp.txt"), OPEN_E_NONE);
  EXPECT_EQ(content("/tmp/stp.txt"),
            "Spanning Tree Adminmode........... Enabled\nSpanning Tree Version............. IEEE 802.1s\n"
            "No MST instances to display.\n");
  // A command the CLI does not know: its answer is the file's content.
  ASSERT_EQ(show("show ptp clock e2e", "/tmp/ptp.txt"), OPEN_E_NONE);
  EXPECT_EQ(content("/tmp/ptp.txt"), std::string(15, ' ') + "^\n% Invalid input detected at '^' marker.\n");

  EXPECT_EQ(show("configure", "/tmp/x.txt"), OPEN_E_PARAM);
  EXPECT_EQ(show("show radius accounting", "/etc/x.txt"), OPEN_E_PARAM);
  EXPECT_EQ(show("show radius accounting", "/tmp/../etc/x"), OPEN_E_PARAM);
  EXPECT_EQ(show("show radius accounting", "/tmp/a b"), OPEN_E_PARAM);
  EXPECT_EQ(show("show radius accounting", "/tmp/"), OPEN_E_PARAM);
  EXPECT_EQ(show(std::string(255, 's').c_str(), "/tmp/x.txt"), OPEN_E_PARAM);
}

}  // namespace
