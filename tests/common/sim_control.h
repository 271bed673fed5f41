// Steering a running simulated switch from a test: the control calls of
// sim/control_calls.h through a platform client of its own, under the
// process's device root.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/client.h"

namespace veltrum::test {

// The simulator's control calls (sim/control_calls.h), through a client of
// its own. Control calls are neither counted nor faulted. Call
// names are the platform's (e.g. "rpcclt_openapiSaveConfig").
class SimControl {
 public:
  SimControl();
  ~SimControl();
  SimControl(const SimControl &) = delete;
  SimControl &operator=(const SimControl &) = delete;

  bool answers();  // the service answers a control call
  void fail(const std::string &call, uint32_t count, int32_t result);
  // The same, once `skip` calls of it have run normally (a fault in the
  // middle of an array, say).
  void fail_after(const std::string &call, uint32_t skip, uint32_t count, int32_t result);
  void clear_faults();
  uint32_t count(const std::string &call);
  std::vector<std::string> journal();  // calls since the last reset, oldest first
  void reset_counts();
  std::string get(const std::string &name);            // setting or table as JSON ("" when unknown)
  open_error_t set(const std::string &name, const std::string &json);
  void reload();
  void factory_reset();
  void go_down(uint32_t milliseconds);

 private:
  openapiClientHandle_t client_{};
};

}  // namespace veltrum::test
