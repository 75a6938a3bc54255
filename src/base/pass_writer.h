// What the analysis pass and the log reader write into the page while the
// logs are read: keep-alive blanks, the debugging table, log-open errors.
//
// The page's writer is provided by the report and installed by the driver;
// the modules that read the logs only know this interface, so they do not
// depend on how the page is made.  With no writer installed nothing is
// written.
#pragma once

class PassWriter {
 public:
  virtual ~PassWriter() = default;
  // A blank pushed out at once, so that a web server keeps waiting.
  virtual void KeepAlive() = 0;
  // The opening rows of the debugging table.
  virtual void OpenDebugTable() = 0;
  // A piece of the debugging table, printf-style.
  virtual void DebugText(const char* format, ...) __attribute__((format(printf, 2, 3))) = 0;
  // A log file that was listed but cannot be opened.
  virtual void LogOpenError(const char* path) = 0;
};

// The installed writer, or one that writes nothing.
PassWriter& PassOutput();
// Installs writer (null: write nothing); the caller keeps it alive.
void SetPassWriter(PassWriter* writer);
