#include "notebook/page/socket_stream.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <poll.h>
#include <sys/socket.h>
#include <utility>

namespace ktnotebook {

namespace {

// The blank line at a head's end.
constexpr std::string_view kHeadEnd = "\n\r\n";

void TellName(int (*ask)(int, sockaddr*, socklen_t*), int socket, std::string& address, int& port) {
  sockaddr_storage name{};
  socklen_t size = sizeof name;
  auto* const generic = reinterpret_cast<sockaddr*>(&name);
  std::array<char, NI_MAXHOST> host{};
  std::array<char, NI_MAXSERV> service{};
  if (ask(socket, generic, &size) != 0 ||
      getnameinfo(generic, size, host.data(), host.size(), service.data(), service.size(),
                  NI_NUMERICHOST | NI_NUMERICSERV) != 0)
    return;
  address = host.data();
  port = std::stoi(service.data());
}

}  // namespace

// False when it did not happen in time.
bool SocketStream::WaitFor(short event, Clock::time_point until) const {
  pollfd waited{socket_, event, 0};
  while (true) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(until - Clock::now()).count();
    if (left <= 0) return false;
    const int happened = poll(&waited, 1, static_cast<int>(std::min<long>(left, 60'000)));
    if (happened > 0) return true;
    if (happened < 0 && errno != EINTR) return false;
  }
}

// 0 at the end, -1 with errno ETIME when nothing came in time or another one when it failed.
ssize_t SocketStream::Receive(char* bytes, std::size_t size, Clock::time_point until) {
  while (true) {
    const ssize_t received = recv(socket_, bytes, size, MSG_DONTWAIT);
    if (received >= 0 || (errno != EAGAIN && errno != EINTR)) return received;
    if (WaitFor(POLLIN, until)) continue;
    errno = ETIME;
    return -1;
  }
}

SocketStream::Head SocketStream::ReadHead(std::size_t limit, Clock::time_point first_byte,
                                          std::chrono::milliseconds time) {
  ahead_.erase(0, std::exchange(taken_, 0));
  Clock::time_point until = ahead_.empty() ? first_byte : Clock::now() + time;
  std::size_t searched = 0;
  while (ahead_.find(kHeadEnd, searched) == ahead_.npos) {
    if (ahead_.size() >= limit) return Head::kTooLarge;
    searched = ahead_.size() < kHeadEnd.size() ? 0 : ahead_.size() - kHeadEnd.size() + 1;
    std::array<char, 4096> bytes;  // NOLINT(cppcoreguidelines-pro-type-member-init)
    const ssize_t received = Receive(bytes.data(), bytes.size(), until);
    if (received <= 0)
      return received < 0 && errno == ETIME && !ahead_.empty() ? Head::kTooSlow : Head::kNone;
    if (ahead_.empty()) until = Clock::now() + time;
    ahead_.append(bytes.data(), static_cast<std::size_t>(received));
  }
  return Head::kComplete;
}

void SocketStream::LimitReading(std::size_t bytes, Clock::time_point until) {
  readable_ = bytes;
  until_ = until;
}

bool SocketStream::IsGone() const {
  char byte = 0;
  const ssize_t received = recv(socket_, &byte, 1, MSG_PEEK | MSG_DONTWAIT);
  return received == 0 || (received < 0 && errno != EAGAIN && errno != EINTR);
}

void SocketStream::Linger(std::chrono::milliseconds time) {
  shutdown(socket_, SHUT_WR);
  const Clock::time_point until = Clock::now() + time;
  std::array<char, 16384> bytes;  // NOLINT(cppcoreguidelines-pro-type-member-init)
  while (Clock::now() < until && Receive(bytes.data(), bytes.size(), until) > 0) {
  }
}

ssize_t SocketStream::read(char* bytes, std::size_t size) {
  size = std::min(size, readable_);
  if (size == 0) return -1;
  ssize_t received = 0;
  if (taken_ < ahead_.size()) {
    received = static_cast<ssize_t>(ahead_.copy(bytes, size, taken_));
    taken_ += static_cast<std::size_t>(received);
  } else {
    if (Clock::now() >= until_) return -1;
    received = Receive(bytes, size, until_);
  }
  if (received > 0) readable_ -= static_cast<std::size_t>(received);
  return received;
}

ssize_t SocketStream::write(const char* bytes, std::size_t size) {
  const Clock::time_point until = Clock::now() + write_time_;
  while (true) {
    const ssize_t sent = send(socket_, bytes, size, MSG_DONTWAIT | MSG_NOSIGNAL);
    if (sent >= 0) return sent;
    if ((errno != EAGAIN && errno != EINTR) || !WaitFor(POLLOUT, until)) return -1;
  }
}

void SocketStream::get_remote_ip_and_port(std::string& address, int& port) const {
  TellName(&getpeername, socket_, address, port);
}

void SocketStream::get_local_ip_and_port(std::string& address, int& port) const {
  TellName(&getsockname, socket_, address, port);
}

}  // namespace ktnotebook
