#include "analysis/dns_cache.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "support/test_support.h"

namespace {

// A matching upper-case code gives its name; otherwise the item is upper-cased.
TEST(DomainNames, CodesFromTheFileOrTheItemUpperCased) {
  testing_support::TempDir dir;
  const struct {
    const char* item;
    std::string file, name;
  } cases[] = {
      {"com", "EDU Education\nCOM Commercial organisations\n", "Commercial organisations"},
      {"uk", "UK \t United Kingdom\r\n", "United Kingdom"},
      {"de", "DE Germany\nDE Second line\n", "Germany"},
      {"com", "com lower-case codes never match\n", "COM"},
      {"com", "EDU Education\nCOM Commercial", "COM"},  // a last line without line end is not read
      {"fr", "FR " + std::string(150, 'n') + "\n", std::string(99, 'n')},
      {"fr", "FR " + std::string(98, 'm') + "\n", std::string(98, 'm')},  // its line end took the 99th place
      {"abcdefghijklmnopqrs", "ABCDEFGHIJKLMNOPQRSTUVWXYZ Long code\n", "Long code"},
  };
  for (const auto& c : cases) {
    testing_support::WriteFile(dir.file("networks"), c.file);
    char buffer[244];
    strcpy(buffer, c.item);
    ResolveItem(buffer, dir.file("networks").c_str());
    EXPECT_EQ(buffer, c.name) << c.file;
  }
}

}  // namespace
