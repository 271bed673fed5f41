// The parsing of "show" files on generated files: the table walks over every
// row (empty tables, the widest cells, no separator, blank and malformed
// lines), the invalid-input marker, the snooping source lists, and the
// refusal of any file or program outside the catalogue before a command
// runs. An awk stand-in on the PATH records each run.
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>

#include "cli/catalogue.h"
#include "cli/cli_output.h"
#include "core/response.h"
#include "support/device.h"
#include "support/json_ptr.h"
#include "tests/cli/json_rows.h"
#include "tests/common/temp_dir.h"

namespace {

using namespace veltrum::cli;
using veltrum::test::member;
using veltrum::test::TempDir;
using veltrum::test::text_member;

class CliOutputTest : public ::testing::Test {
 protected:
  void SetUp() override {
    set_device_root(root_.path());
    ASSERT_EQ(mkdir((root_.path() + "/tmp").c_str(), 0755), 0);
    ASSERT_EQ(mkdir((root_.path() + "/shim").c_str(), 0755), 0);
    const char *real_awk = access("/usr/bin/awk", X_OK) == 0 ? "/usr/bin/awk" : "/bin/awk";
    std::ofstream(root_.path() + "/shim/awk")
        << "#!/bin/sh\necho \"$*\" >> '" << log_path() << "'\nexec " << real_awk << " \"$@\"\n";
    chmod((root_.path() + "/shim/awk").c_str(), 0755);
    saved_path_ = std::getenv("PATH");
    setenv("PATH", (root_.path() + "/shim:" + saved_path_).c_str(), 1);
  }
  void TearDown() override { setenv("PATH", saved_path_.c_str(), 1); }

  void write(const char *file, const std::string &text) { std::ofstream(device_path(file)) << text; }
  std::string log_path() const { return root_.path() + "/awk.log"; }
  // awk runs so far whose arguments contain `part`.
  size_t runs(const std::string &part = "") const {
    std::ifstream in(log_path());
    size_t n = 0;
    for (std::string line; std::getline(in, line);) n += line.find(part) != std::string::npos;
    return n;
  }

