// The simulated switch: the platform service that answers every platform
// call of the agent from a model of a real switch.
//
// The model: `copper` + `uplinks` physical ports numbered from 1, then a gap
// of four interface numbers, then `lags` port-channels, then the CPU
// interface. VLAN ids up to `max_vlan`; VLAN 1 exists and every port is its
// untagged member. User "admin" with the password "password", reported as a
// default password until it is changed. Two firmware images, the first
// active. State lives in a Store (sim/store.h);
// each feature family installs its settings, tables and calls from
// sim/features/.
//
// Every call runs under one lock, so the model is never seen half-changed.
// The running configuration is saved to "/mnt/fastpath/startup-config.json"
// under the device root and loaded at start.
#pragma once

#include <array>
#include <chrono>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "platform/rpc_server.h"
#include "sim/control_calls.h"
#include "sim/store.h"

namespace veltrum::sim {

struct SimOptions {
  std::string root;  // device root ("" for "/")
  uint32_t copper = 24;
  uint32_t uplinks = 4;
  uint32_t lags = 8;
  uint32_t max_vlan = 4093;
};

struct Interface {
  uint32_t ifNum;
  OPEN_INTF_TYPE_t type;
  std::string name;
};

// A firmware image in the switch's flash: not configuration, so neither a
// reload nor a factory reset changes it.
struct FirmwareImage {
  std::string label;        // "image1", "image2"
  std::string version;      // four dotted numbers
  std::string description;
  bool active;              // the image the switch runs
  bool next_active;         // the image the next boot runs
};

#define SIM_SAVED_CONFIG_PATH "/mnt/fastpath/startup-config.json"

class Sim : public rpc::CallSink, public IndexOracle {
 public:
  explicit Sim(SimOptions options);

  const SimOptions &options() const { return options_; }
  Store &store() { return store_; }
  const std::vector<Interface> &interfaces() const { return interfaces_; }
  std::vector<FirmwareImage> &images() { return images_; }
  const Interface *interface(uint32_t ifNum) const;
  uint32_t first_lag() const;

  bool intf_exists(uint32_t ifNum, uint32_t type_mask) const override;
  bool vlan_exists(uint32_t vlanId) const override;

  // Feature families register their calls with these.
  template <rpc::CallId Id, typename F>
  void implement(F fn) {
    using Sig = typename rpc::CallSig<Id>::type;
    auto i = static_cast<uint32_t>(Id);
    calls_[i] = rpc::make_handler<Sig>(std::move(fn));
    faulted_[i] = rpc::make_handler<Sig>([this, i](openapiClientHandle_t *, auto...) { return fault_result_[i]; });
  }
  template <ControlId Id, typename F>
  void implement_control(F fn) {
    controls_[static_cast<uint32_t>(Id)] = rpc::make_handler<typename ControlSig<Id>::type>(std::move(fn));
  }
  // Run at every factory reset (and at start before the saved
  // configuration is applied) to put the default rows into tables.
  void on_factory_defaults(std::function<void(Sim &)> seed) { seeds_.push_back(std::move(seed)); }

  // The platform calls that have no implementation (should be none).
  std::vector<std::string> missing_calls() const;

  // rpc::CallSink: counts, faults, then the call, all under the lock.
  bool serve(uint32_t id, openapiClientHandle_t *client, rpc::Reader &in, rpc::Writer &out) override;

  // Configuration life cycle. load_config takes the lock (the process main
  // calls it at start); the others are for implementations, which run
  // under the lock already.
  void load_config();          // defaults, then the saved file
  bool save_running_config();  // the running configuration to the saved file
  void factory_reset_locked(); // defaults, saved file removed
  // A reboot as the platform's reload and factory-reset calls do it: the
  // configuration restarts from the saved file (or from factory defaults,
  // whose saved file is removed), and the service goes away once the
  // current call has been answered and comes back after `boot_time`.
  void reboot_locked(bool factory_defaults, std::chrono::milliseconds boot_time);

  // Writes a firmware file into an image slot ("image1", "image2"): what a
  // code download ends with. The firmware family installs it; without one
  // a code download fails.
  using ImageWriter = std::function<open_error_t(Sim &, const std::string &label, const std::string &path)>;
  void set_image_writer(ImageWriter writer) { image_writer_ = std::move(writer); }
  const ImageWriter &image_writer() const { return image_writer_; }

  // Lets a control call take the service down (set by the process main).
  void set_server(rpc::Server *server) { server_ = server; }

 private:
  void build_interfaces();
  void apply_defaults();
  void load_locked();
  void install_control();

  SimOptions options_;
  std::vector<Interface> interfaces_;
  std::vector<FirmwareImage> images_;
  Store store_;
  std::vector<std::function<void(Sim &)>> seeds_;
  rpc::Server *server_ = nullptr;
  ImageWriter image_writer_;

  std::mutex mu_;
  std::array<rpc::CallHandler, rpc::kCallCount> calls_;
  std::array<rpc::CallHandler, rpc::kCallCount> faulted_;
  std::array<rpc::CallHandler, static_cast<size_t>(ControlId::Count)> controls_;
  std::array<uint32_t, rpc::kCallCount> counts_{};
  std::array<uint32_t, rpc::kCallCount> fault_skip_{};
  std::array<uint32_t, rpc::kCallCount> fault_left_{};
  std::array<open_error_t, rpc::kCallCount> fault_result_{};
  std::deque<uint32_t> journal_;
};

// Each feature family installs its settings, tables and calls.
void install_system(Sim &sim);
void install_interfaces(Sim &sim);
void install_vlans(Sim &sim);
void install_network(Sim &sim);
void install_users(Sim &sim);
void install_dai(Sim &sim);
void install_files(Sim &sim);

}  // namespace veltrum::sim
