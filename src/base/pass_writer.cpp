#include "base/pass_writer.h"

namespace {

class SilentWriter final : public PassWriter {
 public:
  void KeepAlive() override {}
  void OpenDebugTable() override {}
  void DebugText(const char*, ...) override {}
  void LogOpenError(const char*) override {}
};

SilentWriter mSilent;
PassWriter* mpWriter = &mSilent;

}  // namespace

PassWriter& PassOutput() { return *mpWriter; }

void SetPassWriter(PassWriter* writer) { mpWriter = writer ? writer : &mSilent; }
