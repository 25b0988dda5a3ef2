// The requests of one connection, one after the other.
#pragma once

#include <functional>
#include <httplib.h>
#include <optional>
#include <string>

#include "notebook/page/page_services.h"
#include "notebook/page/socket_stream.h"

namespace ktnotebook {

// Refuses what may not be asked before it reads more than a request's head, and then answers with a
// page file, with events, or with what the interface says. The library takes requests apart and
// puts answers together.
class Conversation final : private httplib::Server {
 public:
  // Told before a request is served (true) and when the next one is waited for (false); gives
  // whether to go on. `trusted` tells whether the other side has shown the secret.
  using Watch = std::function<bool(bool serves, bool trusted)>;

  // The socket stays the caller's.
  Conversation(int socket, const PageServices& services, Watch watch);

  // Returns when the connection is of no more use.
  void Run();

 private:
  using Request = httplib::Request;
  using Response = httplib::Response;

  bool ServeOne();
  void RefuseHead(int status, const std::string& message);
  void Begin(Request& request);
  std::optional<Refusal> CheckForm(const Request& request) const;
  std::optional<Refusal> Check(const Request& request);
  std::size_t BodyLimit(const std::string& method) const;

  HandlerResponse AnswerWithoutBody(const Request& request, Response& response);
  void AnswerWithBody(const Request& request, Response& response,
                      const httplib::ContentReader& reader);
  void Answer(const Request& request, std::string body, Response& response);
  void AnswerWithFile(const Request& request, Response& response);
  void AnswerWithEvents(Response& response);
  bool SendEvents(EventHub::Stream& events, httplib::DataSink& sink);
  void Refuse(const Refusal& refusal, Response& response);
  void AddHeaders(Response& response) const;
  void Log(const Request& request, const Response& response);

  bool IsForApi() const;

  const PageServices& services_;
  const Watch watch_;
  SocketStream stream_;
  bool is_trusted_ = false;

  // Of the present request.
  SocketStream::Clock::time_point begin_;
  std::string path_;
  std::optional<Refusal> refusal_;
  bool has_body_ = false;
  // Unless it was read to its end, nothing can come behind it.
  bool is_last_ = true;
  SocketStream::Clock::time_point next_comment_;
};

}  // namespace ktnotebook
