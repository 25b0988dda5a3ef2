#include "notebook/page/page_server.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <memory>
#include <netdb.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <system_error>
#include <unistd.h>

#include "notebook/files/notebook_error.h"
#include "notebook/page/conversation.h"

namespace ktnotebook {

namespace {

// How many connections the system keeps until there is time for them.
constexpr int kBacklog = 4096;
// How long the place of a connection that was shut down may take to become free.
constexpr std::chrono::seconds kRoomTime{1};
constexpr int kTickMilliseconds = 500;
// Until it is tried again where none of the open files are ours.
constexpr std::chrono::milliseconds kNoFilesTime{50};

struct FreeAddresses {
  void operator()(addrinfo* addresses) const { freeaddrinfo(addresses); }
};
using Addresses = std::unique_ptr<addrinfo, FreeAddresses>;

// Numbers alone: no name leads elsewhere tomorrow.
Addresses Resolve(const std::string& address, int port) {
  addrinfo hints{};
  hints.ai_flags = AI_PASSIVE | AI_NUMERICHOST | AI_NUMERICSERV;
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* found = nullptr;
  if (getaddrinfo(address.c_str(), std::to_string(port).c_str(), &hints, &found) != 0)
    throw NotebookError("\"" + address + "\" is no address such as 127.0.0.1 or ::1");
  return Addresses(found);
}

int PortOf(int socket) {
  sockaddr_storage name{};
  socklen_t size = sizeof name;
  getsockname(socket, reinterpret_cast<sockaddr*>(&name), &size);
  return ntohs(name.ss_family == AF_INET6 ? reinterpret_cast<sockaddr_in6&>(name).sin6_port
                                          : reinterpret_cast<sockaddr_in&>(name).sin_port);
}

// What a browser on this machine calls an address that means all of them.
std::string NameableAddress(const std::string& address) {
  if (address == "0.0.0.0") return "127.0.0.1";
  return address == "::" ? "::1" : address;
}

constexpr std::string_view kNoRoom =
    "HTTP/1.1 503 Service Unavailable\r\nConnection: close\r\nContent-Length: 0\r\n\r\n";

}  // namespace

PageServer::PageServer(const ServerPlace& place, const ServerLimits& limits, const PageFiles& files,
                       Api& api, EventHub& events, RequestLog& log)
    : limits_(limits),
      events_(events),
      log_(log),
      port_(Listen(place)),
      is_for_others_(!place.address.starts_with("127.") && place.address != "::1"),
      access_(place.secret, NameableAddress(place.address), port_),
      services_{limits_, access_, files, api, events_, log_} {}

PageServer::~PageServer() {
  for (const int file : {listener_, stop_signal_[0], stop_signal_[1]}) {
    if (file >= 0) close(file);
  }
}

// Gives the port.
int PageServer::Listen(const ServerPlace& place) {
  const Addresses addresses = Resolve(place.address, place.port);
  const int on = 1;
  listener_ = socket(addresses->ai_family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  // A port that was just given up can be taken again.
  const bool listens =
      listener_ >= 0 && setsockopt(listener_, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) == 0 &&
      bind(listener_, addresses->ai_addr, addresses->ai_addrlen) == 0 &&
      listen(listener_, kBacklog) == 0 && pipe2(stop_signal_, O_NONBLOCK | O_CLOEXEC) == 0;
  if (listens) return PortOf(listener_);
  const int reason = errno;
  if (listener_ >= 0) close(listener_);
  const std::string where = HostAndPort(place.address, place.port);
  if (reason == EADDRINUSE)
    throw NotebookError("port " + std::to_string(place.port) +
                        " is in use by another program; choose another --port, or none");
  throw NotebookError("can not take connections at " + where + ": " +
                      std::generic_category().message(reason));
}

void PageServer::Stop() noexcept {
  const int reason = errno;
  [[maybe_unused]] const ssize_t written = write(stop_signal_[1], "", 1);
  errno = reason;
}

void PageServer::Run(const std::function<void()>& hurry) {
  pollfd waited[] = {{listener_, POLLIN, 0}, {stop_signal_[0], POLLIN, 0}};
  while (true) {
    poll(waited, std::size(waited), kTickMilliseconds);
    log_.TellRepeated();
    JoinFinished();
    if (waited[1].revents != 0) break;
    if (waited[0].revents != 0) AcceptAll();
  }
  EndAll(hurry);
}

// As many as came, but not more than there may be, so that Stop is heard.
void PageServer::AcceptAll() {
  for (std::size_t i = 0; i < limits_.connections; ++i) {
    const int socket = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (socket >= 0) {
      Admit(socket);
      continue;
    }
    if (errno == EINTR || errno == ECONNABORTED) continue;
    if (errno == EAGAIN) return;
    // The process, or the system, has no more room for open files.
    log_.AddRefusal("no connection can be taken: " + std::generic_category().message(errno));
    Lock lock(mutex_);
    if (!MakeRoom(lock)) std::this_thread::sleep_for(kNoFilesTime);
    return;
  }
}

void PageServer::Admit(int socket) {
  const int on = 1;
  setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  Lock lock(mutex_);
  if (connections_.size() >= limits_.connections && !MakeRoom(lock)) {
    lock.unlock();
    log_.AddRefusal("503 too many connections");
    send(socket, kNoRoom.data(), kNoRoom.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
    close(socket);
    return;
  }
  connections_.push_back({socket});
  const auto connection = std::prev(connections_.end());
  try {
    connection->thread = std::thread([this, connection] { Serve(connection); });
  } catch (const std::system_error& error) {
    connections_.erase(connection);
    close(socket);
    log_.AddRefusal("no connection can be served: " + error.code().message());
  }
}

// Whether there is room for one more connection, after the one that waits longest has gone.
bool PageServer::MakeRoom(Lock& lock) {
  const std::size_t before = connections_.size();
  const auto has_room = [&] { return connections_.size() < before; };
  while (Connection* const connection = LongestWaiting()) {
    const auto end = connection->waits_since + limits_.waiting_time;
    if (std::chrono::steady_clock::now() >= end) {
      log_.AddRefusal("a connection that asked nothing was ended in favour of another one");
      ShutDown(*connection);
      return finished_one_.wait_for(lock, kRoomTime, has_room);
    }
    // Meanwhile it may ask something, or go.
    if (finished_one_.wait_until(lock, end, has_room)) return true;
  }
  return false;
}

// Those that never showed the secret come first.
PageServer::Connection* PageServer::LongestWaiting() {
  Connection* longest = nullptr;
  for (Connection& connection : connections_) {
    if (connection.serves || connection.is_shut_down) continue;
    if (longest == nullptr || std::pair(connection.is_trusted, connection.waits_since) <
                                  std::pair(longest->is_trusted, longest->waits_since))
      longest = &connection;
  }
  return longest;
}

void PageServer::ShutDown(Connection& connection) {
  connection.is_shut_down = true;
  shutdown(connection.socket, SHUT_RDWR);
}

void PageServer::Serve(Connections::iterator connection) {
  try {
    Conversation(connection->socket, services_, [this, connection](bool serves, bool trusted) {
      return Watch(*connection, serves, trusted);
    }).Run();
  } catch (const std::exception& error) {
    log_.AddRefusal(std::string("a connection failed: ") + error.what());
  }
  Finish(connection);
}

bool PageServer::Watch(Connection& connection, bool serves, bool trusted) {
  const Lock lock(mutex_);
  connection.serves = serves;
  connection.is_trusted = trusted;
  if (!serves) connection.waits_since = std::chrono::steady_clock::now();
  return !connection.is_shut_down && (serves || !is_stopping_);
}

void PageServer::Finish(Connections::iterator connection) {
  const Lock lock(mutex_);
  close(connection->socket);
  finished_.splice(finished_.end(), connections_, connection);
  finished_one_.notify_all();
}

void PageServer::JoinFinished() {
  Connections finished;
  {
    const Lock lock(mutex_);
    finished.swap(finished_);
  }
  for (Connection& connection : finished)
    connection.thread.join();
}

void PageServer::EndAll(const std::function<void()>& hurry) {
  close(std::exchange(listener_, -1));
  events_.Close();
  Lock lock(mutex_);
  is_stopping_ = true;
  for (Connection& connection : connections_) {
    if (!connection.serves) ShutDown(connection);
  }
  const auto all_gone = [this] { return connections_.empty(); };
  if (!finished_one_.wait_for(lock, limits_.end_time, all_gone)) {
    for (Connection& connection : connections_)
      ShutDown(connection);
    hurry();
    finished_one_.wait(lock, all_gone);
  }
  lock.unlock();
  JoinFinished();
  log_.TellRepeated();
}

}  // namespace ktnotebook
