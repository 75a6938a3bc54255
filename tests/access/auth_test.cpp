// Account authentication: internal addresses, account passwords and the
// passwords file.
#include <arpa/inet.h>
#include <crypt.h>

#include "access/auth.h"
#include "analysis/dns_cache.h"
#include "support/fixtures.h"

namespace {

// A scripted name service that knows one address and counts the questions.
int gQuestions = 0;
char* ScriptedLookup(uint32_t address, void*) {
  ++gQuestions;
  return address == inet_addr("198.51.100.7") ? strdup("ws1.intranet") : nullptr;
}

TEST(InternalAddress, EntriesMatchAnywhereAndNamesAreAskedForOnlyWhenNeeded) {
  StatsFields settings;
  DestroyDNSCache();
  ReverseResolver resolver{ScriptedLookup, nullptr};
  SetReverseResolver(&resolver);
  const std::string x300(300, 'x');
  const std::tuple<std::string, std::string, std::string, int, int> cases[] = {  // list, host, address, local, questions so far
      {"10.", "", "192.10.1.2", 1, 0},  // a substring, not a prefix
      {"", "10.1.2.3", "10.1.2.3", 0, 0}, {"192.168.,10.", "h", "10.0.0.9", 1, 0},
      {"10.,,11.", "203.0.113.5", "203.0.113.5", 1, 0},  // an empty entry admits all
      {".intranet", "198.51.100.7", "198.51.100.7", 1, 1}, {".intranet", "ws2.intranet", "198.51.100.8", 1, 1},
      {".intranet", "198.51.100.9", "198.51.100.9", 0, 2},
      {x300, std::string(243, 'x'), "", 1, 2}, {x300, std::string(242, 'x'), "", 0, 2},  // entries are cut at 243 characters
  };
  for (const auto& [list, host, address, local, questions] : cases) {
    settings.internalIp.set(list.c_str());
    EXPECT_EQ(LocalIP(&settings, host.c_str(), address.c_str()), local) << list.substr(0, 20) << " " << host.substr(0, 20);
    EXPECT_EQ(gQuestions, questions) << list << " " << host;
  }
  DestroyDNSCache();
  SetReverseResolver(nullptr);
}

// What a session of user, password and account password comes to: "granted",
// or the error number of the page it ends with.
using AuthTest = SettingsTest;
TEST_F(AuthTest, AccountPasswordThenPasswordsFileLinesPlainStarOrCrypt) {
  testing_support::TempDir dir;
  testing_support::WriteFile(dir.file("passwords"), "# comment line\n; ann:*\nann:*:Ann's account\nbob:Plain\r\ncarol:" +
                                                        std::string(crypt("secret", "ab")) + ":x\nfay:first\nfay:second\n" +
                                                        std::string(243, 'z') + "gil:pw\nhal:pw\n");
  const std::tuple<const char*, const char*, const char*, const char*, const char*> cases[] = {
      {"", "ann", "anything", "", "granted"},  // no passwords file: an open account
      {"passwords", "ANN", "", "", "granted"}, {"passwords", "bob", "PLAIN", "", "granted"},  // plain passwords ignore case
      {"passwords", "carol", "secret", "", "granted"}, {"passwords", "carol", "Secret", "", "2"}, {"passwords", "erin", "", "", "2"},
      {"passwords", "an", "", "", "2"},  // the name must be followed by ':'
      {"passwords", "fay", "second", "", "2"},  // only a user's first line counts
      {"passwords", "gil", "pw", "", "2"}, {"passwords", "hal", "pw", "", "granted"},  // a long line's rest is never a line
      {"passwords", "bob", "SECRET", "Secret", "granted"}, {"passwords", "bob", "x", "*", "granted"},
      {"passwords", "bob", "Plain", "Secret", "2"}, {"system", "ann", "x", "", "10"},  // no such file
  };
  settings.errorLog.set(dir.file("errors.log").c_str());
  for (const auto& [file, user, password, account, result] : cases) {
    settings.userPasswords.set(*file ? dir.file(file).c_str() : "");
    settings.username.set(user), settings.password.set(password), settings.accountPassword.set(account);
    const auto r = front_test::RunInChild([&] { ValidateSession(&settings, &env), printf("granted"); });
    const size_t at = r.out.find("Loglantern Error #");
    EXPECT_EQ(at == std::string::npos ? r.out : r.out.substr(at + 18, r.out.find(':', at) - at - 18), result) << user << ":" << password;
  }
  EXPECT_NE(testing_support::ReadFile(dir.file("errors.log")).find("] Could not open passwords file "), std::string::npos);
}

}  // namespace
