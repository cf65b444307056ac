// Exports of the mail side with a true session and handles of the wrong kind in the second place.
#include <functional>
#include <string>
#include <vector>

#include "plugin/handle_node.h"
#include "plugin/session_fixture.h"

namespace nimport::test {
namespace {

struct Row {
  const char* name;
  std::vector<plugin::NodeKind> accepted;
  std::function<ResultCode(HandleNode* session, HandleNode* node, void* out)> call;
};

template <typename Get>
auto WithText(Get get) {
  return [get](HandleNode* session, HandleNode* node, void* out) {
    return get(session, node, 0, static_cast<ResultString*>(out));
  };
}

template <typename Get>
auto WithNumber(Get get) {
  return [get](HandleNode* session, HandleNode* node, void* out) {
    return get(session, node, 0, static_cast<std::int32_t*>(out));
  };
}

const std::vector<Row>& Rows() {
  static const std::vector<plugin::NodeKind> folders = {plugin::NodeKind::Cabinet,
                                                        plugin::NodeKind::Folder};
  static const std::vector<Row> rows = {
      {"ML_GetName",
       {plugin::NodeKind::User, plugin::NodeKind::Account, plugin::NodeKind::Cabinet,
        plugin::NodeKind::Folder},
       [](HandleNode* s, HandleNode* n, void* out) {
         return ML_GetName(s, n, static_cast<ResultString*>(out));
       }},
      {"ML_OpenMailDataFile", folders,
       [](HandleNode* s, HandleNode* n, void*) { return ML_OpenMailDataFile(s, n); }},
      {"ML_CloseMailDataFile", folders,
       [](HandleNode* s, HandleNode* n, void*) { return ML_CloseMailDataFile(s, n); }},
      {"ML_GetMailCount", folders,
       [](HandleNode* s, HandleNode* n, void* out) {
         return ML_GetMailCount(s, n, static_cast<std::int32_t*>(out));
       }},
      {"ML_GetMailSubject", folders, WithText(ML_GetMailSubject)},
      {"ML_GetMailFrom", folders, WithText(ML_GetMailFrom)},
      {"ML_GetMailTo", folders, WithText(ML_GetMailTo)},
      {"ML_GetMailMessageID", folders, WithText(ML_GetMailMessageID)},
      {"ML_GetMailSource", folders, WithText(ML_GetMailSource)},
      {"ML_GetMailDate", folders, WithNumber(ML_GetMailDate)},
      {"ML_GetMailTimeStamp", folders, WithNumber(ML_GetMailTimeStamp)},
      {"ML_GetMailBodyCount", folders, WithNumber(ML_GetMailBodyCount)},
      {"ML_GetAttachedMailCount", folders, WithNumber(ML_GetAttachedMailCount)},
      {"ML_GetMailContentType", folders,
       [](HandleNode* s, HandleNode* n, void* out) {
         return ML_GetMailContentType(s, n, 0, 0, static_cast<ResultString*>(out));
       }},
      {"ML_GetMailBodyPath", folders,
       [](HandleNode* s, HandleNode* n, void* out) {
         return ML_GetMailBodyPath(s, n, 0, 0, static_cast<ResultString*>(out));
       }},
      {"ML_GetAttachedMailPath", folders,
       [](HandleNode* s, HandleNode* n, void* out) {
         return ML_GetAttachedMailPath(s, n, 0, 0, static_cast<ResultString*>(out));
       }},
  };
  return rows;
}

bool IsAccepted(const Row& row, plugin::NodeKind kind) {
  return std::find(row.accepted.begin(), row.accepted.end(), kind) != row.accepted.end();
}

class HandleKinds : public SessionTest {
 protected:
  void SetUp() override {
    UseStore(StoreWithMails({{{"kind", 22}, {"title", "T"}, {"date", "1998-01-02"}}}));
  }
};

TEST_F(HandleKinds, AreCheckedInTheSecondPlace) {
  MailSession session;
  ASSERT_NE(session.User(), nullptr);
  for (const Row& row : Rows()) {
    for (int kind = -1; kind <= static_cast<int>(plugin::NodeKind::Address); ++kind) {
      if (kind >= 0 && IsAccepted(row, static_cast<plugin::NodeKind>(kind))) continue;
      HandleNode node(static_cast<plugin::NodeKind>(kind < 0 ? 0 : kind));
      ResultString text{nullptr, ENCODING_CODE_PAGE_932, 0, nullptr};
      EXPECT_EQ(row.call(session.get(), kind < 0 ? nullptr : &node, &text), RESULT_INVALID)
          << row.name << " " << kind;
      EXPECT_EQ(text.buffer, nullptr) << row.name;
    }
  }
}

TEST_F(HandleKinds, OfAnOpenFolderNeedAPlaceForTheResult) {
  MailSession session;
  HandleNode* folder = session.OpenFolder(0, 0);
  ASSERT_NE(folder, nullptr);
  for (const Row& row : Rows()) {
    if (std::string(row.name).ends_with("MailDataFile")) continue;
    EXPECT_EQ(row.call(session.get(), folder, nullptr), RESULT_INVALID) << row.name;
  }
  HandleNode* s = session.get();
  EXPECT_EQ(ML_GetUserCount(s, nullptr), RESULT_INVALID);
  EXPECT_EQ(ML_GetUser(s, 0, nullptr), RESULT_INVALID);
  EXPECT_EQ(ML_GetAccountCount(s, nullptr, nullptr), RESULT_INVALID);
  EXPECT_EQ(ML_GetAccount(s, nullptr, 0, nullptr), RESULT_INVALID);
  EXPECT_EQ(ML_GetChildFolderCount(s, folder, nullptr), RESULT_INVALID);
  EXPECT_EQ(ML_GetChildFolder(s, folder->parent, 0, nullptr), RESULT_INVALID);
  EXPECT_EQ(ML_SetTempFileName(s, nullptr), RESULT_INVALID);
  EXPECT_EQ(AD_GetUserCount(s, nullptr), RESULT_INVALID);
  EXPECT_EQ(AD_GetUser(s, 0, nullptr), RESULT_INVALID);
}

TEST_F(HandleKinds, OfAnOpenCabinetGiveNoMailsAndNoPaths) {
  MailSession session;
  HandleNode* cabinet = session.Child(session.User(), 0);
  ASSERT_EQ(ML_OpenMailDataFile(session.get(), cabinet), RESULT_OK);
  for (const Row& row : Rows()) {
    const std::string name = row.name;
    if (name == "ML_GetName" || name == "ML_GetMailCount" || name.ends_with("MailDataFile")) {
      continue;
    }
    ResultString text{nullptr, ENCODING_CODE_PAGE_932, 0, nullptr};
    const bool isPath = name.ends_with("Path");
    EXPECT_EQ(row.call(session.get(), cabinet, &text), isPath ? RESULT_OK : RESULT_DATABASE)
        << name;
    EXPECT_EQ(text.buffer, nullptr) << name;
  }
}

}  // namespace
}  // namespace nimport::test
