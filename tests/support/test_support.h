// Helpers shared by the tests: temporary folders and files, captured standard
// output, and runs of the real binary.
#pragma once

#include <map>
#include <string>
#include <vector>

namespace testing_support {

class TempDir {  // a fresh temporary folder, removed with its content at the end of scope
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

class CaptureStdout {  // what the process writes to stdout (stdio or the descriptor) until Finish()
 public:
  CaptureStdout();
  ~CaptureStdout() { Finish(); }
  std::string Finish();

 private:
  int savedFd_ = -1;
  std::string path_;
};

struct RunResult {
  int exitStatus = -1;  // exit code, or 128 + signal
  std::string out, err;
};

// Runs the built binary with only TZ, LC_ALL and env in its environment, in the given folder.
RunResult RunLoglantern(const std::vector<std::string>& args, const std::map<std::string, std::string>& env = {},
                        const std::string& input = "", const std::string& cwd = "");
// POSTs body as a form (CONTENT_LENGTH from the body unless env gives one).
RunResult PostToLoglantern(const std::string& body, std::map<std::string, std::string> env = {},
                           const std::string& cwd = "");

// Paths given by CTest, with fallbacks for a run by hand from the source folder.
std::string BinaryPath();
std::string SourceDir();
std::string SharedDir();

}  // namespace testing_support
