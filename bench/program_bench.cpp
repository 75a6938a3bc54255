// Whole-program benchmark: writes a one-million-line combined log of a busy
// week (in time order, with realistic numbers of distinct hosts, URLs,
// referrers, agents and search phrases), then runs the real program over it
// from the command line with every section on, and prints lines per second,
// MB/s and the program's peak memory.
//
//   program_bench [path/to/loglantern] [lines] [word...]
//
// Words after the line count are added to the request, so that the cost of
// sections named by keyword can be set against the classic report:
//   program_bench build/loglantern 1000000 visitors=1 pages=1,50 statuscodes=1
//                 browserfamilies=1,30 robots=1,20
//
// Without a path the program beside this benchmark's folder is used
// (build/loglantern for build/bench/program_bench).  The log is written to a
// temporary folder that is removed at the end.
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

namespace {

constexpr int kDefaultLines = 1000000;
constexpr long kWeekStart = 1709510400;  // Monday 4 March 2024, 00:00 UTC

// Distinct counts of a busy small site over a week.
constexpr int kHosts = 30000;
constexpr int kPages = 4000;
constexpr int kImages = 600;
constexpr int kExternalReferrers = 2500;
constexpr int kPhrases = 2000;

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
  std::vector<std::string> hosts, pages, images, referrers, phrases, agents;

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
  }

  std::string Referrer(const std::string& page) {
    int kind = Pick(100);
    if (kind < 30) return "-";
    if (kind < 45) return kEngines[Pick(5)] + phrases[Skewed(kPhrases)];
    if (kind < 60) return referrers[Skewed(kExternalReferrers)];
    (void)page;
    return "http://www.example.com" + pages[Skewed(kPages)];
  }

  void Line(FILE* out, long when) {
    time_t t = when;
    struct tm tm;
    gmtime_r(&t, &tm);
    char stamp[40];
    strftime(stamp, sizeof stamp, "%d/%b/%Y:%H:%M:%S +0000", &tm);
    int roll = Pick(100);
    const std::string& page = pages[Skewed(kPages)];
    const std::string& url = roll < 40 ? images[Skewed(kImages)] : page;
    int status = roll < 3 ? 404 : (roll < 8 ? 304 : 200);
    int agent = Pick(10) < 8 ? Pick(7) : 7 + Pick(300);
    fprintf(out, "%s - - [%s] \"GET %s HTTP/1.1\" %d %d \"%s\" \"%s\"\n",
            hosts[Skewed(kHosts)].c_str(), stamp, url.c_str(), status,
            status == 200 ? 200 + Pick(40000) : 0, Referrer(page).c_str(),
            agents[agent].c_str());
  }
};

long long WriteLog(const std::string& path, int lines) {
  Generator g;
  g.Build();
  FILE* out = fopen(path.c_str(), "w");
  if (!out) return -1;
  const long week = 7L * 86400;
  for (int i = 0; i < lines; ++i) g.Line(out, kWeekStart + week * i / lines);
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

struct RunTimes {
  double wall = -1;  // seconds; negative when the program failed
  double cpu = 0;    // user + system seconds of the program alone
};

double Seconds(const timeval& t) { return t.tv_sec + t.tv_usec / 1e6; }

// Runs the program in `folder` with its output to /dev/null.  The CPU time
// says what one core can do even when other work shares the machine.
RunTimes RunProgram(const std::string& binary, const std::string& folder,
                    const std::vector<char*>& extraWords) {
  const char* words[] = {"username=bench", "date=03042024,03102024", "requests=1,50",
                         "referrers=1,50", "search=1,20", "browsers=1,30", "badurls=1,50",
                         "badurl_referrers=1", "badreferrers=1,50", "domains=1,50",
                         "domaintypes=1,50", "dailytotals=1", "hitsperdayofweek=1",
                         "hitsperhour=1"};
  auto start = std::chrono::steady_clock::now();
  pid_t pid = fork();
  if (pid == 0) {
    if (chdir(folder.c_str()) != 0) _exit(126);
    if (!freopen("/dev/null", "w", stdout)) _exit(126);
    std::vector<char*> argv{const_cast<char*>(binary.c_str())};
    for (const char* w : words) argv.push_back(const_cast<char*>(w));
    for (char* w : extraWords) argv.push_back(w);
    argv.push_back(nullptr);
    char tz[] = "TZ=UTC";
    char* env[] = {tz, nullptr};
    execve(binary.c_str(), argv.data(), env);
    _exit(127);
  }
  int status = 0;
  struct rusage usage = {};
  wait4(pid, &status, 0, &usage);
  RunTimes times;
  times.cpu = Seconds(usage.ru_utime) + Seconds(usage.ru_stime);
  if (WIFEXITED(status) && WEXITSTATUS(status) == 0)
    times.wall = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  return times;
}

}  // namespace

int main(int argc, char** argv) {
  std::string binary = argc > 1 ? argv[1] : DefaultBinary();
  int lines = argc > 2 ? atoi(argv[2]) : kDefaultLines;
  std::vector<char*> extraWords(argv + (argc > 3 ? 3 : argc), argv + argc);
  if (binary[0] != '/') {
    char cwd[4096];
    if (getcwd(cwd, sizeof cwd)) binary = std::string(cwd) + "/" + binary;
  }
  char folder[] = "/tmp/loglantern-bench-XXXXXX";
  if (!mkdtemp(folder)) return 1;
  std::string dir = folder;
  mkdir((dir + "/logs").c_str(), 0755);
  long long bytes = WriteLog(dir + "/logs/access.log", lines);
  FILE* conf = fopen((dir + "/loglantern.conf").c_str(), "w");
  if (bytes < 0 || !conf) return 1;
  fprintf(conf, "user=bench;url=http://www.example.com;logs=logs/*.log;subdirs=1\n");
  fclose(conf);

  // The first run scans the log's dates and writes the summary file; the
  // second is the steady state that a site sees day after day.
  RunTimes first = RunProgram(binary, dir, extraWords);
  RunTimes second = RunProgram(binary, dir, extraWords);
  struct rusage usage;
  getrusage(RUSAGE_CHILDREN, &usage);
  std::string cleanup = "rm -rf '" + dir + "'";
  if (system(cleanup.c_str()) != 0) fprintf(stderr, "could not remove %s\n", dir.c_str());
  if (first.wall < 0 || second.wall < 0) {
    fprintf(stderr, "the program failed (%s)\n", binary.c_str());
    return 1;
  }
  printf("whole program, %d lines, %.1f MB, every classic section on", lines, bytes / 1e6);
  for (char* w : extraWords) printf(" %s", w);
  printf("\n");
  printf("first run %.3f s (%.3f s CPU), second run %.3f s (%.3f s CPU)\n", first.wall, first.cpu,
         second.wall, second.cpu);
  double cpu = second.cpu > 0 ? second.cpu : second.wall;
  printf("%.0f lines/s, %.1f MB/s (second run, per CPU second)\n", lines / cpu,
         bytes / 1e6 / cpu);
  printf("peak memory %.1f MB\n", usage.ru_maxrss / 1024.0);
  return 0;
}
