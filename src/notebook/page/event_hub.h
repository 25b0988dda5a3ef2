// Telling all pages that are open what changed, as server-sent events.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "notebook/page/api.h"
#include "notebook/page/server_limits.h"

namespace ktnotebook {

// Hands each event to each open stream, where it waits until its page takes it. All members may be
// called from any thread.
class EventHub final : public EventSink {
 public:
  class Stream;

  explicit EventHub(const ServerLimits& limits) : limits_(limits) {}
  EventHub(const EventHub&) = delete;
  EventHub& operator=(const EventHub&) = delete;

  // What each stream begins with, as the JSON of the event "hello". Before the first stream.
  void SetHello(std::function<std::string()> hello) { hello_ = std::move(hello); }

  void Publish(std::string_view event, std::string json) override;

  // A stream of all events from now on, "hello" in front; null when there are too many already or
  // the hub is closed. It ends before the hub.
  std::unique_ptr<Stream> Open();
  // Ends all streams and opens no more.
  void Close();

 private:
  using Text = std::shared_ptr<const std::string>;

  const ServerLimits limits_;
  std::function<std::string()> hello_ = [] { return "{}"; };
  std::mutex mutex_;
  std::condition_variable changed_;
  std::list<Stream*> streams_;
  std::uint64_t last_id_ = 0;
  bool is_closed_ = false;
};

class EventHub::Stream {
 public:
  explicit Stream(EventHub& hub) : hub_(hub) {}
  Stream(const Stream&) = delete;
  Stream& operator=(const Stream&) = delete;
  ~Stream();

  // What to send next, "" when there was nothing for that time; nothing at the stream's end: the
  // hub was closed, or its reader was so slow that it has to ask anew.
  std::optional<std::string> Next(std::chrono::milliseconds time);

 private:
  friend class EventHub;

  EventHub& hub_;
  std::deque<Text> waiting_;
  std::size_t waiting_bytes_ = 0;
  bool is_cut_off_ = false;
};

}  // namespace ktnotebook
