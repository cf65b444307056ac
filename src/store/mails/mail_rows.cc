#include "store/mails/mail_rows.h"

#include <algorithm>
#include <utility>

#include "common/failure.h"
#include "platform/columns.h"
#include "store/mails/column_guess.h"
#include "store/mails/date_column.h"
#include "text/ascii.h"
#include "text/code_page_932.h"

namespace nimport::store {
namespace {

constexpr std::string_view NUMBER_COLUMN = "DataNo";
constexpr std::string_view KIND_COLUMN = "DataType";
constexpr std::string_view MODE_COLUMN = "EmailMode";
// Of mails that the owner sent; the other kinds have none.
constexpr std::string_view CARBON_COPY_COLUMN = "CcField";
constexpr std::string_view TEXT_COLUMN = "TextData";
constexpr std::string_view FORWARDED_TEXT_COLUMN = "ForwardText";
// Stands for a header field's column where the field is in the mail's MIME file.
constexpr std::string_view MIME_FILE_COLUMN = "FileLink";

constexpr std::string_view MAIL_TABLE = "DataTBL";

bool IsSameColumn(std::string_view a, std::string_view b) {
  return text::EqualsIgnoringCase(a, b);
}

// What runs when a value is read: one that cannot be read is a problem of the field alone; an
// interruption ends everything.
template <typename Get>
Field<jet::Value> TryToRead(Get get) {
  try {
    jet::Value value = get();
    if (jet::IsNull(value)) return {};
    return {.value = std::move(value), .problem = {}};
  } catch (const jet::Interrupted&) {
    throw;
  } catch (const jet::DatabaseError& error) {
    return {.value = {}, .problem = ToProblem(error)};
  }
}

// Up to the first NUL; empty for values that are no text.
std::string TakeText(jet::Value&& value) {
  auto* text = std::get_if<jet::Text>(&value);
  if (text == nullptr) return {};
  const std::string_view kept = text::UpToNul(text->bytes);
  return kept.size() == text->bytes.size() ? std::move(text->bytes) : std::string(kept);
}

TextField TextOf(Field<jet::Value> field) {
  TextField text{.value = {}, .problem = std::move(field.problem)};
  if (field.value) text.value = TakeText(*std::move(field.value));
  return text;
}

// Takes the column that looks most like `role` out of the further ones: the first that is there and
// has a value.
void TakeCopies(ColumnRole role, MailRecord& record, TextField& copies) {
  if (!copies.IsAbsent()) return;
  const auto isMeant = [role](const FurtherColumn& column) {
    return !column.value.IsAbsent() && LooksLikeRole(column.name, column.type) == role;
  };
  const auto found = std::ranges::find_if(record.furtherColumns, isMeant);
  if (found == record.furtherColumns.end()) return;
  copies = TextOf(std::move(found->value));
  record.furtherColumns.erase(found);
}

// The table that a kind's query is called after: what follows its name is not ASCII.
std::string_view TableOf(std::string_view queryName) {
  return queryName.substr(
      0, static_cast<std::size_t>(
             std::ranges::find_if_not(queryName, [](char c) { return text::IsAscii(c); }) -
             queryName.begin()));
}

// Reads the columns of the current row, each at most once, and knows which were read.
class RowReader {
 public:
  RowReader(const std::vector<jet::ColumnInfo>& columns, const jet::Recordset& row)
      : columns_(columns), row_(row) {}

  [[nodiscard]] bool Has(std::string_view name) const {
    const auto isThis = [name](const jet::ColumnInfo& c) { return IsSameColumn(c.name, name); };
    return std::ranges::any_of(columns_, isThis);
  }

  [[nodiscard]] Field<jet::Value> Read(std::string_view name) {
    read_.push_back(name);
    if (name.empty()) return {};
    return TryToRead([&] { return row_.GetFieldValue(name); });
  }

  [[nodiscard]] TextField Text(std::string_view name) { return TextOf(Read(name)); }

  [[nodiscard]] Field<std::int32_t> Number(std::string_view name) {
    Field<jet::Value> field = Read(name);
    Field<std::int32_t> number{.value = {}, .problem = std::move(field.problem)};
    if (field.value) number.value = platform::NumberOf(*field.value);
    return number;
  }

  [[nodiscard]] Field<platform::LocalTime> Date(std::string_view name) {
    Field<jet::Value> field = Read(name);
    Field<platform::LocalTime> date{.value = {}, .problem = std::move(field.problem)};
    if (field.value) date.value = ReadAnyDate(*field.value);
    return date;
  }

  // Was read by somebody else.
  void Skip(std::string_view name) { read_.push_back(name); }

  [[nodiscard]] std::vector<FurtherColumn> Rest() const {
    std::vector<FurtherColumn> rest;
    rest.reserve(columns_.size());
    for (std::size_t i = 0; i < columns_.size(); ++i) {
      const std::string& name = columns_[i].name;
      const auto isThis = [&](std::string_view other) { return IsSameColumn(name, other); };
      if (std::ranges::any_of(read_, isThis)) continue;
      rest.push_back({.name = name, .type = columns_[i].type, .value = TryToRead([&] {
                                                                return row_.GetFieldValue(i);
                                                              })});
    }
    return rest;
  }

