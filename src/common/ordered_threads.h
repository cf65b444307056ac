#ifndef NIMPORT_COMMON_ORDERED_THREADS_H_
#define NIMPORT_COMMON_ORDERED_THREADS_H_

#include <algorithm>
#include <condition_variable>
#include <cstddef>
#include <exception>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

namespace nimport {

// Makes the values of the positions 0 to count - 1 in several threads, and gives them out in the
// order of their positions. Only so many are made ahead of the one that is taken next.
template <typename Value>
class OrderedThreads {
 public:
  // Makes the value of a position. Belongs to one thread.
  using Make = std::function<Value(std::size_t position)>;
  // Called once in each thread, for what the thread makes values with.
  using Begin = std::function<Make()>;
  // How many bytes a value takes, about.
  using Size = std::function<std::size_t(const Value&)>;

  OrderedThreads(std::size_t count, const std::vector<Begin>& begins, Size size)
      : count_(count), size_(std::move(size)) {
    for (const Begin& begin : begins)
      threads_.emplace_back([this, begin] { Work(begin); });
  }

  // Waits until every thread has made the value that it is at.
  ~OrderedThreads() {
    {
      const std::lock_guard lock(mutex_);
      isEnding_ = true;
    }
    room_.notify_all();
    for (std::thread& thread : threads_)
      thread.join();
  }
  OrderedThreads(const OrderedThreads&) = delete;
  OrderedThreads& operator=(const OrderedThreads&) = delete;

  // The value of the next position, of which there must be one. Throws what its making threw, or
  // what a thread threw when it began.
  Value Take() {
    std::unique_lock lock(mutex_);
    ready_.wait(lock, [this] { return failure_ || made_.contains(taken_); });
    auto node = made_.extract(taken_);
    if (node.empty()) std::rethrow_exception(failure_);
    ++taken_;
    Made& made = node.mapped();
    if (made.value) bytes_ -= size_(*made.value);
    lock.unlock();
    room_.notify_all();
    if (made.failure) std::rethrow_exception(made.failure);
    return std::move(*made.value);
  }

 private:
  // So many positions in a row are one thread's.
  static constexpr std::size_t RANGE = 8;
  static constexpr std::size_t MAX_AHEAD = 256;
  static constexpr std::size_t MAX_BYTES_AHEAD = 8 << 20;

  struct Made {
    std::optional<Value> value;
    std::exception_ptr failure;
  };

  void Work(const Begin& begin) {
    try {
      const Make make = begin();
      while (const std::size_t end = TakeRange()) {
        for (std::size_t position = (end - 1) / RANGE * RANGE; position < end; ++position) {
          if (!WaitForRoom(position)) return;
          Put(position, TryToMake(make, position));
        }
      }
    } catch (...) {
      const std::lock_guard lock(mutex_);
      failure_ = std::current_exception();
      ready_.notify_all();
    }
  }

  // The end of the next range that is nobody's yet; 0 when there is none.
  std::size_t TakeRange() {
    const std::lock_guard lock(mutex_);
    if (isEnding_ || next_ >= count_) return 0;
    next_ = std::min(next_ + RANGE, count_);
    return next_;
  }

  // The value that is taken next is always made, so that somebody can go on.
  bool WaitForRoom(std::size_t position) {
    std::unique_lock lock(mutex_);
    room_.wait(lock, [&] {
      return isEnding_ || position == taken_ ||
             (position < taken_ + MAX_AHEAD && bytes_ < MAX_BYTES_AHEAD);
    });
    return !isEnding_;
  }

  static Made TryToMake(const Make& make, std::size_t position) {
    Made made;
    try {
      made.value = make(position);
    } catch (...) {
      made.failure = std::current_exception();
    }
    return made;
  }

  void Put(std::size_t position, Made made) {
    {
      const std::lock_guard lock(mutex_);
      if (made.value) bytes_ += size_(*made.value);
      made_.emplace(position, std::move(made));
    }
    ready_.notify_all();
  }

  const std::size_t count_;
  const Size size_;

  std::mutex mutex_;  // of all that follows
  std::condition_variable ready_;
  std::condition_variable room_;
  std::size_t next_ = 0;   // the first position that is no thread's yet
  std::size_t taken_ = 0;  // the position that is taken next
  std::map<std::size_t, Made> made_;
  std::size_t bytes_ = 0;  // of those
  std::exception_ptr failure_;
  bool isEnding_ = false;
  std::vector<std::thread> threads_;
};

}  // namespace nimport

#endif  // NIMPORT_COMMON_ORDERED_THREADS_H_
