// The report page frame: the head, the header block with the run's facts and
// totals, the jump bar between sections, the footer, and the two number
// formatters used all over the report.
//
// Everything is written with printf to the fully buffered stdout; the frame
// flushes only after the head and after the header block, and only when the
// flushtoserver setting asks for it (a web server then sees output early).
#include "report/frame.h"

#include <cstdio>
#include <cstring>
#include <ctime>

#include "base/globals.h"
#include "analysis/list.h"
#include "report/product.h"
#include "report/sections.h"
#include "settings/stats_fields.h"
#include "cgi/cgi_env.h"
#include "superlog/superlog.h"

// ---- module state ---------------------------------------------------------
// The time the analysis pass started; "Date of Report" and the elapsed time
// are taken from it.
ll::time32_t ReportStartTime = 0;
// ----------------------------------------------------------------------------

namespace {

// Date orders of the log reader (SuperLog_GetDateFormat).
enum DateOrder { kDMY = 1, kDYM = 2, kMDY = 3, kMYD = 4, kYDM = 5, kYMD = 6 };

constexpr const char* kFactRow = "<td width=\"50%%\"><b>%s</b></td><td width=\"50%%\">%s</td>";

// Writes one "<tr>...</tr>" fact row of the header block; `newline` adds the
// line end that the always-present rows carry inside the row.
void PrintFactRow(const char* label, const char* value, bool newline) {
  printf("<tr>\n");
  printf(kFactRow, label, value);
  printf(newline ? "\n</tr>\n" : "</tr>\n");
}

// How each date order writes a report day stored as MMDD followed by the
// year: a digit names a position of the stored text, 'Y' the whole rest of
// the text from the year's first digit.
constexpr const char* kDayLayouts[] = {
    "01/23/Y",     // 0 is no date order; written as MDY
    "23/01/Y",     // 1 DMY
    "23/4567/01",  // 2 DYM
    "01/23/Y",     // 3 MDY
    "01/4567/23",  // 4 MYD
    "4567/23/01",  // 5 YDM
    "4567/01/23",  // 6 YMD
};

// Writes a report day in the log reader's date order into out (at least 21
// bytes).  A short text ends the day at its first missing position, as the
// day would end at its terminating NUL if the characters were copied one by
// one; the year ('Y') of a short text is empty.
void FormatRangeDay(char* out, const char* day, int order) {
  const char* layout = kDayLayouts[order >= kDMY && order <= kYMD ? order : kMDY];
  size_t len = strnlen(day, 19);
  char* o = out;
  for (const char* p = layout; *p; ++p) {
    if (*p == '/') {
      *o++ = '/';
    } else if (*p == 'Y') {
      for (size_t i = 4; i < len; ++i) *o++ = day[i];
    } else if (static_cast<size_t>(*p - '0') < len) {
      *o++ = day[*p - '0'];
    } else {
      break;
    }
  }
  *o = 0;
}

// "Date of Report": the start time in local time, worded for the date order.
void FormatReportDate(char* out, size_t outSize, int order) {
  struct tm tm = {};
  out[0] = 0;
  if (!ll::Localtime32(ReportStartTime, &tm)) return;
  const char* format = order == kMDY ? "%B %d, %Y at %I:%M %p" : "%d %B %Y at %H:%M (%I:%M %p)";
  if (strftime(out, outSize, format, &tm) == 0) out[0] = 0;
}

void PrintLogoAndTitle(const StatsFields* settings) {
  printf("\n\n<center><table border=1 cellspacing=0 cellpadding=4>\n");
  printf("<tr>\n<td width=\"50%%\" bgcolor=\"#CCCCCC\" align=\"center\" valign=\"center\">");
  printf("<img src=\"%s/ll14-reg.gif\" width=\"278\" height=\"75\" border=0 alt=\"%s\">",
         settings->imagePath.c_str(), "Loglantern Logo");
  printf("</td>\n<td width=\"50%%\" bgcolor=\"#CCCCCC\"><center><font color=\"#000000\" "
         "size=\"+2\"><i>%s</i></font>\n",
         product::kName);
  printf(" <font color=\"#000000\"><sup>TM</sup></font>");
  printf("<br>\n<font color=\"#000000\" size=\"+2\">%s</font><br>\n", settings->title.c_str());
  printf("<font color=\"#000000\" size=\"+1\">%s</font></td>\n", settings->url.c_str());
  printf("</tr>\n");
}

// The rows that name what was analysed; optional rows only when set.
void PrintFactRows(const StatsFields* settings, const char* firstDay, const char* lastDay,
                   const char* reportDate) {
  PrintFactRow("URL Analyzed:", settings->find.c_str(), true);
  char range[80];
  snprintf(range, sizeof range, "%s - %s", firstDay, lastDay);
  PrintFactRow("Date Range Analyzed:", range, true);
  if (!settings->authRealm.empty())
    PrintFactRow("For Authenticated Realm:", settings->authRealm.c_str(), false);
  if (!settings->authUser.empty())
    PrintFactRow("For Authenticated User:", settings->authUser.c_str(), false);
  if (!settings->filterDomains.empty())
    PrintFactRow("Ignore Requests from Domains:", settings->filterDomains.c_str(), false);
  if (!settings->filterFileTypes.empty())
    PrintFactRow("Omit Requests for Files with Extensions:", settings->filterFileTypes.c_str(),
                 false);
  PrintFactRow("Date of Report:", reportDate, true);
}

// A byte total row: the number with commas and its MB/GB suffix.
void PrintBytesRow(const char* label, uint32_t thousandMillions, uint32_t remainder) {
  char number[32];
  FormatWithCommas(number, 0, thousandMillions, remainder);
  printf("<tr>\n");
  printf("<td width=\"50%%\"><b>%s</b></td><td width=\"50%%\">%s", label, number);
  PrintMbGbSuffix(thousandMillions, remainder);
  printf("</td>\n</tr>\n");
}

bool AnyListCut() {
  for (const ListInfo* info = gListInfo.first; info; info = info->next)
    if (info->reclaimed > 0) return true;
  return false;
}

// Names every list that smart memory had to shorten, in catalogue order.
void PrintMemoryWarning() {
  printf("<tr><td colspan=2><hr></td></tr>");
  printf("<tr>\n");
  printf("<td width=\"50%%\" valign=\"top\"><font color=red><b>Warning:</b></font> Processing "
         "this report required more memory than was available. The results for the following "
         "reports may not be accurate after the top few results.</td>\n");
  printf("<td width=\"50%%\">");
  for (const ListInfo* info = gListInfo.first; info; info = info->next)
    if (info->reclaimed > 0) printf("%s<br>\n", info->name);
  printf("</td>\n</tr>\n");
}

void PrintTotals(const StatsFields* settings, uint32_t requests, uint32_t bytesLow,
                 uint32_t bytesHigh) {
  char number[32];
  FormatWithCommas(number, requests, 0, 0);
  PrintFactRow("HTTP Requests:", number, true);
  PrintBytesRow("HTTP Bytes Served:", bytesHigh, bytesLow);
  SuperLong read;
  SuperLog_GetTotalLogBytesRead(&read);
  PrintBytesRow("Log Bytes Read:", read.first, read.second);
  if (settings->smartMemoryEnabled && AnyListCut()) PrintMemoryWarning();
}

void PrintNoLogsRow() {
  printf("<tr>\n<td colspan=2><hr><font color=red><b>No log files found containing date range "
         "specified. ");
  printf("Please go back to the Report Request Form and try a different date range.</b></font>\n"
         "</td>\n</tr>\n");
}

}  // namespace

