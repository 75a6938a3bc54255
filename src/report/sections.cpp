// The body of the report: one table per section, in a fixed order.
//
// List sections share one frame (title row, description row, summary row,
// ranked rows); the search section prints one block per engine; the three
// time sections are bar charts.  The sections only read the pass's results,
// except that printing sorts each list once.
#include "report/sections.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "analysis/audience.h"
#include "analysis/dns_cache.h"
#include "analysis/list.h"
#include "base/fixed_text.h"
#include "base/globals.h"
#include "report/frame.h"
#include "settings/stats_fields.h"
#include "superlog/superlog.h"

namespace {

constexpr const char* kNoItemsRow = "<tr>\n<td colspan=\"3\"><i><b>No items found</b></i></td>\n</tr>\n";
constexpr const char* kNoChartItemsRow = "<tr>\n<td><b><i>No items found</i></b></td>\n</tr>\n";
constexpr const char* kSearchColour = "#40C080";
constexpr const char* kFullDayNames[7] = {"Sunday",   "Monday", "Tuesday", "Wednesday",
                                          "Thursday", "Friday", "Saturday"};
constexpr const char* kShortDayNames[7] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};

// One counted-list section of the report: the keyword that switches it on
// and limits it, the list it prints, its anchor, title, description, colour,
// the noun of its summary, the style of its rows and the 100% base of its
// share column.
struct ListSection {
  SectionSetting StatsFields::*keyword;
  ItemList* PassResults::*list;
  const char* anchor;
  const char* title;
  const char* description;
  const char* colour;
  const char* summaryNoun;
  const char* rowStyle;
  int32_t PassResults::*base;
  // Shown at the end of the summary when robots are kept apart.
  const char* robotsNote = nullptr;
};

constexpr const char* kPeopleOnly = "<br>\nRobots are not counted here; see Robots.";

constexpr ListSection kListSections[] = {
    {&StatsFields::requests, &PassResults::topUrls, "urls", "Top URLs Requested",
     "This report shows the most-requested pages for the days analyzed.", "#FFDD00", "URLs",
     "requests", &PassResults::urlHits},
    {&StatsFields::referrers, &PassResults::topReferrers, "referrers", "Top Referrers To Your Site",
     "This report shows the pages that visitors to your site came from.", "#00E8E8", "referrers",
     "referrals", &PassResults::referralHits},
    {&StatsFields::browsers, &PassResults::browsers, "browsers", "Most Common Browsers",
     "This report shows which browsers are being used to view your site.", "#00A0A0", "browsers",
     "browser", &PassResults::browserHits},
    {&StatsFields::badUrls, &PassResults::badUrls, "badurls", "Bad URLs",
     "This report lists the requests that generated <i>404 Not Found</i> error messages "
     "(because the requested files didn't exist).",
     "#D00000", " bad URLs", "requests", &PassResults::urlHits},
    {&StatsFields::badReferrers, &PassResults::badReferrers, "badreferrers", "Bad Referrers",
     "This report lists pages with invalid links to your site. Click on each link to visit the "
     "page to look for the invalid link.",
     "#C048A8", " bad referrers", "referrals", &PassResults::urlHits},
    {&StatsFields::domains, &PassResults::domains, "domains", "User Domain Analysis",
     "This report shows the domain of users viewing your site.", "#A0A048", "domains", "",
     &PassResults::domainHits},
    {&StatsFields::domainTypes, &PassResults::domainTypes, "networks", "Types Of Domains",
     "This report shows the most common country or institution type of the users viewing your "
     "site.  (This is the top-level domain of the user.)",
     "#3399CC", "origins", "network", &PassResults::domainTypeHits},
    // Sections that a request names by keyword.
    {&StatsFields::pages, &PassResults::pages, "pages", "Pages",
     "This report shows the pages viewed, with the bytes sent for them; images, style sheets, "
     "scripts and other files are not pages.",
     "#FFB366", "pages", "pages", &PassResults::pageViews, kPeopleOnly},
    {&StatsFields::pages, &PassResults::entryPages, "entrypages", "Entry Pages",
     "This report shows the first page of each visit.", "#FFB366", "entry pages", "requests",
     &PassResults::visitEnds, kPeopleOnly},
    {&StatsFields::pages, &PassResults::exitPages, "exitpages", "Exit Pages",
     "This report shows the last page of each visit.", "#FFB366", "exit pages", "requests",
     &PassResults::visitEnds, kPeopleOnly},
    {&StatsFields::statusCodes, &PassResults::statusCodes, "statuscodes", "Status Codes",
     "This report shows the HTTP status of the answers: 2xx success, 3xx redirection, 4xx client "
     "errors, 5xx server errors.",
     "#B0B0FF", "status codes", "status", &PassResults::statusHits},
    {&StatsFields::browserFamilies, &PassResults::browserFamilies, "browserfamilies",
     "Browser Families",
     "This report shows the browser families and their major versions, as the user-agent rules "
     "name them.",
     "#66CCCC", "browser families", "", &PassResults::agentHits},
    {&StatsFields::browserFamilies, &PassResults::operatingSystems, "systems",
     "Operating Systems", "This report shows the operating systems that the browsers run on.",
     "#66CCCC", "operating systems", "", &PassResults::agentHits},
    {&StatsFields::robots, &PassResults::robots, "robots", "Robots",
     "This report shows the crawlers that read your site, with their page views and bytes; they "
     "are kept apart from the visitors.",
     "#999999", "robots", "robots", &PassResults::robotHits},
};

