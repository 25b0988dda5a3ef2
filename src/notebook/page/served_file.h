// A notebook file that pages change: every change is kept in a database beside it at once, and the
// file is written when there is time.
#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "notebook/page/served_notebook.h"
#include "notebook/store/database.h"

namespace ktnotebook {

// Holds a file, which it makes when there is none, against others who would lock it too.
class FileLock {
 public:
  FileLock() = default;
  FileLock(const FileLock&) = delete;
  FileLock& operator=(const FileLock&) = delete;
  ~FileLock();

  // Whether nobody else holds it. Throws NotebookError when the file can not be made.
  bool Take(const std::string& path);

 private:
  int descriptor_ = -1;
};

// Holds the file for itself: no other program serves it meanwhile. The database is gone when the
// file has everything; after a sudden end it is taken up again.
class ServedFile {
 public:
  // Reads the file, or takes up what was left by a sudden end. Throws NotebookError, also when both
  // the file and what was left have changed since.
  explicit ServedFile(const std::string& path);
  ServedFile(const ServedFile&) = delete;
  ServedFile& operator=(const ServedFile&) = delete;
  // Writes nothing.
  ~ServedFile();

  const std::shared_ptr<Database>& Connection() const noexcept { return database_; }

  // What the file's texts are kept in.
  const NamedLocale& Locale() const noexcept { return locale_; }

  // For people, in UTF-8: what was taken up, or left out of the file; "" for nothing.
  const std::string& Note() const noexcept { return note_; }

  // Writes the file from now on whenever the notebook, over this database, has changed. Pages are
  // told when that fails. Both outlive Finish.
  void Follow(ServedNotebook& notebook, EventSink& events);
  // Writes it a last time. Throws NotebookError when that fails: the database stays.
  void Finish();

 private:
  bool IsLeft() const;
  void TakeUp(const std::string& content);
  void ReadAnew(const std::string& content);
  void Work();
  void EndWork();
  void Write();
  // Before: the file may have either content when the program ends in between.
  void NoteWriting(Database& database, const std::string& content);
  void NoteWritten(Database& database, const std::string& content, const std::string& fingerprint);
  void Tell(std::string_view severity, const std::string& text);

  std::string path_;
  std::string database_path_;
  FileLock lock_;
  NamedLocale locale_;
  std::string note_;
  std::shared_ptr<Database> database_;
  ServedNotebook* notebook_ = nullptr;
  EventSink* events_ = nullptr;
  // What the file had when it was last read or written, and the notebook then.
  std::string content_hash_;
  std::string written_;
  // The last message to the pages, which is not repeated.
  std::string told_;
  std::mutex mutex_;
  std::condition_variable ending_;
  bool is_ending_ = false;
  std::thread worker_;
};

}  // namespace ktnotebook
