#include "store/mail_kinds.h"

#include <map>
#include <string>

#include <gtest/gtest.h>

#include "common/failure.h"

namespace nimport::mailstore {
namespace {

// Where mails of each kind keep their contents, with an EmailMode of 1.
const std::map<std::int32_t, MailContent> CONTENTS = {
    {17, MailContent::LinkedFile}, {19, MailContent::StoredFile},    {20, MailContent::WholeMail},
    {21, MailContent::Text},       {22, MailContent::Text},          {23, MailContent::StoredFile},
    {24, MailContent::Text},       {25, MailContent::Text},          {26, MailContent::Text},
    {27, MailContent::Text},       {28, MailContent::Text},          {29, MailContent::StoredFile},
    {30, MailContent::StoredFile}, {32, MailContent::MimeFile},      {33, MailContent::MimeFile},
    {34, MailContent::MimeFile},   {38, MailContent::ForwardedText}, {39, MailContent::MimeFile}};

TEST(MailKinds, AreThoseThatTheStoreHandles) {
  for (std::int32_t kind = -5; kind < 300; ++kind) {
    const auto content = CONTENTS.find(kind);
    const bool isListed = content != CONTENTS.end();
    EXPECT_EQ(IsListedMailKind(kind), isListed) << kind;
    if (isListed) {
      EXPECT_EQ(GetMailContent(kind, 1), content->second) << kind;
      EXPECT_EQ(GetMailContent(kind, 2), kind == 20 ? MailContent::Text : content->second) << kind;
      // Half-width katakana: "query".
      EXPECT_TRUE(LookupMailKind(kind).queryName.ends_with("\xB8\xB4\xD8\xB0")) << kind;
    } else {
      EXPECT_THROW((void)LookupMailKind(kind), Failure) << kind;
      EXPECT_THROW((void)GetMailContent(kind, 1), Failure) << kind;
    }
  }
  EXPECT_EQ(GetMailContent(20, 0), MailContent::Text);
}

// What is easily mixed up between kinds.
TEST(MailKinds, DifferInTheirColumns) {
  for (const auto& [kind, other] :
       {std::pair(19, 29), {19, 30}, {22, 26}, {22, 38}, {32, 33}, {32, 39}})
    EXPECT_EQ(LookupMailKind(kind), LookupMailKind(other)) << other;
  EXPECT_EQ(LookupMailKind(20).queryName, "EmRcvText\xB8\xB4\xD8\xB0");
  EXPECT_EQ(LookupMailKind(34).queryName, LookupMailKind(20).queryName);
  EXPECT_EQ(LINKED_FILE_QUERY, LookupMailKind(19).queryName);
  const struct {
    std::int32_t kind;
    std::string_view MailKindColumns::*column;
    const char* wanted;
  } cases[] = {
      {20, &MailKindColumns::originatorIdColumn, "OriginatorName"},
      {20, &MailKindColumns::originatorNameColumn, "OriginatorID"},
      {21, &MailKindColumns::originatorIdColumn, "OriginatorID"},
      {19, &MailKindColumns::originatorNameColumn, "OriginatorName"},
      {22, &MailKindColumns::originatorIdColumn, ""},
      {34, &MailKindColumns::originatorNameColumn, ""},
      {17, &MailKindColumns::recipientColumn, "AdditionalIDList"},
      {23, &MailKindColumns::recipientColumn, "RecipientList"},
      {24, &MailKindColumns::recipientColumn, "SysopeID"},
      {25, &MailKindColumns::recipientColumn, "CenterID"},
      {27, &MailKindColumns::recipientColumn, "ShopMasterID"},
      {28, &MailKindColumns::recipientColumn, "RespID"},
      {38, &MailKindColumns::recipientColumn, "ToField"},
      {17, &MailKindColumns::sizeColumn, "MailID"},
      {23, &MailKindColumns::sizeColumn, "UploadFileSize"},
      {24, &MailKindColumns::sizeColumn, "TextDataSize"},
      {39, &MailKindColumns::sizeColumn, "DataSize"},
      {17, &MailKindColumns::filePathColumn, "MailID"},
      {22, &MailKindColumns::filePathColumn, ""},
      {33, &MailKindColumns::dateColumn, "DataTime"},
      {34, &MailKindColumns::dateColumn, "FileLink"},
  };
  for (const auto& c : cases)
    EXPECT_EQ(LookupMailKind(c.kind).*c.column, c.wanted) << c.kind;
}

}  // namespace
}  // namespace nimport::mailstore
