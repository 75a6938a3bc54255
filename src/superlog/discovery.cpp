// Finding the log files of a run, the summary file that remembers their
// sizes and date ranges, and the walk over the files whose range meets the
// report range (with the log-file rows of the debugging table).
#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

#include "base/fixed_text.h"
#include "base/pass_writer.h"
#include "base/regular_file.h"
#include "report/product.h"
#include "settings/stats_fields.h"
#include "superlog/superlog_state.h"

namespace {

constexpr size_t kPathSize = 260;

bool StartsWith(const char* text, const char* prefix) {
  return strncmp(text, prefix, strlen(prefix)) == 0;
}

// dst = a followed by b, cut at the path width.  Returns false when it was cut.
bool JoinPath(char* dst, const char* a, const char* b) {
  ll::CopyText(dst, kPathSize, a);
  return ll::AppendText(dst, kPathSize, b) == strlen(a) + strlen(b);
}

void FillFindData(const char* path, FindData* data) {
  struct stat st;
  // An entry that stat cannot examine reports size 0; it is then listed
  // (when it can be opened at all) with no dates and never analysed.
  data->size = stat(path, &st) == 0 ? static_cast<uint32_t>(st.st_size) : 0;
  const char* slash = strrchr(path, '/');
  ll::CopyText(data->name, sizeof data->name, slash ? slash + 1 : path);
}

LogSummaryItem* FindLogByName(const char* name) {
  for (LogSummaryItem* e = mState.mpLogsRoot; e; e = e->next) {
    if (strcmp(e->name, name) == 0) return e;
  }
  return nullptr;
}

bool IsDotEntry(const char* name) { return !name[0] || !strcmp(name, ".") || !strcmp(name, ".."); }

// Sets the scratch record for a file found in dir.  Returns false when its
// path does not fit the record and was cut.
bool PrepareFoundItem(const char* dir, const FindData& found) {
  LogSummaryItem& item = mState.mLogSummaryItem;
  const bool fits = JoinPath(item.name, dir, found.name);
  item.size = found.size;
  item.start = item.end = 0;
  item.state = kSummarySeenOnDisk;
  item.next = nullptr;
  mState.mCurFileSize = found.size;
  return fits;
}

void PrintCouldNotOpen(const char* path) { PassOutput().LogOpenError(path); }

// Lists the files of one pattern.  With trustSummary, a file whose size
// the summary already knows keeps its summary dates and is not opened.
// Returns true when the list changed.
bool SearchLogs(const char* pattern, const char* dir, bool trustSummary) {
  bool changed = false;
  FindData found;
  const int32_t handle = _findfirst(pattern, &found);
  if (handle == -1) return false;
  do {
    if (IsDotEntry(found.name)) continue;
    const bool fits = PrepareFoundItem(dir, found);
    LogSummaryItem* known = FindLogByName(mState.mLogSummaryItem.name);
    if (fits && trustSummary && known && known->size == found.size) {
      known->state = kSummarySeenOnDisk;
      continue;
    }
    if (fits) {
      GetLogFileDateRange();
    } else {
      // The cut name may well name another file: it is never opened, and is
      // listed with no dates like any log that cannot be opened.
      ResetFormatRecognition();
      PrintCouldNotOpen(mState.mLogSummaryItem.name);
    }
    LogsListAppend();
    changed = true;
  } while (_findnext(handle, &found) == 0);
  _findclose(handle);
  return changed;
}

// Drops summary entries whose file was not found in this run.
bool RemoveVanishedLogs() {
  bool removed = false;
  LogSummaryItem** link = &mState.mpLogsRoot;
  while (*link) {
    LogSummaryItem* e = *link;
    if (e->state == kSummaryFromFile) {
      *link = e->next;
      free(e);
      removed = true;
    } else {
      link = &e->next;
    }
  }
  return removed;
}

// The time of the current line when it is dated, else 0.
ll::time32_t DateOfLine() {
  const ll::time32_t t = GuessDateTimeFromLine();
  return t == -1 ? 0 : t;
}

void PrintUserAndGroup(const char* userLabel, uid_t uid, const char* groupLabel, gid_t gid) {
  const struct passwd* pw = getpwuid(uid);
  PassOutput().DebugText("<b>%s:</b> %s / ", userLabel, pw ? pw->pw_name : "unknown");
  const struct group* gr = getgrgid(gid);
  PassOutput().DebugText("<b>%s:</b> %s<br>", groupLabel, gr ? gr->gr_name : "unknown");
}

// The first rows of the debugging table: who runs the program, the report
// range, the patterns and the column heads of the file rows.
void PrintDebugTableHead() {
  const SuperLogState& s = mState;
  PassOutput().DebugText("<tr><td colspan=6>");
  PrintUserAndGroup("User", getuid(), "Group", getgid());
  if (geteuid() != getuid()) PrintUserAndGroup("Effective User", geteuid(), "Effective Group", getegid());
  PassOutput().DebugText("<b>Range start:</b> %s<br>", ll::Ctime32(s.mAnalysisRangeFirst_t));
  PassOutput().DebugText("<b>Range end:</b>   %s<br>", ll::Ctime32(s.mAnalysisRangeLast_t));
  PassOutput().DebugText("<b>Log File Pattern:</b> %s<br>", s.mLogSearchSpec);
  if (s.mCurLogFileSpec[0]) PassOutput().DebugText("<b>AccessLog File Pattern:</b> %s<br>", s.mCurLogFileSpec);
  PassOutput().DebugText("</td></tr>\n");
  if (s.mpLogsRoot) {
    PassOutput().DebugText("<tr><td colspan=6 align=center><b>Log Files Found</b></td></tr>\n");
    PassOutput().DebugText("<tr><td align=center><b>Filename</b></td><td align=center><b>Size</b></td>");
    PassOutput().DebugText("<td align=center><b>start</b></td>");
    PassOutput().DebugText("<td align=center><b>end</b></td>");
    PassOutput().DebugText("<td align=center><b>In Range</b></td>");
    PassOutput().DebugText("<td align=center><b>Format</b></td></tr>\n");
  } else {
    PassOutput().DebugText("<tr><td colspan=6 align=center><b>No Files Found!</b>");
  }
}

void CloseLogFile() {
  SuperLogState& s = mState;
  if (s.mhFile) fclose(s.mhFile);
  s.mhFile = nullptr;
  ResetBigBuf();
}

// Examines one entry of the walk: shifts its dates by the GMT offset and
// opens it when it meets the report range.  Returns true when it is open.
bool OpenIfInRange(LogSummaryItem* e) {
  SuperLogState& s = mState;
  const bool debug = s.mDebugEnabled;
  if (debug) PassOutput().DebugText("<tr><td>%s</td><td align=right>%lu</td>", e->name, static_cast<unsigned long>(e->size));
  if (e->size == 0 || e->start == 0 || e->end == 0) {
    if (debug) PassOutput().DebugText("<td colspan=2 align=center>invalid size or dates. probably not a log file</td><td>");
    return false;
  }
  e->start = static_cast<ll::time32_t>(static_cast<uint32_t>(e->start) + static_cast<uint32_t>(s.mGmtOffset));
  e->end = static_cast<ll::time32_t>(static_cast<uint32_t>(e->end) + static_cast<uint32_t>(s.mGmtOffset));
  if (debug) {
    PassOutput().DebugText("<td>%s</td>", ll::Ctime32(e->start));
    PassOutput().DebugText("<td>%s</td>", ll::Ctime32(e->end));
  }
  if (e->end < s.mAnalysisRangeFirst_t || e->start > s.mAnalysisRangeLast_t) {
    if (debug) PassOutput().DebugText("<td align=center>No</td><td>\n");
    return false;
  }
  if (debug) PassOutput().DebugText("<td align=center>YES</td><td>\n");
  s.mLogsInReportRange = 1;
  s.mhFile = ll::OpenRegularFile(e->name, "rb");
  if (!s.mhFile) return false;
  // The reader fetches large chunks itself; stdio's buffer would only copy.
  setvbuf(s.mhFile, nullptr, _IONBF, 0);
  posix_fadvise(fileno(s.mhFile), 0, 0, POSIX_FADV_SEQUENTIAL);
  return true;
}

}  // namespace

