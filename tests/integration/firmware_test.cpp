// Firmware over HTTP against the real agent, the real simulator and a local
// HTTPS update server (scripts/update-server.sh, a CA of its own): the image
// resources' refusals and round trips, the update from a client's URL and
// the download from the update server to their final states, what their
// children leave behind, and the refusal of URLs that carry shell text.
#include <signal.h>
#include <sys/ipc.h>
#include <sys/shm.h>
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/calls/07_firmware.h"
#include "platform/calls/08_files.h"
#include "support/process.h"
#include "tests/common/child_process.h"
#include "tests/common/temp_dir.h"
#include "tests/common/launch.h"
#include "tests/integration/harness.h"
#include "tests/integration/processes.h"

namespace {

using veltrum::test::AgentSuite;
using veltrum::test::ChildProcess;
using veltrum::test::children_of;
using veltrum::test::eventually;
using veltrum::test::HttpResponse;
using veltrum::test::json_int_at;
using veltrum::test::json_string_at;
using veltrum::test::Proc;
using veltrum::test::ResourceSuite;
using veltrum::test::TempDir;

const std::string kTool = std::string(VELTRUM_BUILD_DIR) + "/sim/veltrum-fwimage";
const std::string kServerScript = std::string(VELTRUM_SOURCE_DIR) + "/scripts/update-server.sh";
constexpr const char *kNewVersion = "7.8.12.1";

// Runs a program to its end (no shell); its output, and its exit status in `status`.
std::string run(const std::vector<std::string> &command, int *status = nullptr) {
  // A program of a cross build runs under its emulator.
  std::vector<std::string> args = veltrum::test::launch_argv(command, VELTRUM_BUILD_DIR);
  std::vector<char *> argv;
  for (const auto &a : args) argv.push_back(const_cast<char *>(a.c_str()));
  argv.push_back(nullptr);
  std::string out(64 * 1024, '\0');
  int rc = execvp_cmd(argv[0], argv.data(), out.data(), out.size());
  if (status) *status = rc;
  out.resize(std::strlen(out.c_str()));
  return out;
}

bool port_open(int port) {
  int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in a{};
  a.sin_family = AF_INET;
  a.sin_port = htons(static_cast<uint16_t>(port));
  a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  bool ok = connect(fd, reinterpret_cast<sockaddr *>(&a), sizeof a) == 0;
  close(fd);
  return ok;
}

// A port nothing listens on now.
int free_port() {
  int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in a{};
  a.sin_family = AF_INET;
  a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof a;
  bind(fd, reinterpret_cast<sockaddr *>(&a), sizeof a);
  getsockname(fd, reinterpret_cast<sockaddr *>(&a), &size);
  close(fd);
  return ntohs(a.sin_port);
}

// The suite's update server, as the project's script sets it up and runs it.
class UpdateServer {
 public:
  UpdateServer() : port_(free_port()) {
    int status = -1;
    std::string out = run({kServerScript, "setup", dir_.path(), std::to_string(port_)}, &status);
    if (status != 0) throw std::runtime_error("update server setup failed: " + out);
    server_ = std::make_unique<ChildProcess>(std::vector<std::string>{kServerScript, "serve", dir_.path()});
    if (!eventually([&] { return port_open(port_); }, std::chrono::seconds(20)))
      throw std::runtime_error("the update server does not listen");
  }
  std::string base() const { return "https://127.0.0.1:" + std::to_string(port_); }
  std::string ca() const { return dir_.path() + "/ca.pem"; }
  std::string www(const std::string &path) const { return dir_.path() + "/www" + path; }
  // Builds an image of `version` at `path` under the served files.
  void publish(const std::string &path, const std::string &version, size_t payload = 64 * 1024) const {
    std::filesystem::create_directories(std::filesystem::path(www(path)).parent_path());
    int status = -1;
    run({kTool, "build", "--version", version, "--description", "Build " + version, "--payload-size",
         std::to_string(payload), "--out", www(path)},
        &status);
    if (status != 0) throw std::runtime_error("cannot build an image");
  }
  // The simulator's offer of a served file.
  std::string offer(const std::string &path) const { return run({kTool, "offer", www(path)}); }

