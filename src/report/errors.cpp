// Numbered error pages and the error log.
//
// Every page text is defined once, in the table below; "%s" in a
// description or solution stands for the product name with its trailing
// blank, so the texts read "the Loglantern configuration file".

#include "report/errors.h"

#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "base/regular_file.h"
#include "base/time32.h"
#include "cgi/cgi_env.h"
#include "report/frame.h"
#include "report/product.h"
#include "settings/extra_text.h"
#include "settings/stats_fields.h"

// No module state: each error page is written once and ends the process.

namespace {

constexpr const char* kProductWord = "Loglantern ";

// The fixed texts of one error.  Errors 2, 9, 10 and 11 insert values and
// have writers of their own.
struct ErrorText {
  int number;
  const char* logMessage;
  const char* heading;
  const char* description;
  const char* solution;
};

const ErrorText kErrorTexts[] = {
    {1, "No form data posted.", "No form data posted</h2>\n\n",
     "No form data was provided. (Data must be POSTed via a form.)<p>\n\n",
     "You generate reports by filling out the Report Request Form"
     " (often located <a href=\"/Loglantern/\">here</a>).<p>\n\n"},
    {4, "User account is missing the URL parameter",
     "User account is missing the 'URL' parameter</h2>\n\n",
     "The user account is missing the URL parameter.  The value of this parameter"
     " is prefixed to every entry in the Top URLs Requested report (in order to form"
     " clickable URLs).<p>\n\n",
     "Edit the %sconfiguration file to include the URL parameter.<p>\n\n"},
    {5, "User account is missing the Logs parameter",
     "User account is missing the 'Logs' parameter</h2>\n\n",
     "The user account is missing the Logs parameter.  This parameter specifies the"
     " location (full path) of old (i.e., rotated, archived) log files."
     " (For example: <tt>Logs=/usr/apache/logs/*.log</tt>)"
     "  If it specifies a pattern which also matches the current log file, then the"
     " AccessLogs= parameter can be omitted.<p>\n\n",
     "Edit the %sconfiguration file to include the Logs parameter"
     " for the user account.<p>\n\n"},
    {6, "No start date specified", "No start date specified</h2>\n\n",
     "No start date for the report date range was specified.<p>\n\n",
     "Specify a valid start date.  The date range is usually specified in the %sReport"
     " Request Form, but can be specified in the %sconfiguration file instead.<p>\n\n"},
    {7, "Invalid date range or format", "Invalid date range or format</h2>\n\n",
     "An invalid date range for the report was specified.<p>\n\n",
     "Specify a valid date range.  Make sure that the end date does not come before the start "
     "date."
     "  (The date range is usually specified in the %sReport"
     " Request Form, but can be specified in the %sconfiguration file instead.)<p>\n\n"},
    {8, "No end date specified", "No end date specified</h2>\n\n",
     "No end date for the report date range was specified.<p>\n\n",
     "Specify a valid end date.  The date range is usually specified in the %sReport"
     " Request Form, but can be specified in the %sconfiguration file instead.<p>\n\n"},
};

const char* const kDescriptionLabel = "<b>Description: </b>";
const char* const kSolutionLabel = "<b>Solution: </b>";

// Writes a text whose "%s" places stand for the product word.
void PrintWithProductWord(const char* text) { printf(text, kProductWord, kProductWord); }

void WriteFixedError(const ErrorText& e, const StatsFields* settings) {
  LogError(settings, e.logMessage);
  fputs(e.heading, stdout);
  fputs(kDescriptionLabel, stdout);
  PrintWithProductWord(e.description);
  fputs(kSolutionLabel, stdout);
  PrintWithProductWord(e.solution);
}

void WriteError2(const CgiEnv* env, const StatsFields* settings) {
  char message[512];
  snprintf(message, sizeof message, "Unauthorized access from '%s' with username='%s'",
           env->REMOTE_HOST.c_str(), settings->username.c_str());
  LogError(settings, message);
  fputs("Invalid user account name and/or password</h2>\n\n", stdout);
  printf("%s%s%s", kDescriptionLabel,
         "You entered an invalid user account name and/or an invalid user account password",
         " in the Report Request Form.<p>\n\n");
  printf("%s%s%s", kSolutionLabel,
         "Press your browser's <b>Back</b> button and verify that you have entered the",
         " correct user account name and password.<p>\n\n");
}

void WriteError9(const StatsFields* settings) {
  char message[512];
  snprintf(message, sizeof message, "Could not open configuration file %s",
           settings->configFile.c_str());
  LogError(settings, message);
  fputs("Could not open configuration file</h2>\n\n", stdout);
  printf("%sThe configuration file (%s) could not be opened.  This file is required for"
         " proper operation of Loglantern.<p>\n\n",
         kDescriptionLabel, settings->configFile.c_str());
  printf("%sMake sure that the configuration file is in the same directory"
         " as the Loglantern program file. Also make sure that Loglantern has read access to"
         " the file.<p>\n\n",
         kSolutionLabel);
}

void WriteError10(const StatsFields* settings) {
  char message[512];
  snprintf(message, sizeof message, "Could not open passwords file %s",
           settings->userPasswords.c_str());
  LogError(settings, message);
  fputs("Could not open passwords file</h2>\n\n", stdout);
  printf("%sThe passwords file (%s) could not be opened.  This file is required for"
         " validation of user \"%s\".<p>\n\n",
         kDescriptionLabel, settings->userPasswords.c_str(), settings->username.c_str());
  printf("%sMake sure that the user account is defined properly, that the passwords file"
         " is correctly specified (if it is used at all), and that Loglantern has read"
         " access to the passwords file.  Check the <b>UserPasswords=</b>"
         " parameter in the Loglantern configuration file (%s).  The presence of an"
         " <b>UserPasswords=</b> parameter and lack of a password specified in the user"
         " account definition indicate that the password will be looked up in the specified"
         " passwords file (or system database if <b>UserPasswords=system</b>).<p>\n\n",
         kSolutionLabel, settings->configFile.c_str());
}

void WriteError11(const StatsFields* settings) {
  LogError(settings, "No log files found");
  fputs("No log files found</h2>\n\n", stdout);
  printf("%sThe \"logs\" parameter (%s)\n", kDescriptionLabel, settings->logs.c_str());
  if (!settings->accessLog.empty()) {
    printf("and the \"accesslog\" parameter (%s)\n", settings->accessLog.c_str());
    fputs("did not match any existing files. This can occur if these parameters are\n", stdout);
  } else {
    fputs("did not match any existing files. This can occur if this parameter is\n", stdout);
  }
  fputs("incorrectly specified or if the log files have been moved or deleted.<p>\n\n", stdout);
  fputs("<b>Solution:</b>", stdout);
  fputs("The Loglantern administrator at this site should make sure that the\n", stdout);
  printf("\"logs\" parameter for the user account \"<kbd><b>%s</b></kbd>\" in the Loglantern\n",
         settings->username.c_str());
  fputs("configuration file specifies at least one existing log file.<p>\n\n", stdout);
  printf("More information on the \"logs\" parameter can be found in Chapter 4 of the"
         "<a href=\"%s\">\nLoglantern online documentation</a>.<p>\n\n",
         product::kLogsDocUrl);
}

const ErrorText* FindFixedError(int number) {
  for (const ErrorText& e : kErrorTexts) {
    if (e.number == number) return &e;
  }
  return nullptr;
}

// Writes the heading, description and solution of a known error (logging
// it first); an unknown number writes nothing here.
void WriteErrorText(int number, const CgiEnv* env, const StatsFields* settings) {
  if (const ErrorText* e = FindFixedError(number)) return WriteFixedError(*e, settings);
  switch (number) {
    case 2: return WriteError2(env, settings);
    case 9: return WriteError9(settings);
    case 10: return WriteError10(settings);
    case 11: return WriteError11(settings);
    default: return;
  }
}

void WriteContactLine(const CgiEnv* env) {
  fputs("For more help, you may want to contact the web server administrator", stdout);
  if (!env->SERVER_ADMIN.empty()) {
    printf(" (<a href=\"mailto:%s\">%s</a>)", env->SERVER_ADMIN.c_str(),
           env->SERVER_ADMIN.c_str());
  }
  fputs(" and inform them of the time the error occured and the steps you took before the error"
        " occurred.",
        stdout);
  fputs("  You can also find more details at", stdout);
  printf(" <a href=\"%s\" target=\"_blank\">%s</a>.<p>\n<hr><p>\n\n", product::kErrorHelpUrl,
         product::kErrorHelpUrl);
}

}  // namespace

