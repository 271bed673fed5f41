// The simulated switch: the platform service that answers every platform
// call of the agent from a model of a real switch.
//
// The model: `copper` + `uplinks` physical ports numbered from 1, then a gap
// of four interface numbers, then `lags` port-channels, then the CPU
// interface. VLAN ids up to `max_vlan`; VLAN 1 exists and every port is its
// untagged member. User "admin" with the password "password", reported as a
// default password until it is changed. Two firmware images, the first
// active. State lives in a Store (sim/store.h); the plain settings of every
// family are bound from their rows (platform/calls/), and each feature
// family installs its tables and other calls from sim/features/.
//
// Every call runs under one lock, so the model is never seen half-changed.
// The running configuration is saved to "/mnt/fastpath/startup-config.json"
// under the device root and loaded at start.
#pragma once

#include <array>
#include <chrono>
#include <cstdint>
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

// A firmware image slot in the switch's flash: not configuration, so
// neither a reload nor a factory reset changes it. The slot holds an image
// file (sim/fw_image.h) under the device root; the firmware part
// (sim/features/firmware.cpp) keeps these records, the files and the flash's
// own record of them in step, and boots the image marked next.
struct FirmwareImage {
  std::string label;        // "image1", "image2"
  std::string version;      // four dotted numbers; "" while the slot is empty
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
  // Deletes a VLAN with everything that hangs on it (memberships, port VLAN
  // ids naming it, protocol groups' VLAN, per-VLAN settings of every
  // feature): OPEN_E_PARAM for VLAN 1 or an id outside 1..max,
  // OPEN_E_NOT_FOUND for an absent VLAN, OPEN_E_INUSE for the management
  // VLAN or one with a routing interface. The VLAN part implements it
  // (sim/features/vlans.cpp); the platform call and the CLI share it.
  open_error_t delete_vlan(uint32_t vlanId) { return vlan_deleter_ ? vlan_deleter_(vlanId) : OPEN_E_INTERNAL; }
  void on_delete_vlan(std::function<open_error_t(uint32_t)> deleter) { vlan_deleter_ = std::move(deleter); }

  // Feature families register their calls with these:
  //   sim.implement<CallId::rpcclt_openapiArpAclCreate>([&sim](openapiClientHandle_t *, const open_buffdesc *name) {...});
  // A call implemented twice is a programming error (std::logic_error at
  // start), as is a declared call that nothing implements.
  template <auto Id, typename F>
  void implement(F fn) {
    implement_wire(rpc::wire_id_of<Id>(), rpc::make_handler<rpc::CallSig<Id>>(std::move(fn)));
  }
  void implement_wire(uint32_t wire_id, rpc::CallHandler handler, bool unlocked = false);
  // A call that runs for long (a diagnostic probe) is served outside the
  // model lock, so the other clients are not held up meanwhile; it takes
  // the lock itself, with lock_model(), for the moments it reads the model.
  // Counting, the journal and injected faults work as for every call.
  template <auto Id, typename F>
  void implement_unlocked(F fn) {
    implement_wire(rpc::wire_id_of<Id>(), rpc::make_handler<rpc::CallSig<Id>>(std::move(fn)), true);
  }
  std::unique_lock<std::mutex> lock_model() { return std::unique_lock<std::mutex>(mu_); }
  template <ControlId Id, typename F>
  void implement_control(F fn) {
    controls_[static_cast<uint32_t>(Id)] = rpc::make_handler<typename ControlSig<Id>::type>(std::move(fn));
  }
  // Run at every factory reset (and at start before the saved
  // configuration is applied) to put the default rows into tables.
  void on_factory_defaults(std::function<void(Sim &)> seed) { seeds_.push_back(std::move(seed)); }
  // Run at every boot of the switch (the service's start and each reload),
  // under the lock, before the saved configuration is applied.
  void on_boot(std::function<void(Sim &)> boot) { boots_.push_back(std::move(boot)); }
  // Run after a control call has written a setting or a table row (`name`),
  // under the lock: a part whose state shows outside the store follows it.
  void on_state_set(std::function<void(Sim &, const std::string &name)> hook) {
    state_hooks_.push_back(std::move(hook));
  }
  // Run when the service stops, before its connections end (a part that
  // runs work outside the lock ends it here).
  void on_shutdown(std::function<void()> stop) { shutdown_.push_back(std::move(stop)); }
  void shutdown() {
    for (auto &stop : shutdown_) stop();
  }

