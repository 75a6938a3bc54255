// Field splitters, format recognition and field templates.
#include <cstring>

#include "superlog_test_util.h"

namespace {

using sltest::ParseText;
using sltest::ReaderTest;
using testing_support::CaptureStdout;

// Splits a whole line the way the line parser walks it.
std::vector<std::string> Split(const std::string& line, char sep) {
  ll::CopyText(mState.mLineBuf, line.c_str());
  std::vector<std::string> fields;
  mState.mpFieldStart = mState.mLineBuf;
  while (*mState.mpFieldStart) {
    SplitField(sep);
    EXPECT_EQ(static_cast<size_t>(mState.mValidLen), strlen(mState.mpValidStart));
    fields.emplace_back(mState.mpValidStart);
    mState.mpFieldStart = mState.mpNextFieldStart;
  }
  return fields;
}

using Fields = std::vector<std::string>;

TEST_F(ReaderTest, SpaceSplitterHonoursQuotesAndBrackets) {
  EXPECT_EQ(Split("1.2.3.4 - - [10/Oct/1999:13:55:36 -0700] \"GET / HTTP/1.0\" 200 512", 'S'),
            (Fields{"1.2.3.4", "-", "-", "10/Oct/1999:13:55:36 -0700", "GET / HTTP/1.0", "200", "512"}));
  // A second blank is an empty field, and shifts every later field.
  EXPECT_EQ(Split("1.2.3.4  - x", 'S'), (Fields{"1.2.3.4", "", "-", "x"}));
  EXPECT_EQ(Split("a   b", 'S'), (Fields{"a", "", "", "b"}));
  // A quoted part of a plain field keeps its blanks.
  EXPECT_EQ(Split("a\"b c\"d e", 'S'), (Fields{"a\"b c\"d", "e"}));
  EXPECT_EQ(Split("'x \"y z' w", 'S'), (Fields{"x \"y z' w"}));
  EXPECT_EQ(Split("'x y' z", 'S'), (Fields{"x y", "z"}));
  EXPECT_EQ(Split("\"\" [] x", 'S'), (Fields{"", "", "x"}));
  // A double-quoted field ends at its first closing quote, unclosed ones
  // run to the end of the line.
  EXPECT_EQ(Split("\"a b\"c d", 'S'), (Fields{"a b", "c", "d"}));
  EXPECT_EQ(Split("x \"open to the end", 'S'), (Fields{"x", "open to the end"}));
  EXPECT_EQ(Split("[a ]b", 'S'), (Fields{"a ", "b"}));
}

TEST_F(ReaderTest, TabSplitterStripsWholeQuotesAndLeadingBlanks) {
  EXPECT_EQ(Split("  a\t\"b c\"\t\tx\"\ty", 'T'), (Fields{"a", "b c", "", "x\"\ty"}));
  EXPECT_EQ(Split("\"\"\t\"a\tb\"\tc", 'T'), (Fields{"", "a\tb", "c"}));
  EXPECT_EQ(Split("one field with blanks ", 'T'), (Fields{"one field with blanks "}));
}

TEST_F(ReaderTest, CommaSplitterNeedsCommaAndBlank) {
  EXPECT_EQ(Split("192.168.114.201, -, 03/20/01, GET, /index.htm, -,", 'C'),
            (Fields{"192.168.114.201", "-", "03/20/01", "GET", "/index.htm", "-,"}));
  EXPECT_EQ(Split("a,b, \tc, \"d, e\", f", 'C'), (Fields{"a,b", "c", "\"d, e\"", "f"}));
  // Any letter other than S and T means commas.
  EXPECT_EQ(Split("x, y", '?'), (Fields{"x", "y"}));
}

// The template in force after reading text (header lines and data).
std::string TemplateAfter(const std::string& text) {
  ParseText(text);
  return mState.mKnownFormatBuf;
}

TEST_F(ReaderTest, DataLinesAreRecognisedBySeparatorCounts) {
  const std::string fifteenCommas = "a, b, c, d, e, f, g, h, i, j, k, l, m, n, o, p\n";
  EXPECT_EQ(TemplateAfter(fifteenCommas), "Chw29v?m??cr??xefa");
  EXPECT_EQ(mState.mCurLogFormat, 3);
  // Commas are counted before tabs and blanks.
  EXPECT_EQ(TemplateAfter("a\tb\tc\td\te\tf " + fifteenCommas), "Chw29v?m??cr??xefa");
  EXPECT_EQ(TemplateAfter("1\t2\t3\t4\t5\t6\t7\t8\t9\t10\t11\t12\t13\n"), "T4h?mw?uf?arc?");
  EXPECT_EQ(mState.mCurLogFormat, 5);
  EXPECT_EQ(TemplateAfter("1\t2\t3\t4\t5\t6\n"), "T29khxc");
  EXPECT_EQ(mState.mCurLogFormat, 6);
  EXPECT_EQ(TemplateAfter("a b c d e f g\n"), "Shmw1qrcfa");
  EXPECT_EQ(mState.mCurLogFormat, 10);
  // 11 or 13 tabs and few blanks, or few blanks alone: not recognised, and
  // the next line is tried.
  EXPECT_EQ(TemplateAfter("1\t2\t3\t4\t5\t6\t7\t8\t9\t10\t11\t12\n"), "");
  EXPECT_EQ(TemplateAfter("1\t2\t3\t4\t5\t6\t7\t8\t9\t10\t11\t12\t13\t14\n"), "");
  EXPECT_EQ(mState.mFormatKnown, 0);
  EXPECT_EQ(TemplateAfter("a b c d e f\nsecond line with many more blanks in it\n"), "Shmw1qrcfa");
}

TEST_F(ReaderTest, HeaderLinesBuildTemplates) {
  EXPECT_EQ(TemplateAfter("#Software: Microsoft Internet Information Server 4.0\n#Version: 1.0\n"
                          "#Date: 1999-10-23 00:00:00\n#Fields: date time c-ip cs-username s-ip cs-method "
                          "cs-uri-stem cs-uri-query sc-status sc-bytes cs(User-Agent) cs(Referer)\n"),
            "S39hwm?xercaf");
  EXPECT_EQ(mState.mCurLogFormat, 4);
  EXPECT_EQ(TemplateAfter("#Software: Dolphin Speedstar 1.0\n#Fields: DATE C-IP\n"), "S3h");
  // Without a W3C "#Software:" line the names are WebSTAR's, compared with
  // case: lower-case names are all unknown.
  EXPECT_EQ(TemplateAfter("#Fields: date time c-ip cs-uri-stem\n"), "T");
  EXPECT_EQ(mState.mCurLogFormat, 2);
  EXPECT_EQ(TemplateAfter("#Fields: DATE TIME RESULT HOSTNAME URL BYTES_SENT\n"), "T39rhxc");
  EXPECT_EQ(TemplateAfter("!!LOG_FORMAT DATE TIME RESULT HOSTNAME URL BYTES_SENT\n"), "T59khxc");
  EXPECT_EQ(mState.mCurLogFormat, 1);
  EXPECT_EQ(TemplateAfter("!!LOG_FORMAT COMMON_LOG_FORMAT\n"), "Shmw1qrcfa");
  EXPECT_EQ(TemplateAfter("#Software: WebSTAR/2.1\n#Fields: date time c-ip cs-uri-stem sc-status bytes "
                          "cs(user-agent) cs(referer)\n"),
            "T29pxrcaf");
  EXPECT_EQ(mState.mCurLogFormat, 9);
  // Only the exact WebSTAR 2.1 line names that server.
  EXPECT_EQ(TemplateAfter("#Software: WebSTAR/2.1 beta\n#Fields: DATE URL\n"), "T3x");
  // Unknown names at the end cost nothing; an empty name ends the list.
  EXPECT_EQ(TemplateAfter("!!LOG_FORMAT URL FOO BAR\n"), "Tx");
  EXPECT_EQ(TemplateAfter("!!LOG_FORMAT URL  HOSTNAME\n"), "Tx");
  EXPECT_EQ(TemplateAfter("#Fields:\n"), "T");
}

TEST_F(ReaderTest, NetscapeFormatLine) {
  EXPECT_EQ(TemplateAfter("format=%Ses->client.ip% - %Req->vars.auth-user% [%SYSDATE%] "
                          "\"%Req->reqpb.clf-request%\" %Req->srvhdrs.clf-status% "
                          "%Req->srvhdrs.content-length%\n"),
            "Sh?w1qrc");
  EXPECT_EQ(mState.mCurLogFormat, 7);
  EXPECT_EQ(TemplateAfter("format=%Ses->client.ip%\t%SYSDATE%\n"), "");
}

TEST_F(ReaderTest, TemplatesBuiltFromHeadersHoldAtMost243Letters) {
  std::string names;
  for (int i = 0; i < 300; ++i) names += " URL";
  EXPECT_EQ(TemplateAfter("!!LOG_FORMAT" + names + "\n"), "T" + std::string(242, 'x'));
}

TEST_F(ReaderTest, LaterHeaderReplacesTemplateEvenAGivenOne) {
  SuperLog_SetLogFormat("Su", kSourceForm);
  const auto hits = ParseText("/first\n#Fields: URL HOSTNAME\n/second\n");
  EXPECT_EQ(mState.mKnownFormatBuf, std::string("Txh"));
  EXPECT_EQ(mState.mCurLogFormat, 2);
  EXPECT_TRUE(hits.empty());  // neither line is dated
}

TEST_F(ReaderTest, GivenTemplateWinsOverEveryGuess) {
  SuperLog_SetLogFormat("C0u", kSourceForm);
  const std::string fifteenCommas = "943920000, /x, c, d, e, f, g, h, i, j, k, l, m, n, o, p\n";
  const auto hits = ParseText(fifteenCommas);
  EXPECT_EQ(mState.mKnownFormatBuf, std::string("C0u"));
  EXPECT_EQ(mState.mCurLogFormat, 8);
  ASSERT_EQ(hits.size(), 1u);
  EXPECT_EQ(hits[0].url, "/x");
  EXPECT_EQ(hits[0].time, 943920000);
}

TEST_F(ReaderTest, LogFormatSettingIsTrimmedCheckedAndRanked) {
  char buf[32] = "Shmw1qrcfa?? ?";
  TrimLogFormat(buf);
  EXPECT_STREQ(buf, "Shmw1qrcfa");
  char allIgnored[] = "?? ";
  TrimLogFormat(allIgnored);
  EXPECT_STREQ(allIgnored, "");

  SuperLog_SetLogFormat("Shmw1qrcfa??", kSourceForm);
  EXPECT_STREQ(mState.mSpecialLogFormatBuf, "Shmw1qrcfa");
  SuperLog_SetLogFormat("hmw1", kSourceAccount);  // must start with a separator
  SuperLog_SetLogFormat(("S" + std::string(243, 'x')).c_str(), kSourceAccount);  // too long
  SuperLog_SetLogFormat(nullptr, kSourceAccount);
  EXPECT_STREQ(mState.mSpecialLogFormatBuf, "Shmw1qrcfa");
  EXPECT_EQ(mState.mLogFormatSource, kSourceForm);
  SuperLog_SetLogFormat("Tu", kSourceGlobal);
  SuperLog_SetLogFormat("Cu", kSourceForm);  // lower rank than the kept one
  EXPECT_STREQ(mState.mSpecialLogFormatBuf, "Tu");
  SuperLog_SetLogFormat("Su", kSourceGlobal);  // equal rank overwrites
  EXPECT_STREQ(mState.mSpecialLogFormatBuf, "Su");
  SuperLog_SetLogFormat(("S" + std::string(242, 'x')).c_str(), kSourceGlobal);
  EXPECT_EQ(strlen(mState.mSpecialLogFormatBuf), 243u);
}

TEST_F(ReaderTest, RecognitionLabelsArePrintedWhenDebugging) {
  const std::string text =
      "#Software: Microsoft Internet Information Server 4.0\n#Fields: date time\n"
      "!!LOG_FORMAT COMMON_LOG_FORMAT\n!!LOG_FORMAT URL\n#Software: WebSTAR/2.1\n#Fields: URL\n"
      "format=%SYSDATE%\n";
  testing_support::TempDir dir;
  testing_support::WriteFile(dir.file("log"), text);
  sltest::StartReaderWithoutLogs();
  mState.mDebugEnabled = 1;
  mState.mhFile = fopen(dir.file("log").c_str(), "rb");
  CaptureStdout capture;
  LogHit hit;
  while (SuperLog_ParseNextLine(&hit)) {
  }
  EXPECT_EQ(capture.Finish(),
            "W3C: IIS4<br>WebStar CLF/ELF<br>WebStar LogFormat<br>W3C: WebStar 2.1<br>Netscape<br>");

  // A data line recognised by counting, and a given template.
  SuperLog_NextLogFile_Done();
  ResetFormatRecognition();
  testing_support::WriteFile(dir.file("log"), "a b c d e f g\n");
  mState.mhFile = fopen(dir.file("log").c_str(), "rb");
  CaptureStdout again;
  SuperLog_ParseNextLine(&hit);
  SuperLog_SetLogFormat("Su", kSourceForm);
  ResetFormatRecognition();
  mState.mhFile = freopen(dir.file("log").c_str(), "rb", mState.mhFile);
  ResetBigBuf();
  SuperLog_ParseNextLine(&hit);
  EXPECT_EQ(again.Finish(), "CLF/ELF<br>Specified: Su<br>");
}

}  // namespace
