#include "mkstore/mail_writer.h"

#include <array>
#include <limits>
#include <optional>
#include <string_view>

#include "common/utf8_path.h"
#include "jetwriter/write_error.h"
#include "mkstore/mime_file.h"

namespace nimport::mkstore {
namespace {

constexpr std::int64_t MAX_LONG = std::numeric_limits<std::int32_t>::max();
constexpr std::int64_t MIN_LONG = std::numeric_limits<std::int32_t>::min();
constexpr std::int64_t MAX_SHORT = std::numeric_limits<std::int16_t>::max();
constexpr std::int64_t MIN_SHORT = std::numeric_limits<std::int16_t>::min();
constexpr const char* DATA_TABLE = "DataTBL";

// The table that holds what is particular to a family of kinds.
struct MailFamily {
  std::string_view table;
  std::string_view textColumn;  // empty: none, as the next
  std::string_view sizeColumn;
  std::string_view fileColumn;  // path of the stored file
  bool holdsTitle = false;      // and date; DataTBL has null there
};

constexpr std::array<MailFamily, 10> FAMILIES = {{
    {"EmFWBin", "", "", "", false},
    {"EmRcvBin", "", "RcvFileSize", "RcvFilePath", false},
    {"EmRcvText", "TextData", "DataSize", "", false},
    {"EmRcvAb", "TextData", "DataSize", "", true},
    {"EmSMail", "TextData", "DataSize", "", false},
    {"EmUpload", "", "UploadFileSize", "UploadFilePath", false},
    {"EmSysop", "TextData", "TextDataSize", "", false},
    {"EmCenter", "BodyText", "BodySize", "", false},
    {"EmShop", "TextData", "TextDataSize", "", false},
    {"EmResp", "TextData", "TextDataSize", "", true},
}};

struct KindFamily {
  int kind;
  std::string_view table;
};

constexpr std::array<KindFamily, 18> KINDS = {{
    {17, "EmFWBin"},
    {19, "EmRcvBin"},
    {20, "EmRcvText"},
    {21, "EmRcvAb"},
    {22, "EmSMail"},
    {23, "EmUpload"},
    {24, "EmSysop"},
    {25, "EmCenter"},
    {26, "EmSMail"},
    {27, "EmShop"},
    {28, "EmResp"},
    {29, "EmRcvBin"},
    {30, "EmRcvBin"},
    {32, "EmSMail"},
    {33, "EmSMail"},
    {34, "EmRcvText"},
    {38, "EmSMail"},
    {39, "EmSMail"},
}};

// Null for a kind that has no table of its own.
const MailFamily* FindFamily(std::int64_t kind) {
  for (const KindFamily& entry : KINDS) {
    if (entry.kind != kind) continue;
    for (const MailFamily& family : FAMILIES) {
      if (family.table == entry.table) return &family;
    }
  }
  return nullptr;
}

const MailFamily* FamilyOf(const Node& mail) {
  return FindFamily(mail.At("kind").ToInteger(MIN_SHORT, MAX_SHORT));
}

void SetTitleAndDate(const Node& mail, StoreRow& row) {
  row.ReadMember("DataTitle", mail, "title");
  row.ReadMember("DataTime", mail, "date");
}

// Takes a mail's columns for one of its tables. A name alone means the family's table where it has
// such a column; "DataTBL.Mark" names the table.
void ReadColumns(const Node& mail, const StoreTable& table, const StoreTable* family,
                 StoreRow& row) {
  const std::optional<Node> columns = mail.Find("columns");
  if (!columns) return;
  const std::string prefix = table.Name() + ".";
  for (const auto& [name, value] : columns->Members()) {
    if (name.starts_with(prefix)) {
      if (!row.Read(std::string_view(name).substr(prefix.size()), value)) {
        value.Fail("the table has no such column");
      }
    } else if (&table == family || family == nullptr || !family->FindColumn(name)) {
      row.Read(name, value);
    }
  }
}

void CheckColumns(const Node& mail, const StoreTable& data, const StoreTable* family) {
  const std::optional<Node> columns = mail.Find("columns");
  if (!columns) return;
  for (const auto& [name, value] : columns->Members()) {
    const bool isQualified = name.find('.') != std::string::npos;
    if (isQualified || data.FindColumn(name) || (family != nullptr && family->FindColumn(name))) {
      continue;
    }
    value.Fail("no table of this kind of mail has such a column");
  }
}

}  // namespace

// What the files of a mail tell its rows.
struct MailWriter::MailFiles {
  std::optional<std::string> mimeFile;
  std::optional<std::string> storedPath;
  std::optional<std::size_t> sizeBytes;
};

MailWriter::MailWriter(StoreDatabase& database, const Drives& drives,
                       std::filesystem::path mimeDirectory, unsigned codePage)
    : database_(database),
      drives_(drives),
      mimeDirectory_(std::move(mimeDirectory)),
      text_(jetwriter::TextEncoder::ForCodePage(codePage)) {}

void MailWriter::AddCabinet(const Node& cabinet) {
  cabinet.ExpectMembers({"number", "name", "columns", "folders"});
  StoreTable& table = database_.Table("CabinetTBL", cabinet);
  StoreRow row(table);
  row.Read("CabinetNo", cabinet.At("number"));
  row.ReadMember("CabinetName", cabinet, "name");
  if (!cabinet.At("number").IsNull()) {
    row.SetNumber("SortNo", cabinet.At("number").ToInteger(MIN_SHORT, MAX_SHORT));
  }
  row.SetNumber("IconNo", 3);
  ReadColumns(cabinet, table, nullptr, row);
  CheckColumns(cabinet, table, nullptr);
  table.AddRow(row.Take(), cabinet);
  const bool isNull = cabinet.At("number").IsNull();
  const std::int64_t number = isNull ? 0 : cabinet.At("number").ToInteger(MIN_SHORT, MAX_SHORT);
  for (const Node& folder : cabinet.ElementsOf("folders"))
    AddFolder(folder, number);
}

void MailWriter::AddFolder(const Node& folder, std::int64_t cabinetNumber) {
  folder.ExpectMembers({"number", "name", "cabinet", "columns", "mails"});
  StoreTable& table = database_.Table("FolderTBL", folder);
  StoreRow row(table);
  row.Read("FolderNo", folder.At("number"));
  row.SetNumber("CabinetNo", cabinetNumber);
  row.ReadMember("FolderName", folder, "name");
  row.SetNumber("FolderType", 1);
  ReadColumns(folder, table, nullptr, row);
  CheckColumns(folder, table, nullptr);
  table.AddRow(row.Take(), folder);
  const bool isNull = folder.At("number").IsNull();
  const std::int64_t number = isNull ? 0 : folder.At("number").ToInteger(MIN_LONG, MAX_LONG);
  for (const Node& mail : folder.ElementsOf("mails"))
    AddMail(mail, number);
}

void MailWriter::AddMail(const Node& mail, std::int64_t folderNumber) {
  mail.ExpectMembers({"kind", "dataNo", "folder", "title", "date", "columns", "mime", "storedFile",
                      "noFamilyRow", "inDataTable", "deleted"});
  const std::int64_t dataNumber = mail.IntegerOr("dataNo", nextDataNumber_, MIN_LONG, MAX_LONG);
  nextDataNumber_ = dataNumber + 1;
  const MailFiles files = WriteFiles(mail);
  const MailFamily* family = FamilyOf(mail);
  const StoreTable* familyTable =
      family == nullptr ? nullptr : &database_.Table(family->table, mail);
  CheckColumns(mail, database_.Table(DATA_TABLE, mail), familyTable);
  if (mail.BoolOr("inDataTable", true)) AddDataRow(mail, folderNumber, dataNumber);
  if (family != nullptr && !mail.BoolOr("noFamilyRow", false)) {
    AddFamilyRow(mail, dataNumber, files);
  }
  if (!mail.BoolOr("deleted", false)) return;
  const auto number = static_cast<std::int32_t>(dataNumber);
  deletedMails_[std::string(DATA_TABLE)].insert(number);
  if (family != nullptr) deletedMails_[std::string(family->table)].insert(number);
}

MailWriter::MailFiles MailWriter::WriteFiles(const Node& mail) {
  MailFiles files;
  if (const std::optional<Node> mime = mail.Find("mime")) {
    files.mimeFile = mime->At("file").ToText();
    if (const std::optional<std::string> bytes = ReadMimeFile(*mime)) {
      if (files.mimeFile->find_first_of("/\\") != std::string::npos) {
        mime->At("file").Fail("the name of a file that is written must not lead elsewhere");
      }
      files.sizeBytes = bytes->size();
      WriteFile(mimeDirectory_ / nimport::PathFromUtf8(*files.mimeFile), *bytes);
    }
  }
  if (const std::optional<Node> stored = mail.Find("storedFile")) {
    stored->ExpectMembers({"path", "contents"});
    files.storedPath = stored->At("path").ToText();
    if (const std::optional<Node> contents = stored->Find("contents")) {
      const std::string bytes = ReadContents(*contents).bytes;
      files.sizeBytes = bytes.size();
      WriteFile(drives_.ToNative(*files.storedPath, stored->At("path")), bytes);
    }
  }
  return files;
}

void MailWriter::AddDataRow(const Node& mail, std::int64_t folderNumber, std::int64_t dataNumber) {
  StoreTable& table = database_.Table(DATA_TABLE, mail);
  const MailFamily* family = FamilyOf(mail);
  StoreRow row(table);
  row.SetNumber("DataNo", dataNumber);
  row.SetNumber("FolderNo", folderNumber);
  row.Read("DataType", mail.At("kind"));
  if (family == nullptr || !family->holdsTitle) SetTitleAndDate(mail, row);
  row.Set("ReadFlag", true);
  row.SetNumber("Mark", 0);
  ReadColumns(mail, table, family == nullptr ? nullptr : database_.FindTable(family->table), row);
  table.AddRow(row.Take(), mail);
}

void MailWriter::AddFamilyRow(const Node& mail, std::int64_t dataNumber, const MailFiles& files) {
  const MailFamily& family = *FamilyOf(mail);
  StoreTable& table = database_.Table(family.table, mail);
  StoreRow row(table);
  row.SetNumber("DataNo", dataNumber);
  if (family.holdsTitle) SetTitleAndDate(mail, row);
  if (files.mimeFile) row.Set("FileLink", jet::Text{*files.mimeFile});
  if (files.storedPath) row.Set(family.fileColumn, jet::Text{*files.storedPath});
  SetUsualSize(mail, files, row);
  ReadColumns(mail, table, &table, row);
  table.AddRow(row.Take(), mail);
}

// The size column tells the bytes of the mail's file or text.
void MailWriter::SetUsualSize(const Node& mail, const MailFiles& files, StoreRow& row) {
  const MailFamily& family = *FamilyOf(mail);
  std::size_t size = files.sizeBytes.value_or(0);
  const std::optional<Node> columns = mail.Find("columns");
  const std::optional<Node> text = columns ? columns->Find(family.textColumn) : std::nullopt;
  if (!files.sizeBytes && text && !text->IsNull()) {
    const Contents contents = ReadContents(*text);
    try {
      size = contents.isText ? text_.Encode(contents.bytes).size() : contents.bytes.size();
    } catch (const jetwriter::WriteError&) {
      // Letters that only a Jet 4 database can hold, and which another one refuses when the row is
      // written.
      size = jetwriter::TextEncoder::ForUtf16().Encode(contents.bytes).size();
    }
  }
  if (family.table == "EmRcvText") row.SetNumber("EmailMode", 0);
  row.SetNumber(family.sizeColumn, static_cast<std::int64_t>(size));
}

}  // namespace nimport::mkstore
