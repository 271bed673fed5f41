#include "tests/common/sim_control.h"

#include <stdexcept>

#include "sim/control_calls.h"
#include "support/json_ptr.h"

namespace veltrum::test {

namespace {

// Points into `s`: the text must outlive the call it is passed to.
open_buffdesc text_desc(const std::string &s) {
  return open_buffdesc{static_cast<uint32_t>(s.size() + 1), const_cast<char *>(s.c_str())};
}
open_buffdesc text_desc(std::string &&) = delete;

}  // namespace

SimControl::SimControl() { openapiClientRegister("veltrum-test", &client_); }

SimControl::~SimControl() { openapiClientTearDown(&client_); }

bool SimControl::answers() {
  const std::string call = "rpcclt_openapiConnectivityCheck";
  open_buffdesc name = text_desc(call);
  uint32_t n = 0;
  return simctlCallCountGet(&client_, &name, &n) == OPEN_E_NONE;
}

void SimControl::fail(const std::string &call, uint32_t count, int32_t result) {
  open_buffdesc name = text_desc(call);
  if (simctlFaultSet(&client_, &name, count, result) != OPEN_E_NONE)
    throw std::runtime_error("cannot inject a fault into " + call);
}

void SimControl::fail_after(const std::string &call, uint32_t skip, uint32_t count, int32_t result) {
  open_buffdesc name = text_desc(call);
  if (simctlFaultSetAfter(&client_, &name, skip, count, result) != OPEN_E_NONE)
    throw std::runtime_error("cannot inject a fault into " + call);
}

void SimControl::clear_faults() { simctlFaultsClear(&client_); }

uint32_t SimControl::count(const std::string &call) {
  open_buffdesc name = text_desc(call);
  uint32_t n = 0;
  if (simctlCallCountGet(&client_, &name, &n) != OPEN_E_NONE)
    throw std::runtime_error("cannot count the calls of " + call);
  return n;
}

std::vector<std::string> SimControl::journal() {
  std::vector<char> out(1 << 20, 0);
  open_buffdesc json{static_cast<uint32_t>(out.size()), out.data()};
  if (simctlCallJournalGet(&client_, &json) != OPEN_E_NONE) throw std::runtime_error("no call journal");
  JsonPtr names(json_tokener_parse(out.data()));
  std::vector<std::string> result;
  for (size_t i = 0; names && i < json_object_array_length(names.get()); ++i)
    result.emplace_back(json_object_get_string(json_object_array_get_idx(names.get(), i)));
  return result;
}

void SimControl::reset_counts() { simctlCallCountsReset(&client_); }

std::string SimControl::get(const std::string &name) {
  std::vector<char> out(1 << 20, 0);
  open_buffdesc n = text_desc(name);
  open_buffdesc json{static_cast<uint32_t>(out.size()), out.data()};
  if (simctlStateGet(&client_, &n, &json) != OPEN_E_NONE) return {};
  return out.data();
}

open_error_t SimControl::set(const std::string &name, const std::string &json) {
  open_buffdesc n = text_desc(name);
  open_buffdesc j = text_desc(json);
  return simctlStateSet(&client_, &n, &j);
}

void SimControl::reload() { simctlReload(&client_); }
void SimControl::factory_reset() { simctlFactoryReset(&client_); }
void SimControl::go_down(uint32_t milliseconds) { simctlGoDown(&client_, milliseconds); }

}  // namespace veltrum::test
