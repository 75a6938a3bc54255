#include "cgi/cgi.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

std::string Decoded(std::string text) {
  std::vector<char> buf(text.begin(), text.end());
  buf.push_back(0);
  decode(buf.data());
  return std::string(buf.data());
}

TEST(Decode, PlusPercentAndLiteralPercents) {
  EXPECT_EQ(Decoded(""), "");
  EXPECT_EQ(Decoded("a+b"), "a b");
  EXPECT_EQ(Decoded("%2B"), "+");
  EXPECT_EQ(Decoded("%2b%7E%7e"), "+~~");
  EXPECT_EQ(Decoded("%41%62+c%%d%zz%4"), "Ab c%d%zz%4");
  // The "%%" pair is consumed before anything else looks at "41".
  EXPECT_EQ(Decoded("%%41"), "%41");
}

TEST(Decode, TruncatedEscapesStayLiteralAtTheEnd) {
  EXPECT_EQ(Decoded("%"), "%");
  EXPECT_EQ(Decoded("100%"), "100%");
  EXPECT_EQ(Decoded("%2"), "%2");
  EXPECT_EQ(Decoded("%4%"), "%4%");
  EXPECT_EQ(Decoded("%g1"), "%g1");
}

TEST(Decode, EncodedNulEndsTheTextAndNullIsIgnored) {
  EXPECT_EQ(Decoded("ab%00cd"), "ab");
  decode(nullptr);
}

TEST(Decode, HighBytesDecode) {
  EXPECT_EQ(Decoded("%FF%80"), std::string("\xff\x80"));
}

struct Parsed {
  int count;
  std::vector<std::pair<std::string, std::string>> entries;
};

Parsed Parse(const std::string& body) {
  size_t amps = 0;
  for (char c : body) amps += c == '&';
  std::vector<FormEntry> entries(amps + 1);
  std::memset(entries.data(), 0x55, entries.size() * sizeof(FormEntry));  // no free terminators
  Parsed p;
  p.count = parse_entries(entries.data(), body.c_str(), static_cast<int32_t>(body.size()));
  for (int i = 0; i < p.count; ++i) p.entries.emplace_back(entries[i].name, entries[i].value);
  return p;
}

using Pairs = std::vector<std::pair<std::string, std::string>>;

TEST(ParseEntries, SplitsAtAmpersandAndFirstEquals) {
  EXPECT_EQ(Parse("a=1&b=2").entries, (Pairs{{"a", "1"}, {"b", "2"}}));
  EXPECT_EQ(Parse("a=1&b").entries, (Pairs{{"a", "1"}, {"b", ""}}));
  EXPECT_EQ(Parse("a=x=y").entries, (Pairs{{"a", "x=y"}}));
  EXPECT_EQ(Parse("&a=1").entries, (Pairs{{"&a", "1"}}));
  EXPECT_EQ(Parse("x").entries, (Pairs{{"x", ""}}));
  EXPECT_EQ(Parse("=v").entries, (Pairs{{"", "v"}}));
  EXPECT_EQ(Parse("").entries, (Pairs{{"", ""}}));
  EXPECT_EQ(Parse("a=1&").entries, (Pairs{{"a", "1"}, {"", ""}}));
}

TEST(ParseEntries, StopsAtTheFirstNulAndAtLength) {
  std::string body("a=1&b=2\0&c=3", 12);
  std::vector<FormEntry> entries(3);
  EXPECT_EQ(parse_entries(entries.data(), body.data(), 12), 2);
  EXPECT_STREQ(entries[1].value, "2");
  EXPECT_EQ(parse_entries(entries.data(), "a=1&b=2", 3), 1);
  EXPECT_STREQ(entries[0].value, "1");
}

TEST(ParseEntries, OverlongNameAndValueAreCutToTheirFields) {
  std::string name(1000, 'n');
  std::string value(5000, 'v');
  Parsed p = Parse(name + "=" + value + "&next=ok");
  ASSERT_EQ(p.count, 2);
  EXPECT_EQ(p.entries[0].first, std::string(254, 'n'));
  EXPECT_EQ(p.entries[0].second, std::string(2047, 'v'));
  EXPECT_EQ(p.entries[1], (std::pair<std::string, std::string>{"next", "ok"}));
}

