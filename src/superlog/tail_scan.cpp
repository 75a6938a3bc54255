// The search for a log's last dated line at start-up.
//
// The search walks back from the end of the file in 2000-byte stretches.
// A stretch starts after the first line end at or after its first byte and
// takes every line whose reading begins inside it (a line may run on past
// the stretch); the last dated line of the first stretch that has one wins.
// Read naively, every stretch inside a long line reads on to that line's
// end, which makes the search quadratic in the length of the last line.
// Here the file is read through one window of bytes, and what was learnt
// about where the next line end (or the next line) lies after a position is
// remembered, so each byte is looked at a bounded number of times.
#include <unistd.h>

#include <cstdint>
#include <cstring>

#include "superlog/superlog_state.h"

namespace {

constexpr uint64_t kStretch = 2000;
constexpr uint64_t kNone = UINT64_MAX;  // no such byte before the end of the file
constexpr size_t kWindowSize = 16384;
constexpr size_t kKnownSlots = 4;

bool IsLineEnd(char c) { return c == '\r' || c == '\n'; }

// For every position x in [from, to], the next byte of one class (line end,
// or line text) at or after x is at `to` (kNone: there is none).
struct KnownRun {
  uint64_t from = kNone;
  uint64_t to = kNone;
};

class TailReader {
 public:
  explicit TailReader(int fd) : fd_(fd) {}

  // The next line-end byte (wantLineEnd) or text byte at or after x.
  uint64_t Next(bool wantLineEnd, uint64_t x) {
    KnownRun* runs = wantLineEnd ? lineEnds_ : texts_;
    KnownRun* ahead = nullptr;
    for (size_t i = 0; i < kKnownSlots; ++i) {
      KnownRun& run = runs[i];
      if (run.from == kNone) continue;
      if (run.from <= x && x <= run.to) return run.to;
      if (run.from > x && (!ahead || run.from < ahead->from)) ahead = &run;
    }
    const uint64_t stop = ahead ? ahead->from : kNone;
    uint64_t y = x;
    while (y < stop) {
      size_t available = 0;
      const char* bytes = At(y, &available);
      if (!available) break;  // end of the file
      const uint64_t span = stop - y < available ? stop - y : available;
      size_t i = 0;
      while (i < span && IsLineEnd(bytes[i]) != wantLineEnd) ++i;
      if (i < span) {
        Remember(runs, x, y + i);
        return y + i;
      }
      y += span;
    }
    if (ahead && y == stop) {
      ahead->from = x;  // the run now reaches back to x
      return ahead->to;
    }
    Remember(runs, x, kNone);
    return kNone;
  }

  // Copies the text of the line [start, end) into the line buffer, cut at
  // the buffer's 1535 characters, as the sequential reader would.
  void CopyLine(uint64_t start, uint64_t end) {
    SuperLogState& s = mState;
    size_t length = 0;
    while (length < kLineBufSize - 1 && start + length < end) {
      size_t available = 0;
      const char* bytes = At(start + length, &available);
      if (!available) break;
      size_t n = available;
      if (n > kLineBufSize - 1 - length) n = kLineBufSize - 1 - length;
      if (end != kNone && n > end - start - length) n = static_cast<size_t>(end - start - length);
      memcpy(s.mLineBuf + length, bytes, n);
      length += n;
    }
    s.mLineBuf[length] = 0;
    s.mLineLen = static_cast<int32_t>(length);
  }

 private:
  // The bytes from x on that the window holds (reading a new window when x
  // lies outside it); *available is 0 at the end of the file.
  const char* At(uint64_t x, size_t* available) {
    if (x < windowStart_ || x >= windowStart_ + windowLength_) {
      // Walking back, most later reads fall just before x; walking on, after it.
      uint64_t start = x;
      if (x < windowStart_) start = x > kWindowSize * 3 / 4 ? x - kWindowSize * 3 / 4 : 0;
      const ssize_t n = pread(fd_, window_, kWindowSize, static_cast<off_t>(start));
      windowStart_ = start;
      windowLength_ = n > 0 ? static_cast<size_t>(n) : 0;
      if (x >= windowStart_ + windowLength_) {
        *available = 0;
        return window_;
      }
    }
    const size_t offset = static_cast<size_t>(x - windowStart_);
    *available = windowLength_ - offset;
    return window_ + offset;
  }

  // Keeps a new run, in place of the shortest known one when all slots are
  // taken (a short run costs little to find again).
  static void Remember(KnownRun* runs, uint64_t from, uint64_t to) {
    KnownRun* slot = &runs[0];
    for (size_t i = 0; i < kKnownSlots; ++i) {
      if (runs[i].from == kNone) {
        slot = &runs[i];
        break;
      }
      if (runs[i].to - runs[i].from < slot->to - slot->from) slot = &runs[i];
    }
    *slot = KnownRun{from, to};
  }

  int fd_;
  char window_[kWindowSize];
  uint64_t windowStart_ = 0;
  size_t windowLength_ = 0;
  KnownRun lineEnds_[kKnownSlots];
  KnownRun texts_[kKnownSlots];
};

// The time of the current line when it is dated, else 0.
ll::time32_t DateOfCurrentLine() {
  const ll::time32_t t = GuessDateTimeFromLine();
  return t == -1 ? 0 : t;
}

}  // namespace

ll::time32_t LastDateOfFile(int fd, uint64_t size) {
  SuperLogState& s = mState;
  TailReader reader(fd);
  ll::time32_t last = 0;
  uint64_t pos = size;
  while (pos > 0 && last == 0) {
    const uint64_t off = pos >= kStretch ? pos - kStretch : 0;
    const uint64_t limit = pos - 1;
    // The line that holds the stretch's first byte belongs to the stretch
    // before it (also at offset 0: the first line is the head's).
    const uint64_t firstEnd = reader.Next(true, off);
    uint64_t next = firstEnd == kNone ? kNone : firstEnd + 1;
    while (next <= limit) {
      const uint64_t start = reader.Next(false, next);  // blank lines are skipped
      if (start == kNone) break;
      const uint64_t end = reader.Next(true, start);
      reader.CopyLine(start, end);
      next = end == kNone ? kNone : end + 1;
      if (s.mLineBuf[0] == '#' || (s.mLineBuf[0] == '!' && s.mLineBuf[1] == '!')) continue;
      const ll::time32_t t = DateOfCurrentLine();
      if (t) last = t;
    }
    pos = off;
  }
  return last;
}
