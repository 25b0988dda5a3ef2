#include "notebook/page/access.h"

#include <httplib.h>
#include <utility>

#include "notebook/page/secret.h"

namespace ktnotebook {

namespace {

constexpr const char* kNeedsKey =
    "this needs the secret in the address that ktnotebook printed when it started; open that "
    "address, or send \"Authorization: Bearer SECRET\"";

// The cookies of that name, in whatever place of the header; `take` tells whether to go on.
template <typename Take>
void ForEachCookie(std::string_view header, std::string_view name, Take&& take) {
  while (!header.empty()) {
    const std::size_t end = std::min(header.find(';'), header.size());
    std::string_view cookie = header.substr(0, end);
    header.remove_prefix(std::min(end + 1, header.size()));
    while (cookie.starts_with(' '))
      cookie.remove_prefix(1);
    if (cookie.size() <= name.size() || !cookie.starts_with(name) || cookie[name.size()] != '=')
      continue;
    if (!take(cookie.substr(name.size() + 1))) return;
  }
}

}  // namespace

std::string HostAndPort(std::string_view address, int port) {
  const bool has_colon = address.find(':') != address.npos;
  const std::string host = has_colon ? "[" + std::string(address) + "]" : std::string(address);
  return host + ":" + std::to_string(port);
}

Access::Access(std::string secret, std::string address, int port)
    : secret_(std::move(secret)),
      address_(std::move(address)),
      port_(port),
      cookie_name_("ktnotebook-" + std::to_string(port)) {}

// A foreign name means that somebody lets their own name lead here, to make a browser take our page
// for a part of their site. Where the connection came in can be no such name.
bool Access::IsOwnHost(const std::string& host, const std::string& local_address) const {
  for (const std::string& own : {std::string("127.0.0.1"), std::string("localhost"),
                                 std::string("::1"), address_, local_address}) {
    const std::string with_port = HostAndPort(own, port_);
    if (host == with_port) return true;
    constexpr int kUnsaid = 80;
    if (port_ == kUnsaid && host + ":80" == with_port) return true;
  }
  return false;
}

std::optional<Refusal> Access::CheckOrigin(const httplib::Request& request) const {
  if (request.has_header("Origin") &&
      request.get_header_value("Origin") != "http://" + request.get_header_value("Host"))
    return Refusal{403, "another site's page may not ask this"};
  // Pages of other programs on this machine are of the same site and yet foreign.
  const std::string site = request.get_header_value("Sec-Fetch-Site");
  if (site.empty() || site == "same-origin" || site == "none") return std::nullopt;
  // A person may follow a link to the page from elsewhere, such as from a mail. Who has it may.
  const bool follows_link = request.get_header_value("Sec-Fetch-Mode") == "navigate" &&
                            request.get_header_value("Sec-Fetch-Dest") == "document";
  if (follows_link && HasKey(request)) return std::nullopt;
  return Refusal{403, "another site's page may not ask this"};
}

bool Access::HasKey(const httplib::Request& request) const {
  const bool asks_for_page = request.method == "GET" && request.path == "/";
  return asks_for_page && AreSameSecret(request.get_param_value("key"), secret_);
}

bool Access::ShowsSecret(const httplib::Request& request) const {
  constexpr std::string_view kBearer = "Bearer ";
  const std::string authorization = request.get_header_value("Authorization");
  if (authorization.starts_with(kBearer) &&
      AreSameSecret(std::string_view(authorization).substr(kBearer.size()), secret_))
    return true;
  bool is_shown = false;
  ForEachCookie(request.get_header_value("Cookie"), cookie_name_, [&](std::string_view value) {
    is_shown = AreSameSecret(value, secret_);
    return !is_shown;
  });
  return is_shown || HasKey(request);
}

std::optional<Refusal> Access::Check(const httplib::Request& request) const {
  if (request.get_header_value_count("Host") != 1 ||
      !IsOwnHost(request.get_header_value("Host"), request.local_addr))
    return Refusal{403, "this is not the name of this program's page"};
  if (auto refusal = CheckOrigin(request)) return refusal;
  if (!ShowsSecret(request)) return Refusal{401, kNeedsKey};
  return std::nullopt;
}

std::string Access::Cookie() const {
  return cookie_name_ + "=" + secret_ + "; Path=/; HttpOnly; SameSite=Strict";
}

std::string Access::FirstAddress() const {
  return "http://" + HostAndPort(address_, port_) + "/?key=" + secret_;
}

}  // namespace ktnotebook
