// Request filters and item normalisation for the analysis pass.
//
// All texts are borrowed for the call.  The Truncate routines and checkIP
// change the caller's text in place and never make it longer, except
// checkIP, which may write 8 bytes.  Only the filter parsers allocate; when
// memory is refused they end the process with status 1.
#pragma once

#include <cstddef>
#include <string_view>

struct StatsFields;

// 1 keep, 0 excluded.  NotFilteredDomain excludes a host or referrer that
// contains an entry of filter_domains, ignoring case (blanks dropped; a null
// or empty text is kept).  NotFilteredFileType excludes a file type (as made
// by TruncateFileType) equal to an entry of filter_filetypes, ignoring case.
// The lists are parsed from the settings on the first call and kept until
// FreeDomainsNow / FreeFileTypesNow, after which the next call parses again.
int NotFilteredDomain(const StatsFields* settings, const char* text);
int NotFilteredFileType(const StatsFields* settings, const char* fileType);
void FreeDomainsNow();
void FreeFileTypesNow();

// 1 when agent contains "MSIE" (case-sensitive).
int MSIE(const char* agent);
// 1 when text (after leading spaces) is a dotted address of four numbers up
// to 255, followed by the end or a space.
int IsIpAddr(const char* text);
// 1 when the host's last label holds no ASCII letter (numeric addresses,
// names ending in a dot); 0 for null or empty.
int IPaddress(const char* host);
// Replaces a non-empty text without letters by "UNKNOWN"; the buffer must
// hold at least 8 bytes.
void checkIP(char* type);
// Keeps what follows the n-th dot from the end (unchanged with fewer dots;
// "(null)" becomes empty).  n = 1 gives the top-level domain.
void TruncateDomain(char* host, int n);
// A pointer into host just after its first dot when it has two dots or more;
// else host itself.  The text is not changed.
char* TruncateLSD(char* host);
// Cuts an address at its third dot (192.168.10.7 -> 192.168.10).
void TruncateIP(char* address);
// Cuts a URL at its first "?" or double quote.
void TruncateCGI(char* url);
// The file type of the URL's first length bytes, read in place: ".GIF" for
// /img/logo.GIF?x=1 (from the last '.' after the last '/', up to any query),
// empty when the last path segment has no dot.
std::string_view FileTypeOf(const char* url, size_t length);
// Reduces a URL to its file type, as FileTypeOf reads it.
void TruncateFileType(char* url);
