// Address books in stores on disk, asked through the exports of the library.
#ifndef NIMPORT_TESTS_ADDRESSBOOK_ADDRESS_BOOK_STORE_H_
#define NIMPORT_TESTS_ADDRESSBOOK_ADDRESS_BOOK_STORE_H_

#include <cstdint>
#include <filesystem>
#include <string>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "common/process_environment.h"
#include "common/test_directory.h"
#include "mkstore/store_writer.h"
#include "plugin/plug_in.h"

namespace nimport::test {

inline void PointEnvironmentTo(const std::string& registry, const std::string& drives) {
  tests::SetVariable("NIMPORT_REGISTRY", registry);
  tests::SetVariable("NIMPORT_DRIVES", drives);
}

// A store whose address book has the given entries, and the environment that leads to it.
class AddressBookStore {
 public:
  // `columns`, where given, are those of the book's table.
  explicit AddressBookStore(nlohmann::json entries, const mkstore::StoreOptions& options = {},
                            nlohmann::json columns = nullptr) {
    nlohmann::json description = {{"addressBook", std::move(entries)}};
    if (!columns.is_null()) description["tables"]["AddressBookTBL"]["columns"] = std::move(columns);
    const mkstore::Store store = MakeStore(description, directory_.path(), options);
    PointEnvironmentTo(store.RegistryVariable(), store.DrivesVariable());
  }

 private:
  tests::TestDirectory directory_;
};

// An address-book session, closed at the end.
class AddressSession {
 public:
  AddressSession() { EXPECT_EQ(AD_Initialize(&session_), RESULT_OK); }
  ~AddressSession() { AD_Terminate(session_); }
  AddressSession(const AddressSession&) = delete;
  AddressSession& operator=(const AddressSession&) = delete;

  [[nodiscard]] HandleNode* get() const { return session_; }

  ResultCode Open(HandleNode** book) {
    return AD_OpenAddressBook(session_, nullptr, nullptr, book);
  }
  ResultCode Close(HandleNode* book) {
    return AD_CloseAddressBook(session_, nullptr, nullptr, book);
  }
  // Null on failure, as all handles.
  HandleNode* OpenBook() {
    HandleNode* book = nullptr;
    static_cast<void>(Open(&book));
    return book;
  }
  HandleNode* Group(HandleNode* parent, std::int32_t index) {
    HandleNode* group = nullptr;
    static_cast<void>(AD_GetChildGroup(session_, parent, index, &group));
    return group;
  }
  HandleNode* Address(HandleNode* parent, std::int32_t index) {
    HandleNode* address = nullptr;
    static_cast<void>(AD_GetAddress(session_, parent, index, &address));
    return address;
  }

  NumberAnswer GroupCount(HandleNode* parent) {
    return AskNumber(
        [&](std::int32_t* out) { return AD_GetChildGroupCount(session_, parent, out); });
  }
  NumberAnswer AddressCount(HandleNode* parent) {
    return AskNumber([&](std::int32_t* out) { return AD_GetAddressCount(session_, parent, out); });
  }
  NumberAnswer Id(HandleNode* address) {
    return AskNumber([&](std::int32_t* out) { return AD_GetId(session_, address, out); });
  }
  TextAnswer Name(HandleNode* node) {
    return AskText([&](ResultString* text) { return AD_GetName(session_, node, text); });
  }
  TextAnswer Value(HandleNode* address, std::int32_t field) {
    return AskText([&](ResultString* text) { return AD_GetValue(session_, address, field, text); });
  }

 private:
  HandleNode* session_ = nullptr;
};

// A text of an export in UTF-8.
template <typename Get>
std::string AskUtf8(Get get) {
  ResultString record{nullptr, ENCODING_UTF16, 0, nullptr};
  EXPECT_EQ(get(&record), RESULT_OK);
  if (record.buffer == nullptr) return "no text";
  const std::u16string text(static_cast<const char16_t*>(record.buffer));
  record.release(record.buffer);
  const std::u8string utf8 = std::filesystem::path(text).u8string();
  return {utf8.begin(), utf8.end()};
}

// Adds the groups beneath `parent`, each followed by those beneath it, to a list of what they have.
// `parentIndex` is the parent's place in it, -1 for the book. IDs of addresses count on, and by
// them an address is found in the book too.
inline void ListGroups(AddressSession& session, HandleNode* book, HandleNode* parent,
                       int parentIndex, nlohmann::json& list, std::int32_t& nextId) {
  const std::int32_t groups = session.GroupCount(parent).value;
  for (const std::int32_t outside : {-1, groups, INT32_MAX})
    EXPECT_EQ(session.Group(parent, outside), nullptr) << outside;
  for (std::int32_t i = 0; i < groups; ++i) {
    HandleNode* group = session.Group(parent, i);
    const auto name = [&](HandleNode* node) {
      return AskUtf8([&](ResultString* text) { return AD_GetName(session.get(), node, text); });
    };
    const int index = static_cast<int>(list.size());
    list.push_back({{"index", index},
                    {"parentIndex", parentIndex},
                    {"name", name(group)},
                    {"addresses", nlohmann::json::array()}});
    for (std::int32_t a = 0; a < session.AddressCount(group).value; ++a, ++nextId) {
      nlohmann::json found[2];
      for (const bool isInBook : {false, true}) {
        HandleNode* address = isInBook ? session.Address(book, nextId) : session.Address(group, a);
        const auto value = [&](std::int32_t field) {
          return AskUtf8(
              [&](ResultString* text) { return AD_GetValue(session.get(), address, field, text); });
        };
        EXPECT_EQ(session.Id(address), (NumberAnswer{RESULT_OK, nextId}));
        EXPECT_EQ(value(2), name(address));
        found[isInBook] = {{"name", name(address)}, {"userId", value(0)}, {"comment", value(1)}};
      }
      EXPECT_EQ(found[0], found[1]);
      list.back()["addresses"].push_back(found[0]);
    }
    ListGroups(session, book, group, index, list, nextId);
  }
}

inline nlohmann::json ListGroups(AddressSession& session, HandleNode* book) {
  nlohmann::json list = nlohmann::json::array();
  std::int32_t count = 0;
  ListGroups(session, book, book, -1, list, count);
  EXPECT_EQ(session.AddressCount(book), (NumberAnswer{RESULT_OK, count}));
  return list;
}

}  // namespace nimport::test

#endif  // NIMPORT_TESTS_ADDRESSBOOK_ADDRESS_BOOK_STORE_H_
