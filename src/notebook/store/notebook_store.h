// Notebooks kept in a database.
#pragma once

#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "notebook/files/notebook_file.h"
#include "notebook/store/database.h"

namespace ktnotebook {

// The notebook's tables and the listeners' table "ELN_field_listeners" in one database. A form is
// found by its name. Every operation that changes something wants a transaction around it, so that
// a form is never half there. All throw NotebookError.
class NotebookStore {
 public:
  // Creates the tables when the database has none and `create` says so.
  NotebookStore(std::shared_ptr<Database> database, bool create);

  Database& Connection() const noexcept { return *database_; }

  // The names of the forms in the order of their import.
  std::vector<std::u16string> FormNames() const;

  // Adds the form with everything on it; refuses a name that is in use. Tables that another version
  // of this program made are brought up to date, in the same transaction.
  void Add(Notebook& notebook, NotebookForm& form);

  // The form, or forms, in a notebook of their own, listeners included.
  Notebook Load(std::u16string_view form_name) const;
  Notebook Load(std::span<const std::u16string> form_names) const;

  // Writes the present content of cells of a loaded form.
  void SaveCells(std::span<const NotebookCell> cells) const;

  // Writes a listener of a loaded form with its result format; one without a key gets a row.
  void SaveListener(Notebook& notebook, const NotebookTable& table,
                    ktformula::IKtFieldListener& listener) const;

 private:
  void CreateTables() const;
  // In the caller's transaction: others may change the tables at any other time.
  std::int64_t SchemaVersion() const;
  void NeedLocales() const;
  void AddField(Notebook& notebook, NotebookField& field, std::int64_t form_key,
                int position) const;
  void AddTable(Notebook& notebook, const NotebookField& field) const;
  void LoadForm(Notebook& notebook, std::u16string_view form_name) const;
  void LoadField(Notebook& notebook, NotebookForm& form, std::span<const DbValue> row) const;
  void LoadTable(Notebook& notebook, NotebookTable& table, std::int64_t field_key) const;
  void LoadRows(NotebookTable& table, std::int64_t field_key) const;
  void LoadCells(NotebookTable& table, std::int64_t field_key) const;
  void LoadListeners(Notebook& notebook, NotebookTable& table, std::int64_t field_key) const;

  std::shared_ptr<Database> database_;
};

}  // namespace ktnotebook
