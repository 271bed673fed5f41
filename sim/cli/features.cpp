// The switch CLI's side of the platform: the settings its catalogue commands
// act on (sim/cli/model.h), the administrator's credentials the CLI bridge
// logs in with, and "show" commands run into files.
#include <deque>
#include <vector>

#include "platform/calls/04_users.h"
#include "platform/calls/09_cli.h"
#include "sim/bind.h"
#include "sim/features/users.h"
#include "sim/cli/model.h"
#include "sim/cli/shell.h"
#include "support/files.h"

namespace veltrum::sim {

namespace cli {

std::string dot1p_key(bool intf, int priority) {
  return std::string(intf ? "cos.intf.dot1p." : "cos.dot1p.") + std::to_string(priority);
}
std::string dscp_key(int dscp) { return "cos.dscp." + std::to_string(dscp); }
std::string queue_key(bool intf, int queue, const char *field) {
  return std::string(intf ? "cos.intf.queue." : "cos.queue.") + std::to_string(queue) + "." + field;
}

}  // namespace cli

namespace {

using namespace cli;

constexpr uint32_t kPhy = intf_bit(OPEN_INTF_TYPE_PHY);
constexpr size_t kShowCommandMax = 254;  // characters, without the NUL
constexpr size_t kShowFileMax = 95;

// Traffic class of each 802.1p priority; an IP DSCP value maps like the
// priority of its three high bits.
constexpr int64_t kDot1pDefault[kDot1pPriorities] = {1, 0, 0, 1, 2, 2, 3, 3};

const SettingSpec kSettings[] = {
    {"stp.mode", Scope::Global, int64_t{1}, 0, 1},
    {"stp.force_version", Scope::Global, int64_t{kStp8021S}, kStp8021D, kStp8021S},
    {"cos.trust", Scope::Global, int64_t{kTrustDot1p}, kTrustUntrusted, kTrustIpDscp},
    {"cos.intf.trust", Scope::Intf, int64_t{kTrustDot1p}, kTrustUntrusted, kTrustIpDscp},
    {"ptp.e2e", Scope::Global, int64_t{0}, 0, 1},
    {"ptp.intf.e2e", Scope::Intf, int64_t{1}, 0, 1, true, kPhy},
    {"radius.accounting", Scope::Global, int64_t{0}, 0, 1},
    {"authmgr.intf.reauth_period", Scope::Intf, int64_t{3600}, 1, 65535, true, kPhy},
    {"authmgr.intf.periodic", Scope::Intf, int64_t{0}, 0, 1, true, kPhy},
    {"cli.fault", Scope::Global, int64_t{kFaultNone}, kFaultNone, kFaultHangUpInConfig, false},
};
const TableSpec kRadiusAcctServerTable{"radius_acct_servers", cli::kRadiusAcctServers, true};
const TableSpec kSsmGroups{"snooping_ssm_groups", 1024, false};

// The class-of-service maps and queues: one setting per priority, DSCP
// value and queue, globally and per interface. Built once; the store keeps
// pointers to these records.
const std::vector<SettingSpec> &cos_settings() {
  static std::deque<std::string> names;
  static const std::vector<SettingSpec> specs = [] {
    std::vector<SettingSpec> out;
    auto add = [&](std::string key, bool intf, int64_t initial, int64_t max) {
      names.push_back(std::move(key));
      SettingSpec &setting = out.emplace_back();
      setting.key = names.back().c_str();
      setting.scope = intf ? Scope::Intf : Scope::Global;
      setting.initial = initial;
      setting.max = max;
    };
    for (bool intf : {false, true}) {
      for (int p = 0; p < kDot1pPriorities; ++p) add(dot1p_key(intf, p), intf, kDot1pDefault[p], kTrafficClasses - 1);
      for (int q = 0; q < kTrafficClasses; ++q) {
        add(queue_key(intf, q, "min_bw"), intf, 0, 100);
        add(queue_key(intf, q, "strict"), intf, 0, 1);
        add(queue_key(intf, q, "wred"), intf, 0, 1);
      }
    }
    for (int d = 0; d < kDscpValues; ++d) add(dscp_key(d), false, kDot1pDefault[d >> 3], kTrafficClasses - 1);
    return out;
  }();
  return specs;
}

// A file the platform may write "show" output to: a plain name under /tmp.
bool valid_show_file(const std::string &file) {
  if (file.size() <= 5 || file.size() > kShowFileMax || file.compare(0, 5, "/tmp/") != 0) return false;
  if (file.find("..") != std::string::npos || file.back() == '/') return false;
  for (unsigned char c : file)
    if (!isalnum(c) && c != '/' && c != '.' && c != '_' && c != '-') return false;
  return true;
}

}  // namespace

// The CLI reaches settings of many families. It installs after all of them
// (order kCliPartOrder) and defines only what no family defined: the state
// a family's own part defines is the one the CLI reads and writes.
constexpr uint32_t kCliPartOrder = 1000;

VELTRUM_SIM_PART(cli, kCliPartOrder) {
  namespace users = calls::users;
  Store &store = sim.store();
  auto define_missing = [&store](const SettingSpec *specs, size_t count) {
    for (size_t i = 0; i < count; ++i)
      if (!store.has_setting(specs[i].key)) store.define(specs[i]);
  };
  define_missing(kSettings, std::size(kSettings));
  const std::vector<SettingSpec> &cos = cos_settings();
  define_missing(cos.data(), cos.size());
  for (const TableSpec *t : {&kRadiusAcctServerTable, &kSsmGroups})
    if (!store.has_table(t->name)) store.define_table(*t);

  sim.implement<users::CallId::rpcclt_openapiUserNameSizeGet>([](openapiClientHandle_t *, uint32_t *size) {
    if (!size) return OPEN_E_PARAM;
    *size = OPEN_USER_NAME_SIZE;
    return OPEN_E_NONE;
  });
  sim.implement<users::CallId::rpcclt_openapiPasswordSizeGet>([](openapiClientHandle_t *, uint32_t *size) {
    if (!size) return OPEN_E_PARAM;
    *size = OPEN_PASSWORD_SIZE;
    return OPEN_E_NONE;
  });
  sim.implement<users::CallId::rpcclt_openapiUserPasswordGet>(
      [&sim](openapiClientHandle_t *, const open_buffdesc *userName, open_buffdesc *password) {
        std::string user = buffer_text(userName);
        if (!sim.store().table("users").find({user})) return OPEN_E_NOT_FOUND;
        std::string clear = known_password(sim, user);
        if (clear.empty()) return OPEN_E_UNAVAIL;
        return fill_text(password, clear);
      });

  // Runs the command as the privileged CLI would and writes what it prints,
  // an invalid-input answer included, to the file under the device root.
  sim.implement<calls::cli::CallId::rpcclt_openapiCliShowExecuteToFile>(
      [&sim](openapiClientHandle_t *, const open_buffdesc *command, const open_buffdesc *fileName) {
        std::string line = buffer_text(command);
        std::string file = buffer_text(fileName);
        if (line.empty() || line.size() > kShowCommandMax || !valid_show_file(file)) return OPEN_E_PARAM;
        size_t first = line.find_first_not_of(' ');
        if (first == std::string::npos || line.compare(first, 5, "show ") != 0) return OPEN_E_PARAM;
        Shell shell(sim, Shell::Mode::Privileged);
        std::string output = shell.execute(line, 0);
        return write_file_atomic(sim.options().root + file, output) == 0 ? OPEN_E_NONE : OPEN_E_FAIL;
      });
}

}  // namespace veltrum::sim
