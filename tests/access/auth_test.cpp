// Account passwords and the passwords file (internal clients: see their pages).
#include <crypt.h>

#include "access/auth.h"
#include "support/fixtures.h"

namespace {

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
