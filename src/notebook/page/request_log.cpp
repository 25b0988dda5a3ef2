#include "notebook/page/request_log.h"

#include <ctime>

namespace ktnotebook {

namespace {

constexpr std::chrono::seconds kOneLineIn{1};

std::string TimeText() {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  localtime_r(&now, &local);
  char text[32];
  return {text, std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &local)};
}

}  // namespace

void RequestLog::Say(const std::string& text) {
  say_(TimeText() + " " + text);
}

// Whether a refusal of the kind gets a line of its own.
bool RequestLog::IsTold(const std::string& kind) {
  const auto [place, is_new] = refused_.try_emplace(kind, Repeated{Clock::now()});
  if (!is_new) ++place->second.untold;
  return is_new;
}

void RequestLog::Add(const LoggedRequest& request) {
  const bool reads = request.method == "GET" || request.method == "HEAD";
  const bool is_refused = !request.reason.empty();
  if (level_ == LogLevel::kQuiet || (level_ == LogLevel::kChanges && reads && !is_refused)) return;
  const std::lock_guard lock(mutex_);
  const std::string status = std::to_string(request.status);
  if (is_refused && !IsTold(status + " " + request.reason)) return;
  Say(request.method + " " + request.path + " " + status + " " +
      std::to_string(request.time.count()) + " ms " + std::to_string(request.bytes) + " B" +
      (is_refused ? ": " + request.reason : ""));
}

void RequestLog::AddRefusal(const std::string& reason) {
  if (level_ == LogLevel::kQuiet) return;
  const std::lock_guard lock(mutex_);
  if (IsTold(reason)) Say(reason);
}

void RequestLog::TellRepeated() {
  const std::lock_guard lock(mutex_);
  const Clock::time_point now = Clock::now();
  for (auto it = refused_.begin(); it != refused_.end();) {
    auto& [kind, repeated] = *it;
    if (now - repeated.since < kOneLineIn) {
      ++it;
    } else if (repeated.untold == 0) {
      it = refused_.erase(it);
    } else {
      Say(kind + ": " + std::to_string(repeated.untold) + " more");
      repeated = {now};
      ++it;
    }
  }
}

void RequestLog::Note(const std::string& text) {
  const std::lock_guard lock(mutex_);
  Say(text);
}

}  // namespace ktnotebook
