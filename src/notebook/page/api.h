// Requests of the page's interface and their answers, whatever carries them.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace ktnotebook {

// All texts are UTF-8.
struct ApiRequest {
  // "GET", "PUT" and so on.
  std::string method;
  // Decoded, behind "/api/": "cells/Form/Table:Column:Row".
  std::string path;
  std::multimap<std::string, std::string> query;
  std::string body = {};
  // Which page asks, as it calls itself; "" for programs.
  std::string client;
};

struct ApiAnswer {
  int status = 200;
  std::string body = {};
  std::string content_type = "application/json";
  std::vector<std::pair<std::string, std::string>> headers = {};
};

// Answers requests, from any thread, and throws nothing.
class Api {
 public:
  virtual ApiAnswer Answer(const ApiRequest& request) = 0;

 protected:
  ~Api() = default;
};

// Tells all pages that are open; may be called from any thread and does not wait for them.
class EventSink {
 public:
  // `json` is one line.
  virtual void Publish(std::string_view event, std::string json) = 0;

 protected:
  ~EventSink() = default;
};

}  // namespace ktnotebook
