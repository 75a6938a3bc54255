// Helpers shared by the tests: temporary folders, files, captured standard
// output, and runs of the real binary.
#pragma once

#include <map>
#include <string>
#include <vector>

namespace testing_support {

// A fresh temporary folder, removed with its content at the end of scope.
class TempDir {
 public:
  TempDir();
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;
  const std::string& path() const { return path_; }
  std::string file(const std::string& name) const { return path_ + "/" + name; }

 private:
  std::string path_;
};

void WriteFile(const std::string& path, const std::string& content);
std::string ReadFile(const std::string& path);
bool FileExists(const std::string& path);

// Captures what the process writes to stdout (through stdio or the file
// descriptor) between construction and Finish().
class CaptureStdout {
 public:
  CaptureStdout();
  ~CaptureStdout();
  std::string Finish();

 private:
  int savedFd_ = -1;
  std::string path_;
  bool done_ = false;
};

struct RunResult {
  int exitStatus = -1;  // exit code, or 128 + signal
  std::string out;
  std::string err;
};

// Runs the built loglantern binary (LOGLANTERN_BINARY) with exactly the
// given environment (nothing inherited but TZ and LC_ALL unless overridden),
// the given standard input, in the given working folder.
RunResult RunLoglantern(const std::vector<std::string>& args,
                        const std::map<std::string, std::string>& env = {},
                        const std::string& input = "", const std::string& cwd = "");

// Posts body to the binary as a CGI program would receive a form: method
// POST, CONTENT_LENGTH of the body (unless env gives one) and the form's
// content type, besides env.
RunResult PostToLoglantern(const std::string& body, std::map<std::string, std::string> env = {},
                           const std::string& cwd = "");

// Paths given to the tests by CTest (with sensible fallbacks).
std::string BinaryPath();
std::string SourceDir();
std::string SharedDir();

}  // namespace testing_support
