#include "sim/cli/shell.h"

#include "platform/calls/02_vlans.h"

#include <arpa/inet.h>
#include <strings.h>

#include <cctype>
#include <cstdarg>
#include <cstdio>

#include "sim/cli/model.h"

namespace veltrum::sim::cli {

namespace {

// Why a command line was not carried out.
struct Reject {
  enum Kind { Invalid, Incomplete, Refused } kind;
  size_t token = 0;     // Invalid: the word the caret points at
  std::string message;  // Refused: the switch's reason
};

[[noreturn]] void refuse(const char *format, ...) __attribute__((format(printf, 1, 2)));
void refuse(const char *format, ...) {
  char text[256];
  va_list args;
  va_start(args, format);
  std::vsnprintf(text, sizeof text, format, args);
  va_end(args);
  throw Reject{Reject::Refused, 0, text};
}

// Lines of a "show" output.
class Text {
 public:
  Text &line(const char *format, ...) __attribute__((format(printf, 2, 3))) {
    char buffer[512];
    va_list args;
    va_start(args, format);
    std::vsnprintf(buffer, sizeof buffer, format, args);
    va_end(args);
    out_ += buffer;
    out_ += '\n';
    return *this;
  }
  // "Label........ value", the dots filling the label to `width`.
  Text &dotted(const std::string &label, const std::string &value, size_t width) {
    std::string l = label;
    if (l.size() < width) l.append(width - l.size(), '.');
    out_ += l + " " + value + "\n";
    return *this;
  }
  std::string str() const { return out_; }

 private:
  std::string out_;
};

const char *enabled(int64_t v) { return v ? "Enabled" : "Disabled"; }

const char *const kTrustKeywords[] = {"untrusted", "dot1p", "ip-precedence", "ip-dscp"};
const char *const kTrustNames[] = {"Untrusted", "Dot1P", "IP Precedence", "IP DSCP"};
const char *const kStpVersionKeywords[] = {"802.1d", "802.1w", "802.1s"};
const char *const kStpVersionNames[] = {"IEEE 802.1D", "IEEE 802.1w", "IEEE 802.1s"};

// The index of `word` in `words`, or -1.
template <size_t N>
int keyword_index(const std::string &word, const char *const (&words)[N]) {
  for (size_t i = 0; i < N; ++i)
    if (strcasecmp(word.c_str(), words[i]) == 0) return static_cast<int>(i);
  return -1;
}

bool valid_host(const std::string &host) {
  in_addr a{};
  if (inet_pton(AF_INET, host.c_str(), &a) == 1) return true;
  if (host.empty() || host.size() > 255 || !isalnum(static_cast<unsigned char>(host[0]))) return false;
  for (unsigned char c : host)
    if (!isalnum(c) && c != '.' && c != '-') return false;
  return true;
}

// Parses "N" or "N-M" (with an optional repeated prefix before M, as in
// "g1-g8" or "0/1-0/8") from `text` after `prefix`.
bool parse_range(const std::string &text, const std::string &prefix, long &first, long &last) {
  if (text.size() <= prefix.size() || strncasecmp(text.c_str(), prefix.c_str(), prefix.size()) != 0) return false;
  const char *p = text.c_str() + prefix.size();
  char *end = nullptr;
  if (!isdigit(static_cast<unsigned char>(*p))) return false;
  first = std::strtol(p, &end, 10);
  last = first;
  if (*end == '\0') return true;
  if (*end != '-') return false;
  p = end + 1;
  if (strncasecmp(p, prefix.c_str(), prefix.size()) == 0) p += prefix.size();
  if (!isdigit(static_cast<unsigned char>(*p))) return false;
  last = std::strtol(p, &end, 10);
  return *end == '\0' && last >= first;
}

}  // namespace

// ---------------------------------------------------------------- words of a line

class Shell::Args {
 public:
  explicit Args(const std::string &line) : end_(line.size()) {
    size_t i = 0;
    while (i < line.size()) {
      while (i < line.size() && isspace(static_cast<unsigned char>(line[i]))) ++i;
      if (i >= line.size()) break;
      size_t start = i;
      while (i < line.size() && !isspace(static_cast<unsigned char>(line[i]))) ++i;
      words_.push_back(line.substr(start, i - start));
      at_.push_back(start);
    }
  }
  size_t size() const { return words_.size(); }
  bool has(size_t i) const { return i < words_.size(); }
  const std::string &word(size_t i) const {
    if (!has(i)) throw Reject{Reject::Incomplete, 0, {}};
    return words_[i];
  }
  bool is(size_t i, const char *keyword) const { return has(i) && strcasecmp(words_[i].c_str(), keyword) == 0; }
  void expect(size_t i, const char *keyword) const {
    if (!is(i, keyword)) word(i), invalid(i);
  }
  long number(size_t i, long min, long max) const {
    const std::string &w = word(i);
    char *end = nullptr;
    long v = std::strtol(w.c_str(), &end, 10);
    if (w.empty() || *end != '\0' || !isdigit(static_cast<unsigned char>(w[0])) || v < min || v > max) invalid(i);
    return v;
  }
  // Nothing may follow word i - 1.
  void end(size_t i) const {
    if (has(i)) invalid(i);
  }
  [[noreturn]] void invalid(size_t i) const { throw Reject{Reject::Invalid, i, {}}; }
  size_t column(size_t i) const { return i < at_.size() ? at_[i] : end_; }

