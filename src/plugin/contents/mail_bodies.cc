#include "plugin/contents/mail_bodies.h"

#include <new>
#include <optional>
#include <utility>

#include "common/failure.h"
#include "platform/columns.h"
#include "plugin/contents/related_part_files.h"
#include "plugin/contents/related_parts.h"
#include "plugin/contents/smime_types.h"
#include "plugin/mails/mail_row.h"
#include "plugin/mails/mime_file.h"
#include "store/mails/mail_text.h"
#include "text/text_lines.h"

namespace nimport::plugin {
namespace {

using store::MailContent;

// Stops counting at the first part too many, so that a library that never ends its list cannot hold
// us.
std::int32_t CountMainParts(MimeSession& session) {
  std::int32_t count = 0;
  for (std::int32_t position = session.MainHeadPosition(); position != 0;) {
    if (++count > MAX_MAIN_PARTS) FailInvalid("the mail has too many main parts");
    static_cast<void>(session.MainNext(position, MainPartWanted::Nothing));
  }
  return count;
}

std::int32_t CountMimeBodies(Extraction& extraction, std::int32_t folderIndex,
                             std::int32_t mailIndex) {
  MailStore& store = extraction.store;
  MailRow row = FindMailRow(store, folderIndex, mailIndex);
  RequireMailSize(row);
  MimeFile file(store, row);
  const std::int32_t parsed = file.Parse();
  if (parsed == 0) return 0;
  if (parsed != MIME_SUCCESS) {
    throw Failure(parsed, "the MIME library cannot parse the mail");
  }
  store.currentPartCount = CountMainParts(store.mime);
  if (!store.currentParts) FailInvalid("no folder is open to count the bodies of");
  BuildRelatedParts(file.Text(), *store.currentParts);
  return store.currentPartCount + static_cast<std::int32_t>(store.currentParts->size());
}

std::string WritePlaceholder(Extraction& extraction, const char* extension, ResultCode incomplete) {
  return WriteTemporaryFile(extraction, PLACEHOLDER_BODY,
                            {.extension = std::string(extension), .incompleteCode = incomplete});
}

// The line ends of a text from a column made CR LF; too little memory for that is -2.
std::string NormalizeStoredText(std::string text) {
  try {
    return store::NormalizeLineEnds(std::move(text));
  } catch (const std::bad_alloc&) {
    FailDatabase("no memory for the mail's text");
  }
}

// The text after the header of a whole mail.
std::string_view BodyOfWholeMail(std::string_view text) {
  std::size_t position = 0;
  while (const auto line = text::ReadTextLine(text, position)) {
    if (line->empty()) break;
  }
  return text.substr(position);
}

std::string WriteStoredMailBody(Extraction& extraction, const MailRow& row) {
  std::optional<std::string> stored = platform::ReadText(*row.recordset, "TextData");
  if (!stored) return WritePlaceholder(extraction, ".txt", RESULT_INVALID);
  const std::string text = NormalizeStoredText(*std::move(stored));
  return WriteTemporaryFile(
      extraction, BodyOfWholeMail(text),
      {.extension = std::string(".txt"), .emptyContents = EmptyContents::AreIncomplete});
}

std::string WriteStoredTextBody(Extraction& extraction, const MailRow& row) {
  std::string text =
      NormalizeStoredText(platform::ReadText(*row.recordset, "TextData").value_or(""));
  if (text.empty()) return WritePlaceholder(extraction, ".txt", RESULT_INVALID);
  text.push_back('\0');
  return WriteTemporaryFile(extraction, text, {.extension = std::string(".txt")});
}

// Main part number `bodyIndex` of the library's current mail.
MainPart FetchMainPart(MimeSession& session, std::int32_t bodyIndex) {
  if (bodyIndex < 0) FailInvalid("negative body number");
  std::int32_t position = session.MainHeadPosition();
  for (std::int32_t i = 0; i < bodyIndex && position != 0; ++i)
    static_cast<void>(session.MainNext(position, MainPartWanted::Nothing));
  if (position == 0) FailInvalid("the MIME file has fewer parts than were counted");
  return session.MainNext(position, MainPartWanted::ContentTypeAndContents);
}

std::string WriteMainPart(Extraction& extraction, std::int32_t bodyIndex) {
  const MainPart part = FetchMainPart(extraction.store.mime, bodyIndex);
  if (part.contentType.size() > text::ValueText::MAX_BYTES)
    FailInvalid("the content type is too long");
  if (IsSmimeContainer(part.contentType)) {
    return WritePlaceholder(extraction, ".TMP", RESULT_DATABASE);
  }
  const std::optional<std::string> extension = ExtensionForContentType(part.contentType);
  if (!extension) FailInvalid("the content type has no subtype");
  return WriteTemporaryFile(extraction, part.contents,
                            {.extension = *extension,
                             .incompleteCode = RESULT_INVALID,
                             .emptyContents = EmptyContents::AreIncomplete});
}

std::string WriteMimeBody(Extraction& extraction, const MailRow& row, std::int32_t bodyIndex) {
  MailStore& store = extraction.store;
  MimeFile(store, row).RequireParsed();
  if (bodyIndex < store.currentPartCount) return WriteMainPart(extraction, bodyIndex);
  return WriteRelatedPart(extraction, bodyIndex - store.currentPartCount);
}

}  // namespace

std::int32_t CountMailBodies(Extraction& extraction, std::int32_t folderIndex,
                             std::int32_t mailIndex) {
  MailStore& store = extraction.store;
  const std::int32_t dataType = FindMailEntry(store, folderIndex, mailIndex).dataType;
  if (store::HasCountedBodies(dataType)) {
    return CountMimeBodies(extraction, folderIndex, mailIndex);
  }
  if (store::GetMailContent(dataType, 0) == MailContent::MimeFile) store.currentPartCount = 1;
  return 1;
}

std::string WriteMailBody(Extraction& extraction, std::int32_t folderIndex, std::int32_t mailIndex,
                          std::int32_t bodyIndex) {
  const MailRow row = FindMailRow(extraction.store, folderIndex, mailIndex);
  switch (ContentOf(row)) {
    case MailContent::LinkedFile:
    case MailContent::StoredFile:
      return WritePlaceholder(extraction, ".txt", RESULT_DATABASE);
    case MailContent::WholeMail:
      return WriteStoredMailBody(extraction, row);
    case MailContent::Text:
    case MailContent::ForwardedText:
      return WriteStoredTextBody(extraction, row);
    case MailContent::MimeFile:
      return WriteMimeBody(extraction, row, bodyIndex);
  }
  FailInvalid("a mail of this kind has no body");
}

}  // namespace nimport::plugin