// One bar-chart section; its rows are written by its own printer.
struct ChartSection {
  const char* anchor;
  const char* colour;
  const char* title;
  const char* description;
};

constexpr ChartSection kDaily = {"daily", "#CC9966", "Daily Totals",
                                 "This report shows how many hits your site received on each day."};
constexpr ChartSection kWeekly = {
    "weekly", "#FFCC99", "Hits Per Day of Week",
    "This report shows how hits to your site are distributed throughout the week."};
constexpr ChartSection kHourly = {
    "hourly", "#CC6666", "Hits Per Hour",
    "This report shows how hits to your site are distributed throughout the day."};

constexpr const char* kDayColumns =
    "<tr>\n<td align=right><b>Day</b></td>\n<td align=center><b>%% of Total</b></td>\n"
    "<td><b>Number of Hits</b></td>\n</tr>\n";
constexpr const char* kHourColumns =
    "<tr>\n<td align=right><b>Hour</b></td>\n<td align=center><b>%% of Total</b></td>\n"
    "<td><b>Number of Hits</b></td>\n</tr>\n";

void PrintSectionOpening(const char* anchor) {
  printf("\n<p><a name=\"%s\"></a><hr noshade><p>\n", anchor);
  printf("<center><table border=1 width=\"80%%\" cellspacing=0>\n");
}

// Closes a section's table, repeats the jump bar and, for a web server that
// must keep the connection alive, pushes the section out.
void PrintSectionClosing(const StatsFields* settings) {
  printf("</table></center><p>");
  OutputJumpBar(settings);
  if (settings->flushToServer) fflush(nullptr);
}

double Share(int32_t count, int32_t total) {
  return total != 0 ? count * 100.0 / total : 0.0;
}

// True when the item is an absolute URL whose scheme has 3 to 5 characters.
bool IsAbsoluteUrl(const char* item) {
  if (strlen(item) <= 8) return false;
  for (int at = 3; at <= 5; ++at)
    if (strncmp(item + at, "://", 3) == 0) return true;
  return false;
}

// The referring pages listed under a bad URL; not limited by top or greater.
void PrintSecondaryItems(ItemList* sublist) {
  printf("\n<font size=\"-1\" face=\"Arial,Helv\">");
  for (ListItem* sub = SortList(sublist); sub; sub = sub->next) {
    printf("<br>\n&nbsp;&nbsp;<i>%ld&nbsp;referrer", static_cast<long>(sub->count));
    if (sub->count > 1) printf("s");
    printf("&nbsp;from:&nbsp;<a href=\"%s\" target=\"_blank\">%s</a></i>", sub->item, sub->item);
  }
  printf("\n</font>\n");
}