// ---- file search over glob: one search open at a time

int32_t _findfirst(const char* pattern, FindData* data) {
  SuperLogState& s = mState;
  if (!pattern || !*pattern) return -1;
  if (s.mFindOpen) _findclose(0);
  if (glob(pattern, 0, nullptr, &s.mFindGlob) != 0) {
    globfree(&s.mFindGlob);
    return -1;
  }
  s.mFindOpen = true;
  s.mFindNext = 0;
  if (_findnext(0, data) != 0) {
    _findclose(0);
    return -1;
  }
  return 0;
}

int32_t _findnext(int32_t /*handle*/, FindData* data) {
  SuperLogState& s = mState;
  if (!s.mFindOpen || s.mFindNext >= s.mFindGlob.gl_pathc) return -1;
  FillFindData(s.mFindGlob.gl_pathv[s.mFindNext++], data);
  return 0;
}

int32_t _findclose(int32_t /*handle*/) {
  SuperLogState& s = mState;
  if (s.mFindOpen) globfree(&s.mFindGlob);
  s.mFindOpen = false;
  s.mFindNext = 0;
  return 0;
}

// ---- the list of logs

void FreeLogsList() {
  SuperLogState& s = mState;
  while (s.mpLogsRoot) {
    LogSummaryItem* next = s.mpLogsRoot->next;
    free(s.mpLogsRoot);
    s.mpLogsRoot = next;
  }
  s.mpCurLogSummary = nullptr;
}

