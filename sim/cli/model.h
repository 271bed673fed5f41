// The switch state that the CLI's commands act on beyond the settings of the
// other feature families: spanning tree, class of service, PTP, RADIUS
// accounting, 802.1X re-authentication and the IGMP snooping source-specific
// groups. No platform call reaches these settings yet; they live in the same
// store as every other setting, under the name of their platform feature
// ("stp.", "cos.", "ptp.", "radius.", "dot1x.", "snooping_"), so the
// families that add the calls bind them to these keys.
//
// Settings (G global, I per interface; physical ports and LAGs unless said):
//   stp.mode                 G  0/1, spanning tree on (1)
//   stp.force_version        G  StpVersion, default 802.1s
//   cos.trust                G  CosTrust, default 802.1p
//   cos.intf.trust           I  CosTrust
//   cos.dot1p.P              G  traffic class 0-6 of 802.1p priority P (0-7)
//   cos.intf.dot1p.P         I  the same per interface
//   cos.dscp.D               G  traffic class 0-6 of IP DSCP value D (0-63)
//   cos.queue.Q.min_bw       G  minimum bandwidth of queue Q (0-6) in percent, 0-100
//   cos.queue.Q.strict       G  0 weighted, 1 strict priority
//   cos.queue.Q.wred         G  0 tail drop, 1 WRED
//   cos.intf.queue.Q.*       I  the same three per interface
//   ptp.e2e                  G  0/1, the end-to-end transparent clock
//   ptp.intf.e2e             I  0/1 per physical port, default 1
//   radius.accounting        G  0/1, RADIUS accounting
//   authmgr.intf.reauth_period I  seconds, 1-65535, default 3600 (physical ports)
//   authmgr.intf.periodic    I  0/1 periodic re-authentication (physical ports)
//   cli.fault                G  CliFault, dynamic: a fault the telnet service plays (tests)
// Tables:
//   radius_acct_servers      host -> {"name", "port", "secret"} (the RADIUS family's); at most 32
//   snooping_ssm_groups      (vlan, group, ifNum) -> {"include" 0/1, "sources" "a,b,..."};
//                            dynamic (learned from IGMPv3 reports)
#pragma once

#include <cstdint>
#include <string>

namespace veltrum::sim::cli {

enum StpVersion : int64_t { kStp8021D = 0, kStp8021W = 1, kStp8021S = 2 };
enum CosTrust : int64_t { kTrustUntrusted = 0, kTrustDot1p = 1, kTrustIpPrecedence = 2, kTrustIpDscp = 3 };

// Faults the telnet service plays while "cli.fault" holds them.
enum CliFault : int64_t {
  kFaultNone = 0,
  kFaultHangUpAtPassword = 1,  // closes the connection when the user name arrives
  kFaultForeignPrompt = 2,     // after a good password, a prompt of another kind ("switch$ ")
  kFaultHangUpInConfig = 3,    // closes the connection once a session reaches configuration mode
};

inline constexpr int kDot1pPriorities = 8;
inline constexpr int kTrafficClasses = 7;  // traffic classes and queues 0-6
inline constexpr int kDscpValues = 64;
inline constexpr size_t kRadiusAcctServers = 32;

// Keys of the generated settings.
std::string dot1p_key(bool intf, int priority);
std::string dscp_key(int dscp);
std::string queue_key(bool intf, int queue, const char *field);  // field: "min_bw", "strict", "wred"

}  // namespace veltrum::sim::cli
