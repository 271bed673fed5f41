// Every CLI-backed read and write of the catalogue round-trips against the
// simulated switch: a value written through its CLI command is read back by
// its parser and in the switch state the platform calls see, and a value
// set in that state is read back by the parser.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "cli/bridge.h"
#include "cli/catalogue.h"
#include "cli/cli_output.h"
#include "core/response.h"
#include "support/json_ptr.h"
#include "tests/cli/cli_fixture.h"
#include "tests/cli/json_rows.h"

namespace {

using namespace veltrum::cli;
using veltrum::test::CliSuite;
using veltrum::test::member;
using veltrum::test::text_member;

class CatalogueTest : public CliSuite {
 protected:
  // A configuration line through the bridge; the CLI must take it.
  void cli(const char *line) {
    char answer[kCliAnswerSize];
    ASSERT_EQ(fastpath_cli_cmd(line, answer, sizeof answer), 0) << line;
    EXPECT_EQ(std::strstr(answer, "% "), nullptr) << answer;
  }
  void cli_in(const char *mode, const char *line) {
    char answer[kCliAnswerSize];
    ASSERT_EQ(fastpath_cli_splmode_cmd(mode, line, answer, sizeof answer), 0) << line;
    EXPECT_EQ(std::strstr(answer, "% "), nullptr) << answer;
  }
};

TEST_F(CatalogueTest, SpanningTreeVersion) {
  EXPECT_EQ(stp_version_check("IEEE 802.1s"), 0);  // the default
  cli("spanning-tree forceversion 802.1w");
  EXPECT_EQ(simd().setting("stp.force_version"), 1);
  EXPECT_EQ(stp_version_check("IEEE 802.1w"), 0);
  EXPECT_EQ(stp_version_check("IEEE 802.1s"), kCliNotEnabled);
  EXPECT_STREQ(last_error_text, "IEEE 802.1s is not enabled");

  simd().set_setting("stp.force_version", 0);
  EXPECT_EQ(stp_version_check("IEEE 802.1D"), 0);

  simd().control().fail("rpcclt_openapiPasswordSizeGet", 1, OPEN_E_INTERNAL);
  ASSERT_EQ(fastpath_cli_session_control(kCliClose), 0);
  EXPECT_EQ(stp_version_check("IEEE 802.1D"), kCliFailed);
  EXPECT_STREQ(last_error_text, "Fastpath CLI error for IEEE 802.1D");
}

TEST_F(CatalogueTest, TrustModesGlobalPortAndLag) {
  char trust[32];
  int ip_dscp = -1;
  ASSERT_EQ(cos_trust_mode_get(kCosGlobal, 0, trust, sizeof trust, &ip_dscp), 0) << last_error_text;
  EXPECT_STREQ(trust, "Dot1P");
  EXPECT_EQ(ip_dscp, 0);
  cli("classofservice trust ip-dscp");
  EXPECT_EQ(simd().setting("cos.trust"), 3);
  ASSERT_EQ(cos_trust_mode_get(kCosGlobal, 0, trust, sizeof trust, &ip_dscp), 0);
  EXPECT_STREQ(trust, "IP DSCP");
  EXPECT_EQ(ip_dscp, 1);

  cli_in("interface 0/4", "classofservice trust untrusted");
  EXPECT_EQ(simd().setting("cos.intf.trust", 4), 0);
  ASSERT_EQ(cos_trust_mode_get(kCosPort, 4, trust, sizeof trust, &ip_dscp), 0);
  EXPECT_STREQ(trust, "Untrusted");
  simd().set_setting("cos.intf.trust", 5, 2);
  ASSERT_EQ(cos_trust_mode_get(kCosPort, 5, trust, sizeof trust, &ip_dscp), 0);
  EXPECT_STREQ(trust, "IP Precedence");

  // LAG 2 is interface 34 on the simulated switch.
  cli_in("interface lag 2", "classofservice trust ip-dscp");
  EXPECT_EQ(simd().setting("cos.intf.trust", 34), 3);
  ASSERT_EQ(cos_trust_mode_get(kCosLag, 2, trust, sizeof trust, &ip_dscp), 0);
  EXPECT_STREQ(trust, "ip-dscp");
  EXPECT_EQ(ip_dscp, 1);
  ASSERT_EQ(cos_trust_mode_get(kCosLag, 3, trust, sizeof trust, &ip_dscp), 0);
  EXPECT_STREQ(trust, "dot1p");

  EXPECT_EQ(cos_trust_mode_get(3, 1, trust, sizeof trust, &ip_dscp), kCliBadMode);
  EXPECT_STREQ(last_error_text, "Invalid trust mode type.");
  // A LAG the switch does not have: the CLI refuses the command.
  unsigned long rejected = cli_rejected_commands();
  EXPECT_EQ(cos_trust_mode_get(kCosLag, 9, trust, sizeof trust, &ip_dscp), kCliFailed);
  EXPECT_STREQ(last_error_text, "Fastpath CLI error for lag 9 interface cos trust.");
  EXPECT_EQ(cli_rejected_commands(), rejected + 1);
}

TEST_F(CatalogueTest, DscpQueueMap) {
  ASSERT_EQ(cos_ip_dscp_queue_map_set(46, 5), 0) << last_error_text;
  EXPECT_EQ(simd().setting("cos.dscp.46"), 5);
  char answer[kCliAnswerSize];
  ASSERT_EQ(fastpath_cli_cmd("show classofservice ip-dscp-mapping | include 46 ", answer, sizeof answer), 0);
  char row[32];
  std::snprintf(row, sizeof row, "%-13d   %d\r\n", 46, 5);
  EXPECT_NE(std::strstr(answer, row), nullptr) << answer;

  unsigned long rejected = cli_rejected_commands();
  EXPECT_EQ(cos_ip_dscp_queue_map_set(64, 1), kCliFailed);
  EXPECT_EQ(cos_ip_dscp_queue_map_set(10, 7), kCliFailed);
  EXPECT_STREQ(last_error_text, "Fastpath CLI error for ipdscp queue map.");
  EXPECT_EQ(cli_rejected_commands(), rejected + 2);
  EXPECT_EQ(simd().setting("cos.dscp.10"), 0);
}

TEST_F(CatalogueTest, Dot1pQueueMap) {
  cli("classofservice dot1p-mapping 7 6");
  JsonPtr rows(json_object_new_array());
  ASSERT_EQ(cos_dot1p_queue_map_get(kCosGlobal, 0, rows.get()), 0) << last_error_text;
  ASSERT_EQ(json_object_array_length(rows.get()), 8u);
  const int64_t expected[] = {1, 0, 0, 1, 2, 2, 3, 6};
  for (size_t p = 0; p < 8; ++p) {
    EXPECT_EQ(member(rows.get(), p, "priority"), static_cast<int64_t>(p));
    EXPECT_EQ(member(rows.get(), p, "queuemap"), expected[p]);
  }

  cli_in("interface 0/9", "classofservice dot1p-mapping 0 5");
  EXPECT_EQ(simd().setting("cos.intf.dot1p.0", 9), 5);
  rows.reset(json_object_new_array());
  ASSERT_EQ(cos_dot1p_queue_map_get(kCosPort, 9, rows.get()), 0);
  EXPECT_EQ(member(rows.get(), 0, "queuemap"), 5);
  EXPECT_EQ(member(rows.get(), 7, "queuemap"), 3);  // the interface map, not the global one

  simd().set_setting("cos.intf.dot1p.3", 33, 4);  // LAG 1
  rows.reset(json_object_new_array());
  ASSERT_EQ(cos_dot1p_queue_map_get(kCosLag, 33, rows.get()), 0);
  EXPECT_EQ(member(rows.get(), 3, "queuemap"), 4);

  EXPECT_EQ(cos_dot1p_queue_map_get(3, 1, rows.get()), kCliBadMode);
  EXPECT_STREQ(last_error_text, "Invalid dot1p queue mode type.");
  // An interface the switch does not have: the file holds the CLI's refusal.
  unsigned long rejected = cli_rejected_commands();
  rows.reset(json_object_new_array());
  EXPECT_EQ(cos_dot1p_queue_map_get(kCosPort, 30, rows.get()), kCliFailed);
  EXPECT_EQ(cli_rejected_commands(), rejected + 1);
  EXPECT_EQ(json_object_array_length(rows.get()), 0u);
  simd().control().fail("rpcclt_openapiCliShowExecuteToFile", 1, OPEN_E_FAIL);
  EXPECT_EQ(cos_dot1p_queue_map_get(kCosGlobal, 0, rows.get()), kCliFailed);
  EXPECT_STREQ(last_error_text, "Failed to generate output /tmp/dot1p_queue.txt file via openAPI");
}

TEST_F(CatalogueTest, CosQueues) {
  cli("cos-queue min-bandwidth 10 20 0 0 0 0 70");
  cli("cos-queue strict 6");
  cli("cos-queue random-detect 2");
  EXPECT_EQ(simd().setting("cos.queue.6.min_bw"), 70);
  JsonPtr rows(json_object_new_array());
  ASSERT_EQ(cos_queue_get(kCosGlobal, 0, rows.get()), 0) << last_error_text;
  ASSERT_EQ(json_object_array_length(rows.get()), 7u);
  for (size_t q = 0; q < 7; ++q) EXPECT_EQ(member(rows.get(), q, "id"), static_cast<int64_t>(q));
  EXPECT_EQ(member(rows.get(), 0, "min_bw"), 10);
  EXPECT_EQ(member(rows.get(), 1, "min_bw"), 20);
  EXPECT_EQ(member(rows.get(), 6, "min_bw"), 70);
  EXPECT_EQ(text_member(rows.get(), 6, "schedule_type"), "Strict");
  EXPECT_EQ(text_member(rows.get(), 5, "schedule_type"), "Weighted");
  EXPECT_EQ(text_member(rows.get(), 2, "mgmt_type"), "WRED");
  EXPECT_EQ(text_member(rows.get(), 3, "mgmt_type"), "TailDrop");

  simd().set_setting("cos.intf.queue.3.strict", 2, 1);
  cli_in("interface 0/2", "cos-queue min-bandwidth 0 0 0 100 0 0 0");
  rows.reset(json_object_new_array());
  ASSERT_EQ(cos_queue_get(kCosPort, 2, rows.get()), 0) << last_error_text;
  ASSERT_EQ(json_object_array_length(rows.get()), 7u);
  EXPECT_EQ(member(rows.get(), 3, "min_bw"), 100);
  EXPECT_EQ(text_member(rows.get(), 3, "schedule_type"), "Strict");
  EXPECT_EQ(member(rows.get(), 6, "min_bw"), 0);  // the port's own, not the global 70

  EXPECT_EQ(cos_queue_get(kCosLag, 33, rows.get()), kCliBadMode);
  EXPECT_STREQ(last_error_text, "Invalid cos queue mode type.");
  rows.reset(json_object_new_array());
  EXPECT_EQ(cos_queue_get(kCosPort, 99, rows.get()), kCliFailed);
  EXPECT_EQ(json_object_array_length(rows.get()), 0u);
}

TEST_F(CatalogueTest, PtpTransparentClock) {
  cli("ptp clock e2e-transparent");
  cli_in("interface 0/7", "no ptp clock e2e-transparent");
  EXPECT_EQ(simd().setting("ptp.e2e"), 1);
  EXPECT_EQ(simd().setting("ptp.intf.e2e", 7), 0);
  JsonPtr rows(json_object_new_array());
  ASSERT_EQ(ptp_transparent_clock_get(rows.get()), 0) << last_error_text;
  ASSERT_EQ(json_object_array_length(rows.get()), 28u);  // every physical port
  for (size_t i = 0; i < 28; ++i) {
    bool on = i != 6;
    EXPECT_EQ(member(rows.get(), i, "portid"), static_cast<int64_t>(i + 1));
    EXPECT_EQ(member(rows.get(), i, "adminMode"), on);
    EXPECT_EQ(member(rows.get(), i, "operaMode"), on);
  }
  simd().set_setting("ptp.e2e", 0);
  rows.reset(json_object_new_array());
  ASSERT_EQ(ptp_transparent_clock_get(rows.get()), 0);
  EXPECT_EQ(member(rows.get(), 0, "adminMode"), 1);
  EXPECT_EQ(member(rows.get(), 0, "operaMode"), 0);
}

TEST_F(CatalogueTest, SnoopingSourceSpecificGroups) {
  ASSERT_EQ(simd().control().set("snooping_ssm_groups", R"({"key":[10,"232.1.1.1",3],"record":{"include":1,)"
                                                        R"("sources":"10.0.0.1,10.0.0.2,10.0.0.3"}})"),
            OPEN_E_NONE);
  ASSERT_EQ(simd().control().set("snooping_ssm_groups",
                                 R"({"key":[20,"232.9.9.9",34],"record":{"include":0,"sources":"192.168.100.200"}})"),
            OPEN_E_NONE);
  ASSERT_EQ(snooping_ssm_groups_to_file(), 0) << last_error_text;
  // The groups follow four lines of title and header.
  char sources[256];
  ASSERT_EQ(snooping_ssm_sources_get(true, 5, 3, sources, sizeof sources), 0) << last_error_text;
  EXPECT_STREQ(sources, "10.0.0.1,10.0.0.2,10.0.0.3");
  ASSERT_EQ(snooping_ssm_sources_get(false, 6, 1, sources, sizeof sources), 0);
  EXPECT_STREQ(sources, "192.168.100.200");
  ASSERT_EQ(snooping_ssm_sources_get(false, 5, 3, sources, sizeof sources), 0);  // an include group
  EXPECT_STREQ(sources, "");
}

TEST_F(CatalogueTest, RadiusAccountingServers) {
  ASSERT_EQ(radius_acct_server_add("10.9.8.7"), 0) << last_error_text;
  EXPECT_EQ(simd().setting("radius.accounting"), 1);
  // The server the CLI added is the RADIUS family's, with its name and no secret.
  EXPECT_NE(simd().control().get("radius_acct_servers").find(
                R"({"key":["10.9.8.7"],"record":{"name":"10.9.8.7","port":1813,"secret":""}})"),
            std::string::npos)
      << simd().control().get("radius_acct_servers");
  ASSERT_EQ(radius_acct_server_add("acct.example.net"), 0);
  char answer[kCliAnswerSize];
  ASSERT_EQ(fastpath_cli_cmd("show radius accounting", answer, sizeof answer), 0);
  char row[64];
  std::snprintf(row, sizeof row, "%-24s  %d\r\n", "acct.example.net", 1813);
  EXPECT_NE(std::strstr(answer, row), nullptr) << answer;

  ASSERT_EQ(radius_acct_server_delete("10.9.8.7"), 0);
  EXPECT_EQ(simd().control().get("radius_acct_servers").find("10.9.8.7"), std::string::npos);
  EXPECT_EQ(radius_acct_server_delete("10.9.8.7"), kCliFailed);  // not configured
  EXPECT_STREQ(last_error_text, "Fastpath CLI error: Delete Accounting Server");

  // Text that is no address never reaches the CLI.
  size_t lines = simd().transcript().size();
  EXPECT_EQ(radius_acct_server_add("10.1.1.1\r\nno spanning-tree"), kCliBadMode);
  EXPECT_EQ(radius_acct_server_delete("a b"), kCliBadMode);
  EXPECT_EQ(simd().transcript().size(), lines);

  // A full table.
  for (int i = 0; i < 31; ++i)
    ASSERT_EQ(simd().control().set("radius_acct_servers",
                                   R"({"key":["10.0.1.)" + std::to_string(i) + R"("],"record":{"port":1813}})"),
              OPEN_E_NONE);
  EXPECT_EQ(radius_acct_server_add("10.0.2.1"), kCliFailed);
  EXPECT_STREQ(last_error_text, "Fastpath CLI error: Configure Accounting Server");
}

TEST_F(CatalogueTest, Dot1xReauthentication) {
  ASSERT_EQ(dot1x_reauth_set(8, 1200), 0) << last_error_text;
  for (uint32_t port = 1; port <= 8; ++port) {
    EXPECT_EQ(simd().setting("authmgr.intf.reauth_period", port), 1200);
    EXPECT_EQ(simd().setting("authmgr.intf.periodic", port), 1);
  }
  EXPECT_EQ(simd().setting("authmgr.intf.reauth_period", 9), 3600);
  EXPECT_EQ(simd().setting("authmgr.intf.periodic", 9), 0);

  EXPECT_EQ(dot1x_reauth_set(29, 100), kCliFailed);  // 28 ports
  EXPECT_STREQ(last_error_text, "Failed to set reauth period : 100");
  EXPECT_EQ(dot1x_reauth_set(4, 0), kCliFailed);
  EXPECT_EQ(simd().setting("authmgr.intf.reauth_period", 1), 1200);
}

TEST_F(CatalogueTest, ShowFilesAreOnlyWrittenForCatalogueNames) {
  EXPECT_EQ(cli_show_to_file("show ptp clock e2e-transparent", "/tmp/other.txt"), kCliFailed);
  EXPECT_EQ(cli_show_to_file("show ptp clock e2e-transparent", "/tmp/ptpv2.txt; rm -rf /"), kCliFailed);
  EXPECT_EQ(simd().control().count("rpcclt_openapiCliShowExecuteToFile"), 0u);
  EXPECT_EQ(cli_show_to_file("show ptp clock e2e-transparent", CLI_FILE_PTP), 0);
  EXPECT_EQ(simd().control().count("rpcclt_openapiCliShowExecuteToFile"), 1u);
}

}  // namespace
