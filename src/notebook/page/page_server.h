// Where the page's connections come in.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <list>
#include <mutex>
#include <string>
#include <thread>

#include "notebook/page/page_services.h"

namespace ktnotebook {

struct ServerPlace {
  // An address of this machine, in numbers.
  std::string address = "127.0.0.1";
  // 0 for a free one.
  int port = 0;
  std::string secret;
};

// A thread for each connection, and never more than there may be: a new one takes the place of the
// one that has waited longest, so that nobody keeps others out by asking nothing.
class PageServer {
 public:
  // Takes connections from now on, to be served by Run. Everything lives longer than the server.
  // Throws NotebookError when the place is taken or none of this machine's.
  PageServer(const ServerPlace& place, const ServerLimits& limits, const PageFiles& files, Api& api,
             EventHub& events, RequestLog& log);
  PageServer(const PageServer&) = delete;
  PageServer& operator=(const PageServer&) = delete;
  ~PageServer();

  int Port() const noexcept { return port_; }
  // What a person opens; it contains the secret.
  std::string FirstAddress() const { return access_.FirstAddress(); }

  // Whether other machines may ask.
  bool IsForOthers() const noexcept { return is_for_others_; }

  // Serves until Stop: then it takes no more connections, ends the streams and returns when the
  // requests under way are answered. When time is up for them their connections are ended and
  // `hurry` is called, which is to make them answer soon.
  void Run(const std::function<void()>& hurry = [] {});
  // From any thread or a signal handler, as often as one likes.
  void Stop() noexcept;

 private:
  struct Connection {
    int socket;
    bool serves = false;
    bool is_trusted = false;
    bool is_shut_down = false;
    std::chrono::steady_clock::time_point waits_since = std::chrono::steady_clock::now();
    std::thread thread = {};
  };
  using Connections = std::list<Connection>;
  using Lock = std::unique_lock<std::mutex>;

  int Listen(const ServerPlace& place);
  void AcceptAll();
  void Admit(int socket);
  bool MakeRoom(Lock& lock);
  Connection* LongestWaiting();
  static void ShutDown(Connection& connection);
  void Serve(Connections::iterator connection);
  void Finish(Connections::iterator connection);
  bool Watch(Connection& connection, bool serves, bool trusted);
  void JoinFinished();
  void EndAll(const std::function<void()>& hurry);

  const ServerLimits& limits_;
  EventHub& events_;
  RequestLog& log_;
  int listener_ = -1;
  // Readable when the server shall stop.
  int stop_signal_[2] = {-1, -1};
  const int port_;
  const bool is_for_others_;
  const Access access_;
  const PageServices services_;

  std::mutex mutex_;
  std::condition_variable finished_one_;
  Connections connections_;
  Connections finished_;
  bool is_stopping_ = false;
};

}  // namespace ktnotebook
