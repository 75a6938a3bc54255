// The report settings record: every setting of one run.
//
// The driver owns exactly one, sets it to its defaults with initialize(),
// and passes it by pointer.  Widths include the terminator.
#pragma once

#include <cstdint>

#include "base/fixed_text.h"

struct CgiEnv;

// The four integers of one list section of the report.
struct SectionSetting {
  int32_t show = 0;          // non-zero: the section is part of the report
  int32_t top = 0;           // most rows listed; 0 = no limit
  int32_t greater = 0;       // least count a listed row must have
  int32_t topIsPercent = 0;  // 1: top is a percentage of the entries
};

struct StatsFields {
  ll::FixedText<260> configFile;
  ll::FixedText<260> imagePath;
  ll::FixedText<244> find;
  uint8_t findCaseSensitive = 0;
  uint8_t findPattern = 0;
  ll::FixedText<244> accountFind;
  ll::FixedText<244> formFind;
  ll::FixedText<244> title;
  ll::FixedText<244> url;
  ll::FixedText<244> filterDomains;
  ll::FixedText<244> filterFileTypes;
  ll::FixedText<20> dateStart;
  ll::FixedText<20> dateEnd;
  ll::FixedText<3> startMonth;
  ll::FixedText<3> startDay;
  int32_t startYear = 1900;
  ll::FixedText<3> endMonth;
  ll::FixedText<3> endDay;
  int32_t endYear = 1900;
  ll::FixedText<260> logs;
  ll::FixedText<260> accessLog;
  ll::FixedText<260> summary;
  int32_t dailyTotals = 0;
  int32_t hitsPerDayOfWeek = 0;
  int32_t hitsPerHour = 0;
  SectionSetting badUrls;
  SectionSetting browsers;
  SectionSetting requests;
  SectionSetting domainTypes;
  SectionSetting domains;
  SectionSetting search;
  int32_t searchCaseSensitive = 0;
  SectionSetting referrers;
  SectionSetting badReferrers;
  SectionSetting visitors;
  SectionSetting pages;
  SectionSetting statusCodes;
  SectionSetting browserFamilies;
  SectionSetting robots;
  int32_t badUrlReferrers = 0;
  int32_t filterReferrers = 0;
  int32_t subdirs = 0;
  int32_t cgi = 0;
  ll::FixedText<260> networksFile;
  ll::FixedText<100> username;
  ll::FixedText<100> password;
  ll::FixedText<260> errorLog;
  ll::FixedText<100> accountPassword;
  int32_t remoteDebugEnabled = 0;
  int32_t debug = 0;
  int32_t debugSources = 0;  // bit (1 << rank) for each source that set debug
  int32_t priority = 0;
  char* extraFooter = nullptr;  // owned heap text (malloc), or none
  char* extraHeader = nullptr;  // owned heap text (malloc), or none
  int32_t runMode = 0;          // 0 report, 1 about, 2 credits, 3 remote debug
  ll::FixedText<244> internalIp;
  ll::FixedText<260> userPasswords;
  ll::FixedText<244> authRealm;
  ll::FixedText<244> authUser;
  int32_t showQuery = 0;
  ll::FixedText<244> base;
  int32_t dnsLookupEnabled = 0;
  int32_t smartMemoryEnabled = 1;
  int32_t smartMemoryDisabled = 0;
  int32_t smartMemoryKeepEntries = 100;
  int32_t smartMemoryReclaimSize = 1000;
  int32_t smartMemoryMaxMemory = 0;
  int32_t flushToServer = 0;
};

// Run modes of StatsFields::runMode.
enum RunMode : int32_t { kRunReport = 0, kRunAbout = 1, kRunCredits = 2, kRunRemoteDebug = 3 };

// ParamSource: the rank of a setting value's origin.
enum ParamSource : int32_t {
  kSourceUnset = 0,
  kSourceDefault = 1,
  kSourceForm = 2,
  kSourceGlobal = 3,
  kSourceAccount = 4,
};

// Sets every field of both records to its start value (texts empty unless
// stated, configFile "loglantern.conf").  Frees nothing: call it on fresh
// records only.
void initialize(StatsFields* settings, CgiEnv* env);
