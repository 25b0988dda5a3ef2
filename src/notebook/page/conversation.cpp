#include "notebook/page/conversation.h"

#include <algorithm>
#include <charconv>
#include <nlohmann/json.hpp>
#include <utility>

#include "notebook/files/utf.h"
#include "notebook/page/secret.h"

namespace ktnotebook {

namespace {

using Clock = SocketStream::Clock;

constexpr std::string_view kApi = "/api/";
constexpr std::string_view kNonceMark = "@NONCE@";
// Where every request with a body is handled, whatever its path: none is matched with patterns.
constexpr const char* kAnyPath = "/";

std::string ErrorJson(const std::string& message) {
  return nlohmann::json{{"error", message}}.dump(-1, ' ', false,
                                                 nlohmann::json::error_handler_t::replace) +
         "\n";
}

// What the interface says of a request that it refuses, "" of others.
std::string ReasonIn(int status, const std::string& body) {
  constexpr int kFirstRefusal = 400;
  if (status < kFirstRefusal) return "";
  const auto answer = nlohmann::json::parse(body, nullptr, false);
  const bool says_why =
      answer.is_object() && answer.contains("error") && answer["error"].is_string();
  return says_why ? answer["error"].get<std::string>() : "refused";
}

// `nonce` is "" where nothing may bring styles of its own.
std::string ContentPolicy(const std::string& nonce) {
  return "default-src 'none'; script-src 'self'; style-src 'self'" +
         (nonce.empty() ? "" : " 'nonce-" + nonce + "'") +
         "; img-src 'self' data: blob:; connect-src 'self'; font-src 'self'; form-action 'none'; "
         "base-uri 'none'; frame-ancestors 'none'";
}

void ReplaceAll(std::string& text, std::string_view what, const std::string& by) {
  for (std::size_t at = text.find(what); at != text.npos; at = text.find(what, at + by.size()))
    text.replace(at, what.size(), by);
}

std::optional<std::uint64_t> ReadLength(const std::string& text) {
  std::uint64_t length = 0;
  const char* const end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, length);
  if (error != std::errc() || rest != end) return std::nullopt;
  return length;
}

bool AreAllUtf8(const httplib::Request& request, const std::string& path) {
  return FromUtf8(path) && std::ranges::all_of(request.params, [](const auto& parameter) {
           return FromUtf8(parameter.first) && FromUtf8(parameter.second);
         });
}

// Other pages are told of it.
bool IsClientName(const std::string& name) {
  constexpr std::size_t kLongest = 64;
  return name.size() <= kLongest &&
         std::ranges::all_of(name, [](char c) { return c > ' ' && c < '\x7F'; });
}

}  // namespace

Conversation::Conversation(int socket, const PageServices& services, Watch watch)
    : services_(services), watch_(std::move(watch)), stream_(socket, services.limits.write_time) {
  // What the library takes for a server that goes on.
  svr_sock_ = socket;
  set_pre_routing_handler([this](const Request& request, Response& response) {
    return AnswerWithoutBody(request, response);
  });
  const auto with_body = [this](const Request& request, Response& response,
                                const httplib::ContentReader& reader) {
    AnswerWithBody(request, response, reader);
  };
  Post(kAnyPath, with_body);
  Put(kAnyPath, with_body);
  Patch(kAnyPath, with_body);
  Delete(kAnyPath, with_body);
  set_expect_100_continue_handler([this](const Request&, Response& response) {
    constexpr int kContinue = 100;
    if (!refusal_) return kContinue;
    Refuse(*refusal_, response);
    return refusal_->status;
  });
  set_error_handler([this](const Request&, Response& response) {
    // What the library refuses on its own.
    if (response.body.empty()) Refuse({response.status, "this is no proper request"}, response);
  });
  set_post_routing_handler([this](const Request&, Response& response) { AddHeaders(response); });
  set_logger([this](const Request& request, const Response& response) { Log(request, response); });
}

void Conversation::Run() {
  while (watch_(false, is_trusted_)) {
    const auto& limits = services_.limits;
    const auto first_byte = Clock::now() + (is_trusted_ ? limits.idle_time : limits.head_time);
    switch (stream_.ReadHead(limits.head_bytes, first_byte, limits.head_time)) {
      case SocketStream::Head::kNone: return;
      case SocketStream::Head::kTooLarge:
        return RefuseHead(431, "the request's headers are too long");
      case SocketStream::Head::kTooSlow: return RefuseHead(408, "the request did not come in time");
      case SocketStream::Head::kComplete: break;
    }
    if (!watch_(true, is_trusted_) || !ServeOne()) return;
  }
}

