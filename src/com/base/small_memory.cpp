// The memory of small objects, for everything in the module that is linked with this.
//
// A call across the boundary makes and drops a dozen of them, and the system's heap takes most of
// its time. So a few freed blocks of each size are kept for whoever asks next, on whatever thread.
#include <array>
#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <new>

namespace {

constexpr std::size_t kGrain = 16;
constexpr std::size_t kSizes = 8;

// Freed blocks of one size. A place holds a block or nothing, and belongs to whoever exchanges it.
using Places = std::array<std::atomic<void*>, 8>;

constinit std::array<Places, kSizes> places_of_sizes{};

// The module may be unloaded, and the heap stays.
struct Drain {
  Drain() = default;
  Drain(const Drain&) = delete;
  Drain& operator=(const Drain&) = delete;
  ~Drain() {
    for (Places& places : places_of_sizes) {
      for (std::atomic<void*>& place : places)
        std::free(place.exchange(nullptr));
    }
  }
};

const Drain drain;

// The places for blocks that hold this many bytes; nullptr for large ones.
Places* PlacesOf(std::size_t size) noexcept {
  const std::size_t number = (size - 1) / kGrain;
  return number < kSizes ? &places_of_sizes[number] : nullptr;
}

void* Take(Places& places) noexcept {
  for (std::atomic<void*>& place : places) {
    if (place.load(std::memory_order_relaxed) == nullptr) continue;
    if (void* const block = place.exchange(nullptr, std::memory_order_acquire)) return block;
  }
  return nullptr;
}

// Gives back what there is no place for.
void* Keep(Places& places, void* block) noexcept {
  for (std::atomic<void*>& place : places) {
    if (place.load(std::memory_order_relaxed) != nullptr) continue;
    block = place.exchange(block, std::memory_order_release);
    if (block == nullptr) return nullptr;
  }
  return block;
}

// Blocks have the full size that their places are for.
std::size_t FullSize(std::size_t size) noexcept {
  return (size + kGrain - 1) / kGrain * kGrain;
}

void* Allocate(std::size_t size) {
  while (true) {
    if (void* const block = std::malloc(size)) return block;
    const std::new_handler handler = std::get_new_handler();
    if (handler == nullptr) throw std::bad_alloc();
    handler();
  }
}

}  // namespace

void* operator new(std::size_t size) {
  Places* const places = PlacesOf(size);
  if (places == nullptr) return Allocate(size);
  if (void* const block = Take(*places)) return block;
  return Allocate(FullSize(size));
}

void operator delete(void* block) noexcept {
  std::free(block);
}

void operator delete(void* block, std::size_t size) noexcept {
  Places* const places = block != nullptr ? PlacesOf(size) : nullptr;
  std::free(places != nullptr ? Keep(*places, block) : block);
}
