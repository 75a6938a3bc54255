// Whole-program benchmark.  Writes a generated combined-format log, runs the
// real program over it from the command line, and prints what one core does
// with it: lines per second of CPU time (user + system, so that other work on
// a shared machine counts little) and the program's peak memory.
//
//   program_bench [options] [path/to/loglantern] [lines] [word...]
//
// Words after the line count join Loglantern's request, so that the cost of
// the sections named by keyword shows against the classic report:
//   program_bench --no-analog build/loglantern 1000000 visitors=1 pages=1,50
//                 statuscodes=1 browserfamilies=1,30 robots=1,20
//
//   --runs=N        counted runs of each program (default 3); the median is
//                   printed
//   --no-analog     leave out the comparison with Analog
//   --distinct      the memory-ceiling log instead (see below)
//   --ceilings=K,.. the ceilings (SmartMemoryMaxMemoryToAllocate, in K) that
//                   --distinct tries, besides none
//
// The default log is a month (March 2024) of a busy small site, in time
// order: 1,000,000 lines, about 190 MB, from 40,000 hosts (a third of them
// bare addresses), 9,500 page and image URLs plus 1,500 missing ones,
// 5,000 outside referring pages, 3,000 search phrases spread over five
// engines, and 307 browsers; popular items come up far more often than the
// long tail, 3% of the requests fail and 30% have no referrer.  The hits
// come in visits of 1 to 23 hits (12 on average), 64 visits going on at a
// time, so that a visit's hits are minutes apart; a visit's host is drawn
// as popular hosts come up more often.  A host keeps its browser for the
// month (eight in ten hosts use one of seven common browsers, the rest one
// of 300 crawlers); one host in ten has a second browser for a third of its
// visits.  Loglantern
// runs with every classic section on.  Analog (the Debian package `analog`,
// found on the PATH) reads the same log as a user would run it for the same
// job: `analog -G +g<file>` with LOGFORMAT COMBINED, DNS NONE, the search
// engines that Loglantern knows, and its general, request, referrer,
// search-query, browser, failure, failed-referrer, domain, daily, day-of-week
// and hour-of-day reports on (every other report and every chart off).  One
// uncounted run of Loglantern writes its summary file first; then the two
// programs run in turn, A B A B A B, so that a drift of the machine's speed
// hits both.
//
// The --distinct log gives every line its own URL and its own referrer (a
// million of each, about 115 MB): without a ceiling the item tables hold all
// of them; with one, smart memory keeps reclaiming the rarest entries.  Each
// ceiling's CPU time is printed beside the time without a ceiling.
//
// The log is written to a temporary folder that is removed at the end, unless
// BENCH_KEEP is set in the environment: then the folder is kept (to profile
// a run over the same log) and its name printed.
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <random>
#include <string>
#include <vector>

namespace {

constexpr int kDefaultLines = 1000000;
constexpr long kMonthStart = 1709251200;  // Friday 1 March 2024, 00:00 UTC
constexpr long kMonthSeconds = 31L * 86400;

// Distinct counts of a busy small site over a month.
constexpr int kHosts = 40000;
constexpr int kPages = 8000;
constexpr int kImages = 1500;
constexpr int kMissing = 1500;
constexpr int kExternalReferrers = 5000;
constexpr int kPhrases = 3000;

const char* const kAgents[] = {
    "Mozilla/5.0 (Windows NT 10.0; Win64; x64) AppleWebKit/537.36 (KHTML, like Gecko) "
    "Chrome/122.0.0.0 Safari/537.36",
    "Mozilla/5.0 (Macintosh; Intel Mac OS X 14_3) AppleWebKit/605.1.15 (KHTML, like Gecko) "
    "Version/17.3 Safari/605.1.15",
    "Mozilla/5.0 (X11; Linux x86_64; rv:123.0) Gecko/20100101 Firefox/123.0",
    "Mozilla/5.0 (iPhone; CPU iPhone OS 17_3 like Mac OS X) AppleWebKit/605.1.15 (KHTML, like "
    "Gecko) Version/17.3 Mobile/15E148 Safari/604.1",
    "Mozilla/4.0 (compatible; MSIE 6.0; Windows NT 5.1)",
    "Mozilla/4.76 [en] (Windows NT 5.0; U)",
    "Googlebot/2.1 (+http://www.google.com/bot.html)",
};
const char* const kTlds[] = {"com", "net", "org", "edu", "de", "uk", "fr", "jp", "nl", "se"};
const char* const kEngines[] = {
    "http://www.google.com/search?hl=en&q=", "http://search.yahoo.com/bin/search?p=",
    "http://www.altavista.com/cgi-bin/query?q=", "http://www.lycos.com/cgi-bin/pursuit?query=",
    "http://search.msn.com/results.asp?MT="};

struct Generator {
  std::mt19937 rng{12345};
  std::vector<std::string> hosts, pages, images, missing, referrers, phrases, agents;
  std::vector<int> hostAgent, hostSecondAgent;  // by host; -1: none
  struct Visit {
    int host = 0, agent = 0, hitsLeft = 0;
  };
  Visit visits[64];  // the visits going on