// Whether another request may follow.
bool Conversation::ServeOne() {
  begin_ = Clock::now();
  path_.clear();
  refusal_.reset();
  is_last_ = true;
  stream_.LimitReading(services_.limits.head_bytes, begin_ + services_.limits.body_time);
  bool says_close = false;
  const bool is_done =
      process_request(stream_, false, says_close, [this](Request& request) { Begin(request); });
  if (is_done && !says_close && !is_last_) return true;
  if (is_done && is_last_) {
    watch_(false, is_trusted_);
    stream_.Linger(services_.limits.linger_time);
  }
  return false;
}

// In place of the library, which has not seen the request yet.
void Conversation::RefuseHead(int status, const std::string& message) {
  Response response;
  Refuse({status, message}, response);
  AddHeaders(response);
  std::string text = "HTTP/1.1 " + std::to_string(status) + " Refused\r\n";
  for (const auto& [name, value] : response.headers)
    text += name + ": " + value + "\r\n";
  text += "Content-Length: " + std::to_string(response.body.size()) + "\r\n\r\n" + response.body;
  if (stream_.write(text.data(), text.size()) > 0) stream_.Linger(services_.limits.linger_time);
  services_.log.AddRefusal(std::to_string(status) + " " + message);
}

// Before anything of the request is looked at by others.
void Conversation::Begin(Request& request) {
  // Answers stay on this machine: packing them costs more than it saves.
  request.headers.erase("Accept-Encoding");
  request.ranges.clear();
  has_body_ =
      request.has_header("Transfer-Encoding") ||
      (request.has_header("Content-Length") && request.get_header_value("Content-Length") != "0");
  path_ = request.path;
  refusal_ = Check(request);
  request.path = kAnyPath;
  is_last_ = has_body_;
  // A packed body, or one in pieces, takes more or less than what comes of it.
  stream_.LimitReading(2 * BodyLimit(request.method), begin_ + services_.limits.body_time);
}

bool Conversation::IsForApi() const {
  return path_.starts_with(kApi);
}

std::size_t Conversation::BodyLimit(const std::string& method) const {
  const bool imports = method == "POST" && path_ == "/api/import";
  return imports ? services_.limits.import_bytes : services_.limits.body_bytes;
}

std::optional<Refusal> Conversation::Check(const Request& request) {
  if (auto refusal = services_.access.Check(request)) return refusal;
  is_trusted_ = true;
  return CheckForm(request);
}

std::optional<Refusal> Conversation::CheckForm(const Request& request) const {
  if (request.has_header("Content-Length")) {
    const auto length = ReadLength(request.get_header_value("Content-Length"));
    if (!length || request.get_header_value_count("Content-Length") != 1 ||
        request.has_header("Transfer-Encoding"))
      return Refusal{400, "the length of the request's body is not clear"};
    if (*length > BodyLimit(request.method)) return Refusal{413, "the request's body is too large"};
  }
  if (request.is_multipart_form_data())
    return Refusal{415, "send the file itself as the request's body, not a form"};
  if (!AreAllUtf8(request, path_)) return Refusal{400, "the address is not UTF-8 text"};
  if (!IsClientName(request.get_header_value("Kt-Client")))
    return Refusal{400, "the header Kt-Client is at most 64 printable ASCII characters"};
  constexpr std::string_view kMethods[] = {"GET", "HEAD", "POST", "PUT", "PATCH", "DELETE"};
  const bool reads = request.method == "GET" || request.method == "HEAD";
  const bool is_known = std::ranges::find(kMethods, request.method) != std::end(kMethods);
  if (!is_known || (!reads && !IsForApi())) return Refusal{405, "this can not be asked"};
  return std::nullopt;
}

Conversation::HandlerResponse Conversation::AnswerWithoutBody(const Request& request,
                                                              Response& response) {
  if (refusal_) {
    Refuse(*refusal_, response);
    return HandlerResponse::Handled;
  }
  if (request.method != "GET" && request.method != "HEAD") return HandlerResponse::Unhandled;
  Answer(request, "", response);
  return HandlerResponse::Handled;
}

void Conversation::AnswerWithBody(const Request& request, Response& response,
                                  const httplib::ContentReader& reader) {
  std::string body;
  bool is_too_large = false;
  const std::size_t limit = BodyLimit(request.method);
  if (has_body_) {
    const bool is_complete = reader([&](const char* bytes, std::size_t size) {
      is_too_large = body.size() + size > limit;
      if (!is_too_large) body.append(bytes, size);
      return !is_too_large;
    });
    if (is_too_large) return Refuse({413, "the request's body is too large"}, response);
    if (!is_complete)
      return Refuse({400, "the request's body ended early, or took too long"}, response);
    is_last_ = false;
  }
  Answer(request, std::move(body), response);
}

