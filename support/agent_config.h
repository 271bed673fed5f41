// The agent configuration record and its store.
//
// The record is kept as JSON in "/mnt/fastpath/veltrum/agent.cfg" under the
// device root (the switch's persistent flash). Defaults, chosen to match the
// web front end's factory settings:
//   httpEnable 1, httpPort 80, httpsEnable 1, httpsPort 443,
//   maxSes 4, softTimeout 5 (minutes), hardTimeout 24 (hours),
//   httpLang "en", themeSel "system", pellmar 1, localMgmt 1.
// parse_agent_config overrides the defaults member by member from the file;
// a missing file, a malformed file or a member of the wrong type leaves the
// defaults in place (and logs the fault). dump_agent_config logs the record
// at level 7 and writes it back to the file atomically.
#pragma once

#include <pthread.h>

struct AgentConfig {
  int httpEnable;
  int httpPort;
  int httpsEnable;
  int httpsPort;
  int maxSes;
  int softTimeout;  // minutes
  int hardTimeout;  // hours
  char httpLang[8];
  char themeSel[8];
  int pellmar;
  int localMgmt;
};

extern AgentConfig g_agent_config;
// Guards the session table (it lives beside the configuration).
extern pthread_mutex_t session_mutex;

#define AGENT_CONFIG_PATH "/mnt/fastpath/veltrum/agent.cfg"

void init_agent_config(AgentConfig *cfg);
// Overrides the members of `cfg` (normally fresh from init_agent_config) that
// the file holds with the right type; text members are cut to 7 characters.
// 0 when the file was read, -1 when it was missing, unreadable or not a JSON
// object.
int parse_agent_config(AgentConfig *cfg);
// 0 when the file was written, -1 otherwise.
int dump_agent_config(const AgentConfig *cfg);