// The standard reason phrase of an HTTP status code.
const char* ReasonPhrase(int code) {
  static constexpr struct {
    int code;
    const char* phrase;
  } kPhrases[] = {
      {100, "Continue"}, {101, "Switching Protocols"}, {102, "Processing"}, {103, "Early Hints"},
      {200, "OK"}, {201, "Created"}, {202, "Accepted"}, {203, "Non-Authoritative Information"},
      {204, "No Content"}, {205, "Reset Content"}, {206, "Partial Content"},
      {207, "Multi-Status"}, {208, "Already Reported"}, {226, "IM Used"},
      {300, "Multiple Choices"}, {301, "Moved Permanently"}, {302, "Found"},
      {303, "See Other"}, {304, "Not Modified"}, {305, "Use Proxy"},
      {307, "Temporary Redirect"}, {308, "Permanent Redirect"}, {400, "Bad Request"},
      {401, "Unauthorized"}, {402, "Payment Required"}, {403, "Forbidden"}, {404, "Not Found"},
      {405, "Method Not Allowed"}, {406, "Not Acceptable"},
      {407, "Proxy Authentication Required"}, {408, "Request Timeout"}, {409, "Conflict"},
      {410, "Gone"}, {411, "Length Required"}, {412, "Precondition Failed"},
      {413, "Content Too Large"}, {414, "URI Too Long"}, {415, "Unsupported Media Type"},
      {416, "Range Not Satisfiable"}, {417, "Expectation Failed"}, {418, "I'm a teapot"},
      {421, "Misdirected Request"}, {422, "Unprocessable Content"}, {423, "Locked"},
      {424, "Failed Dependency"}, {425, "Too Early"}, {426, "Upgrade Required"},
      {428, "Precondition Required"}, {429, "Too Many Requests"},
      {431, "Request Header Fields Too Large"}, {451, "Unavailable For Legal Reasons"},
      {500, "Internal Server Error"}, {501, "Not Implemented"}, {502, "Bad Gateway"},
      {503, "Service Unavailable"}, {504, "Gateway Timeout"},
      {505, "HTTP Version Not Supported"}, {506, "Variant Also Negotiates"},
      {507, "Insufficient Storage"}, {508, "Loop Detected"}, {510, "Not Extended"},
      {511, "Network Authentication Required"},
  };
  for (const auto& entry : kPhrases)
    if (entry.code == code) return entry.phrase;
  return "Unknown";
}

// " (12,345 bytes)" after an item.
void PrintBytesNote(double bytes) {
  char number[32];
  uint64_t whole = bytes > 0 ? static_cast<uint64_t>(bytes) : 0;
  FormatWithCommas(number, 0, static_cast<uint32_t>(whole / 1000000000),
                   static_cast<uint32_t>(whole % 1000000000));
  printf(" <font size=\"-1\">(%s bytes)</font>", whole == 0 ? "0" : number);
}

// A row of the status-code or robot section: the item with its figures.
void PrintFigureRow(const ListItem* node, const char* noun, long count, double share) {
  printf("<tr><td align=center>%ld</td><td align=center>%0.2f%%</td><td>", count, share);
  if (strcmp(noun, "status") == 0) {
    printf("%s %s", node->item, ReasonPhrase(atoi(node->item)));
  } else {
    int32_t pages = 0;
    double bytes = 0;
    RobotFigures(node->item, &pages, &bytes);
    printf("%s <font size=\"-1\">(%ld pages)</font>", node->item, static_cast<long>(pages));
    PrintBytesNote(bytes);
  }
  printf("</td></tr>\n");
}

// One ranked row in the style that `noun` names.
void PrintListRow(const StatsFields* settings, ListItem* node, const char* noun, int total) {
  long count = node->count;
  double share = Share(node->count, total);
  bool referrals = strcmp(noun, "referrals") == 0;
  bool pages = strcmp(noun, "pages") == 0;
  bool requests = pages || strcmp(noun, "requests") == 0;
  if (strcmp(noun, "status") == 0 || strcmp(noun, "robots") == 0) {
    PrintFigureRow(node, noun, count, share);
    return;
  }
  if (!referrals && !requests) {
    const char* text = node->item;
    char name[244];  // a descriptive name may be longer than the node's own text
    if (strcmp(noun, "network") == 0) {
      ll::CopyText(name, node->item);
      ResolveItem(name, settings->networksFile.c_str());
      text = name;
    }
    printf("<tr><td align=center>%ld</td><td align=center>%0.2f%%</td><td>%s</td></tr>\n", count,
           share, text);
    return;
  }
  printf("<tr><td align=center>%ld</td><td align=center>%0.2f%%</td>", count, share);
  if (referrals) {
    printf("<td><a href=\"%s\" target=\"_blank\">%s</a></td></tr>\n", node->item, node->item);
    return;
  }
  if (IsAbsoluteUrl(node->item))
    printf("<td><a href=\"%s\" target=\"_blank\">%s</a>", node->item, node->item);
  else
    printf("<td><a href=\"%s%s\" target=\"_blank\">%s</a>", settings->url.c_str(), node->item,
           node->item);
  if (node->sublist) PrintSecondaryItems(node->sublist);
  if (pages) PrintBytesNote(PageBytes(node->item));
  printf("</td></tr>\n");
}

