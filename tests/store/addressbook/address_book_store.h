// Address books in stores on disk, asked through the exports of the library.
#ifndef NIMPORT_TESTS_ADDRESSBOOK_ADDRESS_BOOK_STORE_H_
#define NIMPORT_TESTS_ADDRESSBOOK_ADDRESS_BOOK_STORE_H_

#include <cstdint>
#include <cstdlib>
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
  // `cabinets`, where given, are those of the mail database beside it.
  explicit AddressBookStore(nlohmann::json entries, const mkstore::StoreOptions& options = {},
                            nlohmann::json tables = nullptr, nlohmann::json cabinets = nullptr) {
    nlohmann::json description = {{"addressBook", std::move(entries)}};
    if (!tables.is_null()) description["tables"] = std::move(tables);
    if (!cabinets.is_null()) description["cabinets"] = std::move(cabinets);
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
  ~AddressSession() {
    if (session_ != nullptr) AD_Terminate(session_);
  }
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

}  // namespace nimport::test

#endif  // NIMPORT_TESTS_ADDRESSBOOK_ADDRESS_BOOK_STORE_H_