// Adds mLogSummaryItem, or updates the entry of the same name in place.
// A file with the size and dates of an entry listed before it under
// another name is a copy and is not listed.
void LogsListAppend() {
  SuperLogState& s = mState;
  const LogSummaryItem& item = s.mLogSummaryItem;
  LogSummaryItem** link = &s.mpLogsRoot;
  for (LogSummaryItem* e = s.mpLogsRoot; e; e = e->next) {
    if (strcmp(e->name, item.name) == 0) {
      e->size = item.size;
      e->start = item.start;
      e->end = item.end;
      e->state = item.state;
      return;
    }
    if (e->size == item.size && e->start == item.start && e->end == item.end) return;
    link = &e->next;
  }
  auto* added = static_cast<LogSummaryItem*>(malloc(sizeof(LogSummaryItem)));
  if (!added) return;  // the file is silently not listed
  *added = item;
  added->next = nullptr;
  *link = added;
}

void CreateDefaultSummaryName(char* dst, const char* logsPattern) {
  const char* slash = logsPattern ? strrchr(logsPattern, '/') : nullptr;
  if (!slash || !slash[1]) {
    ll::CopyText(dst, kPathSize, "summary");
    return;
  }
  size_t n = 0;
  for (const char* p = slash + 1; *p && n < kPathSize - 1; ++p) {
    const char c = *p;
    const bool alnum = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
    dst[n++] = c == '*' ? 's' : c == '?' ? 'q' : alnum ? c : '_';
  }
  dst[n] = 0;
}

void MakeDirWithSlash(char* dst, const char* pattern) {
  ll::CopyText(dst, kPathSize, pattern);
  char* slash = strrchr(dst, '/');
  if (slash) {
    slash[1] = 0;
  } else {
    dst[0] = 0;
  }
}

