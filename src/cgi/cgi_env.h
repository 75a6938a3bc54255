// The CGI environment of one request, captured once at start.
#pragma once

#include <cstdint>

#include "base/fixed_text.h"

struct CgiEnv {
  ll::FixedText<100> date;  // "%B %d, %Y (%A)" of now, local time
  ll::FixedText<100> time;  // "%X" of now, local time
  ll::FixedText<100> AUTH_TYPE;
  ll::FixedText<100> CONTENT_LENGTH;
  ll::FixedText<100> CONTENT_TYPE;
  ll::FixedText<200> DOCUMENT_ROOT;
  ll::FixedText<100> GATEWAY_INTERFACE;
  ll::FixedText<100> HTTP_ACCEPT;
  ll::FixedText<100> HTTP_USER_AGENT;
  ll::FixedText<200> PATH;
  ll::FixedText<200> PATH_INFO;
  ll::FixedText<200> PATH_TRANSLATED;
  ll::FixedText<200> QUERY_STRING;
  ll::FixedText<100> REMOTE_ADDR;
  ll::FixedText<100> REMOTE_HOST;
  ll::FixedText<100> REMOTE_IDENT;
  ll::FixedText<100> REMOTE_USER;
  ll::FixedText<100> REQUEST_METHOD;
  ll::FixedText<100> SCRIPT_NAME;  // the program path in command-line mode
  ll::FixedText<100> SERVER_NAME;
  ll::FixedText<100> SERVER_PORT;
  ll::FixedText<100> SERVER_PROTOCOL;
  ll::FixedText<100> SERVER_SOFTWARE;
  ll::FixedText<100> SERVER_ADMIN;
  int32_t commandLine = 0;  // 1 when run from a shell (set by the driver)
};

// One decoded field of a POSTed form.
struct FormEntry {
  char name[255];
  char value[2048];
};
