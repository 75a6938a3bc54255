// Field splitters: how the line parser walks the fields of each kind of log.
#include "superlog_test_util.h"

namespace {

using sltest::ReaderTest;

// The fields of a whole line joined by '|', split as the line parser walks.
std::string Split(char sep, const std::string& line) {
  ll::CopyText(mState.mLineBuf, kLineBufSize, line.c_str());
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
      {'S', "1.2.3.4  - x", "1.2.3.4||-|x"},  // each further blank is an empty field
      {'S', "a\"b c\"d e", "a\"b c\"d|e"},    // quoted parts of plain fields keep blanks
      {'S', "'x \"y z' w", "x \"y z' w"},     // delimiters count only after even quotes
      {'T', "ab\"c\"\tx", "ab\"c\"|x"},  // quoted at its end only
      {'S', "\"a b\"c \"open to the end", "a b|c|open to the end"},
      {'T', "  a\t\"b c\"\t\tx\"\ty", "a|b c||x\"\ty"},
      {'C', "a,b, \tc, \"d, e\", f", "a,b|c|\"d, e\"|f"},
      {'?', "x, y", "x|y"},  // any other letter splits at commas
  };
  for (const auto& [sep, line, fields] : cases) EXPECT_EQ(Split(sep, line), fields) << line;
}

}  // namespace
