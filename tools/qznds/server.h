// qznds serve: the fleet console, a JSON API and the page that uses it,
// served over HTTP for technicians commissioning cameras in a browser.
#pragma once

#include <string>
#include <vector>

namespace qznds {

struct ServeOptions {
  std::string inventory;
  std::vector<std::string> limits;        // --limit patterns
  std::string listen = "127.0.0.1:8080";  // HOST:PORT; port 0 picks a free one
  std::string token_file;                 // the API's bearer token; generated when empty and needed
  double interval = 10.0;                 // seconds between refreshes of the device list
  int jobs = 32;                          // devices worked on at once, per refresh or job
};

// Serves until SIGINT or SIGTERM; returns the exit code. The address it
// listens on is printed to stderr ("qznds: console on http://HOST:PORT/"),
// and so is a generated token, once. ToolError for bad options.
int serve(const ServeOptions &options);

}  // namespace qznds
