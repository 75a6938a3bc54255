// Runs a piece of in-process code in a forked child with its standard
// output sent to a file, so that code which ends the process (error pages,
// information pages) can be tested for its page and its exit status.
#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "support/test_support.h"

namespace front_test {

struct ChildResult {
  int exitStatus = -1;  // exit code, or 128 + signal
  std::string out;
};

// Runs body() in a child process.  A body that returns ends the child with
// status 0 after flushing; the parent reads what the child printed.
template <typename Body>
ChildResult RunInChild(Body body) {
  testing_support::TempDir dir;
  std::string outPath = dir.file("stdout");
  fflush(stdout);
  pid_t pid = fork();
  if (pid == 0) {
    if (!freopen(outPath.c_str(), "w", stdout)) _exit(125);
    body();
    fflush(stdout);
    _exit(0);
  }
  int status = 0;
  waitpid(pid, &status, 0);
  ChildResult result;
  result.exitStatus = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  result.out = testing_support::ReadFile(outPath);
  return result;
}

}  // namespace front_test
