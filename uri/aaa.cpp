// RADIUS, TACACS+ and authentication lists: "radius_server_cfg",
// "radius_server_stats", "radius_global_cfg", "radius_accounting_cfg",
// "radius_accounting_stats", "radius_accounting_stats_clear",
// "tacacs_global_cfg", "tacacs_server_cfg" and "http_https_auth_list".
//
// Shared secrets are written, never read: no GET lists one, their checks
// and setters never log or answer one (the request log masks "secret" and
// "key" members), and the switch reports only whether one is configured.
#include "core/platform_call.h"
#include "platform/calls/14_aaa.h"
#include "support/json_ptr.h"

using namespace veltrum::handler;

namespace {

// Aggregate codes of the family (docs/security.md).
constexpr int kTacacsServerAggregate = 1280;
constexpr int kRadiusServerAggregate = 1281;
constexpr int kRadiusAccountingAggregate = 1282;

// Texts the platform answers, with their NUL.
constexpr size_t kRadiusHostText = OPEN_RADIUS_HOST_NAME_MAX + 1;
constexpr size_t kServerNameText = OPEN_RADIUS_SERVER_NAME_MAX + 1;
constexpr size_t kTacacsHostText = OPEN_TACACS_HOST_NAME_MAX + 1;

constexpr Check kServerAddress = host_check(nullptr, "Invalid Server Address");
constexpr Check kServerName = platform_text_length(platform_limits<&rpcclt_openapiRadiusServerNameMaxLengthGet, 1>,
                                                   "Server Name", "Server name length is upto %d characters only");

// The secret member S, set with Fn(host, secret), when the flag is 1 and S
// is given (absent, the secret stays as it is); a flag of 0 removes the
// server's own secret.
template <auto Fn, Name S>
int flagged_secret(const Element &e, json_object *flag) {
  if (int_of(flag) == 0) {
    JsonPtr none(json_object_new_string(""));
    return set<Fn, Txt<0>, Val>(e, none.get());
  }
  json_object *secret = e.value(S.text);
  return secret ? set<Fn, Txt<0>, Val>(e, secret) : OPEN_E_NONE;
}

// ---------------------------------------------------------------- radius_server_cfg

constexpr Cursor kAuthServerWalk =
    cursor2<cursor<&rpcclt_openapiRadiusServerFirstIPHostNameGet, NextTxt<0, kRadiusHostText>>,
            cursor<&rpcclt_openapiRadiusServerNextIPHostNameGet, Txt<0>, NextTxt<0, kRadiusHostText>>>;
constexpr const char *kAuthServerWalkError = "Failed to get the RADIUS servers and error code:%d";

// "secretCfg" says whether the server has a secret of its own, "secret".
int set_auth_secret(const Element &e, json_object *flag) {
  if (int rc = set<&rpcclt_openapiRadiusHostNameServerSharedSecretKeyTypeSet, Txt<0>, Val>(e, flag)) return rc;
  return flagged_secret<&rpcclt_openapiRadiusAuthServerSharedSecretEncryptedSet, "secret">(e, flag);
}

const Field kAuthServerFields[] = {
    {.key = "addr", .check = kServerAddress, .flags = kIndex},
    {.key = "name",
     .check = kServerName,
     .get = get<&rpcclt_openapiRadiusServerHostNameGet, Txt<0>, ValText<kServerNameText>>,
     .flags = kGet | kPost},
    {.key = "port",
     .check = range(1, 65535, "Authentication Port", "Invalid Radius Server Port %d"),
     .get = get<&rpcclt_openapiRadiusAuthServerPortNumGet, Txt<0>, Val>,
     .set = set<&rpcclt_openapiRadiusAuthServerPortNumSet, Txt<0>, Val>},
    {.key = "secret", .check = any_text(), .flags = kPost | kOptional},
    {.key = "secretCfg",
     .check = flag("Invalid Radius Key Type %d"),
     .get = get<&rpcclt_openapiRadiusHostNameServerSharedSecretConfigured, Lit<OPEN_RADIUS_SERVER_AUTH>, Txt<0>, Val>,
     .set = set_auth_secret},
    {.key = "pri",
     .check = choice(OPEN_RADIUS_SERVER_ENTRY_TYPE_PRIMARY, OPEN_RADIUS_SERVER_ENTRY_TYPE_SECONDARY,
                     "Invalid Radius Server Type %d"),
     .get = get<&rpcclt_openapiRadiusAuthServerTypeGet, Txt<0>, Val>,
     .set = set<&rpcclt_openapiRadiusAuthServerTypeSet, Txt<0>, Val>},
    {.key = "msgAuth",
     .check = flag("Invalid Radius Mode %d"),
     .get = get<&rpcclt_openapiRadiusHostNameServerIncMsgAuthModeGet, Txt<0>, Val>,
     .set = set<&rpcclt_openapiRadiusHostNameServerIncMsgAuthModeSet, Txt<0>, Val>},
};
const Resource kAuthServers{.name = "radius_server_cfg",
                            .walk = list(kAuthServerWalk, kAuthServerWalkError),
                            .fields = kAuthServerFields,
                            .aggregate = kRadiusServerAggregate,
                            .create = act<&rpcclt_openapiRadiusAuthServerAdd, Txt<0>, Key<"name">>,
                            .create_error = "Failed to add the RADIUS server %s and error code : %d",
                            .create_log = ActionLog::TextRc,
                            .remove = act<&rpcclt_openapiRadiusAuthServerRemove, Txt<0>>,
                            .remove_error = "Failed to remove the RADIUS server %s and error code : %d",
                            .remove_log = ActionLog::TextRc};

// ---------------------------------------------------------------- radius_server_stats

// A counter of the element's server.
template <auto Fn>
constexpr GetBinding kCounter = get<Fn, Txt<0>, Val>;
constexpr const char *kCounterError = "Failed to get the RADIUS server statistics and error code:%d";

const Field kAuthStatsFields[] = {
    {.key = "addr", .check = any_text(), .flags = kIndex},
    {.key = "accsReq", .get = kCounter<&rpcclt_openapiRadiusServerStatAccessReqGet>, .get_error = kCounterError},
    {.key = "accsRetrans",
     .get = kCounter<&rpcclt_openapiRadiusServerStatAccessRetransGet>,
     .get_error = kCounterError},
    {.key = "accsAccept", .get = kCounter<&rpcclt_openapiRadiusServerStatAccessAcceptGet>, .get_error = kCounterError},
    {.key = "accsReject", .get = kCounter<&rpcclt_openapiRadiusServerStatAccessRejectGet>, .get_error = kCounterError},
    {.key = "accsChallen",
     .get = kCounter<&rpcclt_openapiRadiusServerStatAccessChallengeGet>,
     .get_error = kCounterError},
    {.key = "malAccs",
     .get = kCounter<&rpcclt_openapiRadiusServerStatMalformedAccessResponseGet>,
     .get_error = kCounterError},
    {.key = "badAuth", .get = kCounter<&rpcclt_openapiRadiusServerStatBadAuthGet>, .get_error = kCounterError},
    {.key = "pendReq", .get = kCounter<&rpcclt_openapiRadiusServerStatPendingReqGet>, .get_error = kCounterError},
    {.key = "timeout", .get = kCounter<&rpcclt_openapiRadiusServerStatTimeoutsGet>, .get_error = kCounterError},
    {.key = "unknown", .get = kCounter<&rpcclt_openapiRadiusServerStatUnknownTypeGet>, .get_error = kCounterError},
    {.key = "pktDrop", .get = kCounter<&rpcclt_openapiRadiusServerStatPktsDroppedGet>, .get_error = kCounterError},
    {.key = "rtt", .get = kCounter<&rpcclt_openapiRadiusServerStatRTTGet>, .get_error = kCounterError},
};
const Resource kAuthStats{
    .name = "radius_server_stats", .walk = list(kAuthServerWalk, kAuthServerWalkError), .fields = kAuthStatsFields};

// ---------------------------------------------------------------- radius_global_cfg

const Field kRadiusGlobalFields[] = {
    {.key = "currSrv", .get = platform_get<&rpcclt_openapiRadiusServerGlobalCurentGet, kRadiusHostText>},
    {.key = "srvCnt", .get = platform_get<&rpcclt_openapiRadiusConfiguredServersCountGet>},
    {.key = "maxRetrans",
     .check = range(1, 15, "Max Number of Retransmits", "Invalid Radius Max Retransmissions %d"),
     .get = platform_get<&rpcclt_openapiRadiusServerRetransGet>,
     .set = platform_set<&rpcclt_openapiRadiusServerRetransSet>,
     .set_log = SetLog::ValueRc},
    {.key = "timeout",
     .check = range(1, 30, "Timeout Duration", "Invalid Radius Timeout %d"),
     .get = platform_get<&rpcclt_openapiRadiusServerTimeOutGet>,
     .set = platform_set<&rpcclt_openapiRadiusServerTimeOutSet>,
     .set_log = SetLog::ValueRc},
    {.key = "acctState",
     .check = flag("Invalid Radius Accounting Mode %d"),
     .get = platform_get<&rpcclt_openapiRadiusAccountingModeGet>,
     .set = platform_set<&rpcclt_openapiRadiusAccountingModeSet>,
     .set_log = SetLog::ValueRc},
};
const Resource kRadiusGlobal{.name = "radius_global_cfg", .walk = scalar(), .fields = kRadiusGlobalFields};

// ---------------------------------------------------------------- radius_accounting_cfg

constexpr Cursor kAcctServerWalk =
    cursor2<cursor<&rpcclt_openapiRadiusAcctServerFirstIPHostNameGet, NextTxt<0, kRadiusHostText>>,
            cursor<&rpcclt_openapiRadiusAcctServerNextIPHostNameGet, Txt<0>, NextTxt<0, kRadiusHostText>>>;
constexpr const char *kAcctServerWalkError = "Failed to get the RADIUS accounting servers and error code:%d";

// The platform checks the address before the server is added (or named).
int add_acct_server(const Element &e) {
  if (int rc = act<&rpcclt_openapiRadiusAccountingServerIPHostNameVerify, Txt<0>, Skip>(e)) return rc;
  return act<&rpcclt_openapiRadiusAcctServerAdd, Txt<0>, Key<"name">>(e);
}

// Each accounting server; "acctMode" is the switch's accounting mode.
const Field kAcctServerFields[] = {
    {.key = "addr", .check = kServerAddress, .flags = kIndex},
    {.key = "name",
     .check = kServerName,
     .get = get<&rpcclt_openapiRadiusServerAcctHostNameGet, Txt<0>, ValText<kServerNameText>>,
     .flags = kGet | kPost},
    {.key = "port",
     .check = range(1, 65535, "Port", "Invalid Radius Accounting Port %d"),
     .get = get<&rpcclt_openapiRadiusAccountingHostNameServerPortNumGet, Txt<0>, Val>,
     .set = set<&rpcclt_openapiRadiusAccountingHostNameServerPortNumSet, Txt<0>, Val>},
    {.key = "secretCfg",
     .check = flag("Invalid Radius Accounting Key Type %d"),
     .get = get<&rpcclt_openapiRadiusHostNameServerSharedSecretConfigured, Lit<OPEN_RADIUS_SERVER_ACCT>, Txt<0>, Val>,
     .set = flagged_secret<&rpcclt_openapiRadiusAccountingHostNameServerSharedSecretSet, "secret">},
    {.key = "secret", .check = any_text(), .flags = kPost | kOptional},
    {.key = "acctMode",
     .check = flag("Invalid Radius Accounting Mode %d"),
     .get = platform_get<&rpcclt_openapiRadiusAccountingModeGet>,
     .set = platform_set<&rpcclt_openapiRadiusAccountingModeSet>,
     .set_log = SetLog::ValueRc},
};
const Resource kAcctServers{.name = "radius_accounting_cfg",
                            .walk = list(kAcctServerWalk, kAcctServerWalkError),
                            .fields = kAcctServerFields,
                            .aggregate = kRadiusAccountingAggregate,
                            .create = add_acct_server,
                            .create_error = "Failed to add the RADIUS accounting server %s and error code : %d",
                            .create_log = ActionLog::TextRc};

// ---------------------------------------------------------------- radius_accounting_stats

const Field kAcctStatsFields[] = {
    {.key = "addr", .check = any_text(), .flags = kIndex},
    {.key = "acctReq", .get = kCounter<&rpcclt_openapiRadiusAcctServerStatReqGet>, .get_error = kCounterError},
    {.key = "acctRetrans", .get = kCounter<&rpcclt_openapiRadiusAcctServerStatRetransGet>, .get_error = kCounterError},
    {.key = "acctResp", .get = kCounter<&rpcclt_openapiRadiusAcctServerStatResponseGet>, .get_error = kCounterError},
    {.key = "malResp",
     .get = kCounter<&rpcclt_openapiRadiusAcctServerStatMalformedResponseGet>,
     .get_error = kCounterError},
    {.key = "badAuth", .get = kCounter<&rpcclt_openapiRadiusAcctServerStatBadAuthGet>, .get_error = kCounterError},
    {.key = "pendReq", .get = kCounter<&rpcclt_openapiRadiusAcctServerStatPendingReqGet>, .get_error = kCounterError},
    {.key = "timeout", .get = kCounter<&rpcclt_openapiRadiusAcctServerStatTimeoutsGet>, .get_error = kCounterError},
    {.key = "unknown", .get = kCounter<&rpcclt_openapiRadiusAcctServerStatUnknownTypeGet>, .get_error = kCounterError},
    {.key = "pktDrop", .get = kCounter<&rpcclt_openapiRadiusAcctServerStatPktsDroppedGet>, .get_error = kCounterError},
    {.key = "rtt", .get = kCounter<&rpcclt_openapiRadiusAcctServerStatRTTGet>, .get_error = kCounterError},
};
const Resource kAcctStats{
    .name = "radius_accounting_stats", .walk = list(kAcctServerWalk, kAcctServerWalkError), .fields = kAcctStatsFields};

// ---------------------------------------------------------------- radius_accounting_stats_clear

// Clears the counters of every RADIUS server, authentication and
// accounting alike: {"radius_accounting_stats_clear": {}}.
const Resource kStatsClear{.name = "radius_accounting_stats_clear",
                           .walk = scalar(),
                           .create = act<&rpcclt_openapiRadiusStatsClear>,
                           .create_error = "Failed to clear the RADIUS statistics and error code : %d"};

// ---------------------------------------------------------------- tacacs_global_cfg

constexpr LimitsFn kTacacsKeyLimits = platform_limits<&rpcclt_openapiTacacsKeyMaxLengthGet>;

// The global key may be left out (it stays); "" removes it.
const Field kTacacsGlobalFields[] = {
    {.key = "key",
     .check = secret_length(0, 0, "tacacs server address length can not be longer than %d.\n", kTacacsKeyLimits),
     .set = platform_set<&rpcclt_openapiTacacsServerGlobalKeySet>,
     .flags = kPost | kOptional},
    {.key = "timeout",
     .check = range(1, 30, "Connection Timeout", "Invalid timeout value configured :%d\n"),
     .get = platform_get<&rpcclt_openapiTacacsServerGlobalTimeoutGet>,
     .set = platform_set<&rpcclt_openapiTacacsServerGlobalTimeoutSet>,
     .set_log = SetLog::ValueRc},
};
const Resource kTacacsGlobal{.name = "tacacs_global_cfg", .walk = scalar(), .fields = kTacacsGlobalFields};

// ---------------------------------------------------------------- tacacs_server_cfg

constexpr Cursor kTacacsWalk = cursor2<cursor<&rpcclt_openapiTacacsServerFirstGet, NextTxt<0, kTacacsHostText>>,
                                       cursor<&rpcclt_openapiTacacsServerNextGet, Txt<0>, NextTxt<0, kTacacsHostText>>>;

// A POST of a server that exists changes it.
int add_tacacs_server(const Element &e) {
  int rc = act<&rpcclt_openapiTacacsServerAdd, Txt<0>>(e);
  return rc == OPEN_E_EXISTS ? OPEN_E_NONE : rc;
}

// "addr" names the server (POST and DELETE); a POST checks it as an
// address or host name within the platform's length. "keyFlag" 1 gives the
// server "key" as its own key, 0 leaves it the global key.
const Field kTacacsServerFields[] = {
    {.key = "addr", .check = Check{.kind = CheckKind::String, .log = "Parsing Err:'addr' invalid"}, .flags = kIndex},
    {.key = "addr", .check = host_check(nullptr, "Invalid tacacsServer address: %s\n"), .flags = kPost},
    {.key = "addr",
     .check = platform_text_length(platform_limits<&rpcclt_openapiTacacsServerMaxLengthGet>, nullptr,
                                   "Tacacs server address length can not be longer than %d.\n"),
     .flags = kPost},
    {.key = "tacport",
     .check = range(0, 65535, "Port", "Error. port %d out of range"),
     .get = get<&rpcclt_openapiTacacsServerPortGet, Txt<0>, Val>,
     .set = set<&rpcclt_openapiTacacsServerPortSet, Txt<0>, Val>},
    {.key = "pri",
     .check = range(0, 65535, "Priority", "Error. priority %d out of range"),
     .get = get<&rpcclt_openapiTacacsServerPriorityGet, Txt<0>, Val>,
     .set = set<&rpcclt_openapiTacacsServerPrioritySet, Txt<0>, Val>},
    {.key = "timeout",
     .check = range(1, 30, "Connection Timeout", "Error. timeout %d out of range (%d - %d)", 9, LogArgs::ValueMinMax),
     .get = get<&rpcclt_openapiTacacsServerTimeoutGet, Txt<0>, Val>,
     .set = set<&rpcclt_openapiTacacsServerTimeoutSet, Txt<0>, Val>},
    {.key = "key",
     .check = secret_length(0, 0, "Tacacs key string length can not be longer than %d.\n", kTacacsKeyLimits),
     .flags = kPost | kOptional},
    {.key = "keyFlag",
     .check = flag("Invalid key flag:%d"),
     .set = flagged_secret<&rpcclt_openapiTacacsServerKeySet, "key">,
     .flags = kPost},
};
const Resource kTacacsServers{.name = "tacacs_server_cfg",
                              .walk = list(kTacacsWalk, "Failed to get the TACACS+ servers and error code:%d"),
                              .fields = kTacacsServerFields,
                              .aggregate = kTacacsServerAggregate,
                              .create = add_tacacs_server,
                              .create_error = "Failed to add the TACACS+ server %s and error code : %d",
                              .create_log = ActionLog::TextRc,
                              .remove = act<&rpcclt_openapiTacacsServerDelete, Txt<0>>,
                              .remove_error = "Invalid tacacs server address with error(%d)",
                              .wrapper = "tacacs_server_conf"};

// ---------------------------------------------------------------- http_https_auth_list

// The web server authenticates HTTP sessions with the methods of its list
// "httpList" and HTTPS sessions with "httpsList"; a POST sets the four
// orders of the HTTP and of the HTTPS list it names, to the same methods.
constexpr const char kHttpList[] = "httpList";
constexpr int64_t kFirstMethods[] = {OPEN_AUTH_LIST_METHOD_LOCAL, OPEN_AUTH_LIST_METHOD_NONE,
                                     OPEN_AUTH_LIST_METHOD_RADIUS, OPEN_AUTH_LIST_METHOD_TACACS};
constexpr int64_t kLaterMethods[] = {OPEN_AUTH_LIST_METHOD_UNDEFINED, OPEN_AUTH_LIST_METHOD_LOCAL,
                                     OPEN_AUTH_LIST_METHOD_NONE, OPEN_AUTH_LIST_METHOD_RADIUS,
                                     OPEN_AUTH_LIST_METHOD_TACACS};

int http_list_name(const Element &, json_object **out) {
  *out = json_object_new_string(kHttpList);
  return OPEN_E_NONE;
}

// The method of one order: read from the HTTP list, set in the list the
// body names.
template <int64_t Order, size_t N>
constexpr Field http_method(const char *key, const int64_t (&methods)[N], const char *log) {
  return {key,
          one_of(methods, log),
          get<&rpcclt_openapiAuthenticationMethodGet, Lit<OPEN_AUTH_LIST_HTTP>, LitText<kHttpList>, Lit<Order>, Val>,
          set<&rpcclt_openapiAuthenticationMethodSet, Lit<OPEN_AUTH_LIST_HTTP>, Key<"HttpListName">, Lit<Order>, Val>,
          "Failed to get the HTTP authentication method and error code:%d",
          "Failed to set the HTTP authentication method %d and error code : %d",
          SetLog::ValueRc};
}
template <int64_t Order>
constexpr Field https_method(const char *key) {
  return {key,
          no_check(),
          nullptr,
          set<&rpcclt_openapiAuthenticationMethodSet, Lit<OPEN_AUTH_LIST_HTTPS>, Key<"HttpsListName">, Lit<Order>, Val>,
          nullptr,
          "Failed to set the HTTPS authentication method %d and error code : %d",
          SetLog::ValueRc};
}

const Field kWebListFields[] = {
    {.key = "HttpListName", .check = any_text(), .get = http_list_name},
    {.key = "HttpsListName", .check = any_text()},
    http_method<0>("method_0", kFirstMethods, "Invalid Authentication method for order 0:%d\n"),
    http_method<1>("method_1", kLaterMethods, "Invalid Authentication method for order 1:%d\n"),
    http_method<2>("method_2", kLaterMethods, "Invalid Authentication method for order 2:%d\n"),
    http_method<3>("method_3", kLaterMethods, "Invalid Authentication method for order 3:%d\n"),
    https_method<0>("method_0"),
    https_method<1>("method_1"),
    https_method<2>("method_2"),
    https_method<3>("method_3"),
};
const Resource kWebLists{.name = "http_https_auth_list", .walk = scalar(), .fields = kWebListFields};

}  // namespace

VELTRUM_SERVE(radius_server_cfg, kAuthServers);
VELTRUM_SERVE(radius_server_stats, kAuthStats);
VELTRUM_SERVE(radius_global_cfg, kRadiusGlobal);
VELTRUM_SERVE(radius_accounting_cfg, kAcctServers);
VELTRUM_SERVE(radius_accounting_stats, kAcctStats);
VELTRUM_SERVE(radius_accounting_stats_clear, kStatsClear);
VELTRUM_SERVE(tacacs_global_cfg, kTacacsGlobal);
VELTRUM_SERVE(tacacs_server_cfg, kTacacsServers);
VELTRUM_SERVE(http_https_auth_list, kWebLists);
