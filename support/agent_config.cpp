#include "support/agent_config.h"

#include <json-c/json.h>

#include <climits>
#include <cstdlib>
#include <string>

#include "support/device.h"
#include "support/files.h"
#include "support/log.h"
#include "support/mem.h"

namespace {

constexpr AgentConfig kDefaults = {
    .httpEnable = 1,
    .httpPort = 80,
    .httpsEnable = 1,
    .httpsPort = 443,
    .maxSes = 4,
    .softTimeout = 5,   // minutes
    .hardTimeout = 24,  // hours
    .httpLang = "en",
    .themeSel = "system",
    .pellmar = 1,
    .localMgmt = 1,
};

// The members in file order; each is either a number or a short text.
struct Member {
  const char *key;
  int AgentConfig::*number;
  char (AgentConfig::*text)[8];
};

constexpr Member kMembers[] = {
    {"httpEnable", &AgentConfig::httpEnable, nullptr},
    {"httpPort", &AgentConfig::httpPort, nullptr},
    {"httpsEnable", &AgentConfig::httpsEnable, nullptr},
    {"httpsPort", &AgentConfig::httpsPort, nullptr},
    {"maxSes", &AgentConfig::maxSes, nullptr},
    {"softTimeout", &AgentConfig::softTimeout, nullptr},
    {"hardTimeout", &AgentConfig::hardTimeout, nullptr},
    {"httpLang", nullptr, &AgentConfig::httpLang},
    {"themeSel", nullptr, &AgentConfig::themeSel},
    {"pellmar", &AgentConfig::pellmar, nullptr},
    {"localMgmt", &AgentConfig::localMgmt, nullptr},
};

constexpr size_t kTextMax = sizeof(AgentConfig::httpLang) - 1;

}  // namespace

AgentConfig g_agent_config = kDefaults;
pthread_mutex_t session_mutex = PTHREAD_MUTEX_INITIALIZER;

void init_agent_config(AgentConfig *cfg) {
  if (cfg != nullptr) *cfg = kDefaults;
}

int parse_agent_config(AgentConfig *cfg) {
  if (cfg == nullptr) return -1;
  std::string path = device_path(AGENT_CONFIG_PATH);
  char *text = load_file(path.c_str());
  if (text == nullptr) {
    agent_log(7, "agent config %s not readable, keeping defaults", path.c_str());
    return -1;
  }

  json_tokener_error error = json_tokener_success;
  json_object *root = json_tokener_parse_verbose(text, &error);
  std::free(text);
  if (root == nullptr || !json_object_is_type(root, json_type_object)) {
    agent_log(4, "agent config %s is malformed (%s), keeping defaults", path.c_str(),
              root == nullptr ? json_tokener_error_desc(error) : "not an object");
    json_object_put(root);
    return -1;
  }

  for (const Member &m : kMembers) {
    json_object *value = nullptr;
    if (!json_object_object_get_ex(root, m.key, &value)) continue;
    if (m.number != nullptr) {
      int64_t number = json_object_get_int64(value);
      if (!json_object_is_type(value, json_type_int) || number < INT_MIN || number > INT_MAX) {
        agent_log(4, "agent config member %s is not an integer, keeping %d", m.key,
                  cfg->*m.number);
        continue;
      }
      cfg->*m.number = static_cast<int>(number);
    } else {
      if (!json_object_is_type(value, json_type_string)) {
        agent_log(4, "agent config member %s is not a text, keeping \"%s\"", m.key,
                  cfg->*m.text);
        continue;
      }
      strncpyt(cfg->*m.text, json_object_get_string(value), kTextMax);
    }
  }
  json_object_put(root);
  return 0;
}

int dump_agent_config(const AgentConfig *cfg) {
  if (cfg == nullptr) return -1;
  // The record may come from anywhere: never read past a text member.
  char lang[kTextMax + 1];
  char theme[kTextMax + 1];
  strncpyt(lang, cfg->httpLang, kTextMax);
  strncpyt(theme, cfg->themeSel, kTextMax);
  agent_log(7,
            "agent config: httpEnable=%d httpPort=%d httpsEnable=%d httpsPort=%d maxSes=%d "
            "softTimeout=%d hardTimeout=%d httpLang=%s themeSel=%s pellmar=%d localMgmt=%d",
            cfg->httpEnable, cfg->httpPort, cfg->httpsEnable, cfg->httpsPort, cfg->maxSes,
            cfg->softTimeout, cfg->hardTimeout, lang, theme, cfg->pellmar, cfg->localMgmt);

  json_object *root = json_object_new_object();
  if (root == nullptr) return -1;
  for (const Member &m : kMembers) {
    if (m.number != nullptr) {
      json_object_object_add(root, m.key, json_object_new_int(cfg->*m.number));
    } else {
      char text[kTextMax + 1];
      strncpyt(text, cfg->*m.text, kTextMax);
      json_object_object_add(root, m.key, json_object_new_string(text));
    }
  }

  std::string content = json_object_to_json_string_ext(root, JSON_C_TO_STRING_PRETTY);
  json_object_put(root);
  content.push_back('\n');

  std::string path = device_path(AGENT_CONFIG_PATH);
  if (write_file_atomic(path, content) != 0) {
    agent_log(3, "agent config %s could not be written", path.c_str());
    return -1;
  }
  return 0;
}