void PrintListSection(const StatsFields* settings, PassResults* results, const ListSection& s) {
  const SectionSetting& limits = settings->*s.keyword;
  ItemList* list = results->*s.list;
  PrintSectionOpening(s.anchor);
  printf("<tr>\n");
  printf("<td colspan=3 bgcolor=\"%s\" align=\"center\"><font size=\"+1\"><b>%s</b></font></td>\n",
         s.colour, s.title);
  printf("</tr>\n");
  printf("<tr>\n");
  printf("<td colspan=3 bgcolor=\"%s\">%s</td>\n", s.colour, s.description);
  printf("</tr>\n");
  if (s.list == &PassResults::browsers) gHits_Browsers = results->browserHits;
  ReportSummary(list_length(list), limits.top, limits.topIsPercent, limits.greater, s.colour,
                s.summaryNoun, settings->robots.show ? s.robotsNote : nullptr);
  display_list(settings, list, limits.top, limits.topIsPercent, limits.greater, s.rowStyle,
               results->*s.base);
  PrintSectionClosing(settings);
}

void PrintSearchSection(const StatsFields* settings, PassResults* results) {
  int phrases = 0;
  for (ItemList* list : results->search) phrases += list_length(list);
  char columns = phrases > 0 ? '2' : '1';
  PrintSectionOpening("search");
  printf("<tr>\n");
  printf("<td colspan=%c bgcolor=\"#40C080\" align=\"center\"><font size=\"+1\"><b>Search "
         "Phrases</b></font></td>\n",
         columns);
  printf("</tr>\n");
  printf("<tr>\n");
  printf("<td colspan=%c bgcolor=\"#40C080\">This report shows the phrases submitted to the "
         "popular search engines by users looking for your site's content.",
         columns);
  printf("</td>\n");
  printf("</tr>\n");
  const SectionSetting& limits = settings->search;
  ReportSummary(phrases, limits.top, limits.topIsPercent, limits.greater, kSearchColour,
                "phrases");
  if (phrases > 0) {
    printf("<tr>\n<td align=\"center\" width=\"10%%\"><b>Quantity</b></td>");
    printf("<td><b>Phrase</b></td></tr>\n");
    for (int d = 0; d < kSearchEngineCount; ++d) {
      ItemList* list = results->search[kSearchDisplay[d].list];
      display_keywords(settings, list, list_length(list), d, results->searchHits);
    }
  } else {
    printf("<tr>\n<td><b><i>No search phrases found</i></b></td>\n</tr>\n");
  }
  PrintSectionClosing(settings);
}

// ---- bar charts ----

void PrintChartOpening(const ChartSection& s) {
  PrintSectionOpening(s.anchor);
  printf("<tr>\n");
  printf("<td bgcolor=\"%s\" align=\"center\"><font size=\"+1\"><b>%s</b></font></td>\n", s.colour,
         s.title);
  printf("</tr>\n");
  printf("<tr>\n");
  printf("<td bgcolor=\"%s\">%s</td>\n", s.colour, s.description);
  printf("</tr>\n");
}

int32_t LargestCount(const int32_t* counts, int n) {
  int32_t largest = 0;
  for (int i = 0; i < n; ++i)
    if (counts[i] > largest) largest = counts[i];
  return largest;
}

// The bar is 300 pixels for the largest entry, truncated for the others.
int BarWidth(int32_t count, int32_t largest) {
  return static_cast<int>(static_cast<int64_t>(count) * 300 / largest);
}

// The share, bar and count cells of one chart row; colour is "blue" or "red".
void PrintChartCells(const StatsFields* settings, int32_t count, int32_t base, int32_t largest,
                     const char* colour) {
  double share = Share(count, base);
  if (share < 0) share = 0;
  printf("<td align=center>%.0f%%</td>\n", share);
  printf("<td>");
  if (count != 0) {
    printf("<img src=\"%s/%s2x5.gif\" height=\"5\" width=\"%d\">&nbsp;",
           settings->imagePath.c_str(), colour, BarWidth(count, largest));
  }
  printf("%ld\n", static_cast<long>(count));
  printf("</td></tr>\n");
}

