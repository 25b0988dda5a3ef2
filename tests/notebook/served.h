// A notebook as one program serves it to pages, without connections.
#pragma once

#include <mutex>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "notebook/page/api_routes.h"
#include "notebook/page/served_notebook.h"

namespace ktnotebook {

class Events final : public EventSink {
 public:
  void Publish(std::string_view, std::string json) override {
    const std::lock_guard lock(mutex_);
    all_.push_back(Json::parse(json));
  }
  // Those since it was asked last.
  std::vector<Json> Take() {
    const std::lock_guard lock(mutex_);
    return std::exchange(all_, {});
  }

 private:
  std::mutex mutex_;
  std::vector<Json> all_;
};

// A notebook as one program serves it.
struct Served {
  explicit Served(const std::string& database) : notebook(OpenDatabase(database, true), events) {}

  ApiAnswer Ask(const std::string& method, const std::string& path, const std::string& body = "",
                const std::string& query = "") {
    ApiRequest request{method, path, {}, body, "page"};
    std::istringstream settings(query);
    for (std::string setting; std::getline(settings, setting, '&');) {
      const std::size_t separator = setting.find('=');
      request.query.emplace(setting.substr(0, separator), setting.substr(separator + 1));
    }
    return api.Answer(request);
  }

  Events events;
  ServedNotebook notebook;
  NotebookApi api{notebook};
};

}  // namespace ktnotebook
