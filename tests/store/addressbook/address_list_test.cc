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
  const auto text = [](int i, std::size_t size) {
    return std::string(size, static_cast<char>('a' + i % 26));
  };
  std::vector<std::string_view> comments;
  for (int i = 0; i < 300; ++i) {
    AddressList& list = lists[static_cast<std::size_t>(i % 3)];
    list.Append({.name = text(i, static_cast<std::size_t>(i % 260)),
                 .comment = text(i + 1, static_cast<std::size_t>(i * 41 % 4096)),
                 .userId = text(i + 2, static_cast<std::size_t>(i * 7 % 260))});
    comments.push_back(list.At(list.size() - 1).comment);
  }
  for (int i = 0; i < 300; ++i) {
    const AddressEntry entry =
        lists[static_cast<std::size_t>(i % 3)].At(static_cast<std::size_t>(i / 3));
    EXPECT_EQ(entry.name, text(i, static_cast<std::size_t>(i % 260)));
    EXPECT_EQ(entry.comment, text(i + 1, static_cast<std::size_t>(i * 41 % 4096)));
    EXPECT_EQ(entry.userId, text(i + 2, static_cast<std::size_t>(i * 7 % 260)));
    EXPECT_EQ(entry.comment.data(), comments[static_cast<std::size_t>(i)].data());
  }
}

TEST(AddressList, HasEmptyTexts) {
  AddressList list(std::make_shared<AddressTexts>());
  list.Append({});
  list.Append({.name = std::string_view("\0x", 2), .comment = "c", .userId = ""});
  EXPECT_EQ(list.At(0).name, "");
  EXPECT_EQ(list.At(0).userId, "");
  EXPECT_EQ(list.At(1).name, "") << "up to the first NUL";
  EXPECT_EQ(list.At(1).comment, "c");
}

}  // namespace
}  // namespace nimport::addressbook
