#include "cgi/cgi.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

namespace {

// Hex digits at both ends of each range, either case; broken escapes stay.
TEST(Decode, PlusAndEscapesOfEitherCaseDecodeAndBrokenEscapesStayLiteral) {
  const std::pair<std::string, std::string> cases[] = {
      {"a+b%2B%2b%3a%3A%0a%30%39%7E%7e%46%66", "a b++::\n09~~Ff"}, {"%FF%80%fa", "\xff\x80\xfa"},
      {"%%41", "%41"},  // "%%" is consumed before "41" is looked at
      {"100%", "100%"}, {"%4%", "%4%"}, {"%g1%G1%/1%:1", "%g1%G1%/1%:1"}, {"%1g%1@%1`", "%1g%1@%1`"}, {"ab%00cd", "ab"},
  };
  for (const auto& [in, out] : cases) {
    std::string buf = in;
    decode(buf.data());
    EXPECT_EQ(std::string(buf.c_str()), out) << in;
  }
  decode(nullptr);
}

// Entries shown as "name=value|" each.
TEST(ParseEntries, SplitsAtAmpersandAndFirstEqualsUpToNulOrLengthAndCutsFields) {
  const std::tuple<std::string, int, std::string> cases[] = {  // body, length (-1: the body's size), entries
      {"a=x=y&b", -1, "a=x=y|b=|"}, {"=v&", -1, "=v|=|"}, {std::string("a=1&b=2\0&c=3", 12), -1, "a=1|b=2|"}, {"a=1&b=2", 3, "a=1|"},
      {std::string(1000, 'n') + "=" + std::string(5000, 'v') + "&next=ok", -1,
       std::string(254, 'n') + "=" + std::string(2047, 'v') + "|next=ok|"},
  };
  for (const auto& [body, length, expected] : cases) {
    std::vector<FormEntry> entries(4);
    std::memset(entries.data(), 0x55, entries.size() * sizeof(FormEntry));  // no free terminators
    const int n = parse_entries(entries.data(), body.data(), length < 0 ? static_cast<int32_t>(body.size()) : length);
    std::string got;
    for (int i = 0; i < n; ++i) got += std::string(entries[i].name) + "=" + entries[i].value + "|";
    EXPECT_EQ(got, expected) << body.substr(0, 20);
  }
}

TEST(BodyLength, NegativeNonNumericOrOver64KiBMeansNoBody) {
  const std::pair<const char*, int32_t> cases[] = {{"abc", 0}, {"-5", 0}, {" 17xyz", 17}, {"65536", 65536}, {"65537", 0}};
  for (const auto& [text, length] : cases) EXPECT_EQ(BodyLengthFromText(text), length) << text;
  char first[16], rest[16];
  FILE* in = fmemopen(const_cast<char*>("name=value&rest"), 15, "r");
  const int32_t n1 = get_query(in, 10, first), n2 = get_query(in, 12, rest);  // the body ends early
  EXPECT_EQ(std::to_string(n1) + first + "|" + std::to_string(n2) + rest, "10name=value|5&rest");
  fclose(in);
}

}  // namespace
