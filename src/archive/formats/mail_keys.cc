#include "archive/formats/mail_keys.h"

#include <string_view>
#include <utility>

#include "archive/digest.h"

namespace nimport::archive {

namespace {

// Never 0.
std::uint64_t SlotDigestOf(std::string_view key) {
  const std::uint64_t digest = ShortDigestOf(key);
  return digest == 0 ? 1 : digest;
}

}  // namespace

std::string MailKeys::Take(const std::string& key) {
  const std::uint64_t digest = SlotDigestOf(key);
  if (Insert(digest)) return key;
  const int count = ++counts_.try_emplace(digest, 1).first->second;
  return key + '-' + std::to_string(count);
}

bool MailKeys::Insert(std::uint64_t digest) {
  if (used_ + 1 > slots_.size() / 4 * 3) Rebuild(slots_.size() * 3 / 2 + 64);
  std::size_t slot = digest % slots_.size();
  for (; slots_[slot] != 0; slot = (slot + 1) % slots_.size()) {
    if (slots_[slot] == digest) return false;
  }
  slots_[slot] = digest;
  ++used_;
  return true;
}

void MailKeys::Rebuild(std::size_t slots) {
  const std::vector<std::uint64_t> old = std::move(slots_);
  slots_.assign(slots, 0);
  used_ = 0;
  for (const std::uint64_t digest : old) {
    if (digest != 0) Insert(digest);
  }
}

void MailKeys::Reserve(std::size_t count) {
  const std::size_t slots = count / 3 * 4 + 64;
  if (slots > slots_.size()) Rebuild(slots);
}

}  // namespace nimport::archive