  int Pick(int n) { return static_cast<int>(rng() % static_cast<unsigned>(n)); }
  // Popular items come up far more often than the long tail.
  int Skewed(int n) {
    double u = (rng() + 0.5) / 4294967296.0;
    return static_cast<int>(n * u * u * u) % n;
  }

  void Build() {
    char buf[128];
    for (int i = 0; i < kHosts; ++i) {
      if (i % 3 == 0)
        snprintf(buf, sizeof buf, "%d.%d.%d.%d", 20 + Pick(200), Pick(256), Pick(256), 1 + Pick(254));
      else
        snprintf(buf, sizeof buf, "host%d.isp%d.example.%s", i, Pick(500),
                 kTlds[Pick(sizeof kTlds / sizeof *kTlds)]);
      hosts.push_back(buf);
    }
    for (int i = 0; i < kPages; ++i) {
      snprintf(buf, sizeof buf, "/section%d/page%d.html", i % 40, i);
      pages.push_back(buf);
    }
    for (int i = 0; i < kImages; ++i) {
      snprintf(buf, sizeof buf, "/img/picture%d.%s", i, i % 3 ? "jpg" : "gif");
      images.push_back(buf);
    }
    for (int i = 0; i < kMissing; ++i) {
      snprintf(buf, sizeof buf, "/old/section%d/gone%d.html", i % 20, i);
      missing.push_back(buf);
    }
    for (int i = 0; i < kExternalReferrers; ++i) {
      snprintf(buf, sizeof buf, "http://www.site%d.example.%s/links/%d.html", i % 900,
               kTlds[i % 10], i);
      referrers.push_back(buf);
    }
    for (int i = 0; i < kPhrases; ++i) {
      snprintf(buf, sizeof buf, "lantern+part+%d", i);
      phrases.push_back(buf);
    }
    for (const char* a : kAgents) agents.push_back(a);
    for (int i = 0; i < 300; ++i) {
      snprintf(buf, sizeof buf, "Mozilla/5.0 (compatible; Crawler%d/1.%d)", i, i % 7);
      agents.push_back(buf);
    }
    for (int i = 0; i < kHosts; ++i) {
      hostAgent.push_back(AnyAgent());
      hostSecondAgent.push_back(Pick(10) == 0 ? AnyAgent() : -1);
    }
  }

  // A browser as hosts pick theirs: a common one, or now and then a crawler.
  int AnyAgent() { return Pick(10) < 8 ? Pick(7) : 7 + Pick(300); }

  std::string Referrer() {
    int kind = Pick(100);
    if (kind < 30) return "-";
    if (kind < 45) return kEngines[Pick(5)] + phrases[Skewed(kPhrases)];
    if (kind < 60) return referrers[Skewed(kExternalReferrers)];
    return "http://www.example.com" + pages[Skewed(kPages)];
  }

  void Line(FILE* out, long when) {
    int roll = Pick(100);
    const std::string& page = pages[Skewed(kPages)];
    const std::string& url =
        roll < 3 ? missing[Skewed(kMissing)] : (roll < 40 ? images[Skewed(kImages)] : page);
    int status = roll < 3 ? 404 : (roll < 8 ? 304 : 200);
    Visit& visit = visits[Pick(64)];
    if (visit.hitsLeft == 0) {
      visit.host = Skewed(kHosts);
      int second = hostSecondAgent[visit.host];
      visit.agent = second >= 0 && Pick(3) == 0 ? second : hostAgent[visit.host];
      visit.hitsLeft = 1 + Pick(23);
    }
    --visit.hitsLeft;
    Print(out, hosts[visit.host], when, url, status, status == 200 ? 200 + Pick(40000) : 0,
          Referrer(), agents[visit.agent]);
  }

