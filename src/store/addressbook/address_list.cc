#include "store/addressbook/address_list.h"

#include <algorithm>
#include <iterator>

#include "text/code_page_932.h"
#include "text/fixed_text.h"

namespace nimport::addressbook {
namespace {

template <typename Limit>
std::string_view Cut(std::string_view text, store::TextLimits limits) {
  if (limits == store::TextLimits::None) return text::UpToNul(text);
  return text::CutAtWholeCharacter(text::UpToNul(text), Limit::MAX_BYTES);
}

// A text comes from a value of the database, which is far smaller than that.
std::uint32_t BytesOf(std::string_view text) {
  return static_cast<std::uint32_t>(text.size());
}

}  // namespace

char* AddressTexts::Take(std::size_t bytes) {
  if (bytes > PIECE_BYTES) {
    // Before the piece that is being filled.
    const auto place = pieces_.empty() ? pieces_.end() : std::prev(pieces_.end());
    return pieces_.insert(place, std::make_unique_for_overwrite<char[]>(bytes))->get();
  }
  if (bytes > PIECE_BYTES - used_) {
    pieces_.push_back(std::make_unique_for_overwrite<char[]>(PIECE_BYTES));
    used_ = 0;
  }
  char* const room = pieces_.back().get() + used_;
  used_ += bytes;
  return room;
}

void AddressList::Append(const AddressEntry& entry) {
  const std::string_view name = Cut<text::NameText>(entry.name, limits_);
  const std::string_view comment = Cut<text::ValueText>(entry.comment, limits_);
  const std::string_view userId = Cut<text::NameText>(entry.userId, limits_);
  const std::size_t bytes = name.size() + comment.size() + userId.size();
  char* end = bytes == 0 ? nullptr : texts_->Take(bytes);
  places_.push_back({.begin = end,
                     .nameBytes = BytesOf(name),
                     .commentBytes = BytesOf(comment),
                     .userIdBytes = BytesOf(userId)});
  for (const std::string_view text : {name, comment, userId})
    end = std::ranges::copy(text, end).out;
}

AddressEntry AddressList::At(std::size_t index) const {
  const Place& place = places_[index];
  const char* begin = place.begin;
  const auto take = [&begin](std::size_t bytes) {
    const std::string_view text(begin, bytes);
    begin += bytes;
    return text;
  };
  // In the order of the texts.
  const std::string_view name = take(place.nameBytes);
  const std::string_view comment = take(place.commentBytes);
  return {.name = name, .comment = comment, .userId = take(place.userIdBytes)};
}

}  // namespace nimport::addressbook
