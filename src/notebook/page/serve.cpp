#include "notebook/page/serve.h"

#include <atomic>
#include <csignal>
#include <filesystem>
#include <ostream>

#include "notebook/commands/command_line.h"
#include "notebook/files/file.h"
#include "notebook/files/notebook_error.h"
#include "notebook/files/operating_system.h"
#include "notebook/page/api_routes.h"
#include "notebook/page/page_server.h"
#include "notebook/page/secret.h"
#include "notebook/page/served_file.h"

namespace ktnotebook {

namespace {

std::atomic<PageServer*> served = nullptr;
static_assert(std::atomic<PageServer*>::is_always_lock_free);

extern "C" void StopServing(int) {
  if (PageServer* const server = served) server->Stop();
}

// While it lives, SIGINT and SIGTERM stop the server; the second one of them ends the program.
class StopBySignal {
 public:
  explicit StopBySignal(PageServer& server) {
    served = &server;
    struct sigaction action {};
    action.sa_handler = &StopServing;
    action.sa_flags = static_cast<int>(SA_RESETHAND | SA_RESTART);
    sigaction(SIGINT, &action, &interrupt_);
    sigaction(SIGTERM, &action, &terminate_);
  }
  StopBySignal(const StopBySignal&) = delete;
  StopBySignal& operator=(const StopBySignal&) = delete;
  ~StopBySignal() {
    sigaction(SIGINT, &interrupt_, nullptr);
    sigaction(SIGTERM, &terminate_, nullptr);
    served = nullptr;
  }

 private:
  struct sigaction interrupt_ {};
  struct sigaction terminate_ {};
};

std::unique_ptr<PageFiles> FilesOf(const ServeOptions& options) {
  if (options.page.empty()) return std::make_unique<BuiltInPageFiles>();
  const std::filesystem::path folder = PathOf(options.page);
  if (!std::filesystem::is_directory(folder))
    throw NotebookError("there is no folder " + options.page);
  return std::make_unique<FolderOfPageFiles>(folder);
}

// Where the notebook is kept that is served.
class Kept {
 public:
  Kept(const ServeOptions& options, const Console& console) {
    if (options.file.empty()) {
      database_ = OpenDatabase(options.database, true);
      return;
    }
    file_ = std::make_unique<ServedFile>(options.file);
    if (!file_->Note().empty()) console.Say("note: " + file_->Note());
    database_ = file_->Connection();
  }

  const std::shared_ptr<Database>& Connection() const { return database_; }
  std::optional<NamedLocale> FileLocale() const {
    return file_ ? std::optional(file_->Locale()) : std::nullopt;
  }
  void Follow(ServedNotebook& notebook, EventSink& events) {
    if (file_) file_->Follow(notebook, events);
  }
  void Finish() {
    if (file_) file_->Finish();
  }

 private:
  std::shared_ptr<Database> database_;
  std::unique_ptr<ServedFile> file_;
};

}  // namespace

int Serve(const ServeOptions& options, Console& console) {
  OutliveReaders();
  const std::unique_ptr<PageFiles> files = FilesOf(options);
  const std::string secret =
      options.key_file.empty() ? MakeSecret() : KeptSecret(PathOf(options.key_file));
  const ServerLimits limits;
  RequestLog log(options.log, [&console](const std::string& line) {
    console.Say(line);
    console.err.flush();
  });
  EventHub events(limits);
  Kept kept(options, console);
  ServedNotebook notebook(kept.Connection(), events, kept.FileLocale());
  events.SetHello([&notebook] { return notebook.Hello(); });
  NotebookApi api(notebook);
  PageServer server({options.address, options.port, secret}, limits, *files, api, events, log);
  kept.Follow(notebook, events);
  const StopBySignal stop(server);
  console.out << server.FirstAddress() << std::endl;
  if (server.IsForOthers())
    log.Note("warning: other machines can reach " + options.address +
             ", and what they send can be overheard");
  log.Note("serving " + (options.file.empty() ? options.database : options.file) +
           "; Ctrl-C ends it");
  server.Run([&notebook] { notebook.Interrupt(true); });
  notebook.Interrupt(false);
  kept.Finish();
  log.Note("ended");
  return kExitDone;
}

}  // namespace ktnotebook
