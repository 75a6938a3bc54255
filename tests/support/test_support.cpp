#include "support/test_support.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "report/page_writer.h"

namespace {
// Modules tested on their own write to the page as the program does.
const bool kPageWriterInstalled = (SetPassWriter(&PageWriter()), true);
}  // namespace

namespace testing_support {

namespace fs = std::filesystem;

TempDir::TempDir() {
  std::string pattern = (fs::temp_directory_path() / "loglantern-test-XXXXXX").string();
  std::vector<char> buf(pattern.begin(), pattern.end());
  buf.push_back(0);
  if (!mkdtemp(buf.data())) throw std::runtime_error("mkdtemp failed");
  path_ = buf.data();
}

TempDir::~TempDir() {
  std::error_code ec;
  fs::remove_all(path_, ec);
}

void WriteFile(const std::string& path, const std::string& content) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(content.data(), static_cast<std::streamsize>(content.size()));
}

std::string ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream s;
  s << in.rdbuf();
  return s.str();
}

bool FileExists(const std::string& path) { return fs::exists(path); }

CaptureStdout::CaptureStdout() {
  fflush(stdout);
  char name[] = "/tmp/loglantern-stdout-XXXXXX";
  int fd = mkstemp(name);
  if (fd < 0) throw std::runtime_error("mkstemp failed");
  path_ = name;
  savedFd_ = dup(STDOUT_FILENO);
  dup2(fd, STDOUT_FILENO);
  close(fd);
}

CaptureStdout::~CaptureStdout() { Finish(); }

std::string CaptureStdout::Finish() {
  if (done_) return {};
  done_ = true;
  fflush(stdout);
  dup2(savedFd_, STDOUT_FILENO);
  close(savedFd_);
  std::string text = ReadFile(path_);
  unlink(path_.c_str());
  return text;
}

static std::string EnvOr(const char* name, const std::string& fallback) {
  const char* v = getenv(name);
  return v && *v ? v : fallback;
}

std::string BinaryPath() { return EnvOr("LOGLANTERN_BINARY", "build/loglantern"); }
std::string SourceDir() { return EnvOr("LOGLANTERN_SOURCE_DIR", "."); }
std::string SharedDir() { return EnvOr("LOGLANTERN_SHARED_DIR", SourceDir() + "/../shared"); }

// Standard input, output and error go through files of a temporary folder:
// no pipes to keep flowing, and a program that never reads its input is fine.
RunResult PostToLoglantern(const std::string& body, std::map<std::string, std::string> env,
                           const std::string& cwd) {
  env.emplace("REQUEST_METHOD", "POST");
  env.emplace("CONTENT_LENGTH", std::to_string(body.size()));
  env.emplace("CONTENT_TYPE", "application/x-www-form-urlencoded");
  return RunLoglantern({}, env, body, cwd);
}

RunResult RunLoglantern(const std::vector<std::string>& args,
                        const std::map<std::string, std::string>& env, const std::string& input,
                        const std::string& cwd) {
  const std::string binary = fs::absolute(BinaryPath()).string();
  std::map<std::string, std::string> fullEnv;
  for (const char* keep : {"TZ", "LC_ALL"}) {
    if (const char* v = getenv(keep)) fullEnv[keep] = v;
  }
  for (const auto& [k, v] : env) fullEnv[k] = v;
  std::vector<std::string> envStrings;
  for (const auto& [k, v] : fullEnv) envStrings.push_back(k + "=" + v);
  TempDir io;
  WriteFile(io.file("in"), input);
  pid_t pid = fork();
  if (pid == 0) {
    const std::pair<std::string, int> files[] = {{"in", O_RDONLY}, {"out", O_WRONLY | O_CREAT}, {"err", O_WRONLY | O_CREAT}};
    for (int fd = 0; fd < 3; ++fd) dup2(open(io.file(files[fd].first).c_str(), files[fd].second, 0600), fd);
    if (!cwd.empty() && chdir(cwd.c_str()) != 0) _exit(126);
    std::vector<char*> argv{const_cast<char*>(binary.c_str())};
    for (const auto& a : args) argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);
    std::vector<char*> envp;
    for (auto& e : envStrings) envp.push_back(e.data());
    envp.push_back(nullptr);
    execve(binary.c_str(), argv.data(), envp.data());
    _exit(127);
  }
  int status = 0;
  waitpid(pid, &status, 0);
  RunResult result;
  result.exitStatus = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  result.out = ReadFile(io.file("out"));
  result.err = ReadFile(io.file("err"));
  return result;
}

}  // namespace testing_support
