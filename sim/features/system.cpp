// RPC service, application control, configuration saving and the switch's
// identity.
//
// State:
//   "app_ctrl"      [name] -> {"version", "status", "entry": 1 once created,
//                   "running": 0/1}; dynamic: a restart clears it, and each
//                   application reports itself again
//   "system.name", "system.location", "system.contact"  (rows)
//   "system.base_mac"  the switch's burned-in MAC address; not configuration.
//                   The CPU interface has it, port n the address n above it
//                   (sim/features/interfaces.cpp)
#include <chrono>
#include <cstdio>
#include <memory>

#include "platform/calls/00_system.h"
#include "sim/bind.h"

namespace veltrum::sim {

namespace {
const TableSpec kAppCtrl{"app_ctrl", 32, false};
const SettingSpec kBaseMac{
    "system.base_mac", Scope::Global, std::string("02:56:4C:10:00:00"), 17, 17, false, kPhyAndLag, 0, TextSyntax::MAC};

// Application names: what application control accepts as an entry's name.
bool app_name_ok(const std::string &name) {
  return !name.empty() && name.size() < OPEN_APP_NAME_SIZE && text_matches(TextSyntax::NAME, name);
}
}  // namespace

using namespace calls::system;

VELTRUM_SIM_PART(system, kFamily) {
  sim.store().define_table(kAppCtrl);
  sim.store().define(kBaseMac);
  Table &apps = sim.store().table("app_ctrl");

  // When the switch last booted: the service's start or the last reload.
  auto booted = std::make_shared<std::chrono::steady_clock::time_point>(std::chrono::steady_clock::now());
  sim.on_boot([booted](Sim &) { *booted = std::chrono::steady_clock::now(); });

  sim.implement<CallId::rpcclt_openapiConnectivityCheck>([](openapiClientHandle_t *) { return OPEN_E_NONE; });

  sim.implement<CallId::rpcclt_openapiApiVersionGet>([](openapiClientHandle_t *, open_revision_data_t *version) {
    if (!version) return OPEN_E_PARAM;
    *version = {1, 26, 0, 4};
    return OPEN_E_NONE;
  });

  // ---- application control ----

  // What an application reports of itself (its version, its status text):
  // kept whether or not it has an entry.
  auto app_field = [&apps](const open_buffdesc *app, const open_buffdesc *value, const char *field) {
    std::string name = buffer_text(app);
    if (name.empty() || !value) return OPEN_E_PARAM;
    Record record;
    if (const Record *old = apps.find({name})) record = *old;
    record[field] = buffer_text(value);
    return apps.upsert({name}, std::move(record));
  };
  sim.implement<CallId::rpcclt_openapiAppCtrlVersionSet>(
      [app_field](openapiClientHandle_t *, const open_buffdesc *app, const open_buffdesc *version) {
        return app_field(app, version, "version");
      });
  sim.implement<CallId::rpcclt_openapiAppCtrlStatusSet>(
      [app_field](openapiClientHandle_t *, const open_buffdesc *app, const open_buffdesc *status) {
        return app_field(app, status, "status");
      });

  // The entry of a created application, or null (and the refusal in rc).
  auto entry_of = [&apps](const open_buffdesc *app, open_error_t &rc) -> Record * {
    std::string name = buffer_text(app);
    rc = OPEN_E_PARAM;
    if (!app || !app_name_ok(name)) return nullptr;
    Record *r = apps.find({name});
    rc = r && r->count("entry") ? OPEN_E_NONE : OPEN_E_NOT_FOUND;
    return rc == OPEN_E_NONE ? r : nullptr;
  };

  sim.implement<CallId::rpcclt_openapiAppCtrlEntryCreate>([&apps](openapiClientHandle_t *, const open_buffdesc *app) {
    std::string name = buffer_text(app);
    if (!app || !app_name_ok(name)) return OPEN_E_PARAM;
    Record record;
    if (const Record *old = apps.find({name})) {
      if (old->count("entry")) return OPEN_E_EXISTS;
      record = *old;
    }
    record["entry"] = int64_t{1};
    record["running"] = int64_t{0};
    return apps.upsert({name}, std::move(record));
  });

  // Deleting an entry stops its application first.
  sim.implement<CallId::rpcclt_openapiAppCtrlEntryDelete>(
      [&apps, entry_of](openapiClientHandle_t *, const open_buffdesc *app) {
        open_error_t rc;
        if (!entry_of(app, rc)) return rc;
        return apps.erase({buffer_text(app)});
      });

  auto run = [entry_of](const open_buffdesc *app, bool running) {
    open_error_t rc;
    Record *r = entry_of(app, rc);
    if (!r) return rc;
    (*r)["running"] = int64_t{running ? 1 : 0};
    (*r)["status"] = std::string(running ? "Running" : "Stopped");
    return OPEN_E_NONE;
  };
  sim.implement<CallId::rpcclt_openapiAppCtrlStart>(
      [run](openapiClientHandle_t *, const open_buffdesc *app) { return run(app, true); });
  sim.implement<CallId::rpcclt_openapiAppCtrlStop>(
      [run](openapiClientHandle_t *, const open_buffdesc *app) { return run(app, false); });

  // Status and version of an application known by entry or by report.
  auto report = [&apps](const open_buffdesc *app, open_buffdesc *out, const char *field) {
    std::string name = buffer_text(app);
    if (!app || !out || !app_name_ok(name)) return OPEN_E_PARAM;
    const Record *r = apps.find({name});
    if (!r) return OPEN_E_NOT_FOUND;
    auto it = r->find(field);
    return fill_text(out, it != r->end() ? std::get<std::string>(it->second) : std::string());
  };
  sim.implement<CallId::rpcclt_openapiAppCtrlStatusGet>(
      [report](openapiClientHandle_t *, const open_buffdesc *app, open_buffdesc *status) {
        return report(app, status, "status");
      });
  sim.implement<CallId::rpcclt_openapiAppCtrlVersionGet>(
      [report](openapiClientHandle_t *, const open_buffdesc *app, open_buffdesc *version) {
        return report(app, version, "version");
      });

  sim.implement<CallId::rpcclt_openapiSaveConfig>(
      [&sim](openapiClientHandle_t *) { return sim.save_running_config() ? OPEN_E_NONE : OPEN_E_FAIL; });

  // ---- identity ----

  sim.implement<CallId::rpcclt_openapi1213SystemSysDescrGet>([&sim](openapiClientHandle_t *, open_buffdesc *descr) {
    std::string version;
    for (const auto &image : sim.images())
      if (image.active) version = image.version;
    const SimOptions &o = sim.options();
    char text[OPEN_SYSTEM_DESCR_SIZE];
    std::snprintf(text, sizeof text, "Veltrum %u-port managed switch (%u x 1G, %u x 10G), firmware %s",
                  o.copper + o.uplinks, o.copper, o.uplinks, version.empty() ? "unknown" : version.c_str());
    return fill_text(descr, text);
  });

  sim.implement<CallId::rpcclt_openapi1213SysObjectIDGet>([&sim](openapiClientHandle_t *, open_buffdesc *oid) {
    return fill_text(oid, "1.3.6.1.4.1.61733.1." + std::to_string(sim.options().copper + sim.options().uplinks));
  });

  sim.implement<CallId::rpcclt_openapi1213SystemSysUpTimeGet>([booted](openapiClientHandle_t *, uint32_t *seconds) {
    if (!seconds) return OPEN_E_PARAM;
    auto up = std::chrono::steady_clock::now() - *booted;
    *seconds = static_cast<uint32_t>(std::chrono::duration_cast<std::chrono::seconds>(up).count());
    return OPEN_E_NONE;
  });
}

}  // namespace veltrum::sim
