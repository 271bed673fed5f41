// Binds the plain settings of one family from its rows in platform/calls/:
// each row defines its setting in the store (key, scope, default, the
// platform's range or syntax) and implements its getter and setter. The
// build makes one unit per family of
//
//   #include "sim/rows.h"
//   #include "platform/calls/17_storm_control.h"
//   VELTRUM_SIM_ROWS(storm_control)
//
// so a family's rows compile with that family alone. A family's own file
// under sim/features/ adds what a row cannot say: references to tables,
// effects on other settings. Every family's rows are bound before any part
// is installed.
#pragma once

#include "sim/bind.h"

namespace veltrum::sim::rows {

#define VELTRUM_SIM_SCOPE_GLOBAL Scope::Global, kPhyAndLag
#define VELTRUM_SIM_SCOPE_INTF Scope::Intf, kPhyAndLag
#define VELTRUM_SIM_SCOPE_INTF_PHY Scope::Intf, intf_bit(OPEN_INTF_TYPE_PHY)
#define VELTRUM_SIM_SCOPE_VLAN Scope::Vlan, kPhyAndLag

template <auto Get, auto Set>
void bind_row(Sim &sim, Scope scope, uint32_t intf_types, SettingSpec spec) {
  spec.scope = scope;
  spec.intf_types = intf_types;
  bind_setting<Get, Set>(sim, sim.store().define(spec));
}

#define VELTRUM_SIM_ROW_INT(get, set, scope, T, key, def, min, max)                               \
  bind_row<CallId::VELTRUM_NAME(get), CallId::VELTRUM_NAME(set)>(                                 \
      sim, VELTRUM_SIM_SCOPE_##scope, SettingSpec{key, Scope::Global, int64_t{def}, min, max});
#define VELTRUM_SIM_ROW_BY(get, set, scope, S, count, T, key, def, min, max)                      \
  bind_row<CallId::VELTRUM_NAME(get), CallId::VELTRUM_NAME(set)>(                                 \
      sim, VELTRUM_SIM_SCOPE_##scope,                                                             \
      SettingSpec{key, Scope::Global, int64_t{def}, min, max, true, kPhyAndLag, count});
#define VELTRUM_SIM_ROW_TEXT(get, set, scope, key, def, syntax, min, max)                         \
  bind_row<CallId::VELTRUM_NAME(get), CallId::VELTRUM_NAME(set)>(                                 \
      sim, VELTRUM_SIM_SCOPE_##scope,                                                             \
      SettingSpec{key, Scope::Global, std::string(def), min, max, true, kPhyAndLag, 0, TextSyntax::syntax});


}  // namespace veltrum::sim::rows

#define VELTRUM_SIM_ROWS(fam)                                                                     \
  namespace veltrum::sim::rows {                                                                  \
  namespace {                                                                                     \
  void install_rows_##fam([[maybe_unused]] Sim &sim) {                                            \
    using namespace veltrum::calls::fam;                                                          \
    VELTRUM_SETTINGS_##fam(VELTRUM_SIM_ROW_INT, VELTRUM_SIM_ROW_BY, VELTRUM_SIM_ROW_TEXT)         \
  }                                                                                               \
  const SettingRows rows_##fam(#fam, &install_rows_##fam);                                        \
  }                                                                                               \
  }
