// How much of the machine a page takes, whoever asks.
#pragma once

#include <chrono>
#include <cstddef>

namespace ktnotebook {

struct ServerLimits {
  using Time = std::chrono::milliseconds;

  // Browsers send some kB at most; their cookies of other programs on this machine are among them.
  std::size_t head_bytes = std::size_t{64} << 10;
  // From the first byte of a request, or from the beginning of a connection, to the head's end. A
  // browser sends it in one piece.
  Time head_time{10'000};
  // The largest edit is a pasted block: 16 MiB are a million cells.
  std::size_t body_bytes = std::size_t{16} << 20;
  // What POST /api/import takes: a file of a million rows.
  std::size_t import_bytes = std::size_t{64} << 20;
  // For the whole body, so that a byte now and then does not keep a connection.
  Time body_time{60'000};
  // How long a reader may take none of an answer.
  Time write_time{30'000};
  // How long a connection may wait for its next request: longer than browsers keep one.
  Time idle_time{120'000};
  // How long bytes are thrown away that come in behind a refusal, so that it can be read.
  Time linger_time{2'000};
  // How long requests under way are waited for at the end.
  Time end_time{10'000};

  // A thread each. A browser has six at most.
  std::size_t connections = 256;
  // When all are taken, one that has waited for this long makes room: time enough for a request
  // that came with its connection.
  Time waiting_time{50};
  // Pages that are told what changes. They are among the connections and leave room for requests.
  std::size_t streams = 64;
  // What waits for a page that reads too slowly, until it is cut off; it comes again and asks anew.
  std::size_t stream_bytes = std::size_t{1} << 20;
  // How often a page hears that nothing happened, and whether a page went away is looked at.
  Time comment_time{15'000};
  Time look_time{1'000};
};

}  // namespace ktnotebook
