// Lines into hit records: one fixture per log format, the post-processing
// of fields, line ends and cuts, and the count of log bytes read.
#include <random>

#include "superlog_test_util.h"

namespace {

using sltest::Local;
using sltest::ParseText;
using sltest::ReaderTest;
using sltest::ScopedZone;
using Hits = std::vector<std::string>;

struct FormatCase {
  const char* name;
  const char* dateFormat;  // or null
  const char* logFormat;   // or null
  std::string text;
  Hits hits;
};

TEST_F(ReaderTest, EveryLogFormat) {
  const FormatCase cases[] = {
      {"combined", nullptr, nullptr,
       "1.2.3.4 - frank [10/Oct/1999:13:55:36 -0700] \"GET /index.html HTTP/1.0\" 200 2326 "
       "\"http://www.example.com/start.html\" \"Mozilla/4.08 [en] (Win98; I ;Nav)\"\n",
       {"1.2.3.4 /index.html 200 2326 ref=http://www.example.com/start.html agent=Mozilla/4.08 [en] (Win98; I ;Nav) "
        "user=frank @1999-10-10 13:55:36"}},
      {"common", nullptr, nullptr,
       "host.example.com - - [01/Aug/1995:00:00:01 -0400] \"GET /launch.gif HTTP/1.0\" 200 1713\n"
       "1.2.3.4 - - [01/Aug/1995:00:00:07 -0400] \"GET /countdown/ HTTP/1.0\" 304 -\n"
       "1.2.3.4 - - [01/Aug/1995:00:00:08 -0400] \"-\" 408 -\n"
       "1.2.3.4 - - [01/Aug/1995:00:00:09 -0400] \"GET /ksc.html\" 200 7\n"
       "1.2.3.4 - - [01/Aug/1995:00:00:10 -0400] \"GET /a.html   HTTP/1.0\" 200 7\n"
       "1.2.3.4 - - [01/Aug/1995:00:00:11 -0400] \"GET  /b.html HTTP/1.0\" 200 7\n"
       "1.2.3.4 - - [01/Aug/1995:00:00:12 -0400] \"/old-style\" 200 7\n",
       {"host.example.com /launch.gif 200 1713 @1995-08-01 00:00:01", "1.2.3.4 /countdown/ 304 0 @1995-08-01 00:00:07",
        "1.2.3.4 /ksc.html 200 7 @1995-08-01 00:00:09", "1.2.3.4 /a.html 200 7 @1995-08-01 00:00:10",
        "1.2.3.4  200 7 @1995-08-01 00:00:11", "1.2.3.4 /old-style 200 7 @1995-08-01 00:00:12"}},
      {"IIS", nullptr, nullptr,
       "192.168.114.201, -, 03/20/99, 7:55:20, W3SVC2, SERVER, 172.21.13.45, 4502, 163, 3223, 200, 0, GET, "
       "/DeptLogo.gif, -,\r\n"
       "192.168.114.201, -, 03/20/99, 7:55:21, MSFTPSVC1, SERVER, 172.21.13.45, 4502, 163, 3223, 200, 0, GET, "
       "/ftp.txt, -,\r\n"
       "192.168.114.201, bob, 03/20/99, 7:55:22, W3SVC, SERVER, 172.21.13.45, 4502, 163, 99, 404, 0, GET, "
       "/q.asp, a=1, http://ref/, Mozilla/4.0+(x)\r\n",
       {"192.168.114.201 /DeptLogo.gif?-, 200 3223 realm=172.21.13.45 @1999-03-20 07:55:20",
        "192.168.114.201 /q.asp?a=1 404 99 ref=http://ref/ agent=Mozilla/4.0+(x) realm=172.21.13.45 user=bob "
        "@1999-03-20 07:55:22"}},
      {"W3C of IIS 4", nullptr, nullptr,
       "#Software: Microsoft Internet Information Server 4.0\n#Fields: time c-ip cs-uri-stem\n13:55:35 10.0.0.1 /x\n"
       "#Fields: date time c-ip cs-username s-ip cs-method cs-uri-stem cs-uri-query sc-status sc-bytes "
       "cs(User-Agent) cs(Referer)\n"
       "1999-10-23 13:55:36 10.0.0.1 - 10.0.0.2 GET /search q=abc 200 1234 Mozilla/4.0+(compatible;+MSIE+5.0%3B) "
       "http://www.example.com/\n"
       "1999-10-23 13:55:37 10.0.0.1 bob 10.0.0.2 GET /search - 404 0 - -\n"
       "1999-10-23 13:55:38 10.0.0.1 bob 10.0.0.2 GET - - 404 0 - -\n",
       {"10.0.0.1 /search?q=abc 200 1234 ref=http://www.example.com/ agent=Mozilla/4.0 (compatible; MSIE 5.0;) "
        "realm=10.0.0.2 @1999-10-23 13:55:36",
        "10.0.0.1 /search 404 0 realm=10.0.0.2 user=bob @1999-10-23 13:55:37"}},
      {"W3C of WebSTAR 2.1", "DMY", nullptr,
       "#Software: WebSTAR/2.1\n#Fields: date time cs-ip cs-uri-stem c-uri-query sc-status bytes cs(user-agent) "
       "cs(referer)\n23/10/99\t13:55:36\t10.0.0.9\t:Folder:page.html\tid=7\t200\t512\tMacWeb+1.0\t\"-\"\n",
       {"10.0.0.9 /Folder/page.html?id=7 200 512 agent=MacWeb+1.0 @1999-10-23 13:55:36"}},
      {"WebSTAR !!LOG_FORMAT", nullptr, nullptr,
       "!!WebSTAR STARTUP\n!!LOG_FORMAT DATE TIME RESULT HOSTNAME URL BYTES_SENT\n"
       "10/23/99\t13:55:36\tOK\tmac.example.com.\t:Folder:page.html\t512\n"
       "99/10/23\t13:55:37\tPRIV\tmac.example.com\t:cgi:prog?a:b\t0\n"
       "10/23/99\t13:55:38\tERR!\tmac.example.com\t/missing\t0\n"
       "10/23/05\t13:55:39\tOK\tmac.example.com\t/old\t0\n",
       {"mac.example.com /Folder/page.html 200 512 @1999-10-23 13:55:36",
        "mac.example.com /cgi/prog?a:b 403 0 @1999-10-23 13:55:37",
        "mac.example.com /missing 404 0 @1999-10-23 13:55:38"}},
      {"WebSTAR #Fields", nullptr, nullptr,
       "#Fields: DATE TIME RESULT CS-HOST C-IP URL SEARCH_ARGS BYTES USER AGENT REFERER CONNECTION_NAME\n"
       "1999-10-23\t13:55:36\t200\t-\t10.0.0.1\t/find\tq=1\t77\tann\tAgent/1\thttp://r/\tsite\n"
       "1999-10-23\t13:55:37\t304\tdns.example.com:80\t10.0.0.1\t/x\t-\t0\t-\t-\t-\t-\n",
       {"10.0.0.1 /find?q=1 200 77 ref=http://r/ agent=Agent/1 realm=site user=ann @1999-10-23 13:55:36",
        "dns.example.com /x 304 0 @1999-10-23 13:55:37"}},
      {"Netscape", nullptr, nullptr,
       "format=%Ses->client.ip% - %Req->vars.auth-user% [%SYSDATE%] \"%Req->reqpb.clf-request%\" "
       "%Req->srvhdrs.clf-status% %Req->srvhdrs.content-length%\n"
       "10.1.1.1 - joe [23/Oct/1999:13:55:36 +0100] \"GET /ns.html HTTP/1.0\" 200 99\n",
       {"10.1.1.1 /ns.html 200 99 user=joe @1999-10-23 13:55:36"}},
      {"WebSite", "DMY", nullptr,
       "23/10/99 13:55:36\tpc.example.com\tx\trealm1\tjoe\tx\t/site/page.htm\thttp://r/\tx\tBrowser/2\t200\t4321\tx\n",
       {"pc.example.com /site/page.htm 200 4321 ref=http://r/ agent=Browser/2 realm=realm1 user=joe "
        "@1999-10-23 13:55:36"}},
      {"MacHTTP", nullptr, nullptr, "10/23/99\t13:55:36\tOK\tmac.example.com\t:Docs:index.html\t2048\n",
       {"mac.example.com /Docs/index.html 200 2048 @1999-10-23 13:55:36"}},
      {"given template", nullptr, "S0hu?r??",
       "943920000 proxy7. /given ignored 301\n943920001 1.2.3.4:8080 - ignored 200\n943920002\n",
       {"proxy7 /given 301 0 @1999-11-30 00:00:00"}},
      {"trimmed hosts, header lines anywhere", nullptr, nullptr,
       "1.2.3.4:8080 - - [10/Oct/1999:13:55:36 -0700] \"GET / HTTP/1.0\" 200 1\n"
       "2001:41d0:8:f69::1 - - [10/Oct/1999:13:55:36 -0700] \"GET / HTTP/1.0\" 200 1\n"
       "a.. - - [10/Oct/1999:13:55:36 -0700] \"GET / HTTP/1.0\" 200 1\n"
       "#Software: Microsoft Internet Information Server 4.0\n#Fields: date cs-uri-stem\n1999-10-23 /w3c\n",
       {"1.2.3.4 / 200 1 @1999-10-10 13:55:36", "2001:41d0:8:f69::1 / 200 1 @1999-10-10 13:55:36",
        "a. / 200 1 @1999-10-10 13:55:36", "() /w3c 0 0 @1999-10-23 00:00:00"}},
  };
  for (const FormatCase& c : cases) {
    SuperLog_ResetForTesting();
    if (c.dateFormat) SuperLog_SetDateFormat(c.dateFormat, kSourceForm);
    if (c.logFormat) SuperLog_SetLogFormat(c.logFormat, kSourceGlobal);
    EXPECT_EQ(ParseText(c.text), c.hits) << c.name;
  }
}

TEST_F(ReaderTest, StampsAreLocalTimeAndFixGmtMovesThemByTheStandardOffset) {
  const std::string text = "1.2.3.4 - - [10/Jan/1999:13:55:36 +0000] \"GET / HTTP/1.0\" 200 1\n"
                           "1.2.3.4 - - [10/Jul/1999:13:55:36 +0000] \"GET / HTTP/1.0\" 200 1\n";
  for (const char* zone : {"America/New_York", "Europe/Berlin", "Asia/Kolkata"}) {
    ScopedZone scoped(zone);
    SuperLog_ResetForTesting();
    std::vector<ll::time32_t> times;
    EXPECT_EQ(ParseText(text, &times)[1], "1.2.3.4 / 200 1 @1999-07-10 13:55:36") << zone;
    EXPECT_EQ(times[1], Local(1999, 7, 10, 13, 55, 36)) << zone;
  }
  ScopedZone zone("America/New_York");
  SuperLog_ResetForTesting();
  SuperLog_SetFixGmt("1", kSourceForm);
  std::vector<ll::time32_t> times;
  EXPECT_EQ(ParseText(text + "1.2.3.4 - - [10/Oct/1901:13:55:36 +0000] \"GET /1901 HTTP/1.0\" 200 1\n", &times),
            (Hits{"1.2.3.4 / 200 1 @1999-01-10 08:55:36", "1.2.3.4 / 200 1 @1999-07-10 08:55:36",
                  // mktime fails; the shift makes it a time before 1970
                  "1.2.3.4 /1901 200 1 @1969-12-31 13:59:59"}));
  EXPECT_EQ(times[2], -1 - 18000);
}

TEST_F(ReaderTest, DatesOutsideThe32BitRangeAreDropped) {
  std::string text;
  for (const char* when : {"10/Oct/1901:13:55:36", "19/Jan/2038:03:14:07", "19/Jan/2038:03:14:08",
                           "01/Jan/1970:00:00:00", "31/Dec/1969:23:59:59", "31/Dec/1969:23:59:58"}) {
    text += std::string("1.2.3.4 - - [") + when + " +0000] \"GET / HTTP/1.0\" 200 1\n";
  }
  EXPECT_EQ(ParseText(text), (Hits{"1.2.3.4 / 200 1 @2038-01-19 03:14:07", "1.2.3.4 / 200 1 @1969-12-31 23:59:58"}));
}

TEST_F(ReaderTest, LongFieldsLinesAndOddLineEnds) {
  const std::string stamp = " - - [10/Oct/1999:13:55:36 -0700] ";
  const std::string longUrl = "/" + std::string(300, 'u');
  const Hits hits = ParseText("\r\n\n1.2.3.4" + stamp + "\"GET " + longUrl + " HTTP/1.0\" 200 1 \"" +
                              std::string(5000, 'r') + "\"\r" + "5.6.7.8" + stamp + "\"GET /b\xff HTTP/1.0\" 200 2\r\n\r\n" +
                              std::string("\0\n;comment\n", 11) + "9.9.9.9" + stamp + "\"GET /c HTTP/1.0\" 200 3");
  ASSERT_EQ(hits.size(), 3u);
  // The request is cut at 243 characters before its URL is taken; the
  // 5000-character line keeps 1535 and its referrer 243 of them.
  EXPECT_EQ(hits[0], "1.2.3.4 " + longUrl.substr(0, 239) + " 200 1 ref=" + std::string(243, 'r') +
                         " @1999-10-10 13:55:36");
  EXPECT_EQ(hits[1], "5.6.7.8 /b\xff 200 2 @1999-10-10 13:55:36");
  EXPECT_EQ(hits[2], "9.9.9.9 /c 200 3 @1999-10-10 13:55:36");  // no line end after the last line
  // A joined URL is cut at 243 characters as a whole.
  SuperLog_ResetForTesting();
  EXPECT_EQ(ParseText("#Software: Microsoft Internet Information Server 4.0\n#Fields: date cs-uri-stem cs-uri-query\n"
                      "1999-10-23 /" + std::string(200, 's') + " q=" + std::string(200, 'q') + "\n"),
            Hits{"() /" + std::string(200, 's') + "?q=" + std::string(39, 'q') + " 0 0 @1999-10-23 00:00:00"});
}

TEST_F(ReaderTest, SuperLongAndLeadingIntegers) {
  SuperLong c, exact;
  SuperLongAdd(&c, 600000000);
  SuperLongAdd(&c, 600000000);
  EXPECT_EQ(std::make_pair(c.first, c.second), std::make_pair(1u, 200000000u));
  EXPECT_DOUBLE_EQ(SuperLongToDouble(c), 1.2e9);
  SuperLongAdd(&exact, 999999999);
  SuperLongAdd(&exact, 1);  // exactly 10^9 stays in the second word
  EXPECT_EQ(std::make_pair(exact.first, exact.second), std::make_pair(0u, 1000000000u));
  SuperLongAdd(&exact, 4294967295u);
  EXPECT_EQ(std::make_pair(exact.first, exact.second), std::make_pair(5u, 294967295u));
  for (const char* text : {"200", " 42x", "-", "", "+7", "-13", "\t\n 9", "2147483648", "99999999999999999999",
                           "-99999999999999999999", "0x10"}) {
    EXPECT_EQ(LeadingInteger(text), static_cast<int32_t>(atol(text))) << text;
  }
}

// ---- the count of log bytes read

// A reader of 8192-byte blocks taking one byte at a time, as the count is
// defined: the line read, and the bytes fetched so far.
struct BlockReaderModel {
  const std::string& data;
  size_t fetched = 0, pos = 0;

