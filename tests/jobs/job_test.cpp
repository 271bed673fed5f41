// The worker-job machinery with real programs (shell scripts standing in for
// ping and traceroute), and the argument vectors of the two diagnostic jobs.
#include <signal.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "jobs/job.h"
#include "jobs/ping_test.h"
#include "jobs/traceroute.h"
#include "support/json_ptr.h"
#include "support/process.h"
#include "tests/support/test_util.h"

namespace {

using namespace veltrum::jobs;

std::vector<std::string> strings(char **argv) {
  std::vector<std::string> out;
  for (char **p = argv; p && *p; ++p) out.emplace_back(*p);
  argv_free(argv);
  return out;
}

using Args = std::vector<std::string>;

// ---------------------------------------------------------------- argument vectors

TEST(DiagnosticArgv, PingCommandLines) {
  char host[] = "10.1.1.1";
  PingRequest request{1, host, 4, 0, 100};
  EXPECT_EQ(strings(ping_test_argv(&request)), (Args{"ping", "10.1.1.1", "-c", "3", "-s", "100"}));

  request = {1, host, 6, 5, 0};
  EXPECT_EQ(strings(ping_test_argv(&request)), (Args{"ping6", "10.1.1.1", "-c", "5"}));

  request = {1, nullptr, 0, -2, -7};
  EXPECT_EQ(strings(ping_test_argv(&request)), (Args{"ping", "-c", "-2", "-s", "-7"}))
      << "values pass as they are; the host only when given";
}

TEST(DiagnosticArgv, TracerouteCommandLines) {
  char host[] = "h";
  TracerouteRequest request{};
  request.host = host;
  request.noFrag = 1;
  request.maxTtl = 20;
  request.wait = 2;
  request.verbose = 1;  // read, never an option
  EXPECT_EQ(strings(traceroute_argv(&request)), (Args{"traceroute", "h", "-F", "-m", "20", "-w", "2"}));

  char src[] = "10.0.0.1";
  char gateway[] = "10.0.0.254";
  TracerouteRequest all{1, host, 6, 1, 1, 1, 1, 1, 1, 2, 3, 4, 5, src, gateway};
  EXPECT_EQ(strings(traceroute_argv(&all)), (Args{"traceroute6", "h", "-F", "-l", "-n", "-r", "-m", "1", "-p", "2",
                                                  "-q", "3", "-t", "4", "-w", "5", "-s", "10.0.0.1", "-g",
                                                  "10.0.0.254"}));

  // Flags count only when exactly 1, numbers only above 0, texts only when
  // non-empty.
  char empty[] = "";
  TracerouteRequest none{1, host, 4, 2, -1, 2, 2, 1, 0, -1, 0, -5, 0, empty, nullptr};
  EXPECT_EQ(strings(traceroute_argv(&none)), (Args{"traceroute", "h"}));
}

// ---------------------------------------------------------------- the job machinery

// A job kind whose request is a shell script.
JobStatus g_script_status;

char **script_argv(const void *request) {
  char **argv = static_cast<char **>(std::calloc(4, sizeof(char *)));
  argv[0] = add_arg("%s", "sh");
  argv[1] = add_arg("%s", "-c");
  argv[2] = add_arg("%s", static_cast<const char *>(request));
  return argv;
}
void free_script(void *request) { std::free(request); }

extern const JobKind kScriptJob;
void script_run(Worker *worker) { job_run(kScriptJob, worker); }
void script_prepare_stop(Worker *worker) { job_prepare_stop(kScriptJob, worker); }
const WorkerCallbacks kScriptCallbacks{nullptr, script_run, nullptr, nullptr, script_prepare_stop};

const JobKind kScriptJob{"script", "/tmp/script_status", "scriptMsg", true, 6, "busy", "create failed",
                         "Exec script ret:%d.", "init failed %d", "fini failed %d", nullptr, script_argv,
                         free_script, &kScriptCallbacks, &g_script_status};

class JobMachinery : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(std::filesystem::create_directories(root_.path() + "/tmp"));
    ASSERT_EQ(init_worker_manager(), 0);
    ASSERT_EQ(job_init(kScriptJob), 0);
  }
  void TearDown() override {
    job_fini(kScriptJob);
    destroy_worker_manager();
  }

  static int start(const std::string &script) { return job_start(kScriptJob, strdup(script.c_str())); }
  static std::string view() {
    JsonPtr v(job_status_view(kScriptJob));
    return v ? json_object_to_json_string_ext(v.get(), JSON_C_TO_STRING_PLAIN) : "null";
  }
  static bool finished() { return job_exists(kScriptJob) == 0; }
  std::string status_file() const { return read_text(root_.path() + "/tmp/script_status"); }
  std::string path(const char *name) const { return root_.path() + "/" + name; }

  TempDir root_;
  ScopedDeviceRoot device_{root_.path()};
};

