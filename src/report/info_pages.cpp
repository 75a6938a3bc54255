// The about, credits and remote-debugging pages and the command-line usage
// text.  The about and credits pages are HTML under a web server and plain
// text from a shell.

#include "report/info_pages.h"

#include <sys/utsname.h>

#include <cstdio>
#include <iterator>

#include "base/regular_file.h"
#include "cgi/cgi_env.h"
#include "report/product.h"
#include "settings/stats_fields.h"

// No module state.

namespace {

const char* const kDevelopers[] = {
    "The Loglantern project team: request intake and settings",
    "The Loglantern project team: log reading",
    "The Loglantern project team: analysis",
    "The Loglantern project team: report pages and web deployment",
};

const char* const kSpecialThanks[] = {
    "The Debian project, for the system and tools we build on",
    "The GoogleTest project, for the test framework",
    "The publishers of the sample web-server logs in our test data",
};

// Copying the configuration file to the page goes in blocks of this size.
constexpr size_t kCopyBlock = 2047;

void AboutSystemHtml(const struct utsname& u) {
  printf("<b>Operating system:</b> %s<br>\n", u.sysname);
  printf("<b>Release:</b> %s<br>\n", u.release);
  printf("<b>Processor:</b> %s<br>\n", u.machine);
  printf("<b>Version:</b> %s<br>\n", u.version);
  printf("<b>Node:</b> %s<br>\n", u.nodename);
}

void AboutSystemText(const struct utsname& u) {
  printf("    Operating system:\t%s\n", u.sysname);
  printf("    Release:         \t%s\n", u.release);
  printf("    Processor:       \t%s\n", u.machine);
  printf("    Version:         \t%s\n", u.version);
  printf("    Node:            \t%s\n", u.nodename);
}

// The maker's support and product lines and the legal notice.
void MakerLinesHtml() {
  printf("<p><b>Technical support:</b> see the <a href=\"%s\">support section of the manual</a>"
         "<br>\n",
         product::kSupportUrl);
  printf("<b>Product information:</b> <a href=\"%s\">%s</a><p>\n", product::kHomeUrl,
         product::kHomeUrl);
  printf("%s<br>\n%s<p>\n", product::kCopyright, product::kLicence);
}

void MakerLinesText() {
  printf("\n    Technical support:   see the support section of the manual, %s\n",
         product::kSupportUrl);
  printf("    Product information: %s\n\n", product::kHomeUrl);
  printf("    %s\n    %s\n", product::kCopyright, product::kLicence);
}

void AboutPageHtml(const CgiEnv* env) {
  printf("<html>\n<head>\n<title>About %s Version %s</title>\n</head>\n\n\n\n\n<body>\n",
         product::kName, product::kVersion);
  printf("<h2>Loglantern %s build %i</h2>\n", product::kVersion, product::kBuild);
  printf("<b>Platform:</b> %s<br>\n", product::kPlatform);
  struct utsname u;
  if (uname(&u) == 0) AboutSystemHtml(u);
  MakerLinesHtml();
  printf("<a href=\"%s?credits\">View program credits</a>\n\n", env->SCRIPT_NAME.c_str());
  fputs("\n</body>\n\n</html>\n", stdout);
}

void AboutPageText(const CgiEnv* env) {
  printf("\nLoglantern %s build %i\n", product::kVersion, product::kBuild);
  printf("    Platform:        \t%s\n", product::kPlatform);
  struct utsname u;
  if (uname(&u) == 0) AboutSystemText(u);
  MakerLinesText();
  printf("\nTo view program credits type:  %s credits\n", env->SCRIPT_NAME.c_str());
}

void CreditListHtml(const char* heading, const char* const* names, size_t count) {
  printf("<b>%s</b><br>\n<ul>\n", heading);
  for (size_t i = 0; i < count; ++i) printf("%s<br>\n", names[i]);
  fputs("</ul><p>\n", stdout);
}

void CreditListText(const char* heading, const char* const* names, size_t count) {
  printf("  %s\n", heading);
  for (size_t i = 0; i < count; ++i) printf("    - %s\n", names[i]);
}

void CreditsPageHtml(const CgiEnv* env) {
  printf("<html>\n\n<head>\n<title>%s: Credits</title>\n</head>\n\n\n\n\n<body>\n\n",
         product::kName);
  printf("<h2>Loglantern %s Credits</h2>\n", product::kVersion);
  CreditListHtml("Developers", kDevelopers, std::size(kDevelopers));
  CreditListHtml("Special thanks to", kSpecialThanks, std::size(kSpecialThanks));
  printf("<a href=\"%s?about\">Version information</a>\n\n", env->SCRIPT_NAME.c_str());
  fputs("</body>\n</html>\n", stdout);
}

void CreditsPageText(const CgiEnv* env) {
  printf("\n%s %s: Credits\n", product::kName, product::kVersion);
  CreditListText("Developers", kDevelopers, std::size(kDevelopers));
  CreditListText("Special thanks to", kSpecialThanks, std::size(kSpecialThanks));
  printf("\nTo see version information type: %s about\n\n", env->SCRIPT_NAME.c_str());
}

// Copies the file to standard output byte for byte (it may hold anything).
void CopyFileToOutput(FILE* file) {
  char block[kCopyBlock];
  size_t n;
  while ((n = fread(block, 1, sizeof block, file)) > 0) fwrite(block, 1, n, stdout);
}

}  // namespace

