// Internal to the log reader: its one block of module state and the
// functions that its source files share.  Nothing outside src/superlog/
// includes this header except the reader's own tests.
//
// Layout of the module:
//   state.cpp      the state block, SuperLongs, reset
//   formats.cpp    field splitters, templates, header-line recognition
//   dates.cpp      timestamp parsers, the line classifier, cached mktime
//   lines.cpp      block reader, unbuffered reader, the hit record
//   discovery.cpp  file search, summary file, date ranges, the file walk
#pragma once

#include <cstdint>
#include <cstdio>
#include <ctime>
#include <glob.h>

#include "superlog/superlog.h"

// One known log file, and the record of the list of logs.
struct LogSummaryItem {
  char name[260];
  uint32_t size;
  ll::time32_t start;  // first dated line, local reading, no GMT shift; 0 = none
  ll::time32_t end;    // last dated line; 0 = none
  int32_t state;       // kSummaryFromFile or kSummarySeenOnDisk
  LogSummaryItem* next;
};
inline constexpr int32_t kSummaryFromFile = 1;
inline constexpr int32_t kSummarySeenOnDisk = 4;

// One entry of a file search.
struct FindData {
  uint32_t size;
  char name[260];
};

// Cache of one mktime conversion: the calendar time of second 0 of the
// minute named by the key, usable for seconds 0-59 of that minute when no
// zone change falls inside it.  See CachedMktime32 in dates.cpp.
struct MktimeCache {
  bool filled = false;
  bool usable = false;  // false: the minute holds a zone change or a limit
  int32_t year = 0, mon = 0, mday = 0, hour = 0, min = 0, isdst = 0;
  ll::time32_t minuteStart = 0;
};

// Cache of one localtime conversion: the broken-down time of a first
// second whose minute (60 seconds on) holds no zone change.
struct LocaltimeCache {
  bool filled = false;
  ll::time32_t minuteStart = 0;
  struct tm tm = {};
};

// Bytes fetched from the file per read.  A multiple of kBlockSize so that
// every read starts on an 8192-byte boundary of the file, which keeps the
// byte count of an 8192-byte block reader exact (see AccountConsumedBytes).
inline constexpr size_t kBlockSize = 8192;
inline constexpr size_t kReadChunk = 32 * kBlockSize;
inline constexpr int32_t kLineBufSize = 1536;
inline constexpr size_t kFullUrlBufSize = 491;
inline constexpr int32_t kFieldMax = 243;

// The two line buffers: lines are read into one of them until a hit is
// kept (SuperLog_KeepHit), then into the other.
extern char mLineBufs[2][kLineBufSize];

// True on a processor with AVX2, where field and line ends are searched for
// 32 bytes at a time.
bool ProcessorHasAvx2();

struct SuperLogState {
  // --- the wide searches (tests switch them off to check the narrow ones)
  bool mWideSearch = ProcessorHasAvx2();

  // --- discovery and the list of logs
  LogSummaryItem* mpLogsRoot = nullptr;
  LogSummaryItem* mpCurLogSummary = nullptr;
  LogSummaryItem mLogSummaryItem = {};
  char mLogSearchSpec[260] = {};
  char mLogDirWithSlash[260] = {};
  char mCurLogFileSpec[260] = {};
  char mCurLogDirWithSlash[260] = {};
  char mSummaryFilename[260] = {};
  uint32_t mCurFileSize = 0;
  ll::time32_t mAnalysisRangeFirst_t = 0;
  ll::time32_t mAnalysisRangeLast_t = 0;
  int32_t mLogsInReportRange = 0;
  int32_t mDebugEnabled = 0;

  // --- the one open file search (glob result and next index)
  glob_t mFindGlob = {};
  bool mFindOpen = false;
  size_t mFindNext = 0;

  // --- formats and templates
  char mKnownFormatBuf[244] = {};
  int32_t mFormatKnown = 0;
  int32_t mCurLogFormat = 0;
  char mSpecialLogFormatBuf[244] = {};
  int32_t mLogFormatSource = 0;
  int32_t mSepType = 'S';

  // --- the field cursor shared by the splitters and their callers
  char* mpFieldStart = nullptr;
  char* mpValidStart = nullptr;
  int32_t mValidLen = 0;
  char* mpNextFieldStart = nullptr;

