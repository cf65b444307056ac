#ifndef NIMPORT_STORE_ADDRESSBOOK_ADDRESS_LIST_H_
#define NIMPORT_STORE_ADDRESSBOOK_ADDRESS_LIST_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

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
  // No address needs more.
  static constexpr std::size_t PIECE_BYTES = std::size_t{1} << 16;

  // Room for `bytes` bytes, at most PIECE_BYTES, which stays where it is.
  [[nodiscard]] char* Take(std::size_t bytes);

 private:
  std::vector<std::unique_ptr<char[]>> pieces_;
  std::size_t used_ = PIECE_BYTES;  // of the last piece
};

// The addresses of one group.
class AddressList {
 public:
  // Lists may share their texts' memory.
  explicit AddressList(std::shared_ptr<AddressTexts> texts) : texts_(std::move(texts)) {}

  // Copies the texts, each up to its first NUL and cut at a whole character where it does not fit:
  // NameText's limit holds for names and user IDs, ValueText's for comments.
  void Append(const AddressEntry& entry);

  [[nodiscard]] std::size_t size() const { return places_.size(); }

  // Valid as long as the list. `index` is below the size.
  [[nodiscard]] AddressEntry At(std::size_t index) const;

 private:
  // Where the texts of an entry begin; they follow each other in this order.
  struct Place {
    const char* begin = nullptr;
    std::uint16_t nameBytes = 0;
    std::uint16_t commentBytes = 0;
    std::uint16_t userIdBytes = 0;
  };

  std::shared_ptr<AddressTexts> texts_;
  std::vector<Place> places_;
};

}  // namespace nimport::addressbook

#endif  // NIMPORT_STORE_ADDRESSBOOK_ADDRESS_LIST_H_
