// An in-process simulated switch for unit tests: a private device root, the
// simulator's service on its socket, and a registered platform client.
//
//   InProcessSim sim;                 // up and answering
//   rpcclt_openapiDot1VlanMaxGet(sim.client(), &max);
//   sim.fail("openapiVlanCreatedCheck", 1, OPEN_E_INTERNAL);   // control calls
//   sim.set("vlans", R"({"key":[5],"record":{"name":"v5","type":2}})");
//
// Tests whose behaviour crosses processes (the agent over HTTP) use the
// process harness of tests/integration instead.
#pragma once

#include <memory>
#include <string>

#include "platform/client.h"
#include "platform/rpc_server.h"
#include "sim/sim.h"
#include "tests/common/sim_control.h"
#include "tests/common/temp_dir.h"

namespace veltrum::test {

class InProcessSim : public SimControl {
 public:
  explicit InProcessSim(sim::SimOptions options = {});
  ~InProcessSim();

  openapiClientHandle_t *client() { return &client_; }
  sim::Sim &model() { return *sim_; }
  rpc::Server &server() { return *server_; }
  const std::string &root() const { return root_.path(); }

 private:
  TempDir root_;
  std::unique_ptr<sim::Sim> sim_;
  std::unique_ptr<rpc::Server> server_;
  openapiClientHandle_t client_{};
};

}  // namespace veltrum::test
