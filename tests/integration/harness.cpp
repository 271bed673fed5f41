#include "tests/integration/harness.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/file.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/sysinfo.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <sstream>
#include <stdexcept>
#include <thread>

#include "sim/control_calls.h"
#include "support/device.h"
#include "tests/common/launch.h"

namespace veltrum::test {

namespace {

constexpr const char *kPortLockPath = "/tmp/veltrum-agent-port-8445.lock";
// Deadlines only turn a hang into a failure; nothing is measured.
constexpr auto kStartDeadline = std::chrono::seconds(60);

void sleep_ms(int ms) { std::this_thread::sleep_for(std::chrono::milliseconds(ms)); }

struct CurlEasyCleanup {
  void operator()(CURL *curl) const { curl_easy_cleanup(curl); }
};
using CurlEasy = std::unique_ptr<CURL, CurlEasyCleanup>;

// A curl header list, freed at the end of the request.
class CurlHeaders {
 public:
  CurlHeaders() = default;
  ~CurlHeaders() { curl_slist_free_all(list_); }
  CurlHeaders(const CurlHeaders &) = delete;
  CurlHeaders &operator=(const CurlHeaders &) = delete;
  void add(const std::string &line) {
    curl_slist *next = curl_slist_append(list_, line.c_str());
    if (!next) throw std::runtime_error("curl_slist_append failed");
    list_ = next;
  }
  curl_slist *get() const { return list_; }

