#include "tests/common/sim_fixture.h"

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <vector>

#include "sim/control_calls.h"
#include "sim/device_root.h"
#include "support/device.h"

namespace veltrum::test {

TempDir::TempDir() {
  char templ[] = "/tmp/veltrum-test-XXXXXX";
  if (!mkdtemp(templ)) throw std::runtime_error("mkdtemp failed");
  path_ = templ;
}

TempDir::~TempDir() {
  std::error_code ec;
  std::filesystem::remove_all(path_, ec);
}

namespace {
open_buffdesc text(const std::string &s) {
  return open_buffdesc{static_cast<uint32_t>(s.size() + 1), const_cast<char *>(s.c_str())};
}
}  // namespace

InProcessSim::InProcessSim(sim::SimOptions options) {
  options.root = root_.path();
  set_device_root(root_.path());
  if (!sim::prepare_device_root(root_.path())) throw std::runtime_error("cannot prepare device root");
  sim_ = std::make_unique<sim::Sim>(options);
  sim_->load_config();
  server_ = std::make_unique<rpc::Server>(device_path(OPENAPI_SOCKET_PATH), *sim_);
  sim_->set_server(server_.get());
  if (!server_->start()) throw std::runtime_error("cannot start the simulator's server");
  openapiClientRegister("veltrum-test", &client_);
}

InProcessSim::~InProcessSim() {
  openapiClientTearDown(&client_);
  server_->stop();
}

void InProcessSim::fail(const std::string &call, uint32_t count, open_error_t result) {
  open_buffdesc name = text(call);
  if (simctlFaultSet(&client_, &name, count, result) != OPEN_E_NONE)
    throw std::runtime_error("unknown platform call " + call);
}

uint32_t InProcessSim::count(const std::string &call) {
  open_buffdesc name = text(call);
  uint32_t n = 0;
  if (simctlCallCountGet(&client_, &name, &n) != OPEN_E_NONE)
    throw std::runtime_error("unknown platform call " + call);
  return n;
}

void InProcessSim::reset_counts() { simctlCallCountsReset(&client_); }

std::string InProcessSim::state(const std::string &name) {
  std::vector<char> out(1 << 20, 0);
  open_buffdesc n = text(name);
  open_buffdesc json{static_cast<uint32_t>(out.size()), out.data()};
  if (simctlStateGet(&client_, &n, &json) != OPEN_E_NONE) return {};
  return out.data();
}

open_error_t InProcessSim::poke(const std::string &name, const std::string &json) {
  open_buffdesc n = text(name);
  open_buffdesc j = text(json);
  return simctlStateSet(&client_, &n, &j);
}

}  // namespace veltrum::test