void PrintHead(const StatsFields* settings, const CgiEnv* env) {
  (void)env;
  printf("<html>\n");
  printf("<head>\n");
  printf("<title>%s</title>\n", settings->title.c_str());
  printf("</head>\n\n\n\n\n");
  printf("<body bgcolor=\"#FFFFFF\" text=\"#000000\"");
  printf(">\n");
  if (settings->remoteDebugEnabled && settings->runMode != kRunRemoteDebug) {
    printf("<b><blink>Warning!  Remote debugging is enabled!</blink></b><br>");
    printf("Please remember to edit the Loglantern configuration file to disable remote "
           "debugging when it is no longer needed.<p>");
  }
  if (settings->flushToServer) fflush(stdout);
}

void DisplayHeader(const StatsFields* settings, uint32_t requests, uint32_t bytesLow,
                   uint32_t bytesHigh) {
  int order = SuperLog_GetDateFormat();
  char reportDate[100];
  FormatReportDate(reportDate, sizeof reportDate, order);
  char firstDay[32], lastDay[32];
  FormatRangeDay(firstDay, settings->dateStart.c_str(), order);
  FormatRangeDay(lastDay, settings->dateEnd.c_str(), order);

  if (settings->extraHeader)
    printf("<!-- Begin extra header -->\n%s\n<!-- End extra header -->\n", settings->extraHeader);
  PrintLogoAndTitle(settings);
  printf("<tr>\n");
  printf("<td colspan=2>\n");
  printf("<table width=\"100%%\" border=0>\n");
  PrintFactRows(settings, firstDay, lastDay, reportDate);
  if (SuperLog_LogsInRange())
    PrintTotals(settings, requests, bytesLow, bytesHigh);
  else
    PrintNoLogsRow();
  printf("</table>\n");
  printf("</td>\n</tr>\n");
  printf("</table>\n</center><p>\n");
  if (settings->flushToServer) fflush(stdout);
}

