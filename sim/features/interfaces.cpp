// Interface walks, names and types.
#include "platform/calls/01_interfaces.h"
#include "sim/bind.h"

namespace veltrum::sim {

namespace {

bool type_matches(OPEN_INTF_TYPE_t wanted, OPEN_INTF_TYPE_t type) {
  return wanted == OPEN_INTF_TYPE_ANY || wanted == type;
}

}  // namespace

using namespace calls::interfaces;

VELTRUM_SIM_PART(interfaces, kFamily) {

  sim.implement<CallId::openapiIfFirstGet>([&sim](openapiClientHandle_t *, OPEN_INTF_TYPE_t type, uint32_t *ifNum) {
    if (!ifNum) return OPEN_E_PARAM;
    for (const auto &i : sim.interfaces())
      if (type_matches(type, i.type)) {
        *ifNum = i.ifNum;
        return OPEN_E_NONE;
      }
    return OPEN_E_NOT_FOUND;
  });

  sim.implement<CallId::openapiIfNextGet>(
      [&sim](openapiClientHandle_t *, OPEN_INTF_TYPE_t type, uint32_t ifNum, uint32_t *next) {
        if (!next) return OPEN_E_PARAM;
        for (const auto &i : sim.interfaces())
          if (type_matches(type, i.type) && i.ifNum > ifNum) {
            *next = i.ifNum;
            return OPEN_E_NONE;
          }
        return OPEN_E_NOT_FOUND;
      });

  sim.implement<CallId::openapiIfNameGet>([&sim](openapiClientHandle_t *, uint32_t ifNum, open_buffdesc *name) {
    const Interface *i = sim.interface(ifNum);
    if (!i) return OPEN_E_NOT_FOUND;
    return fill_text(name, i->name);
  });

  sim.implement<CallId::openapiIfTypeGet>([&sim](openapiClientHandle_t *, uint32_t ifNum, OPEN_INTF_TYPE_t *type) {
    const Interface *i = sim.interface(ifNum);
    if (!i) return OPEN_E_NOT_FOUND;
    if (!type) return OPEN_E_PARAM;
    *type = i->type;
    return OPEN_E_NONE;
  });
}

}  // namespace veltrum::sim