 private:
  TempDir dir_;
  int port_;
  std::unique_ptr<ChildProcess> server_;
};

// A platform client of the test's own, for what the agent offers no resource for.
class Platform {
 public:
  Platform() { openapiClientRegister("veltrum-test-fw", &client_); }
  ~Platform() { openapiClientTearDown(&client_); }
  open_error_t upgrade(const std::string &switch_path, const char *label) {
    open_buffdesc p{static_cast<uint32_t>(switch_path.size() + 1), const_cast<char *>(switch_path.c_str())};
    open_buffdesc l{static_cast<uint32_t>(std::strlen(label) + 1), const_cast<char *>(label)};
    return rpcclt_openapiImageUpgrade(&client_, &p, &l);
  }

 private:
  openapiClientHandle_t client_{};
};

class FirmwareTest : public ResourceSuite {
 public:
  static void SetUpTestSuite() {
    AgentSuite::SetUpTestSuite();
    server_ = new UpdateServer();
    server_->publish("/fw/new.vfw", kNewVersion);
    server_->publish("/slow/big.vfw", kNewVersion, 4 << 20);
    server_->publish("/vsw2428/prod/vsw-7.8.12.1.vfw", kNewVersion);
    server_->publish("/VSW-1000/beta/vsw-7.9.0.1.vfw", "7.9.0.1");
    std::ifstream good(server_->www("/fw/new.vfw"), std::ios::binary);
    std::string corrupt((std::istreambuf_iterator<char>(good)), std::istreambuf_iterator<char>());
    corrupt[corrupt.size() / 2] ^= 0x10;
    std::ofstream(server_->www("/fw/corrupt.vfw"), std::ios::binary) << corrupt;
  }
  static void TearDownTestSuite() {
    delete server_;
    server_ = nullptr;
    AgentSuite::TearDownTestSuite();
  }

 protected:
  void SetUp() override {
    end_flows();
    // A switch with its factory images, trusting the update server's CA.
    harness().stop_sim();
    std::filesystem::remove_all(root() + "/mnt/images");
    harness().start_sim();
    harness().login();  // the agent's first call after the restart reconnects it
    std::filesystem::create_directories(root() + "/mnt/fastpath/nimbrel_certs");
    std::filesystem::copy_file(server_->ca(), root() + "/mnt/fastpath/nimbrel_certs/mozilla_cacert.pem",
                               std::filesystem::copy_options::overwrite_existing);
    set_update_server(server_->base());
    std::filesystem::remove(root() + "/etc/beta_firmware");
    ResourceSuite::SetUp();
  }
  void TearDown() override { end_flows(); }

  static std::string root() { return harness().root(); }
  static void set_update_server(const std::string &base) {
    std::filesystem::create_directories(root() + "/etc/veltrum");
    std::ofstream(root() + "/etc/veltrum/update_server") << base << "\n";
  }

  // Ends what a test left running and forgets the progress of earlier flows
  // (the agent and the test share their working directory, so the key).
  static void end_flows() {
    if (harness().agent_running())
      for (const Proc &p : children_of(harness().agent_pid())) {
        kill(-p.pid, SIGKILL);
        kill(p.pid, SIGKILL);
      }
    EXPECT_TRUE(eventually([] { return children_of(harness().agent_pid()).empty(); }, std::chrono::seconds(10)));
    int id = shmget(ftok(".", 120), 12, 0);
    if (id >= 0) shmctl(id, IPC_RMID, nullptr);
  }

  // Waits until the flow's child and its programs are gone: no zombie, nothing left.
  static bool flow_ended() {
    return eventually([] { return children_of(harness().agent_pid()).empty(); }, std::chrono::seconds(60));
  }

  // A reload takes the switch's service away for a moment, right after it
  // answered the reload: true once it is gone (or was gone already) and
  // answers again.
  static bool back_after_reload() {
    eventually([] { return !harness().sim().answers(); }, std::chrono::seconds(3));
    return eventually([] { return harness().sim().answers(); }, std::chrono::seconds(20));
  }

