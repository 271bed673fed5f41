// Running real programs through execvp_cmd and execvp_cmd_cb_arg.
#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "support/process.h"
#include "test_util.h"

namespace {

// Keeps the texts alive and hands out the char* vector exec wants.
class Argv {
 public:
  Argv(std::initializer_list<std::string> args) : texts_(args) {
    for (auto &text : texts_) pointers_.push_back(text.data());
    pointers_.push_back(nullptr);
  }
  char *const *get() { return pointers_.data(); }

 private:
  std::vector<std::string> texts_;
  std::vector<char *> pointers_;
};

void collect_line(const char *line, void *arg) {
  static_cast<std::vector<std::string> *>(arg)->push_back(line);
}

// Runs a shell script through the streaming call and returns its status.
int run_lines(const std::string &script, std::vector<std::string> *lines,
              std::initializer_list<std::string> extra = {}) {
  std::vector<std::string> args{"sh", "-c", script, "sh"};
  args.insert(args.end(), extra);
  std::vector<char *> argv;
  for (auto &text : args) argv.push_back(text.data());
  argv.push_back(nullptr);
  return execvp_cmd_cb_arg("/bin/sh", nullptr, nullptr, nullptr, collect_line, lines, nullptr,
                           argv.data());
}

int run_buffer(const std::string &script, char *output, size_t size) {
  Argv argv{"sh", "-c", script};
  return execvp_cmd("sh", argv.get(), output, size);
}

}  // namespace

TEST(ExecvpCmdCbArg, DeliversThePidLineFirstThenEachLineInOrder) {
  std::vector<std::string> lines;
  ASSERT_EQ(run_lines("echo $$; echo a; echo b; printf c", &lines), 0);

  ASSERT_EQ(lines.size(), 5u);
  // The shell prints its own pid, which is the child the call started.
  ASSERT_EQ(lines[1].back(), '\n');
  EXPECT_EQ(lines[0], "pid: " + lines[1]);
  EXPECT_EQ(lines[2], "a\n");
  EXPECT_EQ(lines[3], "b\n");
  EXPECT_EQ(lines[4], "c") << "a last line without newline is delivered as is";
}

TEST(ExecvpCmdCbArg, LongLinesArriveWhole) {
  std::string first(10000, 'a');
  std::string second(100000, 'b');  // more than a pipe holds
  std::vector<std::string> lines;
  ASSERT_EQ(run_lines("printf '%s\\n%s' \"$1\" \"$2\"", &lines, {first, second}), 0);

  ASSERT_EQ(lines.size(), 3u);
  EXPECT_EQ(lines[1], first + "\n");
  EXPECT_EQ(lines[2], second);
}

TEST(ExecvpCmd, ReportsExitStatusAndKillingSignal) {
  std::vector<std::string> lines;
  EXPECT_EQ(run_buffer("exit 3", nullptr, 0), 3);
  EXPECT_EQ(run_lines("exit 3", &lines), 3);
  EXPECT_EQ(run_buffer("kill -TERM $$", nullptr, 0), 128 + SIGTERM);
  EXPECT_EQ(run_lines("kill -KILL $$", &lines), 128 + SIGKILL);
}

TEST(ExecvpCmd, MissingProgramExits127) {
  Argv absolute{"/nonexistent/veltrum-tool"};
  Argv searched{"veltrum-no-such-tool"};
  char output[64];
  EXPECT_EQ(execvp_cmd("/nonexistent/veltrum-tool", absolute.get(), output, sizeof output), 127);
  EXPECT_EQ(execvp_cmd("veltrum-no-such-tool", searched.get(), output, sizeof output), 127);

  std::vector<std::string> lines;
  EXPECT_EQ(execvp_cmd_cb_arg("veltrum-no-such-tool", nullptr, nullptr, nullptr, collect_line,
                              &lines, nullptr, searched.get()),
            127);
  EXPECT_EQ(lines.size(), 1u) << "only the pid line";
}

TEST(ExecvpCmd, CapturesStandardOutputAndErrorTogether) {
  char output[128];
  ASSERT_EQ(run_buffer("echo out; echo err >&2; echo out2", output, sizeof output), 0);
  EXPECT_STREQ(output, "out\nerr\nout2\n");
}

