// The program's run: run mode, parameters from the form or the command
// line, the configuration file, then one page.

#include <strings.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "access/auth.h"
#include "driver/analyze_logs.h"
#include "cgi/cgi.h"
#include "driver/driver.h"
#include "report/errors.h"
#include "report/frame.h"
#include "report/info_pages.h"
#include "settings/check_params.h"
#include "settings/config_file.h"
#include "settings/keywords.h"
#include "settings/stats_fields.h"

namespace {

// The two records of the run.  They live as long as the process because
// ServerError may end it from anywhere while they are in use.
struct {
  StatsFields mSettings;
  CgiEnv mEnv;
} m;

// The page prints log texts as they stand, so its safety in a browser rests
// on these headers: no scripts, no plugins, no frames around it, and a
// sandbox without scripts that also stops meta-refresh navigation while
// the report's links (which open a new window) still work.  The program
// sends them itself so that any web server serves a protected page.
constexpr const char* kCgiHeader =
    "Content-type: text/html\n"
    "Content-Security-Policy: default-src 'none'; img-src 'self'; style-src 'self'; "
    "form-action 'self'; base-uri 'self'; frame-ancestors 'none'; sandbox allow-forms "
    "allow-same-origin allow-popups allow-popups-to-escape-sandbox\n"
    "X-Content-Type-Options: nosniff\n"
    "Referrer-Policy: no-referrer\n"
    "\n";

// Sets the run mode when text is one of the information words.
void RunModeFromWord(const char* text, StatsFields* settings) {
  static const struct {
    const char* word;
    RunMode mode;
  } kWords[] = {{"about", kRunAbout}, {"credits", kRunCredits}, {"remotedebug", kRunRemoteDebug}};
  for (const auto& w : kWords) {
    if (strcasecmp(text, w.word) == 0) settings->runMode = w.mode;
  }
}

// Command-line mode: both CGI variables empty.  Ends the run with the
// usage text when there are no words at all.
void DecideCommandLine(int argc, char** argv, StatsFields* settings, CgiEnv* env) {
  if (!env->QUERY_STRING.empty() || !env->REQUEST_METHOD.empty()) return;
  env->commandLine = 1;
  if (argc > 2) return;
  env->SCRIPT_NAME.set(argv[0]);
  if (argc == 2) {
    RunModeFromWord(argv[1], settings);
    return;
  }
  CommandLineHelp();
  EndLoglanternCleanup(settings);
  fflush(stdout);
  exit(0);
}

// Form fields when a body was posted, otherwise the command-line words.
void GatherParameters(int argc, char** argv, StatsFields* settings, CgiEnv* env) {
  int32_t bodyLength = BodyLengthFromText(env->CONTENT_LENGTH.c_str());
  if (bodyLength != 0) {
    ApplyPostedForm(stdin, bodyLength, settings, env);
    return;
  }
  for (int i = 1; i < argc; ++i) CompareParam(argv[i], settings, env, "form", kSourceForm);
}

// Shows an information page and ends the run; returns for a report.
void ShowInformationPage(StatsFields* settings, CgiEnv* env) {
  switch (settings->runMode) {
    case kRunRemoteDebug: RemoteDebug(settings, env); break;
    case kRunAbout: AboutPage(settings, env); break;
    case kRunCredits: CreditsPage(settings, env); break;
    default: return;
  }
  EndLoglanternCleanup(settings);
  fflush(stdout);
  exit(0);
}

void RunReport(bool accountMatched, StatsFields* settings, CgiEnv* env) {
  if (!accountMatched) {
    EndLoglanternCleanup(settings);
    ServerError(2, env, settings);
  }
  ValidateSession(settings, env);
  CheckParams(env, settings);
  MakeNice(settings);
  PrintHead(settings, env);
  AnalyzeLogs(settings, env);
  EndLoglanternCleanup(settings);
}

}  // namespace

int LoglanternMain(int argc, char** argv) {
  StatsFields* settings = &m.mSettings;
  CgiEnv* env = &m.mEnv;
  initialize(settings, env);
  settings->cgi = 1;
  GetEnv(env);
  DecideCommandLine(argc, argv, settings, env);
  if (!env->commandLine) fputs(kCgiHeader, stdout);
  RunModeFromWord(env->QUERY_STRING.c_str(), settings);
  if (settings->runMode == kRunReport && strcasecmp(env->REQUEST_METHOD.c_str(), "GET") == 0) {
    ServerError(1, env, settings);
  }
  GatherParameters(argc, argv, settings, env);
  int accountMatched = ParseConfigFile(settings, env);
  ShowInformationPage(settings, env);
  RunReport(accountMatched != 0, settings, env);
  fflush(stdout);
  return 0;
}