const char* WeekendColour(int weekday) { return weekday == 0 || weekday == 6 ? "blue" : "red"; }

bool IsLeapYear(int year) { return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0; }

// Whether the log's date order puts the month before the day.
bool MonthFirst() {
  int order = SuperLog_GetDateFormat();
  return order != 1 && order != 2 && order != 5;  // DMY, DYM and YDM put the day first
}

// Calls visit(dayOfYear, weekday, tm, monthFirst) for each day of the
// report range, in order.
template <typename Visit>
void ForEachReportDay(const PassResults* r, Visit visit) {
  struct tm start = {};
  if (!ll::Localtime32(r->rangeFirst, &start)) return;
  int day = start.tm_yday;
  int weekday = start.tm_wday;
  int year = start.tm_year + 1900;
  bool monthFirst = MonthFirst();
  // 64-bit steps: a range that ends near 2038 must not wrap the counter.
  for (int64_t t = r->rangeFirst; t < r->rangeLast; t += 86400) {
    struct tm tm = {};
    ll::Localtime32(static_cast<ll::time32_t>(t), &tm);
    visit(day, weekday, tm, monthFirst);
    weekday = (weekday + 1) % 7;
    if (day >= (IsLeapYear(year) ? 365 : 364)) {
      day = 0;
      ++year;
    } else {
      ++day;
    }
  }
}

void PrintDailyRows(const StatsFields* settings, const PassResults* r, int32_t largest) {
  ForEachReportDay(r, [&](int day, int weekday, const struct tm& tm, bool monthFirst) {
    printf("<tr><td align=\"right\">");
    printf("<font size=\"-1\">%s</font>&nbsp;", kShortDayNames[weekday]);
    if (monthFirst)
      printf("%d/%d</td>\n", tm.tm_mon + 1, tm.tm_mday);
    else
      printf("%d/%d</td>\n", tm.tm_mday, tm.tm_mon + 1);
    PrintChartCells(settings, r->dailyCounts[day], r->dailyHits, largest, WeekendColour(weekday));
  });
}

// A bar-chart section: its frame and, when any entry is non-zero, its
// column header and the rows that printRows(largest) writes.
template <typename Rows>
void PrintChart(const StatsFields* settings, const ChartSection& section, const int32_t* counts,
                int n, const char* columns, Rows printRows) {
  PrintChartOpening(section);
  int32_t largest = LargestCount(counts, n);
  if (largest == 0) {
    printf("%s", kNoChartItemsRow);
  } else {
    printf("<tr>\n<td bgcolor=\"#FFFFCC\">\n<table border=0 width=\"100%%\">\n");
    printf(columns);
    printRows(largest);
    printf("</table></td>\n</tr>\n");
  }
  PrintSectionClosing(settings);
}

void PrintDailyTotals(const StatsFields* settings, PassResults* r) {
  PrintChart(settings, kDaily, r->dailyCounts, 366, kDayColumns,
             [&](int32_t largest) { PrintDailyRows(settings, r, largest); });
}

void PrintWeekdays(const StatsFields* settings, PassResults* r) {
  PrintChart(settings, kWeekly, r->weekdayCounts, 7, kDayColumns, [&](int32_t largest) {
    for (int d = 0; d < 7; ++d) {
      printf("<tr><td align=right>");
      printf("%s</td>\n", kFullDayNames[d]);
      PrintChartCells(settings, r->weekdayCounts[d], r->weekdayHits, largest, WeekendColour(d));
    }
  });
}

void PrintHourLabel(int hour) {
  printf("<tr><td align=right>");
  if (hour == 0)
    printf("12&nbsp;am");
  else if (hour < 12)
    printf("%d&nbsp;am", hour);
  else if (hour == 12)
    printf("12&nbsp;pm");
  else
    printf("%d&nbsp;pm", hour - 12);
  printf("</td>\n");
}

void PrintHours(const StatsFields* settings, PassResults* r) {
  PrintChart(settings, kHourly, r->hourCounts, 24, kHourColumns, [&](int32_t largest) {
    for (int h = 0; h < 24; ++h) {
      PrintHourLabel(h);
      PrintChartCells(settings, r->hourCounts[h], r->hourHits, largest, "red");
    }
  });
}

