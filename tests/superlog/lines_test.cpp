// Lines into hit records: one fixture per log format, the post-processing
// of fields, line ends and cuts, and the count of log bytes read.
#include <cstring>
#include <random>

#include "superlog_test_util.h"

namespace {

using sltest::Hit;
using sltest::Local;
using sltest::ParseText;
using sltest::ReaderTest;
using sltest::ScopedZone;
using std::nullopt;

TEST_F(ReaderTest, CombinedLogLine) {
  const auto hits = ParseText(
      "1.2.3.4 - frank [10/Oct/1999:13:55:36 -0700] \"GET /index.html HTTP/1.0\" 200 2326 "
      "\"http://www.example.com/start.html\" \"Mozilla/4.08 [en] (Win98; I ;Nav)\"\n");
  ASSERT_EQ(hits.size(), 1u);
  const Hit& h = hits[0];
  EXPECT_EQ(h.host, "1.2.3.4");
  EXPECT_EQ(h.realm, nullopt);
  EXPECT_EQ(h.user, "frank");
  EXPECT_EQ(h.url, "/index.html");
  EXPECT_EQ(h.status, 200);
  EXPECT_EQ(h.bytes, 2326);
  EXPECT_EQ(h.referrer, "http://www.example.com/start.html");
  EXPECT_EQ(h.agent, "Mozilla/4.08 [en] (Win98; I ;Nav)");
  EXPECT_EQ(h.time, Local(1999, 10, 10, 13, 55, 36));
  EXPECT_EQ(h.tm.tm_hour, 13);
  EXPECT_EQ(h.tm.tm_wday, 0);
  EXPECT_EQ(h.tm.tm_yday, 282);
}

TEST_F(ReaderTest, CommonLogLines) {
  const auto hits = ParseText(
      "host.example.com - - [01/Aug/1995:00:00:01 -0400] \"GET /images/launch-logo.gif HTTP/1.0\" 200 1713\n"
      "1.2.3.4 - - [01/Aug/1995:00:00:07 -0400] \"GET /shuttle/countdown/ HTTP/1.0\" 304 -\n"
      "1.2.3.4 - - [01/Aug/1995:00:00:08 -0400] \"-\" 408 -\n"
      "1.2.3.4 - - [01/Aug/1995:00:00:09 -0400] \"GET /ksc.html\" 200 7\n"
      "1.2.3.4 - - [01/Aug/1995:00:00:10 -0400] \"GET /a.html   HTTP/1.0\" 200 7\n"
      "1.2.3.4 - - [01/Aug/1995:00:00:11 -0400] \"GET  /b.html HTTP/1.0\" 200 7\n"
      "1.2.3.4 - - [01/Aug/1995:00:00:12 -0400] \"/old-style\" 200 7\n");
  ASSERT_EQ(hits.size(), 6u);
  EXPECT_EQ(hits[0].host, "host.example.com");
  EXPECT_EQ(hits[0].referrer, nullopt);
  EXPECT_EQ(hits[0].agent, nullopt);
  EXPECT_EQ(hits[1].bytes, 0);  // "-" as byte count
  EXPECT_EQ(hits[1].status, 304);
  // The aborted request "-" is dropped; the rest keep their URL.
  EXPECT_EQ(hits[2].url, "/ksc.html");
  EXPECT_EQ(hits[3].url, "/a.html");
  EXPECT_EQ(hits[4].url, "");  // two blanks after the method: an empty URL
  EXPECT_EQ(hits[5].url, "/old-style");
}

TEST_F(ReaderTest, IisCommaSeparatedLog) {
  const auto hits = ParseText(
      "192.168.114.201, -, 03/20/99, 7:55:20, W3SVC2, SERVER, 172.21.13.45, 4502, 163, 3223, 200, 0, GET, "
      "/DeptLogo.gif, -,\r\n"
      "192.168.114.201, -, 03/20/99, 7:55:21, MSFTPSVC1, SERVER, 172.21.13.45, 4502, 163, 3223, 200, 0, GET, "
      "/ftp.txt, -,\r\n"
      "192.168.114.201, bob, 03/20/99, 7:55:22, W3SVC, SERVER, 172.21.13.45, 4502, 163, 99, 404, 0, GET, "
      "/q.asp, a=1, http://ref/, Mozilla/4.0+(x)\r\n");
  ASSERT_EQ(hits.size(), 2u);
  EXPECT_EQ(hits[0].host, "192.168.114.201");
  EXPECT_EQ(hits[0].user, nullopt);
  EXPECT_EQ(hits[0].realm, "172.21.13.45");
  EXPECT_EQ(hits[0].bytes, 3223);
  EXPECT_EQ(hits[0].status, 200);
  EXPECT_EQ(hits[0].time, Local(1999, 3, 20, 7, 55, 20));
  // The line ends in a bare comma, which stays with the query "-".
  EXPECT_EQ(hits[0].url, "/DeptLogo.gif?-,");
  EXPECT_EQ(hits[1].user, "bob");
  EXPECT_EQ(hits[1].url, "/q.asp?a=1");
  EXPECT_EQ(hits[1].referrer, "http://ref/");
  EXPECT_EQ(hits[1].agent, "Mozilla/4.0+(x)");  // only IIS 4 W3C agents are decoded
}

TEST_F(ReaderTest, W3cLogOfIis4) {
  const auto hits = ParseText(
      "#Software: Microsoft Internet Information Server 4.0\n#Version: 1.0\n#Date: 1999-10-23 00:00:00\n"
      "#Fields: date time c-ip cs-username s-ip cs-method cs-uri-stem cs-uri-query sc-status sc-bytes "
      "cs(User-Agent) cs(Referer)\n"
      "1999-10-23 13:55:36 10.0.0.1 - 10.0.0.2 GET /search q=abc 200 1234 "
      "Mozilla/4.0+(compatible;+MSIE+5.0%3B) http://www.example.com/\n"
      "1999-10-23 13:55:37 10.0.0.1 bob 10.0.0.2 GET /search - 404 0 - -\n"
      "1999-10-23 13:55:38 10.0.0.1 bob 10.0.0.2 GET - - 404 0 - -\n");
  ASSERT_EQ(hits.size(), 2u);
  EXPECT_EQ(hits[0].url, "/search?q=abc");
  EXPECT_EQ(hits[0].agent, "Mozilla/4.0 (compatible; MSIE 5.0;)");
  EXPECT_EQ(hits[0].realm, "10.0.0.2");
  EXPECT_EQ(hits[0].user, nullopt);
  EXPECT_EQ(hits[0].referrer, "http://www.example.com/");
  EXPECT_EQ(hits[0].time, Local(1999, 10, 23, 13, 55, 36));
  EXPECT_EQ(hits[1].url, "/search");
  EXPECT_EQ(hits[1].user, "bob");
  EXPECT_EQ(hits[1].agent, nullopt);
}

TEST_F(ReaderTest, W3cLinesNeedADateField) {
  const auto hits = ParseText(
      "#Software: Microsoft Internet Information Server 4.0\n#Fields: time c-ip cs-uri-stem\n"
      "13:55:36 10.0.0.1 /x\n#Fields: date time c-ip cs-uri-stem\n1999-10-23 13:55:36 10.0.0.1 /y\n"
      "1999-10-23\n");
  ASSERT_EQ(hits.size(), 1u);
  EXPECT_EQ(hits[0].url, "/y");
}

TEST_F(ReaderTest, W3cLogOfWebStar21) {
  SuperLog_SetDateFormat("DMY", kSourceForm);
  const auto hits = ParseText(
      "#Software: WebSTAR/2.1\n#Fields: date time cs-ip cs-uri-stem c-uri-query sc-status bytes "
      "cs(user-agent) cs(referer)\n"
      "23/10/99\t13:55:36\t10.0.0.9\t:Folder:page.html\tid=7\t200\t512\tMacWeb+1.0\t\"-\"\n");
  ASSERT_EQ(hits.size(), 1u);
  EXPECT_EQ(hits[0].time, Local(1999, 10, 23, 13, 55, 36));
  EXPECT_EQ(hits[0].host, "10.0.0.9");  // the client address stands in for the host
  EXPECT_EQ(hits[0].url, "/Folder/page.html?id=7");
  EXPECT_EQ(hits[0].agent, "MacWeb+1.0");
  EXPECT_EQ(hits[0].referrer, nullopt);  // the quoted "-" lost its quotes
}

TEST_F(ReaderTest, WebStarLogFormatHeader) {
  const auto hits = ParseText(
      "!!WebSTAR STARTUP\n!!LOG_FORMAT DATE TIME RESULT HOSTNAME URL BYTES_SENT\n"
      "10/23/99\t13:55:36\tOK\tmac.example.com.\t:Folder:page.html\t512\n"
      "99/10/23\t13:55:37\tPRIV\tmac.example.com\t:cgi:prog?a:b\t0\n"
      "10/23/99\t13:55:38\tERR!\tmac.example.com\t/missing\t0\n"
      "10/23/05\t13:55:39\tOK\tmac.example.com\t/old\t0\n");
  ASSERT_EQ(hits.size(), 3u);
  EXPECT_EQ(hits[0].status, 200);
  EXPECT_EQ(hits[0].host, "mac.example.com");  // one trailing dot removed
  EXPECT_EQ(hits[0].url, "/Folder/page.html");
  EXPECT_EQ(hits[0].time, Local(1999, 10, 23, 13, 55, 36));
  EXPECT_EQ(hits[1].status, 403);
  EXPECT_EQ(hits[1].url, "/cgi/prog?a:b");
  EXPECT_EQ(hits[2].status, 404);
}

TEST_F(ReaderTest, WebStarFieldsHeader) {
  const auto hits = ParseText(
      "#Fields: DATE TIME RESULT CS-HOST C-IP URL SEARCH_ARGS BYTES USER AGENT REFERER CONNECTION_NAME\n"
      "1999-10-23\t13:55:36\t200\t-\t10.0.0.1\t/find\tq=1\t77\tann\tAgent/1\thttp://r/\tsite\n"
      "1999-10-23\t13:55:37\t304\tdns.example.com:80\t10.0.0.1\t/x\t-\t0\t-\t-\t-\t-\n");
  ASSERT_EQ(hits.size(), 2u);
  EXPECT_EQ(hits[0].status, 200);
  EXPECT_EQ(hits[0].host, "10.0.0.1");
  EXPECT_EQ(hits[0].url, "/find?q=1");
  EXPECT_EQ(hits[0].bytes, 77);
  EXPECT_EQ(hits[0].user, "ann");
  EXPECT_EQ(hits[0].agent, "Agent/1");
  EXPECT_EQ(hits[0].referrer, "http://r/");
  EXPECT_EQ(hits[0].realm, "site");
  EXPECT_EQ(hits[1].host, "dns.example.com");  // the DNS name wins, its port cut
  EXPECT_EQ(hits[1].url, "/x");
  EXPECT_EQ(hits[1].realm, nullopt);
}

TEST_F(ReaderTest, NetscapeLog) {
  const auto hits = ParseText(
      "format=%Ses->client.ip% - %Req->vars.auth-user% [%SYSDATE%] \"%Req->reqpb.clf-request%\" "
      "%Req->srvhdrs.clf-status% %Req->srvhdrs.content-length%\n"
      "10.1.1.1 - joe [23/Oct/1999:13:55:36 +0100] \"GET /ns.html HTTP/1.0\" 200 99\n");
  ASSERT_EQ(hits.size(), 1u);
  EXPECT_EQ(hits[0].host, "10.1.1.1");
  EXPECT_EQ(hits[0].user, "joe");
  EXPECT_EQ(hits[0].realm, nullopt);
  EXPECT_EQ(hits[0].url, "/ns.html");
  EXPECT_EQ(hits[0].bytes, 99);
}

TEST_F(ReaderTest, WebSiteWindowsLog) {
  SuperLog_SetDateFormat("DMY", kSourceForm);
  const auto hits = ParseText(
      "23/10/99 13:55:36\tpc.example.com\tx\trealm1\tjoe\tx\t/site/page.htm\thttp://r/\tx\tBrowser/2\t200\t"
      "4321\tx\n");
  ASSERT_EQ(hits.size(), 1u);
  EXPECT_EQ(hits[0].time, Local(1999, 10, 23, 13, 55, 36));
  EXPECT_EQ(hits[0].host, "pc.example.com");
  EXPECT_EQ(hits[0].realm, "realm1");
  EXPECT_EQ(hits[0].user, "joe");
  EXPECT_EQ(hits[0].url, "/site/page.htm");
  EXPECT_EQ(hits[0].referrer, "http://r/");
  EXPECT_EQ(hits[0].agent, "Browser/2");
  EXPECT_EQ(hits[0].status, 200);
  EXPECT_EQ(hits[0].bytes, 4321);
}

TEST_F(ReaderTest, MacHttpLog) {
  const auto hits = ParseText("10/23/99\t13:55:36\tOK\tmac.example.com\t:Docs:index.html\t2048\n");
  ASSERT_EQ(hits.size(), 1u);
  EXPECT_EQ(hits[0].time, Local(1999, 10, 23, 13, 55, 36));
  EXPECT_EQ(hits[0].status, 200);
  EXPECT_EQ(hits[0].url, "/Docs/index.html");
  EXPECT_EQ(hits[0].bytes, 2048);
}

TEST_F(ReaderTest, GivenTemplate) {
  SuperLog_SetLogFormat("S0hu?r??", kSourceGlobal);
  const auto hits = ParseText(
      "943920000 proxy7. /given ignored 301\n"
      "943920001 1.2.3.4:8080 - ignored 200\n"
      "943920002\n");
  ASSERT_EQ(hits.size(), 1u);
  EXPECT_EQ(hits[0].time, 943920000);
  EXPECT_EQ(hits[0].host, "proxy7");
  EXPECT_EQ(hits[0].url, "/given");
  EXPECT_EQ(hits[0].status, 301);
}

TEST_F(ReaderTest, StampsAreLocalTimeOfTheZone) {
  const std::string line = "1.2.3.4 - - [10/Oct/1999:13:55:36 -0700] \"GET / HTTP/1.0\" 200 1\n";
  for (const char* zone : {"America/New_York", "Europe/Berlin", "Asia/Kolkata"}) {
    ScopedZone scoped(zone);
    SuperLog_ResetForTesting();
    const auto hits = ParseText(line);
    ASSERT_EQ(hits.size(), 1u);
    EXPECT_EQ(hits[0].time, Local(1999, 10, 10, 13, 55, 36)) << zone;
    EXPECT_EQ(hits[0].tm.tm_hour, 13) << zone;
  }
}

TEST_F(ReaderTest, FixGmtMovesGmtStampsToLocalTime) {
  ScopedZone zone("America/New_York");
  SuperLog_SetFixGmt("1", kSourceForm);
  const auto hits = ParseText("1.2.3.4 - - [10/Jan/1999:13:55:36 +0000] \"GET / HTTP/1.0\" 200 1\n"
                              "1.2.3.4 - - [10/Jul/1999:13:55:36 +0000] \"GET / HTTP/1.0\" 200 1\n");
  ASSERT_EQ(hits.size(), 2u);
  EXPECT_EQ(hits[0].time, Local(1999, 1, 10, 13, 55, 36) - 18000);
  EXPECT_EQ(hits[0].tm.tm_hour, 8);
  // The standard offset is used all year; summer hits move by five hours too.
  EXPECT_EQ(hits[1].time, Local(1999, 7, 10, 13, 55, 36) - 18000);
  EXPECT_EQ(hits[1].tm.tm_hour, 8);
}

TEST_F(ReaderTest, DatesOutsideThe32BitRange) {
  const auto hits = ParseText(
      "1.2.3.4 - - [10/Oct/1901:13:55:36 +0000] \"GET /1901 HTTP/1.0\" 200 1\n"
      "1.2.3.4 - - [19/Jan/2038:03:14:07 +0000] \"GET /last HTTP/1.0\" 200 1\n"
      "1.2.3.4 - - [19/Jan/2038:03:14:08 +0000] \"GET /after HTTP/1.0\" 200 1\n"
      "1.2.3.4 - - [01/Jan/1970:00:00:00 +0000] \"GET /zero HTTP/1.0\" 200 1\n"
      "1.2.3.4 - - [31/Dec/1969:23:59:59 +0000] \"GET /minus-one HTTP/1.0\" 200 1\n"
      "1.2.3.4 - - [31/Dec/1969:23:59:58 +0000] \"GET /minus-two HTTP/1.0\" 200 1\n"
      "1.2.3.4 - - [10/oct/1999:13:55:36 +0000] \"GET /bad-month HTTP/1.0\" 200 1\n");
  ASSERT_EQ(hits.size(), 2u);
  EXPECT_EQ(hits[0].url, "/last");
  EXPECT_EQ(hits[0].time, INT32_MAX);
  EXPECT_EQ(hits[1].url, "/minus-two");
}

TEST_F(ReaderTest, UnrepresentableDatesSurviveAsEarlyTimesUnderFixGmt) {
  ScopedZone zone("America/New_York");
  SuperLog_SetFixGmt("1", kSourceForm);
  const auto hits = ParseText("1.2.3.4 - - [10/Oct/1901:13:55:36 +0000] \"GET /1901 HTTP/1.0\" 200 1\n");
  ASSERT_EQ(hits.size(), 1u);
  EXPECT_EQ(hits[0].time, -1 - 18000);
}

TEST_F(ReaderTest, HostsAreTrimmed) {
  const auto hits = ParseText(
      "proxy7. - - [10/Oct/1999:13:55:36 -0700] \"GET / HTTP/1.0\" 200 1\n"
      "1.2.3.4:8080 - - [10/Oct/1999:13:55:36 -0700] \"GET / HTTP/1.0\" 200 1\n"
      "2001:41d0:8:f69::1 - - [10/Oct/1999:13:55:36 -0700] \"GET / HTTP/1.0\" 200 1\n"
      "a.. - - [10/Oct/1999:13:55:36 -0700] \"GET / HTTP/1.0\" 200 1\n");
  ASSERT_EQ(hits.size(), 4u);
  EXPECT_EQ(hits[0].host, "proxy7");
  EXPECT_EQ(hits[1].host, "1.2.3.4");
  EXPECT_EQ(hits[2].host, "2001");  // the port cut takes IPv6 addresses apart
  EXPECT_EQ(hits[3].host, "a.");
}

TEST_F(ReaderTest, LongFieldsAndLinesAreCut) {
  const std::string longUrl = "/" + std::string(300, 'u');
  const std::string longLine = "1.2.3.4 - - [10/Oct/1999:13:55:36 -0700] \"GET " + longUrl + " HTTP/1.0\" 200 1 \"" +
                               std::string(5000, 'r') + "\"\n";
  const auto hits = ParseText(longLine + "5.6.7.8 - - [10/Oct/1999:13:55:37 -0700] \"GET /next HTTP/1.0\" 200 2\n");
  ASSERT_EQ(hits.size(), 2u);
  // The request field is cut at 243 characters before the URL is taken.
  EXPECT_EQ(hits[0].url, longUrl.substr(0, 243 - 4));
  EXPECT_EQ(hits[0].referrer->size(), 243u);
  EXPECT_EQ(hits[1].url, "/next");
  EXPECT_EQ(hits[1].host, "5.6.7.8");

  // A joined URL is cut at 243 characters as a whole.
  SuperLog_ResetForTesting();
  const auto joined = ParseText("#Software: Microsoft Internet Information Server 4.0\n"
                                "#Fields: date cs-uri-stem cs-uri-query\n1999-10-23 /" +
                                std::string(200, 's') + " q=" + std::string(200, 'q') + "\n");
  ASSERT_EQ(joined.size(), 1u);
  EXPECT_EQ(joined[0].url, "/" + std::string(200, 's') + "?q=" + std::string(39, 'q'));
}

TEST_F(ReaderTest, LineEndsAndUnusualBytes) {
  const std::string a = "1.2.3.4 - - [10/Oct/1999:13:55:36 -0700] \"GET /a HTTP/1.0\" 200 1";
  const std::string b = "1.2.3.4 - - [10/Oct/1999:13:55:36 -0700] \"GET /b\xff\xfe HTTP/1.0\" 200 1";
  const std::string c = "1.2.3.4 - - [10/Oct/1999:13:55:36 -0700] \"GET /c HTTP/1.0\" 200 1";
  const auto hits = ParseText("\r\n\n" + a + "\r" + b + "\r\n\r\n" + c);
  ASSERT_EQ(hits.size(), 3u);
  EXPECT_EQ(hits[0].url, "/a");
  EXPECT_EQ(hits[1].url, "/b\xff\xfe");
  EXPECT_EQ(hits[2].url, "/c");  // no line end after the last line
  EXPECT_TRUE(ParseText("").empty());
  EXPECT_TRUE(ParseText("\r\n\r\n").empty());
  EXPECT_TRUE(ParseText(std::string("\0\n;comment\n", 11)).empty());
}

TEST_F(ReaderTest, HeaderLinesAnywhereInTheFile) {
  const auto hits = ParseText(
      "1.2.3.4 - - [10/Oct/1999:13:55:36 -0700] \"GET /clf HTTP/1.0\" 200 1\n"
      "#Software: Microsoft Internet Information Server 4.0\n#Fields: date time cs-uri-stem\n"
      "1999-10-23 13:55:36 /w3c\n");
  ASSERT_EQ(hits.size(), 2u);
  EXPECT_EQ(hits[0].url, "/clf");
  EXPECT_EQ(hits[1].url, "/w3c");
}

TEST_F(ReaderTest, SuperLongCarriesAboveOneThousandMillion) {
  SuperLong c;
  SuperLongAdd(&c, 600000000);
  SuperLongAdd(&c, 600000000);
  EXPECT_EQ(c.first, 1u);
  EXPECT_EQ(c.second, 200000000u);
  EXPECT_DOUBLE_EQ(SuperLongToDouble(c), 1.2e9);
  SuperLong exact;
  SuperLongAdd(&exact, 999999999);
  SuperLongAdd(&exact, 1);
  EXPECT_EQ(exact.first, 0u);  // exactly 10^9 stays in the second word
  EXPECT_EQ(exact.second, 1000000000u);
  SuperLongAdd(&exact, 1);
  EXPECT_EQ(exact.first, 1u);
  EXPECT_EQ(exact.second, 1u);
  SuperLong big;
  SuperLongAdd(&big, 4294967295u);
  SuperLongAdd(&big, 4294967295u);
  EXPECT_EQ(big.first, 8u);
  EXPECT_EQ(big.second, 589934590u);
}

TEST_F(ReaderTest, LeadingIntegersReadLikeAtol) {
  for (const char* text : {"200", " 42x", "-", "", "+7", "-13", "\t\n 9", "2147483648", "4294967297",
                           "99999999999999999999", "-99999999999999999999", "0x10"}) {
    EXPECT_EQ(LeadingInteger(text), static_cast<int32_t>(atol(text))) << text;
  }
}

// ---- the count of log bytes read

// A reader of 8192-byte blocks, byte by byte as the count is defined: the
// lines of text and, after each line, the bytes fetched so far.
struct BlockReaderModel {
  explicit BlockReaderModel(const std::string& text) : data(text) {}
  const std::string& data;
  size_t fetched = 0, pos = 0;

