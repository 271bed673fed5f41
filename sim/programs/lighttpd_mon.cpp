// lighttpdMon: the web front end's monitor on a development device root.
//
// It runs lighttpd as the device's web front end, from a configuration it
// writes out of the agent's stored settings (support/agent_config.h):
//   - the HTTP listener on "httpPort" when "httpEnable" is set, the HTTPS
//     listener on "httpsPort" when "httpsEnable" is set and the combined
//     certificate file "/mnt/fastpath/lighttpd/ssl/https_cert.cer" exists
//     (HTTPS waits for it: restgen or an upload makes it);
//   - "/api/" forwarded to the agent on 127.0.0.1:8445, everything else
//     served from "/var/www/ui" (the export directory is "/export/");
//   - request bodies spooled in "/tmp/upload", the directory where the web
//     front end keeps uploaded files.
// Listeners bind the loopback address only: a development machine does not
// offer the device's login to its network. Not running as root, a port below
// 1024 is mapped to port + 8000 (80 to 8080, 443 to 8443), since only root
// may bind it.
//
// SIGUSR1 (the agent's reload request after a listener change) writes the
// configuration again and restarts lighttpd; each one is recorded as
// "lighttpdMon SIGUSR1" in "/var/log/device-programs.log". A change of the
// combined certificate file restarts lighttpd too (checked every second), so
// that a new certificate is served. A lighttpd that dies is started again
// after a pause. SIGTERM, SIGINT or SIGHUP stop lighttpd and the monitor.
//
// The addresses served are written to "/run/lighttpd/listeners", one URL a
// line, for the run script to show. The device root is VELTRUM_ROOT, or the
// directory above the "/bin/lighttpdMon" the monitor was started as.
#include <signal.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "support/agent_config.h"
#include "support/device.h"
#include "support/files.h"
#include "support/log.h"

namespace {

constexpr const char *kCombinedCert = "/mnt/fastpath/lighttpd/ssl/https_cert.cer";
constexpr const char *kConfigFile = "/run/lighttpd/lighttpd.conf";
constexpr const char *kListenersFile = "/run/lighttpd/listeners";
constexpr const char *kErrorLog = "/var/log/lighttpd-error.log";
constexpr const char *kProgramLog = "/var/log/device-programs.log";
constexpr int kAgentPort = 8445;
constexpr int kUnprivilegedOffset = 8000;
constexpr auto kRestartPause = std::chrono::seconds(1);

// A text as a lighttpd configuration string.
std::string conf_string(const std::string &text) {
  std::string out = "\"";
  for (char c : text) {
    if (c == '"' || c == '\\') out += '\\';
    out += c;
  }
  return out + "\"";
}

int served_port(int port) { return port < 1024 && geteuid() != 0 ? port + kUnprivilegedOffset : port; }

// What identifies a version of a file: gone, or its inode, size and time.
std::string file_stamp(const std::string &path) {
  struct stat st;
  if (stat(path.c_str(), &st) != 0) return "";
  return std::to_string(st.st_ino) + ":" + std::to_string(st.st_size) + ":" + std::to_string(st.st_mtim.tv_sec) +
         "." + std::to_string(st.st_mtim.tv_nsec);
}

std::string find_lighttpd() {
  for (const char *candidate : {"/usr/sbin/lighttpd", "/usr/local/sbin/lighttpd", "/sbin/lighttpd"})
    if (access(candidate, X_OK) == 0) return candidate;
  return "lighttpd";  // searched on PATH
}

class FrontEnd {
 public:
  // Writes the configuration; false when no listener can be served.
  bool configure() {
    AgentConfig cfg;
    init_agent_config(&cfg);
    parse_agent_config(&cfg);
    std::string cert = device_path(kCombinedCert);
    cert_stamp_ = file_stamp(cert);
    bool http = cfg.httpEnable != 0;
    bool https = cfg.httpsEnable != 0 && !cert_stamp_.empty();
    if (cfg.httpsEnable != 0 && !https) agent_log(4, "HTTPS waits for the certificate %s", cert.c_str());
    int http_port = served_port(cfg.httpPort);
    int https_port = served_port(cfg.httpsPort);
    if (http && https && http_port == https_port) {
      agent_log(4, "HTTP and HTTPS share port %d: serving HTTPS only", https_port);
      http = false;
    }
    if (!http && !https) {
      agent_log(4, "no listener to serve");
      write_file_atomic(device_path(kListenersFile), "");
      return false;
    }

    std::string conf;
    conf += "server.modules = ( \"mod_access\", \"mod_proxy\"" + std::string(https ? ", \"mod_openssl\"" : "") + " )\n";
    conf += "server.document-root = " + conf_string(device_path("/var/www/ui")) + "\n";
    conf += "server.upload-dirs = ( " + conf_string(device_path("/tmp/upload")) + " )\n";
    conf += "server.errorlog = " + conf_string(device_path(kErrorLog)) + "\n";
    conf += "server.bind = \"127.0.0.1\"\n";
    conf += "server.port = " + std::to_string(http ? http_port : https_port) + "\n";
    conf += "mimetype.assign = ( \".html\" => \"text/html\", \".txt\" => \"text/plain\", "
            "\".cfg\" => \"text/plain\", \"\" => \"application/octet-stream\" )\n";
    conf += "proxy.server = ( \"/api/\" => ( ( \"host\" => \"127.0.0.1\", \"port\" => " +
            std::to_string(kAgentPort) + " ) ) )\n";
    std::string ssl = "ssl.engine = \"enable\"\nssl.pemfile = " + conf_string(cert) + "\n";
    if (https && http)
      conf += "$SERVER[\"socket\"] == \"127.0.0.1:" + std::to_string(https_port) + "\" {\n" + ssl + "}\n";
    else if (https)
      conf += ssl;

    std::string listeners;
    if (http) listeners += "http://127.0.0.1:" + std::to_string(http_port) + "/\n";
    if (https) listeners += "https://127.0.0.1:" + std::to_string(https_port) + "/\n";
    if (write_file_atomic(device_path(kConfigFile), conf) != 0 ||
        write_file_atomic(device_path(kListenersFile), listeners) != 0) {
      agent_log(3, "cannot write %s", device_path(kConfigFile).c_str());
      return false;
    }
    return true;
  }