// ---- visitors and visits ----

constexpr ChartSection kVisitors = {
    "visitors", "#99CC66", "Visitors and Visits",
    "This report shows how many visitors came each day and how many visits they made.  A "
    "visitor is one client address with one browser; a visit is a visitor's run of hits with "
    "no pause longer than 30 minutes, counted on the day it starts."};

constexpr const char* kVisitColumns =
    "<tr>\n<td align=right><b>Day</b></td>\n<td align=right><b>Visitors</b></td>\n"
    "<td align=right><b>Visits</b></td>\n<td align=right><b>Page Views</b></td>\n"
    "<td align=right><b>Hits</b></td>\n<td align=right><b>Bytes</b></td>\n"
    "<td><b>Visits</b></td>\n</tr>\n";

void PrintVisitSummary(const StatsFields* settings, const PassResults* r) {
  const PassResults::VisitFigures& t = r->visitTotals;
  double perVisit = t.visits ? static_cast<double>(t.pages) / t.visits : 0.0;
  long seconds = t.visits ? static_cast<long>(r->visitSeconds / t.visits + 0.5) : 0;
  printf("<tr>\n<td bgcolor=\"%s\"><b>Summary:</b> <b>%ld</b> visitors made <b>%ld</b> visits "
         "with <b>%ld</b> page views in <b>%ld</b> hits.",
         kVisitors.colour, static_cast<long>(t.visitors), static_cast<long>(t.visits),
         static_cast<long>(t.pages), static_cast<long>(t.hits));
  printf("<br>\nPages per visit: <b>%.1f</b>; average visit length: <b>%ld:%02ld</b> "
         "(minutes:seconds).",
         perVisit, seconds / 60, seconds % 60);
  if (settings->robots.show) printf("%s", kPeopleOnly);
  printf("</td>\n</tr>\n");
}

void PrintVisitRows(const StatsFields* settings, const PassResults* r, int32_t largest) {
  ForEachReportDay(r, [&](int day, int weekday, const struct tm& tm, bool monthFirst) {
    const PassResults::VisitFigures& d = r->visitDays[day];
    printf("<tr><td align=\"right\"><font size=\"-1\">%s</font>&nbsp;", kShortDayNames[weekday]);
    printf("%d/%d</td>\n", monthFirst ? tm.tm_mon + 1 : tm.tm_mday,
           monthFirst ? tm.tm_mday : tm.tm_mon + 1);
    char bytes[32];
    uint64_t whole = static_cast<uint64_t>(d.bytes);
    FormatWithCommas(bytes, 0, static_cast<uint32_t>(whole / 1000000000),
                     static_cast<uint32_t>(whole % 1000000000));
    printf("<td align=right>%ld</td><td align=right>%ld</td><td align=right>%ld</td>"
           "<td align=right>%ld</td><td align=right>%s</td>\n",
           static_cast<long>(d.visitors), static_cast<long>(d.visits), static_cast<long>(d.pages),
           static_cast<long>(d.hits), whole == 0 ? "0" : bytes);
    printf("<td>");
    if (d.visits != 0)
      printf("<img src=\"%s/%s2x5.gif\" height=\"5\" width=\"%d\">",
             settings->imagePath.c_str(), WeekendColour(weekday), BarWidth(d.visits, largest));
    printf("</td></tr>\n");
  });
}

void PrintVisitors(const StatsFields* settings, PassResults* r) {
  PrintChartOpening(kVisitors);
  int32_t largest = 0;
  for (const PassResults::VisitFigures& d : r->visitDays)
    if (d.visits > largest) largest = d.visits;
  if (r->visitTotals.hits == 0) {
    printf("%s", kNoChartItemsRow);
  } else {
    PrintVisitSummary(settings, r);
    printf("<tr>\n<td bgcolor=\"#FFFFCC\">\n<table border=0 width=\"100%%\">\n");
    printf("%s", kVisitColumns);
    PrintVisitRows(settings, r, largest);
    printf("</table></td>\n</tr>\n");
  }
  PrintSectionClosing(settings);
}

// The summary sentence that says how much of a list the rows show.
void PrintLimitSentence(int top, int topIsPercent, int greater, const char* noun) {
  printf("This report shows");
  if (top > 0) {
    printf(" the top %d", top);
    if (topIsPercent) printf("%% of");
  } else {
    printf(" all");
  }
  printf(" %s", noun);
  if (greater > 1)
    printf(" with at least %d requests.", greater);
  else
    printf(" requested.");
  printf("<br>\n");
}

