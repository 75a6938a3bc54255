// Account authentication: internal addresses, account passwords and the
// passwords file.
#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <crypt.h>

#include <cstdlib>
#include <cstring>
#include <map>
#include <string>

#include "access/auth.h"
#include "analysis/dns_cache.h"
#include "cgi/cgi_env.h"
#include "settings/stats_fields.h"
#include "support/test_support.h"

namespace {

using testing_support::ReadFile;
using testing_support::TempDir;
using testing_support::WriteFile;

// Stores a path in a settings field (cut at the field's width).
template <size_t N>
void SetPath(ll::FixedText<N>* field, const std::string& path) {
  field->set(path.data(), path.size());
}

// A scripted name service: answers from a table and counts the questions.
struct ScriptedNames {
  std::map<uint32_t, std::string> names;
  int questions = 0;
};

char* ScriptedLookup(uint32_t address, void* context) {
  auto* script = static_cast<ScriptedNames*>(context);
  ++script->questions;
  auto it = script->names.find(address);
  return it == script->names.end() ? nullptr : strdup(it->second.c_str());
}

uint32_t NetworkOrder(int a, int b, int c, int d) {
  uint32_t host = (uint32_t(a) << 24) | (uint32_t(b) << 16) | (uint32_t(c) << 8) | uint32_t(d);
  return htonl(host);
}

class AuthTest : public ::testing::Test {
 protected:
  void SetUp() override {
    initialize(&settings_, &env_);
    DestroyDNSCache();
    ReverseResolver resolver{ScriptedLookup, &names_};
    SetReverseResolver(&resolver);
  }
  void TearDown() override {
    DestroyDNSCache();
    SetReverseResolver(nullptr);
  }

  int Local(const char* list, const char* host, const char* addr) {
    settings_.internalIp.set(list);
    return LocalIP(&settings_, host, addr);
  }

  // Writes a passwords file and points the settings at it.
  void Passwords(const std::string& content) {
    WriteFile(dir_.file("passwords"), content);
    SetPath(&settings_.userPasswords, dir_.file("passwords"));
  }

  int Verify(const char* user, const char* password) {
    settings_.username.set(user);
    settings_.password.set(password);
    return VerifyPassword(&settings_, &env_);
  }

