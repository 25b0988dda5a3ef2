// Who may see the page.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace httplib {
struct Request;
}

namespace ktnotebook {

// An answer that refuses a request.
struct Refusal {
  int status;
  // For people.
  std::string message;
};

// "[::1]:80" for the address "::1".
std::string HostAndPort(std::string_view address, int port);

// A browser sends requests on behalf of any site that it shows. So the secret is not all that
// counts, but also by which name the browser found us and who made it ask.
class Access {
 public:
  // The address and port are those where requests come in.
  Access(std::string secret, std::string address, int port);

  // Why the request is refused; nothing when it may be answered.
  std::optional<Refusal> Check(const httplib::Request& request) const;
  // Whether the request shows the secret in its address, as the first one of a page does.
  bool HasKey(const httplib::Request& request) const;
  // What lets a browser show the secret from then on, for a header.
  std::string Cookie() const;
  // What a person opens; it contains the secret.
  std::string FirstAddress() const;

 private:
  bool IsOwnHost(const std::string& host, const std::string& local_address) const;
  std::optional<Refusal> CheckOrigin(const httplib::Request& request) const;
  bool ShowsSecret(const httplib::Request& request) const;

  std::string secret_;
  std::string address_;
  int port_;
  // With the port, as all programs of this machine get each other's cookies.
  std::string cookie_name_;
};

}  // namespace ktnotebook
