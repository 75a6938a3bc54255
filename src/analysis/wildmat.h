// Wildcard matching for the find pattern: *, ?, [classes], \escapes and
// (alternatives|separated|by|bars).
//
// None of these routines allocates per call once their reused buffers have
// grown; none ends the run.  Texts and patterns are borrowed for the call.
#pragma once

// 1 match, 0 no match here, -1 no match possible for the whole pattern.
// Each call is a top-level match (the open-group count starts at 0).  The
// work is bounded for any pattern; a match that exceeds the safety limits
// (texts far beyond the program's 243-character buffers) gives -1.
// A null text or pattern counts as empty.
int DoMatch(const char* text, const char* pattern);
// 0 when text matches pattern (the sense of strcmp), else 1.
int super_wildmat(const char* pattern, const char* text);
// The same, ignoring ASCII case.  Works on folded copies kept in reused
// buffers; when memory for them is refused the answer is 1 (no match).
int super_wildmati(const char* pattern, const char* text);

// Frees the reused buffers and returns the module to its start state.  For tests.
void WildmatResetForTesting();
