#include "support/test_support.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <stdexcept>

#include "report/page_writer.h"

// Modules tested on their own write to the page as the program does.
static const bool kPageWriterInstalled = (SetPassWriter(&PageWriter()), true);

namespace testing_support {

namespace fs = std::filesystem;

TempDir::TempDir() : path_((fs::temp_directory_path() / "loglantern-test-XXXXXX").string()) {
  if (!mkdtemp(path_.data())) throw std::runtime_error("mkdtemp failed");
}
TempDir::~TempDir() {
  std::error_code ignored;  // a test may have left a folder it cannot read
  fs::remove_all(path_, ignored);
}

void WriteFile(const std::string& path, const std::string& content) { std::ofstream(path, std::ios::binary) << content; }
std::string ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}
bool FileExists(const std::string& path) { return fs::exists(path); }

CaptureStdout::CaptureStdout() : path_("/tmp/loglantern-stdout-XXXXXX") {
  fflush(stdout);
  int fd = mkstemp(path_.data());
  if (fd < 0) throw std::runtime_error("mkstemp failed");
  savedFd_ = dup(STDOUT_FILENO);
  dup2(fd, STDOUT_FILENO);
  close(fd);
}

std::string CaptureStdout::Finish() {
  if (savedFd_ < 0) return {};
  fflush(stdout);
  dup2(savedFd_, STDOUT_FILENO);
  close(savedFd_);
  savedFd_ = -1;
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

RunResult PostToLoglantern(const std::string& body, std::map<std::string, std::string> env,
                           const std::string& cwd) {
  env.emplace("REQUEST_METHOD", "POST");
  env.emplace("CONTENT_LENGTH", std::to_string(body.size()));
  env.emplace("CONTENT_TYPE", "application/x-www-form-urlencoded");
  return RunLoglantern({}, env, body, cwd);
}

static std::string Quoted(const std::string& word) {  // a word for the shell, in single quotes
  return "'" + std::regex_replace(word, std::regex("'"), "'\\''") + "'";
}

// A shell runs the binary with `env -i`, its standard input, output and error
// in files: no pipes to keep flowing, and a program that never reads is fine.
RunResult RunLoglantern(const std::vector<std::string>& args, const std::map<std::string, std::string>& env,
                        const std::string& input, const std::string& cwd) {
  std::map<std::string, std::string> fullEnv;
  for (const char* keep : {"TZ", "LC_ALL"})
    if (const char* v = getenv(keep)) fullEnv[keep] = v;
  for (const auto& [k, v] : env) fullEnv[k] = v;
  TempDir io;
  WriteFile(io.file("in"), input);
  std::string command = "cd " + Quoted(cwd.empty() ? "." : cwd) + " && exec env -i";
  for (const auto& [k, v] : fullEnv) command += " " + Quoted(k + "=" + v);
  command += " " + Quoted(fs::absolute(BinaryPath()).string());
  for (const auto& a : args) command += " " + Quoted(a);
  int status = system((command + " <" + io.file("in") + " >" + io.file("out") + " 2>" + io.file("err")).c_str());
  return {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status), ReadFile(io.file("out")),
          ReadFile(io.file("err"))};
}

}  // namespace testing_support