  json_object *data(const HttpResponse &r, const char *name) {
    doc_ = r.json();
    return veltrum::test::json_at(doc_.get(), {name});
  }
  std::string text(const char *resource, const char *name, const char *key) {
    return json_string_at(get(resource).json().get(), {name, key});
  }
  int64_t state(const char *resource, const char *name) {
    return json_int_at(get(resource).json().get(), {name, "state"}, -1);
  }
  HttpResponse update(const std::string &url, int timeout = 0, bool reboot = false) {
    return post("device_fw_update", R"({"deviceFirmwareUpdate":{"rebootNow":)" + std::string(reboot ? "true" : "false") +
                                        R"(,"fwUrl":")" + url + R"(","fwDownloadTimeout":)" + std::to_string(timeout) + "}}");
  }
  void offer(const std::string &path) { ASSERT_EQ(harness().sim().set("firmware_offer", server_->offer(path)), 0); }

  static UpdateServer *server_;
  JsonPtr doc_;
};

UpdateServer *FirmwareTest::server_ = nullptr;

// ---------------------------------------------------------------- the two images

TEST_F(FirmwareTest, ImageViewsAndTheDowngradeCheck) {
  HttpResponse dual = get("dual_image_status");
  EXPECT_EQ(resp_code(dual), 0);
  json_object *d = data(dual, "dualImageStatus");
  EXPECT_EQ(json_string_at(d, {"image1Label"}), "image1");
  EXPECT_EQ(json_string_at(d, {"image1Version"}), "7.8.11.19");
  EXPECT_EQ(json_string_at(d, {"image2Label"}), "image2");
  EXPECT_EQ(json_string_at(d, {"image2Version"}), "7.8.10.4");
  EXPECT_EQ(json_string_at(d, {"activatedImgLabel"}), "image1");
  EXPECT_FALSE(json_string_at(d, {"image1Descr"}).empty());

  EXPECT_EQ(text("active_image", "active_image", "label"), "image1");
  EXPECT_EQ(text("active_image", "active_image", "imageDescr"), json_string_at(d, {"image1Descr"}));

  // The image that boots next is checked against 7.8.11.19.
  HttpResponse status = get("image_status");
  json_object *s = data(status, "image_status");
  EXPECT_EQ(json_string_at(s, {"nextActive"}), "image1");
  EXPECT_EQ(json_string_at(s, {"currActive"}), "image1");
  EXPECT_EQ(json_int_at(s, {"downgradeCheck"}), 0);
  EXPECT_EQ(json_string_at(s, {"downgradeLimit"}), "7.8.11.19");

  Platform platform;
  std::filesystem::copy_file(server_->www("/fw/new.vfw"), root() + "/tmp/new.vfw",
                             std::filesystem::copy_options::overwrite_existing);
  run({kTool, "build", "--version", "7.8.11.18", "--payload-size", "1000", "--out", root() + "/tmp/old.vfw"});
  ASSERT_EQ(platform.upgrade("/tmp/old.vfw", "image2"), OPEN_E_NONE);
  ASSERT_EQ(post("active_image", R"({"active_image":{"label":"image2"}})").body, kSuccess);
  s = data(get("image_status"), "image_status");
  EXPECT_EQ(json_string_at(s, {"nextActive"}), "image2");
  EXPECT_EQ(json_string_at(s, {"image2Version"}), "7.8.11.18");
  EXPECT_EQ(json_int_at(s, {"downgradeCheck"}), 1);
  ASSERT_EQ(platform.upgrade("/tmp/new.vfw", "image2"), OPEN_E_NONE);
  EXPECT_EQ(json_int_at(get("image_status").json().get(), {"image_status", "downgradeCheck"}), 0);
  // Marking an image does not run it.
  EXPECT_EQ(text("active_image", "active_image", "label"), "image1");
}

TEST_F(FirmwareTest, ActiveImageRefusalsAndTheImageThatRunsAlready) {
  size_t mark = harness().agent_log_size();
  HttpResponse r = post("active_image", R"({"active_image":{"label":"image3"}})");
  EXPECT_EQ(resp_code(r), -22);
  EXPECT_EQ(resp_code(post("active_image", R"({"active_image":{}})")), -99);
  EXPECT_EQ(resp_code(post("active_image", R"({"label":"image2"})")), -99);
  EXPECT_TRUE(calls("ImageActivate").empty());

  EXPECT_EQ(post("active_image", R"({"active_image":{"label":"image1"}})").body, kSuccess);
  EXPECT_TRUE(calls("ImageActivate").empty()) << "the running image is not activated again";
  std::string log = harness().agent_log_since(mark);
  EXPECT_NE(log.find("Invalid label (image3): supported values : (image1) or (image2)"), std::string::npos);
  EXPECT_NE(log.find("Parsing error - active_image "), std::string::npos);
  EXPECT_NE(log.find("The image:image1 is already activated."), std::string::npos);

  harness().sim().fail("rpcclt_openapiImageActivate", 1, OPEN_E_FAIL);
  EXPECT_EQ(resp_code(post("active_image", R"({"active_image":{"label":"image2"}})")), OPEN_E_FAIL);
  EXPECT_EQ(post("active_image", R"({"active_image":{"label":"image2"}})").body, kSuccess);
  EXPECT_EQ(text("image_status", "image_status", "nextActive"), "image2");
}

TEST_F(FirmwareTest, ImageOperationsAndTheirDeletionCodes) {
  EXPECT_EQ(post("image_operation", R"({"image_operation":{"imageName":"image2","imageStatus":2}})").body, kSuccess);
  EXPECT_TRUE(calls("ImageActivate").empty());
  EXPECT_TRUE(calls("ImageDelete").empty());

  // The running image cannot go (147); the other can, once (then 143).
  HttpResponse running = post("image_operation", R"({"image_operation":{"imageName":"image1","imageStatus":3}})");
  EXPECT_EQ(resp_code(running), -1);
  EXPECT_EQ(err_code(running), 147);
  EXPECT_EQ(post("image_operation", R"({"image_operation":{"imageName":"image2","imageStatus":3}})").body, kSuccess);
  EXPECT_EQ(text("dual_image_status", "dualImageStatus", "image2Version"), "");
  HttpResponse gone = post("image_operation", R"({"image_operation":{"imageName":"image2","imageStatus":3}})");
  EXPECT_EQ(err_code(gone), 143);

  // An empty slot cannot boot; the others are refused before any call.
  EXPECT_EQ(resp_code(post("image_operation", R"({"image_operation":{"imageName":"image2","imageStatus":1}})")), -1);
  harness().sim().reset_counts();
  for (const char *body : {R"({"image_operation":{"imageName":"image2","imageStatus":4}})",
                           R"({"image_operation":{"imageName":"image2"}})",
                           R"({"image_operation":{"imageName":5,"imageStatus":1}})",
                           R"({"image_operation":{"imageName":"image1234567890123456789012345678901234567890","imageStatus":1}})"}) {
    EXPECT_EQ(resp_code(post("image_operation", body)), -1) << body;
  }
  EXPECT_TRUE(calls("ImageActivate").empty());
  EXPECT_TRUE(calls("ImageDelete").empty());
  std::string log = harness().agent_log();
  for (const char *text : {"Failed to parse image description", "Failed to parse image label",
                           "Failed to validate image label", "Failed to set image operation -29"})
    EXPECT_NE(log.find(text), std::string::npos) << text;

  // Copied back, the slot can be marked to boot next.
  EXPECT_EQ(post("copy_image", R"({"copy_image":{"srcImage":"image1","dstImage":"image2"}})").body, kSuccess);
  EXPECT_EQ(post("image_operation", R"({"image_operation":{"imageName":"image2","imageStatus":1}})").body, kSuccess);
  EXPECT_EQ(text("image_status", "image_status", "nextActive"), "image2");
  EXPECT_EQ(text("image_status", "image_status", "image2Version"), "7.8.11.19");
}

TEST_F(FirmwareTest, DescriptionsAndCopies) {
  EXPECT_EQ(post("image_description", R"({"image_description":{"imageName":"image2","imageDescription":"lab build"}})").body,
            kSuccess);
  EXPECT_EQ(text("dual_image_status", "dualImageStatus", "image2Descr"), "lab build");
  EXPECT_EQ(text("image_status", "image_status", "img2Descriptor"), "lab build");
  // A description longer than the switch keeps is cut to 255 characters.
  std::string long_text(300, 'x');
  EXPECT_EQ(post("image_description",
                 R"({"image_description":{"imageName":"image1","imageDescription":")" + long_text + R"("}})")
                .body,
            kSuccess);
  EXPECT_EQ(text("dual_image_status", "dualImageStatus", "image1Descr"), long_text.substr(0, 255));

  for (const char *body : {R"({"image_description":{"imageName":"image3","imageDescription":"x"}})",
                           R"({"image_description":{"imageName":"image1"}})",
                           R"({"image_description":{"imageName":"image1","imageDescription":null}})",
                           R"({"copy_image":{"srcImage":"image9","dstImage":"image2"}})",
                           R"({"copy_image":{"srcImage":"image1"}})",
                           R"({"copy_image":{"srcImage":"image2","dstImage":"image2"}})",
                           R"({"copy_image":{"srcImage":"image2","dstImage":"image1"}})"}) {
    std::string resource = std::string(body).find("copy_image") != std::string::npos ? "copy_image" : "image_description";
    EXPECT_EQ(resp_code(post(resource, body)), -1) << body;
  }
  EXPECT_EQ(text("dual_image_status", "dualImageStatus", "image2Version"), "7.8.10.4");

  EXPECT_EQ(post("copy_image", R"({"copy_image":{"srcImage":"image1","dstImage":"image2"}})").body, kSuccess);
  json_object *d = data(get("dual_image_status"), "dualImageStatus");
  EXPECT_EQ(json_string_at(d, {"image2Version"}), "7.8.11.19");
  EXPECT_EQ(json_string_at(d, {"image2Descr"}), long_text.substr(0, 255));
}

// ---------------------------------------------------------------- the update from a client's URL

TEST_F(FirmwareTest, StatusBeforeAnyUpdate) {
  HttpResponse update = get("device_fw_update_status");
  EXPECT_EQ(resp_code(update), -101);
  EXPECT_EQ(data(update, "fwUpdateStatus"), nullptr);
  EXPECT_EQ(get("fw_download_status").body,
            R"({"resp":{"status":"success","respCode":0,"respMsg":"Operation success"},)"
            R"("download_status":{"state":0,"message":"STATE_NONE","dwldProgress":"0.00%"}})");
}

TEST_F(FirmwareTest, AnUpdateWritesTheOtherImageAndAReloadRunsIt) {
  ASSERT_EQ(update(server_->base() + "/fw/new.vfw").body, kSuccess);
  ASSERT_TRUE(eventually([&] { return text("image_status", "image_status", "nextActive") == "image2"; }))
      << get("device_fw_update_status").body;
  HttpResponse status = get("device_fw_update_status");
  json_object *s = data(status, "fwUpdateStatus");
  EXPECT_EQ(json_int_at(s, {"state"}), 8);
  EXPECT_EQ(json_string_at(s, {"message"}), "Firmware Validation and Upgrade Success");
  EXPECT_EQ(json_string_at(s, {"dwldProgress"}), "0.00%") << "the image file is gone";
  EXPECT_FALSE(std::filesystem::exists(root() + "/mnt/download/image.stk"));
  EXPECT_EQ(text("dual_image_status", "dualImageStatus", "image2Version"), kNewVersion);
  EXPECT_EQ(text("dual_image_status", "dualImageStatus", "activatedImgLabel"), "image1");
  EXPECT_NE(harness().agent_log().find("Firmware Upgrade Started."), std::string::npos);

  harness().sim().reload();
  json_object *d = data(get("dual_image_status"), "dualImageStatus");
  EXPECT_EQ(json_string_at(d, {"activatedImgLabel"}), "image2");
  EXPECT_EQ(json_string_at(d, {"image2Version"}), kNewVersion);
  EXPECT_EQ(text("image_status", "image_status", "currActive"), "image2");
}

TEST_F(FirmwareTest, UpdateFailuresEndInTheirStates) {
  struct Case {
    std::string url;
    int timeout;
    const char *fault;
    int64_t state;
    const char *message;
  };
  const Case cases[] = {
      {"https://127.0.0.1:" + std::to_string(free_port()) + "/fw/new.vfw", 0, nullptr, 4, "Firmware Download Failed"},
      // curl saves the server's "not found" page: the platform refuses it as an image.
      {server_->base() + "/fw/missing.vfw", 0, nullptr, 7, "Firmware Validation and Upgrade Failed"},
      {server_->base() + "/slow/big.vfw", 1, nullptr, 3, "Firmware Download Timed-Out"},
      {server_->base() + "/fw/corrupt.vfw", 0, nullptr, 7, "Firmware Validation and Upgrade Failed"},
      {server_->base() + "/fw/new.vfw", 0, "rpcclt_openapiImageLabelsGet", 9, "Firmware Upgrade OpEN API Failed"},
  };
  for (const Case &c : cases) {
    if (c.fault) harness().sim().fail(c.fault, 1, OPEN_E_INTERNAL);
    ASSERT_EQ(update(c.url, c.timeout).body, kSuccess) << c.url;
    // The child, and curl below it, end: nothing is left, not even a zombie.
    ASSERT_TRUE(flow_ended()) << c.url;
    json_object *s = data(get("device_fw_update_status"), "fwUpdateStatus");
    EXPECT_EQ(json_int_at(s, {"state"}), c.state) << c.url;
    EXPECT_EQ(json_string_at(s, {"message"}), c.message) << c.url;
  }
  EXPECT_EQ(text("dual_image_status", "dualImageStatus", "image2Version"), "7.8.10.4");
}

TEST_F(FirmwareTest, RebootNowReloadsTheSwitchOrReportsTheFailureAsAnApiFailure) {
  ASSERT_EQ(update(server_->base() + "/fw/new.vfw", 0, true).body, kSuccess);
  ASSERT_TRUE(flow_ended());
  ASSERT_TRUE(back_after_reload());
  EXPECT_EQ(state("device_fw_update_status", "fwUpdateStatus"), 11);
  EXPECT_EQ(text("dual_image_status", "dualImageStatus", "activatedImgLabel"), "image2");

  // A reload the platform refuses reports 10 and ends as 9.
  harness().sim().fail("rpcclt_openapiSystemReload", 1, OPEN_E_FAIL);
  ASSERT_EQ(update(server_->base() + "/fw/new.vfw", 0, true).body, kSuccess);
  ASSERT_TRUE(flow_ended());
  EXPECT_EQ(state("device_fw_update_status", "fwUpdateStatus"), 9);
  EXPECT_NE(harness().agent_log().find("System Reload or Reboot Failed (-28), Please reboot by Admin"),
            std::string::npos);
  EXPECT_EQ(text("image_status", "image_status", "nextActive"), "image1");
  EXPECT_EQ(text("image_status", "image_status", "currActive"), "image2");
}

TEST_F(FirmwareTest, AnUpdateDoesNotOutliveTheAgent) {
  ASSERT_EQ(update(server_->base() + "/slow/big.vfw", 600).body, kSuccess);
  pid_t agent = harness().agent_pid();
  std::vector<Proc> flow;
  ASSERT_TRUE(eventually([&] {
    auto kids = children_of(agent);
    if (kids.size() != 1 || kids[0].name != "fw_update") return false;
    auto curl = children_of(kids[0].pid);
    if (curl.size() != 1 || curl[0].name != "curl") return false;
    flow = {kids[0], curl[0]};
    return true;
  }));
  harness().stop_agent(SIGKILL);
  EXPECT_TRUE(eventually([&] { return kill(flow[0].pid, 0) != 0 && kill(flow[1].pid, 0) != 0; }))
      << "the child and its download end with the agent";
  harness().start_agent();
}

TEST_F(FirmwareTest, UrlsWithShellTextOrOptionsAreRefused) {
  std::string marker = root() + "/tmp/pwned";
  const std::string urls[] = {
      "https://127.0.0.1:1/a;touch${IFS}" + marker,
      "https://127.0.0.1:1/$(touch${IFS}" + marker + ")",
      "https://127.0.0.1:1/`touch${IFS}" + marker + "`",
      "https://127.0.0.1:1/a\\ntouch " + marker,
      "https://127.0.0.1:1/a|touch${IFS}" + marker,
      "https://127.0.0.1:1/a>" + marker,
      "file:///etc/passwd",
      "-o" + marker,
      "--config=/etc/passwd",
      "https://",
      "",
  };
  for (const std::string &url : urls) {
    HttpResponse r = update(url);
    EXPECT_EQ(resp_code(r), -99) << url;
  }
  EXPECT_EQ(resp_code(post("device_fw_update", R"({"deviceFirmwareUpdate":{"rebootNow":false,"fwUrl":5,"fwDownloadTimeout":0}})")),
            -99);
  EXPECT_EQ(resp_code(update(server_->base() + "/fw/new.vfw", -1)), -99);
  for (const char *body : {R"({"deviceFirmwareUpdate":{"fwUrl":"https://h/x","fwDownloadTimeout":0}})",
                           R"({"deviceFirmwareUpdate":{"rebootNow":false,"fwDownloadTimeout":0}})",
                           R"({"deviceFirmwareUpdate":{"rebootNow":false,"fwUrl":"https://h/x"}})",
                           R"({"other":{}})"}) {
    EXPECT_EQ(resp_code(post("device_fw_update", body)), -99) << body;
  }
  EXPECT_TRUE(children_of(harness().agent_pid()).empty()) << "nothing was started";
  EXPECT_EQ(resp_code(get("device_fw_update_status")), -101);
  EXPECT_FALSE(std::filesystem::exists(marker));
}

// ---------------------------------------------------------------- the download from the update server

TEST_F(FirmwareTest, ADownloadFromTheUpdateServerWritesTheChosenImage) {
  offer("/vsw2428/prod/vsw-7.8.12.1.vfw");
  ASSERT_EQ(post("fw_download", R"({"fw_download":{"partition":2,"nextActive":2}})").body, kSuccess);
  ASSERT_TRUE(flow_ended());
  json_object *s = data(get("fw_download_status"), "download_status");
  EXPECT_EQ(json_int_at(s, {"state"}), 8);
  EXPECT_EQ(json_string_at(s, {"message"}), "Validation and Upgrade Success");
  EXPECT_EQ(json_string_at(s, {"dwldProgress"}), "100%");
  EXPECT_EQ(text("image_status", "image_status", "image2Version"), kNewVersion);
  EXPECT_EQ(text("image_status", "image_status", "nextActive"), "image2");
  harness().sim().reload();
  EXPECT_EQ(text("dual_image_status", "dualImageStatus", "activatedImgLabel"), "image2");
}

TEST_F(FirmwareTest, DownloadChannelModelAndDigest) {
  // Another model and the beta channel: its own directory on the server.
  ASSERT_EQ(harness().sim().set("machine.model", R"({"value":"VSW-1000"})"), 0);
  std::ofstream(root() + "/etc/beta_firmware");
  offer("/VSW-1000/beta/vsw-7.9.0.1.vfw");
  ASSERT_EQ(post("fw_download", R"({"fw_download":{"partition":2,"nextActive":1}})").body, kSuccess);
  ASSERT_TRUE(flow_ended());
  EXPECT_EQ(state("fw_download_status", "download_status"), 8);
  EXPECT_EQ(text("image_status", "image_status", "image2Version"), "7.9.0.1");
  EXPECT_EQ(text("image_status", "image_status", "nextActive"), "image1");

  // A file whose digest differs from the expected one is not written.
  std::filesystem::remove(root() + "/etc/beta_firmware");
  ASSERT_EQ(harness().sim().set("machine.model", R"({"value":"VSW-2428P"})"), 0);
  offer("/vsw2428/prod/vsw-7.8.12.1.vfw");
  std::ofstream(root() + "/tmp/fw/fw_write_magic") << std::string(64, '0') << "\n";
  ASSERT_EQ(post("fw_download", R"({"fw_download":{"partition":2,"nextActive":1}})").body, kSuccess);
  ASSERT_TRUE(flow_ended());
  json_object *s = data(get("fw_download_status"), "download_status");
  EXPECT_EQ(json_int_at(s, {"state"}), 12);
  EXPECT_EQ(json_string_at(s, {"message"}), "Checksum Validation Failed");
  EXPECT_EQ(text("image_status", "image_status", "image2Version"), "7.9.0.1");

  // Without an update server there is nothing to fetch. With no image file
  // the download status has no progress to show and fails (22); the update
  // view still tells the state.
  std::filesystem::remove(root() + "/etc/veltrum/update_server");
  ASSERT_EQ(post("fw_download", R"({"fw_download":{"partition":2,"nextActive":1}})").body, kSuccess);
  ASSERT_TRUE(flow_ended());
  HttpResponse failed = get("fw_download_status");
  EXPECT_EQ(resp_code(failed), -1);
  EXPECT_EQ(err_code(failed), 22);
  EXPECT_EQ(json_string_at(failed.json().get(), {"resp", "errMsgArgs", "params"}), "Download Status");
  EXPECT_EQ(state("fw_update", "fw_update"), 4);
  EXPECT_EQ(text("fw_update", "fw_update", "message"), "Download Failed");
}

TEST_F(FirmwareTest, DownloadRefusals) {
  for (const char *body : {R"({"fw_download":{"partition":3,"nextActive":1}})",
                           R"({"fw_download":{"partition":1,"nextActive":0}})",
                           R"({"fw_download":{"partition":"two","nextActive":1}})",
                           R"({"fw_download":{"partition":1}})"}) {
    EXPECT_EQ(resp_code(post("fw_download", body)), -1) << body;
  }
  EXPECT_TRUE(harness().sim().journal().empty()) << "refused before any platform call";

  // Without an offer the image is marked, and nothing is fetched.
  EXPECT_EQ(resp_code(post("fw_download", R"({"fw_download":{"partition":2,"nextActive":1}})")), -1);
  EXPECT_EQ(calls("ImageActivate").size(), 1u);
  harness().sim().fail("rpcclt_openapiImageActivate", 1, OPEN_E_FAIL);
  offer("/vsw2428/prod/vsw-7.8.12.1.vfw");
  EXPECT_EQ(resp_code(post("fw_download", R"({"fw_download":{"partition":2,"nextActive":2}})")), -1);
  std::ofstream(root() + "/tmp/fw/fw_write_image") << "../../etc/passwd\n";
  EXPECT_EQ(resp_code(post("fw_download", R"({"fw_download":{"partition":2,"nextActive":1}})")), -1);
  EXPECT_TRUE(children_of(harness().agent_pid()).empty());
}

TEST_F(FirmwareTest, CheckingForAndStartingAnUpdateFromTheServer) {
  EXPECT_EQ(resp_code(get("fw_update_check")), -1) << "no firmware is offered yet";
  EXPECT_EQ(resp_code(post("devicefirmwareupdate", R"({"devicefirmwareupdate":{"rebootNow":true}})")), -1);

  offer("/vsw2428/prod/vsw-7.8.12.1.vfw");
  json_object *c = data(get("fw_update_check"), "fw_update_check");
  EXPECT_EQ(json_string_at(c, {"currentVersion"}), "7.8.11.19");
  EXPECT_EQ(json_string_at(c, {"availableVersion"}), kNewVersion);
  EXPECT_EQ(json_string_at(c, {"fileName"}), "vsw-7.8.12.1.vfw");
  EXPECT_EQ(json_int_at(c, {"updateAvailable"}), 1);
  EXPECT_EQ(resp_code(post("devicefirmwareupdate", R"({"devicefirmwareupdate":{}})")), -99);

  // Not while another flow runs.
  ASSERT_EQ(update(server_->base() + "/slow/big.vfw", 600).body, kSuccess);
  EXPECT_EQ(resp_code(post("devicefirmwareupdate", R"({"devicefirmwareupdate":{"rebootNow":true}})")), -1);
  end_flows();

  ASSERT_EQ(post("devicefirmwareupdate", R"({"devicefirmwareupdate":{"rebootNow":true}})").body, kSuccess);
  ASSERT_TRUE(flow_ended());
  ASSERT_TRUE(back_after_reload());
  json_object *u = data(get("fw_update"), "fw_update");
  EXPECT_EQ(json_int_at(u, {"state"}), 11);
  EXPECT_EQ(json_string_at(u, {"message"}), "Device Rebooted or Reloaded by device upgrade");
  EXPECT_EQ(json_string_at(u, {"activeImage"}), "image2");
  EXPECT_EQ(json_string_at(u, {"currentVersion"}), kNewVersion);
  EXPECT_EQ(json_int_at(u, {"busy"}), 0);

  // Running the offered version, there is nothing newer to start.
  offer("/vsw2428/prod/vsw-7.8.12.1.vfw");
  EXPECT_EQ(json_int_at(get("fw_update_check").json().get(), {"fw_update_check", "updateAvailable"}), 0);
  EXPECT_EQ(resp_code(post("devicefirmwareupdate", R"({"devicefirmwareupdate":{"rebootNow":false}})")), -1);
  EXPECT_TRUE(children_of(harness().agent_pid()).empty());
}

}  // namespace
