// The page's server over real sockets: whom it answers, what it refuses, and that nobody keeps it
// from others.
#include "notebook/page/page_server.h"

#include <algorithm>
#include <arpa/inet.h>
#include <atomic>
#include <chrono>
#include <cstring>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include "notebook/files/file.h"
#include "notebook/program.h"

namespace ktnotebook {
namespace {

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

constexpr const char* kSecret = "0123456789abcdef0123456789abcdef";

// A connection to a server of this machine.
class Client {
 public:
  explicit Client(int port) : socket_(socket(AF_INET, SOCK_STREAM, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    is_open_ = connect(socket_, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
  }
  Client(Client&& other) noexcept : socket_(std::exchange(other.socket_, -1)) {}
  ~Client() {
    if (socket_ >= 0) close(socket_);
  }

  // Whether all went out.
  bool Send(std::string_view bytes) {
    while (!bytes.empty()) {
      const ssize_t sent = send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
      if (sent <= 0) return false;
      bytes.remove_prefix(static_cast<std::size_t>(sent));
    }
    return true;
  }
  // What came until it ends with, or contains, this; or until the end, or 10 s.
  std::string ReadUntil(std::string_view what = {"\0", 1}) {
    const auto until = Clock::now() + std::chrono::seconds(10);
    while (read_.find(what) == read_.npos && Clock::now() < until) {
      pollfd waited{socket_, POLLIN, 0};
      if (poll(&waited, 1, 100) <= 0) continue;
      char bytes[65536];
      const ssize_t received = recv(socket_, bytes, sizeof bytes, 0);
      if (received <= 0) break;
      read_.append(bytes, static_cast<std::size_t>(received));
    }
    return read_;
  }

 private:
  int socket_;
  bool is_open_ = false;
  std::string read_;
};

// Says what it was asked.
class Echo final : public Api {
 public:
  ApiAnswer Answer(const ApiRequest& request) override {
    if (request.path == "slow") std::this_thread::sleep_for(milliseconds(300));
    return {200, request.method + " " + request.path + " " + std::to_string(request.body.size())};
  }
};

class TwoFiles final : public PageFiles {
 public:
  std::optional<std::string> Find(const std::string& name) const override {
    if (name == "index.html") return "<meta content='@NONCE@'>";
    if (name == "page.js") return "1";
    return std::nullopt;
  }
};

ServerLimits ShortLimits() {
  ServerLimits limits;
  limits.head_time = limits.body_time = limits.write_time = milliseconds(300);
  limits.linger_time = limits.look_time = milliseconds(50);
  limits.body_bytes = 1000;
  limits.import_bytes = 2000;
  limits.connections = 100;
  limits.streams = 2;
  limits.stream_bytes = 200'000;
  return limits;
}

struct PageServerTest : ::testing::Test {
  PageServerTest() : thread([this] { server.Run(); }) {}
  ~PageServerTest() override { End(); }
  void End() {
    server.Stop();
    if (thread.joinable()) thread.join();
  }

  std::string Filled(std::string text) const {
    const std::pair<std::string, std::string> places[] = {{"$PORT", std::to_string(server.Port())},
                                                          {"$KEY", kSecret}};
    for (const auto& [place, value] : places) {
      for (std::size_t at = text.find(place); at != text.npos; at = text.find(place))
        text.replace(at, place.size(), value);
    }
    return text;
  }
  // A request with the own host and the secret, and what is added.
  std::string Request(const std::string& line, const std::string& headers = "",
                      const std::string& body = "") const {
    return Filled(line + " HTTP/1.1\r\nHost: 127.0.0.1:$PORT\r\nAuthorization: Bearer $KEY\r\n" +
                  headers + "\r\n" + body);
  }
  // The status of the answer, "" when there is none.
  std::string Status(const std::string& request) const {
    Client client(server.Port());
    client.Send(request);
    const std::string answer = client.ReadUntil("\r\n");
    return answer.starts_with("HTTP/1.1 ") ? answer.substr(9, 3) : answer;
  }
  std::string Log() {
    const std::lock_guard lock(mutex);
    return lines;
  }

  const ServerLimits limits = ShortLimits();
  std::mutex mutex;
  std::string lines;
  RequestLog log{LogLevel::kAll, [this](const std::string& line) {
                   const std::lock_guard lock(mutex);
                   lines += line + "\n";
                 }};
  EventHub events{limits};
  Echo api;
  TwoFiles files;
  PageServer server{{"127.0.0.1", 0, kSecret}, limits, files, api, events, log};
  std::thread thread;
};

TEST_F(PageServerTest, AnswersWhoMayAskAndNobodyElse) {
  const std::string host = "Host: 127.0.0.1:$PORT\r\n";
  const std::string key = "Authorization: Bearer $KEY\r\n";
  const std::string link = "Sec-Fetch-Mode: navigate\r\nSec-Fetch-Dest: document\r\n";
  const struct {
    const char* line;
    std::string headers;
    const char* status;
  } cases[] = {
      {"GET /api/forms", host, "401"},
      {"GET /", host, "401"},
      {"GET /page.js", host, "401"},
      {"GET /api/forms", host + key, "200"},
      {"GET /api/forms", host + "Authorization: Bearer $KEYx\r\n", "401"},
      {"GET /api/forms", host + "Authorization: Bearer \r\n", "401"},
      {"GET /api/forms", host + "Cookie: a=b; ktnotebook-$PORT=$KEY\r\n", "200"},
      {"GET /api/forms", host + "Cookie: ktnotebook-1=$KEY\r\n", "401"},
      {"GET /api/forms?key=$KEY", host, "401"},
      {"GET /?key=$KEY", host, "200"},
      {"GET /?key=", host, "401"},
      {"GET /page.js", host + key, "200"},
      {"GET /missing.js", host + key, "404"},
      {"GET /../index.html", host + key, "404"},
      // Other names lead here when their owner wants it.
      {"GET /api/forms", "Host: localhost:$PORT\r\n" + key, "200"},
      {"GET /api/forms", "Host: [::1]:$PORT\r\n" + key, "200"},
      {"GET /api/forms", "Host: rebound.example:$PORT\r\n" + key, "403"},
      {"GET /api/forms", "Host: 127.0.0.1:1\r\n" + key, "403"},
      {"GET /api/forms", "Host: 127.0.0.1\r\n" + key, "403"},
      {"GET /api/forms", host + "Host: rebound.example\r\n" + key, "403"},
      {"GET /api/forms", key, "403"},
      // Other sites' pages make browsers ask.
      {"PUT /api/cells/a", host + key + "Origin: http://127.0.0.1:$PORT\r\n", "200"},
      {"PUT /api/cells/a", host + key + "Origin: http://127.0.0.1:1\r\n", "403"},
      {"PUT /api/cells/a", host + key + "Origin: null\r\n", "403"},
      {"OPTIONS /api/forms", host + "Origin: https://site.example\r\n", "403"},
      {"GET /api/forms", host + key + "Sec-Fetch-Site: same-origin\r\n", "200"},
      {"GET /api/forms", host + key + "Sec-Fetch-Site: same-site\r\n", "403"},
      {"GET /api/forms", host + key + "Sec-Fetch-Site: cross-site\r\n", "403"},
      {"GET /", host + key + "Sec-Fetch-Site: cross-site\r\n" + link, "403"},
      {"GET /?key=$KEY", host + "Sec-Fetch-Site: cross-site\r\n" + link, "200"},
  };
  for (const auto& [line, headers, status] : cases) {
    EXPECT_EQ(Status(Filled(std::string(line) + " HTTP/1.1\r\n" + headers + "\r\n")), status)
        << line << '\n'
        << headers;
  }
  EXPECT_EQ(Log().find(kSecret), std::string::npos);
}

TEST_F(PageServerTest, RefusesWhatIsNoProperRequest) {
  const std::string chunks = "320\r\n" + std::string(800, 'x') + "\r\n";
  std::string flood;
  for (int i = 0; i < 5000; ++i)
    flood += "A" + std::to_string(i) + ": something\r\n";
  const struct {
    std::string request;
    const char* status;
  } cases[] = {
      {Request("PUT /api/a", "Content-Length: 3\r\n", "abc"), "200"},
      {Request("PUT /api/a", "Content-Length: 104857600\r\n"), "413"},
      {Request("PUT /api/a", "Content-Length: 104857600\r\nExpect: 100-continue\r\n"), "413"},
      {Filled("PUT /api/a HTTP/1.1\r\nHost: 127.0.0.1:$PORT\r\nContent-Length: 104857600\r\n"
              "Expect: 100-continue\r\n\r\n"),
       "401"},
      {Request("POST /api/a", "Transfer-Encoding: chunked\r\n", chunks + "0\r\n\r\n"), "200"},
      {Request("POST /api/a", "Transfer-Encoding: chunked\r\n", chunks + chunks + "0\r\n\r\n"),
       "413"},
      {Request("POST /api/import", "Transfer-Encoding: chunked\r\n", chunks + chunks + "0\r\n\r\n"),
       "200"},
      {Request("POST /api/a", "Transfer-Encoding: chunked\r\n", "zz\r\n"), "400"},
      {Request("PUT /api/a", "Content-Length: 1e3\r\n"), "400"},
      {Request("PUT /api/a", "Content-Length: -1\r\n"), "400"},
      {Request("PUT /api/a", "Content-Length: 3\r\nContent-Length: 4\r\n", "abc"), "400"},
      {Request("PUT /api/a", "Content-Length: 3\r\nTransfer-Encoding: chunked\r\n", "abc"), "400"},
      {Request("POST /api/a",
               "Content-Type: multipart/form-data; boundary=b\r\nContent-Length: 3\r\n", "abc"),
       "415"},
      {Request("OPTIONS /api/a"), "405"},
      {Request("TRACE /"), "405"},
      {Request("PUT /page.js"), "405"},
      {Request("GET /api/%FF"), "400"},
      {Request("GET /api/a?b=%C3"), "400"},
      {Request("GET /api/a", "Kt-Client: a b\r\n"), "400"},
      {Request("GET /" + std::string(9000, 'a')), "414"},
      {Request("GET /api/a", "A: " + std::string(9000, 'a') + "\r\n"), "400"},
      {Request("GET /api/a", "Range: bytes=x\r\n"), "416"},
      {Request("GET /api/a", flood), "431"},
      {"COPY / HTTP/1.1\r\n\r\n", "400"},
      {std::string("\0\1\2\r\n\r\n", 7), "400"},
      {"\x16\x03\x01\r\n\r\n", "400"},
      // Nothing more comes.
      {"GET / HTTP/1.1\r\nHo", "408"},
      {Request("PUT /api/a", "Content-Length: 5\r\n", "abc"), "400"},
      {Request("GET /api/a"), "200"},
  };
  for (const auto& [request, status] : cases)
    EXPECT_EQ(Status(request), status) << request.substr(0, 200);
}

TEST_F(PageServerTest, AnswersHaveWhatKeepsOthersOut) {
  Client client(server.Port());
  client.Send(Filled("GET /?key=$KEY HTTP/1.1\r\nHost: localhost:$PORT\r\n\r\n"));
  const std::string answer = client.ReadUntil("'>");
  for (const char* header :
       {"Content-Security-Policy: default-src 'none'; script-src 'self'; style-src 'self' 'nonce-",
        "X-Content-Type-Options: nosniff\r\n", "Referrer-Policy: no-referrer\r\n",
        "Cross-Origin-Resource-Policy: same-origin\r\n",
        "Cross-Origin-Opener-Policy: same-origin\r\n", "Cache-Control: no-store\r\n",
        "=$KEY; Path=/; HttpOnly; SameSite=Strict\r\n"})
    EXPECT_NE(answer.find(Filled(header)), answer.npos) << header << '\n' << answer;
  const std::string nonce = answer.substr(answer.find("'nonce-") + 7, 40);
  EXPECT_NE(answer.find("<meta content='" + nonce + "'>"), answer.npos) << answer;
}

TEST_F(PageServerTest, ServesRequestsOfOneConnectionInTurn) {
  Client client(server.Port());
  client.Send(Request("PUT /api/x%2Fy", "Content-Length: 2\r\n", "ab") + Request("HEAD /api/z") +
              Request("DELETE /api/q") + Request("GET /api/end", "Connection: close\r\n"));
  const std::string answers = client.ReadUntil();
  const std::size_t put = answers.find("PUT x/y 2"), last = answers.find("GET end 0");
  EXPECT_LT(put, answers.find("DELETE q 0"));
  EXPECT_NE(last, answers.npos) << answers;
}

TEST_F(PageServerTest, TheLogCanBeRead) {
  Status(Request("GET /api/a%1B%5B2J%0Ab"));
  for (int i = 0; i < 50; ++i)
    Status("GET / HTTP/1.1\r\n\r\n");
  EXPECT_NE(Log().find("GET /api/a\x1B[2J\nb 200 "), std::string::npos) << Log();
  for (int i = 0; i < 100 && Log().find("49 more\n") == std::string::npos; ++i)
    std::this_thread::sleep_for(milliseconds(50));
  EXPECT_NE(Log().find("49 more\n"), std::string::npos) << Log();
  const std::string told = Log();
  EXPECT_LT(std::count(told.begin(), told.end(), '\n'), 6) << told;
}

TEST_F(PageServerTest, ByteByByteIsNoWayToStay) {
  for (const std::string& begin :
       {std::string("GET / HTTP/1.1\r\nA: "), Request("PUT /api/a", "Content-Length: 900\r\n")}) {
    Client client(server.Port());
    const auto since = Clock::now();
    client.Send(begin);
    while (client.Send("x") && Clock::now() - since < std::chrono::seconds(5))
      std::this_thread::sleep_for(milliseconds(20));
    EXPECT_LT(Clock::now() - since, std::chrono::seconds(3)) << begin;
  }
}

// Far more connections than there may be, each of them with half a request or none.
TEST_F(PageServerTest, AStormOfConnectionsKeepsNobodyOut) {
  rlimit files_limit{};
  getrlimit(RLIMIT_NOFILE, &files_limit);
  const rlimit raised{files_limit.rlim_max, files_limit.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &raised), 0);
  std::vector<Client> storm;
  std::atomic<bool> is_over = false;
  std::thread sender([&] {
    for (int i = 0; i < 2500; ++i) {
      storm.emplace_back(server.Port());
      if (i % 2 == 0) storm.back().Send("GET / HTTP/1.1\r\nHost: 1");
    }
    is_over = true;
  });
  auto longest = Clock::duration::zero();
  do {
    const auto since = Clock::now();
    EXPECT_EQ(Status(Request("GET /api/a")), "200");
    longest = std::max(longest, Clock::now() - since);
  } while (!is_over);
  sender.join();
  EXPECT_EQ(Status(Request("GET /api/a")), "200");
  EXPECT_LT(longest, std::chrono::seconds(2));
  storm.clear();
  setrlimit(RLIMIT_NOFILE, &files_limit);
}

TEST_F(PageServerTest, StreamsTellAllPages) {
  const std::string request = Request("GET /api/events");
  Client first(server.Port()), second(server.Port());
  first.Send(request);
  second.Send(request);
  EXPECT_NE(first.ReadUntil("\n\n").find("\r\n\r\nretry: "), std::string::npos);
  EXPECT_NE(second.ReadUntil("{}\n\n").find("event: hello\ndata: {}\n\n"), std::string::npos);
  EXPECT_NE(first.ReadUntil("{}\n\n").find("hello"), std::string::npos);
  EXPECT_EQ(Status(request), "503");
  events.Publish("changed", "{\"a\":1}");
  const std::string event = "id: 1\nevent: changed\ndata: {\"a\":1}\n\n";
  EXPECT_TRUE(first.ReadUntil(event).ends_with(event));
  EXPECT_TRUE(second.ReadUntil(event).ends_with(event));
  // A page that went away makes room.
  { const Client gone = std::move(first); }
  std::string status;
  for (int i = 0; i < 100 && status != "200"; ++i) {
    std::this_thread::sleep_for(limits.look_time);
    status = Status(request);
  }
  EXPECT_EQ(status, "200");
  const auto since = Clock::now();
  End();
  EXPECT_TRUE(second.ReadUntil().ends_with(event));
  EXPECT_LT(Clock::now() - since, std::chrono::seconds(2));
}

TEST_F(PageServerTest, WhoReadsTooSlowlyIsCutOff) {
  Client slow(server.Port());
  slow.Send(Request("GET /api/events"));
  slow.ReadUntil("{}\n\n");
  // More than the system keeps for it.
  for (int i = 0; i < 1000; ++i)
    events.Publish("changed", std::string(100'000, 'x'));
  EXPECT_LT(slow.ReadUntil().size(), 50'000'000U);
  Client again(server.Port());
  again.Send(Request("GET /api/events"));
  EXPECT_NE(again.ReadUntil("{}\n\n").find("hello"), std::string::npos);
}

TEST_F(PageServerTest, TheEndWaitsForRequestsUnderWay) {
  Client client(server.Port());
  client.Send(Request("GET /api/slow"));
  std::this_thread::sleep_for(milliseconds(100));
  End();
  EXPECT_TRUE(client.ReadUntil().ends_with("GET slow 0"));
}

// The program with its arguments, until it is told to end.
class ServingProgram {
 public:
  explicit ServingProgram(std::vector<std::string> arguments) {
    int output[2];
    EXPECT_EQ(pipe(output), 0);
    arguments.insert(arguments.begin(), {KT_NOTEBOOK_PROGRAM, "serve", "--log", "quiet"});
    std::vector<char*> words;
    for (std::string& argument : arguments)
      words.push_back(argument.data());
    words.push_back(nullptr);
    process_ = fork();
    if (process_ == 0) {
      dup2(output[1], STDOUT_FILENO);
      execv(words.front(), words.data());
      _exit(127);
    }
    close(output[1]);
    FILE* const lines = fdopen(output[0], "r");
    char line[200] = "";
    address = std::fgets(line, sizeof line, lines) != nullptr ? line : "";
    std::fclose(lines);
  }
  int End(int signal) {
    kill(process_, signal);
    int status = 0;
    waitpid(process_, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }
  int Port() const { return std::stoi(address.substr(address.find(':', 6) + 1)); }
  std::string Key() const { return address.substr(address.find("key=") + 4, 40); }
  // The answer to a request that types a text into a cell.
  std::string Type(const std::string& cell, const std::string& text) const {
    Client client(Port());
    const std::string body = "{\"text\":\"" + text + "\"}";
    client.Send("PUT /api/cells/" + cell + " HTTP/1.1\r\nHost: localhost:" +
                std::to_string(Port()) + "\r\nAuthorization: Bearer " + Key() +
                "\r\nConnection: close\r\nContent-Length: " + std::to_string(body.size()) +
                "\r\n\r\n" + body);
    return client.ReadUntil();
  }

  std::string address;

 private:
  pid_t process_;
};

TEST(Serve, ASignalEndsItWhenAllIsWrittenAndItCanGoOn) {
  const TemporaryFolder folder;
  const std::string file = folder.File("aspirin.xml"), key = folder.File("key");
  std::filesystem::copy_file(KT_SOURCE_DIR "/examples/aspirin.xml", file);
  ServingProgram program({file, "--key-file", key});
  EXPECT_TRUE(program.Type("Aspirin/Reactants:Mass:SA", "2.51 g").starts_with("HTTP/1.1 200"));
  const std::string port = std::to_string(program.Port());
  ServingProgram second({"--db", folder.File("n.db"), "--port", port});
  EXPECT_EQ(second.address, "");
  EXPECT_EQ(second.End(0), kExitFailed);
  EXPECT_EQ(program.End(SIGTERM), kExitDone);
  EXPECT_NE(ReadWholeFile(file).find("2.51 g"), std::string::npos);

  // The page goes on with the secret that it knows.
  using std::filesystem::perms;
  EXPECT_EQ(std::filesystem::status(key).permissions(), perms::owner_read | perms::owner_write);
  ServingProgram again({file, "--key-file", key, "--port", port});
  EXPECT_EQ(again.address, program.address);
  EXPECT_EQ(again.End(SIGINT), kExitDone);
  std::filesystem::permissions(key, perms::group_read, std::filesystem::perm_options::add);
  EXPECT_EQ(ServingProgram({file, "--key-file", key}).End(0), kExitFailed);
}

}  // namespace
}  // namespace ktnotebook
