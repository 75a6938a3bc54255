// Fuzz target for the POSTed form body: read, split, decoded and applied.
#include "fuzz_target.h"
#include "request_records.h"

static std::string RunFormBody(const unsigned char* data, size_t size) {
  RequestRecords r;
  static char empty[1];
  FILE* stream = size ? fmemopen(const_cast<unsigned char*>(data), size, "rb") : fmemopen(empty, 1, "rb");
  if (!stream) return "";
  ApplyPostedForm(stream, static_cast<int32_t>(size), &r.settings, &r.env);
  fclose(stream);
  return r.Overrun();
}

LOGLANTERN_FUZZ_TARGET(RunFormBody)