TEST(ExecvpCmd, TruncatesLargeOutputWithoutBlockingTheChild) {
  // About 2 MB, far more than a pipe holds; the status comes after it all.
  const char *script =
      "i=0; while [ $i -lt 2000 ]; do printf '%s\\n' \"$1\"; i=$((i+1)); done; exit 7";
  std::string line(999, 'q');
  Argv argv{"sh", "-c", script, "sh", line};

  char output[64];
  std::memset(output, 'Z', sizeof output);
  ASSERT_EQ(execvp_cmd("/bin/sh", argv.get(), output, sizeof output), 7);
  EXPECT_EQ(std::string(output), std::string(63, 'q'));

  EXPECT_EQ(execvp_cmd("/bin/sh", argv.get(), nullptr, 0), 7) << "discarded output";
}

TEST(ExecvpCmd, DescriptorsAreNotInheritedByTheChild) {
  // Stand-ins for the agent's listening and RPC sockets, without
  // close-on-exec. They sit high so they cannot be confused with the
  // descriptor the child's shell opens to list its own.
  int fds[2];
  ASSERT_EQ(::pipe(fds), 0);
  ASSERT_EQ(::dup2(fds[0], 57), 57);
  ASSERT_EQ(::dup2(fds[1], 58), 58);
  ::close(fds[0]);
  ::close(fds[1]);

  char output[4096];
  int status = run_buffer("for f in /proc/$$/fd/*; do echo \"${f##*/}\"; done", output,
                          sizeof output);
  ::close(57);
  ::close(58);
  ASSERT_EQ(status, 0);

  std::set<std::string> listed;
  std::istringstream in(output);
  for (std::string fd; std::getline(in, fd);) listed.insert(fd);
  EXPECT_TRUE(listed.count("0") && listed.count("1") && listed.count("2")) << output;
  EXPECT_EQ(listed.count("57"), 0u) << output;
  EXPECT_EQ(listed.count("58"), 0u) << output;
}

TEST(ExecvpCmdCbArg, RedirectsStreamsAndReplacesTheEnvironment) {
  TempDir dir;
  std::string in = dir.path() + "/in";
  std::string out = dir.path() + "/out";
  write_text(in, "from the input file\n");
  write_text(out, "old content that is longer than the new one\n");

  Argv argv{"sh", "-c", "cat; echo \"$GREETING ${HOME-unset}\" >&2"};
  char *env[] = {const_cast<char *>("GREETING=hello"), const_cast<char *>("PATH=/usr/bin:/bin"),
                 nullptr};
  std::vector<std::string> lines;
  ASSERT_EQ(execvp_cmd_cb_arg("sh", in.c_str(), out.c_str(), nullptr, collect_line, &lines, env,
                              argv.get()),
            0);

  EXPECT_EQ(read_text(out), "from the input file\n");
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[1], "hello unset\n") << "standard error still arrives as lines";

  std::string both = dir.path() + "/both";
  Argv mixed{"sh", "-c", "echo one; echo two >&2; echo three"};
  lines.clear();
  ASSERT_EQ(execvp_cmd_cb_arg("/bin/sh", nullptr, both.c_str(), both.c_str(), collect_line,
                              &lines, nullptr, mixed.get()),
            0);
  EXPECT_EQ(read_text(both), "one\ntwo\nthree\n");
  EXPECT_EQ(lines.size(), 1u) << "only the pid line";
}

TEST(ExecvpCmd, ChildDoesNotReadTheAgentsStandardInput) {
  int fds[2];
  ASSERT_EQ(::pipe(fds), 0);
  ASSERT_EQ(::write(fds[1], "agent input\n", 12), 12);
  ::close(fds[1]);
  int saved = ::dup(STDIN_FILENO);
  ::dup2(fds[0], STDIN_FILENO);
  ::close(fds[0]);

  char output[64];
  int status = run_buffer("cat; echo end", output, sizeof output);
  ::dup2(saved, STDIN_FILENO);
  ::close(saved);

  EXPECT_EQ(status, 0);
  EXPECT_STREQ(output, "end\n");
}

TEST(ExecvpCmd, ChildStartsWithDefaultSignalHandling) {
  // The agent ignores SIGPIPE and may block signals in its threads; neither
  // may reach the programs it runs.
  struct sigaction ignore{}, old_pipe{};
  ignore.sa_handler = SIG_IGN;
  ASSERT_EQ(::sigaction(SIGPIPE, &ignore, &old_pipe), 0);
  sigset_t block, old_mask;
  sigemptyset(&block);
  sigaddset(&block, SIGTERM);
  ASSERT_EQ(::pthread_sigmask(SIG_BLOCK, &block, &old_mask), 0);

  int piped = run_buffer("kill -PIPE $$; echo survived", nullptr, 0);
  int termed = run_buffer("kill -TERM $$; echo survived", nullptr, 0);

  ::pthread_sigmask(SIG_SETMASK, &old_mask, nullptr);
  ::sigaction(SIGPIPE, &old_pipe, nullptr);
  EXPECT_EQ(piped, 128 + SIGPIPE);
  EXPECT_EQ(termed, 128 + SIGTERM);
}