void Conversation::Answer(const Request& request, std::string body, Response& response) {
  if (!IsForApi()) return AnswerWithFile(request, response);
  const std::string path = path_.substr(kApi.size());
  if (path == "events" && request.method == "GET") return AnswerWithEvents(response);
  ApiAnswer answer =
      services_.api.Answer({request.method == "HEAD" ? "GET" : request.method, path, request.params,
                            std::move(body), request.get_header_value("Kt-Client")});
  response.status = answer.status;
  response.body = std::move(answer.body);
  response.set_header("Content-Type", answer.content_type);
  for (const auto& [name, value] : answer.headers)
    response.set_header(name, value);
}

void Conversation::AnswerWithFile(const Request& request, Response& response) {
  const bool is_page = path_ == "/" || path_ == "/index.html";
  const std::string name =
      is_page ? "index.html" : path_.substr(std::min<std::size_t>(1, path_.size()));
  std::optional<std::string> file = services_.files.Find(name);
  if (!file && is_page) {
    return Refuse({404, "this ktnotebook was built without its page; its interface below " +
                            std::string(kApi) + " can be asked all the same"},
                  response);
  }
  if (!file) return Refuse({404, "there is no such address"}, response);
  response.status = 200;
  response.set_header("Content-Type", ContentTypeOf(name));
  if (is_page) {
    const std::string nonce = MakeSecret();
    ReplaceAll(*file, kNonceMark, nonce);
    response.set_header("Content-Security-Policy", ContentPolicy(nonce));
  }
  if (is_page && services_.access.HasKey(request))
    response.set_header("Set-Cookie", services_.access.Cookie());
  response.body = *std::move(file);
}

void Conversation::AnswerWithEvents(Response& response) {
  const std::shared_ptr<EventHub::Stream> events = services_.events.Open();
  if (events == nullptr)
    return Refuse({503, "too many pages are open; close some and try again"}, response);
  response.status = 200;
  is_last_ = true;
  next_comment_ = Clock::now() + services_.limits.comment_time;
  response.set_content_provider(
      "text/event-stream",
      [this, events](std::size_t, httplib::DataSink& sink) { return SendEvents(*events, sink); });
}

// Sends what there is; false when nobody is there to take it.
bool Conversation::SendEvents(EventHub::Stream& events, httplib::DataSink& sink) {
  std::optional<std::string> text = events.Next(services_.limits.look_time);
  if (!text) {
    sink.done();
    return true;
  }
  const Clock::time_point now = Clock::now();
  if (text->empty() && now >= next_comment_) *text = ":\n\n";
  if (text->empty()) return !stream_.IsGone();
  next_comment_ = now + services_.limits.comment_time;
  return sink.write(text->data(), text->size());
}

void Conversation::Refuse(const Refusal& refusal, Response& response) {
  refusal_ = refusal;
  response.status = refusal.status;
  response.body = IsForApi() ? ErrorJson(refusal.message) : refusal.message + "\n";
  response.set_header("Content-Type",
                      IsForApi() ? "application/json" : "text/plain; charset=utf-8");
  if (refusal.status == 401) response.set_header("WWW-Authenticate", "Bearer");
}

void Conversation::AddHeaders(Response& response) const {
  constexpr std::pair<const char*, const char*> kHeaders[] = {
      {"X-Content-Type-Options", "nosniff"},
      {"Referrer-Policy", "no-referrer"},
      {"Cross-Origin-Resource-Policy", "same-origin"},
      {"Cross-Origin-Opener-Policy", "same-origin"},
      {"Cache-Control", "no-store"}};
  for (const auto& [name, value] : kHeaders)
    response.set_header(name, value);
  if (!response.has_header("Content-Security-Policy"))
    response.set_header("Content-Security-Policy", ContentPolicy(""));
  // The library's own opinion about how long a connection is kept.
  response.headers.erase("Keep-Alive");
  if (is_last_) {
    response.headers.erase("Connection");
    response.set_header("Connection", "close");
  }
}

void Conversation::Log(const Request& request, const Response& response) {
  const auto time = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - begin_);
  services_.log.Add({request.method.empty() ? "?" : request.method, path_, response.status, time,
                     response.body.size(),
                     refusal_ ? refusal_->message : ReasonIn(response.status, response.body)});
}

}  // namespace ktnotebook
