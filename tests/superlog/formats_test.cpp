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

// Templates that the logs of log_formats.txt do not show: names cut, unknown
// or missing, and a header line after data lines.
TEST_F(ReaderTest, TemplatesFromSeparatorCountsAndHeaderLines) {
  std::string longHeader = "!!LOG_FORMAT";
  for (int i = 0; i < 300; ++i) longHeader += " URL";
  const std::tuple<std::string, std::string, int> cases[] = {
      {"a, b, c, d, e, f, g, h, i, j, k, l, m, n, o, p\n", "Chw29v?m??cr??xefa", 3},
      {"a b c d e f\n1\t2\t3\t4\t5\t6\t7\t8\t9\t10\t11\t12\na b c d e f g\n", "Shmw1qrcfa", 10},
      {"#Software: Microsoft Internet Information Services 10.0\n#Fields: date s-sitename c-ip time-taken\n", "S3?h", 4},
      {"#Fields: date time c-ip cs-uri-stem\n", "T", 2},  // without "#Software:", WebSTAR names with case
      {"!!LOG_FORMAT URL FOO  HOSTNAME\n", "Tx", 1},  // unknown names trimmed; an empty one ends
      {longHeader + "\n", "T" + std::string(242, 'x'), 1},
      {"format=%Ses->client.ip%\t%SYSDATE%\n", "", 0},
      {"1 2 3 4 5 6 7\n#Fields: URL HOSTNAME\n", "Txh", 2},
  };
  for (const auto& [text, expected, format] : cases) {
    SuperLog_ResetForTesting();
    ParseText(text);
    EXPECT_EQ(mState.mKnownFormatBuf + std::string("|") + std::to_string(mState.mCurLogFormat),
              expected + "|" + std::to_string(format)) << text;
  }
}

}  // namespace