  // The names of declared platform calls without implementation.
  std::vector<std::string> missing_calls() const;
  uint32_t implemented_calls() const;

  // rpc::CallSink: counts, faults, then the call, all under the lock.
  bool serve(uint32_t id, openapiClientHandle_t *client, rpc::Reader &in, rpc::Writer &out) override;

  // Configuration life cycle. load_config takes the lock (the process main
  // calls it at start); the others are for implementations, which run
  // under the lock already.
  void load_config();          // a boot: defaults, then the saved file
  bool save_running_config();  // the running configuration to the saved file
  void factory_reset_locked(); // defaults, saved file removed
  void reload_locked();        // a reboot: the boot hooks, defaults, then the saved file
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

  // Runs `fn` under the model's lock: for services beside the RPC channel
  // (the CLI's telnet service), so they never see the model half-changed.
  template <typename F>
  auto locked(F &&fn) {
    std::lock_guard<std::mutex> lock(mu_);
    return fn();
  }

 private:
  struct CallEntry {
    rpc::CallHandler handler;
    bool unlocked = false;
    uint32_t count = 0;
    uint32_t fault_skip = 0;
    uint32_t fault_left = 0;
    open_error_t fault_result = OPEN_E_NONE;
  };
  CallEntry *entry(uint32_t wire_id);
  int wire_id_of(const std::string &name) const;
  void build_interfaces();
  void apply_defaults();
  void load_locked();
  void install_control();

  SimOptions options_;
  std::vector<Interface> interfaces_;
  std::vector<FirmwareImage> images_;
  Store store_;
  std::function<open_error_t(uint32_t)> vlan_deleter_;  // the VLAN part's (sim/features/vlans.cpp)
  mutable const Table *vlans_ = nullptr;                // found on the first vlan_exists
  std::vector<std::function<void(Sim &)>> seeds_;
  std::vector<std::function<void(Sim &)>> boots_;
  std::vector<std::function<void(Sim &, const std::string &)>> state_hooks_;
  std::vector<std::function<void()>> shutdown_;
  rpc::Server *server_ = nullptr;
  ImageWriter image_writer_;

  std::mutex mu_;
  std::vector<std::vector<CallEntry>> calls_;  // by family, then position
  std::array<rpc::CallHandler, static_cast<size_t>(ControlId::Count)> controls_;
  std::deque<uint32_t> journal_;
};

// Each part of the simulator (one per platform family, plus parts of its
// own such as the device programs) installs its settings, tables and calls
// from its own file:
//
//   VELTRUM_SIM_PART(dai, calls::dai::kFamily) {
//     sim.store().define_table(...);
//     sim.implement<CallId::rpcclt_openapiArpAclCreate>(...);
//   }
//
// Parts install in `order` (the family number), after the plain settings
// of every family, which the simulator binds from their rows by itself.
using PartInstaller = void (*)(Sim &sim);
struct SimPart {
  SimPart(uint32_t order, const char *name, PartInstaller install);
};

#define VELTRUM_SIM_PART(name, order)                                              \
  static void install_part_##name(::veltrum::sim::Sim &sim);                       \
  static const ::veltrum::sim::SimPart sim_part_##name(order, #name, &install_part_##name); \
  static void install_part_##name(::veltrum::sim::Sim &sim)

// The binding of one family's plain setting rows (sim/rows.h, one unit per
// family made by the build); every family's rows are bound before any part
// is installed, so a part may refer to any family's settings.
struct SettingRows {
  SettingRows(const char *family, PartInstaller install);
};

}  // namespace veltrum::sim