TEST(GetQuery, ReadsUpToLengthOrEndOfInput) {
  char buffer[16];
  FILE* in = fmemopen(const_cast<char*>("name=value&rest"), 15, "r");
  EXPECT_EQ(get_query(in, 10, buffer), 10);
  EXPECT_STREQ(buffer, "name=value");
  fclose(in);

  in = fmemopen(const_cast<char*>("short"), 5, "r");
  EXPECT_EQ(get_query(in, 12, buffer), 5);  // the body ended early
  EXPECT_STREQ(buffer, "short");
  fclose(in);

  in = fmemopen(const_cast<char*>("x"), 1, "r");
  EXPECT_EQ(get_query(in, 0, buffer), 0);
  EXPECT_STREQ(buffer, "");
  fclose(in);
}

TEST(BodyLength, NegativeOrNonNumericMeansNoBody) {
  EXPECT_EQ(BodyLengthFromText(""), 0);
  EXPECT_EQ(BodyLengthFromText("abc"), 0);
  EXPECT_EQ(BodyLengthFromText("-5"), 0);
  EXPECT_EQ(BodyLengthFromText("42"), 42);
  EXPECT_EQ(BodyLengthFromText(" 17xyz"), 17);
  EXPECT_EQ(BodyLengthFromText("65536"), 65536);
  EXPECT_EQ(BodyLengthFromText("65537"), 0);  // too long for a form: no body
  EXPECT_EQ(BodyLengthFromText("99999999999999999999"), 0);
  EXPECT_EQ(BodyLengthFromText(nullptr), 0);
}

// Sets or unsets environment variables for one test and restores them after.
class EnvGuard {
 public:
  void Set(const char* name, const char* value) {
    Remember(name);
    setenv(name, value, 1);
  }
  void Unset(const char* name) {
    Remember(name);
    unsetenv(name);
  }
  ~EnvGuard() {
    for (auto& [name, value, had] : saved_) {
      if (had) setenv(name.c_str(), value.c_str(), 1);
      else unsetenv(name.c_str());
    }
  }

 private:
  void Remember(const char* name) {
    const char* v = getenv(name);
    saved_.push_back({name, v ? v : "", v != nullptr});
  }
  struct Saved {
    std::string name, value;
    bool had;
  };
  std::vector<Saved> saved_;
};

TEST(GetEnv, CopiesDefinedVariablesAndLeavesOthersEmpty) {
  EnvGuard guard;
  guard.Set("REQUEST_METHOD", "POST");
  guard.Set("CONTENT_LENGTH", "");
  guard.Unset("QUERY_STRING");
  guard.Set("SERVER_ADMIN", "webmaster@localhost");
  CgiEnv env{};
  GetEnv(&env);
  EXPECT_STREQ(env.REQUEST_METHOD.c_str(), "POST");
  EXPECT_STREQ(env.CONTENT_LENGTH.c_str(), "");
  EXPECT_STREQ(env.QUERY_STRING.c_str(), "");
  EXPECT_STREQ(env.SERVER_ADMIN.c_str(), "webmaster@localhost");
  EXPECT_EQ(env.commandLine, 0);
  // Local date "%B %d, %Y (%A)": a month name, a comma and a weekday in brackets.
  EXPECT_NE(std::string(env.date.c_str()).find(", "), std::string::npos);
  EXPECT_EQ(env.date.c_str()[env.date.size() - 1], ')');
  EXPECT_FALSE(env.time.empty());
}

TEST(GetEnv, OverlongValuesAreCutToTheirFields) {
  EnvGuard guard;
  std::string longText(5000, 'q');
  guard.Set("QUERY_STRING", longText.c_str());
  guard.Set("REMOTE_HOST", longText.c_str());
  CgiEnv env{};
  GetEnv(&env);
  EXPECT_EQ(env.QUERY_STRING.size(), 199u);
  EXPECT_EQ(env.REMOTE_HOST.size(), 99u);
  EXPECT_EQ(env.REMOTE_IDENT.size(), 0u);  // the field after it is untouched
}

}  // namespace
