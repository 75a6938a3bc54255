// Request filters and item normalisation for the analysis pass.
#pragma once

struct StatsFields;

// 1 keep, 0 excluded.  The filter lists are parsed from the settings on
// first use and kept until FreeDomainsNow / FreeFileTypesNow.
int NotFilteredDomain(const StatsFields* settings, const char* text);
int NotFilteredFileType(const StatsFields* settings, const char* fileType);
void FreeDomainsNow();
void FreeFileTypesNow();

int MSIE(const char* agent);
int IsIpAddr(const char* text);
int IPaddress(const char* host);
void checkIP(char* type);
void TruncateDomain(char* host, int n);
char* TruncateLSD(char* host);
void TruncateIP(char* address);
void TruncateCGI(char* url);
void TruncateFileType(char* url);
