// Configuration files and device operations over HTTP: the export to the
// web front end's directory and to a TFTP server with the agent settings
// block at its head, the download that reads the block back, and reboot and
// factory reset, after which the simulated switch comes back with the saved
// configuration or the defaults and the agent serves again.
#include <filesystem>
#include <fstream>
#include <tuple>

#include <gtest/gtest.h>

#include "tests/integration/web_suite.h"

namespace veltrum::test {
namespace {

constexpr auto kJobWait = std::chrono::seconds(30);

const std::string kBlock =
    "!Switch Veltrum Configuration:\n"
    "!ip http server\n"
    "!ip http port HTTP\n"
    "!ip http secure server\n"
    "!ip http secure port HTTPS\n"
    "!ip http session maxsessions 3\n"
    "!ip http session soft_timeout 5\n"
    "!ip http session hard_timeout 24\n"
    "!ip http language de\n"
    "!ip http theme dark\n"
    "!Switch Veltrum Configuration End\n";

class FilesTest : public WebSuite {
 protected:
  std::string root_file(const std::string &device) const { return harness().root() + device; }
  std::string exported(const char *name) const { return file_text(root_file("/var/www/ui/export/") + name); }
  // The block the suite's settings give with maxSes 3, "de" and "dark".
  static std::string block() {
    std::string b = kBlock;
    b.replace(b.find("HTTPS"), 5, std::to_string(https_port()));
    b.replace(b.find("HTTP\n"), 4, std::to_string(http_port()));
    return b;
  }
  void set_smac(int value) {
    ASSERT_EQ(rc_of(post("dai_global_cfg", R"({"dai_global_cfg":{"smac":)" + std::to_string(value) +
                                               R"(,"dmac":0,"ip":0}})")),
              0);
  }
  int64_t running_smac() { return json_int_at(get("dai_global_cfg").json().get(), {"dai_global_cfg", "smac"}); }
  int64_t setting(const char *key) { return json_int_at(get("http_config").json().get(), {"http_config", key}); }
  // Polls "download_status" until the job has ended; its state.
  int64_t download_result() {
    int64_t state = -1;
    wait_until([&] {
      state = json_int_at(get("download_status").json().get(), {"download_status", "state"});
      return state != 1;
    }, kJobWait);
    return state;
  }
  // Waits for the platform call to have run once and the agent to serve
  // again through it.
  bool back_after(const char *call) {
    auto ran = [&] {
      try {
        return harness().sim().count(call) == 1;
      } catch (const std::exception &) {
        return false;  // the service is away while the switch boots
      }
    };
    return wait_until(ran, kJobWait) &&
           wait_until([&] { return rc_of(get("dai_global_cfg")) == 0; }, kJobWait);
  }
};

TEST_F(FilesTest, ExportedStartupConfigurationBeginsWithTheSettingsBlockAndLoadsBack) {
  set_smac(1);
  ASSERT_EQ(rc_of(post("http_config", settings(R"("maxSes": 3, "httpLang": "de", "themeSel": "dark")"))), 0);
  ASSERT_EQ(rc_of(post("mgmt_http_file_export", R"({"http_file_export": {"fileType": 5}})")), 0);
  std::string file = exported("startup-config.cfg");
  ASSERT_EQ(file.substr(0, block().size()), block());
  // The rest is the saved configuration, as the platform staged it.
  EXPECT_EQ(file.substr(block().size()), file_text(root_file("/mnt/download/startup-config.cfg")));
  EXPECT_EQ(file.substr(block().size()), file_text(root_file("/mnt/fastpath/startup-config.json")));

  // Everything changes; loading the exported file brings it back.
  set_smac(0);
  ASSERT_EQ(rc_of(post("http_config", settings())), 0);
  std::ofstream(root_file("/tmp/upload/backup.cfg")) << file;
  ASSERT_EQ(rc_of(post("download", R"({"download": {"type": 5, "protocol": "local", "path": "/tmp/upload",)"
                                   R"( "name": "backup.cfg"}})")),
            0);
  ASSERT_EQ(download_result(), 2);
  EXPECT_EQ(setting("maxSes"), 3);
  EXPECT_EQ(json_string_at(get("http_config").json().get(), {"http_config", "themeSel"}), "dark");
  EXPECT_NE(stored_config().find(R"("httpLang":"de")"), std::string::npos);
  // The platform got the file without its block, and takes it at the next
  // boot.
  EXPECT_EQ(file_text(root_file("/tmp/temp_startup")), file.substr(block().size()));
  EXPECT_EQ(running_smac(), 0);
  harness().sim().reload();
  EXPECT_EQ(running_smac(), 1);
}

TEST_F(FilesTest, EachExportTypeHasItsFileAndOtherTypesFailAfterTheTransfer) {
  // Each export empties the directory first: a file is checked right after
  // its own export.
  const std::tuple<int, const char *, const char *> types[] = {{6, "asciilog.txt", "System started"},
                                                               {8, "msg.txt", "System started"},
                                                               {9, "trap.txt", "System started"},
                                                               {27, "TechSupport", "--- Running configuration ---"}};
  for (const auto &[type, name, text] : types) {
    ASSERT_EQ(rc_of(post("mgmt_http_file_export", R"({"http_file_export": {"fileType": )" + std::to_string(type) +
                                                      "}}")),
              0)
        << type;
    EXPECT_NE(exported(name).find(text), std::string::npos) << name << ": " << exported(name);
  }

  harness().sim().reset_counts();
  EXPECT_EQ(rc_of(post("mgmt_http_file_export", R"({"http_file_export": {"fileType": 7}})")), -1);
  EXPECT_EQ(harness().sim().count("rpcclt_openapiTransferUpStartSet"), 1u);
  EXPECT_TRUE(std::filesystem::is_empty(root_file("/var/www/ui/export")));
  EXPECT_EQ(rc_of(post("mgmt_http_file_export", R"({"http_file_export": {}})")), -1);
  // A platform that refuses the transfer fails the export.
  harness().sim().fail("rpcclt_openapiTransferUpStartSet", 1, OPEN_E_FAIL);
  EXPECT_EQ(rc_of(post("mgmt_http_file_export", R"({"http_file_export": {"fileType": 6}})")), -1);
}

TEST_F(FilesTest, TftpExportAndDownloadGoThroughARealServer) {
  set_smac(1);
  ASSERT_EQ(rc_of(post("http_config", settings(R"("maxSes": 3, "httpLang": "de", "themeSel": "dark")"))), 0);
  ASSERT_EQ(rc_of(post("mgmt_file_export", R"({"mgmt_file_export": {"fileType": 5, "host": "127.0.0.1",)"
                                           R"( "path": "backups", "name": "sw.cfg"}})")),
            0);
  std::string sent = file_text(tftp().dir() + "/backups/sw.cfg");
  ASSERT_EQ(sent.substr(0, block().size()), block());
  ASSERT_EQ(rc_of(post("mgmt_file_export", R"({"mgmt_file_export": {"fileType": 9, "host": "localhost",)"
                                           R"( "path": "", "name": "traps.txt"}})")),
            0);
  EXPECT_NE(file_text(tftp().dir() + "/traps.txt").find("System started"), std::string::npos);

  set_smac(0);
  ASSERT_EQ(rc_of(post("http_config", settings())), 0);
  ASSERT_EQ(rc_of(post("download", R"({"download": {"type": 5, "protocol": "tftp", "host": "127.0.0.1",)"
                                   R"( "path": "backups", "name": "sw.cfg"}})")),
            0);
  ASSERT_EQ(download_result(), 2);
  EXPECT_EQ(setting("maxSes"), 3);
  EXPECT_EQ(file_text(root_file("/mnt/download/startup-config.cfg")), sent);  // kept as received
  harness().sim().reload();
  EXPECT_EQ(running_smac(), 1);

  // A file the server does not have.
  ASSERT_EQ(rc_of(post("download", R"({"download": {"type": 5, "protocol": "tftp", "host": "127.0.0.1",)"
                                   R"( "name": "missing.cfg"}})")),
            0);
  EXPECT_EQ(download_result(), 3);
  EXPECT_NE(json_string_at(get("download_status").json().get(), {"download_status", "detail"}).find("TFTP"),
            std::string::npos);
}

TEST_F(FilesTest, DownloadAndExportRefuseBadRequests) {
  std::filesystem::remove(root_file("/tmp/file_download_status"));
  EXPECT_EQ(get("download_status").body,
            R"({"resp":{"status":"success","respCode":0,"respMsg":"Operation success"},)"
            R"("download_status":{"state":0,"message":"File Download None","detail":""}})");
  std::filesystem::create_directories(root_file("/mnt/fastpath"));
  std::ofstream(root_file("/mnt/fastpath/outside.cfg")) << "{}\n";
  const std::pair<const char *, int> downloads[] = {
      {R"({"download": {"protocol": "tftp", "host": "127.0.0.1", "name": "a"}})", -99},
      {R"({"download": {"type": 5, "host": "127.0.0.1", "name": "a"}})", -99},
      {R"({"download": {"type": 5, "protocol": "tftp", "host": "127.0.0.1"}})", -99},
      {R"({"other": {}})", -99},
      {R"({"download": {"type": 4, "protocol": "tftp", "host": "127.0.0.1", "name": "a"}})", -1},
      {R"({"download": {"type": 5, "protocol": "ftp", "host": "127.0.0.1", "name": "a"}})", -1},
      {R"({"download": {"type": 5, "protocol": "tftp", "name": "a"}})", -1},
      {R"({"download": {"type": 5, "protocol": "tftp", "host": "bad host;", "name": "a"}})", -1},
      {R"({"download": {"type": 5, "protocol": "tftp", "host": "127.0.0.1", "name": "../a"}})", -1},
      {R"({"download": {"type": 5, "protocol": "tftp", "host": "127.0.0.1", "name": ""}})", -1},
      {R"({"download": {"type": 3, "protocol": "tftp", "host": "127.0.0.1", "name": "a", "image": "image3"}})", -1},
      {R"({"download": {"type": 5, "protocol": "local", "path": "/mnt/fastpath", "name": "outside.cfg"}})", -1},
      {R"({"download": {"type": 5, "protocol": "local", "path": "/tmp/upload/..", "name": "etc"}})", -1},
  };
  for (const auto &[body, rc] : downloads) EXPECT_EQ(rc_of(post("download", body)), rc) << body;
  EXPECT_EQ(harness().sim().count("rpcclt_openapiTransferDownStartSet"), 0u);

  const std::pair<const char *, int> exports[] = {
      {R"({"mgmt_file_export": {"fileType": 5, "host": "127.0.0.1", "path": ""}})", -99},
      {R"({"mgmt_file_export": {"fileType": 7, "host": "127.0.0.1", "path": "", "name": "a"}})", -1},
      {R"({"mgmt_file_export": {"fileType": 5, "host": "-x", "path": "", "name": "a"}})", -1},
      {R"({"mgmt_file_export": {"fileType": 5, "host": "127.0.0.1", "path": "", "name": "a/b"}})", -1},
      {R"({"mgmt_file_export": {"fileType": 5, "host": "127.0.0.1", "path": "a\nb", "name": "a"}})", -1},
  };
  for (const auto &[body, rc] : exports) EXPECT_EQ(rc_of(post("mgmt_file_export", body)), rc) << body;
  EXPECT_EQ(harness().sim().count("rpcclt_openapiTransferUpStartSet"), 0u);

  // A file that is no configuration fails in the platform and changes no
  // setting.
  std::ofstream(root_file("/tmp/upload/junk.cfg")) << "!ip http session maxsessions 1\nnot a configuration\n";
  ASSERT_EQ(rc_of(post("download", R"({"download": {"type": 5, "protocol": "local", "path": "/tmp/upload/",)"
                                   R"( "name": "junk.cfg"}})")),
            0);
  EXPECT_EQ(download_result(), 3);
  EXPECT_EQ(setting("maxSes"), 4);
}

TEST_F(FilesTest, RebootAnswersAtOnceAndTheSwitchComesBackWithItsSavedConfiguration) {
  set_smac(1);
  EXPECT_EQ(rc_of(post("device_reboot", R"({"reboot": {}})")), -99);
  // The answer saves the running configuration, as every successful write
  // does; what changes after it is lost by the reload.
  HttpResponse r = post("device_reboot", R"({"deviceReboot": {}})");
  EXPECT_EQ(r.body, R"({"resp":{"status":"success","respCode":0,"respMsg":"Operation success"}})");
  EXPECT_EQ(harness().sim().count("rpcclt_openapiSystemReload"), 0u);  // not before the answer is out
  ASSERT_EQ(harness().sim().set("dai.dmac", R"({"value": 1})"), OPEN_E_NONE);
  ASSERT_EQ(json_int_at(get("dai_global_cfg").json().get(), {"dai_global_cfg", "dmac"}), 1);

  ASSERT_TRUE(back_after("rpcclt_openapiSystemReload"));
  JsonPtr after = get("dai_global_cfg").json();
  EXPECT_EQ(json_int_at(after.get(), {"dai_global_cfg", "smac"}), 1);
  EXPECT_EQ(json_int_at(after.get(), {"dai_global_cfg", "dmac"}), 0);
  EXPECT_TRUE(harness().login().ok);
  // The refused request reloaded nothing.
  EXPECT_EQ(harness().sim().count("rpcclt_openapiSystemReload"), 1u);
}

TEST_F(FilesTest, FactoryResetBringsTheSwitchBackWithDefaults) {
  set_smac(1);
  std::string backup = root_file("/mnt/fastpath/veltrum_fr.bk");
  std::ofstream(backup) << "backup\n";
  EXPECT_EQ(rc_of(post("device_factory_reset", R"({"deviceFactoryReset": {}})")), -99);
  EXPECT_FALSE(std::filesystem::exists(backup));
  EXPECT_EQ(rc_of(post("device_factory_reset", R"({"erase": 1})")), -99);

  std::ofstream(backup) << "backup\n";
  EXPECT_EQ(rc_of(post("device_factory_reset", R"({"deviceFactoryReset": {"erase": 1}})")), 0);
  ASSERT_TRUE(back_after("rpcclt_openapiResetConfigurationSet"));
  EXPECT_EQ(running_smac(), 0);
  EXPECT_FALSE(std::filesystem::exists(root_file("/mnt/fastpath/startup-config.json")));
  EXPECT_TRUE(std::filesystem::exists(backup));
  EXPECT_TRUE(harness().login().ok);
}

}  // namespace
}  // namespace veltrum::test
