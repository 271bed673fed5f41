// Running programs: fork and exec with an argument vector, never a shell.
#pragma once

#include <sys/types.h>

#include <cstddef>

// One line of a child's output, the line keeps its newline. The first call
// carries "pid: <child pid>\n" before any output line.
typedef void (*execvp_line_cb)(const char *line, void *arg);

// Formats one argument ("%s" with a text, "%d" with a number) into a new heap
// text (malloc; aborts on exhaustion). argv_free releases a null-terminated
// vector of them: every entry and then the vector itself, which the caller
// allocated with calloc/malloc. A null vector is ignored.
char *add_arg(const char *format, ...) __attribute__((format(printf, 1, 2)));
void argv_free(char **argv);

// Both calls below are safe to use from several threads at once. The child
// starts with every signal at its default disposition and none blocked, with
// no descriptor of the agent beyond 0, 1 and 2, and with standard input on
// /dev/null unless redirected. When the program cannot be executed (or a
// redirection file cannot be opened) the child exits with 127.

// Runs `file` (searched on PATH when it has no slash) with `argv`, standard
// output and standard error captured together into `output` (at most
// `output_size` - 1 bytes, always terminated; null to discard). Waits for the
// child and returns its exit status (0 success), 128 + signal when it was
// killed, or -1 when it could not be started.
int execvp_cmd(const char *file, char *const argv[], char *output, size_t output_size);

// Like execvp_cmd, but streams: calls `line_cb` with "pid: <pid>\n" first and
// then once per output line, of any length (a last line without newline is
// delivered as it is). Standard output and standard error feed the lines
// together. `stdin_path`, `stdout_path` and `stderr_path`, when given,
// redirect the child's streams to files instead (a redirected stream produces
// no line callbacks; output files are created or truncated, and the same path
// for both shares one file). `env` (null-terminated "KEY=value" texts)
// replaces the environment when given (the program is still searched on the
// agent's PATH); `cb_arg` is handed to the callback. The status is as for
// execvp_cmd.
int execvp_cmd_cb_arg(const char *file, const char *stdin_path, const char *stdout_path,
                      const char *stderr_path, execvp_line_cb line_cb, void *cb_arg,
                      char *const env[], char *const argv[]);

// ---------------------------------------------------------------------------
// Ending a started child from another thread
// ---------------------------------------------------------------------------
//
// A job that runs a program through execvp_cmd_cb_arg learns the child's pid
// from the first line callback, while the call itself still owns the child:
// the call reaps it before it returns. Another thread that wants the program
// to end (a stop request) must therefore neither reap it nor signal a bare
// pid, which the system may already have handed to an unrelated process once
// the call has reaped the child. A process handle avoids both:
//
//   in the line callback, on "pid: N":   handle = process_handle_open(N);
//   on the stopping thread:              process_terminate(handle, N, 2000);
//                                        close(handle);
//
// The handle is taken while the child cannot have been reaped yet (the
// caller of execvp_cmd_cb_arg reaps only after its last callback), so it
// names that very process for as long as it is open.

// A descriptor that refers to the process `pid` (a pidfd, close-on-exec), or
// -1 with errno set (ESRCH when no such process exists, ENOSYS on kernels
// without pidfds). The caller closes it.
int process_handle_open(pid_t pid);

// Ends the process of `handle`: SIGTERM, then SIGKILL when it has not ended
// within `grace_ms`, and returns once it has ended (it is left for its parent
// to reap). 0 when the process has ended (or had ended before), -1 when it
// could not be signalled. Without a handle (-1) the process is only sent
// SIGTERM through `pid` when `pid` is positive, and the call does not wait: a
// bare pid cannot be watched safely.
int process_terminate(int handle, pid_t pid, int grace_ms);
