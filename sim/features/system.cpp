// RPC service, application control and configuration saving.
#include "platform/calls/00_system.h"
#include "sim/bind.h"

namespace veltrum::sim {

namespace {
const TableSpec kAppCtrl{"app_ctrl", 32, false};
}

using namespace calls::system;

VELTRUM_SIM_PART(system, kFamily) {
  sim.store().define_table(kAppCtrl);

  sim.implement<CallId::rpcclt_openapiConnectivityCheck>([](openapiClientHandle_t *) { return OPEN_E_NONE; });

  sim.implement<CallId::rpcclt_openapiApiVersionGet>([](openapiClientHandle_t *, open_revision_data_t *version) {
    if (!version) return OPEN_E_PARAM;
    *version = {1, 26, 0, 4};
    return OPEN_E_NONE;
  });

  // Application control: what each application last reported, kept as
  // dynamic state ("app_ctrl" rows: version, status).
  auto app_field = [&sim](const open_buffdesc *app, const open_buffdesc *value, const char *field) {
    std::string name = buffer_text(app);
    if (name.empty() || !value) return OPEN_E_PARAM;
    Table &t = sim.store().table("app_ctrl");
    Record record;
    if (const Record *old = t.find({name})) record = *old;
    record[field] = buffer_text(value);
    return t.upsert({name}, std::move(record));
  };
  sim.implement<CallId::rpcclt_openapiAppCtrlVersionSet>(
      [app_field](openapiClientHandle_t *, const open_buffdesc *app, const open_buffdesc *version) {
        return app_field(app, version, "version");
      });
  sim.implement<CallId::rpcclt_openapiAppCtrlStatusSet>(
      [app_field](openapiClientHandle_t *, const open_buffdesc *app, const open_buffdesc *status) {
        return app_field(app, status, "status");
      });

  sim.implement<CallId::rpcclt_openapiSaveConfig>([&sim](openapiClientHandle_t *) {
    return sim.save_running_config() ? OPEN_E_NONE : OPEN_E_FAIL;
  });
}

}  // namespace veltrum::sim
