#include "notebook/page/file_database.h"

#include <filesystem>
#include <system_error>
#include <utility>

#include "notebook/commands/notebook_input.h"
#include "notebook/files/file.h"
#include "notebook/files/notebook_file.h"
#include "notebook/store/notebook_store.h"
#include "notebook/tables/recalculation.h"

namespace ktnotebook {

namespace {

class FileDatabase final : public Database {
 public:
  FileDatabase(std::string path, const std::function<void(const std::string&)>& say)
      : path_(std::move(path)) {
    Read(say);
    text_ = Text();
    changes_ = CountChanges();
  }

  DbResult Run(std::string_view sql, std::span<const DbValue> parameters) override {
    if (sql == "COMMIT") Write();
    return memory_->Run(sql, parameters);
  }
  using Database::Run;

  bool HasTable(std::string_view name) override { return memory_->HasTable(name); }
  std::string_view KeyType() const noexcept override { return memory_->KeyType(); }
  void CreateSequence(std::string_view name) override { memory_->CreateSequence(name); }
  ktformula::Ref<ktformula::DatabaseHelper> Helper() override { return memory_->Helper(); }
  void Begin(TransactionKind kind) override { memory_->Begin(kind); }

 private:
  void Read(const std::function<void(const std::string&)>& say) {
    seen_ = LastWritten();
    Notebook notebook = ReadNotebookFile(path_);
    if (!notebook.dropped.empty())
      say("note: " + path_ + ": " + notebook.dropped + " will be left out when it is written");
    const NotebookStore store(memory_, true);
    Transaction transaction(*memory_, store.KindOfAdding());
    for (const Ref<NotebookForm>& form : notebook.forms) {
      RecalculateForm(*form, RoundLimit(*form));
      store.Add(notebook, *form);
      store.SaveRecalculated(*form, {});
    }
    transaction.Commit();
  }

  void Write() {
    const DbValue changes = CountChanges();
    if (changes == changes_) return;
    std::string text = Text();
    if (text != text_) {
      if (LastWritten() != seen_) {
        throw NotebookError(path_ +
                            " was changed by another program; end this one and start it again to "
                            "see what is there now");
      }
      WriteWholeFile(path_, text);
      seen_ = LastWritten();
      text_ = std::move(text);
    }
    changes_ = changes;
  }

  std::string Text() const {
    const NotebookStore store(memory_, false);
    const std::vector<std::u16string> names = store.FormNames();
    return WriteNotebook(names.empty() ? Notebook() : store.Load(names));
  }

  DbValue CountChanges() { return memory_->Run("SELECT total_changes()").rows.front().front(); }

  std::pair<std::filesystem::file_time_type, std::uintmax_t> LastWritten() const {
    const std::filesystem::path path = PathOf(path_);
    std::error_code ignored;
    return {std::filesystem::last_write_time(path, ignored),
            std::filesystem::file_size(path, ignored)};
  }

  const std::shared_ptr<Database> memory_ = OpenDatabase(":memory:", true);
  const std::string path_;
  // What the file holds, and how it was when this program last saw it.
  std::string text_;
  std::pair<std::filesystem::file_time_type, std::uintmax_t> seen_;
  // How many rows had changed then.
  DbValue changes_;
};

}  // namespace

std::shared_ptr<Database> OpenFileAsDatabase(const std::string& path,
                                             const std::function<void(const std::string&)>& say) {
  RequireNotebookName(path);
  return std::make_shared<FileDatabase>(path, say);
}

}  // namespace ktnotebook
