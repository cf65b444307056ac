#include "wexmail/buffer.h"

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>
#include <stdexcept>
#include <utility>

namespace nimport::wexmail {
namespace {

// In front of the bytes, which so keep the alignment that malloc gives.
struct alignas(std::max_align_t) Account {
  std::atomic<std::uint32_t> shares;
  std::size_t sizeBytes;
  std::size_t itemCount;  // pointers at the start of the bytes whose shares the block holds
};

Account* AccountOf(void* data) {
  return reinterpret_cast<Account*>(static_cast<char*>(data) - sizeof(Account));
}

char* Allocate(std::size_t sizeBytes) {
  if (sizeBytes > std::numeric_limits<std::size_t>::max() - sizeof(Account) - 1) {
    throw std::bad_alloc();
  }
  void* memory = std::malloc(sizeof(Account) + sizeBytes + 1);
  if (memory == nullptr) throw std::bad_alloc();
  new (memory) Account{.shares = 1, .sizeBytes = sizeBytes, .itemCount = 0};
  char* data = static_cast<char*>(memory) + sizeof(Account);
  data[sizeBytes] = '\0';
  return data;
}

}  // namespace

Buffer::Buffer(std::size_t sizeBytes) : data_(Allocate(sizeBytes)) {}

Buffer::Buffer(std::string_view bytes) : data_(Allocate(bytes.size())) {
  if (!bytes.empty()) std::memcpy(data_, bytes.data(), bytes.size());
}

Buffer::Buffer(const Buffer& other) : data_(other.data_) {
  if (data_ != nullptr) AccountOf(data_)->shares.fetch_add(1, std::memory_order_relaxed);
}

Buffer& Buffer::operator=(Buffer other) noexcept {
  std::swap(data_, other.data_);
  return *this;
}

Buffer::~Buffer() {
  Release(data_);
}

Buffer Buffer::OfItems(std::span<const Buffer> items) {
  Buffer result(items.size() * sizeof(char*));
  auto** pointers = reinterpret_cast<char**>(result.data_);
  for (std::size_t i = 0; i < items.size(); ++i)
    pointers[i] = Buffer(items[i]).Detach();
  AccountOf(result.data_)->itemCount = items.size();
  return result;
}

Buffer Buffer::OfSizes(std::span<const Buffer> items) {
  Buffer result(items.size() * (sizeof(std::int32_t*) + sizeof(std::int32_t)));
  auto** pointers = reinterpret_cast<std::int32_t**>(result.data_);
  auto* sizes = reinterpret_cast<std::int32_t*>(pointers + items.size());
  for (std::size_t i = 0; i < items.size(); ++i) {
    sizes[i] = items[i].Size32();
    pointers[i] = &sizes[i];
  }
  return result;
}

std::size_t Buffer::size() const {
  return data_ == nullptr ? 0 : AccountOf(data_)->sizeBytes;
}

std::int32_t Buffer::Size32() const {
  if (size() > static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max())) {
    throw std::length_error("more bytes than a length can say");
  }
  return static_cast<std::int32_t>(size());
}

void Buffer::Shorten(std::size_t sizeBytes) {
  // What was reserved beyond may be most of the block: give it back. A refusal to shrink is no
  // harm.
  void* memory =
      std::realloc(static_cast<void*>(AccountOf(data_)), sizeof(Account) + sizeBytes + 1);
  if (memory != nullptr) data_ = static_cast<char*>(memory) + sizeof(Account);
  AccountOf(data_)->sizeBytes = sizeBytes;
  data_[sizeBytes] = '\0';
}

char* Buffer::Detach() {
  return std::exchange(data_, nullptr);
}

void Buffer::Release(void* data) noexcept {
  if (data == nullptr) return;
  Account* account = AccountOf(data);
  if (account->shares.fetch_sub(1, std::memory_order_acq_rel) != 1) return;
  for (std::size_t i = 0; i < account->itemCount; ++i)
    Release(static_cast<char**>(data)[i]);
  account->~Account();
  std::free(account);
}

}  // namespace nimport::wexmail