// A browser family's share of the browser hits; shares below 1% read as 0.
double BrowserShare(int32_t count) {
  if (gHits_Browsers == 0) return 0.0;
  double share = count * 100.0 / gHits_Browsers;
  return share < 1.0 ? 0.0 : share;
}

void PrintBrowserFamilies() {
  printf("<br>\n<b>%ld</b> of the requests (<b>%0.0f%%</b>) were from versions of Netscape "
         "Navigator-brand browsers.",
         static_cast<long>(NavCount), BrowserShare(NavCount));
  printf("<br>\n<b>%ld</b> of the requests (<b>%0.0f%%</b>) were from versions of Microsoft "
         "Internet Explorer.",
         static_cast<long>(MsieCount), BrowserShare(MsieCount));
}

void PrintSmartMemorySettings(const StatsFields* settings) {
  printf("<tr><td colspan=6>&nbsp;</td></tr>\n<tr><td colspan=2 align=center><b>Memory "
         "Usage</b></td></tr>\n");
  printf("<tr><td>Smart Memory: Enabled</td><td>%s<td></tr>\n", "True");
  printf("<tr><td>Smart Memory: minimum list entries to keep</td><td>%d<td></tr>\n",
         settings->smartMemoryKeepEntries);
  printf("<tr><td>Smart Memory: size of memory to reclaim</td><td>%dK<td></tr>\n",
         settings->smartMemoryReclaimSize);
  // A ceiling below 500K is no ceiling at all.
  if (settings->smartMemoryMaxMemory >= 500)
    printf("<tr><td>Smart Memory: maximum memory to allocate</td><td>%dK<td></tr>\n",
           settings->smartMemoryMaxMemory);
}

void PrintMemoryStatistic(const char* label, int32_t bytes) {
  char number[32];
  FormatWithCommas(number, static_cast<uint32_t>(bytes), 0, 0);
  printf("<tr><td>%s</td><td>%s</td></tr>\n", label, number);
}

// One section of the page, in page order: whether it is on, its jump-bar
// link (null: none; the section follows the one that has it), and how it is
// written (a list section by its row of kListSections).
struct PageSection {
  bool (*isOn)(const StatsFields*);
  const char* jumpLink;
  void (*print)(const StatsFields*, PassResults*);
  const ListSection* list;
};

template <int Row>
constexpr PageSection ListRow(const char* jumpLink) {
  return {[](const StatsFields* s) { return (s->*kListSections[Row].keyword).show != 0; },
          jumpLink, nullptr, &kListSections[Row]};
}

constexpr PageSection kPageSections[] = {
    ListRow<0>("<a href=\"#urls\">URLs</a> "),
    ListRow<1>("<a href=\"#referrers\">Referrers</a>\n"),
    {[](const StatsFields* s) { return s->search.show != 0; },
     "<a href=\"#search\">Search Phrases</a>\n", PrintSearchSection, nullptr},
    ListRow<2>("<a href=\"#browsers\">Browsers</a>\n"),
    ListRow<3>("<a href=\"#badurls\">Bad URLs</a>\n"),
    ListRow<4>("<a href=\"#badreferrers\">Bad Referrers</a>\n"),
    ListRow<5>("<a href=\"#domains\">Domains</a>\n"),
    ListRow<6>("<a href=\"#networks\">Domain Types</a>\n"),
    {[](const StatsFields* s) { return s->dailyTotals != 0; },
     "<a href=\"#daily\">Daily Totals</a>\n", PrintDailyTotals, nullptr},
    {[](const StatsFields* s) { return s->hitsPerDayOfWeek != 0; },
     "<a href=\"#weekly\">Hits Per Day of Week</a>\n", PrintWeekdays, nullptr},
    {[](const StatsFields* s) { return s->hitsPerHour != 0; },
     "<a href=\"#hourly\">Hits Per Hour</a>\n", PrintHours, nullptr},
    // Sections that a request names by keyword.
    {[](const StatsFields* s) { return s->visitors.show != 0; },
     "<a href=\"#visitors\">Visitors</a>\n", PrintVisitors, nullptr},
    ListRow<7>("<a href=\"#pages\">Pages</a>\n"),
    ListRow<8>(nullptr),
    ListRow<9>(nullptr),
    ListRow<10>("<a href=\"#statuscodes\">Status Codes</a>\n"),
    ListRow<11>("<a href=\"#browserfamilies\">Browser Families</a>\n"),
    ListRow<12>(nullptr),
    ListRow<13>("<a href=\"#robots\">Robots</a>\n"),
};
constexpr int kPageSectionCount = sizeof kPageSections / sizeof kPageSections[0];

}  // namespace

