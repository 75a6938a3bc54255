#include "cgi/cgi.h"

#include <cstdlib>
#include <cstring>
#include <ctime>

#include "base/time32.h"
#include "settings/atoi32.h"

// The module keeps no state: every routine works on what its caller hands it.

namespace {

// One CGI variable and the field of CgiEnv that receives it.
struct EnvSlot {
  const char* name;
  char* field;
  size_t size;
};

template <size_t N>
EnvSlot Slot(const char* name, ll::FixedText<N>& field) {
  return EnvSlot{name, field.data(), N};
}

// Formats now (local time) into a field; an unusable clock leaves it empty.
template <size_t N>
void FormatNow(ll::FixedText<N>& field, const struct tm& now, const char* format) {
  if (strftime(field.data(), N, format, &now) == 0) field.clear();
}

int HexDigitValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// Appends one byte to a form-entry text of `size` bytes; bytes past the
// field's limit are dropped so that an overlong name or value is cut, not
// spilled into the next field.
void AppendByte(char* text, size_t size, size_t* length, char c) {
  if (*length + 1 < size) text[(*length)++] = c;
}

}  // namespace

void GetEnv(CgiEnv* env) {
  struct tm now;
  if (ll::Localtime32(ll::Time32Now(), &now)) {
    FormatNow(env->date, now, "%B %d, %Y (%A)");
    FormatNow(env->time, now, "%X");
  }
  const EnvSlot slots[] = {
      Slot("AUTH_TYPE", env->AUTH_TYPE),
      Slot("CONTENT_LENGTH", env->CONTENT_LENGTH),
      Slot("CONTENT_TYPE", env->CONTENT_TYPE),
      Slot("DOCUMENT_ROOT", env->DOCUMENT_ROOT),
      Slot("GATEWAY_INTERFACE", env->GATEWAY_INTERFACE),
      Slot("HTTP_ACCEPT", env->HTTP_ACCEPT),
      Slot("HTTP_USER_AGENT", env->HTTP_USER_AGENT),
      Slot("PATH", env->PATH),
      Slot("PATH_INFO", env->PATH_INFO),
      Slot("PATH_TRANSLATED", env->PATH_TRANSLATED),
      Slot("QUERY_STRING", env->QUERY_STRING),
      Slot("REMOTE_ADDR", env->REMOTE_ADDR),
      Slot("REMOTE_HOST", env->REMOTE_HOST),
      Slot("REMOTE_IDENT", env->REMOTE_IDENT),
      Slot("REMOTE_USER", env->REMOTE_USER),
      Slot("REQUEST_METHOD", env->REQUEST_METHOD),
      Slot("SCRIPT_NAME", env->SCRIPT_NAME),
      Slot("SERVER_NAME", env->SERVER_NAME),
      Slot("SERVER_PORT", env->SERVER_PORT),
      Slot("SERVER_PROTOCOL", env->SERVER_PROTOCOL),
      Slot("SERVER_SOFTWARE", env->SERVER_SOFTWARE),
      Slot("SERVER_ADMIN", env->SERVER_ADMIN),
  };
  for (const EnvSlot& slot : slots) {
    // An undefined variable leaves the field as initialize() left it.
    if (const char* value = getenv(slot.name)) ll::CopyText(slot.field, slot.size, value);
  }
}

int32_t get_query(FILE* stream, int32_t length, char* buffer) {
  int32_t count = 0;
  while (count < length) {
    int c = getc(stream);
    if (c == EOF) break;
    buffer[count++] = static_cast<char>(c);
  }
  buffer[count] = 0;
  return count;
}

bool NextFormEntry(const char* body, int32_t length, int32_t* pos, FormEntry* entry) {
  bool inName = true;
  bool more = false;
  size_t nameLength = 0;
  size_t valueLength = 0;
  int32_t i = *pos;
  for (; i < length && body[i] != 0; ++i) {
    const char c = body[i];
    if (inName && c == '=') {
      inName = false;
    } else if (inName) {
      AppendByte(entry->name, sizeof entry->name, &nameLength, c);
    } else if (c == '&') {
      more = true;
      ++i;
      break;
    } else {
      AppendByte(entry->value, sizeof entry->value, &valueLength, c);
    }
  }
  entry->name[nameLength] = 0;
  entry->value[valueLength] = 0;
  *pos = i;
  return more;
}

int parse_entries(FormEntry* entries, const char* body, int32_t length) {
  int32_t pos = 0;
  int count = 0;
  while (NextFormEntry(body, length, &pos, &entries[count++])) {
  }
  return count;
}

void decode(char* text) {
  if (!text) return;
  size_t out = 0;
  for (size_t in = 0; text[in] != 0; ++in) {
    char c = text[in];
    if (c == '+') {
      text[out++] = ' ';
    } else if (c != '%') {
      text[out++] = c;
    } else {
      // HexDigitValue of the NUL is -1, so the second look never passes the end.
      int high = HexDigitValue(text[in + 1]);
      int low = high < 0 ? -1 : HexDigitValue(text[in + 2]);
      if (low >= 0) {
        text[out++] = static_cast<char>(high * 16 + low);
        in += 2;
      } else if (text[in + 1] == '%') {
        text[out++] = '%';
        in += 1;
      } else {
        text[out++] = '%';
      }
    }
  }
  text[out] = 0;
}

int32_t BodyLengthFromText(const char* contentLength) {
  int32_t length = Atoi32(contentLength);
  return length > 0 && length <= kMaxBodyLength ? length : 0;
}
