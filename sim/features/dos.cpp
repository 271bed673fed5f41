// Denial-of-service protection: every check and size comes from its row in
// platform/calls/18_dos.h; the smurf check ("dos.smurf") has a setter only.
#include "platform/calls/18_dos.h"
#include "sim/bind.h"

namespace veltrum::sim {

namespace {
const SettingSpec kSmurf{.key = "dos.smurf", .scope = Scope::Global, .initial = int64_t{0}, .min = 0, .max = 1};
}  // namespace

using namespace calls::dos;

VELTRUM_SIM_PART(dos, kFamily) {
  SettingRef smurf = sim.store().define(kSmurf);
  sim.implement<CallId::rpcclt_openapiDoSGlobalSmurfAttackModeSet>([smurf](openapiClientHandle_t *, OPEN_CONTROL_t mode) {
    return smurf.set(int64_t{mode});
  });
}

}  // namespace veltrum::sim