void ReportSummary(int count, int top, int topIsPercent, int greater, const char* colour,
                   const char* noun, const char* note) {
  if (count == 0) return;
  bool unset = top == -1 && greater == -1;
  bool limited = (top > 0 || greater > 1) && (count > top || topIsPercent) &&
                 (!topIsPercent || top <= 99);
  bool allShown = !limited;
  printf("<tr>\n");
  printf("<td bgcolor=\"%s\" align=\"center\" width=\"10%%\"><b>Summary:</b></td>\n", colour);
  printf("<td colspan=%c bgcolor=\"%s\">", strcmp(noun, "phrases") == 0 ? '1' : '2', colour);
  if (!unset && !allShown) PrintLimitSentence(top, topIsPercent, greater, noun);
  printf("<b>%ld</b> distinct %s were found.", static_cast<long>(count), noun);
  if (allShown && !unset) printf("  All are shown in the report.");
  if (strcmp(noun, "browsers") == 0) PrintBrowserFamilies();
  if (note) printf("%s", note);
  printf("</td>\n");
  printf("</tr>\n");
}

void display_list(const StatsFields* settings, ItemList* list, int top, int topIsPercent,
                  int greater, const char* noun, int total) {
  int length = list_length(list);
  if (length == 0) {
    printf("%s", kNoItemsRow);
    return;
  }
  int64_t limit = static_cast<int64_t>(length) * top / 100;
  ListItem* head = SortList(list);
  if (!head || head->item[0] == 0) {
    printf("%s", kNoItemsRow);
    return;
  }
  printf("<tr><td align=\"center\" width=\"10%%\"><b>Quantity</b></td>");
  printf("<td align=\"center\" width=\"10%%\"><b>%% of Total</b></td>");
  printf("<td><b>Item</b></td></tr>\n");
  int64_t row = 1;
  for (ListItem* node = head; node; node = node->next, ++row) {
    if (node->count < greater) break;
    if (top != 0 && row > (topIsPercent ? limit : top)) break;
    PrintListRow(settings, node, noun, total);
  }
}

void PrintReportSections(const StatsFields* settings, PassResults* results) {
  for (const PageSection& section : kPageSections) {
    if (!section.isOn(settings)) continue;
    if (section.list)
      PrintListSection(settings, results, *section.list);
    else
      section.print(settings, results);
  }
}

const char* SectionJumpLink(const StatsFields* settings, int index) {
  if (index < 0 || index >= kPageSectionCount) return nullptr;
  const PageSection& section = kPageSections[index];
  return section.isOn(settings) && section.jumpLink ? section.jumpLink : "";
}

void PrintMemoryRows(const StatsFields* settings) {
  if (settings->smartMemoryEnabled) {
    PrintSmartMemorySettings(settings);
    PrintMemoryStatistic("Current Bytes Allocated", gSM_CurrentBytesAllocated);
    PrintMemoryStatistic("Total Bytes Allocated", gSM_TotalBytesAllocated);
    PrintMemoryStatistic("Maximum Bytes Allocated", gSM_MaximumBytesAllocated);
    PrintMemoryStatistic("Total Bytes Freed", gSM_TotalBytesFreed);
    if (gSM_TotalBytesAllocated > 0) {
      SuperLong read;
      SuperLog_GetTotalLogBytesRead(&read);
      float ratio = static_cast<float>(gSM_TotalBytesAllocated * 100.0 / SuperLongToDouble(read));
      printf("<tr><td>Memory used to Log bytes read ratio:</td><td>%.2f%%</td></tr>\n", ratio);
    }
  }
  // The visitor table and the browser classifications are exact, so they
  // stay outside the ceiling; their size is shown apart.
  if (AudienceWanted(settings))
    PrintMemoryStatistic("Visitor and browser state (outside the ceiling)",
                         static_cast<int32_t>(AudienceMemoryBytes()));
  printf("</table></center><p>\n");
  if (settings->flushToServer) fflush(nullptr);
}