  int Next() {
    if (pos == fetched) {
      if (fetched >= data.size()) return -1;
      fetched = std::min(data.size(), fetched + 8192);
    }
    return static_cast<unsigned char>(data[pos++]);
  }
  // Returns false at the end of the data.
  bool ReadLine(std::string* line) {
    line->clear();
    int c;
    do {
      c = Next();
    } while (c == '\r' || c == '\n');
    while (c != -1 && c != '\r' && c != '\n') {
      if (line->size() == 1535) {
        do {
          c = Next();
        } while (c != -1 && c != '\r' && c != '\n');
        break;
      }
      line->push_back(static_cast<char>(c));
      c = Next();
    }
    return !line->empty();
  }
};

uint64_t BytesRead() {
  SuperLong s;
  SuperLog_GetTotalLogBytesRead(&s);
  return uint64_t{s.first} * 1000000000u + s.second;
}

TEST_F(ReaderTest, BlockReaderLinesAndCountsMatchTheByteByByteModel) {
  std::mt19937 rng(7);
  testing_support::TempDir dir;
  for (int round = 0; round < 40; ++round) {
    std::string text;
    const size_t target = rng() % 3 == 0 ? rng() % 3000 : 8192 * (1 + rng() % 40) + rng() % 300 - 150;
    while (text.size() < target) {
      const int kind = static_cast<int>(rng() % 10);
      const size_t len = kind == 0 ? 1400 + rng() % 4000 : rng() % 200;
      for (size_t i = 0; i < len; ++i) text.push_back(static_cast<char>(' ' + rng() % 200));
      const char* ends[] = {"\n", "\r\n", "\r", "\n\n", "\r\n\r\n"};
      text += ends[rng() % 5];
    }
    if (rng() % 2) text.resize(target);
    const std::string path = dir.file("log" + std::to_string(round));
    testing_support::WriteFile(path, text);

    SuperLog_ResetForTesting();
    mState.mhFile = fopen(path.c_str(), "rb");
    BlockReaderModel model(text);
    std::string expected;
    const int stopAfter = rng() % 2 ? static_cast<int>(rng() % 200) : 1 << 30;  // abandon the file early
    for (int n = 0; n <= stopAfter; ++n) {
      const bool more = model.ReadLine(&expected);
      ReadLineFromBigBuf();
      ASSERT_EQ(std::string(mState.mLineBuf, static_cast<size_t>(mState.mLineLen)), expected)
          << "round " << round << " line " << n;
      ASSERT_EQ(BytesRead(), model.fetched) << "round " << round << " line " << n;
      if (!more) break;
    }
    SuperLog_NextLogFile_Done();
    EXPECT_EQ(BytesRead(), model.fetched);
  }
}

TEST_F(ReaderTest, BytesReadAddUpOverFilesAndAbandonedFiles) {
  testing_support::TempDir dir;
  std::string text;
  for (int i = 0; text.size() < 20000; ++i) {
    text += "1.2.3.4 - - [10/Oct/1999:13:55:36 -0700] \"GET /" + std::to_string(i) + " HTTP/1.0\" 200 1\n";
  }
  testing_support::WriteFile(dir.file("a.log"), text);
  testing_support::WriteFile(dir.file("b.log"), text);
  StatsFields settings;
  settings.logs.set(dir.file("*.log").c_str());
  SuperLog_Init(&settings, INT32_MIN, INT32_MAX);
  LogHit hit;
  ASSERT_EQ(SuperLog_NextLogFile(), 1);
  ASSERT_EQ(SuperLog_ParseNextLine(&hit), 1);  // the caller stops after the first hit
  EXPECT_EQ(BytesRead(), 8192u);
  // b.log is a copy of a.log under another name and is not listed.
  EXPECT_EQ(SuperLog_NextLogFile(), 0);
  testing_support::WriteFile(dir.file("b.log"), text + text);
  SuperLog_Init(&settings, INT32_MIN, INT32_MAX);
  ASSERT_EQ(SuperLog_NextLogFile(), 1);
  ASSERT_EQ(SuperLog_ParseNextLine(&hit), 1);
  ASSERT_EQ(SuperLog_NextLogFile(), 1);
  size_t hits = 0;
  while (SuperLog_ParseNextLine(&hit)) ++hits;
  EXPECT_EQ(SuperLog_NextLogFile(), 0);
  EXPECT_EQ(BytesRead(), 8192u + 8192u + 2 * text.size());
  EXPECT_GT(hits, 100u);
}

}  // namespace
