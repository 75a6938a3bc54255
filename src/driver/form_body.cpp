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
  // One entry's storage serves every field in turn, so a body of many
  // small fields costs no more memory than its own bytes.
  auto* entry = static_cast<FormEntry*>(AllocateOrExit(1, sizeof(FormEntry)));
  char* word = static_cast<char*>(AllocateOrExit(kParamWordSize, 1));
  int32_t pos = 0;
  bool more;
  do {
    more = NextFormEntry(body, bytesRead, &pos, entry);
    decode(entry->name);
    decode(entry->value);
    snprintf(word, kParamWordSize, "%s=%s", entry->name, entry->value);
    CompareParam(word, settings, env, "form", kSourceForm);
  } while (more);
  free(word);
  free(entry);
  free(body);
}