 private:
  const std::vector<jet::ColumnInfo>& columns_;
  const jet::Recordset& row_;
  std::vector<std::string_view> read_ = {NUMBER_COLUMN, KIND_COLUMN};
};

}  // namespace

MailRows::MailRows(jet::Database& database, std::string_view queryName)
    : database_(database),
      queryName_(queryName),
      query_(database.OpenQuery(queryName)),
      rows_(query_->OpenRecordset()) {}

void MailRows::OpenFurtherTables() {
  furtherTables_.emplace();
  std::vector<std::string> known;
  for (const jet::ColumnInfo& column : query_->Columns())
    known.push_back(column.name);
  const auto isKnown = [&](std::string_view name) {
    return std::ranges::any_of(known,
                               [&](const std::string& other) { return IsSameColumn(name, other); });
  };
  for (const std::string_view name : {TableOf(queryName_), MAIL_TABLE}) {
    try {
      FurtherTable further{.table = database_.OpenTable(name), .rows = {}, .columns = {}};
      const std::vector<jet::ColumnInfo>& columns = further.table->Columns();
      bool hasKey = false;
      for (std::size_t i = 0; i < columns.size(); ++i) {
        hasKey = hasKey || IsSameColumn(columns[i].name, NUMBER_COLUMN);
        if (isKnown(columns[i].name) || IsSameColumn(columns[i].name, KIND_COLUMN)) continue;
        further.columns.push_back(i);
        known.push_back(columns[i].name);
      }
      if (!hasKey || further.columns.empty()) continue;
      further.rows = further.table->OpenRecordset();
      furtherTables_->push_back(std::move(further));
    } catch (const jet::Interrupted&) {
      throw;
    } catch (const jet::DatabaseError&) {
      // Whoever reads the list of mails or the kind's query meets the same damage.
    }
  }
}

void MailRows::ReadFurtherTables(MailRecord& record) {
  if (!furtherTables_) OpenFurtherTables();
  for (const FurtherTable& further : *furtherTables_) {
    try {
      if (!further.rows->FindFirst(NUMBER_COLUMN, record.number)) continue;
    } catch (const jet::Interrupted&) {
      throw;
    } catch (const jet::DatabaseError&) {
      continue;  // as above
    }
    for (const std::size_t i : further.columns) {
      const jet::ColumnInfo& column = further.table->Columns()[i];
      record.furtherColumns.push_back(
          {.name = column.name, .type = column.type, .value = TryToRead([&] {
                                                       return further.rows->GetFieldValue(i);
                                                     })});
    }
  }
}

void TakeCopies(MailRecord& record) {
  if (!HasFieldsInColumns(record.content)) return;
  TakeCopies(ColumnRole::CarbonCopies, record, record.carbonCopies);
  TakeCopies(ColumnRole::BlindCopies, record, record.blindCopies);
}

MailRecord MailRows::Read(std::int32_t dataType, std::int32_t dataNo, ColumnsWanted wanted) {
  if (!rows_->FindFirst(NUMBER_COLUMN, dataNo)) {
    FailInvalid("the stored query of kind " + std::to_string(dataType) +
                " has no row with DataNo " + std::to_string(dataNo));
  }
  MailRecord record = ReadMailRecord(dataType, dataNo, query_->Columns(), *rows_, wanted);
  if (wanted == ColumnsWanted::All) {
    ReadFurtherTables(record);
    TakeCopies(record);
  }
  return record;
}

MailRecord ReadMailRecord(std::int32_t dataType, std::int32_t dataNo,
                          const std::vector<jet::ColumnInfo>& infos, const jet::Recordset& current,
                          ColumnsWanted wanted) {
  const MailKindColumns& columns = LookupMailKind(dataType);
  MailRecord record;
  record.number = dataNo;
  record.dataType = dataType;
  const bool hasMode = HasEmailMode(dataType);
  record.content =
      GetMailContent(dataType, hasMode ? platform::ReadNumber(current, MODE_COLUMN) : 0);
  RowReader row(infos, current);
  if (hasMode) row.Skip(MODE_COLUMN);
  if (HasFieldsInColumns(record.content)) {
    record.title = row.Text(columns.titleColumn);
    record.senderId = row.Text(columns.originatorIdColumn);
    record.senderName = row.Text(columns.originatorNameColumn);
    record.recipients = row.Text(columns.recipientColumn);
    if (row.Has(CARBON_COPY_COLUMN)) record.carbonCopies = row.Text(CARBON_COPY_COLUMN);
    record.messageId = row.Text(columns.messageIdColumn);
    record.contentType = row.Text(columns.contentTypeColumn);
  }
  if (columns.dateColumn != MIME_FILE_COLUMN) record.date = row.Date(columns.dateColumn);
  if (HasOnlyFile(record.content)) {
    record.fileLink = row.Text(columns.filePathColumn);
  } else if (record.content == MailContent::MimeFile) {
    record.fileLink = row.Text(MIME_FILE_COLUMN);
  } else {
    record.text = row.Text(TEXT_COLUMN);
  }
  if (record.content == MailContent::ForwardedText) {
    record.forwardedText = row.Text(FORWARDED_TEXT_COLUMN);
  }
  if (wanted == ColumnsWanted::All) {
    // The size column of one kind is the text that names the file.
    if (columns.sizeColumn != columns.filePathColumn) record.size = row.Number(columns.sizeColumn);
    record.furtherColumns = row.Rest();
  }
  return record;
}

}  // namespace nimport::store
