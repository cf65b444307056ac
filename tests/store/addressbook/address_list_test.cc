#include "store/addressbook/address_list.h"

#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace nimport::addressbook {
namespace {

// Texts that fill and overrun the pieces of memory, in lists that share them.
TEST(AddressList, KeepsTextsWhereTheyAre) {
  const auto texts = std::make_shared<AddressTexts>();
  std::vector<AddressList> lists(3, AddressList(texts));
  const auto text = [](std::size_t i, std::size_t size) {
    return std::string(size, static_cast<char>('a' + i % 26));
  };
  std::vector<std::string_view> comments;
  for (std::size_t i = 0; i < 300; ++i) {
    AddressList& list = lists[i % 3];
    list.Append({.name = text(i, i % 260),
                 .comment = text(i + 1, i * 41 % 4096),
                 .userId = text(i + 2, i * 7 % 260)});
    comments.push_back(list.At(list.size() - 1).comment);
  }
  for (std::size_t i = 0; i < 300; ++i) {
    const AddressEntry entry = lists[i % 3].At(i / 3);
    EXPECT_EQ(entry.name, text(i, i % 260));
    EXPECT_EQ(entry.comment, text(i + 1, i * 41 % 4096));
    EXPECT_EQ(entry.userId, text(i + 2, i * 7 % 260));
    EXPECT_EQ(entry.comment.data(), comments[i].data());
  }
  lists[0].Append({.name = std::string_view("\0x", 2), .comment = "c", .userId = ""});
  EXPECT_EQ(lists[0].At(100).name, "") << "up to the first NUL";
  EXPECT_EQ(lists[0].At(100).comment, "c");
}

}  // namespace
}  // namespace nimport::addressbook