  // --- the reader
  FILE* mhFile = nullptr;
  char* mpBigBuf = nullptr;         // the bytes in hand: mBigBuf or a mapped window
  char* mpBigBufCurPos = nullptr;   // next unread byte in mpBigBuf
  char* mpBigBufLastPos = nullptr;  // end of the valid bytes in mpBigBuf
  uint64_t mBigBufFileOffset = 0;   // file offset of mpBigBuf[0]
  void* mpMapped = nullptr;         // the mapped window (page-aligned), or null
  size_t mMappedBytes = 0;
  volatile int32_t mMapCutShort = 0;  // the file shrank under the window: read no further
  uint64_t mFileBytesCounted = 0;   // bytes of the open file already counted
  char* mLineBuf = mLineBufs[0];    // the buffer lines are read into
  int32_t mLineSide = 0;            // which of mLineBufs (and of the URL buffers) is in use
  int32_t mLineLen = 0;
  char* mpFullUrlBuf = nullptr;     // two URL buffers of kFullUrlBufSize, one per line buffer
  SuperLong mTotalLogBytesRead = {};

  // --- dates
  int32_t mDateFormat = 3;
  int32_t mDateFormatSource = 1;
  int32_t mFixGmt = 0;
  int32_t mFixGmtSource = 1;
  int32_t mGmtOffset = 0;
  ll::time32_t mEpochStart = 0;
  ll::time32_t mEpochEnd = 0;
  MktimeCache mMktimeCache;
  LocaltimeCache mLocaltimeCache;
};

extern SuperLogState mState;
// The block buffer; kept apart from mState so that resetting the state
// does not copy it.  Its bytes need no reset.
extern char mBigBuf[kReadChunk];

extern const char* const mpMonthStrs[12];

// --- formats.cpp
// Splitters: split one field at mpFieldStart, update the field cursor and
// terminate the field in place.  Never read past the line's NUL.
void ParseField();
void ParseField_Tab();
void ParseField_Comma();
// Splits one field with the splitter that separator letter sep chooses
// ('S' space, 'T' tab, anything else comma).
void SplitField(int32_t sep);
// Header-line recognition on mLineBuf; may print labels when debugging.
int32_t GrokLineFormat();
void GrokWebStarLine();
void GrokW3cLine();
void GrokNetscapeLine();
// Clears the template of the current file (a new file starts unknown).
void ResetFormatRecognition();

// --- dates.cpp
void ParseEpoch(const char* text, struct tm* tm);
void ParseDateTime1(const char* text, struct tm* tm);
void ParseDate2(const char* text, struct tm* tm);
void ParseDate3(const char* text, struct tm* tm);
void ParseDateTime4(const char* text, struct tm* tm);
void ParseDate5(char* text, struct tm* tm);
void ParseTime9(const char* text, struct tm* tm);
void ParseDateOrTimeTriplet(const char* text, int32_t out[3]);
int ParseTripletAndGuessType(const char* text, int32_t out[3], int32_t* yearIndex);
void ParseGenericTriplet(const char* text, struct tm* tm, int32_t* haveDate, int32_t* haveTime);
ll::time32_t GuessDateTimeFromLine();
// Computes mEpochStart, mEpochEnd and (when fixgmt is on) mGmtOffset from
// the current zone; empties the conversion caches.
void ComputeStartupTimes();
// Mktime32 and Localtime32 with a one-minute cache; same results as the
// direct calls (tests compare them).
ll::time32_t CachedMktime32(const struct tm* tm);
bool CachedLocaltime32(ll::time32_t t, struct tm* out);
void ClearTimeCaches();

// --- lines.cpp
int32_t RefreshBigBuf();
void ReadLineFromBigBuf();
void ReadRestOfLineFromBigBuf();
void ReadLine();
void ReadRestOfLine();
// Empties the block buffer and the per-file byte accounting.
void ResetBigBuf();
void TrimFullRequest();
int32_t TranslateWebStarResultCode();
void TrimPort(char* host);
void TrimTrailingDot(char* host);
// atol of text, as the C library reads it on this platform, cut to 32 bits.
int32_t LeadingInteger(const char* text);

// --- discovery.cpp
int32_t _findfirst(const char* pattern, FindData* data);
int32_t _findnext(int32_t handle, FindData* data);
int32_t _findclose(int32_t handle);
void GetLogFileDateRange();
void ReadSummaryFile();
void WriteSummaryFile(StatsFields* settings);
void LogsListAppend();
void CreateDefaultSummaryName(char* dst, const char* logsPattern);
void MakeDirWithSlash(char* dst, const char* pattern);
// Frees every entry of the list of logs.
void FreeLogsList();

// --- tail_scan.cpp
// The time of the last dated line of the open file fd of the given size,
// searched back from its end; 0 when none is found.  Reads through its own
// window with pread; uses the line buffer and the date guesser.
ll::time32_t LastDateOfFile(int fd, uint64_t size);
