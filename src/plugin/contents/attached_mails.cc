#include "plugin/contents/attached_mails.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "common/failure.h"
#include "platform/columns.h"
#include "platform/formats/windows_path.h"
#include "plugin/contents/smime_types.h"
#include "plugin/mails/mail_row.h"
#include "plugin/mails/mime_file.h"
#include "store/mails/mail_text.h"
#include "store/mails/stored_file.h"
#include "text/code_page_932.h"

namespace nimport::plugin {
namespace {

using store::FieldSelector;
using store::MailContent;

// From the last dot of a path or name, the dot included.
ExtensionRequest ExtensionOf(std::string_view name) {
  const std::size_t dot = name.rfind('.');
  if (dot == std::string_view::npos) return NO_EXTENSION;
  return std::string(name.substr(dot));
}

// The first "Content-Type" line of a MIME file, wherever it stands. Throws Failure (-3) when there
// is none. The file is searched once.
const text::ValueText& TopContentType(MailStore& store, MimeFile& file) {
  std::optional<std::optional<text::ValueText>>& known = store.mimeFile.facts.topContentType;
  if (!known) {
    const std::string& text = file.Text();
    // The terminator belongs to the text that is searched, so an empty file has lines, too.
    const std::string_view withTerminator(text.c_str(), text.size() + 1);
    const auto line = store::FindHeaderLine(withTerminator, FieldSelector::ContentType);
    known.emplace(line ? std::optional(text::ValueText::Cut(*line)) : std::nullopt);
  }
  if (!*known) FailInvalid("the mail has no header line content-type");
  return **known;
}

std::optional<std::int32_t> CountMimeAttachments(MailStore& store, const MailRow& row) {
  MimeFile file(store, row);
  const std::int32_t parsed = file.Parse();
  if (parsed == 0) return std::nullopt;
  if (parsed != MIME_SUCCESS) {
    throw Failure(parsed, "the MIME library cannot parse the mail");
  }
  const std::int32_t count = store.mime.AttachCount();
  if (count != 0) return count;
  return IsSmimeContainer(TopContentType(store, file).str()) ? 1 : 0;
}

// The stored file's own name, where the system can take it: 80 bytes are at most 240 in UTF-8.
ExtensionRequest OwnName(const std::string& path) {
  constexpr std::size_t MAX_OWN_NAME = 80;
  const auto parsed = platform::ParseWindowsPath(path);
  if (!parsed || parsed->parts.empty()) return NO_EXTENSION;
  const std::string& name = parsed->parts.back();
  return name.size() <= MAX_OWN_NAME ? FileName{name} : ExtensionOf(name);
}

std::string CopyFile(Extraction& extraction, const std::optional<std::string>& storedPath) {
  const std::string contents = store::ReadStoredBytes(extraction.store.platform.files(),
                                                      extraction.store.databaseDir, storedPath);
  const std::string path = text::PathText::Cut(*storedPath).str();
  if (extraction.store.platform.IsSalvaging()) {
    return WriteTemporaryFile(extraction, contents, {.extension = OwnName(path)});
  }
  return WriteTemporaryFile(
      extraction, contents,
      {.extension = ExtensionOf(path), .emptyContents = EmptyContents::AreIncomplete});
}

std::string CopyStoredFile(Extraction& extraction, const MailRow& row) {
  return CopyFile(extraction, platform::ReadText(*row.recordset, row.columns.filePathColumn));
}

// The path of the received file that a forwarded mail names.
std::optional<std::string> FindLinkedPath(MailStore& store, const text::NameText& key) {
  return store.linkedFiles.FindPath(store.database, key.str(), store.FindDatabaseStamp());
}

std::string CopyLinkedFile(Extraction& extraction, const MailRow& row) {
  const auto mailId = platform::ReadText(*row.recordset, row.columns.filePathColumn);
  if (!mailId) FailInvalid("the mail names no received file");
  return CopyFile(extraction, FindLinkedPath(extraction.store, text::NameText::Cut(*mailId)));
}

// The extension of the quoted file name in a container's header: from its first dot up to the
// quote.
MimeFileFacts::ContainerExtension FindContainerExtension(std::string_view text) {
  const std::size_t name = text.find("name=");
  if (name == std::string_view::npos) return {.fault = "the S/MIME container has no name"};
  const std::size_t dot = text.find('.', name);
  if (dot == std::string_view::npos) {
    return {.fault = "the S/MIME container's name has no extension"};
  }
  const std::size_t end = text.find_first_of("\"\n", dot);
  if (end == std::string_view::npos || text[end] == '\n') {
    return {.fault = "the S/MIME container's name is not quoted"};
  }
  return {.text = text::NameText::Cut(text.substr(dot, end - dot)).str()};
}

// The same of a MIME file, which is searched once. Throws Failure (-3) when there is none.
const std::string& ContainerExtension(MailStore& store, MimeFile& file) {
  auto& known = store.mimeFile.facts.containerExtension;
  if (!known) known = FindContainerExtension(file.Text());
  if (known->fault != nullptr) FailInvalid(known->fault);
  return known->text;
}

// The attachments of the library's current mail, asked for once.
const Attachments& GetAttachments(MailStore& store) {
  std::optional<Attachments>& known = store.mimeFile.answers.attachments;
  if (!known) known.emplace(store.mime.GetAttachments());
  return *known;
}

// The name of an attachment, without its head where it is too long: the extension is what counts.
std::string AttachmentName(std::string_view name) {
  const std::string_view whole = text::UpToNul(name);
  const std::size_t excess = whole.size() - std::min(whole.size(), text::PathText::MAX_BYTES);
  return std::string(whole.substr(excess));
}

// What the host receives in place of contents that are not handed out: an empty file.
std::string WriteEmptyFile(Extraction& extraction, ExtensionRequest extension) {
  return WriteTemporaryFile(extraction, {}, {.extension = std::move(extension)});
}

std::string WriteMimeAttachment(Extraction& extraction, const MailRow& row,
                                std::int32_t attachIndex) {
  MailStore& store = extraction.store;
  MimeFile file(store, row);
  if (IsSmimeContainer(TopContentType(store, file).str())) {
    return WriteEmptyFile(extraction, ContainerExtension(store, file));
  }
  file.RequireParsed();
  const Attachments& attachments = GetAttachments(store);
  if (attachIndex < 0 || attachIndex >= attachments.count) {
    FailDatabase("the mail has no attachment " + std::to_string(attachIndex));
  }
  const std::string fileName = AttachmentName(attachments.fileNames.Find(attachIndex).value_or(""));
  ExtensionRequest extension = ExtensionOf(fileName);
  if (IsSmimeSignature(attachments.contentTypes.Find(attachIndex).value_or(""))) {
    return WriteEmptyFile(extraction, std::move(extension));
  }
  return WriteTemporaryFile(extraction, attachments.contents.Find(attachIndex).value_or(""),
                            {.extension = std::move(extension), .incompleteCode = RESULT_INVALID});
}

}  // namespace

std::optional<std::int32_t> CountAttachedMails(Extraction& extraction, std::int32_t folderIndex,
                                               std::int32_t mailIndex) {
  MailRow row = FindMailRow(extraction.store, folderIndex, mailIndex);
  RequireMailSize(row);
  const MailContent content = store::GetMailContent(row.entry.dataType, 0);
  if (content == MailContent::MimeFile) return CountMimeAttachments(extraction.store, row);
  return store::HasOnlyFile(content) ? 1 : 0;
}

std::string WriteAttachedMail(Extraction& extraction, std::int32_t folderIndex,
                              std::int32_t mailIndex, std::int32_t attachIndex) {
  const MailRow row = FindMailRow(extraction.store, folderIndex, mailIndex);
  const MailContent content = store::GetMailContent(row.entry.dataType, 0);
  if (content == MailContent::MimeFile) return WriteMimeAttachment(extraction, row, attachIndex);
  if (!store::HasOnlyFile(content)) FailInvalid("a mail of this kind has no attached files");
  if (attachIndex > 0) FailInvalid("the mail has one attached file");
  return content == MailContent::LinkedFile ? CopyLinkedFile(extraction, row)
                                            : CopyStoredFile(extraction, row);
}

}  // namespace nimport::plugin
