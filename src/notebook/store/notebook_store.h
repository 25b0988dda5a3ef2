// Notebooks kept in a database.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "notebook/files/notebook_file.h"
#include "notebook/store/database.h"

namespace ktnotebook {

// The notebook's tables and the listeners' table "ELN_field_listeners" in one database. A form is
// found by its name. Every operation that changes something wants a transaction around it, so that
// a form is never half there, and one that changes a form has locked it before. All throw
// NotebookError.
//
// Each form keeps what its results were computed with (ComputedWith). Whoever stores something of a
// form makes that unknown; SaveRecalculated, the last step of every change, makes it this program.
// Each form has a version, too, which grows with every change.
class NotebookStore {
 public:
  // Creates the tables when the database has none and `create` says so.
  NotebookStore(std::shared_ptr<Database> database, bool create);

  Database& Connection() const noexcept { return *database_; }

  // The names of the forms in the order of their import.
  std::vector<std::u16string> FormNames() const;

  // Whether the tables are as this program makes them. Those of an earlier version can be read, and
  // their forms changed, as they are.
  bool IsUpToDate() const;
  // Makes them so, in the caller's transaction, alone.
  void BringUpToDate() const;

  // What a transaction has to be for Add.
  TransactionKind KindOfAdding() const;
  // Adds the form with everything on it; refuses a name that is in use. Tables that another version
  // of this program made are brought up to date, in the same transaction.
  void Add(Notebook& notebook, NotebookForm& form) const;

  // The largest keys in use, 0 for none: of tables in files, and of properties. In a transaction
  // that writes nobody else takes larger ones until it ends.
  struct Keys {
    std::int64_t table = 0;
    std::int64_t property = 0;
  };
  Keys LargestKeys() const;

  // Writes the fields, columns, rows and listeners of a loaded form, which has the name
  // `stored_name` in the database, as they are now: what is new with all its cells; of cells that
  // stay only the place. Refuses a name that another form has.
  void SaveStructure(Notebook& notebook, NotebookForm& form, std::u16string_view stored_name) const;

  // Removes the form of this name with everything on it.
  void Remove(std::u16string_view form_name) const;

  // The form, or forms, in a notebook of their own, listeners included.
  Notebook Load(std::u16string_view form_name) const;
  Notebook Load(std::span<const std::u16string> form_names) const;

  // The forms, in the order in which FormNames has them, to be changed by the caller's transaction:
  // until it ends nobody else changes them. Whoever is just doing so is waited for.
  Notebook LoadForChange(std::span<const std::u16string> form_names) const;

  struct StoredForm {
    std::int64_t key = 0;
    std::u16string name;
  };
  // Locks the first form behind the one with this key, 0 for the first of all, whose results are
  // not known to be current and which nobody is changing; nothing when there is none. The tables
  // are up to date.
  std::optional<StoredForm> LockOutdated(std::int64_t behind) const;

  // All forms whose results are not known to be current, by rising keys.
  std::vector<StoredForm> OutdatedForms() const;

  // Of tables that are up to date.
  struct FormCounts {
    std::int64_t all = 0;
    std::int64_t current = 0;
  };
  FormCounts CountForms() const;

  // A form as it was last stored.
  struct FormVersion {
    std::int64_t key = 0;
    std::u16string name;
    std::int64_t version = 0;
    // Whether its results are what this program computes.
    bool is_current = false;
  };
  // Those of all forms, in the order in which FormNames has them. Of tables that are up to date.
  std::vector<FormVersion> Versions() const;
  // That of the form with this key, which nobody else changes until the transaction ends; nothing
  // when there is none.
  std::optional<FormVersion> LockVersion(std::int64_t key) const;

  // Writes the form anew with all that it has, under the key that it has: for forms of which
  // something that was removed has come back.
  void Rewrite(Notebook& notebook, NotebookForm& form, std::u16string_view stored_name) const;

  // Writes the present content of cells of a form whose results are stored later.
  void SaveTyped(const NotebookForm& form, std::span<const NotebookCell> cells) const;

  // Writes the present content of the cells of a form that was just recalculated, whether it
  // settled or not, and that its results are current now. The cells are those that changed since
  // the form was loaded, each of them once.
  void SaveRecalculated(const NotebookForm& form, std::span<const NotebookCell> cells) const;

  // Writes a listener of a loaded form with its result format; one without a key gets a row.
  void SaveListener(Notebook& notebook, const NotebookTable& table,
                    ktformula::IKtFieldListener& listener) const;

 private:
  void CreateTables() const;
  // In the caller's transaction: others may change the tables at any other time.
  std::int64_t SchemaVersion() const;
  void AddField(Notebook& notebook, NotebookField& field, std::int64_t form_key,
                int position) const;
  void AddTable(Notebook& notebook, const NotebookField& field) const;
  void AddProperties(const NotebookField& field) const;
  // Those from `first` on, counted from 0.
  void AddRows(const NotebookField& field, std::size_t first) const;
  void SaveListeners(Notebook& notebook, const NotebookTable& table) const;
  void SaveTable(Notebook& notebook, const NotebookField& field) const;
  void RemoveField(std::int64_t field_key) const;
  void RemoveFields(std::int64_t form_key) const;
  // What the database has of the form in these columns.
  std::vector<DbValue> FormRow(std::u16string_view form_name, const std::string& columns,
                               std::string_view locking = "") const;
  std::int64_t FormKey(std::u16string_view form_name) const;
  void RefuseTaken(std::u16string_view form_name) const;
  void LockForm(std::u16string_view form_name) const;
  void SaveCells(std::span<const NotebookCell> cells) const;
  // What a form's results were computed with, null for not known. The condition selects the form by
  // a value that it calls $2.
  void SetComputedWith(const DbValue& what, const std::string& form_condition,
                       const DbValue& value) const;
  std::vector<FormVersion> VersionsWhere(const std::string& condition,
                                         std::initializer_list<DbValue> parameters) const;
  void SaveName(const NotebookForm& form, std::u16string_view stored_name,
                std::int64_t form_key) const;
  void LoadForm(Notebook& notebook, std::u16string_view form_name) const;
  void LoadField(Notebook& notebook, NotebookForm& form, std::span<const DbValue> row) const;
  void LoadTable(Notebook& notebook, NotebookTable& table, std::int64_t field_key) const;
  void LoadRows(NotebookTable& table, std::int64_t field_key) const;
  void LoadCells(NotebookTable& table, std::int64_t field_key) const;
  void LoadListeners(Notebook& notebook, NotebookTable& table, std::int64_t field_key) const;

  std::shared_ptr<Database> database_;
};

}  // namespace ktnotebook
