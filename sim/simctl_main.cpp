// veltrum-simctl: steers a running simulated switch.
//
//   veltrum-simctl [--root DIR] COMMAND [ARGUMENTS]
//
//   check                      0 when the service answers
//   fail CALL COUNT RESULT [SKIP]
//                              the next COUNT calls of CALL answer RESULT
//                              (after SKIP calls that run normally)
//   clear-faults
//   count CALL                 how often CALL was called since the last reset
//   journal                    the calls since the last reset, as JSON
//   reset-counts
//   down MILLISECONDS          stop answering for a while
//   get NAME                   a setting or table as JSON
//   set NAME JSON              write a setting or a table row
//   reload                     running configuration back to the saved one
//   factory-reset
//
// The root defaults to $VELTRUM_ROOT.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "platform/calls/00_system.h"
#include "sim/control_calls.h"
#include "support/device.h"

namespace {

void usage() {
  std::fprintf(stderr,
               "usage: veltrum-simctl [--root DIR] check | fail CALL COUNT RESULT [SKIP] | clear-faults | count CALL |\n"
               "       journal | reset-counts | down MS | get NAME | set NAME JSON | reload | factory-reset\n");
  std::exit(2);
}

open_buffdesc text(const std::string &s) {
  return open_buffdesc{static_cast<uint32_t>(s.size() + 1), const_cast<char *>(s.c_str())};
}

int report(open_error_t rc) {
  if (rc != OPEN_E_NONE) std::fprintf(stderr, "veltrum-simctl: the simulator answered %d\n", rc);
  return rc == OPEN_E_NONE ? 0 : 1;
}

}  // namespace

int main(int argc, char **argv) {
  std::vector<std::string> args(argv + 1, argv + argc);
  if (args.size() >= 2 && args[0] == "--root") {
    set_device_root(args[1]);
    args.erase(args.begin(), args.begin() + 2);
  }
  if (args.empty()) usage();
  openapiClientHandle_t client;
  openapiClientRegister("veltrum-simctl", &client);
  const std::string &cmd = args[0];
  auto need = [&](size_t n) {
    if (args.size() != n + 1) usage();
  };

  if (cmd == "check") {
    need(0);
    return report(rpcclt_openapiConnectivityCheck(&client));
  }
  if (cmd == "fail") {
    if (args.size() != 4 && args.size() != 5) usage();
    open_buffdesc name = text(args[1]);
    uint32_t skip = args.size() == 5 ? static_cast<uint32_t>(std::stoul(args[4])) : 0;
    return report(simctlFaultSetAfter(&client, &name, skip, static_cast<uint32_t>(std::stoul(args[2])),
                                      static_cast<int32_t>(std::stol(args[3]))));
  }
  if (cmd == "clear-faults") {
    need(0);
    return report(simctlFaultsClear(&client));
  }
  if (cmd == "count") {
    need(1);
    open_buffdesc name = text(args[1]);
    uint32_t count = 0;
    int rc = report(simctlCallCountGet(&client, &name, &count));
    if (rc == 0) std::printf("%u\n", count);
    return rc;
  }
  if (cmd == "journal" || cmd == "get") {
    need(cmd == "get" ? 1 : 0);
    std::vector<char> out(1 << 20, 0);
    open_buffdesc json{static_cast<uint32_t>(out.size()), out.data()};
    open_error_t rc;
    if (cmd == "get") {
      open_buffdesc name = text(args[1]);
      rc = simctlStateGet(&client, &name, &json);
    } else {
      rc = simctlCallJournalGet(&client, &json);
    }
    if (rc == OPEN_E_NONE) std::printf("%s\n", out.data());
    return report(rc);
  }
  if (cmd == "reset-counts") {
    need(0);
    return report(simctlCallCountsReset(&client));
  }
  if (cmd == "down") {
    need(1);
    return report(simctlGoDown(&client, static_cast<uint32_t>(std::stoul(args[1]))));
  }
  if (cmd == "set") {
    need(2);
    open_buffdesc name = text(args[1]);
    open_buffdesc json = text(args[2]);
    return report(simctlStateSet(&client, &name, &json));
  }
  if (cmd == "reload") {
    need(0);
    return report(simctlReload(&client));
  }
  if (cmd == "factory-reset") {
    need(0);
    return report(simctlFactoryReset(&client));
  }
  usage();
}
