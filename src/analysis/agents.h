// Browser families, operating systems and robots from the browser text,
// by the user-agent rules of Debian's uap-core package.
#pragma once

// What one browser text is.  Texts are cut to fit.
struct AgentClass {
  char browser[64];  // family and major version: "Firefox 115", "Other"
  char system[64];   // operating system and major version: "Windows 10", "Other"
  char robot[64];    // the crawler's family when the device rules call it a spider, else ""
};

// Classifies agent (null counts as ""); each distinct text is matched once
// per run and remembered, outside the memory ceiling.  The first call
// compiles the rules.  The reference stays valid until AgentsReset.
const AgentClass& ClassifyAgent(const char* agent);

// Bytes held by the remembered classifications (the debugging table).
long AgentsMemoryBytes();

// Forgets every classification (the compiled rules stay).
void AgentsReset();
