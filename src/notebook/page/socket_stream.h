// A connection's bytes, none of which is waited for without end.
#pragma once

#include <chrono>
#include <cstddef>
#include <httplib.h>
#include <string>

namespace ktnotebook {

// Over a socket that it does not own. Whoever shuts the socket down ends what waits here.
class SocketStream final : public httplib::Stream {
 public:
  using Clock = std::chrono::steady_clock;

  // How the reading of a request's head ended.
  enum class Head {
    kComplete,
    // The other side went away, or asked for nothing in time.
    kNone,
    kTooLarge,
    kTooSlow,
  };

  // `write_time` is how long the other side may take nothing.
  SocketStream(int socket, std::chrono::milliseconds write_time)
      : socket_(socket), write_time_(write_time) {}

  // Reads ahead until the head is complete, which is not yet taken.
  Head ReadHead(std::size_t limit, Clock::time_point first_byte, std::chrono::milliseconds time);
  // From now on as many bytes at most are taken, until then. No limit counts but these.
  void LimitReading(std::size_t bytes, Clock::time_point until);
  // Whether the other side went away.
  bool IsGone() const;
  // Ends the writing and throws away what still comes, so that what was written can be read.
  void Linger(std::chrono::milliseconds time);

  bool is_readable() const override { return true; }
  bool is_writable() const override { return true; }
  ssize_t read(char* bytes, std::size_t size) override;
  ssize_t write(const char* bytes, std::size_t size) override;
  void get_remote_ip_and_port(std::string& address, int& port) const override;
  void get_local_ip_and_port(std::string& address, int& port) const override;
  // Nobody but this reads or writes.
  socket_t socket() const override { return INVALID_SOCKET; }

 private:
  bool WaitFor(short event, Clock::time_point until) const;
  ssize_t Receive(char* bytes, std::size_t size, Clock::time_point until);

  const int socket_;
  const std::chrono::milliseconds write_time_;
  // Read but not taken: from `taken_` on.
  std::string ahead_;
  std::size_t taken_ = 0;
  std::size_t readable_ = 0;
  Clock::time_point until_;
};

}  // namespace ktnotebook
