// RADIUS and TACACS+ servers and the authentication lists. The global
// RADIUS and TACACS+ timers come from their rows in platform/calls/14_aaa.h.
//
//   "radius_auth_servers" rows: host -> {"name", "port", "type", "msgAuth",
//     "keyType", "secret"}; "radius_acct_servers" rows: host -> {"name",
//     "port", "secret"}; "tacacs_servers" rows: host -> {"port",
//     "priority", "timeout", "key"}; "tacacs.key" the global key;
//   "auth_lists" rows: (list type, name) -> {"m0" .. "m3"}, the methods by
//     order;
//   dynamic: "radius_auth_stats" and "radius_acct_stats" rows: host -> the
//     server's counters by their API names ("accsReq", ..., "acctReq", ...,
//     "rtt").
//
// Secrets are kept as a switch keeps them in its configuration: encrypted
// with the device's key (stored_secret), so neither the state nor the
// saved configuration holds one in clear text, and no call reads one back.
#include <arpa/inet.h>

#include <random>

#include "platform/calls/14_aaa.h"
#include "sim/bind.h"
#include "sim/features/common.h"

namespace veltrum::sim {

namespace {

const SettingSpec kSettings[] = {
    {.key = "tacacs.key", .initial = std::string(), .min = 0, .max = 1024},
};
const TableSpec kAuthServers{"radius_auth_servers", OPEN_RADIUS_SERVERS_MAX, true};
const TableSpec kAcctServers{"radius_acct_servers", OPEN_RADIUS_SERVERS_MAX, true};
const TableSpec kTacacsServers{"tacacs_servers", OPEN_TACACS_SERVERS_MAX, true};
const TableSpec kAuthLists{"auth_lists", 24, true};
const TableSpec kAuthStats{"radius_auth_stats", OPEN_RADIUS_SERVERS_MAX, false};
const TableSpec kAcctStats{"radius_acct_stats", OPEN_RADIUS_SERVERS_MAX, false};

constexpr uint32_t kRadiusAuthPort = 1812;
constexpr uint32_t kRadiusAcctPort = 1813;
constexpr uint32_t kTacacsPort = 49;
constexpr uint32_t kTacacsTimeout = 5;
const char *const kMethodMembers[OPEN_AUTH_LIST_METHODS] = {"m0", "m1", "m2", "m3"};

// The device's key for stored secrets, and the stored form of one: a
// random nonce, then the secret under a keystream drawn from the key and
// the nonce, both in hexadecimal.
constexpr uint64_t kDeviceKey = 0x5a17c0de9e3779b9ull;

std::string stored_secret(const std::string &clear) {
  if (clear.empty()) return {};
  static std::mt19937_64 nonces{std::random_device{}()};
  uint64_t nonce = nonces();
  uint64_t state = kDeviceKey ^ nonce;
  auto next = [&state] {  // splitmix64
    uint64_t z = (state += 0x9e3779b97f4a7c15ull);
    z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9ull;
    z = (z ^ (z >> 27)) * 0x94d049bb133111ebull;
    return z ^ (z >> 31);
  };
  static const char kHex[] = "0123456789abcdef";
  std::string out;
  for (int shift = 60; shift >= 0; shift -= 4) out += kHex[(nonce >> shift) & 0xf];
  out += ':';
  for (unsigned char c : clear) {
    auto b = static_cast<unsigned char>(c ^ (next() & 0xff));
    out += kHex[b >> 4];
    out += kHex[b & 0xf];
  }
  return out;
}

// A server's address: a host name or an address that can name a server
// (not the any, broadcast or a multicast address).
bool server_address(const std::string &host) {
  if (host.size() > OPEN_RADIUS_HOST_NAME_MAX || !text_matches(TextSyntax::HOST, host)) return false;
  in_addr a4{};
  if (inet_pton(AF_INET, host.c_str(), &a4) == 1) {
    uint32_t a = ntohl(a4.s_addr);
    return a != 0 && a != 0xffffffffu && (a >> 28) != 0xe;
  }
  in6_addr a6{};
  if (inet_pton(AF_INET6, host.c_str(), &a6) == 1) return !IN6_IS_ADDR_UNSPECIFIED(&a6) && !IN6_IS_ADDR_MULTICAST(&a6);
  return true;
}

bool server_name(const std::string &name) {
  return !name.empty() && name.size() <= OPEN_RADIUS_SERVER_NAME_MAX && text_matches(TextSyntax::ANY, name);
}

bool secret_text(const std::string &secret, size_t max) {
  return secret.size() <= max && text_matches(TextSyntax::ANY, secret);
}

Record *server(Table &table, const open_buffdesc *host) { return table.find({buffer_text(host)}); }

// First and Next of a server table.
template <auto FirstId, auto NextId>
void server_walk(Sim &sim, const Table &table) {
  sim.implement<FirstId>([&table](openapiClientHandle_t *, open_buffdesc *host) {
    auto *row = table.next({});
    if (!row) return OPEN_E_NOT_FOUND;
    return fill_text(host, std::get<std::string>(row->first[0]));
  });
  sim.implement<NextId>([&table](openapiClientHandle_t *, const open_buffdesc *host, open_buffdesc *next) {
    auto *row = table.next({buffer_text(host)});
    if (!row) return OPEN_E_NOT_FOUND;
    return fill_text(next, std::get<std::string>(row->first[0]));
  });
}

// A number of a server (a member every server row has from its add), read
// and written within min..max.
template <auto GetId, auto SetId, typename T>
void server_number(Sim &sim, Table &table, const char *member, int64_t min, int64_t max) {
  sim.implement<GetId>([&table, member](openapiClientHandle_t *, const open_buffdesc *host, T *out) {
    const Record *r = server(table, host);
    if (!r) return OPEN_E_NOT_FOUND;
    if (!out) return OPEN_E_PARAM;
    *out = static_cast<T>(required_integer(*r, member));
    return OPEN_E_NONE;
  });
  sim.implement<SetId>([&table, member, min, max](openapiClientHandle_t *, const open_buffdesc *host, T value) {
    Record *r = server(table, host);
    if (!r) return OPEN_E_NOT_FOUND;
    auto v = static_cast<int64_t>(value);
    if (v < min || v > max) return OPEN_E_PARAM;
    (*r)[member] = v;
    return OPEN_E_NONE;
  });
}

// A server's name.
template <auto Id>
void server_name_get(Sim &sim, Table &table) {
  sim.implement<Id>([&table](openapiClientHandle_t *, const open_buffdesc *host, open_buffdesc *name) {
    const Record *r = server(table, host);
    if (!r) return OPEN_E_NOT_FOUND;
    return fill_text(name, required_text(*r, "name"));
  });
}

// Adds a RADIUS server, or names one that exists.
open_error_t add_radius_server(Table &t, const open_buffdesc *host, const open_buffdesc *name, Record defaults) {
  std::string h = buffer_text(host);
  std::string n = buffer_text(name);
  if (!server_address(h) || !server_name(n)) return OPEN_E_PARAM;
  if (Record *r = t.find({h})) {
    (*r)["name"] = n;
    return OPEN_E_NONE;
  }
  defaults["name"] = n;
  return t.insert({h}, std::move(defaults));
}

// Sets or (with "") removes a server's own secret.
open_error_t set_secret(Record *server, const open_buffdesc *secret, const char *member, size_t max) {
  if (!server) return OPEN_E_NOT_FOUND;
  std::string s = buffer_text(secret);
  if (!secret_text(s, max)) return OPEN_E_PARAM;
  (*server)[member] = stored_secret(s);
  return OPEN_E_NONE;
}

// A counter of a configured server: 0 until the statistics record one
// (a statistics row holds the counters counted so far).
template <auto Id>
void server_counter(Sim &sim, Table &servers, const Table &stats, const char *member) {
  sim.implement<Id>(
      [&servers, &stats, member](openapiClientHandle_t *, const open_buffdesc *host, uint32_t *value) {
        if (!server(servers, host)) return OPEN_E_NOT_FOUND;
        if (!value) return OPEN_E_PARAM;
        const Record *r = stats.find({buffer_text(host)});
        *value = r ? static_cast<uint32_t>(record_integer(*r, member)) : 0;
        return OPEN_E_NONE;
      });
}

// The methods a list of each type may hold (UNDEFINED ends a list after its
// first method).
bool method_allowed(OPEN_AUTH_LIST_TYPE_t type, uint32_t order, OPEN_AUTH_LIST_METHOD_t method) {
  switch (method) {
    case OPEN_AUTH_LIST_METHOD_UNDEFINED:
      return order > 0;
    case OPEN_AUTH_LIST_METHOD_LOCAL:
    case OPEN_AUTH_LIST_METHOD_NONE:
    case OPEN_AUTH_LIST_METHOD_RADIUS:
      return true;
    case OPEN_AUTH_LIST_METHOD_IAS:
      return type == OPEN_AUTH_LIST_DOT1X;
    case OPEN_AUTH_LIST_METHOD_TACACS:
      return type != OPEN_AUTH_LIST_DOT1X;
    default:
      return false;
  }
}

// A list whose first method is `first`, the others undefined.
Record list_of(OPEN_AUTH_LIST_METHOD_t first) {
  return {{"m0", int64_t{first}}, {"m1", int64_t{0}}, {"m2", int64_t{0}}, {"m3", int64_t{0}}};
}

void seed_list(Table &lists, OPEN_AUTH_LIST_TYPE_t type, const char *name, OPEN_AUTH_LIST_METHOD_t first) {
  lists.upsert({int64_t{type}, std::string(name)}, list_of(first));
}

}  // namespace

using namespace calls::aaa;

VELTRUM_SIM_PART(aaa, kFamily) {
  Store &store = sim.store();
  store.define(kSettings);
  SettingRef tacacs_key = store.setting("tacacs.key");
  Table &auth = store.define_table(kAuthServers);
  Table &acct = store.define_table(kAcctServers);
  Table &tacacs = store.define_table(kTacacsServers);
  Table &lists = store.define_table(kAuthLists);
  Table &auth_stats = store.define_table(kAuthStats);
  Table &acct_stats = store.define_table(kAcctStats);
  // The lists the switch authenticates 802.1X clients and web sessions with.
  sim.on_factory_defaults([&lists](Sim &) {
    seed_list(lists, OPEN_AUTH_LIST_DOT1X, "dot1xList", OPEN_AUTH_LIST_METHOD_RADIUS);
    seed_list(lists, OPEN_AUTH_LIST_HTTP, "httpList", OPEN_AUTH_LIST_METHOD_LOCAL);
    seed_list(lists, OPEN_AUTH_LIST_HTTPS, "httpsList", OPEN_AUTH_LIST_METHOD_LOCAL);
  });

  // ---- RADIUS authentication servers

  server_walk<CallId::rpcclt_openapiRadiusServerFirstIPHostNameGet,
              CallId::rpcclt_openapiRadiusServerNextIPHostNameGet>(sim, auth);
  server_name_get<CallId::rpcclt_openapiRadiusServerHostNameGet>(sim, auth);
  implement_constant<CallId::rpcclt_openapiRadiusServerNameMaxLengthGet>(sim, uint32_t{OPEN_RADIUS_SERVER_NAME_MAX});
  // A new server is its name's primary server unless that name has one.
  sim.implement<CallId::rpcclt_openapiRadiusAuthServerAdd>(
      [&auth](openapiClientHandle_t *, const open_buffdesc *host, const open_buffdesc *name) {
        std::string n = buffer_text(name);
        int64_t type = OPEN_RADIUS_SERVER_ENTRY_TYPE_PRIMARY;
        for (const auto &[key, r] : auth.rows())
          if (required_text(r, "name") == n && required_integer(r, "type") == OPEN_RADIUS_SERVER_ENTRY_TYPE_PRIMARY)
            type = OPEN_RADIUS_SERVER_ENTRY_TYPE_SECONDARY;
        return add_radius_server(auth, host, name,
                                 {{"port", int64_t{kRadiusAuthPort}},
                                  {"type", type},
                                  {"msgAuth", int64_t{0}},
                                  {"keyType", int64_t{OPEN_RADIUS_KEY_TYPE_NONE}},
                                  {"secret", std::string()}});
      });
  sim.implement<CallId::rpcclt_openapiRadiusAuthServerRemove>(
      [&auth, &auth_stats](openapiClientHandle_t *, const open_buffdesc *host) {
        std::string h = buffer_text(host);
        if (open_error_t rc = auth.erase({h})) return rc;
        auth_stats.erase({h});
        return OPEN_E_NONE;
      });
  server_number<CallId::rpcclt_openapiRadiusAuthServerPortNumGet, CallId::rpcclt_openapiRadiusAuthServerPortNumSet,
                uint32_t>(sim, auth, "port", 1, 65535);
  server_number<CallId::rpcclt_openapiRadiusHostNameServerIncMsgAuthModeGet,
                CallId::rpcclt_openapiRadiusHostNameServerIncMsgAuthModeSet, OPEN_CONTROL_t>(
      sim, auth, "msgAuth", OPEN_DISABLE, OPEN_ENABLE);
  sim.implement<CallId::rpcclt_openapiRadiusAuthServerTypeGet>(
      [&auth](openapiClientHandle_t *, const open_buffdesc *host, OPEN_RADIUS_SERVER_ENTRY_TYPE_t *type) {
        const Record *r = server(auth, host);
        if (!r) return OPEN_E_NOT_FOUND;
        if (!type) return OPEN_E_PARAM;
        *type = static_cast<OPEN_RADIUS_SERVER_ENTRY_TYPE_t>(required_integer(*r, "type"));
        return OPEN_E_NONE;
      });
  // One primary server per name: a new primary makes the others secondary.
  sim.implement<CallId::rpcclt_openapiRadiusAuthServerTypeSet>(
      [&t = auth](openapiClientHandle_t *, const open_buffdesc *host, OPEN_RADIUS_SERVER_ENTRY_TYPE_t type) {
        Record *r = t.find({buffer_text(host)});
        if (!r) return OPEN_E_NOT_FOUND;
        if (type != OPEN_RADIUS_SERVER_ENTRY_TYPE_PRIMARY && type != OPEN_RADIUS_SERVER_ENTRY_TYPE_SECONDARY)
          return OPEN_E_PARAM;
        if (type == OPEN_RADIUS_SERVER_ENTRY_TYPE_PRIMARY) {
          std::string name = required_text(*r, "name");
          for (const auto &[key, other] : t.rows())
            if (required_text(other, "name") == name)
              t.find(key)->insert_or_assign("type", int64_t{OPEN_RADIUS_SERVER_ENTRY_TYPE_SECONDARY});
        }
        (*r)["type"] = int64_t{type};
        return OPEN_E_NONE;
      });
  sim.implement<CallId::rpcclt_openapiRadiusHostNameServerSharedSecretKeyTypeSet>(
      [&auth](openapiClientHandle_t *, const open_buffdesc *host, OPEN_RADIUS_KEY_TYPE_t keyType) {
        Record *r = server(auth, host);
        if (!r) return OPEN_E_NOT_FOUND;
        if (keyType != OPEN_RADIUS_KEY_TYPE_NONE && keyType != OPEN_RADIUS_KEY_TYPE_CONFIGURED) return OPEN_E_PARAM;
        (*r)["keyType"] = int64_t{keyType};
        if (keyType == OPEN_RADIUS_KEY_TYPE_NONE) (*r)["secret"] = std::string();
        return OPEN_E_NONE;
      });
  sim.implement<CallId::rpcclt_openapiRadiusAuthServerSharedSecretEncryptedSet>(
      [&auth](openapiClientHandle_t *, const open_buffdesc *host, const open_buffdesc *secret) {
        Record *r = server(auth, host);
        if (open_error_t rc = set_secret(r, secret, "secret", OPEN_RADIUS_KEY_MAX)) return rc;
        (*r)["keyType"] =
            int64_t{required_text(*r, "secret").empty() ? OPEN_RADIUS_KEY_TYPE_NONE : OPEN_RADIUS_KEY_TYPE_CONFIGURED};
        return OPEN_E_NONE;
      });
  sim.implement<CallId::rpcclt_openapiRadiusHostNameServerSharedSecretConfigured>(
      [&auth, &acct](openapiClientHandle_t *, OPEN_RADIUS_SERVER_KIND_t kind, const open_buffdesc *host,
                     OPEN_BOOL_t *configured) {
        if (kind != OPEN_RADIUS_SERVER_AUTH && kind != OPEN_RADIUS_SERVER_ACCT) return OPEN_E_PARAM;
        const Record *r = server(kind == OPEN_RADIUS_SERVER_AUTH ? auth : acct, host);
        if (!r) return OPEN_E_NOT_FOUND;
        if (!configured) return OPEN_E_PARAM;
        *configured = required_text(*r, "secret").empty() ? OPEN_FALSE : OPEN_TRUE;
        return OPEN_E_NONE;
      });
  sim.implement<CallId::rpcclt_openapiRadiusServerGlobalCurentGet>(
      [&auth](openapiClientHandle_t *, open_buffdesc *host) {
        const auto &rows = auth.rows();
        std::string current;
        for (const auto &[key, r] : rows)
          if (required_integer(r, "type") == OPEN_RADIUS_SERVER_ENTRY_TYPE_PRIMARY) {
            current = std::get<std::string>(key[0]);
            break;
          }
        if (current.empty() && !rows.empty()) current = std::get<std::string>(rows.begin()->first[0]);
        return fill_text(host, current);
      });
  sim.implement<CallId::rpcclt_openapiRadiusConfiguredServersCountGet>(
      [&auth](openapiClientHandle_t *, uint32_t *count) {
        if (!count) return OPEN_E_PARAM;
        *count = static_cast<uint32_t>(auth.size());
        return OPEN_E_NONE;
      });

  server_counter<CallId::rpcclt_openapiRadiusServerStatAccessReqGet>(sim, auth, auth_stats, "accsReq");
  server_counter<CallId::rpcclt_openapiRadiusServerStatAccessRetransGet>(sim, auth, auth_stats, "accsRetrans");
  server_counter<CallId::rpcclt_openapiRadiusServerStatAccessAcceptGet>(sim, auth, auth_stats, "accsAccept");
  server_counter<CallId::rpcclt_openapiRadiusServerStatAccessRejectGet>(sim, auth, auth_stats, "accsReject");
  server_counter<CallId::rpcclt_openapiRadiusServerStatAccessChallengeGet>(sim, auth, auth_stats, "accsChallen");
  server_counter<CallId::rpcclt_openapiRadiusServerStatMalformedAccessResponseGet>(sim, auth, auth_stats, "malAccs");
  server_counter<CallId::rpcclt_openapiRadiusServerStatBadAuthGet>(sim, auth, auth_stats, "badAuth");
  server_counter<CallId::rpcclt_openapiRadiusServerStatPendingReqGet>(sim, auth, auth_stats, "pendReq");
  server_counter<CallId::rpcclt_openapiRadiusServerStatTimeoutsGet>(sim, auth, auth_stats, "timeout");
  server_counter<CallId::rpcclt_openapiRadiusServerStatUnknownTypeGet>(sim, auth, auth_stats, "unknown");
  server_counter<CallId::rpcclt_openapiRadiusServerStatPktsDroppedGet>(sim, auth, auth_stats, "pktDrop");
  server_counter<CallId::rpcclt_openapiRadiusServerStatRTTGet>(sim, auth, auth_stats, "rtt");

  // ---- RADIUS accounting servers

  sim.implement<CallId::rpcclt_openapiRadiusAccountingServerIPHostNameVerify>(
      [](openapiClientHandle_t *, const open_buffdesc *host, OPEN_IP_ADDRESS_TYPE_t *type) {
        std::string h = buffer_text(host);
        if (!server_address(h)) return OPEN_E_PARAM;
        if (type)
          *type = text_matches(TextSyntax::IPV4, h)   ? OPEN_IP_ADDRESS_IPV4
                  : text_matches(TextSyntax::IPV6, h) ? OPEN_IP_ADDRESS_IPV6
                                                      : OPEN_IP_ADDRESS_DNS;
        return OPEN_E_NONE;
      });
  sim.implement<CallId::rpcclt_openapiRadiusAcctServerAdd>(
      [&acct](openapiClientHandle_t *, const open_buffdesc *host, const open_buffdesc *name) {
        return add_radius_server(acct, host, name,
                                 {{"port", int64_t{kRadiusAcctPort}}, {"secret", std::string()}});
      });
  server_walk<CallId::rpcclt_openapiRadiusAcctServerFirstIPHostNameGet,
              CallId::rpcclt_openapiRadiusAcctServerNextIPHostNameGet>(sim, acct);
  server_name_get<CallId::rpcclt_openapiRadiusServerAcctHostNameGet>(sim, acct);
  server_number<CallId::rpcclt_openapiRadiusAccountingHostNameServerPortNumGet,
                CallId::rpcclt_openapiRadiusAccountingHostNameServerPortNumSet, uint32_t>(sim, acct, "port", 1,
                                                                                          65535);
  sim.implement<CallId::rpcclt_openapiRadiusAccountingHostNameServerSharedSecretSet>(
      [&acct](openapiClientHandle_t *, const open_buffdesc *host, const open_buffdesc *secret) {
        return set_secret(server(acct, host), secret, "secret", OPEN_RADIUS_KEY_MAX);
      });

  server_counter<CallId::rpcclt_openapiRadiusAcctServerStatReqGet>(sim, acct, acct_stats, "acctReq");
  server_counter<CallId::rpcclt_openapiRadiusAcctServerStatRetransGet>(sim, acct, acct_stats, "acctRetrans");
  server_counter<CallId::rpcclt_openapiRadiusAcctServerStatResponseGet>(sim, acct, acct_stats, "acctResp");
  server_counter<CallId::rpcclt_openapiRadiusAcctServerStatMalformedResponseGet>(sim, acct, acct_stats, "malResp");
  server_counter<CallId::rpcclt_openapiRadiusAcctServerStatBadAuthGet>(sim, acct, acct_stats, "badAuth");
  server_counter<CallId::rpcclt_openapiRadiusAcctServerStatPendingReqGet>(sim, acct, acct_stats, "pendReq");
  server_counter<CallId::rpcclt_openapiRadiusAcctServerStatTimeoutsGet>(sim, acct, acct_stats, "timeout");
  server_counter<CallId::rpcclt_openapiRadiusAcctServerStatUnknownTypeGet>(sim, acct, acct_stats, "unknown");
  server_counter<CallId::rpcclt_openapiRadiusAcctServerStatPktsDroppedGet>(sim, acct, acct_stats, "pktDrop");
  server_counter<CallId::rpcclt_openapiRadiusAcctServerStatRTTGet>(sim, acct, acct_stats, "rtt");

  // Clears the counters of every RADIUS server, authentication and accounting.
  sim.implement<CallId::rpcclt_openapiRadiusStatsClear>([&auth_stats, &acct_stats](openapiClientHandle_t *) {
    auth_stats.clear();
    acct_stats.clear();
    return OPEN_E_NONE;
  });

  // ---- TACACS+

  sim.implement<CallId::rpcclt_openapiTacacsServerGlobalKeySet>(
      [tacacs_key](openapiClientHandle_t *, const open_buffdesc *key) {
        std::string k = buffer_text(key);
        if (!secret_text(k, OPEN_TACACS_KEY_MAX)) return OPEN_E_PARAM;
        return tacacs_key.set(stored_secret(k));
      });
  implement_constant<CallId::rpcclt_openapiTacacsKeyMaxLengthGet>(sim, uint32_t{OPEN_TACACS_KEY_MAX});
  implement_constant<CallId::rpcclt_openapiTacacsServerMaxLengthGet>(sim, uint32_t{OPEN_TACACS_HOST_NAME_MAX});
  server_walk<CallId::rpcclt_openapiTacacsServerFirstGet, CallId::rpcclt_openapiTacacsServerNextGet>(sim, tacacs);
  sim.implement<CallId::rpcclt_openapiTacacsServerAdd>([&tacacs](openapiClientHandle_t *, const open_buffdesc *host) {
    std::string h = buffer_text(host);
    if (h.size() > OPEN_TACACS_HOST_NAME_MAX || !server_address(h)) return OPEN_E_PARAM;
    return tacacs.insert({h}, {{"port", int64_t{kTacacsPort}},
                      {"priority", int64_t{0}},
                      {"timeout", int64_t{kTacacsTimeout}},
                      {"key", std::string()}});
  });
  sim.implement<CallId::rpcclt_openapiTacacsServerDelete>([&tacacs](openapiClientHandle_t *, const open_buffdesc *host) {
    return tacacs.erase({buffer_text(host)});
  });
  server_number<CallId::rpcclt_openapiTacacsServerPortGet, CallId::rpcclt_openapiTacacsServerPortSet, uint32_t>(
      sim, tacacs, "port", 0, 65535);
  server_number<CallId::rpcclt_openapiTacacsServerPriorityGet, CallId::rpcclt_openapiTacacsServerPrioritySet, uint32_t>(
      sim, tacacs, "priority", 0, 65535);
  server_number<CallId::rpcclt_openapiTacacsServerTimeoutGet, CallId::rpcclt_openapiTacacsServerTimeoutSet, uint32_t>(
      sim, tacacs, "timeout", 1, 30);
  sim.implement<CallId::rpcclt_openapiTacacsServerKeySet>(
      [&tacacs](openapiClientHandle_t *, const open_buffdesc *host, const open_buffdesc *key) {
        return set_secret(server(tacacs, host), key, "key", OPEN_TACACS_KEY_MAX);
      });

  // ---- authentication lists

  sim.implement<CallId::rpcclt_openapiAuthenticationMethodGet>(
      [&lists](openapiClientHandle_t *, OPEN_AUTH_LIST_TYPE_t type, const open_buffdesc *name, uint32_t order,
               OPEN_AUTH_LIST_METHOD_t *method) {
        if (type > OPEN_AUTH_LIST_HTTPS || order >= OPEN_AUTH_LIST_METHODS || !method) return OPEN_E_PARAM;
        const Record *r = lists.find({int64_t{type}, buffer_text(name)});
        if (!r) return OPEN_E_NOT_FOUND;
        *method = static_cast<OPEN_AUTH_LIST_METHOD_t>(required_integer(*r, kMethodMembers[order]));
        return OPEN_E_NONE;
      });
  sim.implement<CallId::rpcclt_openapiAuthenticationMethodSet>(
      [&lists](openapiClientHandle_t *, OPEN_AUTH_LIST_TYPE_t type, const open_buffdesc *name, uint32_t order,
               OPEN_AUTH_LIST_METHOD_t method) {
        if (type > OPEN_AUTH_LIST_HTTPS || order >= OPEN_AUTH_LIST_METHODS || !method_allowed(type, order, method))
          return OPEN_E_PARAM;
        std::string n = buffer_text(name);
        if (Record *r = lists.find({int64_t{type}, n})) {
          (*r)[kMethodMembers[order]] = int64_t{method};
          return OPEN_E_NONE;
        }
        if (order != 0) return OPEN_E_NOT_FOUND;
        if (n.empty() || n.size() > OPEN_AUTH_LIST_NAME_MAX || !text_matches(TextSyntax::NAME, n)) return OPEN_E_PARAM;
        return lists.insert({int64_t{type}, n}, list_of(method));
      });
}

}  // namespace veltrum::sim
