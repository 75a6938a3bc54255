// The POSTed form: body, entries and the keyword words made from them.

#include <cstdlib>

#include "cgi/cgi.h"
#include "driver/driver.h"
#include "settings/keywords.h"
#include "settings/stats_fields.h"

namespace {

// A parameter word holds a whole form entry: name, '=' and value.  The
// keyword table then cuts each side at its own 243 characters and can
// still see that a value was too long for a setting that refuses such
// values (base).  A 100-byte word would have cut most values short.
constexpr size_t kParamWordSize = sizeof(FormEntry::name) + 1 + sizeof(FormEntry::value);

size_t CountAmpersands(const char* text) {
  size_t count = 0;
  for (; *text; ++text) count += *text == '&';
  return count;
}

// Allocates or ends the run: a request whose body cannot be held gets no page.
void* AllocateOrExit(size_t count, size_t size) {
  void* memory = calloc(count, size);
  if (!memory) exit(1);
  return memory;
}

}  // namespace

void ApplyPostedForm(FILE* stream, int32_t bodyLength, StatsFields* settings, CgiEnv* env) {
  if (bodyLength < 0) bodyLength = 0;
  char* body = static_cast<char*>(AllocateOrExit(static_cast<size_t>(bodyLength) + 1, 1));
  int32_t bytesRead = get_query(stream, bodyLength, body);
  // parse_entries never makes more entries than 1 + the '&' before the first NUL.
  size_t entryCount = 1 + CountAmpersands(body);
  auto* entries = static_cast<FormEntry*>(AllocateOrExit(entryCount, sizeof(FormEntry)));
  int parsed = parse_entries(entries, body, bytesRead);
  char* word = static_cast<char*>(AllocateOrExit(kParamWordSize, 1));
  for (int i = 0; i < parsed; ++i) {
    decode(entries[i].name);
    decode(entries[i].value);
    snprintf(word, kParamWordSize, "%s=%s", entries[i].name, entries[i].value);
    CompareParam(word, settings, env, "form", kSourceForm);
  }
  free(word);
  free(entries);
  free(body);
}