void LogError(const StatsFields* settings, const char* message) {
  if (!settings || settings->errorLog.empty()) return;
  char stamp[100] = "";
  struct tm now;
  if (ll::Localtime32(ll::Time32Now(), &now)) strftime(stamp, sizeof stamp, "%d/%b/%Y:%H:%M:%S", &now);
  FILE* log = ll::OpenRegularFile(settings->errorLog.c_str(), "a");
  if (!log) return;
  fprintf(log, "[%s] ", stamp);
  // Values in messages come from the request (user name, client host); a
  // control byte among them could forge or break lines of the log.
  for (const char* p = message ? message : ""; *p; ++p) {
    const unsigned char c = static_cast<unsigned char>(*p);
    putc(c < 0x20 || c == 0x7F ? '?' : c, log);
  }
  putc('\n', log);
  fclose(log);
}

void ServerError(int number, const CgiEnv* env, StatsFields* settings) {
  static const CgiEnv kNoEnv{};
  static StatsFields noSettings{};
  if (!env) env = &kNoEnv;
  if (!settings) settings = &noSettings;
  printf("<html>\n<head>\n<title>Loglantern: Error #%d</title>\n</head>\n\n\n\n\n", number);
  fputs("<body bgcolor=\"#FFFFFF\">\n", stdout);
  printf("<img src=\"%s%d.gif\" width=283 height=84 alt=\"Loglantern logo\"><p>\n",
         product::kErrorImageBase, number);
  printf("\n<h2>Loglantern Error #%d: ", number);
  WriteErrorText(number, env, settings);
  WriteContactLine(env);
  fputs("<font size=\"-1\">", stdout);
  PrintCreditLines();
  fputs("\n</body>\n</html>\n", stdout);
  EndLoglanternCleanup(settings);
  fflush(stdout);
  exit(0);
}
