// The URI table against the resource catalogue: every resource in its
// place, with exactly its methods and its flag, and lookup by exact path.
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "uri/uri_table.h"

namespace {

struct CatalogueRow {
  std::string name;
  std::string methods;  // G, P, D for GET, POST, DELETE
  int flag;
};

// The catalogue as the product documents it (catalogue.txt beside this file).
std::vector<CatalogueRow> catalogue() {
  std::ifstream in(std::string(VELTRUM_SOURCE_DIR) + "/tests/uri/catalogue.txt");
  std::vector<CatalogueRow> rows;
  std::string line;
  while (std::getline(in, line)) {
    if (line.empty() || line[0] == '#') continue;
    std::istringstream fields(line);
    CatalogueRow row;
    fields >> row.name >> row.methods >> row.flag;
    rows.push_back(row);
  }
  return rows;
}

TEST(UriCatalogue, EveryRowInOrderWithItsMethodsAndFlag) {
  const std::vector<CatalogueRow> expected = catalogue();
  ASSERT_EQ(UriTableCount, expected.size());
  int flagged = 0;
  for (size_t i = 0; i < UriTableCount; ++i) {
    const UriEntry &row = UriTable[i];
    const UriMethods &offered = UriTableMethods[i];
    const CatalogueRow &want = expected[i];
    SCOPED_TRACE(want.name);
    EXPECT_EQ(std::string(row.uri), std::string("/api/v1/") + want.name);
    std::string methods = std::string(offered.get ? "G" : "") + (offered.post ? "P" : "") + (offered.del ? "D" : "");
    EXPECT_EQ(methods, want.methods);
    EXPECT_EQ(row.flag, want.flag);
    EXPECT_EQ(row.put, nullptr);
    // A slot that holds a handler is always one the resource offers.
    if (row.get) {
      EXPECT_TRUE(offered.get);
    }
    if (row.post) {
      EXPECT_TRUE(offered.post);
    }
    if (row.del) {
      EXPECT_TRUE(offered.del);
    }
    flagged += row.flag;
  }
  EXPECT_EQ(flagged, 237);
}

TEST(UriCatalogue, LookupIsExact) {
  const UriEntry *ping = find_uri_entry("/api/v1/ping");
  ASSERT_NE(ping, nullptr);
  EXPECT_EQ(ping, &UriTable[0]);
  EXPECT_EQ(ping->get, ping->post);  // one handler answers both
  EXPECT_EQ(find_uri_entry("/api/v1/ping/"), nullptr);
  EXPECT_EQ(find_uri_entry("/API/v1/ping"), nullptr);
  EXPECT_EQ(find_uri_entry("/api/v1/pin"), nullptr);
  EXPECT_EQ(find_uri_entry(""), nullptr);
  EXPECT_EQ(find_uri_entry(nullptr), nullptr);
  EXPECT_EQ(find_uri_entry("/api/v1/login"), nullptr);  // served before the table
  EXPECT_EQ(find_uri_entry("/api/v1/ntp_server_cfg"), &UriTable[UriTableCount - 1]);
}

TEST(UriCatalogue, ResourcesWithUnusualMethodSets) {
  auto methods = [](const char *name) {
    const UriEntry *row = find_uri_entry((std::string("/api/v1/") + name).c_str());
    if (!row) return std::string("missing");
    const UriMethods &m = UriTableMethods[row - UriTable];
    return std::string(m.get ? "G" : "") + (m.post ? "P" : "") + (m.del ? "D" : "");
  };
  EXPECT_EQ(methods("aclrule_cfg"), "D");
  EXPECT_EQ(methods("arp_entry_delete"), "D");
  EXPECT_EQ(methods("cable_test_status"), "P");
  EXPECT_EQ(methods("ssh_key"), "PD");
  EXPECT_EQ(methods("acl_intf_binding"), "GD");
}

}  // namespace