 private:
  curl_slist *list_ = nullptr;
};

void curl_global_once() {
  static std::once_flag once;
  std::call_once(once, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
}

size_t collect_body(char *data, size_t size, size_t count, void *user) {
  static_cast<std::string *>(user)->append(data, size * count);
  return size * count;
}

size_t collect_header(char *data, size_t size, size_t count, void *user) {
  auto *response = static_cast<HttpResponse *>(user);
  std::string line(data, size * count);
  while (!line.empty() && (line.back() == '\n' || line.back() == '\r')) line.pop_back();
  if (line.rfind("HTTP/", 0) == 0) {
    response->headers.clear();  // a new status line (after 100 Continue, say)
  } else if (auto colon = line.find(':'); colon != std::string::npos) {
    std::string value = line.substr(colon + 1);
    size_t start = value.find_first_not_of(' ');
    response->headers.emplace_back(line.substr(0, colon), start == std::string::npos ? "" : value.substr(start));
  }
  return size * count;
}

bool iequals(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i)
    if (std::tolower(static_cast<unsigned char>(a[i])) != std::tolower(static_cast<unsigned char>(b[i])))
      return false;
  return true;
}

std::string build_path(const char *relative) { return std::string(VELTRUM_BUILD_DIR) + relative; }

// Whether a pid has ended; reaps it and stores its status.
bool reap(pid_t pid, std::optional<int> *status) {
  if (pid <= 0) return true;
  int st = 0;
  pid_t r = waitpid(pid, &st, WNOHANG);
  if (r == pid) {
    if (status) *status = st;
    return true;
  }
  return r < 0;
}

void kill_and_wait(pid_t pid, int signal_number, std::optional<int> *status) {
  if (pid <= 0) return;
  ::kill(pid, signal_number);
  auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (!reap(pid, status)) {
    if (std::chrono::steady_clock::now() > deadline) {
      ::kill(pid, SIGKILL);
      int st = 0;
      waitpid(pid, &st, 0);
      if (status) *status = st;
      return;
    }
    sleep_ms(5);
  }
}

std::string tail(const std::string &text, size_t n) { return text.size() <= n ? text : text.substr(text.size() - n); }

}  // namespace

// ---------------------------------------------------------------- HTTP

std::optional<std::string> HttpResponse::header(std::string_view name) const {
  for (const auto &[key, value] : headers)
    if (iequals(key, name)) return value;
  return std::nullopt;
}

JsonPtr HttpResponse::json() const { return JsonPtr(json_tokener_parse(body.c_str())); }

HttpResponse http_request(const HttpRequest &request) {
  curl_global_once();
  HttpResponse response;
  CurlEasy curl(curl_easy_init());
  if (!curl) throw std::runtime_error("curl_easy_init failed");
  CURL *c = curl.get();
  std::string url = std::string("http://") + kAgentHost + ":" + std::to_string(kAgentPort) + request.path;
  CurlHeaders headers;
  headers.add("Expect:");  // no 100-continue round trip: the body goes at once
  if (request.credentials.bearer) headers.add("Authorization: Bearer " + *request.credentials.bearer);
  for (const auto &h : request.headers) headers.add(h);

  curl_easy_setopt(c, CURLOPT_URL, url.c_str());
  curl_easy_setopt(c, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(c, CURLOPT_TIMEOUT_MS, request.timeout_ms);
  curl_easy_setopt(c, CURLOPT_PATH_AS_IS, 1L);
  curl_easy_setopt(c, CURLOPT_HTTPHEADER, headers.get());
  curl_easy_setopt(c, CURLOPT_WRITEFUNCTION, &collect_body);
  curl_easy_setopt(c, CURLOPT_WRITEDATA, &response.body);
  curl_easy_setopt(c, CURLOPT_HEADERFUNCTION, &collect_header);
  curl_easy_setopt(c, CURLOPT_HEADERDATA, &response);
  std::string cookie;
  if (request.credentials.cookie) {
    cookie = "lhttpdsid=" + *request.credentials.cookie;
    curl_easy_setopt(c, CURLOPT_COOKIE, cookie.c_str());
  }
  if (request.credentials.basic) {
    curl_easy_setopt(c, CURLOPT_HTTPAUTH, CURLAUTH_BASIC);
    curl_easy_setopt(c, CURLOPT_USERNAME, request.credentials.basic->first.c_str());
    curl_easy_setopt(c, CURLOPT_PASSWORD, request.credentials.basic->second.c_str());
  }

  if (request.method == "HEAD") {
    curl_easy_setopt(c, CURLOPT_NOBODY, 1L);
  } else if (request.method == "GET" && !request.body) {
    curl_easy_setopt(c, CURLOPT_HTTPGET, 1L);
  } else if (request.method == "POST" || request.body) {
    const std::string &body = request.body ? *request.body : std::string();
    curl_easy_setopt(c, CURLOPT_POST, 1L);
    curl_easy_setopt(c, CURLOPT_POSTFIELDSIZE, static_cast<long>(body.size()));
    curl_easy_setopt(c, CURLOPT_COPYPOSTFIELDS, body.c_str());
    if (request.method != "POST") curl_easy_setopt(c, CURLOPT_CUSTOMREQUEST, request.method.c_str());
  } else {
    curl_easy_setopt(c, CURLOPT_CUSTOMREQUEST, request.method.c_str());
  }

  response.error = curl_easy_perform(c);
  if (response.error == CURLE_OK) curl_easy_getinfo(c, CURLINFO_RESPONSE_CODE, &response.status);
  return response;
}

json_object *json_at(json_object *root, std::initializer_list<const char *> path) {
  json_object *at = root;
  for (const char *key : path) {
    if (!at || !json_object_object_get_ex(at, key, &at)) return nullptr;
  }
  return at;
}

std::string json_string_at(json_object *root, std::initializer_list<const char *> path) {
  json_object *at = json_at(root, path);
  return at && json_object_is_type(at, json_type_string) ? json_object_get_string(at) : "";
}

int64_t json_int_at(json_object *root, std::initializer_list<const char *> path, int64_t fallback) {
  json_object *at = json_at(root, path);
  return at && json_object_is_type(at, json_type_int) ? json_object_get_int64(at) : fallback;
}

// ---------------------------------------------------------------- processes

AgentHarness::AgentHarness() : AgentHarness(Options{}) {}

AgentHarness::AgentHarness(Options options) : options_(std::move(options)) {
  char pattern[] = "/tmp/veltrum-it-XXXXXX";
  if (!mkdtemp(pattern)) throw std::runtime_error("mkdtemp failed");
  root_ = pattern;
  // The simulator lays out the rest; the agent needs its configuration
  // directory and the clock file's directory even before it starts.
  std::filesystem::create_directories(root_ + "/run");
  set_clock_offset(0);  // the agent reads its clock file only when it is there from the start
  std::filesystem::create_directories(root_ + "/mnt/fastpath/veltrum");
  set_device_root(root_);
  control_ = std::make_unique<SimControl>();
  lock_port();
  try {
    if (!options_.agent_config.empty()) write_agent_config(options_.agent_config);
    if (options_.start_sim) start_sim();
    if (options_.start_agent) start_agent(options_.start_sim);
  } catch (...) {
    // No destructor runs for a constructor that throws.
    stop_agent(SIGKILL);
    stop_sim(SIGKILL);
    control_.reset();
    ::close(lock_fd_);
    std::error_code ec;
    std::filesystem::remove_all(root_, ec);
    throw;
  }
}

AgentHarness::~AgentHarness() {
  check_agent_died_unexpectedly();
  stop_agent(SIGKILL);
  stop_sim(SIGKILL);
  control_.reset();
  if (lock_fd_ >= 0) ::close(lock_fd_);
  std::error_code ec;
  std::filesystem::remove_all(root_, ec);
}

void AgentHarness::lock_port() {
  lock_fd_ = ::open(kPortLockPath, O_CREAT | O_RDWR | O_CLOEXEC, 0666);
  if (lock_fd_ < 0) throw std::runtime_error(std::string("cannot open ") + kPortLockPath);
  while (::flock(lock_fd_, LOCK_EX) != 0) {
    if (errno != EINTR) throw std::runtime_error(std::string("cannot lock ") + kPortLockPath);
  }
}

pid_t AgentHarness::spawn(const std::vector<std::string> &program, const std::vector<std::string> &env,
                          const std::string &log_file) {
  std::vector<std::string> argv = launch_argv(program, VELTRUM_BUILD_DIR);
  std::vector<char *> args;
  for (const auto &a : argv) args.push_back(const_cast<char *>(a.c_str()));
  args.push_back(nullptr);
  std::vector<std::string> env_text;
  for (char **e = environ; *e; ++e) {
    std::string entry = *e;
    bool replaced = false;
    for (const auto &override_entry : env)
      if (entry.substr(0, entry.find('=') + 1) == override_entry.substr(0, override_entry.find('=') + 1))
        replaced = true;
    if (!replaced) env_text.push_back(entry);
  }
  for (const auto &e : env) env_text.push_back(e);
  std::vector<char *> envp;
  for (auto &e : env_text) envp.push_back(e.data());
  envp.push_back(nullptr);

  int log_fd = ::open(log_file.c_str(), O_CREAT | O_WRONLY | O_APPEND | O_CLOEXEC, 0644);
  if (log_fd < 0) throw std::runtime_error("cannot open " + log_file);
  pid_t parent = getpid();
  pid_t pid = fork();
  if (pid < 0) {
    ::close(log_fd);
    throw std::runtime_error("fork failed");
  }
  if (pid == 0) {
    // Die with the test process, whatever ends it.
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent) _exit(127);
    int null_fd = ::open("/dev/null", O_RDONLY);
    if (null_fd >= 0) dup2(null_fd, STDIN_FILENO);
    dup2(log_fd, STDOUT_FILENO);
    dup2(log_fd, STDERR_FILENO);
    execve(args[0], args.data(), envp.data());
    _exit(127);
  }
  ::close(log_fd);
  return pid;
}

void AgentHarness::start_sim() {
  if (sim_running()) return;
  std::vector<std::string> argv = {build_path("/sim/veltrum-simd"), "--root", root_};
  argv.insert(argv.end(), options_.sim_args.begin(), options_.sim_args.end());
  sim_pid_ = spawn(argv, {}, root_ + "/sim.log");
  auto deadline = std::chrono::steady_clock::now() + kStartDeadline;
  while (!control_->answers()) {
    if (!sim_running()) throw std::runtime_error("veltrum-simd exited at start:\n" + tail(read_file("/sim.log"), 2000));
    if (std::chrono::steady_clock::now() > deadline) throw std::runtime_error("veltrum-simd does not answer:\n" + tail(read_file("/sim.log"), 2000));
    sleep_ms(5);
  }
}

void AgentHarness::stop_sim(int signal_number) {
  if (sim_pid_ > 0) kill_and_wait(sim_pid_, signal_number, nullptr);
  sim_pid_ = -1;
}

void AgentHarness::freeze_sim() {
  if (sim_pid_ <= 0 || ::kill(sim_pid_, SIGSTOP) != 0) throw std::runtime_error("no simulator to stop");
  int st = 0;
  pid_t r;
  do {
    r = waitpid(sim_pid_, &st, WUNTRACED);
  } while (r < 0 && errno == EINTR);
  if (r != sim_pid_ || !WIFSTOPPED(st)) throw std::runtime_error("the simulator ended instead of stopping");
}

void AgentHarness::thaw_sim() {
  if (sim_pid_ <= 0 || ::kill(sim_pid_, SIGCONT) != 0) throw std::runtime_error("no simulator to continue");
}

bool AgentHarness::sim_running() {
  if (sim_pid_ <= 0) return false;
  if (reap(sim_pid_, nullptr)) {
    sim_pid_ = -1;
    return false;
  }
  return true;
}

bool AgentHarness::port_answers() const {
  int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (fd < 0) return false;
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(kAgentPort);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  bool ok = ::connect(fd, reinterpret_cast<sockaddr *>(&address), sizeof address) == 0;
  ::close(fd);
  return ok;
}

void AgentHarness::start_agent(bool wait_ready, bool require_free_port) {
  if (agent_running()) return;
  // The lock keeps other harnesses away; an agent that still listens was
  // left by something else and would answer in ours' place.
  auto deadline = std::chrono::steady_clock::now() + kStartDeadline;
  while (require_free_port && port_answers()) {
    if (std::chrono::steady_clock::now() > deadline)
      throw std::runtime_error("something else listens on 127.0.0.1:8445");
    sleep_ms(50);
  }
  agent_status_.reset();
  agent_stopping_ = false;
  std::vector<std::string> env = {"VELTRUM_ROOT=" + root_, "VELTRUM_LOG_LEVEL=7"};
  env.insert(env.end(), options_.agent_env.begin(), options_.agent_env.end());
  agent_pid_ = spawn({build_path("/server/veltrum")}, env, root_ + "/agent.log");
  if (wait_ready && !wait_agent_ready())
    throw std::runtime_error("the agent did not come up:\n" + tail(agent_log(), 3000));
}

bool AgentHarness::wait_agent_ready() {
  auto deadline = std::chrono::steady_clock::now() + kStartDeadline;
  while (!port_answers()) {
    if (!agent_running() || std::chrono::steady_clock::now() > deadline) return false;
    sleep_ms(5);
  }
  return agent_running();
}

bool AgentHarness::agent_running() {
  if (agent_pid_ <= 0) return false;
  if (reap(agent_pid_, &agent_status_)) {
    agent_pid_ = -1;
    return false;
  }
  return true;
}

std::optional<int> AgentHarness::agent_exit_status() {
  agent_running();
  return agent_status_;
}

void AgentHarness::stop_agent(int signal_number) {
  agent_stopping_ = true;
  if (agent_pid_ > 0) kill_and_wait(agent_pid_, signal_number, &agent_status_);
  agent_pid_ = -1;
}

void AgentHarness::check_agent_died_unexpectedly() {
  if (agent_stopping_ || agent_pid_ <= 0) return;
  if (!agent_running())
    ADD_FAILURE() << "the agent ended on its own (status " << agent_status_.value_or(-1) << "):\n"
                  << tail(agent_log(), 4000);
}

HttpResponse AgentHarness::send(const std::string &method, const std::string &path, std::optional<std::string> body,
                                const Credentials &credentials) const {
  HttpRequest r;
  r.method = method;
  r.path = path;
  r.body = std::move(body);
  r.credentials = credentials;
  return http_request(r);
}

HttpResponse AgentHarness::get(const std::string &path, const Credentials &credentials) const {
  return send("GET", path, std::nullopt, credentials);
}

HttpResponse AgentHarness::post(const std::string &path, std::optional<std::string> body,
                                const Credentials &credentials) const {
  return send("POST", path, std::move(body), credentials);
}

HttpResponse AgentHarness::del(const std::string &path, std::optional<std::string> body,
                               const Credentials &credentials) const {
  return send("DELETE", path, std::move(body), credentials);
}

std::string AgentHarness::new_cookie() {
  return "it" + std::to_string(getpid()) + "x" + std::to_string(++cookie_serial_) + "x" +
         std::to_string(offset_);
}

Login AgentHarness::login(const std::string &user, const std::string &password, std::string cookie) {
  Login result;
  result.cookie = cookie.empty() ? new_cookie() : std::move(cookie);
  JsonPtr body(json_object_new_object());
  JsonPtr inner(json_object_new_object());
  json_object_object_add(inner.get(), "username", json_object_new_string(user.c_str()));
  json_object_object_add(inner.get(), "password", json_object_new_string(password.c_str()));
  json_object_object_add(body.get(), "login", json_object_get(inner.get()));
  result.response = post("/api/v1/login", json_text(body.get()), Credentials{result.cookie, {}, {}});
  JsonPtr answer = result.response.json();
  result.ok = json_string_at(answer.get(), {"resp", "status"}) == "success";
  result.token = json_string_at(answer.get(), {"login", "token"});
  result.expire = json_int_at(answer.get(), {"login", "expire"}, 0);
  return result;
}

long AgentHarness::host_uptime() {
  struct sysinfo info {};
  sysinfo(&info);
  return info.uptime;
}

void AgentHarness::set_clock_offset(long seconds) {
  offset_ = seconds;
  // Written aside and renamed, so the agent never reads half a number.
  std::string path = root_ + "/run/uptime-offset";
  std::string temp = path + ".new";
  {
    std::ofstream out(temp, std::ios::trunc);
    out << seconds << "\n";
  }
  std::filesystem::rename(temp, path);
}

std::string AgentHarness::read_file(const std::string &relative) const {
  std::ifstream in(root_ + relative, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

std::string AgentHarness::program_log() const { return read_file("/var/log/device-programs.log"); }

void AgentHarness::clear_program_log() const {
  std::ofstream(root_ + "/var/log/device-programs.log", std::ios::trunc);
}

std::vector<std::string> AgentHarness::program_log_lines() const {
  std::vector<std::string> lines;
  std::istringstream in(program_log());
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

std::string AgentHarness::agent_log() const { return read_file("/agent.log"); }

size_t AgentHarness::agent_log_size() const {
  std::error_code ec;
  auto size = std::filesystem::file_size(root_ + "/agent.log", ec);
  return ec ? 0 : static_cast<size_t>(size);
}

std::string AgentHarness::agent_log_since(size_t mark) const {
  std::string log = agent_log();
  return mark < log.size() ? log.substr(mark) : std::string();
}

void AgentHarness::write_agent_config(const std::string &json) const {
  std::filesystem::create_directories(root_ + "/mnt/fastpath/veltrum");
  std::ofstream(root_ + "/mnt/fastpath/veltrum/agent.cfg", std::ios::trunc) << json << "\n";
}

void AgentHarness::reset() {
  control_->clear_faults();
  control_->factory_reset();
  control_->reset_counts();
  clear_program_log();
  // Well past any hard limit (hours) and soft limit (minutes) a test uses.
  advance_clock(10L * 24 * 3600);
}

// ---------------------------------------------------------------- suite fixture

AgentHarness *AgentSuite::shared_ = nullptr;

void AgentSuite::SetUpTestSuite() {
  if (!shared_) shared_ = new AgentHarness();
}

void AgentSuite::TearDownTestSuite() {
  delete shared_;
  shared_ = nullptr;
}

void AgentSuite::SetUp() {
  ASSERT_NE(shared_, nullptr) << "the harness did not start";
  ASSERT_TRUE(shared_->agent_running()) << "the agent is gone:\n" << tail(shared_->agent_log(), 4000);
  shared_->reset();
}

void LoggedInSuite::SetUp() {
  AgentSuite::SetUp();
  if (HasFatalFailure()) return;
  session_ = harness().login();
  ASSERT_TRUE(session_.ok) << session_.response.body;
  harness().sim().reset_counts();
  harness().clear_program_log();
}

std::vector<std::string> ResourceSuite::calls(const std::string &part) {
  std::vector<std::string> out;
  for (const auto &c : harness().sim().journal())
    if (c.find(part) != std::string::npos) out.push_back(c);
  return out;
}

size_t ResourceSuite::list_length(const HttpResponse &r, const char *key) {
  JsonPtr doc = r.json();
  json_object *list = json_at(doc.get(), {key});
  return json_object_is_type(list, json_type_array) ? json_object_array_length(list) : 0;
}

int64_t ResourceSuite::err_code(const HttpResponse &r) { return json_int_at(r.json().get(), {"resp", "errCode"}); }
int64_t ResourceSuite::resp_code(const HttpResponse &r) { return json_int_at(r.json().get(), {"resp", "respCode"}); }

std::string range_refusal(int64_t value, const char *label, int64_t min, int64_t max) {
  return R"({"resp":{"status":"failure","respCode":-1,"errCode":9,"errMsgArgs":{"value":)" + std::to_string(value) +
         R"(,"params":")" + label + R"(","min":)" + std::to_string(min) + R"(,"max":)" + std::to_string(max) + "}}}";
}

}  // namespace veltrum::test
