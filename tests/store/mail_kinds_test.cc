#include "store/mail_kinds.h"

#include <set>
#include <string>

#include <gtest/gtest.h>

#include "common/failure.h"

namespace nimport::mailstore {
namespace {

TEST(MailKinds, ListsExactlyTheKindsThatTheStoreHandles) {
  const std::set<std::int32_t> wanted = {17, 19, 20, 21, 22, 23, 24, 25, 26,
                                         27, 28, 29, 30, 32, 33, 34, 38, 39};
  for (std::int32_t dataType = -5; dataType < 300; ++dataType) {
    EXPECT_EQ(IsListedMailKind(dataType), wanted.contains(dataType)) << dataType;
    if (wanted.contains(dataType)) {
      EXPECT_NO_THROW((void)LookupMailKind(dataType)) << dataType;
    } else {
      EXPECT_THROW((void)LookupMailKind(dataType), Failure) << dataType;
      EXPECT_THROW((void)GetMailContent(dataType, 1), Failure) << dataType;
    }
  }
}

TEST(MailKinds, KindsOfOneFamilyAreAlike) {
  EXPECT_EQ(LookupMailKind(19), LookupMailKind(29));
  EXPECT_EQ(LookupMailKind(19), LookupMailKind(30));
  EXPECT_EQ(LookupMailKind(22), LookupMailKind(26));
  EXPECT_EQ(LookupMailKind(22), LookupMailKind(38));
  EXPECT_EQ(LookupMailKind(32), LookupMailKind(33));
  EXPECT_EQ(LookupMailKind(32), LookupMailKind(39));
}

TEST(MailKinds, QueryNamesEndInHalfWidthKatakana) {
  const std::string wanted = {'E', 'm', 'R',    'c',    'v',    'T',   'e',
                              'x', 't', '\xB8', '\xB4', '\xD8', '\xB0'};
  EXPECT_EQ(LookupMailKind(20).queryName, wanted);
  EXPECT_EQ(LookupMailKind(34).queryName, wanted);
  EXPECT_EQ(LINKED_FILE_QUERY, LookupMailKind(19).queryName);
  for (std::int32_t dataType = 17; dataType <= 39; ++dataType) {
    if (!IsListedMailKind(dataType)) continue;
    EXPECT_TRUE(LookupMailKind(dataType).queryName.ends_with("\xB8\xB4\xD8\xB0")) << dataType;
  }
}

// What is easily mixed up between kinds.
TEST(MailKinds, ColumnsThatDifferBetweenKinds) {
  const auto& column = LookupMailKind;
  EXPECT_EQ(column(20).originatorIdColumn, "OriginatorName");
  EXPECT_EQ(column(20).originatorNameColumn, "OriginatorID");
  EXPECT_EQ(column(21).originatorIdColumn, "OriginatorID");
  EXPECT_EQ(column(19).originatorNameColumn, "OriginatorName");
  EXPECT_EQ(column(22).originatorIdColumn, "");
  EXPECT_EQ(column(34).originatorNameColumn, "");

  EXPECT_EQ(column(17).recipientColumn, "AdditionalIDList");
  EXPECT_EQ(column(23).recipientColumn, "RecipientList");
  EXPECT_EQ(column(24).recipientColumn, "SysopeID");
  EXPECT_EQ(column(25).recipientColumn, "CenterID");
  EXPECT_EQ(column(27).recipientColumn, "ShopMasterID");
  EXPECT_EQ(column(28).recipientColumn, "RespID");
  EXPECT_EQ(column(38).recipientColumn, "ToField");

  EXPECT_EQ(column(17).sizeColumn, "MailID");
  EXPECT_EQ(column(17).filePathColumn, "MailID");
  EXPECT_EQ(column(23).sizeColumn, "UploadFileSize");
  EXPECT_EQ(column(24).sizeColumn, "TextDataSize");
  EXPECT_EQ(column(39).sizeColumn, "DataSize");
  EXPECT_EQ(column(22).filePathColumn, "");

  EXPECT_EQ(column(33).dateColumn, "DataTime");
  EXPECT_EQ(column(34).dateColumn, "FileLink");
}

TEST(MailKinds, ContentsAreWhereTheKindKeepsThem) {
  EXPECT_EQ(GetMailContent(17, 0), MailContent::LinkedFile);
  for (const std::int32_t dataType : {19, 23, 29, 30}) {
    EXPECT_EQ(GetMailContent(dataType, 1), MailContent::StoredFile) << dataType;
  }
  for (const std::int32_t dataType : {21, 22, 24, 25, 26, 27, 28}) {
    EXPECT_EQ(GetMailContent(dataType, 1), MailContent::Text) << dataType;
  }
  for (const std::int32_t dataType : {32, 33, 34, 39}) {
    EXPECT_EQ(GetMailContent(dataType, 1), MailContent::MimeFile) << dataType;
  }
  EXPECT_EQ(GetMailContent(38, 1), MailContent::ForwardedText);
  EXPECT_EQ(GetMailContent(20, 1), MailContent::WholeMail);
  EXPECT_EQ(GetMailContent(20, 0), MailContent::Text);
  EXPECT_EQ(GetMailContent(20, 2), MailContent::Text);
}

}  // namespace
}  // namespace nimport::mailstore