  TempDir root_;
  std::string saved_path_;
};

const TableColumn kDot1p[] = {{"queuemap", kAwkColumn2, 4, CellKind::Integer}};
const TableColumn kQueues[] = {
    {"id", kAwkColumn1, 8, CellKind::Integer},
    {"min_bw", kAwkColumn2, 8, CellKind::Integer},
    {"schedule_type", kAwkColumn3, 8, CellKind::Text},
    {"mgmt_type", kAwkColumns4And5, 8, CellKind::Text},
};
const TableColumn kPtp[] = {
    {"portid", kAwkColumn2, 8, CellKind::Integer},
    {"adminMode", kAwkColumn3, 8, CellKind::EnabledFlag},
    {"operaMode", kAwkColumn4, 8, CellKind::EnabledFlag},
};

TEST_F(CliOutputTest, TableWalksReadEveryRowBelowTheSeparator) {
  write(CLI_FILE_DOT1P_QUEUE,
        "Interface: 0/3\n\nUser Priority   Traffic Class\n-------------   -------------\n"
        "0               1\n1               0\n2               6\n3               1\n");
  JsonPtr rows(json_object_new_array());
  ASSERT_EQ(table_walk(CLI_FILE_DOT1P_QUEUE, kDot1p, 1, "priority", rows.get()), 0) << last_error_text;
  ASSERT_EQ(json_object_array_length(rows.get()), 4u);
  EXPECT_EQ(member(rows.get(), 2, "priority"), 2);
  EXPECT_EQ(member(rows.get(), 2, "queuemap"), 6);
  EXPECT_EQ(runs(), 2u + 4u);  // count and separator, then one per row

  // The widest cells of each column are read whole.
  write(CLI_FILE_COS_QUEUE,
        "Queue Id  Min. Bandwidth  Scheduler Type  Queue Management Type\n"
        "--------  --------------  --------------  ---------------------\n"
        "0         100             Weighted        Tail Drop\n"
        "6         0               Strict          WRED\n");
  rows.reset(json_object_new_array());
  ASSERT_EQ(table_walk(CLI_FILE_COS_QUEUE, kQueues, 4, nullptr, rows.get()), 0) << last_error_text;
  ASSERT_EQ(json_object_array_length(rows.get()), 2u);
  EXPECT_EQ(member(rows.get(), 0, "min_bw"), 100);
  EXPECT_EQ(text_member(rows.get(), 0, "schedule_type"), "Weighted");
  EXPECT_EQ(text_member(rows.get(), 0, "mgmt_type"), "TailDrop");
  EXPECT_EQ(member(rows.get(), 1, "id"), 6);
  EXPECT_EQ(text_member(rows.get(), 1, "mgmt_type"), "WRED");
  EXPECT_EQ(json_object_object_length(json_object_array_get_idx(rows.get(), 0)), 4);

  // The largest switch's ports, with port numbers as wide as the column.
  std::string ptp =
      "PTP End-to-End Transparent Clock\nAdmin Mode........ Enabled\n\n"
      "Intf      Port ID   Admin Mode   Oper Mode\n--------  --------  -----------  -----------\n";
  for (int p = 1; p <= 112; ++p)
    ptp += "0/" + std::to_string(p) + "  " + std::to_string(p) + "  " + (p % 2 ? "Enabled" : "Disabled") + "  " +
           (p % 3 ? "Disabled" : "Enabled") + "\n";
  ptp += "0/99999999  99999999  Enabled  Enabled\n";
  write(CLI_FILE_PTP, ptp);
  rows.reset(json_object_new_array());
  ASSERT_EQ(table_walk(CLI_FILE_PTP, kPtp, 3, nullptr, rows.get()), 0) << last_error_text;
  ASSERT_EQ(json_object_array_length(rows.get()), 113u);
  EXPECT_EQ(member(rows.get(), 111, "portid"), 112);
  EXPECT_EQ(member(rows.get(), 111, "adminMode"), 0);
  EXPECT_EQ(member(rows.get(), 110, "operaMode"), 1);
  EXPECT_EQ(member(rows.get(), 112, "portid"), 99999999);
}

TEST_F(CliOutputTest, EmptyTablesMissingSeparatorsBlankAndMalformedLines) {
  write(CLI_FILE_PTP, "Intf      Port ID   Admin Mode   Oper Mode\n--------  --------  -----------  -----------\n");
  JsonPtr rows(json_object_new_array());
  ASSERT_EQ(table_walk(CLI_FILE_PTP, kPtp, 3, nullptr, rows.get()), 0);
  EXPECT_EQ(json_object_array_length(rows.get()), 0u);

  // Without a separator the walk starts at line 1; blank lines are no rows.
  write(CLI_FILE_DOT1P_QUEUE, "0 3\n\n1 4\n   \n");
  ASSERT_EQ(table_walk(CLI_FILE_DOT1P_QUEUE, kDot1p, 1, "priority", rows.get()), 0) << last_error_text;
  ASSERT_EQ(json_object_array_length(rows.get()), 2u);
  EXPECT_EQ(member(rows.get(), 1, "priority"), 1);
  EXPECT_EQ(member(rows.get(), 1, "queuemap"), 4);

  // A malformed row fails the walk and keeps the rows before it.
  rows.reset(json_object_new_array());
  write(CLI_FILE_PTP, "--------\n0/1 1 Enabled Enabled\n0/2 2 Enabled Maybe\n0/3 3 Enabled Enabled\n");
  EXPECT_EQ(table_walk(CLI_FILE_PTP, kPtp, 3, nullptr, rows.get()), kCliFailed);
  EXPECT_STREQ(last_error_text, "Unexpected operaMode \"Maybe\" in line 3 of /tmp/ptpv2.txt");
  EXPECT_EQ(json_object_array_length(rows.get()), 1u);

  // So does a cell wider than its column, instead of being cut.
  rows.reset(json_object_new_array());
  write(CLI_FILE_DOT1P_QUEUE, "-------------\n0 12345\n");
  EXPECT_EQ(table_walk(CLI_FILE_DOT1P_QUEUE, kDot1p, 1, "priority", rows.get()), kCliFailed);
  write(CLI_FILE_DOT1P_QUEUE, "-------------\n0 x1\n");
  EXPECT_EQ(table_walk(CLI_FILE_DOT1P_QUEUE, kDot1p, 1, "priority", rows.get()), kCliFailed);
  EXPECT_EQ(json_object_array_length(rows.get()), 0u);

  // A file that is not there.
  std::remove(device_path(CLI_FILE_COS_QUEUE).c_str());
  EXPECT_EQ(check_invalid_input(CLI_FILE_COS_QUEUE), kCliFailed);
  EXPECT_STREQ(last_error_text, "Failed to open /tmp/cos_queue.txt");
}

TEST_F(CliOutputTest, TheInvalidInputMarkerFailsTheReadAndIsCounted) {
  write(CLI_FILE_PTP, "Intf      Port ID\n--------  --------\n0/1       1\n");
  EXPECT_EQ(check_invalid_input(CLI_FILE_PTP), 0);
  unsigned long before = cli_rejected_commands();
  write(CLI_FILE_PTP, "                      ^\n% Invalid input detected at '^' marker.\n");
  EXPECT_EQ(check_invalid_input(CLI_FILE_PTP), kCliFailed);
  EXPECT_EQ(cli_rejected_commands(), before + 1);

  // Live answers: the marker, or a refusal line of the CLI.
  EXPECT_TRUE(answer_rejected("no vlan 1\r\n% The default VLAN cannot be deleted.\r\n\r\n(Veltrum) (Vlan)#"));
  EXPECT_TRUE(answer_rejected("% Incomplete command.\r\n"));
  EXPECT_FALSE(answer_rejected("show x\r\nRate 5% of 100\r\n(Veltrum) (Config)#"));
  EXPECT_EQ(cli_rejected_commands(), before + 3);
}

TEST_F(CliOutputTest, SnoopingSourcesOneAwkRunPerSource) {
  std::string file = "VLAN  Group  Interface  Filter   Sources\n----  -----  ---------  -------  -------\n";
  file += "1     232.1.1.1  0/1  include  0/1/10.1.1.1,0/1/10.1.1.2,0/1/10.1.1.3\n";
  file += "2     232.1.1.2  0/2  exclude  0/2/10.2.2.2   \n";
  std::string many;
  for (int i = 0; i < 20; ++i) many += std::string(many.empty() ? "" : ",") + "0/3/10.3.3." + std::to_string(100 + i);
  file += "3     232.1.1.3  0/3  include  " + many + "\n";
  write(CLI_FILE_SNOOPING_SSM, file);

  char sources[256];
  ASSERT_EQ(snooping_ssm_sources_get(true, 3, 3, sources, sizeof sources), 0) << last_error_text;
  EXPECT_STREQ(sources, "10.1.1.1,10.1.1.2,10.1.1.3");
  EXPECT_EQ(runs("-F include"), 3u);

  ASSERT_EQ(snooping_ssm_sources_get(false, 4, 1, sources, sizeof sources), 0);
  EXPECT_STREQ(sources, "10.2.2.2");  // trailing blanks cut
  EXPECT_EQ(runs("-F exclude"), 1u);

  // At most 200 characters, whole addresses only.
  ASSERT_EQ(snooping_ssm_sources_get(true, 5, 20, sources, sizeof sources), 0);
  EXPECT_LE(std::strlen(sources), 200u);
  EXPECT_EQ(std::string(sources).substr(0, 24), "10.3.3.100,10.3.3.101,10");
  EXPECT_NE(sources[std::strlen(sources) - 1], ',');
  EXPECT_EQ(std::strlen(sources) % 11, 10u);

  // And the caller's buffer bounds it too.
  char small[12];
  ASSERT_EQ(snooping_ssm_sources_get(true, 3, 3, small, sizeof small), 0);
  EXPECT_STREQ(small, "10.1.1.1,10");
}

TEST_F(CliOutputTest, NamesAndProgramsOutsideTheCatalogueAreRefusedBeforeAnyCommandRuns) {
  write(CLI_FILE_PTP, "--------\n0/1 1 Enabled Enabled\n");
  int value = -1;
  char out[16];
  EXPECT_EQ(awk_value("/tmp/other.txt", kAwkLineCount, &value), kCliFailed);
  EXPECT_EQ(awk_value("/tmp/ptpv2.txt; touch /tmp/x", kAwkLineCount, &value), kCliFailed);
  EXPECT_EQ(awk_value(nullptr, kAwkLineCount, &value), kCliFailed);
  EXPECT_EQ(awk_value(CLI_FILE_PTP, "awk 'BEGIN{system(\"id\")}' %s", &value), kCliFailed);
  EXPECT_EQ(awk_field(CLI_FILE_PTP, "cat %2$s", 1, out, sizeof out), kCliFailed);
  EXPECT_EQ(awk_field(CLI_FILE_PTP, kAwkLineCount, 1, out, sizeof out), kCliFailed);  // placeholders differ
  EXPECT_EQ(awk_ssm_field("/etc/passwd", kAwkSsmSource, 0, 1, true, out, sizeof out), kCliFailed);
  EXPECT_EQ(value, -1);
  EXPECT_EQ(runs(), 0u);

  // A device root whose path a shell would split is refused as well.
  set_device_root(root_.path() + "/odd dir");
  EXPECT_EQ(awk_value(CLI_FILE_PTP, kAwkLineCount, &value), kCliFailed);
  set_device_root(root_.path());
  EXPECT_EQ(runs(), 0u);

  ASSERT_EQ(awk_value(CLI_FILE_PTP, kAwkLineCount, &value), 0);
  EXPECT_EQ(value, 2);
  ASSERT_EQ(awk_value(CLI_FILE_PTP, kAwkSeparatorLine, &value), 0);
  EXPECT_EQ(value, 1);
  ASSERT_EQ(awk_field(CLI_FILE_PTP, kAwkColumn3, 2, out, sizeof out), 0);
  EXPECT_STREQ(out, "Enabled");
  EXPECT_EQ(runs(), 3u);
}

TEST_F(CliOutputTest, AnswersAreParsedFromTheirLabel) {
  const char *answer =
      "show spanning-tree summary\r\nSpanning Tree Adminmode........... Enabled\r\n"
      "Spanning Tree Version............. IEEE 802.1w\r\n\r\n(Veltrum) (Config)#";
  char version[16];
  ASSERT_EQ(parse_answer(answer, "Spanning Tree Version............. ",
                         "Spanning Tree Version............. %15[^\t\n]s", version, sizeof version, "version"),
            0);
  EXPECT_STREQ(version, "IEEE 802.1w\r");  // the pattern stops at the newline only
  EXPECT_EQ(parse_answer(answer, "Class of Service Trust Mode: ", "Class of Service Trust Mode: %15[^\r]s", version,
                         sizeof version, "cos trust"),
            kCliFailed);
  EXPECT_STREQ(last_error_text, "sscanf failed for cos trust (0)");
  EXPECT_STREQ(version, "");

  char text[] = "10.1.1.1 \r \r";
  trim_trailing(text);
  EXPECT_STREQ(text, "10.1.1.1");
}

}  // namespace