TEST(ExecvpCmd, ConcurrentCallsKeepTheirOutputsApart) {
  constexpr int kThreads = 6;
  constexpr int kRuns = 5;
  std::vector<std::string> failures[kThreads];
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([t, &failures] {
      for (int r = 0; r < kRuns; ++r) {
        std::string expected = "thread " + std::to_string(t) + " run " + std::to_string(r);
        Argv argv{"echo", expected};
        if (t % 2 == 0) {
          char output[64];
          if (execvp_cmd("/bin/echo", argv.get(), output, sizeof output) != 0 ||
              output != expected + "\n")
            failures[t].push_back(output);
        } else {
          std::vector<std::string> lines;
          int status = execvp_cmd_cb_arg("/bin/echo", nullptr, nullptr, nullptr, collect_line,
                                         &lines, nullptr, argv.get());
          if (status != 0 || lines.size() != 2 || lines[1] != expected + "\n")
            failures[t].push_back(lines.empty() ? "" : lines.back());
        }
      }
    });
  }
  for (auto &thread : threads) thread.join();
  for (int t = 0; t < kThreads; ++t) EXPECT_TRUE(failures[t].empty()) << failures[t].front();
}

TEST(AddArg, BuildsAnArgumentVectorThatArgvFreeReleases) {
  char **argv = static_cast<char **>(std::calloc(4, sizeof(char *)));
  argv[0] = add_arg("%s", "echo");
  argv[1] = add_arg("%d", 42);
  argv[2] = add_arg("%s", "two words");
  char output[64];
  EXPECT_EQ(execvp_cmd("/bin/echo", argv, output, sizeof output), 0);
  EXPECT_STREQ(output, "42 two words\n");
  argv_free(argv);
  argv_free(nullptr);
}

namespace {

// A program run on a thread of its own, with a process handle taken from
// the runner's pid report, as a job that another thread may stop.
struct HandledRun {
  std::atomic<pid_t> pid{-1};
  std::atomic<int> handle{-1};
  std::atomic<bool> ready{false};
  int status = -2;

  static void line(const char *text, void *arg) {
    auto *run = static_cast<HandledRun *>(arg);
    if (run->pid < 0) {
      pid_t pid = std::atoi(text + std::strlen("pid: "));
      run->handle = process_handle_open(pid);
      run->pid = pid;
    } else if (std::strcmp(text, "ready\n") == 0) {
      run->ready = true;
    }
  }
  std::thread start(const std::string &script) {
    return std::thread([this, script] {
      Argv argv{"sh", "-c", script};
      status = execvp_cmd_cb_arg("/bin/sh", nullptr, nullptr, nullptr, line, this, nullptr, argv.get());
    });
  }
};

}  // namespace

TEST(ProcessTerminate, EndsTheProgramThroughItsHandleEscalatingWhenIgnored) {
  HandledRun polite;
  std::thread a = polite.start("echo ready; exec sleep 600");
  ASSERT_TRUE(eventually([&] { return polite.ready.load(); }));
  ASSERT_GE(polite.handle.load(), 0);
  EXPECT_EQ(process_terminate(polite.handle, polite.pid, 5000), 0);
  a.join();
  EXPECT_EQ(polite.status, 128 + SIGTERM);

  HandledRun stubborn;
  std::thread b = stubborn.start("trap '' TERM; echo ready; while :; do sleep 0.05; done");
  ASSERT_TRUE(eventually([&] { return stubborn.ready.load(); }));
  EXPECT_EQ(process_terminate(stubborn.handle, stubborn.pid, 100), 0);
  b.join();
  EXPECT_EQ(stubborn.status, 128 + SIGKILL);

  // Once reaped, the handle still names that process and nothing else.
  EXPECT_EQ(process_terminate(stubborn.handle, stubborn.pid, 100), 0);
  ::close(polite.handle);
  ::close(stubborn.handle);
  EXPECT_EQ(process_handle_open(0), -1);
}