  void start() {
    if (pid_ > 0 || !configure()) return;
    std::string program = find_lighttpd();
    std::string conf = device_path(kConfigFile);
    pid_t parent = getpid();
    pid_t pid = fork();
    if (pid < 0) {
      agent_log(3, "cannot start lighttpd: %s", std::strerror(errno));
      return;
    }
    if (pid == 0) {
      prctl(PR_SET_PDEATHSIG, SIGTERM);
      if (getppid() != parent) _exit(1);
      sigset_t none;
      sigemptyset(&none);
      sigprocmask(SIG_SETMASK, &none, nullptr);
      execlp(program.c_str(), program.c_str(), "-D", "-f", conf.c_str(), static_cast<char *>(nullptr));
      _exit(127);
    }
    pid_ = pid;
    agent_log(6, "lighttpd started (pid %d)", static_cast<int>(pid));
  }

  void stop() {
    if (pid_ <= 0) return;
    kill(pid_, SIGTERM);
    int status = 0;
    while (waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
    }
    pid_ = -1;
  }

  void restart(const char *why) {
    agent_log(6, "restarting lighttpd: %s", why);
    stop();
    start();
  }

  // After SIGCHLD: true when lighttpd itself ended.
  bool reap() {
    bool ours = false;
    int status = 0;
    pid_t pid;
    while ((pid = waitpid(-1, &status, WNOHANG)) > 0) {
      if (pid != pid_) continue;
      ours = true;
      pid_ = -1;
      agent_log(3, "lighttpd ended (status %d); see %s", status, device_path(kErrorLog).c_str());
    }
    return ours;
  }

  bool running() const { return pid_ > 0; }
  bool cert_changed() const { return file_stamp(device_path(kCombinedCert)) != cert_stamp_; }

 private:
  pid_t pid_ = -1;
  std::string cert_stamp_;
};

void record_signal() {
  std::string line = "lighttpdMon SIGUSR1\n";
  FILE *log = std::fopen(device_path(kProgramLog).c_str(), "a");
  if (!log) return;
  std::fputs(line.c_str(), log);
  std::fclose(log);
}

}  // namespace

int main(int argc, char **argv) {
  log_set_ident("lighttpdMon");
  if (device_root().empty() && argc > 0) {
    std::string_view self = argv[0];
    constexpr std::string_view kSuffix = "/bin/lighttpdMon";
    if (self.size() > kSuffix.size() && self.front() == '/' && self.ends_with(kSuffix))
      set_device_root(self.substr(0, self.size() - kSuffix.size()));
  }

  sigset_t signals;
  sigemptyset(&signals);
  for (int sig : {SIGUSR1, SIGTERM, SIGINT, SIGHUP, SIGCHLD}) sigaddset(&signals, sig);
  sigprocmask(SIG_BLOCK, &signals, nullptr);

  FrontEnd front;
  front.start();
  auto retry_at = std::chrono::steady_clock::time_point::max();
  for (;;) {
    timespec second{1, 0};
    int sig = sigtimedwait(&signals, nullptr, &second);
    auto now = std::chrono::steady_clock::now();
    if (sig == SIGTERM || sig == SIGINT || sig == SIGHUP) {
      front.stop();
      return 0;
    }
    if (sig == SIGUSR1) {
      record_signal();
      front.restart("reload requested");
      retry_at = std::chrono::steady_clock::time_point::max();
    } else if (sig == SIGCHLD) {
      if (front.reap()) retry_at = now + kRestartPause;
    } else if (sig < 0 && errno != EAGAIN && errno != EINTR) {
      agent_log(1, "sigtimedwait: %s", std::strerror(errno));
      front.stop();
      return 1;
    }
    if (front.cert_changed()) {
      front.restart("the certificate changed");
    } else if (!front.running() && now >= retry_at) {
      retry_at = std::chrono::steady_clock::time_point::max();
      front.start();
      if (!front.running()) retry_at = now + kRestartPause;
    }
  }
}