TEST_F(JobMachinery, OutputStreamsToTheFileAndBecomesTheMessage) {
  EXPECT_EQ(view(), "null") << "never run";
  // The second line carries "pid:", so it is a pid report, not output.
  std::string gate = path("gate");
  ASSERT_EQ(start("echo one; echo 'host pid: 77'; while [ ! -e " + gate + " ]; do sleep 0.01; done; echo two"),
            JOB_OK);
  ASSERT_TRUE(eventually([&] { return status_file() == "one\n"; }));
  EXPECT_EQ(view(), R"({"state":1,"scriptMsg":""})") << "the message waits for the end";
  EXPECT_EQ(start("echo other"), JOB_BUSY);

  write_text(gate, "");
  ASSERT_TRUE(eventually(finished));
  EXPECT_EQ(view(), R"({"state":0,"scriptMsg":"one\ntwo\n"})");
  EXPECT_EQ(g_script_status.pid, 77) << "the last pid report";
  EXPECT_FALSE(std::filesystem::exists(root_.path() + "/tmp/script_status"));
}

TEST_F(JobMachinery, FailedRunKeepsItsOutputButShowsNoState) {
  ASSERT_EQ(start("echo partial; exit 3"), JOB_OK);
  ASSERT_TRUE(eventually(finished));
  EXPECT_EQ(view(), "null");
  EXPECT_EQ(g_script_status.state, JOB_FAILED);
  ASSERT_NE(g_script_status.message, nullptr);
  EXPECT_STREQ(g_script_status.message, "partial\n");

  // A program that cannot be found fails the same way.
  ASSERT_EQ(start("exec /nonexistent/program"), JOB_OK);
  ASSERT_TRUE(eventually(finished));
  EXPECT_EQ(g_script_status.state, JOB_FAILED);
}

TEST_F(JobMachinery, UnwritableStatusFileDropsTheLinesOnly) {
  std::filesystem::remove_all(root_.path() + "/tmp");
  ASSERT_EQ(start("echo lost"), JOB_OK);
  ASSERT_TRUE(eventually(finished));
  EXPECT_EQ(view(), R"({"state":0,"scriptMsg":""})");
}

TEST_F(JobMachinery, StopEndsEvenAProgramThatIgnoresSigterm) {
  ASSERT_EQ(start("trap '' TERM; echo ready; while :; do sleep 0.05; done"), JOB_OK);
  ASSERT_TRUE(eventually([&] { return status_file() == "ready\n"; }));
  pid_t child = g_script_status.child_pid;
  ASSERT_GT(child, 0);

  EXPECT_EQ(job_stop(kScriptJob), JOB_OK);
  EXPECT_EQ(view(), R"({"state":3,"scriptMsg":""})");
  EXPECT_EQ(g_script_status.pid, -1);
  EXPECT_NE(::kill(child, 0), 0) << "ended and reaped";
  EXPECT_EQ(job_stop(kScriptJob), JOB_NOT_DONE) << "nothing runs any more";
}

TEST_F(JobMachinery, StopRightAfterStartNeverWaitsForTheProgram) {
  // Each stop lands somewhere between the worker's creation and the running
  // program; a program that escaped the stop would hold it for ten minutes.
  for (int i = 0; i < 100; ++i) {
    ASSERT_EQ(start("exec sleep 600"), JOB_OK) << i;
    if (i % 4 == 1) usleep(static_cast<useconds_t>(i * 20));
    ASSERT_EQ(job_stop(kScriptJob), JOB_OK) << i;
  }
  EXPECT_EQ(view(), R"({"state":3,"scriptMsg":""})");
}

TEST_F(JobMachinery, NoJobBeforeInitOrWithoutAWorker) {
  job_fini(kScriptJob);
  EXPECT_EQ(start("echo never"), JOB_NOT_DONE);
  EXPECT_EQ(view(), "null");
  EXPECT_EQ(job_start(kScriptJob, nullptr), JOB_NOT_DONE);
  ASSERT_EQ(job_init(kScriptJob), 0);

  // Without a worker manager the worker cannot be created.
  destroy_worker_manager();
  EXPECT_EQ(start("echo never"), JOB_NOT_DONE);
  EXPECT_EQ(g_script_status.state, JOB_FAILED);
  EXPECT_EQ(view(), "null");
  ASSERT_EQ(init_worker_manager(), 0);
}

}  // namespace
