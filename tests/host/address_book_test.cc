#include "host/address_book.h"

#include <memory>
#include <string>
#include <vector>

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "host/environment.h"
#include "host/session.h"
#include "host/store.h"

namespace nimport::host {
namespace {

using nlohmann::json;
using tests::ScopedVariable;
using tests::TestStore;

class AddressBooks : public testing::Test {
 protected:
#if defined(__SANITIZE_ADDRESS__)
  // The sanitizer stands between the plug-in and dlopen, which then forgets the plug-in's RUNPATH
  // but finds what is loaded already.
  static void SetUpTestSuite() {
    dlopen(NIMPORT_BINARY_DIR "/lib/libwexmail.so", RTLD_NOW);
  }
#endif
};

// A store that this process's plug-in finds, and the plug-in.
struct OpenStore {
  explicit OpenStore(const std::string& description) : store(description) {}

  TestStore store;
  ScopedVariable registry{"NIMPORT_REGISTRY", store.store().RegistryVariable().c_str()};
  ScopedVariable drives{"NIMPORT_DRIVES", store.store().DrivesVariable().c_str()};
  Library library{std::string(NIMPORT_BINARY_DIR) + "/lib/libnimport.so"};
};

TEST_F(AddressBooks, ListGroupsInTreeOrder) {
  const OpenStore open(R"({"addressBook": [
    {"name": "A", "members": [
      {"name": "B", "members": [{"name": "山", "userId": "y@example.jp", "comment": "①"}]},
      {"name": "C"}, {"name": "x", "userId": "QZA00001"}]},
    {"name": "D"}]})");
  const AddressBook book(open.library);
  EXPECT_EQ(book.AddressCount(), 2);
  std::vector<std::pair<std::string, std::int32_t>> listed;
  for (const AddressGroup& group : book.Groups())
    listed.emplace_back(group.name, group.parent);
  EXPECT_THAT(listed, testing::ElementsAre(std::pair("A", -1), std::pair("B", 0), std::pair("C", 0),
                                           std::pair("D", -1)));
  const std::vector<Address> addresses = book.AddressesOf(book.Groups()[1]);
  ASSERT_EQ(addresses.size(), 1U);
  EXPECT_EQ(addresses[0].id, 1);
  EXPECT_EQ(addresses[0].name, "山");
  EXPECT_EQ(addresses[0].userId, "y@example.jp");
  EXPECT_EQ(addresses[0].comment, "①");
}

TEST_F(AddressBooks, MayNestGroupsDeep) {
  constexpr int DEPTH = 50'000;
  json entries = json::array();
  for (int i = 1; i <= DEPTH; ++i)
    entries.push_back({{"key", i}, {"parent", i - 1}, {"name", std::to_string(i)}});
  const OpenStore open(json{{"addressBook", entries}}.dump());
  const std::vector<AddressGroup> groups = AddressBook(open.library).Groups();
  ASSERT_EQ(groups.size(), static_cast<std::size_t>(DEPTH));
  EXPECT_EQ(groups.back().parent, DEPTH - 2);
}

TEST_F(AddressBooks, OutliveMailSessionsAndTheOtherWayRound) {
  const OpenStore open(R"({
    "cabinets": [{"number": 1, "name": "c", "folders": [{"number": 1, "name": "f", "mails": [
      {"kind": 22, "title": "t", "columns": {"TextData": "x"}}]}]}],
    "addressBook": [{"name": "A"}]})");
  for (const bool mailEndsFirst : {true, false}) {
    auto mail = std::make_unique<MailSession>(open.library);
    auto book = std::make_unique<AddressBook>(open.library);
    if (mailEndsFirst) {
      mail.reset();
      EXPECT_EQ(book->Groups().size(), 1U);
    } else {
      book.reset();
      const OpenFolder folder(mail->cabinets()[0].folders[0]);
      EXPECT_EQ(folder.MailAt(0).Subject(), "t");
    }
  }
}

TEST_F(AddressBooks, HaveWhatIsInNoGroupAndTellOfOtherRows) {
  const OpenStore open(R"({"addressBook": [
    {"name": "A"}, {"userId": "top@example.jp"}, {"parent": 9, "name": "orphan"},
    {"type": 1, "name": "t"}]})");
  const AddressBook book(open.library);
  const std::vector<AddressGroup> groups = book.Groups();
  ASSERT_EQ(groups.size(), 4U);
  EXPECT_EQ(groups[1].name, "");
  EXPECT_EQ(book.AddressesOf(groups[1]).at(0).userId, "top@example.jp");
  EXPECT_EQ(groups[2].name, "");
  EXPECT_EQ(groups[3].name, "orphan");
  EXPECT_EQ(groups[3].parent, 2);
  const std::vector<DiagnosticRecord> notes = open.library.TakeNotes();
  ASSERT_EQ(notes.size(), 1U);
  EXPECT_THAT(notes[0].Describe(), testing::HasSubstr("1 rows of other kinds than"));
  EXPECT_THAT(open.library.TakeLosses(), testing::IsEmpty());
}

}  // namespace
}  // namespace nimport::host