  TempDir dir_;
  ScriptedNames names_;
  StatsFields settings_;
  CgiEnv env_;
};

TEST_F(AuthTest, InternalEntriesMatchAnywhereInTheAddress) {
  EXPECT_EQ(Local("10.", "10.1.2.3", "10.1.2.3"), 1);
  EXPECT_EQ(Local("10.", "", "192.10.1.2"), 1);  // a substring, not a prefix
  EXPECT_EQ(Local("10.", "172.16.0.1", "172.16.0.1"), 0);
  EXPECT_EQ(Local("", "10.1.2.3", "10.1.2.3"), 0);
  EXPECT_EQ(Local("192.168.,10.", "h", "10.0.0.9"), 1);  // second entry
  EXPECT_EQ(names_.questions, 0);  // an all-numeric list never needs a name
}

TEST_F(AuthTest, EmptyEntryAdmitsEveryone) {
  EXPECT_EQ(Local("10.,", "203.0.113.5", "203.0.113.5"), 1);
  EXPECT_EQ(Local(",10.", "203.0.113.5", "203.0.113.5"), 1);
  EXPECT_EQ(Local("10.,,11.", "203.0.113.5", "203.0.113.5"), 1);
}

TEST_F(AuthTest, HostEntriesLookUpTheNameOfANumericHost) {
  names_.names[NetworkOrder(198, 51, 100, 7)] = "ws1.intranet";
  EXPECT_EQ(Local(".intranet", "198.51.100.7", "198.51.100.7"), 1);
  EXPECT_EQ(names_.questions, 1);
  // A host that is already a name is used as it is.
  EXPECT_EQ(Local(".intranet", "ws2.intranet", "198.51.100.8"), 1);
  EXPECT_EQ(names_.questions, 1);
  // No name: the numeric host itself is tested.
  EXPECT_EQ(Local(".intranet", "198.51.100.9", "198.51.100.9"), 0);
  EXPECT_EQ(Local(".intranet,198.51.", "198.51.100.9", ""), 1);
}

TEST_F(AuthTest, OverlongInternalEntriesAreCutNotOverrun) {
  std::string entry(300, 'x');
  EXPECT_EQ(Local(entry.c_str(), std::string(243, 'x').c_str(), ""), 1);
  EXPECT_EQ(Local(entry.c_str(), std::string(242, 'x').c_str(), ""), 0);
}

TEST_F(AuthTest, NoPasswordsFileMeansAnOpenAccount) { EXPECT_EQ(Verify("ann", "anything"), 1); }

TEST_F(AuthTest, PasswordsFileLinesArePlainStarOrCrypt) {
  std::string des = crypt("secret", "ab");
  std::string sha = crypt("s3cret", "$6$abcdefgh$");
  Passwords("# comment line\n"
            "; ann:*\n"
            "ann:*:Ann's account\n"
            "bob:Plain\r\n"
            "carol:" + des + ":x\n"
            "dave:" + sha + "\n");
  EXPECT_EQ(Verify("ANN", ""), 1);
  EXPECT_EQ(Verify("bob", "PLAIN"), 1);  // plain passwords ignore case
  EXPECT_EQ(Verify("bob", "Plai"), 0);
  EXPECT_EQ(Verify("carol", "secret"), 1);
  EXPECT_EQ(Verify("carol", "Secret"), 0);
  EXPECT_EQ(Verify("dave", "s3cret"), 1);
  EXPECT_EQ(Verify("dave", "s3cre"), 0);
  EXPECT_EQ(Verify("erin", ""), 0);  // no line for the user
  EXPECT_EQ(Verify("an", ""), 0);    // the name must be followed by ':'
}

TEST_F(AuthTest, OnlyTheFirstLineOfAUserCounts) {
  Passwords("ann:first\nann:second\n");
  EXPECT_EQ(Verify("ann", "first"), 1);
  EXPECT_EQ(Verify("ann", "second"), 0);
}

TEST_F(AuthTest, LongLinesKeepOnlyTheirFirst243Characters) {
  // The rest of a long line is never read as a line of its own.
  Passwords(std::string(243, 'z') + "ann:pw\nbob:x\n");
  EXPECT_EQ(Verify("ann", "pw"), 0);
  EXPECT_EQ(Verify("bob", "x"), 1);
}

TEST_F(AuthTest, AccountPasswordDecidesBeforeThePasswordsFile) {
  Passwords("ann:filepw\n");
  settings_.accountPassword.set("Secret");
  settings_.username.set("ann");
  settings_.password.set("SECRET");
  ValidateSession(&settings_, &env_);  // returns: granted

  settings_.accountPassword.set("*");
  settings_.password.set("whatever");
  ValidateSession(&settings_, &env_);

  settings_.accountPassword.set("");
  settings_.password.set("filepw");
  ValidateSession(&settings_, &env_);
  SUCCEED();
}

using AuthDeathTest = AuthTest;

// Runs f with the error page sent to /dev/null (f is expected to end the
// process, so nothing is restored).
template <typename F>
void Quietly(F f) {
  if (!freopen("/dev/null", "w", stdout)) return;
  f();
}

TEST_F(AuthDeathTest, PasswordsFileRefusalAndMissingFile) {
  Passwords("ann:filepw\n");
  settings_.username.set("ann");
  settings_.password.set("other");
  EXPECT_EXIT(Quietly([&] { ValidateSession(&settings_, &env_); }), ::testing::ExitedWithCode(0),
              "");

  SetPath(&settings_.userPasswords, dir_.file("system"));  // no such file
  SetPath(&settings_.errorLog, dir_.file("errors.log"));
  EXPECT_EXIT(Quietly([&] { VerifyPassword(&settings_, &env_); }), ::testing::ExitedWithCode(0),
              "");
  EXPECT_NE(ReadFile(dir_.file("errors.log")).find("] Could not open passwords file "),
            std::string::npos);
}

}  // namespace
