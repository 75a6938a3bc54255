#include "report/page_writer.h"

#include <cstdarg>
#include <cstdio>

namespace {

class StdoutPageWriter final : public PassWriter {
 public:
  void KeepAlive() override {
    printf(" ");
    fflush(nullptr);
  }
  void OpenDebugTable() override {
    printf("<center><table border=1 cellspacing=0>\n");
    printf("<tr><td colspan=6 align=center><font size=\"+1\"><b>Debugging "
           "Information</b></font></td></tr>\n");
  }
  void DebugText(const char* format, ...) override {
    va_list args;
    va_start(args, format);
    vprintf(format, args);
    va_end(args);
  }
  void LogOpenError(const char* path) override {
    printf("ERROR: couldn't open log file %s.<p>\n", path);
  }
};

StdoutPageWriter mPage;

}  // namespace

PassWriter& PageWriter() { return mPage; }
