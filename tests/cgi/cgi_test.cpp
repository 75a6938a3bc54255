#include "cgi/cgi.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

TEST(Decode, PlusAndEscapesOfEitherCaseDecodeAndBrokenEscapesStayLiteral) {
  const std::pair<std::string, std::string> cases[] = {
      {"", ""}, {"a+b", "a b"}, {"%2B", "+"}, {"%2b%7E%7e%3a%3A%0a", "+~~::\n"}, {"%41%62+c%%d%zz%4", "Ab c%d%zz%4"},
      {"%%41", "%41"},  // "%%" is consumed before "41" is looked at
      {"%", "%"}, {"100%", "100%"}, {"%2", "%2"}, {"%4%", "%4%"}, {"%g1", "%g1"}, {"%1g", "%1g"},
      {"ab%00cd", "ab"}, {"%FF%80%fa", "\xff\x80\xfa"},
  };
  for (const auto& [in, out] : cases) {
    std::vector<char> buf(in.begin(), in.end());
    buf.push_back(0);
    decode(buf.data());
    EXPECT_EQ(std::string(buf.data()), out) << in;
  }
  decode(nullptr);
}

TEST(ParseEntries, SplitsAtAmpersandAndFirstEqualsUpToNulOrLengthAndCutsFields) {
  using Pairs = std::vector<std::pair<std::string, std::string>>;
  const std::string name(1000, 'n'), value(5000, 'v');
  const struct {
    std::string body;
    int length;  // -1: the body's size
    Pairs entries;
  } cases[] = {
      {"a=1&b=2", -1, {{"a", "1"}, {"b", "2"}}}, {"a=1&b", -1, {{"a", "1"}, {"b", ""}}},
      {"a=x=y", -1, {{"a", "x=y"}}}, {"&a=1", -1, {{"&a", "1"}}}, {"=v", -1, {{"", "v"}}},
      {"", -1, {{"", ""}}}, {"a=1&", -1, {{"a", "1"}, {"", ""}}},
      {std::string("a=1&b=2\0&c=3", 12), -1, {{"a", "1"}, {"b", "2"}}}, {"a=1&b=2", 3, {{"a", "1"}}},
      {name + "=" + value + "&next=ok", -1, {{std::string(254, 'n'), std::string(2047, 'v')}, {"next", "ok"}}},
  };
  for (const auto& c : cases) {
    std::vector<FormEntry> entries(4);
    std::memset(entries.data(), 0x55, entries.size() * sizeof(FormEntry));  // no free terminators
    const int n = parse_entries(entries.data(), c.body.data(), c.length < 0 ? static_cast<int32_t>(c.body.size()) : c.length);
    Pairs got;
    for (int i = 0; i < n; ++i) got.emplace_back(entries[i].name, entries[i].value);
    EXPECT_EQ(got, c.entries) << c.body.substr(0, 20);
  }
}

TEST(BodyLength, NegativeNonNumericOrOver64KiBMeansNoBody) {
  const std::pair<const char*, int32_t> cases[] = {{"", 0}, {"abc", 0}, {"-5", 0}, {"42", 42}, {" 17xyz", 17},
                                                   {"65536", 65536}, {"65537", 0}, {"99999999999999999999", 0}, {nullptr, 0}};
  for (const auto& [text, length] : cases) EXPECT_EQ(BodyLengthFromText(text), length) << (text ? text : "null");
  char buffer[16];
  FILE* in = fmemopen(const_cast<char*>("name=value&rest"), 15, "r");
  EXPECT_EQ(get_query(in, 10, buffer), 10);
  EXPECT_STREQ(buffer, "name=value");
  EXPECT_EQ(get_query(in, 12, buffer), 5);  // the body ended early
  EXPECT_STREQ(buffer, "&rest");
  fclose(in);
}

TEST(GetEnv, CopiesVariablesCutToTheirFieldsAndLeavesOthersEmpty) {
  const std::string longText(5000, 'q');
  setenv("REQUEST_METHOD", "POST", 1);
  setenv("QUERY_STRING", longText.c_str(), 1);
  setenv("REMOTE_HOST", longText.c_str(), 1);
  unsetenv("REMOTE_IDENT");
  CgiEnv env{};
  GetEnv(&env);
  EXPECT_STREQ(env.REQUEST_METHOD.c_str(), "POST");
  EXPECT_EQ(env.QUERY_STRING.size(), 199u);
  EXPECT_EQ(env.REMOTE_HOST.size(), 99u);
  EXPECT_EQ(env.REMOTE_IDENT.size(), 0u);
  EXPECT_EQ(env.commandLine, 0);
  // Local date "%B %d, %Y (%A)": a month name, a comma and a weekday in brackets.
  EXPECT_NE(std::string(env.date.c_str()).find(", "), std::string::npos);
  EXPECT_EQ(env.date.c_str()[env.date.size() - 1], ')');
  EXPECT_FALSE(env.time.empty());
  for (const char* name : {"REQUEST_METHOD", "QUERY_STRING", "REMOTE_HOST"}) unsetenv(name);
}

}  // namespace
