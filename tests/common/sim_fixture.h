// An in-process simulated switch for unit tests: a private device root, the
// simulator's service on its socket, and a registered platform client.
//
//   InProcessSim sim;                 // up and answering
//   rpcclt_openapiDot1VlanMaxGet(sim.client(), &max);
//   sim.fail("openapiVlanCreatedCheck", 1, OPEN_E_INTERNAL);
//
// Tests whose behaviour crosses processes (the agent over HTTP) use the
// process harness of tests/integration instead.
#pragma once

#include <memory>
#include <string>

#include "platform/openapi.h"
#include "platform/rpc_server.h"
#include "sim/sim.h"

namespace veltrum::test {

// A fresh empty directory under /tmp, removed with its contents on
// destruction.
class TempDir {
 public:
  TempDir();
  ~TempDir();
  TempDir(const TempDir &) = delete;
  TempDir &operator=(const TempDir &) = delete;
  const std::string &path() const { return path_; }

 private:
  std::string path_;
};

class InProcessSim {
 public:
  explicit InProcessSim(sim::SimOptions options = {});
  ~InProcessSim();

  openapiClientHandle_t *client() { return &client_; }
  sim::Sim &model() { return *sim_; }
  rpc::Server &server() { return *server_; }
  const std::string &root() const { return root_.path(); }

  // Control calls through the channel, as a test would make them.
  void fail(const std::string &call, uint32_t count, open_error_t result);
  uint32_t count(const std::string &call);
  void reset_counts();
  std::string state(const std::string &name);
  open_error_t poke(const std::string &name, const std::string &json);

 private:
  TempDir root_;
  std::unique_ptr<sim::Sim> sim_;
  std::unique_ptr<rpc::Server> server_;
  openapiClientHandle_t client_{};
};

}  // namespace veltrum::test
