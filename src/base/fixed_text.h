// Fixed-width, NUL-terminated texts.
//
// Every text field of the program's records has a byte width that includes
// its terminator (a 244-byte field holds at most 243 characters).  All writes
// into such fields go through the helpers below, which cut an overlong value
// at the field's limit instead of running past it.
#pragma once

#include <cstddef>
#include <cstring>

namespace ll {

// Copies at most dstSize-1 bytes of src into dst and terminates it.
// A null src gives the empty text.  Returns the length written.
inline size_t CopyText(char* dst, size_t dstSize, const char* src) {
  if (dstSize == 0) return 0;
  // A plain loop: the source may be shorter than the field, so it must not
  // be read past its terminator (memchr/strnlen with the field's bound draw
  // over-read warnings on short sources).
  size_t n = 0;
  if (src) {
    while (n < dstSize - 1 && src[n]) ++n;
    std::memmove(dst, src, n);
  }
  dst[n] = 0;
  return n;
}

// Same, from a counted run of bytes (which may hold no terminator).
inline size_t CopyText(char* dst, size_t dstSize, const char* src, size_t srcLen) {
  if (dstSize == 0) return 0;
  size_t n = srcLen < dstSize - 1 ? srcLen : dstSize - 1;
  if (n) std::memmove(dst, src, n);
  dst[n] = 0;
  return n;
}

// Appends src to the text in dst, cutting at the field's limit.
inline size_t AppendText(char* dst, size_t dstSize, const char* src) {
  size_t len = strnlen(dst, dstSize);
  if (len >= dstSize) {  // not terminated: repair rather than overrun
    dst[dstSize - 1] = 0;
    return dstSize - 1;
  }
  return len + CopyText(dst + len, dstSize - len, src);
}

template <size_t N>
inline size_t CopyText(char (&dst)[N], const char* src) { return CopyText(dst, N, src); }

template <size_t N>
inline size_t AppendText(char (&dst)[N], const char* src) { return AppendText(dst, N, src); }

// A text field of N bytes (N-1 characters and the terminator).
template <size_t N>
struct FixedText {
  static_assert(N > 0);
  static constexpr size_t kCapacity = N - 1;

  char s[N] = {};

  void set(const char* value) { CopyText(s, N, value); }
  void set(const char* value, size_t length) { CopyText(s, N, value, length); }
  void append(const char* value) { AppendText(s, N, value); }
  void clear() { s[0] = 0; }

  const char* c_str() const { return s; }
  char* data() { return s; }
  size_t size() const { return strnlen(s, N); }
  bool empty() const { return s[0] == 0; }
  bool operator==(const char* other) const { return std::strcmp(s, other) == 0; }
};

}  // namespace ll
