// The user-agent rules as constant tables, generated at build time from
// the rules file of Debian's uap-core package.
#pragma once

// One rule: a regular expression and what a match stands for.  replacement
// holds $1..$9 for the expression's groups; null means group 1 (group 2 for
// version).
struct AgentRule {
  const char* regex;
  bool caseless;
  const char* replacement;
  const char* version;
};

extern const AgentRule kBrowserRules[];
extern const int kBrowserRulesCount;
extern const AgentRule kSystemRules[];
extern const int kSystemRulesCount;
extern const AgentRule kDeviceRules[];
extern const int kDeviceRulesCount;