// Scans the file named in mLogSummaryItem for its first and last dated
// lines.  Prints an error line to the page when the file cannot be opened
// (the entry then keeps no dates).
void GetLogFileDateRange() {
  SuperLogState& s = mState;
  LogSummaryItem& item = s.mLogSummaryItem;
  ResetFormatRecognition();
  FILE* f = ll::OpenRegularFile(item.name, "rb");
  if (!f) {
    PrintCouldNotOpen(item.name);
    return;
  }
  FILE* saved = s.mhFile;
  s.mhFile = f;
  for (;;) {
    ReadLine();
    if (s.mLineLen == 0) break;
    if (s.mLineBuf[0] == '#' || s.mLineBuf[0] == '!') continue;
    item.start = DateOfLine();
    if (item.start) break;
  }
  if (item.start) {
    item.end = LastDateOfFile(fileno(f), s.mCurFileSize);
    if (!item.end) item.end = item.start;
  }
  fclose(f);
  s.mhFile = saved;
}

// Reads one record line "size,start,end,path" into mLogSummaryItem.  In
// each number a '-' anywhere makes it negative; the path runs to the end.
static void ParseSummaryRecord(const char* line) {
  LogSummaryItem& item = mState.mLogSummaryItem;
  uint32_t numbers[3];
  const char* p = line;
  for (uint32_t& number : numbers) {
    bool negative = false;
    uint32_t v = 0;
    for (; *p && *p != ','; ++p) {
      if (*p == '-') negative = true;
      if (*p >= '0' && *p <= '9') v = v * 10 + static_cast<uint32_t>(*p - '0');
    }
    if (*p == ',') ++p;
    number = negative ? 0 - v : v;
  }
  item.size = numbers[0];
  item.start = static_cast<ll::time32_t>(numbers[1]);
  item.end = static_cast<ll::time32_t>(numbers[2]);
  ll::CopyText(item.name, p);
  item.state = kSummaryFromFile;
  item.next = nullptr;
}

// Lists the entries of the summary file (state 1).  A missing file lists
// nothing; a file of another version is read no further.
void ReadSummaryFile() {
  SuperLogState& s = mState;
  FILE* f = ll::OpenRegularFile(s.mSummaryFilename, "rb");
  if (!f) return;
  FILE* saved = s.mhFile;
  s.mhFile = f;
  for (;;) {
    ReadLine();
    const char* line = s.mLineBuf;
    if (s.mLineLen == 0) break;
    if (line[0] == '#') continue;
    if (StartsWith(line, "!Version=")) {
      if (strcmp(line + 9, product::kVersion) != 0) break;
      continue;
    }
    if (StartsWith(line, "!Year0=")) {
      if (strcmp(line, "!Year0=1970") != 0) break;
      continue;
    }
    ParseSummaryRecord(line);
    LogsListAppend();
  }
  fclose(f);
  s.mhFile = saved;
}

// Writes the whole summary file under a temporary name in its folder and
// renames it into place, so that a reader never sees half a file.  When
// it cannot be written nothing is reported and the old file stays.
void WriteSummaryFile(StatsFields* /*settings*/) {
  const SuperLogState& s = mState;
  char temp[kPathSize + 32];
  snprintf(temp, sizeof temp, "%.259s.%ld.tmp", s.mSummaryFilename, static_cast<long>(getpid()));
  // A FIFO or device planted under the temporary name must not make the
  // run wait or write elsewhere: only a regular file is written.
  const int fd = open(temp, O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0666);
  if (fd < 0) return;
  struct stat st;
  if (fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
    close(fd);
    return;
  }
  FILE* f = fdopen(fd, "w");
  if (!f) {
    close(fd);
    unlink(temp);
    return;
  }
  char updated[244];
  struct tm now;
  if (!ll::Localtime32(ll::Time32Now(), &now) || strftime(updated, sizeof updated, "%c", &now) == 0) {
    ll::CopyText(updated, "ERROR!");
  }
  fprintf(f, "# Loglantern %s Log file Summary\n", product::kVersion);
  fprintf(f, "# Do not edit this file!\n");
  fprintf(f, "# You can find information about and support for Loglantern at this URL:\n");
  fprintf(f, "# %s\n", product::kHomeUrl);
  fprintf(f, "#\n");
  fprintf(f, "# Last updated on %s\n", updated);
  fprintf(f, "!Version=%s\n", product::kVersion);
  fprintf(f, "!Year0=1970\n");
  for (const LogSummaryItem* e = s.mpLogsRoot; e; e = e->next) {
    fprintf(f, "%lu,%ld,%ld,%s\n", static_cast<unsigned long>(e->size), static_cast<long>(e->start),
            static_cast<long>(e->end), e->name);
  }
  const bool written = !ferror(f);
  if (fclose(f) != 0 || !written || rename(temp, s.mSummaryFilename) != 0) unlink(temp);
}

