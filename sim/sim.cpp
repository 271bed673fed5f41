#include "sim/sim.h"

#include <cstdio>
#include <exception>

#include <algorithm>
#include <stdexcept>

#include "platform/all_calls.h"
#include "sim/bind.h"
#include "support/files.h"
#include "support/json_ptr.h"
#include "support/log.h"

namespace veltrum::sim {

namespace {
constexpr size_t kJournalLength = 4096;
constexpr uint32_t kLagGap = 4;

struct PartEntry {
  uint32_t order;
  const char *name;
  PartInstaller install;
};
std::vector<PartEntry> &parts() {
  static std::vector<PartEntry> registry;
  return registry;
}
std::vector<PartEntry> &setting_rows() {
  static std::vector<PartEntry> registry;
  return registry;
}
}  // namespace

SimPart::SimPart(uint32_t order, const char *name, PartInstaller install) {
  parts().push_back({order, name, install});
}

SettingRows::SettingRows(const char *family, PartInstaller install) {
  setting_rows().push_back({0, family, install});
}

open_error_t fill_text(open_buffdesc *out, const std::string &text) {
  if (!out || !out->pstart) return OPEN_E_PARAM;
  if (text.size() + 1 > out->size) return OPEN_E_BUFFER;
  std::memcpy(out->pstart, text.c_str(), text.size() + 1);
  out->size = static_cast<uint32_t>(text.size() + 1);
  return OPEN_E_NONE;
}

std::string buffer_text(const open_buffdesc *in) {
  if (!in || !in->pstart) return {};
  const char *p = static_cast<const char *>(in->pstart);
  return std::string(p, strnlen(p, in->size));
}

Sim::Sim(SimOptions options) : options_(std::move(options)), store_(*this) {
  build_interfaces();
  images_ = {
      {"image1", "7.8.11.19", "Release 7.8, maintenance 11", true, true},
      {"image2", "7.8.10.4", "Release 7.8, maintenance 10 (previous)", false, false},
  };
  calls_.resize(rpc::kFamilyCount);
  for (const auto &f : rpc::kFamilies) calls_[f.number].resize(f.count);
  for (const auto &rows : setting_rows()) rows.install(*this);
  std::vector<PartEntry> ordered = parts();
  std::stable_sort(ordered.begin(), ordered.end(),
                   [](const PartEntry &a, const PartEntry &b) { return a.order < b.order; });
  for (const auto &part : ordered) part.install(*this);
  install_control();
  apply_defaults();
}

void Sim::build_interfaces() {
  uint32_t n = 1;
  for (uint32_t i = 0; i < options_.copper + options_.uplinks; ++i, ++n)
    interfaces_.push_back({n, OPEN_INTF_TYPE_PHY, "0/" + std::to_string(i + 1)});
  n += kLagGap;
  for (uint32_t i = 0; i < options_.lags; ++i, ++n)
    interfaces_.push_back({n, OPEN_INTF_TYPE_LAG, "lag " + std::to_string(i + 1)});
  interfaces_.push_back({n, OPEN_INTF_TYPE_CPU, "CPU"});
}

const Interface *Sim::interface(uint32_t ifNum) const {
  for (const auto &i : interfaces_)
    if (i.ifNum == ifNum) return &i;
  return nullptr;
}

uint32_t Sim::first_lag() const {
  for (const auto &i : interfaces_)
    if (i.type == OPEN_INTF_TYPE_LAG) return i.ifNum;
  return 0;
}

bool Sim::intf_exists(uint32_t ifNum, uint32_t type_mask) const {
  const Interface *i = interface(ifNum);
  return i && (type_mask & intf_bit(i->type));
}

bool Sim::vlan_exists(uint32_t vlanId) const {
  if (!vlans_) vlans_ = &store_.table("vlans");
  return vlans_->find({int64_t{vlanId}}) != nullptr;
}

Sim::CallEntry *Sim::entry(uint32_t wire_id) {
  uint32_t family = 0, position = 0;
  if (!rpc::split_wire_id(wire_id, family, position)) return nullptr;
  return &calls_[family][position];
}

void Sim::implement_wire(uint32_t wire_id, rpc::CallHandler handler, bool unlocked) {
  CallEntry *e = entry(wire_id);
  if (!e) throw std::logic_error("implementation of an undeclared call id " + std::to_string(wire_id));
  if (e->handler) throw std::logic_error(std::string(rpc::call_name(wire_id)) + " is implemented twice");
  e->handler = std::move(handler);
  e->unlocked = unlocked;
}

int Sim::wire_id_of(const std::string &name) const {
  for (const auto &f : rpc::kFamilies)
    for (uint32_t p = 0; p < f.count; ++p)
      if (name == f.names[p]) return static_cast<int>(rpc::wire_id(f.number, p));
  return -1;
}

std::vector<std::string> Sim::missing_calls() const {
  std::vector<std::string> out;
  for (const auto &f : rpc::kFamilies)
    for (uint32_t p = 0; p < f.count; ++p)
      if (!calls_[f.number][p].handler) out.push_back(f.names[p]);
  return out;
}

uint32_t Sim::implemented_calls() const {
  uint32_t n = 0;
  for (const auto &family : calls_)
    for (const auto &e : family) n += e.handler ? 1 : 0;
  return n;
}

bool Sim::serve(uint32_t id, openapiClientHandle_t *client, rpc::Reader &in, rpc::Writer &out) {
  std::unique_lock<std::mutex> lock(mu_);
  try {
    if (id >= rpc::kControlBase) {
      uint32_t c = id - rpc::kControlBase;
      if (c >= controls_.size() || !controls_[c]) return false;
      return controls_[c](client, in, out, nullptr);
    }
    CallEntry *e = entry(id);
    if (!e) return false;
    ++e->count;
    journal_.push_back(id);
    if (journal_.size() > kJournalLength) journal_.pop_front();
    if (!e->handler) {
      agent_log(4, "%s has no implementation", rpc::call_name(id));
      return false;
    }
    if (e->fault_left > 0) {
      if (e->fault_skip > 0) {
        --e->fault_skip;
      } else {
        --e->fault_left;
        return e->handler(client, in, out, &e->fault_result);
      }
    }
    if (e->unlocked) {
      // The handler and its entry stay: calls are implemented once, at start.
      const rpc::CallHandler &handler = e->handler;
      lock.unlock();
      return handler(client, in, out, nullptr);
    }
    return e->handler(client, in, out, nullptr);
  } catch (const std::exception &ex) {
    agent_log(1, "%s failed inside the simulator: %s", rpc::call_name(id), ex.what());
    return false;
  }
}

void Sim::apply_defaults() {
  store_.reset();
  for (auto &seed : seeds_) seed(*this);
}

bool Sim::save_running_config() {
  JsonPtr root(store_.save_json());
  std::string text = json_object_to_json_string_ext(root.get(), JSON_C_TO_STRING_PRETTY | JSON_C_TO_STRING_NOSLASHESCAPE);
  text += "\n";
  // Readable by its owner only: it holds the users' password hashes.
  return write_file_atomic(options_.root + SIM_SAVED_CONFIG_PATH, text, 0600) == 0;
}

void Sim::load_config() {
  std::lock_guard<std::mutex> lock(mu_);
  load_locked();
}

void Sim::reload_locked() { load_locked(); }

void Sim::load_locked() {
  for (auto &boot : boots_) boot(*this);
  apply_defaults();
  std::string path = options_.root + SIM_SAVED_CONFIG_PATH;
  if (!exists(path.c_str())) return;
  JsonPtr root(json_object_from_file(path.c_str()));
  if (!root || !store_.load_json(root.get()))
    agent_log(1, "%s is unreadable, starting from factory defaults", path.c_str());
}

void Sim::factory_reset_locked() {
  apply_defaults();
  std::remove((options_.root + SIM_SAVED_CONFIG_PATH).c_str());
}

void Sim::reboot_locked(bool factory_defaults, std::chrono::milliseconds boot_time) {
  if (factory_defaults) {
    for (auto &boot : boots_) boot(*this);
    factory_reset_locked();
  } else {
    load_locked();
  }
  if (server_) server_->go_down_after_answer(boot_time);
}

void Sim::install_control() {
  auto id_of = [this](const open_buffdesc *name) { return wire_id_of(buffer_text(name)); };
  auto set_fault = [this, id_of](const open_buffdesc *name, uint32_t skip, uint32_t count, int32_t result) {
    int i = id_of(name);
    if (i < 0) return OPEN_E_NOT_FOUND;
    CallEntry *e = entry(static_cast<uint32_t>(i));
    e->fault_skip = skip;
    e->fault_left = count;
    e->fault_result = static_cast<open_error_t>(result);
    return OPEN_E_NONE;
  };
  implement_control<ControlId::simctlFaultSet>(
      [set_fault](openapiClientHandle_t *, const open_buffdesc *name, uint32_t count, int32_t result) {
        return set_fault(name, 0, count, result);
      });
  implement_control<ControlId::simctlFaultSetAfter>(
      [set_fault](openapiClientHandle_t *, const open_buffdesc *name, uint32_t skip, uint32_t count,
                  int32_t result) { return set_fault(name, skip, count, result); });
  implement_control<ControlId::simctlFaultsClear>([this](openapiClientHandle_t *) {
    for (auto &family : calls_)
      for (auto &e : family) e.fault_left = e.fault_skip = 0;
    return OPEN_E_NONE;
  });
  implement_control<ControlId::simctlCallCountGet>(
      [this, id_of](openapiClientHandle_t *, const open_buffdesc *name, uint32_t *count) {
        int i = id_of(name);
        if (i < 0) return OPEN_E_NOT_FOUND;
        if (count) *count = entry(static_cast<uint32_t>(i))->count;
        return OPEN_E_NONE;
      });
  implement_control<ControlId::simctlCallJournalGet>([this](openapiClientHandle_t *, open_buffdesc *json) {
    JsonPtr names(json_object_new_array());
    for (uint32_t id : journal_) json_object_array_add(names.get(), json_object_new_string(rpc::call_name(id)));
    return fill_text(json, json_text(names.get()));
  });
  implement_control<ControlId::simctlCallCountsReset>([this](openapiClientHandle_t *) {
    for (auto &family : calls_)
      for (auto &e : family) e.count = 0;
    journal_.clear();
    return OPEN_E_NONE;
  });
  implement_control<ControlId::simctlGoDown>([this](openapiClientHandle_t *, uint32_t downtime_ms) {
    if (!server_) return OPEN_E_UNAVAIL;
    server_->go_down_after_answer(std::chrono::milliseconds(downtime_ms));
    return OPEN_E_NONE;
  });
  implement_control<ControlId::simctlStateGet>(
      [this](openapiClientHandle_t *, const open_buffdesc *name, open_buffdesc *json) {
        JsonPtr state(store_.dump(buffer_text(name)));
        if (!state) return OPEN_E_NOT_FOUND;
        return fill_text(json, json_text(state.get()));
      });
  implement_control<ControlId::simctlStateSet>(
      [this](openapiClientHandle_t *, const open_buffdesc *name, const open_buffdesc *json) {
        JsonPtr body(json_tokener_parse(buffer_text(json).c_str()));
        if (!body) return OPEN_E_PARAM;
        std::string key = buffer_text(name);
        open_error_t rc = store_.poke(key, body.get());
        if (rc == OPEN_E_NONE)
          for (auto &hook : state_hooks_) hook(*this, key);
        return rc;
      });
  // Control calls run under the lock already.
  implement_control<ControlId::simctlReload>([this](openapiClientHandle_t *) {
    reload_locked();
    return OPEN_E_NONE;
  });
  implement_control<ControlId::simctlFactoryReset>([this](openapiClientHandle_t *) {
    factory_reset_locked();
    return OPEN_E_NONE;
  });
}

}  // namespace veltrum::sim
