#include "notebook/page/served_file.h"

#include <algorithm>
#include <chrono>
#include <fcntl.h>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <sys/file.h>
#include <unistd.h>

#include "notebook/files/file.h"
#include "notebook/files/notebook_error.h"
#include "notebook/files/notebook_file.h"
#include "notebook/files/utf.h"
#include "notebook/tables/recalculation.h"

namespace ktnotebook {

namespace {

using Time = std::chrono::steady_clock::duration;

// How soon after a change the file is written. Writing a large one keeps those who edit waiting, so
// that the time between is a multiple of what it took.
constexpr Time kLeastInterval = std::chrono::milliseconds(100);
constexpr int kIntervalForWriting = 20;
// Until what failed is tried again.
constexpr Time kIntervalAfterFailure = std::chrono::seconds(2);

// The hash FNV-1a, with the size: enough to see that somebody else has written the file.
std::string HashOf(std::string_view content) {
  std::uint64_t hash = 0xCBF29CE484222325;
  for (const char byte : content)
    hash = (hash ^ static_cast<unsigned char>(byte)) * 0x100000001B3;
  return std::to_string(content.size()) + "-" + std::to_string(hash);
}

std::string TextOf(const DbValue& value) {
  const auto* const text = std::get_if<std::string>(&value);
  return text != nullptr ? *text : "";
}

}  // namespace

FileLock::~FileLock() {
  if (descriptor_ >= 0) close(descriptor_);
}

bool FileLock::Take(const std::string& path) {
  descriptor_ = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  if (descriptor_ < 0) throw NotebookError(path + ": can not be made");
  return flock(descriptor_, LOCK_EX | LOCK_NB) == 0;
}

ServedFile::ServedFile(const std::string& path) : path_(path) {
  const std::string content = ReadWholeFile(path);
  // Beside the file itself: whoever knows it by another name finds the same one.
  database_path_ = PathText(std::filesystem::canonical(PathOf(path))) + ".serving.db";
  if (!lock_.Take(database_path_)) {
    throw NotebookError(path_ + ": another program serves this file");
  }
  content_hash_ = HashOf(content);
  if (IsLeft()) {
    TakeUp(content);
  } else {
    ReadAnew(content);
  }
}

bool ServedFile::IsLeft() const {
  return std::filesystem::file_size(PathOf(database_path_)) > 0 &&
         OpenDatabase(database_path_, false)->HasTable("served_file");
}

void ServedFile::TakeUp(const std::string& content) {
  database_ = OpenDatabase(database_path_, false);
  const DbResult found =
      database_->Run("SELECT written, locale, content_hash, next_hash FROM served_file");
  if (found.rows.empty()) throw NotebookError(database_path_ + ": the database is damaged");
  const std::vector<DbValue>& row = found.rows[0];
  written_ = TextOf(row[0]);
  locale_ = FindNamedLocale(FromStoredUtf8(TextOf(row[1]))).value_or(NamedLocale());
  const std::string now = FingerprintOf(NotebookStore(database_, false).Versions());
  if (now == written_) {
    database_ = nullptr;
    return ReadAnew(content);
  }
  if (TextOf(row[2]) != content_hash_ && TextOf(row[3]) != content_hash_) {
    throw NotebookError(database_path_ + " has changes that " + path_ +
                        " does not have, and the file has changed since then: take one of them "
                        "away (\"ktnotebook export\" reads the database)");
  }
  note_ = "changes that were not yet in " + path_ + " are taken up";
}

void ServedFile::ReadAnew(const std::string& content) {
  Notebook notebook = ReadNotebook(content, path_);
  if (!notebook.dropped.empty()) note_ = path_ + ": " + notebook.dropped + " left out";
  // The file stays, since it is what is locked.
  std::filesystem::resize_file(PathOf(database_path_), 0);
  std::filesystem::remove(PathOf(database_path_ + "-journal"));
  database_ = OpenDatabase(database_path_, true);
  const NotebookStore store(database_, true);
  Transaction transaction(*database_, TransactionKind::kAlone);
  for (const Ref<NotebookForm>& form : notebook.forms) {
    RecalculateForm(*form, RoundLimit(*form));
    store.Add(notebook, *form);
    store.SaveRecalculated(*form, {});
  }
  locale_ = notebook.locale;
  database_->Run(
      "CREATE TABLE served_file(content_hash TEXT NOT NULL, next_hash TEXT NOT NULL, "
      "written TEXT NOT NULL, locale TEXT NOT NULL)");
  database_->Run("INSERT INTO served_file VALUES('', '', '', $1)", {ToStoredUtf8(locale_.name)});
  NoteWritten(*database_, content, FingerprintOf(store.Versions()));
  transaction.Commit();
}

void ServedFile::Follow(ServedNotebook& notebook, EventSink& events) {
  notebook_ = &notebook;
  events_ = &events;
  worker_ = std::thread([this] { Work(); });
}

ServedFile::~ServedFile() {
  EndWork();
}

void ServedFile::EndWork() {
  {
    const std::lock_guard lock(mutex_);
    is_ending_ = true;
  }
  ending_.notify_all();
  if (worker_.joinable()) worker_.join();
}

void ServedFile::Finish() {
  EndWork();
  Write();
  database_ = nullptr;
  std::filesystem::remove(PathOf(database_path_));
}

void ServedFile::Work() {
  std::unique_lock lock(mutex_);
  Time interval = kLeastInterval;
  while (!ending_.wait_for(lock, interval, [this] { return is_ending_; })) {
    const auto begin = std::chrono::steady_clock::now();
    try {
      Write();
      told_ = "";
      interval = std::max(kLeastInterval,
                          kIntervalForWriting * Time(std::chrono::steady_clock::now() - begin));
    } catch (const std::exception& error) {
      interval = kIntervalAfterFailure;
      Tell("alert", std::string(error.what()) + "; everything is kept in " + database_path_);
    }
  }
}

void ServedFile::Write() {
  const std::string now = notebook_->Fingerprint();
  if (now == written_) return;
  if (HashOf(ReadWholeFile(path_)) != content_hash_) {
    throw NotebookError(path_ + " was changed by another program and is not written");
  }
  const std::string text = notebook_->FileText();
  // A connection of its own: the other one is the notebook's.
  const std::shared_ptr<Database> database = OpenDatabase(database_path_, false);
  NoteWriting(*database, text);
  WriteWholeFile(path_, text);
  NoteWritten(*database, text, now);
}

void ServedFile::NoteWriting(Database& database, const std::string& content) {
  database.Run("UPDATE served_file SET next_hash = $1", {HashOf(content)});
}

void ServedFile::NoteWritten(Database& database, const std::string& content,
                             const std::string& fingerprint) {
  content_hash_ = HashOf(content);
  written_ = fingerprint;
  database.Run("UPDATE served_file SET content_hash = $1, written = $2", {content_hash_, written_});
}

void ServedFile::Tell(std::string_view severity, const std::string& text) {
  if (std::exchange(told_, text) == text) return;
  events_->Publish("notice", nlohmann::ordered_json{{"severity", severity}, {"text", text}}.dump());
}

}  // namespace ktnotebook