// ---- the interface towards the analysis pass

void SuperLog_Init(StatsFields* settings, ll::time32_t rangeFirst, ll::time32_t rangeLast) {
  SuperLogState& s = mState;
  FreeLogsList();
  s.mLogsInReportRange = 0;
  s.mAnalysisRangeFirst_t = rangeFirst;
  s.mAnalysisRangeLast_t = rangeLast;
  if (!s.mpFullUrlBuf) s.mpFullUrlBuf = static_cast<char*>(malloc(2 * kFullUrlBufSize));
  s.mDebugEnabled = settings->debug;
  ComputeStartupTimes();
  ll::CopyText(s.mCurLogFileSpec, settings->accessLog.c_str());
  if (settings->summary.empty()) CreateDefaultSummaryName(settings->summary.data(), settings->logs.c_str());
  ll::CopyText(s.mLogSearchSpec, settings->logs.c_str());
  MakeDirWithSlash(s.mLogDirWithSlash, s.mLogSearchSpec);
  s.mCurLogDirWithSlash[0] = 0;
  if (s.mCurLogFileSpec[0]) MakeDirWithSlash(s.mCurLogDirWithSlash, s.mCurLogFileSpec);
  JoinPath(s.mSummaryFilename, s.mLogDirWithSlash, settings->summary.c_str());
  ll::AppendText(s.mSummaryFilename, ".LGS");

  ReadSummaryFile();
  bool changed = SearchLogs(s.mLogSearchSpec, s.mLogDirWithSlash, true);
  if (s.mCurLogFileSpec[0]) changed |= SearchLogs(s.mCurLogFileSpec, s.mCurLogDirWithSlash, false);
  changed |= RemoveVanishedLogs();
  if (changed) WriteSummaryFile(settings);
}

int32_t SuperLog_LogFilesFound() { return mState.mpLogsRoot != nullptr; }

int32_t SuperLog_LogsInRange() { return mState.mLogsInReportRange; }

// Opens the next listed file whose dates meet the report range.  Returns 1
// when one is open, 0 when the list is used up (a further call starts over).
// With debugging, prints the file's row of the debugging table; its Format
// cell stays open for the recognition labels.
int32_t SuperLog_NextLogFile() {
  SuperLogState& s = mState;
  CloseLogFile();
  ResetFormatRecognition();
  for (;;) {
    if (!s.mpCurLogSummary) {
      s.mpCurLogSummary = s.mpLogsRoot;
      if (s.mDebugEnabled) PrintDebugTableHead();
    } else {
      if (s.mDebugEnabled) PassOutput().DebugText("</td></tr>\n");
      s.mpCurLogSummary = s.mpCurLogSummary->next;
    }
    if (!s.mpCurLogSummary) return 0;
    if (OpenIfInRange(s.mpCurLogSummary)) return 1;
  }
}

void SuperLog_NextLogFile_Done() { CloseLogFile(); }

// Also closes a log file still open.
void SuperLog_Uninit() {
  SuperLogState& s = mState;
  CloseLogFile();
  FreeLogsList();
  free(s.mpFullUrlBuf);
  s.mpFullUrlBuf = nullptr;
}