void OutputJumpBar(const StatsFields* settings) {
  int on = 0;
  for (int i = 0; const char* link = SectionJumpLink(settings, i); ++i)
    if (link[0]) ++on;
  if (on < 2) return;
  printf("<center>\n<font face=\"Arial,Helv\" size=\"-1\"><b>");
  int written = 0;
  for (int i = 0; const char* link = SectionJumpLink(settings, i); ++i) {
    if (!link[0]) continue;
    if (written++) printf(" \x95 ");
    printf("%s", link);
  }
  printf("</b></font></center><p>");
}

void PrintFooter(const StatsFields* settings, ll::time32_t elapsed) {
  printf("\n\n<p><hr noshade><p>\n\n");
  printf("<font size=\"-1\">");
  struct tm tm = {};
  char line[100] = "";
  if (ll::Gmtime32(elapsed, &tm))
    strftime(line, sizeof line,
             "Time required to generate report = %M:%S (minutes:seconds).<br>\n", &tm);
  printf("%s", line);
  PrintCreditLines();
  printf("<p>\n</font>\n");
  if (settings->extraFooter)
    printf("<!-- Begin extra footer -->\n%s\n<!-- End extra footer -->\n", settings->extraFooter);
  printf("\n</body>\n\n");
  printf("</html>\n");
}

void FormatWithCommas(char* buffer, uint32_t plain, uint32_t thousandMillions,
                      uint32_t remainder) {
  char digits[24];
  unsigned long long value =
      plain != 0 ? plain : thousandMillions * 1000000000ULL + remainder;
  int n = snprintf(digits, sizeof digits, "%llu", value);
  int group = n % 3 == 0 ? 3 : n % 3;  // length of the leftmost group
  char* out = buffer;
  for (int i = 0; i < n; ++i) {
    if (i == group) {
      *out++ = ',';
      group += 3;
    }
    *out++ = digits[i];
  }
  *out = 0;
}

void PrintMbGbSuffix(uint32_t thousandMillions, uint32_t remainder) {
  double total = thousandMillions * 1000000000.0 + remainder;
  if (total < 524288.0) return;
  if (total < 1073741824.0) {
    float mb = static_cast<float>(total / 1048576.0);
    printf(" (%0.1f MB)", mb);
  } else {
    float gb = static_cast<float>(total / 1073741824.0);
    printf(" (%0.1f GB)", gb);
  }
}
