#include "notebook/page/event_hub.h"

namespace ktnotebook {

namespace {

// `id` is "" for an event that does not count.
std::string EventText(std::string_view id, std::string_view event, std::string_view json) {
  std::string text;
  if (!id.empty()) text.append("id: ").append(id).append("\n");
  text.append("event: ").append(event).append("\ndata: ").append(json).append("\n\n");
  return text;
}

// How long a page waits until it asks anew, in milliseconds.
constexpr std::string_view kRetry = "retry: 1000\n";

}  // namespace

void EventHub::Publish(std::string_view event, std::string json) {
  const std::lock_guard lock(mutex_);
  const auto text =
      std::make_shared<const std::string>(EventText(std::to_string(++last_id_), event, json));
  for (Stream* const stream : streams_) {
    if (stream->is_cut_off_) continue;
    stream->waiting_bytes_ += text->size();
    stream->is_cut_off_ = stream->waiting_bytes_ > limits_.stream_bytes;
    if (stream->is_cut_off_) {
      stream->waiting_.clear();
    } else {
      stream->waiting_.push_back(text);
    }
  }
  changed_.notify_all();
}

std::unique_ptr<EventHub::Stream> EventHub::Open() {
  auto stream = std::make_unique<Stream>(*this);
  {
    const std::lock_guard lock(mutex_);
    if (is_closed_ || streams_.size() >= limits_.streams) return nullptr;
    streams_.push_back(stream.get());
  }
  // What happens meanwhile is told behind it, at worst once too often.
  const auto hello =
      std::make_shared<const std::string>(std::string(kRetry) + EventText("", "hello", hello_()));
  const std::lock_guard lock(mutex_);
  stream->waiting_bytes_ += hello->size();
  stream->waiting_.push_front(hello);
  return stream;
}

void EventHub::Close() {
  const std::lock_guard lock(mutex_);
  is_closed_ = true;
  changed_.notify_all();
}

EventHub::Stream::~Stream() {
  const std::lock_guard lock(hub_.mutex_);
  hub_.streams_.remove(this);
}

std::optional<std::string> EventHub::Stream::Next(std::chrono::milliseconds time) {
  std::unique_lock lock(hub_.mutex_);
  hub_.changed_.wait_for(lock, time,
                         [this] { return hub_.is_closed_ || is_cut_off_ || !waiting_.empty(); });
  if (hub_.is_closed_ || is_cut_off_) return std::nullopt;
  if (waiting_.empty()) return "";
  const Text text = std::move(waiting_.front());
  waiting_.pop_front();
  waiting_bytes_ -= text->size();
  return *text;
}

}  // namespace ktnotebook
