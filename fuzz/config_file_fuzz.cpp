// Fuzz target for the configuration file: the first line is the request's user
// name, the rest the file.
#include <unistd.h>

#include "fuzz_target.h"
#include "request_records.h"

static std::string RunConfigFile(const unsigned char* data, size_t size) {
  RequestRecords r;
  const std::string text(reinterpret_cast<const char*>(data), size);
  const size_t eol = std::min(text.find('\n'), text.size());
  r.settings.username.set(text.substr(0, eol).c_str());
  const std::string path = "/tmp/loglantern-config-input-" + std::to_string(getpid()) + ".conf";
  FILE* out = fopen(path.c_str(), "wb");
  if (!out) return "";
  if (eol < text.size()) fwrite(text.data() + eol + 1, 1, text.size() - eol - 1, out);
  fclose(out);
  r.settings.configFile.set(path.c_str());
  ParseConfigFile(&r.settings, &r.env);
  remove(path.c_str());
  return r.Overrun();
}

LOGLANTERN_FUZZ_TARGET(RunConfigFile)
