#include "store/mails/mail_kinds.h"

#include <algorithm>
#include <string>

#include "common/failure.h"

namespace nimport::store {
namespace {

// The value of the column "EmailMode" of a mail whose text has its header with it.
constexpr std::int32_t WHOLE_MAIL_MODE = 1;

struct MailKind {
  std::int32_t dataType;
  MailContent content;
  MailKindColumns columns;
};

// A stored query is called as its table, followed by a word for "query" in half-width katakana.
constexpr MailKindColumns FORWARDED_FILE{
    .queryName = "EmFWBin\xB8\xB4\xD8\xB0",
    .titleColumn = "DataTitle",
    .recipientColumn = "AdditionalIDList",
    .dateColumn = "DataTime",
    .sizeColumn = "MailID",
    .filePathColumn = "MailID",
};
constexpr MailKindColumns RECEIVED_FILE{
    .queryName = LINKED_FILE_QUERY,
    .titleColumn = "DataTitle",
    .originatorIdColumn = "OriginatorID",
    .originatorNameColumn = "OriginatorName",
    .dateColumn = "DataTime",
    .sizeColumn = "RcvFileSize",
    .filePathColumn = "RcvFilePath",
};
constexpr MailKindColumns UPLOADED_FILE{
    .queryName = "EmUpload\xB8\xB4\xD8\xB0",
    .titleColumn = "DataTitle",
    .recipientColumn = "RecipientList",
    .dateColumn = "DataTime",
    .sizeColumn = "UploadFileSize",
    .filePathColumn = "UploadFilePath",
};
// The two originator columns stand the other way round than elsewhere: hosts get the name first.
constexpr MailKindColumns RECEIVED_TEXT{
    .queryName = "EmRcvText\xB8\xB4\xD8\xB0",
    .titleColumn = "DataTitle",
    .originatorIdColumn = "OriginatorName",
    .originatorNameColumn = "OriginatorID",
    .dateColumn = "DataTime",
    .textColumn = "TextData",
    .sizeColumn = "DataSize",
};
constexpr MailKindColumns RECEIVED_ABROAD{
    .queryName = "EmRcvAb\xB8\xB4\xD8\xB0",
    .titleColumn = "DataTitle",
    .originatorIdColumn = "OriginatorID",
    .originatorNameColumn = "OriginatorName",
    .dateColumn = "DataTime",
    .textColumn = "TextData",
    .sizeColumn = "DataSize",
};
constexpr MailKindColumns SENT_TEXT{
    .queryName = "EmSMail\xB8\xB4\xD8\xB0",
    .titleColumn = "DataTitle",
    .recipientColumn = "ToField",
    .dateColumn = "DataTime",
    .textColumn = "TextData",
    .sizeColumn = "DataSize",
};
constexpr MailKindColumns SENT_MIME{
    .queryName = "EmSMail\xB8\xB4\xD8\xB0",
    .titleColumn = "FileLink",
    .originatorIdColumn = "FileLink",
    .recipientColumn = "FileLink",
    .messageIdColumn = "FileLink",
    .contentTypeColumn = "FileLink",
    .dateColumn = "DataTime",
    .textColumn = "TextData",
    .sizeColumn = "DataSize",
    .filePathColumn = "FileLink",
};
constexpr MailKindColumns RECEIVED_MIME{
    .queryName = "EmRcvText\xB8\xB4\xD8\xB0",
    .titleColumn = "FileLink",
    .originatorIdColumn = "FileLink",
    .recipientColumn = "FileLink",
    .messageIdColumn = "FileLink",
    .contentTypeColumn = "FileLink",
    .dateColumn = "FileLink",
    .textColumn = "TextData",
    .sizeColumn = "DataSize",
    .filePathColumn = "FileLink",
};

// Mails to one of the service's own desks, which differ only in query and recipient.
constexpr MailKindColumns MakeServiceMail(std::string_view queryName,
                                          std::string_view recipientColumn) {
  return {
      .queryName = queryName,
      .titleColumn = "DataTitle",
      .recipientColumn = recipientColumn,
      .dateColumn = "DataTime",
      .textColumn = "TextData",
      .sizeColumn = "TextDataSize",
  };
}

constexpr MailKind KINDS[] = {
    {17, MailContent::LinkedFile, FORWARDED_FILE},
    {19, MailContent::StoredFile, RECEIVED_FILE},
    {20, MailContent::Text, RECEIVED_TEXT},  // or WholeMail, by its "EmailMode"
    {21, MailContent::Text, RECEIVED_ABROAD},
    {22, MailContent::Text, SENT_TEXT},
    {23, MailContent::StoredFile, UPLOADED_FILE},
    {24, MailContent::Text, MakeServiceMail("EmSysop\xB8\xB4\xD8\xB0", "SysopeID")},
    {25, MailContent::Text, MakeServiceMail("EmCenter\xB8\xB4\xD8\xB0", "CenterID")},
    {26, MailContent::Text, SENT_TEXT},
    {27, MailContent::Text, MakeServiceMail("EmShop\xB8\xB4\xD8\xB0", "ShopMasterID")},
    {28, MailContent::Text, MakeServiceMail("EmResp\xB8\xB4\xD8\xB0", "RespID")},
    {29, MailContent::StoredFile, RECEIVED_FILE},
    {30, MailContent::StoredFile, RECEIVED_FILE},
    {32, MailContent::MimeFile, SENT_MIME},
    {33, MailContent::MimeFile, SENT_MIME},
    {34, MailContent::MimeFile, RECEIVED_MIME},
    {38, MailContent::ForwardedText, SENT_TEXT},
    {39, MailContent::MimeFile, SENT_MIME},
};

const MailKind* FindMailKind(std::int32_t dataType) {
  const auto* kind = std::ranges::find(KINDS, dataType, &MailKind::dataType);
  return kind == std::end(KINDS) ? nullptr : kind;
}

const MailKind& GetMailKind(std::int32_t dataType) {
  const MailKind* kind = FindMailKind(dataType);
  if (kind == nullptr) FailInvalid("mails of kind " + std::to_string(dataType) + " are not known");
  return *kind;
}

}  // namespace

bool IsListedMailKind(std::int32_t dataType) {
  return FindMailKind(dataType) != nullptr;
}

std::vector<std::int32_t> ListedMailKinds() {
  std::vector<std::int32_t> kinds;
  for (const MailKind& kind : KINDS)
    kinds.push_back(kind.dataType);
  return kinds;
}

const MailKindColumns& LookupMailKind(std::int32_t dataType) {
  return GetMailKind(dataType).columns;
}

std::vector<MailKindColumns> AllMailKindColumns() {
  std::vector<MailKindColumns> all;
  for (const MailKind& kind : KINDS)
    all.push_back(kind.columns);
  return all;
}

bool HasEmailMode(std::int32_t dataType) {
  return dataType == 20;
}

MailContent GetMailContent(std::int32_t dataType, std::int32_t emailMode) {
  if (HasEmailMode(dataType) && emailMode == WHOLE_MAIL_MODE) return MailContent::WholeMail;
  return GetMailKind(dataType).content;
}

bool HasCountedBodies(std::int32_t dataType) {
  return dataType == 34 || dataType == 39;
}

bool HasDateInMimeFile(std::int32_t dataType) {
  return dataType == 34;
}

}  // namespace nimport::store
