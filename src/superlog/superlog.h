// The log reader: finds the log files of a run, keeps their summary file,
// recognises each log's format and turns its lines into hit records.
//
// Interface towards the analysis pass; the module's state lives in the
// superlog .cpp files (one state block, see superlog_state.h).
#pragma once

#include <cstdint>
#include <ctime>

#include "base/time32.h"

struct StatsFields;

// A counter of two unsigned 32-bit words whose value is
// first * 1,000,000,000 + second (second never above 10^9).
struct SuperLong {
  uint32_t first = 0;
  uint32_t second = 0;
};
void SuperLongAdd(SuperLong* counter, uint32_t amount);
double SuperLongToDouble(SuperLong value);

// One accepted log line.  The texts point into the reader's buffers and are
// valid only until the next SuperLog_ParseNextLine call.
struct LogHit {
  char* host;
  struct tm tm;        // local broken-down time, after the GMT correction
  ll::time32_t time;   // calendar time, after the GMT correction; never 0 or -1
  char* url;           // never null, never "-"
  int32_t status;
  int32_t bytes;
  char* referrer;      // null when absent, empty or "-"
  char* agent;         // null when absent, empty or "-"
  char* realm;         // null when absent, empty or "-"
  char* user;          // null when absent, empty or "-"
};

// No function of the reader ends the run: bad logs and summary files are
// skipped or read as far as they make sense.  Output goes to stdout only
// where stated (debugging rows and labels, the "couldn't open" line).

// Builds the list of logs from the logs and AccessLog patterns and the
// summary file (rewritten when the list changed), and computes the start-up
// values of the date parsers.  Reads settings; writes the default summary
// name into settings->summary when it is empty.  Prints "ERROR: couldn't
// open log file ..." for a listed file that cannot be opened.  The range is
// the report's first and last second.
void SuperLog_Init(StatsFields* settings, ll::time32_t rangeFirst, ll::time32_t rangeLast);
// 1 when at least one log file is listed.
int32_t SuperLog_LogFilesFound();
// Opens the next listed file whose dates meet the report range: 1 when one
// is open, 0 at the end of the list (a further call starts over).  With
// debugging, prints the file rows of the debugging table.
int32_t SuperLog_NextLogFile();
// Closes the open log file, if any.
void SuperLog_NextLogFile_Done();
// 1 when some listed file met the report range.
int32_t SuperLog_LogsInRange();
// Closes any open log and frees the list and the buffers of the reader.
void SuperLog_Uninit();

// 1 and the next accepted hit of the open file; 0 when the file is used up.
// The caller owns *hit; its texts point into the reader's buffers and stay
// valid until the next call.  With debugging, prints the label of a format
// recognised in this file.
int32_t SuperLog_ParseNextLine(LogHit* hit);

// Keeps the line of the hit just returned by SuperLog_ParseNextLine: the
// lines after it are read into another buffer, so the hit's texts stay
// valid until SuperLog_KeepHit is called again and one more line is read.
void SuperLog_KeepHit();

// Bytes read from all log files by the block reader in this run.
void SuperLog_GetTotalLogBytesRead(SuperLong* out);

// Ranked setters (ParamSource rule: taken when rank >= the kept rank).
void SuperLog_SetFixGmt(const char* value, int32_t source);
void SuperLog_SetDateFormat(const char* value, int32_t source);
void SuperLog_SetLogFormat(const char* logFormat, int32_t source);
int32_t SuperLog_GetDateFormat();  // 1 DMY, 2 DYM, 3 MDY, 4 MYD, 5 YDM, 6 YMD

// Strips trailing '?' and blanks from a field template, in place.
void TrimLogFormat(char* logFormat);

// Returns every piece of the reader's module state to its process-start
// value, freeing what it owns.  For tests.
void SuperLog_ResetForTesting();
