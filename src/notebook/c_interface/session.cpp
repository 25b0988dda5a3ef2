#include "notebook/c_interface/session.h"

namespace ktnotebook {

Session::Turn::Turn(std::shared_ptr<Session> session, const char* argument)
    : session_(std::move(session)) {
  const std::thread::id self = std::this_thread::get_id();
  std::thread::id user;
  if (session_->user_.load() != self && !session_->user_.compare_exchange_strong(user, self)) {
    throw CallFailure(KTF9_BUSY, argument,
                      std::string(argument) + " belongs to a notebook that another thread uses");
  }
  ++session_->depth_;
}

Session::Turn::~Turn() {
  if (--session_->depth_ == 0) session_->user_.store(std::thread::id());
}

void Session::End() {
  // Goes last and outside the lock: functions that other people wrote run then.
  const std::optional<ktformula9::Notebook> last = std::exchange(notebook_, std::nullopt);
  const std::scoped_lock lock(mutex_);
  for (PartObject* const part : parts_)
    part->End();
}

void Session::Join(PartObject& part) {
  const std::scoped_lock lock(mutex_);
  parts_.insert(&part);
}

void Session::Leave(PartObject& part) {
  const std::scoped_lock lock(mutex_);
  parts_.erase(&part);
}

}  // namespace ktnotebook
