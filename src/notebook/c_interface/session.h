// A notebook as C has it, and handles' objects for it and its parts.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <unordered_set>
#include <utility>

#include "notebook/c_interface/call.h"
#include "notebook/c_interface/handles.h"
#include "notebook/tables/ktformula9.hpp"

namespace ktnotebook {

class PartObject;

// A notebook until its handle is destroyed, and whose turn it is to use it.
class Session {
 public:
  explicit Session(ktformula9::Notebook notebook) : notebook_(std::move(notebook)) {}
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  // The calling thread uses the session as long as this lives. Throws CallFailure when another one
  // does.
  class Turn {
   public:
    Turn(std::shared_ptr<Session> session, const char* argument);
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;
    ~Turn();

    // Whether a function that a formula calls uses its own notebook.
    bool IsNested() const noexcept { return session_->depth_ > 1; }

   private:
    std::shared_ptr<Session> session_;
  };

  // Only in one's turn: empty when the notebook has ended.
  std::optional<ktformula9::Notebook>& OwnNotebook() noexcept { return notebook_; }
  // Only in one's turn: lets the notebook go, and what handles have of it.
  void End();

  void Join(PartObject& part);
  void Leave(PartObject& part);

 private:
  std::optional<ktformula9::Notebook> notebook_;
  std::atomic<std::thread::id> user_{std::thread::id()};
  int depth_ = 0;
  // Handles of parts are made and destroyed whosever turn it is.
  std::mutex mutex_;
  std::unordered_set<PartObject*> parts_;
};

struct NotebookObject final : HandleObject {
  static constexpr const char* kKind = "a notebook";
  explicit NotebookObject(std::shared_ptr<Session> of) : session(std::move(of)) {}

  std::optional<ktformula9::Notebook>& Meant() { return session->OwnNotebook(); }

  const std::shared_ptr<Session> session;
  // The texts that were asked for last.
  std::string name;
};

// What a handle of a table or a column stands for.
class PartObject : public HandleObject {
 public:
  explicit PartObject(std::shared_ptr<Session> of) : session(std::move(of)) {}
  virtual void End() = 0;

  const std::shared_ptr<Session> session;
};

template <typename Part>
class PartOf : public PartObject {
 public:
  PartOf(std::shared_ptr<Session> of, Part part)
      : PartObject(std::move(of)), part_(std::move(part)) {
    session->Join(*this);
  }
  ~PartOf() override { session->Leave(*this); }
  void End() override { part_.reset(); }

  std::optional<Part>& Meant() noexcept { return part_; }

 private:
  std::optional<Part> part_;
};

struct TableObject final : PartOf<ktformula9::Table> {
  static constexpr const char* kKind = "a table";
  using PartOf::PartOf;
  std::string name;
  std::string row_id;
  std::string definition;
};

struct ColumnObject final : PartOf<ktformula9::Column> {
  static constexpr const char* kKind = "a column";
  using PartOf::PartOf;
  std::string name;
  std::string unit;
  std::string formula;
  std::string format;
  ktformula9::Cell cell;
};

// What a handle stands for, in the use of this call. Throws CallFailure when it can not be.
template <typename Object>
class InUse {
 public:
  InUse(const void* handle, const char* argument)
      : object_(Need<Object>(handle, argument)), turn_(object_->session, argument) {
    if (!object_->Meant()) {
      throw CallFailure(KTF9_GONE, argument,
                        std::string(argument) + " belonged to a notebook that was destroyed");
    }
  }

  auto* operator->() const { return &*object_->Meant(); }
  // For the texts that stay with the handle.
  Object& Own() const { return *object_; }
  const std::shared_ptr<Session>& OwnSession() const { return object_->session; }
  bool IsNested() const { return turn_.IsNested(); }

 private:
  std::shared_ptr<Object> object_;
  Session::Turn turn_;
};

// A place for a handle of a part; `place` may be nullptr.
template <typename Object, typename Handle, typename Part>
void GivePart(const std::shared_ptr<Session>& session, Part part, Handle** place) {
  if (place != nullptr) Give(std::make_shared<Object>(session, std::move(part)), *place);
}

}  // namespace ktnotebook
