// Wildcard matching for the find pattern: *, ?, [classes], \escapes and
// (alternatives|separated|by|bars).
#pragma once

// 1 match, 0 no match here, -1 no match possible for the whole pattern.
int DoMatch(const char* text, const char* pattern);
// 0 when text matches pattern (the sense of strcmp), else 1.
int super_wildmat(const char* pattern, const char* text);
// The same, ignoring case.
int super_wildmati(const char* pattern, const char* text);