 private:
  std::vector<std::string> words_;
  std::vector<size_t> at_;
  size_t end_;
};

// ---------------------------------------------------------------- the interpreter

Shell::Shell(Sim &sim, Mode mode, bool may_enable) : sim_(sim), mode_(mode), may_enable_(may_enable) {}

std::string Shell::prompt() const {
  switch (mode_) {
    case Mode::UserExec:
      return "(Veltrum) >";
    case Mode::Privileged:
      return "(Veltrum) #";
    case Mode::Config:
      return "(Veltrum) (Config)#";
    case Mode::Interface:
      return "(Veltrum) (Interface " + interface_label_ + ")#";
    case Mode::VlanDb:
      return "(Veltrum) (Vlan)#";
  }
  return "";
}

std::string Shell::execute(const std::string &line, size_t caret_column) {
  std::string command = line;
  std::string filter;
  size_t filter_at = line.find('|');
  if (filter_at != std::string::npos) {
    command = line.substr(0, filter_at);
    filter = line.substr(filter_at + 1);
  }
  Args a(command);
  if (a.size() == 0 && filter_at == std::string::npos) return "";
  std::string out;
  try {
    if (filter_at != std::string::npos && !a.is(0, "show")) throw Reject{Reject::Invalid, a.size(), {}};
    out = dispatch(a);
  } catch (const Reject &r) {
    switch (r.kind) {
      case Reject::Invalid:
        return std::string(caret_column + a.column(r.token), ' ') + "^\n% Invalid input detected at '^' marker.\n";
      case Reject::Incomplete:
        return "% Incomplete command.\n";
      case Reject::Refused:
        return "% " + r.message + "\n";
    }
  }
  if (filter_at == std::string::npos) return out;

  Args f(filter);
  int kind = f.size() >= 2 ? keyword_index(f.word(0), {"include", "exclude", "begin"}) : -1;
  if (kind < 0) {
    size_t at = filter_at + 1 + f.column(f.size() >= 2 ? 0 : f.size());
    return std::string(caret_column + at, ' ') + "^\n% Invalid input detected at '^' marker.\n";
  }
  std::string pattern = filter.substr(f.column(1));
  while (!pattern.empty() && isspace(static_cast<unsigned char>(pattern.back()))) pattern.pop_back();
  std::string kept;
  bool begun = false;
  for (size_t start = 0; start < out.size();) {
    size_t nl = out.find('\n', start);
    std::string one = out.substr(start, nl - start + 1);
    start = nl + 1;
    bool match = one.find(pattern) != std::string::npos;
    begun = begun || match;
    if ((kind == 0 && match) || (kind == 1 && !match) || (kind == 2 && begun)) kept += one;
  }
  return kept;
}

std::string Shell::dispatch(Args &a) {
  if (a.is(0, "show")) return show(a);
  switch (mode_) {
    case Mode::UserExec:
      return user_exec(a);
    case Mode::Privileged:
      return privileged(a);
    case Mode::Config:
      return config(a);
    case Mode::Interface:
      return interface_mode(a);
    case Mode::VlanDb:
      return vlan_db(a);
  }
  a.invalid(0);
}

std::string Shell::user_exec(Args &a) {
  if (a.is(0, "enable")) {
    a.end(1);
    if (!may_enable_) refuse("Insufficient privilege level.");
    mode_ = Mode::Privileged;
    return "";
  }
  if (a.is(0, "exit") || a.is(0, "logout") || a.is(0, "quit")) {
    a.end(1);
    logged_out_ = true;
    return "";
  }
  a.invalid(0);
}

std::string Shell::privileged(Args &a) {
  if (a.is(0, "configure")) {
    a.end(1);
    mode_ = Mode::Config;
    return "";
  }
  if (a.is(0, "vlan")) {
    a.expect(1, "database");
    a.end(2);
    mode_ = Mode::VlanDb;
    return "";
  }
  if (a.is(0, "disable")) {
    a.end(1);
    mode_ = Mode::UserExec;
    return "";
  }
  bool save = false;
  if (a.is(0, "write")) {
    a.expect(1, "memory");
    a.end(2);
    save = true;
  } else if (a.is(0, "copy")) {
    a.expect(1, "running-config");
    a.expect(2, "startup-config");
    a.end(3);
    save = true;
  }
  if (save) {
    if (!sim_.save_running_config()) refuse("The configuration could not be saved.");
    return "Configuration Saved!\n";
  }
  return user_exec(a);
}

std::string Shell::config(Args &a) {
  if (a.is(0, "end") || a.is(0, "exit")) {
    a.end(1);
    mode_ = Mode::Privileged;
    return "";
  }
  if (a.is(0, "interface")) {
    size_t next = 0;
    std::string label;
    std::vector<uint32_t> list = parse_interfaces(a, 1, &next, &label);
    a.end(next);
    interfaces_ = std::move(list);
    interface_label_ = label;
    mode_ = Mode::Interface;
    return "";
  }
  Store &store = sim_.store();
  bool no = a.is(0, "no");
  size_t k = no ? 1 : 0;
  if (cos_command(a, k, no) || arp_inspection_command(a, k, no)) return "";

  if (a.is(k, "spanning-tree")) {
    if (!a.has(k + 1)) {
      store.set("stp.mode", int64_t{no ? 0 : 1});
      return "";
    }
    a.expect(k + 1, "forceversion");
    int64_t version = std::get<int64_t>(store.spec("stp.force_version").initial);
    if (!no) {
      int v = keyword_index(a.word(k + 2), kStpVersionKeywords);
      if (v < 0) a.invalid(k + 2);
      version = v;
      a.end(k + 3);
    } else {
      a.end(k + 2);
    }
    store.set("stp.force_version", version);
    return "";
  }
  if (a.is(k, "ptp")) {
    a.expect(k + 1, "clock");
    a.expect(k + 2, "e2e-transparent");
    a.end(k + 3);
    store.set("ptp.e2e", int64_t{no ? 0 : 1});
    return "";
  }
  if (a.is(k, "radius")) {
    if (a.is(k + 1, "accounting")) {
      a.expect(k + 2, "mode");
      a.end(k + 3);
      store.set("radius.accounting", int64_t{no ? 0 : 1});
      return "";
    }
    a.expect(k + 1, "server");
    a.expect(k + 2, "host");
    a.expect(k + 3, "acct");
    const std::string &host = a.word(k + 4);
    if (!valid_host(host)) a.invalid(k + 4);
    Table &servers = store.table("radius_acct_servers");
    if (no) {
      a.end(k + 5);
      if (servers.erase({host}) != OPEN_E_NONE) refuse("The accounting server %s is not configured.", host.c_str());
      return "";
    }
    int64_t port = 1813;
    if (a.has(k + 5)) {
      a.expect(k + 5, "port");
      port = a.number(k + 6, 1, 65535);
      a.end(k + 7);
    }
    // A server the switch has keeps its name and secret; a new one is named
    // by its address and has no secret of its own.
    Record server{{"name", host}, {"secret", std::string()}};
    if (const Record *old = servers.find({host})) server = *old;
    server["port"] = port;
    if (servers.upsert({host}, std::move(server)) == OPEN_E_FULL)
      refuse("The maximum of %zu accounting servers is configured already.", kRadiusAcctServers);
    return "";
  }
  a.invalid(k);
}

std::string Shell::interface_mode(Args &a) {
  if (a.is(0, "exit") || a.is(0, "end")) {
    a.end(1);
    mode_ = a.is(0, "exit") ? Mode::Config : Mode::Privileged;
    return "";
  }
  Store &store = sim_.store();
  bool no = a.is(0, "no");
  size_t k = no ? 1 : 0;
  if (cos_command(a, k, no) || arp_inspection_command(a, k, no)) return "";

  // Each interface of the mode must carry the setting; nothing changes otherwise.
  auto set_each = [&](const char *key, int64_t value) {
    for (uint32_t i : interfaces_)
      if (store.check_index(key, i) != OPEN_E_NONE)
        refuse("This command is not supported on interface %s.", interface_name(i).c_str());
    for (uint32_t i : interfaces_)
      if (store.set(key, i, value) != OPEN_E_NONE) refuse("The value is out of range.");
  };
  if (a.is(k, "ptp")) {
    a.expect(k + 1, "clock");
    a.expect(k + 2, "e2e-transparent");
    a.end(k + 3);
    set_each("ptp.intf.e2e", no ? 0 : 1);
    return "";
  }
  if (a.is(k, "dot1x")) {
    if (a.is(k + 1, "re-authentication")) {
      a.end(k + 2);
      set_each("authmgr.intf.periodic", no ? 0 : 1);
      return "";
    }
    a.expect(k + 1, "timeout");
    a.expect(k + 2, "reauth-period");
    int64_t period = std::get<int64_t>(store.spec("authmgr.intf.reauth_period").initial);
    if (no) {
      a.end(k + 3);
    } else {
      period = a.number(k + 3, 1, 65535);
      a.end(k + 4);
    }
    set_each("authmgr.intf.reauth_period", period);
    return "";
  }
  a.invalid(k);
}

std::string Shell::vlan_db(Args &a) {
  if (a.is(0, "exit") || a.is(0, "end")) {
    a.end(1);
    mode_ = Mode::Privileged;
    return "";
  }
  Store &store = sim_.store();
  Table &vlans = store.table("vlans");
  auto max_vlan = static_cast<long>(sim_.options().max_vlan);
  if (a.is(0, "vlan") && a.is(1, "name")) {
    auto id = a.number(2, 1, max_vlan);
    const std::string &name = a.word(3);
    if (name.size() > 32) a.invalid(3);
    a.end(4);
    Record *r = vlans.find({int64_t{id}});
    if (!r) refuse("VLAN %ld does not exist.", id);
    (*r)["name"] = name;
    return "";
  }
  if (a.is(0, "vlan")) {
    auto id = a.number(1, 1, max_vlan);
    a.end(2);
    if (vlans.find({int64_t{id}})) return "";
    if (vlans.insert({int64_t{id}}, {{"name", std::string()}, {"type", int64_t{OPEN_VLAN_TYPE_ADMIN}}}) != OPEN_E_NONE)
      refuse("The maximum number of VLANs is configured already.");
    return "";
  }
  if (a.is(0, "no") && a.is(1, "vlan")) {
    auto id = a.number(2, 1, max_vlan);
    a.end(3);
    switch (sim_.delete_vlan(static_cast<uint32_t>(id))) {
      case OPEN_E_NONE:
        return "";
      case OPEN_E_PARAM:
        refuse("The default VLAN cannot be deleted.");
      case OPEN_E_NOT_FOUND:
        refuse("VLAN %ld does not exist.", id);
      case OPEN_E_INUSE:
        if (store.integer("network.mgmt_vlan") == id) refuse("VLAN %ld is the management VLAN and cannot be deleted.", id);
        refuse("VLAN %ld has a routing interface.", id);
      default:
        refuse("VLAN %ld could not be deleted.", id);
    }
  }
  a.invalid(0);
}

// "classofservice ..." and "cos-queue ...": the global maps and queues in
// configuration mode, the interface's in interface mode.
bool Shell::cos_command(Args &a, size_t k, bool no) {
  if (!a.is(k, "classofservice") && !a.is(k, "cos-queue")) return false;
  Store &store = sim_.store();
  bool intf = mode_ == Mode::Interface;
  std::vector<std::pair<std::string, int64_t>> changes;
  auto initial = [&](const std::string &key) { return std::get<int64_t>(store.spec(key).initial); };

  if (a.is(k, "classofservice") && a.is(k + 1, "trust")) {
    const char *key = intf ? "cos.intf.trust" : "cos.trust";
    int64_t trust = initial(key);
    if (!no) {
      int t = keyword_index(a.word(k + 2), kTrustKeywords);
      if (t < 0) a.invalid(k + 2);
      trust = t;
      a.end(k + 3);
    } else {
      a.end(k + 2);
    }
    changes.emplace_back(key, trust);
  } else if (a.is(k, "classofservice") && a.is(k + 1, "dot1p-mapping")) {
    if (no) {
      a.end(k + 2);
      for (int p = 0; p < kDot1pPriorities; ++p) changes.emplace_back(dot1p_key(intf, p), initial(dot1p_key(intf, p)));
    } else {
      int p = static_cast<int>(a.number(k + 2, 0, kDot1pPriorities - 1));
      int64_t tc = a.number(k + 3, 0, kTrafficClasses - 1);
      a.end(k + 4);
      changes.emplace_back(dot1p_key(intf, p), tc);
    }
  } else if (a.is(k, "classofservice") && a.is(k + 1, "ip-dscp-mapping") && !intf) {
    if (no) {
      a.end(k + 2);
      for (int d = 0; d < kDscpValues; ++d) changes.emplace_back(dscp_key(d), initial(dscp_key(d)));
    } else {
      int d = static_cast<int>(a.number(k + 2, 0, kDscpValues - 1));
      int64_t tc = a.number(k + 3, 0, kTrafficClasses - 1);
      a.end(k + 4);
      changes.emplace_back(dscp_key(d), tc);
    }
  } else if (a.is(k, "classofservice")) {
    a.word(k + 1);
    a.invalid(k + 1);
  } else if (a.is(k + 1, "min-bandwidth")) {
    long sum = 0;
    for (int q = 0; q < kTrafficClasses; ++q) {
      int64_t bw = no ? 0 : a.number(k + 2 + q, 0, 100);
      sum += bw;
      changes.emplace_back(queue_key(intf, q, "min_bw"), bw);
    }
    a.end(no ? k + 2 : k + 2 + kTrafficClasses);
    if (sum > 100) refuse("The sum of the minimum bandwidths may not exceed 100 percent.");
  } else if (a.is(k + 1, "strict") || a.is(k + 1, "random-detect")) {
    const char *field = a.is(k + 1, "strict") ? "strict" : "wred";
    a.word(k + 2);
    for (size_t i = k + 2; a.has(i); ++i)
      changes.emplace_back(queue_key(intf, static_cast<int>(a.number(i, 0, kTrafficClasses - 1)), field), no ? 0 : 1);
  } else {
    a.word(k + 1);
    a.invalid(k + 1);
  }

  if (!intf) {
    for (const auto &[key, value] : changes) store.set(key, value);
    return true;
  }
  for (const auto &[key, value] : changes)
    for (uint32_t i : interfaces_)
      if (store.set(key, i, value) != OPEN_E_NONE)
        refuse("This command is not supported on interface %s.", interface_name(i).c_str());
  return true;
}

// Dynamic ARP Inspection: the validation modes in configuration mode, trust
// and rate limit in interface mode (the settings of the platform's DAI calls).
bool Shell::arp_inspection_command(Args &a, size_t k, bool no) {
  if (!a.is(k, "ip") || !a.is(k + 1, "arp")) return false;
  a.expect(k + 2, "inspection");
  Store &store = sim_.store();
  if (mode_ == Mode::Config) {
    a.expect(k + 3, "validate");
    a.word(k + 4);
    std::vector<const char *> keys;
    for (size_t i = k + 4; a.has(i); ++i) {
      int v = keyword_index(a.word(i), {"src-mac", "dst-mac", "ip"});
      if (v < 0) a.invalid(i);
      keys.push_back(v == 0 ? "dai.smac" : v == 1 ? "dai.dmac" : "dai.ip");
    }
    for (const char *key : keys) store.set(key, int64_t{no ? 0 : 1});
    return true;
  }
  std::vector<std::pair<const char *, int64_t>> changes;
  if (a.is(k + 3, "trust")) {
    a.end(k + 4);
    changes.emplace_back("dai.intf.trust", no ? 0 : 1);
  } else {
    a.expect(k + 3, "limit");
    int64_t rate = std::get<int64_t>(store.spec("dai.intf.rate").initial);
    int64_t burst = std::get<int64_t>(store.spec("dai.intf.burst").initial);
    if (no) {
      a.end(k + 4);
    } else if (a.is(k + 4, "none")) {
      a.end(k + 5);
      rate = -1;
    } else {
      a.expect(k + 4, "rate");
      rate = a.number(k + 5, 0, 300);
      if (a.has(k + 6)) {
        a.expect(k + 6, "burst");
        a.expect(k + 7, "interval");
        burst = a.number(k + 8, 1, 15);
        a.end(k + 9);
      }
    }
    changes.emplace_back("dai.intf.rate", rate);
    changes.emplace_back("dai.intf.burst", burst);
  }
  for (const auto &[key, value] : changes)
    for (uint32_t i : interfaces_)
      if (store.set(key, i, value) != OPEN_E_NONE)
        refuse("This command is not supported on interface %s.", interface_name(i).c_str());
  return true;
}

// ---------------------------------------------------------------- interfaces

std::vector<uint32_t> Shell::parse_interfaces(Args &a, size_t i, size_t *next, std::string *label) const {
  std::vector<uint32_t> phy, lag;
  for (const auto &intf : sim_.interfaces()) {
    if (intf.type == OPEN_INTF_TYPE_PHY) phy.push_back(intf.ifNum);
    if (intf.type == OPEN_INTF_TYPE_LAG) lag.push_back(intf.ifNum);
  }
  std::vector<uint32_t> out;
  if (a.is(i, "lag")) {
    if (lag.empty()) a.invalid(i);
    long n = a.number(i + 1, 1, static_cast<long>(lag.size()));
    *next = i + 2;
    *label = "lag " + std::to_string(n);
    return {lag[n - 1]};
  }
  const std::string &w = a.word(i);
  long first = 0, last = 0;
  if (parse_range(w, "g", first, last)) {
    if (first < 1 || last > static_cast<long>(phy.size())) a.invalid(i);
    for (long n = first; n <= last; ++n) out.push_back(phy[n - 1]);
  } else if (parse_range(w, "0/", first, last)) {
    for (long n = first; n <= last; ++n) {
      const Interface *intf = sim_.interface(static_cast<uint32_t>(n));
      if (!intf || !(intf_bit(intf->type) & kPhyAndLag)) a.invalid(i);
      out.push_back(intf->ifNum);
    }
  } else {
    a.invalid(i);
  }
  *next = i + 1;
  *label = w;
  return out;
}

uint32_t Shell::parse_single_interface(Args &a, size_t i, size_t *next) const {
  std::string label;
  std::vector<uint32_t> list = parse_interfaces(a, i, next, &label);
  if (list.size() != 1) a.invalid(i);
  return list[0];
}

std::string Shell::interface_name(uint32_t ifNum) const {
  const Interface *i = sim_.interface(ifNum);
  return i ? i->name : "0/" + std::to_string(ifNum);
}

// ---------------------------------------------------------------- show

std::string Shell::show(Args &a) {
  size_t next = 0;
  if (a.is(1, "spanning-tree")) {
    a.expect(2, "summary");
    a.end(3);
    return show_stp_summary();
  }
  if (a.is(1, "classofservice")) {
    if (a.is(2, "ip-dscp-mapping")) {
      a.end(3);
      return show_dscp_mapping();
    }
    if (!a.is(2, "trust") && !a.is(2, "dot1p-mapping")) a.word(2), a.invalid(2);
    uint32_t ifNum = 0;
    bool one = a.has(3);
    if (one) {
      ifNum = parse_single_interface(a, 3, &next);
      a.end(next);
    }
    return a.is(2, "trust") ? show_cos_trust(one ? &ifNum : nullptr) : show_dot1p_mapping(one ? &ifNum : nullptr);
  }
  if (a.is(1, "interfaces")) {
    a.expect(2, "cos-queue");
    uint32_t ifNum = 0;
    bool one = a.has(3);
    if (one) {
      ifNum = parse_single_interface(a, 3, &next);
      a.end(next);
    }
    return show_cos_queue(one ? &ifNum : nullptr);
  }
  if (a.is(1, "running-config")) {
    a.expect(2, "interface");
    uint32_t ifNum = parse_single_interface(a, 3, &next);
    a.end(next);
    return show_running_interface(ifNum);
  }
  if (a.is(1, "ptp")) {
    a.expect(2, "clock");
    a.expect(3, "e2e-transparent");
    a.end(4);
    return show_ptp();
  }
  if (a.is(1, "igmpsnooping")) {
    a.expect(2, "ssm");
    a.expect(3, "groups");
    a.end(4);
    return show_ssm_groups();
  }
  if (a.is(1, "radius")) {
    a.expect(2, "accounting");
    a.end(3);
    return show_radius_accounting();
  }
  a.word(1);
  a.invalid(1);
}

std::string Shell::show_stp_summary() const {
  const Store &s = sim_.store();
  Text t;
  t.dotted("Spanning Tree Adminmode", enabled(s.integer("stp.mode")), 34);
  t.dotted("Spanning Tree Version", kStpVersionNames[s.integer("stp.force_version")], 34);
  t.line("No MST instances to display.");
  return t.str();
}

std::string Shell::show_cos_trust(const uint32_t *ifNum) const {
  const Store &s = sim_.store();
  int64_t trust = ifNum ? s.integer("cos.intf.trust", *ifNum) : s.integer("cos.trust");
  Text t;
  if (ifNum) t.line("Interface: %s", interface_name(*ifNum).c_str());
  t.line("Class of Service Trust Mode: %s", kTrustNames[trust]);
  return t.str();
}

std::string Shell::show_dot1p_mapping(const uint32_t *ifNum) const {
  const Store &s = sim_.store();
  Text t;
  if (ifNum) t.line("Interface: %s", interface_name(*ifNum).c_str()).line("%s", "");
  t.line("User Priority   Traffic Class").line("-------------   -------------");
  for (int p = 0; p < kDot1pPriorities; ++p) {
    int64_t tc = ifNum ? s.integer(dot1p_key(true, p), *ifNum) : s.integer(dot1p_key(false, p));
    t.line("%-13d   %lld", p, static_cast<long long>(tc));
  }
  return t.str();
}

std::string Shell::show_dscp_mapping() const {
  Text t;
  t.line("IP DSCP         Traffic Class").line("-------------   -------------");
  for (int d = 0; d < kDscpValues; ++d)
    t.line("%-13d   %lld", d, static_cast<long long>(sim_.store().integer(dscp_key(d))));
  return t.str();
}

std::string Shell::show_cos_queue(const uint32_t *ifNum) const {
  const Store &s = sim_.store();
  bool intf = ifNum != nullptr;
  auto value = [&](int q, const char *field) {
    return intf ? s.integer(queue_key(true, q, field), *ifNum) : s.integer(queue_key(false, q, field));
  };
  Text t;
  if (intf)
    t.dotted("Interface", interface_name(*ifNum), 46);
  else
    t.line("Global Configuration");
  t.line("%s", "");
  t.line("Queue Id  Min. Bandwidth  Scheduler Type  Queue Management Type");
  t.line("--------  --------------  --------------  ---------------------");
  for (int q = 0; q < kTrafficClasses; ++q)
    t.line("%-8d  %-14lld  %-14s  %s", q, static_cast<long long>(value(q, "min_bw")),
           value(q, "strict") ? "Strict" : "Weighted", value(q, "wred") ? "WRED" : "Tail Drop");
  return t.str();
}

// The interface's configuration: its trust mode always, everything else
// where it differs from the default.
std::string Shell::show_running_interface(uint32_t ifNum) const {
  const Store &s = sim_.store();
  auto differs = [&](const std::string &key) {
    return s.check_index(key, ifNum) == OPEN_E_NONE && s.integer(key, ifNum) != std::get<int64_t>(s.spec(key).initial);
  };
  const Interface *intf = sim_.interface(ifNum);
  Text t;
  t.line("!Current Configuration:").line("!");
  t.line("interface %s", intf->name.c_str());
  t.line("classofservice trust %s", kTrustKeywords[s.integer("cos.intf.trust", ifNum)]);
  for (int p = 0; p < kDot1pPriorities; ++p)
    if (differs(dot1p_key(true, p)))
      t.line("classofservice dot1p-mapping %d %lld", p, static_cast<long long>(s.integer(dot1p_key(true, p), ifNum)));
  std::string bandwidths, strict, wred;
  bool any_bw = false;
  for (int q = 0; q < kTrafficClasses; ++q) {
    any_bw = any_bw || differs(queue_key(true, q, "min_bw"));
    bandwidths += " " + std::to_string(s.integer(queue_key(true, q, "min_bw"), ifNum));
    if (differs(queue_key(true, q, "strict"))) strict += " " + std::to_string(q);
    if (differs(queue_key(true, q, "wred"))) wred += " " + std::to_string(q);
  }
  if (any_bw) t.line("cos-queue min-bandwidth%s", bandwidths.c_str());
  if (!strict.empty()) t.line("cos-queue strict%s", strict.c_str());
  if (!wred.empty()) t.line("cos-queue random-detect%s", wred.c_str());
  if (differs("ptp.intf.e2e")) t.line("%sptp clock e2e-transparent", s.integer("ptp.intf.e2e", ifNum) ? "" : "no ");
  if (differs("authmgr.intf.reauth_period"))
    t.line("dot1x timeout reauth-period %lld", static_cast<long long>(s.integer("authmgr.intf.reauth_period", ifNum)));
  if (differs("authmgr.intf.periodic")) t.line("dot1x re-authentication");
  if (differs("dai.intf.trust")) t.line("ip arp inspection trust");
  if (differs("dai.intf.rate") || differs("dai.intf.burst")) {
    int64_t rate = s.integer("dai.intf.rate", ifNum);
    if (rate < 0)
      t.line("ip arp inspection limit none");
    else
      t.line("ip arp inspection limit rate %lld burst interval %lld", static_cast<long long>(rate),
             static_cast<long long>(s.integer("dai.intf.burst", ifNum)));
  }
  t.line("exit");
  return t.str();
}

std::string Shell::show_ptp() const {
  const Store &s = sim_.store();
  int64_t global = s.integer("ptp.e2e");
  Text t;
  t.line("PTP End-to-End Transparent Clock");
  t.dotted("Admin Mode", enabled(global), 46);
  t.line("%s", "");
  t.line("Intf      Port ID   Admin Mode   Oper Mode");
  t.line("--------  --------  -----------  -----------");
  for (const auto &i : sim_.interfaces()) {
    if (i.type != OPEN_INTF_TYPE_PHY) continue;
    int64_t admin = s.integer("ptp.intf.e2e", i.ifNum);
    t.line("%-8s  %-8u  %-11s  %s", i.name.c_str(), i.ifNum, enabled(admin), enabled(admin && global));
  }
  return t.str();
}

// Each source is written "0/N/ADDRESS": the interface that reported it, then
// the address.
std::string Shell::show_ssm_groups() const {
  Text t;
  t.line("IGMP Snooping Source-Specific Multicast Groups").line("%s", "");
  t.line("VLAN  Group            Interface  Filter   Sources");
  t.line("----  ---------------  ---------  -------  ---------------");
  for (const auto &[key, r] : sim_.store().table("snooping_ssm_groups").rows()) {
    auto vlan = std::get<int64_t>(key.at(0));
    const std::string &group = std::get<std::string>(key.at(1));
    std::string intf = "0/" + std::to_string(std::get<int64_t>(key.at(2)));
    std::string sources;
    if (auto it = r.find("sources"); it != r.end() && std::holds_alternative<std::string>(it->second)) {
      const std::string &list = std::get<std::string>(it->second);
      for (size_t start = 0; start < list.size();) {
        size_t comma = list.find(',', start);
        if (comma == std::string::npos) comma = list.size();
        if (!sources.empty()) sources += ',';
        sources += intf + "/" + list.substr(start, comma - start);
        start = comma + 1;
      }
    }
    bool include = true;
    if (auto it = r.find("include"); it != r.end() && std::holds_alternative<int64_t>(it->second))
      include = std::get<int64_t>(it->second) != 0;
    t.line("%-4lld  %-15s  %-9s  %-7s  %s", static_cast<long long>(vlan), group.c_str(), intf.c_str(),
           include ? "include" : "exclude", sources.c_str());
  }
  return t.str();
}

std::string Shell::show_radius_accounting() const {
  const Store &s = sim_.store();
  Text t;
  t.dotted("RADIUS Accounting Mode", enabled(s.integer("radius.accounting")), 46);
  t.line("%s", "");
  t.line("Host Address              Port");
  t.line("------------------------  -----");
  for (const auto &[key, r] : s.table("radius_acct_servers").rows())
    t.line("%-24s  %lld", std::get<std::string>(key.at(0)).c_str(),
           static_cast<long long>(std::get<int64_t>(r.at("port"))));
  return t.str();
}

}  // namespace veltrum::sim::cli
