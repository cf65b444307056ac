// The address book of a store that another engine wrote, compared with the answers that come with
// the sample. Skipped where the sample is absent.
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "store/addressbook/address_book_store.h"

namespace nimport::test {
namespace {

using nlohmann::json;

const std::string SAMPLE = NIMPORT_SHARED_SAMPLES "/demo-jet4";

// A text answer in UTF-8, as the sample has it.
template <typename Get>
std::string AskUtf8(Get get) {
  ResultString record{nullptr, ENCODING_UTF16, 0, nullptr};
  EXPECT_EQ(get(&record), RESULT_OK);
  if (record.buffer == nullptr) return "no text";
  const std::filesystem::path converter(
      std::u16string(static_cast<const char16_t*>(record.buffer)));
  record.release(record.buffer);
  const std::u8string text = converter.u8string();
  return {text.begin(), text.end()};
}

void ExpectAddress(AddressSession& session, HandleNode* address, const json& wanted,
                   std::int32_t id) {
  HandleNode* s = session.get();
  EXPECT_EQ(session.Id(address), (NumberAnswer{RESULT_OK, id}));
  const auto value = [&](std::int32_t field) {
    return AskUtf8([&](ResultString* text) { return AD_GetValue(s, address, field, text); });
  };
  EXPECT_EQ(value(0), wanted["userId"].get<std::string>());
  EXPECT_EQ(value(1), wanted["comment"].get<std::string>());
  EXPECT_EQ(value(2), wanted["name"].get<std::string>());
  EXPECT_EQ(AskUtf8([&](ResultString* text) { return AD_GetName(s, address, text); }),
            wanted["name"].get<std::string>());
}

TEST(SampleBook, HasTheGroupsAndAddressesOfItsTable) {
  if (!std::filesystem::exists(SAMPLE)) GTEST_SKIP() << "no sample at " << SAMPLE;
  PointEnvironmentTo(SAMPLE + "/registry.reg", "C=" + SAMPLE + "/c");
  json expected;
  std::ifstream(SAMPLE + "/expected.json") >> expected;
  const json& wanted = expected["addressBook"];

  AddressSession session;
  HandleNode* book = session.OpenBook();
  ASSERT_NE(book, nullptr);
  EXPECT_EQ(session.GroupCount(book).value, static_cast<std::int32_t>(wanted["topGroups"].size()));
  EXPECT_EQ(session.AddressCount(book).value, wanted["addressCount"].get<std::int32_t>());
  std::vector<HandleNode*> groups;
  std::vector<std::int32_t> childrenSeen(wanted["groups"].size() + 1);
  std::int32_t id = 0;
  for (const json& group : wanted["groups"]) {
    const int parentIndex = group["parentIndex"].get<int>();
    HandleNode* parent = parentIndex < 0 ? book : groups[static_cast<std::size_t>(parentIndex)];
    HandleNode* node =
        session.Group(parent, childrenSeen[static_cast<std::size_t>(parentIndex + 1)]++);
    ASSERT_NE(node, nullptr) << group;
    groups.push_back(node);
    EXPECT_EQ(AskUtf8([&](ResultString* text) { return AD_GetName(session.get(), node, text); }),
              group["name"].get<std::string>());
    const json& addresses = group["addresses"];
    EXPECT_EQ(session.AddressCount(node).value, static_cast<std::int32_t>(addresses.size()));
    for (std::size_t i = 0; i < addresses.size(); ++i, ++id) {
      ExpectAddress(session, session.Address(node, static_cast<std::int32_t>(i)), addresses[i], id);
      ExpectAddress(session, session.Address(book, id), addresses[i], id);
    }
  }
  for (std::size_t i = 0; i < groups.size(); ++i) {
    EXPECT_EQ(session.Group(groups[i], childrenSeen[i + 1]), nullptr);
  }
}

}  // namespace
}  // namespace nimport::test
