#include "store/mails/mail_kinds.h"

#include <map>
#include <string>

#include <gtest/gtest.h>

#include "common/failure.h"

namespace nimport::store {
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

// Which columns the queries have, stores show that are asked for every kind.
TEST(MailKinds, ShareTheirQueriesAndColumns) {
  for (const auto& [kind, other] :
       {std::pair(19, 29), {19, 30}, {22, 26}, {22, 38}, {32, 33}, {32, 39}})
    EXPECT_EQ(LookupMailKind(kind), LookupMailKind(other)) << other;
  EXPECT_EQ(LookupMailKind(20).queryName, "EmRcvText\xB8\xB4\xD8\xB0");
  EXPECT_EQ(LookupMailKind(34).queryName, LookupMailKind(20).queryName);
  EXPECT_EQ(LINKED_FILE_QUERY, LookupMailKind(19).queryName);
}

}  // namespace
}  // namespace nimport::store