  int Next() {
    if (pos == fetched) {
      if (fetched >= data.size()) return -1;
      fetched = std::min(data.size(), fetched + 8192);
    }
    return static_cast<unsigned char>(data[pos++]);
  }
  std::string ReadLine() {
    std::string line;
    int c;
    while ((c = Next()) == '\r' || c == '\n') {
    }
    for (; c != -1 && c != '\r' && c != '\n'; c = Next()) {
      if (line.size() == 1535) {
        while ((c = Next()) != -1 && c != '\r' && c != '\n') {
        }
        break;
      }
      line.push_back(static_cast<char>(c));
    }
    return line;
  }
};

uint64_t BytesRead() {
  SuperLong s;
  SuperLog_GetTotalLogBytesRead(&s);
  return uint64_t{s.first} * 1000000000u + s.second;
}

TEST_F(ReaderTest, LinesAndByteCountsMatchAByteByByteBlockReader) {
  std::mt19937 rng(7);
  testing_support::TempDir dir;
  for (int round = 0; round < 40; ++round) {
    std::string text;
    const size_t target = rng() % 3 == 0 ? rng() % 3000 : 8192 * (1 + rng() % 40) + rng() % 300 - 150;
    while (text.size() < target) {
      const size_t len = rng() % 10 == 0 ? 1400 + rng() % 4000 : rng() % 200;
      for (size_t i = 0; i < len; ++i) text.push_back(static_cast<char>(' ' + rng() % 200));
      const char* ends[] = {"\n", "\r\n", "\r", "\n\n", "\r\n\r\n"};
      text += ends[rng() % 5];
    }
    if (rng() % 2) text.resize(target);
    testing_support::WriteFile(dir.file("log"), text);
    SuperLog_ResetForTesting();
    mState.mhFile = fopen(dir.file("log").c_str(), "rb");
    BlockReaderModel model{text};
    const int stopAfter = rng() % 2 ? static_cast<int>(rng() % 200) : INT_MAX;  // abandoned early
    for (int n = 0; n <= stopAfter; ++n) {
      const std::string expected = model.ReadLine();
      ReadLineFromBigBuf();
      ASSERT_EQ(std::string(mState.mLineBuf, static_cast<size_t>(mState.mLineLen)), expected) << round << ":" << n;
      ASSERT_EQ(BytesRead(), model.fetched) << round << ":" << n;
      if (expected.empty()) break;
    }
  }
}

TEST_F(ReaderTest, BytesReadAddUpOverFilesAndAbandonedFiles) {
  testing_support::TempDir dir;
  std::string text;
  for (int i = 0; text.size() < 20000; ++i) {
    text += "1.2.3.4 - - [10/Oct/1999:13:55:36 -0700] \"GET /" + std::to_string(i) + " HTTP/1.0\" 200 1\n";
  }
  testing_support::WriteFile(dir.file("a.log"), text);
  testing_support::WriteFile(dir.file("b.log"), text + text);
  StatsFields settings;
  settings.logs.set(dir.file("*.log").c_str());
  SuperLog_Init(&settings, INT32_MIN, INT32_MAX);
  LogHit hit;
  ASSERT_EQ(SuperLog_NextLogFile(), 1);
  ASSERT_EQ(SuperLog_ParseNextLine(&hit), 1);  // the caller stops after the first hit
  EXPECT_EQ(BytesRead(), 8192u);
  ASSERT_EQ(SuperLog_NextLogFile(), 1);
  while (SuperLog_ParseNextLine(&hit)) {
  }
  EXPECT_EQ(SuperLog_NextLogFile(), 0);
  EXPECT_EQ(BytesRead(), 8192u + 2 * text.size());
}

}  // namespace