  // A line of the --distinct log: the i-th URL and referrer are new.
  void DistinctLine(FILE* out, long when, int i) {
    char url[64], referrer[96];
    snprintf(url, sizeof url, "/archive/%d/item%d.html", i % 100, i);
    snprintf(referrer, sizeof referrer, "http://www.site%d.example.%s/out/%d.html", i % 5000,
             kTlds[i % 10], i);
    Print(out, hosts[Skewed(kHosts)], when, url, 200, 200 + Pick(40000), referrer,
          agents[Pick(7)]);
  }

  static void Print(FILE* out, const std::string& host, long when, const std::string& url,
                    int status, int bytes, const std::string& referrer, const std::string& agent) {
    time_t t = when;
    struct tm tm;
    gmtime_r(&t, &tm);
    char stamp[40];
    strftime(stamp, sizeof stamp, "%d/%b/%Y:%H:%M:%S +0000", &tm);
    fprintf(out, "%s - - [%s] \"GET %s HTTP/1.1\" %d %d \"%s\" \"%s\"\n", host.c_str(), stamp,
            url.c_str(), status, bytes, referrer.c_str(), agent.c_str());
  }
};

long long WriteLog(const std::string& path, int lines, bool distinct) {
  Generator g;
  g.Build();
  FILE* out = fopen(path.c_str(), "w");
  if (!out) return -1;
  for (int i = 0; i < lines; ++i) {
    long when = kMonthStart + kMonthSeconds * i / lines;
    if (distinct)
      g.DistinctLine(out, when, i);
    else
      g.Line(out, when);
  }
  fclose(out);
  struct stat st;
  return stat(path.c_str(), &st) == 0 ? static_cast<long long>(st.st_size) : -1;
}

std::string DefaultBinary() {
  char self[4096];
  ssize_t n = readlink("/proc/self/exe", self, sizeof self - 1);
  if (n <= 0) return "loglantern";
  self[n] = 0;
  std::string dir(self);
  dir = dir.substr(0, dir.rfind('/'));
  return dir.substr(0, dir.rfind('/')) + "/loglantern";
}

std::string FindOnPath(const char* name) {
  const char* path = getenv("PATH");
  std::string dirs = path ? path : "/usr/bin:/bin";
  size_t start = 0;
  while (start <= dirs.size()) {
    size_t end = dirs.find(':', start);
    if (end == std::string::npos) end = dirs.size();
    std::string candidate = dirs.substr(start, end - start) + "/" + name;
    if (access(candidate.c_str(), X_OK) == 0) return candidate;
    start = end + 1;
  }
  return "";
}

struct Run {
  double cpu = -1;  // user + system seconds; negative when the program failed
  long peakKb = 0;
};

double Seconds(const timeval& t) { return t.tv_sec + t.tv_usec / 1e6; }

// Runs a program in `folder` with its output to /dev/null and returns its
// own CPU time and peak memory.
Run RunProgram(const std::vector<std::string>& words, const std::string& folder) {
  fflush(stdout);  // else the child would write what is still buffered
  pid_t pid = fork();
  if (pid == 0) {
    if (chdir(folder.c_str()) != 0) _exit(126);
    if (!freopen("/dev/null", "w", stdout) || !freopen("/dev/null", "w", stderr)) _exit(126);
    std::vector<char*> argv;
    for (const std::string& w : words) argv.push_back(const_cast<char*>(w.c_str()));
    argv.push_back(nullptr);
    char tz[] = "TZ=UTC";
    char* env[] = {tz, nullptr};
    execve(argv[0], argv.data(), env);
    _exit(127);
  }
  int status = 0;
  struct rusage usage = {};
  wait4(pid, &status, 0, &usage);
  Run run;
  if (WIFEXITED(status) && WEXITSTATUS(status) == 0)
    run.cpu = Seconds(usage.ru_utime) + Seconds(usage.ru_stime);
  run.peakKb = usage.ru_maxrss;
  return run;
}

std::vector<std::string> LoglanternWords(const std::string& binary,
                                         const std::vector<std::string>& extra) {
  std::vector<std::string> words{binary,           "username=bench",   "date=03012024,03312024", "requests=1,50",
          "referrers=1,50", "search=1,20",      "browsers=1,30",          "badurls=1,50",
          "badurl_referrers=1", "badreferrers=1,50", "domains=1,50",      "domaintypes=1,50",
          "dailytotals=1",  "hitsperdayofweek=1", "hitsperhour=1"};
  words.insert(words.end(), extra.begin(), extra.end());
  return words;
}

// Analog's engines, written from the host fragments and query words that
// Loglantern's own engine table uses.
const char* const kAnalogEngines[] = {
    "*altavista.com* q",   "*ask.com* ask",          "*askjeeves.com* ask",
    "*directhit.com* qry", "*dogpile.com* q",        "*mckinley.com* search,query",
    "*excite.com* search", "*google.com* q",         "*goto.com* Keywords",
    "*hotbot.com* MT",     "*infind.com* query",     "*infoseek.com* qt",
    "*.go.com* qt",        "*looksmart.com* key",    "*lycos.com* query",
    "*metacrawler.com* general", "*.go2net.com* general", "*microsoft.com* SearchString",
    "*dmoz.org* search",   "*directory.mozilla.org* search", "*msn.com* MT",
    "*netfind.aol.com* search", "*netguide.com* query,Search.Query,AVSearchApp.Query",
    "*netscape.com* search", "*northernlight.com* qr", "*planetsearch.com* text",
    "*realnames.com* realname", "*savvysearch.com* q,KW", "*guaraldi.cs.colostate.edu* KW",
    "*search.com* QUERY",  "*.cnet.com* QUERY",      "*snap.com* keyword,KW",
    "*switchboard.com* SEARCHSTRING", "*thunderstone.com* q,arg",
    "*webcrawler.com* searchText,text", "*yahoo.com* p"};

bool WriteAnalogConfig(const std::string& path, const std::string& log) {
  FILE* f = fopen(path.c_str(), "w");
  if (!f) return false;
  fprintf(f, "LOGFORMAT COMBINED\nLOGFILE %s\nOUTFILE /dev/null\nDNS NONE\n", log.c_str());
  fprintf(f, "ALL OFF\nALLCHART OFF\n");
  const char* reports[] = {"GENERAL",  "REQUEST",  "REFERRER", "SEARCHQUERY", "BROWSERREP",
                           "FAILURE",  "FAILREF",  "DOMAIN",   "DAILYREP",    "DAILYSUM",
                           "HOURLYSUM"};
  for (const char* r : reports) fprintf(f, "%s ON\n", r);
  for (const char* e : kAnalogEngines) fprintf(f, "SEARCHENGINE http://%s\n", e);
  fclose(f);
  return true;
}

double Median(std::vector<double> v) {
  std::sort(v.begin(), v.end());
  return v.empty() ? 0 : v[v.size() / 2];
}

struct Options {
  std::string binary;
  int lines = kDefaultLines;
  int runs = 3;
  bool analog = true;
  bool distinct = false;
  std::vector<int> ceilings{10000, 20000, 50000, 100000, 200000};
  std::vector<std::string> extraWords;  // added to Loglantern's request
};

int Compare(const Options& o, const std::string& dir, long long bytes) {
  std::vector<std::string> ll = LoglanternWords(o.binary, o.extraWords);
  std::string analog = o.analog ? FindOnPath("analog") : "";
  std::vector<std::string> an{analog, "-G", "+g" + dir + "/analog.cfg"};
  if (!analog.empty() && !WriteAnalogConfig(dir + "/analog.cfg", dir + "/logs/access.log"))
    return 1;
  // The first run scans the log's dates and writes the summary file; the
  // counted runs are the steady state that a site sees day after day.
  if (RunProgram(ll, dir).cpu < 0) {
    fprintf(stderr, "the program failed (%s)\n", o.binary.c_str());
    return 1;
  }
  std::vector<double> llCpu, anCpu;
  long peakKb = 0;
  for (int i = 0; i < o.runs; ++i) {
    Run a = RunProgram(ll, dir);
    if (a.cpu < 0) return 1;
    llCpu.push_back(a.cpu);
    peakKb = std::max(peakKb, a.peakKb);
    if (analog.empty()) continue;
    Run b = RunProgram(an, dir);
    if (b.cpu < 0) {
      fprintf(stderr, "analog failed\n");
      return 1;
    }
    anCpu.push_back(b.cpu);
  }
  printf("%d lines, %.1f MB, a month of a busy small site; median of %d runs, CPU seconds\n",
         o.lines, bytes / 1e6, o.runs);
  double llRate = o.lines / Median(llCpu);
  printf("loglantern  %.3f s  %.0f lines/s  %.1f MB/s  peak memory %.1f MB\n", Median(llCpu),
         llRate, bytes / 1e6 / Median(llCpu), peakKb / 1024.0);
  if (analog.empty()) {
    if (o.analog) printf("analog      not found on the PATH\n");
    return 0;
  }
  double anRate = o.lines / Median(anCpu);
  printf("analog      %.3f s  %.0f lines/s\n", Median(anCpu), anRate);
  printf("ratio       %.2f (loglantern lines/s over analog lines/s)\n", llRate / anRate);
  return 0;
}

int Ceilings(const Options& o, const std::string& dir, long long bytes) {
  printf("%d lines, %.1f MB, every URL and referrer distinct; median of %d runs, CPU seconds\n",
         o.lines, bytes / 1e6, o.runs);
  std::vector<int> ceilings{0};
  ceilings.insert(ceilings.end(), o.ceilings.begin(), o.ceilings.end());
  double none = 0;
  for (int ceiling : ceilings) {
    FILE* conf = fopen((dir + "/loglantern.conf").c_str(), "w");
    if (!conf) return 1;
    if (ceiling) fprintf(conf, "SmartMemoryMaxMemoryToAllocate=%d\n", ceiling);
    fprintf(conf, "user=bench;url=http://www.example.com;logs=logs/*.log;subdirs=1\n");
    fclose(conf);
    std::vector<std::string> ll = LoglanternWords(o.binary, o.extraWords);
    if (RunProgram(ll, dir).cpu < 0) return 1;  // summary file for this configuration
    std::vector<double> cpu;
    long peakKb = 0;
    for (int i = 0; i < o.runs; ++i) {
      Run r = RunProgram(ll, dir);
      if (r.cpu < 0) return 1;
      cpu.push_back(r.cpu);
      peakKb = std::max(peakKb, r.peakKb);
    }
    double t = Median(cpu);
    if (!ceiling) none = t;
    char label[32];
    if (ceiling)
      snprintf(label, sizeof label, "%d K", ceiling);
    else
      snprintf(label, sizeof label, "no ceiling");
    printf("%-11s %.3f s  %.2f x no ceiling  peak memory %.1f MB\n", label, t, t / none,
           peakKb / 1024.0);
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  Options o;
  std::vector<std::string> positional;
  for (int i = 1; i < argc; ++i) {
    std::string a = argv[i];
    if (a.rfind("--runs=", 0) == 0) {
      o.runs = std::max(1, atoi(a.c_str() + 7));
    } else if (a == "--no-analog") {
      o.analog = false;
    } else if (a == "--distinct") {
      o.distinct = true;
    } else if (a.rfind("--ceilings=", 0) == 0) {
      o.ceilings.clear();
      for (const char* p = a.c_str() + 11; *p;) {
        o.ceilings.push_back(atoi(p));
        p = strchr(p, ',');
        if (!p) break;
        ++p;
      }
    } else {
      positional.push_back(a);
    }
  }
  o.binary = positional.size() > 0 ? positional[0] : DefaultBinary();
  if (positional.size() > 1) o.lines = std::max(1, atoi(positional[1].c_str()));
  if (positional.size() > 2) o.extraWords.assign(positional.begin() + 2, positional.end());
  if (o.binary[0] != '/') {
    char cwd[4096];
    if (getcwd(cwd, sizeof cwd)) o.binary = std::string(cwd) + "/" + o.binary;
  }
  char folder[] = "/tmp/loglantern-bench-XXXXXX";
  if (!mkdtemp(folder)) return 1;
  std::string dir = folder;
  mkdir((dir + "/logs").c_str(), 0755);
  long long bytes = WriteLog(dir + "/logs/access.log", o.lines, o.distinct);
  FILE* conf = fopen((dir + "/loglantern.conf").c_str(), "w");
  if (bytes < 0 || !conf) return 1;
  fprintf(conf, "user=bench;url=http://www.example.com;logs=logs/*.log;subdirs=1\n");
  fclose(conf);
  int status = o.distinct ? Ceilings(o, dir, bytes) : Compare(o, dir, bytes);
  if (getenv("BENCH_KEEP")) {
    printf("kept %s\n", dir.c_str());
    return status;
  }
  std::string cleanup = "rm -rf '" + dir + "'";
  if (system(cleanup.c_str()) != 0) fprintf(stderr, "could not remove %s\n", dir.c_str());
  return status;
}
