// What the page's server says of its work, a line each.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <map>
#include <mutex>
#include <string>

namespace ktnotebook {

enum class LogLevel {
  // How it begins and ends.
  kQuiet,
  // What changes the notebook, too, and what is refused.
  kChanges,
  kAll,
};

struct LoggedRequest {
  std::string method;
  std::string path;
  int status;
  std::chrono::milliseconds time;
  // Of the answer's body.
  std::size_t bytes;
  // Why it was refused, "" when it was not.
  std::string reason;
};

// All members may be called from any thread.
class RequestLog {
 public:
  // `say` prints a line, printable whatever it is made of; nobody else calls it meanwhile.
  RequestLog(LogLevel level, std::function<void(const std::string&)> say)
      : level_(level), say_(std::move(say)) {}

  // Of the same refusals within a second one line tells.
  void Add(const LoggedRequest& request);
  // What is no request, such as a connection that brings none.
  void AddRefusal(const std::string& reason);
  // Tells how often refusals came again in the last second. To be called now and then.
  void TellRepeated();
  // At any level.
  void Note(const std::string& text);

 private:
  using Clock = std::chrono::steady_clock;
  struct Repeated {
    Clock::time_point since;
    std::size_t untold = 0;
  };

  void Say(const std::string& text);
  bool IsTold(const std::string& kind);

  const LogLevel level_;
  const std::function<void(const std::string&)> say_;
  std::mutex mutex_;
  // By what was refused, for a second each.
  std::map<std::string, Repeated> refused_;
};

}  // namespace ktnotebook