void AboutPage(const StatsFields* /*settings*/, const CgiEnv* env) {
  if (env->commandLine) {
    AboutPageText(env);
  } else {
    AboutPageHtml(env);
  }
}

void CreditsPage(const StatsFields* /*settings*/, const CgiEnv* env) {
  if (env->commandLine) {
    CreditsPageText(env);
  } else {
    CreditsPageHtml(env);
  }
}

void RemoteDebug(const StatsFields* settings, const CgiEnv* /*env*/) {
  printf("<html>\n<head>\n<title>%s %s: Remote Debugging</title>\n</head>\n\n\n\n\n<body>\n",
         product::kName, product::kVersion);
  if (!settings->remoteDebugEnabled) {
    fputs("Remote debugging not enabled.<p>\n", stdout);
    return;
  }
  printf("Configuration filename=%s<p>\n", settings->configFile.c_str());
  FILE* file = ll::OpenRegularFile(settings->configFile.c_str(), "rb");
  if (!file) {
    fputs("Error! Could not open the configuration file!<p>\n", stdout);
    return;
  }
  fputs("File opened successfully; data follows immediately:<p>\n\n", stdout);
  CopyFileToOutput(file);
  fclose(file);
  fputs("\nEnd of file.\n</body>\n</html>\n", stdout);
}

void CommandLineHelp() {
  printf("%s %s\n\n", product::kName, product::kVersion);
  fputs(
      "Syntax: loglantern param1=val1[,val2] param2=val1[,val2] ...\n\n"
      "  Required Parameters:\t\t\n\n"
      "   username=\"user\"\t\n"
      "   find=path\t\t\t\t\n"
      "   date=MMDDYYY,MMDDYYYY\n\n"
      "  Reports:\t\t\n\n"
      "   requests=1[,#top[,#greater]] [showquery=1] referrers=1[,#top[,#greater]]\n"
      "   search=1[,#top[,#greater]]                 browsers=1[,#top[,#greater]]\n"
      "   badurls=1[,#top[,#greater]]                badreferrers=1[,#top[,#greater]]\n"
      "   domains=1[,#top[,#greater]]                domaintypes=1[,#top[,#greater]]\n"
      "   hitsperdayofweek=1                         hitsperhour=1\n"
      "   dailytotals=1\t\n\n"
      "  Optional Parameters:\t\t\n\n"
      "   password=\"pwd\"\t\t\n"
      "   filter_domains=domain[,domain[,...]]    filter_filetypes=type[,type[,...]]\n"
      "   find_pattern=1                          find_casesensitive=1 \n"
      "   subdirs=1                               DNSLookupEnabled=1  \n"
      "   AuthRealm=realm                         AuthUser=user\t\t\n"
      "   search_casesensitive=1                  AuthUser=user\t\t\n"
      "\n"
      "Example: \n\n"
      "   loglantern username=sample find=/ subdirs=1 date=01011998,12311998 \n"
      "              requests=1,10 referrers=1,10, search=1,10 > report.htm \n"
      "\n",
      stdout);
}
