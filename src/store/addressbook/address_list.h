#ifndef NIMPORT_STORE_ADDRESSBOOK_ADDRESS_LIST_H_
#define NIMPORT_STORE_ADDRESSBOOK_ADDRESS_LIST_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include "store/text_limits.h"

namespace nimport::addressbook {

// One address, in code page 932. What the store does not have is empty. Borrows from its list.
struct AddressEntry {
  std::string_view name;
  std::string_view comment;
  std::string_view userId;  // the mail client's user ID or an internet address
};

// The texts of all addresses of a book, in a few large pieces of memory: asking for that of each
// text takes longer than reading it.
class AddressTexts {
 public:
  // Longer texts have a piece of their own.
  static constexpr std::size_t PIECE_BYTES = std::size_t{1} << 16;

  // Room for `bytes` bytes, which stays where it is.
  [[nodiscard]] char* Take(std::size_t bytes);

 private:
  std::vector<std::unique_ptr<char[]>> pieces_;
  std::size_t used_ = PIECE_BYTES;  // of the last piece
};

// The addresses of one group.
class AddressList {
 public:
  // Lists may share their texts' memory.
  explicit AddressList(std::shared_ptr<AddressTexts> texts,
                       store::TextLimits limits = store::TextLimits::OfHosts)
      : texts_(std::move(texts)), limits_(limits) {}

  // Copies the texts, each up to its first NUL. With TextLimits::OfHosts one that does not fit is
  // cut at a whole character: text::NameText's limit holds for names and user IDs,
  // text::ValueText's for comments.
  void Append(const AddressEntry& entry);

  [[nodiscard]] std::size_t size() const { return places_.size(); }

  // Valid as long as the list. `index` is below the size.
  [[nodiscard]] AddressEntry At(std::size_t index) const;

 private:
  // Where the texts of an entry begin; they follow each other in this order.
  struct Place {
    const char* begin = nullptr;
    std::uint32_t nameBytes = 0;
    std::uint32_t commentBytes = 0;
    std::uint32_t userIdBytes = 0;
  };

  std::shared_ptr<AddressTexts> texts_;
  store::TextLimits limits_;
  std::vector<Place> places_;
};

}  // namespace nimport::addressbook

#endif  // NIMPORT_STORE_ADDRESSBOOK_ADDRESS_LIST_H_
