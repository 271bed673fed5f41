#include "tests/common/sim_fixture.h"

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <vector>

#include "sim/control_calls.h"
#include "sim/device_root.h"
#include "support/device.h"

namespace veltrum::test {

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

}  // namespace veltrum::test
