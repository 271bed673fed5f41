// The simulated switch's command-line interpreter: the modes and prompts of
// the switch CLI, the commands of the catalogue the agent's CLI bridge
// carries, and their "show" outputs in the switch's column layout. Every
// command acts on the model's store, so what the CLI changes the platform
// calls read and the reverse.
//
// Modes and prompts:
//   user exec         "(Veltrum) >"                     enable, show, exit
//   privileged exec   "(Veltrum) #"                     configure, vlan database, disable,
//                                                       write memory, show, exit
//   configuration     "(Veltrum) (Config)#"             global commands, interface, show, end, exit
//   interface         "(Veltrum) (Interface 0/3)#"      per-interface commands, show, end, exit
//   VLAN database     "(Veltrum) (Vlan)#"               vlan, vlan name, no vlan, exit
//
// Interfaces are written "0/N" (interface number N: ports 0/1 and up, LAGs
// from their own numbers on), "0/N-M" for a range, "gN" or "gN-gM" for
// physical ports by position, and "lag K" for the K-th LAG. Any show command
// takes a filter: "| include TEXT", "| exclude TEXT" or "| begin TEXT".
//
// A line the CLI does not understand is answered with a caret under the
// first word it could not take and "% Invalid input detected at '^'
// marker."; a command cut short with "% Incomplete command."; a command the
// switch refuses (a full table, an unknown entry, an entry in use) with one
// line that begins with "% ". Nothing is changed by a refused command.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "sim/sim.h"

namespace veltrum::sim::cli {

class Shell {
 public:
  enum class Mode { UserExec, Privileged, Config, Interface, VlanDb };

  // `may_enable`: the user may enter privileged mode (a read-write user).
  Shell(Sim &sim, Mode mode, bool may_enable = true);

  // Runs one command line and returns what the CLI prints, lines ended by
  // "\n", without the prompt that follows. `caret_column` is where the line
  // began on the terminal (the prompt's width), for the invalid-input caret.
  // Runs under the model's lock.
  std::string execute(const std::string &line, size_t caret_column);

  std::string prompt() const;
  Mode mode() const { return mode_; }
  bool logged_out() const { return logged_out_; }

 private:
  class Args;
  std::string dispatch(Args &a);
  std::string user_exec(Args &a);
  std::string privileged(Args &a);
  std::string config(Args &a);
  std::string interface_mode(Args &a);
  std::string vlan_db(Args &a);
  std::string show(Args &a);

  // Commands that exist in configuration and interface mode alike: global
  // settings in the one, per-interface settings in the other.
  bool cos_command(Args &a, size_t k, bool no);
  bool arp_inspection_command(Args &a, size_t k, bool no);

  std::vector<uint32_t> parse_interfaces(Args &a, size_t i, size_t *next, std::string *label) const;
  uint32_t parse_single_interface(Args &a, size_t i, size_t *next) const;
  std::string interface_name(uint32_t ifNum) const;

  std::string show_stp_summary() const;
  std::string show_cos_trust(const uint32_t *ifNum) const;
  std::string show_dot1p_mapping(const uint32_t *ifNum) const;
  std::string show_dscp_mapping() const;
  std::string show_cos_queue(const uint32_t *ifNum) const;
  std::string show_running_interface(uint32_t ifNum) const;
  std::string show_ptp() const;
  std::string show_ssm_groups() const;
  std::string show_radius_accounting() const;

  Sim &sim_;
  Mode mode_;
  bool may_enable_;
  bool logged_out_ = false;
  std::vector<uint32_t> interfaces_;  // of interface mode
  std::string interface_label_;       // as typed, for the prompt
};

}  // namespace veltrum::sim::cli
