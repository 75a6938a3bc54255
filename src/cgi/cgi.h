// The CGI library: environment capture, request body, form decoding.
#pragma once

#include <cstdint>
#include <cstdio>

#include "cgi/cgi_env.h"

// Fills env from the process environment and the clock; overlong values
// are cut at their field's width.
void GetEnv(CgiEnv* env);

// Reads up to length bytes of the body from stream into buffer (length + 1
// bytes) and terminates it.  Returns the number of bytes read.
int32_t get_query(FILE* stream, int32_t length, char* buffer);

// The largest request body the program reads.  A report form is a few
// hundred bytes; a longer body is taken for no body at all.
constexpr int32_t kMaxBodyLength = 65536;

// Splits a URL-encoded body into entries; returns the number of entries.
// entries must hold 1 + (number of '&' in body) records.
int parse_entries(FormEntry* entries, const char* body, int32_t length);

// Parses the one entry of body (length bytes, ending early at a NUL) that
// starts at *pos into entry and moves *pos past it.  Returns true when
// another entry follows.  Lets a caller walk a body with one entry's
// storage; parse_entries is the same walk into an array.
bool NextFormEntry(const char* body, int32_t length, int32_t* pos, FormEntry* entry);

// URL-decodes text in place; null is ignored.
void decode(char* text);

// atoi of CONTENT_LENGTH; a negative or non-numeric value, or one above
// kMaxBodyLength, means no body (0).
int32_t BodyLengthFromText(const char* contentLength);
