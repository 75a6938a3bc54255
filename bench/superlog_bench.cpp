// Throughput of the log reader: generates a combined-format log in time
// order (1,000,000 lines unless a count is given), then times
// SuperLog_NextLogFile and SuperLog_ParseNextLine over it and prints
// lines/s, MB/s and peak memory.
//
//   superlog_bench [lines] [repetitions]
#include <sys/resource.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>

#include "settings/stats_fields.h"
#include "superlog/superlog.h"

namespace {

const char* const kAgents[] = {
    "Mozilla/5.0 (Windows NT 10.0; Win64; x64) AppleWebKit/537.36 (KHTML, like Gecko) Chrome/72.0.3626.121 "
    "Safari/537.36",
    "Mozilla/5.0 (Macintosh; Intel Mac OS X 10_14_3) AppleWebKit/605.1.15 (KHTML, like Gecko) Version/12.0.3 "
    "Safari/605.1.15",
    "Mozilla/5.0 (X11; Ubuntu; Linux x86_64; rv:65.0) Gecko/20100101 Firefox/65.0",
    "Mozilla/4.0 (compatible; MSIE 8.0; Windows NT 6.1; Trident/4.0; SLCC2; .NET CLR 2.0.50727)",
    "Mozilla/5.0 (compatible; Googlebot/2.1; +http://www.google.com/bot.html)",
    "Mozilla/5.0 (iPhone; CPU iPhone OS 12_1_4 like Mac OS X) AppleWebKit/605.1.15 (KHTML, like Gecko) "
    "Version/12.0 Mobile/15E148 Safari/604.1",
    "curl/7.64.0",
    "-",
};

const char* const kPaths[] = {
    "/", "/index.html", "/images/logo.gif", "/css/site.css", "/js/app.min.js",
    "/products/widgets/blue-widget-2000.html", "/blog/2019/03/how-we-moved-our-servers.html",
    "/cgi-bin/search.cgi?q=access+log+analysis&page=2", "/downloads/release-1.4.3.tar.gz",
    "/favicon.ico", "/about/contact.html", "/robots.txt", "/images/photos/harbour-at-dusk-1024.jpg",
};

const char* const kReferrers[] = {
    "-",
    "-",
    "http://www.example.com/",
    "https://www.google.com/search?q=blue+widget+2000&ie=utf-8&oe=utf-8",
    "http://search.yahoo.com/search?p=log+analyzer",
    "https://www.example.org/blog/2019/03/how-we-moved-our-servers.html",
    "http://www.bing.com/search?q=widgets&form=QBLH",
};

const char* const kMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                               "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

// Writes lines of combined log, about 1.5 lines a second, from 1 March 2019.
bool GenerateLog(const std::string& path, long lines, long* bytes) {
  FILE* f = fopen(path.c_str(), "wb");
  if (!f) return false;
  std::mt19937 rng(20190301);
  struct tm tm = {};
  tm.tm_year = 119;
  tm.tm_mon = 2;
  tm.tm_mday = 1;
  time_t t = timegm(&tm);
  char line[1024];
  *bytes = 0;
  for (long i = 0; i < lines; ++i) {
    t += rng() % 2;
    struct tm g;
    gmtime_r(&t, &g);
    const char* agent = kAgents[rng() % (sizeof kAgents / sizeof *kAgents)];
    const char* path = kPaths[rng() % (sizeof kPaths / sizeof *kPaths)];
    const char* ref = kReferrers[rng() % (sizeof kReferrers / sizeof *kReferrers)];
    const unsigned ip = rng();
    const int status = (rng() % 20 == 0) ? 404 : (rng() % 10 == 0 ? 304 : 200);
    const unsigned size = status == 304 ? 0 : rng() % 90000;
    const bool user = rng() % 50 == 0;
    int n = snprintf(line, sizeof line,
                     "%u.%u.%u.%u - %s [%02d/%s/%d:%02d:%02d:%02d +0000] \"GET %s HTTP/1.1\" %d %u \"%s\" \"%s\"\n",
                     ip >> 24, (ip >> 16) & 255, (ip >> 8) & 255, ip & 255, user ? "frank" : "-", g.tm_mday,
                     kMonths[g.tm_mon], g.tm_year + 1900, g.tm_hour, g.tm_min, g.tm_sec, path, status, size, ref,
                     agent);
    fwrite(line, 1, static_cast<size_t>(n), f);
    *bytes += n;
  }
  return fclose(f) == 0;
}

long PeakKilobytes() {
  struct rusage ru;
  getrusage(RUSAGE_SELF, &ru);
  return ru.ru_maxrss;
}

}  // namespace

int main(int argc, char** argv) {
  const long lines = argc > 1 ? atol(argv[1]) : 1000000;
  const int repetitions = argc > 2 ? atoi(argv[2]) : 3;
  char dir[] = "/tmp/superlog-bench-XXXXXX";
  if (!mkdtemp(dir)) return 1;
  const std::string log = std::string(dir) + "/access_log";
  long bytes = 0;
  if (!GenerateLog(log, lines, &bytes)) return 1;
  printf("log: %ld lines, %.1f MB\n", lines, bytes / 1e6);

  for (int r = 0; r < repetitions; ++r) {
    SuperLog_ResetForTesting();
    StatsFields settings;
    settings.logs.set(log.c_str());
    SuperLog_Init(&settings, 0, 0x7fffffff);
    const auto begin = std::chrono::steady_clock::now();
    long hits = 0, checksum = 0;
    LogHit hit;
    while (SuperLog_NextLogFile()) {
      while (SuperLog_ParseNextLine(&hit)) {
        ++hits;
        checksum += hit.status + hit.bytes + hit.tm.tm_hour + (hit.agent ? 1 : 0);
      }
    }
    SuperLog_NextLogFile_Done();
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    SuperLong read;
    SuperLog_GetTotalLogBytesRead(&read);
    printf("run %d: %ld hits in %.3f s: %.0f lines/s, %.1f MB/s (log bytes read %.0f, checksum %ld)\n", r + 1,
           hits, seconds, hits / seconds, bytes / seconds / 1e6, SuperLongToDouble(read), checksum);
    SuperLog_Uninit();
  }
  printf("peak memory: %ld KB\n", PeakKilobytes());
  unlink(log.c_str());
  const std::string summary = std::string(dir) + "/access_log.LGS";
  unlink(summary.c_str());
  rmdir(dir);
  return 0;
}
