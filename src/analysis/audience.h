// The sections that a request names by keyword: visitors and visits, pages
// with entry and exit pages, status codes, browser families and operating
// systems, and robots.  Counted in the analysis pass for exactly the hits
// that the header's requests count.
#pragma once

#include <cstdint>

struct StatsFields;
struct PassResults;
struct LogHit;
struct ItemKey;

// True when any of these sections is on; a pass without them never calls
// the functions below.
bool AudienceWanted(const StatsFields* settings);

// Makes the lists of the sections that are on, after the classic lists of
// the catalogue, and forgets the visitors of an earlier pass.
void AudienceStart(const StatsFields* settings, PassResults* results);

// True when a section that is on needs each hit's browser-text number.
bool AudienceNeedsAgents(const StatsFields* settings);

// Kept by the pass beside its memo of one recent host, for the newer
// sections: where the visitor that the host's last browser text made is,
// so that the host's next hits need not look the visitor up.  The pass
// changes stamp whenever the memo passes to another host, which voids the
// rest.
struct VisitorMemo {
  uint32_t stamp = 0;
  uint32_t agentPlusOne = 0;  // the browser text's number plus one; 0 for none
  uint32_t slot = 0;          // the visitor's place in the visitor table ...
  uint32_t generation = 0;    // ... while the table has this generation
};

// What the pass has worked out of a hit already, so that the sections need
// not hash its texts again; any of it may be left unknown.
struct AudienceHitKeys {
  const ItemKey* url = nullptr;    // its key in Top URLs, when that list is on
  const ItemKey* agent = nullptr;  // its key in Browsers, when that list is on
  int64_t agentId = -1;            // the number AgentId gives its browser text
  uint32_t hostHash = 0;           // TextHash of the host as logged; 0 for none
  VisitorMemo* visitorMemo = nullptr;  // the host's, when the pass keeps one
};

// Starts on a hit that will be counted: numbers its browser text and
// requests its visitor's slot, so that the wait for memory overlaps other
// work.  Hits are counted in the order they are prepared, at most two ahead;
// optional, CountAudienceHit does it when not done.  A page's key is its
// Top URLs key, and a browser text is numbered by the hash of its Browsers
// key.  Returns the hit's browser-text number when AudienceNeedsAgents.
uint32_t PrepareAudienceHit(const LogHit* hit, const char* loggedHost, const AudienceHitKeys& keys);

// Counts one hit.  loggedHost is the host as logged, before any lookup.
void CountAudienceHit(const StatsFields* settings, const LogHit* hit, const char* loggedHost,
                      PassResults* results);

// Puts the counts held back into their list nodes; to be called before
// smart memory reclaims, after which the nodes remembered before are void.
void AudienceBeforeReclaim();

// Ends the visits still open (their exit pages and lengths).
void AudienceFinish(PassResults* results);

// Frees the lists and the state of the pass.
void AudienceFree(PassResults* results);

// Whether url is a page rather than a file: it ends in '/', has no
// extension, or one of html, htm, shtml, php, asp, aspx, jsp, cgi, pl
// (ignoring case; the extension as the file-type filter finds it).
bool IsPageUrl(const char* url);

// Bytes of the page views of a page's list text, and pages and bytes of a
// robot family; 0 for texts never counted.
double PageBytes(const char* page);
void RobotFigures(const char* family, int32_t* pages, double* bytes);

// Bytes held by the visitor and visit state and the side figures, which
// are exact and kept outside the memory ceiling.
long AudienceMemoryBytes();
