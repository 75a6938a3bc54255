#!/usr/bin/env bash
# The browser end-to-end test with Apache httpd as the web server.
exec bash "$(dirname "$0")/browser_e2e.sh" apache
