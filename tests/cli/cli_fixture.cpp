#include "tests/cli/cli_fixture.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <thread>

#include "cli/bridge.h"
#include "core/platform_client.h"
#include "sim/cli/telnet.h"
#include "support/device.h"
#include "support/json_ptr.h"

namespace veltrum::test {

SimdProcess::SimdProcess() {
  set_device_root(root_.path());
  control_ = std::make_unique<SimControl>();
  start();
}

SimdProcess::~SimdProcess() {
  control_.reset();
  process_.reset();
}

void SimdProcess::start() {
  process_ = std::make_unique<ChildProcess>(std::vector<std::string>{build_path("sim/veltrum-simd"), "--root", root()});
  for (int i = 0; i < 500; ++i) {
    // The telnet service is up once the simulator answers (it starts first).
    if (control_->answers()) return;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  throw std::runtime_error("veltrum-simd does not answer");
}

void SimdProcess::restart() {
  process_.reset();
  start();
}

std::vector<std::string> SimdProcess::transcript() const {
  std::vector<std::string> lines;
  std::ifstream in(root() + SIM_CLI_TRANSCRIPT);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

void SimdProcess::clear_transcript() const { std::filesystem::resize_file(root() + SIM_CLI_TRANSCRIPT, 0); }

size_t SimdProcess::transcript_count(const std::string &part) const {
  size_t n = 0;
  for (const auto &line : transcript()) n += line.find(part) != std::string::npos;
  return n;
}

int64_t SimdProcess::setting(const std::string &key) {
  JsonPtr doc(json_tokener_parse(control_->get(key).c_str()));
  json_object *value = nullptr;
  if (!json_object_object_get_ex(doc.get(), "value", &value)) throw std::runtime_error("no setting " + key);
  return json_object_get_int64(value);
}

int64_t SimdProcess::setting(const std::string &key, uint32_t index) {
  JsonPtr doc(json_tokener_parse(control_->get(key).c_str()));
  json_object *values = nullptr;
  json_object *value = nullptr;
  if (!json_object_object_get_ex(doc.get(), "value", &values)) throw std::runtime_error("no setting " + key);
  if (json_object_object_get_ex(values, std::to_string(index).c_str(), &value)) return json_object_get_int64(value);
  json_object_object_get_ex(doc.get(), "default", &value);
  return json_object_get_int64(value);
}

void SimdProcess::set_setting(const std::string &key, int64_t value) {
  if (control_->set(key, R"({"value":)" + std::to_string(value) + "}") != OPEN_E_NONE)
    throw std::runtime_error("cannot set " + key);
}

void SimdProcess::set_setting(const std::string &key, uint32_t index, int64_t value) {
  if (control_->set(key, R"({"index":)" + std::to_string(index) + R"(,"value":)" + std::to_string(value) + "}") !=
      OPEN_E_NONE)
    throw std::runtime_error("cannot set " + key);
}

SimdProcess *CliSuite::simd_ = nullptr;

void CliSuite::SetUpTestSuite() {
  simd_ = new SimdProcess();
  openapiClientRegister("veltrum-test", &g_client_handle);
}

void CliSuite::TearDownTestSuite() {
  cli::fastpath_cli_session_control(cli::kCliClose);
  openapiClientTearDown(&g_client_handle);
  delete simd_;
  simd_ = nullptr;
}

void CliSuite::SetUp() {
  cli::cli_set_pauses(std::chrono::milliseconds(2), std::chrono::milliseconds(100));
  simd().control().clear_faults();
  simd().control().factory_reset();
  simd().control().reset_counts();
  simd().clear_transcript();
}

void CliSuite::TearDown() { cli::fastpath_cli_session_control(cli::kCliClose); }

size_t open_descriptors(pid_t pid) {
  std::string dir = pid ? "/proc/" + std::to_string(pid) + "/fd" : "/proc/self/fd";
  size_t n = 0;
  for (auto it = std::filesystem::directory_iterator(dir); it != std::filesystem::directory_iterator(); ++it) ++n;
  return n;
}

int free_tcp_port() {
  int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in addr{};
  addr.sin_family = AF_INET;
  addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t length = sizeof addr;
  if (fd < 0 || ::bind(fd, reinterpret_cast<sockaddr *>(&addr), sizeof addr) != 0 ||
      ::getsockname(fd, reinterpret_cast<sockaddr *>(&addr), &length) != 0)
    throw std::runtime_error("no free port");
  ::close(fd);
  return ntohs(addr.sin_port);
}

bool wait_until(const std::function<bool()> &done) {
  for (int i = 0; i < 200; ++i) {
    if (done()) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return done();
}

}  // namespace veltrum::test
