// Account authentication: internal addresses, account passwords and the
// passwords file.
#include <arpa/inet.h>
#include <crypt.h>

#include <cstring>
#include <string>

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
  const struct {
    std::string list, host, addr;
    int local, questions;  // questions asked so far
  } cases[] = {
      {"10.", "", "192.10.1.2", 1, 0},  // a substring, not a prefix
      {"10.", "172.16.0.1", "172.16.0.1", 0, 0}, {"", "10.1.2.3", "10.1.2.3", 0, 0},
      {"192.168.,10.", "h", "10.0.0.9", 1, 0}, {"10.,,11.", "203.0.113.5", "203.0.113.5", 1, 0},  // an empty entry admits all
      {".intranet", "198.51.100.7", "198.51.100.7", 1, 1}, {".intranet", "ws2.intranet", "198.51.100.8", 1, 1},
      {".intranet", "198.51.100.9", "198.51.100.9", 0, 2},
      {x300, std::string(243, 'x'), "", 1, 2}, {x300, std::string(242, 'x'), "", 0, 2},  // entries are cut at 243 characters
  };
  for (const auto& c : cases) {
    settings.internalIp.set(c.list.c_str());
    EXPECT_EQ(LocalIP(&settings, c.host.c_str(), c.addr.c_str()), c.local) << c.list.substr(0, 20) << " " << c.host.substr(0, 20);
    EXPECT_EQ(gQuestions, c.questions) << c.list << " " << c.host;
  }
  DestroyDNSCache();
  SetReverseResolver(nullptr);
}

class AuthTest : public SettingsTest {
 protected:
  // "granted", or the error number of the page a session ends with.
  std::string Session(const char* user, const char* password, const char* accountPassword = "") {
    settings.username.set(user);
    settings.password.set(password);
    settings.accountPassword.set(accountPassword);
    const auto r = front_test::RunInChild([&] { ValidateSession(&settings, &env), printf("granted"); });
    const size_t at = r.out.find("Loglantern Error #");
    return at == std::string::npos ? r.out : r.out.substr(at + 18, r.out.find(':', at) - at - 18);
  }
  testing_support::TempDir dir;
};

TEST_F(AuthTest, AccountPasswordThenPasswordsFileLinesPlainStarOrCrypt) {
  EXPECT_EQ(Session("ann", "anything"), "granted");  // no passwords file: an open account
  testing_support::WriteFile(dir.file("passwords"), "# comment line\n; ann:*\nann:*:Ann's account\nbob:Plain\r\ncarol:" +
                                                        std::string(crypt("secret", "ab")) + ":x\nfay:first\nfay:second\n" +
                                                        std::string(243, 'z') + "gil:pw\nhal:pw\n");
  settings.userPasswords.set(dir.file("passwords").c_str());
  const struct {
    const char *user, *password, *account, *result;
  } cases[] = {
      {"ANN", "", "", "granted"}, {"bob", "PLAIN", "", "granted"},  // plain passwords ignore case
      {"bob", "Plai", "", "2"}, {"carol", "secret", "", "granted"}, {"carol", "Secret", "", "2"}, {"erin", "", "", "2"},
      {"an", "", "", "2"},  // the name must be followed by ':'
      {"fay", "second", "", "2"},  // only a user's first line counts
      {"gil", "pw", "", "2"}, {"hal", "pw", "", "granted"},  // a long line's rest is dropped, never read as a line
      {"bob", "SECRET", "Secret", "granted"}, {"bob", "whatever", "*", "granted"}, {"bob", "Plain", "Secret", "2"},
  };
  for (const auto& c : cases) EXPECT_EQ(Session(c.user, c.password, c.account), c.result) << c.user << ":" << c.password;
  settings.userPasswords.set(dir.file("system").c_str());  // no such file
  settings.errorLog.set(dir.file("errors.log").c_str());
  EXPECT_EQ(Session("ann", "x"), "10");
  EXPECT_NE(testing_support::ReadFile(dir.file("errors.log")).find("] Could not open passwords file "), std::string::npos);
}

}  // namespace
