// Browser families, operating systems and robots from the browser text,
// by the user-agent rules of Debian's uap-core package.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

struct ItemKey;

// What one browser text is.  Texts are cut to fit.
struct AgentClass {
  char browser[64];  // family and major version: "Firefox 115", "Other"
  char system[64];   // operating system and major version: "Windows 10", "Other"
  char robot[64];    // the crawler's family when the device rules call it a spider, else ""
};

// A number for each distinct browser text of the run (null counts as ""),
// from 0 in order of first sight; remembered outside the memory ceiling.
// Texts are taken to their first 243 bytes, as the log reader cuts them.
uint32_t AgentId(const char* agent);
// The same for a text whose key in a list counted with strcmp was made
// already (MakeItemKey): its hash is reused.
uint32_t AgentIdOfKey(const ItemKey& key);
// Whether id numbers the browser text agent (length bytes, as cut for
// AgentId): cheaper than numbering the text again when its number is known
// to be likely.
bool AgentIdIs(uint32_t id, const char* agent, size_t length);

// Classifies the text of an id; each is matched once per run and the answer
// remembered.  The first call compiles the rules.  The reference stays
// valid until the next new text or AgentsReset.
const AgentClass& ClassifyAgentId(uint32_t id);
inline const AgentClass& ClassifyAgent(const char* agent) { return ClassifyAgentId(AgentId(agent)); }

// Bytes held by the remembered classifications (the debugging table).
long AgentsMemoryBytes();

// Forgets every classification (the compiled rules stay).
void AgentsReset();

// What every match of a rule's regular expression contains, as far as can
// be told: each entry lists texts of which every match holds at least one
// (a single text when a run of bytes is always there); none when nothing
// can be told.  A browser text that lacks any entry is not tried against
// the rule.
using RequiredAnyOf = std::vector<std::string>;
std::vector<RequiredAnyOf> RequiredTexts(const std::string& regex);
