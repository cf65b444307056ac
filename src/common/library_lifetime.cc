#include "common/library_lifetime.h"

#include <atomic>

namespace nimport {
namespace {

struct Entry {
  std::shared_ptr<void> object;
  Entry* previous;
};

// A pointer without a destructor, so that nothing here goes early.
constinit std::atomic<Entry*> lastEntry{nullptr};

// The system runs it after every exit handler of the process, or when the library is unloaded.
[[gnu::destructor]] void DestroyEntries() {
  while (Entry* const entry = lastEntry.load()) {
    const std::unique_ptr<Entry> owned(entry);
    lastEntry = entry->previous;
  }
}

}  // namespace

void DestroyWithLibrary(std::shared_ptr<void> object) {
  auto* const entry = new Entry{std::move(object), lastEntry.load()};
  while (!lastEntry.compare_exchange_weak(entry->previous, entry)) {
  }
}

}  // namespace nimport
