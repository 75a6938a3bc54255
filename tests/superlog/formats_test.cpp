// Field splitters, format recognition and field templates.
#include "superlog_test_util.h"

namespace {

using sltest::ParseText;
using sltest::ReaderTest;

// The fields of a whole line joined by '|', split as the line parser walks.
std::string Split(char sep, const std::string& line) {
  ll::CopyText(mState.mLineBuf, line.c_str());
  std::string joined;
  for (mState.mpFieldStart = mState.mLineBuf; *mState.mpFieldStart; mState.mpFieldStart = mState.mpNextFieldStart) {
    SplitField(sep);
    EXPECT_EQ(static_cast<size_t>(mState.mValidLen), strlen(mState.mpValidStart)) << line;
    joined += "|" + std::string(mState.mpValidStart);
  }
  return joined.substr(1);
}

TEST_F(ReaderTest, Splitters) {
  const std::tuple<char, const char*, const char*> cases[] = {
      {'S', "1.2.3.4 - - [10/Oct/1999:13:55:36 -0700] \"GET / HTTP/1.0\" 200 512",
       "1.2.3.4|-|-|10/Oct/1999:13:55:36 -0700|GET / HTTP/1.0|200|512"},
      {'S', "1.2.3.4  - x", "1.2.3.4||-|x"},  // each further blank is an empty field
      {'S', "a\"b c\"d e", "a\"b c\"d|e"},    // quoted parts of plain fields keep blanks
      {'S', "'x \"y z' w", "x \"y z' w"},     // delimiters count only after even quotes
      {'T', "ab\"c\"\tx", "ab\"c\"|x"},  // quoted at its end only
      {'S', "\"a b\"c \"open to the end", "a b|c|open to the end"},
      {'T', "  a\t\"b c\"\t\tx\"\ty", "a|b c||x\"\ty"},
      {'C', "192.168.114.201, -, 03/20/01, /index.htm, -,", "192.168.114.201|-|03/20/01|/index.htm|-,"},
      {'C', "a,b, \tc, \"d, e\", f", "a,b|c|\"d, e\"|f"},
      {'?', "x, y", "x|y"},  // any other letter splits at commas
  };
  for (const auto& [sep, line, fields] : cases) EXPECT_EQ(Split(sep, line), fields) << line;
}

TEST_F(ReaderTest, TemplatesFromSeparatorCountsAndHeaderLines) {
  const std::string commas = "a, b, c, d, e, f, g, h, i, j, k, l, m, n, o, p\n";  // 15
  std::string longHeader = "!!LOG_FORMAT";
  for (int i = 0; i < 300; ++i) longHeader += " URL";
  const std::tuple<std::string, std::string, int> cases[] = {
      {commas, "Chw29v?m??cr??xefa", 3},
      {"1\t2\t3\t4\t5\t6\t7\t8\t9\t10\t11\t12\t13\n", "T4h?mw?uf?arc?", 5},
      {"1\t2\t3\t4\t5\t6\n", "T29khxc", 6},
      {"a b c d e f\n1\t2\t3\t4\t5\t6\t7\t8\t9\t10\t11\t12\na b c d e f g\n", "Shmw1qrcfa", 10},
      {"#Software: Microsoft Internet Information Server 4.0\n#Version: 1.0\n#Date: 1999-10-23 00:00:00\n"
       "#Fields: date time c-ip cs-username s-ip cs-method cs-uri-stem cs-uri-query sc-status sc-bytes "
       "cs(User-Agent) cs(Referer)\n",
       "S39hwm?xercaf", 4},
      {"#Software: Microsoft Internet Information Services 10.0\n#Fields: date s-sitename c-ip time-taken\n", "S3?h", 4},
      // Without a W3C "#Software:" line, upper-case WebSTAR names with case.
      {"#Fields: date time c-ip cs-uri-stem\n", "T", 2},
      {"!!LOG_FORMAT DATE TIME RESULT HOSTNAME URL BYTES_SENT\n", "T59khxc", 1},
      {"!!LOG_FORMAT COMMON_LOG_FORMAT\n", "Shmw1qrcfa", 1},
      {"!!LOG_FORMAT URL FOO  HOSTNAME\n", "Tx", 1},  // unknown names trimmed; an empty one ends
      {longHeader + "\n", "T" + std::string(242, 'x'), 1},
      {"#Software: WebSTAR/2.1\n#Fields: date time c-ip cs-uri-stem sc-status bytes cs(user-agent) cs(referer)\n",
       "T29pxrcaf", 9},
      {"format=%Ses->client.ip% - %Req->vars.auth-user% [%SYSDATE%] \"%Req->reqpb.clf-request%\" "
       "%Req->srvhdrs.clf-status% %Req->srvhdrs.content-length%\n",
       "Sh?w1qrc", 7},
      {"format=%Ses->client.ip%\t%SYSDATE%\n", "", 0},
      // Header lines replace the template in force wherever they stand.
      {"1 2 3 4 5 6 7\n#Fields: URL HOSTNAME\n", "Txh", 2},
  };
  for (const auto& [text, expected, format] : cases) {
    SuperLog_ResetForTesting();
    ParseText(text);
    EXPECT_EQ(mState.mKnownFormatBuf, expected) << text;
    EXPECT_EQ(mState.mCurLogFormat, format) << text;
  }
}

TEST_F(ReaderTest, LogFormatSettingIsTrimmedCheckedAndRanked) {
  char allIgnored[] = "?? ";
  TrimLogFormat(allIgnored);
  EXPECT_STREQ(allIgnored, "");
  SuperLog_SetLogFormat("Shmw1qrcfa?? ?", kSourceGlobal);
  const std::string tooLong = "S" + std::string(243, 'x');
  for (const char* refused : {"hmw1", tooLong.c_str(), static_cast<const char*>(nullptr)}) {
    SuperLog_SetLogFormat(refused, kSourceAccount);  // refused values keep neither value nor rank
  }
  SuperLog_SetLogFormat("Cu", kSourceForm);  // lower rank
  EXPECT_STREQ(mState.mSpecialLogFormatBuf, "Shmw1qrcfa");
  SuperLog_SetLogFormat(("T" + std::string(242, 'x')).c_str(), kSourceGlobal);  // equal rank, longest
  EXPECT_EQ(strlen(mState.mSpecialLogFormatBuf), 243u);
}

TEST_F(ReaderTest, RecognitionLabelsWhenDebugging) {
  testing_support::CaptureStdout capture;
  mState.mDebugEnabled = 1;  // kept by ParseText
  ParseText("#Software: Microsoft Internet Information Server 4.0\n#Fields: date time\n"
            "!!LOG_FORMAT COMMON_LOG_FORMAT\n!!LOG_FORMAT URL\n#Software: WebSTAR/2.1\n#Fields: URL\n"
            "format=%SYSDATE%\n");
  ParseText("a b c d e f g\n");
  SuperLog_SetLogFormat("Su", kSourceForm);
  ParseText("a b c d e f g\n");
  EXPECT_EQ(capture.Finish(),
            "W3C: IIS4<br>WebStar CLF/ELF<br>WebStar LogFormat<br>W3C: WebStar 2.1<br>Netscape<br>"
            "CLF/ELF<br>Specified: Su<br>");
}

}  // namespace
