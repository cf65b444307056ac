#include "store/mails/deleted_mails.h"

#include <algorithm>
#include <functional>
#include <map>
#include <span>
#include <string_view>
#include <utility>

#include "jet/salvage/deleted_rows.h"
#include "platform/columns.h"
#include "store/mails/mail_kinds.h"
#include "store/mails/mail_rows.h"
#include "text/ascii.h"

namespace nimport::store {
namespace {

constexpr std::string_view LIST_TABLE = "DataTBL";
constexpr std::string_view FOLDER_TABLE = "FolderTBL";
constexpr std::string_view NUMBER_COLUMN = "DataNo";
constexpr std::string_view KIND_COLUMN = "DataType";
constexpr std::string_view FOLDER_COLUMN = "FolderNo";
constexpr std::string_view FOLDER_NAME_COLUMN = "FolderName";
constexpr std::string_view FILE_COLUMN = "FileLink";
constexpr std::string_view TEXT_COLUMN = "TextData";

// A row that is left of a table, by the number of its mail.
struct NumberedRow {
  std::int32_t number = 0;
  std::uint32_t row = 0;  // of DeletedRows
};

void AddOnce(std::vector<std::string>& list, std::string sentence) {
  if (std::ranges::find(list, sentence) == list.end()) list.push_back(std::move(sentence));
}

std::size_t HashOfName(std::string_view name) {
  return std::hash<std::string>()(text::AsciiLower(name));
}

bool IsBlank(const TextField& field) {
  return !field.value || text::Trim(*field.value).empty();
}

bool HoldsMoreThanNumber(const MailRecord& record) {
  if (record.date.value) return true;
  for (const TextField* field :
       {&record.title, &record.senderId, &record.senderName, &record.recipients,
        &record.carbonCopies, &record.text, &record.forwardedText, &record.fileLink}) {
    if (!IsBlank(*field)) return true;
  }
  return false;
}

}  // namespace

// What is left of the rows of one database, table by table, with those that live beside them.
class DeletedMails::Remains {
 public:
  explicit Remains(jet::Database& database) : database_(database), data_(database.OpenDeleted()) {}

  struct Table {
    const jet::DeletedRows* deleted = nullptr;
    std::vector<NumberedRow> byNumber;  // of the deleted rows that have one
    std::unique_ptr<jet::TableDefinition> definition;
    std::unique_ptr<jet::Recordset> living;

    // Copies of the row of one mail, in the order of their pages.
    [[nodiscard]] std::span<const NumberedRow> RowsOf(std::int32_t number) const {
      const auto first = std::ranges::lower_bound(byNumber, number, {}, &NumberedRow::number);
      const auto next = std::ranges::upper_bound(byNumber, number, {}, &NumberedRow::number);
      return {first, next};
    }
  };

  [[nodiscard]] jet::Database& database() { return database_; }

  [[nodiscard]] Table& Open(std::string_view name, std::string_view numberColumn = NUMBER_COLUMN) {
    const auto known = tables_.find(name);
    if (known != tables_.end()) return known->second;
    Table table;
    table.definition = database_.OpenTable(name);
    table.living = table.definition->OpenRecordset();
    if (data_) table.deleted = data_->FindRows(name);
    if (table.deleted != nullptr) IndexRows(*table.deleted, numberColumn, table.byNumber);
    return tables_.emplace(std::string(name), std::move(table)).first->second;
  }

  // The best copy of a deleted mail's row: the one that has lost least, then one that a slot
  // points to; of those that are alike the last.
  [[nodiscard]] static std::optional<std::size_t> BestRow(const Table& table, std::int32_t number) {
    const std::span<const NumberedRow> rows = table.RowsOf(number);
    std::optional<std::size_t> best;
    std::pair<std::size_t, jet::DeletedPlace> leastBad;
    for (const NumberedRow& candidate : rows) {
      const std::pair badness(rows.size() == 1 ? 0 : CountLost(*table.deleted, candidate.row),
                              table.deleted->PlaceOf(candidate.row));
      if (best && badness > leastBad) continue;
      best = candidate.row;
      leastBad = badness;
    }
    return best;
  }

  [[nodiscard]] static jet::DeletedValue Get(const Table& table, std::size_t row,
                                             std::string_view column) {
    const auto position = table.deleted->FindColumn(column);
    return position ? table.deleted->Get(row, *position) : jet::DeletedValue{};
  }

 private:
  static void IndexRows(const jet::DeletedRows& rows, std::string_view numberColumn,
                        std::vector<NumberedRow>& index) {
    const auto column = rows.FindColumn(numberColumn);
    if (!column) return;
    for (std::size_t row = 0; row < rows.Count(); ++row) {
      const auto number = jet::ToInteger(rows.Get(row, *column).value);
      if (number) index.push_back({*number, static_cast<std::uint32_t>(row)});
    }
    std::ranges::stable_sort(index, {}, &NumberedRow::number);
  }

  [[nodiscard]] static std::size_t CountLost(const jet::DeletedRows& rows, std::size_t row) {
    std::size_t count = 0;
    for (std::size_t column = 0; column < rows.Columns().size(); ++column)
      count += rows.Get(row, column).lost.empty() ? 0 : 1;
    return count;
  }

  jet::Database& database_;
  std::unique_ptr<jet::DeletedData> data_;
  std::map<std::string, Table, std::less<>> tables_;
};

// The stored query of one or several kinds.
struct DeletedMails::KindQuery {
  std::string name;  // code page 932
  std::vector<jet::ColumnInfo> columns;
  std::vector<jet::ColumnOrigin> origins;
  std::string table;  // the kinds' own

  [[nodiscard]] std::optional<std::size_t> FindColumn(std::string_view column) const {
    for (std::size_t i = 0; i < columns.size(); ++i) {
      if (text::EqualsIgnoringCase(columns[i].name, column)) return i;
    }
    return {};
  }
};

// The one row of a kind's stored query that a deleted mail would have.
class DeletedMails::RemainsRow final : public jet::Recordset {
 public:
  RemainsRow(Remains& remains, const KindQuery& query, std::int32_t number,
             std::vector<std::string>& missing)
      : query_(query), number_(number), missing_(missing), list_(remains.Open(LIST_TABLE)) {
    listRow_ = Remains::BestRow(list_, number);
    if (!listRow_) AddOnce(missing, "its row of the list of mails");
    if (query.table.empty()) return;
    kind_ = &remains.Open(query.table);
    isKindLiving_ = kind_->living->FindFirst(NUMBER_COLUMN, number);
    if (!isKindLiving_) kindRow_ = Remains::BestRow(*kind_, number);
    if (!kindRow_ && !isKindLiving_) AddOnce(missing, "its row of " + query.table);
  }

  [[nodiscard]] jet::Value GetFieldValue(std::string_view column) const override {
    const auto position = query_.FindColumn(column);
    return position ? GetFieldValue(*position) : jet::Value();
  }
  [[nodiscard]] jet::Value GetFieldValue(std::size_t column) const override {
    const jet::ColumnOrigin& origin = query_.origins[column];
    if (text::EqualsIgnoringCase(origin.column, NUMBER_COLUMN)) return number_;
    const bool isList = text::EqualsIgnoringCase(origin.table, LIST_TABLE);
    if (isList) return listRow_ ? Take(list_, *listRow_, origin.column) : jet::Value();
    if (kind_ == nullptr || !text::EqualsIgnoringCase(origin.table, query_.table)) return {};
    if (isKindLiving_) return kind_->living->GetFieldValue(origin.column);
    return kindRow_ ? Take(*kind_, *kindRow_, origin.column) : jet::Value();
  }

  // Columns of the tables that the query leaves out, as mails that live have them.
  void AddFurtherColumns(MailRecord& record) const {
    std::vector<std::string> known = {std::string(KIND_COLUMN)};
    for (const jet::ColumnInfo& column : query_.columns)
      known.push_back(column.name);
    const auto add = [&](const Remains::Table& table, std::optional<std::size_t> row,
                         bool isLiving) {
      for (const jet::ColumnInfo& column : table.definition->Columns()) {
        const auto isThis = [&](const std::string& name) {
          return text::EqualsIgnoringCase(name, column.name);
        };
        if (std::ranges::any_of(known, isThis)) continue;
        known.push_back(column.name);
        jet::Value value = isLiving ? table.living->GetFieldValue(column.name)
                           : row    ? Take(table, *row, column.name)
                                    : jet::Value();
        FurtherColumn& further = record.furtherColumns.emplace_back();
        further.name = column.name;
        further.type = column.type;
        if (!jet::IsNull(value)) further.value.value = std::move(value);
      }
    };
    if (kind_ != nullptr) add(*kind_, kindRow_, isKindLiving_);
    add(list_, listRow_, false);
  }

  [[nodiscard]] bool IsEof() const override { return false; }
  void MoveFirst() override {}
  void MoveNext() override {}
  [[nodiscard]] jet::Bookmark GetBookmark() const override { return {}; }
  void SetBookmark(jet::Bookmark /*bookmark*/) override {}
  bool FindFirst(std::string_view /*column*/, std::int32_t /*value*/) override { return false; }
  bool FindNext() override { return false; }

 private:
  [[nodiscard]] jet::Value Take(const Remains::Table& table, std::size_t row,
                                const std::string& column) const {
    jet::DeletedValue found = Remains::Get(table, row, column);
    if (!found.lost.empty()) AddOnce(missing_, column + ": " + found.lost);
    return std::move(found.value);
  }

  const KindQuery& query_;
  std::int32_t number_;
  std::vector<std::string>& missing_;
  Remains::Table& list_;
  std::optional<std::size_t> listRow_;
  Remains::Table* kind_ = nullptr;
  std::optional<std::size_t> kindRow_;
  bool isKindLiving_ = false;
};

DeletedMails::DeletedMails(jet::Database& database, DeletedMailsContext context)
    : context_(std::move(context)), remains_(std::make_unique<Remains>(database)) {
  for (const std::int32_t kind : ListedMailKinds())
    (void)QueryOf(kind);
  FindMails();
}

DeletedMails::~DeletedMails() = default;

void DeletedMails::FindMails() {
  Remains::Table& list = remains_->Open(LIST_TABLE);
  std::vector<std::int32_t> living;
  for (; !list.living->IsEof(); list.living->MoveNext())
    living.push_back(platform::ReadNumber(*list.living, NUMBER_COLUMN));
  std::ranges::sort(living);
  const auto lives = [&](std::int32_t number) {
    return std::ranges::binary_search(living, number);
  };
  for (std::size_t i = 0; i < list.byNumber.size(); ++i) {
    const std::int32_t number = list.byNumber[i].number;
    if ((i > 0 && list.byNumber[i - 1].number == number) || lives(number)) continue;
    const std::size_t row = *Remains::BestRow(list, number);
    DeletedMail mail{.number = number, .dataType = 0, .folderNumber = {}};
    mail.dataType = platform::NumberOf(Remains::Get(list, row, KIND_COLUMN).value);
    mail.folderNumber = jet::ToInteger(Remains::Get(list, row, FOLDER_COLUMN).value);
    if (IsListedMailKind(mail.dataType)) {
      AddMail(mail);
    } else {
      ++counts_.onlyNumber;
    }
  }
  for (const auto& query : queries_)
    FindMailsOutsideList(*query, lives);
  std::ranges::stable_sort(mails_, {}, &DeletedMail::number);
}

void DeletedMails::FindMailsOutsideList(const KindQuery& query,
                                        const std::function<bool(std::int32_t)>& lives) {
  if (query.table.empty()) return;
  const Remains::Table& list = remains_->Open(LIST_TABLE);
  const Remains::Table& table = remains_->Open(query.table);
  for (std::size_t i = 0; i < table.byNumber.size(); ++i) {
    const std::int32_t number = table.byNumber[i].number;
    if ((i > 0 && table.byNumber[i - 1].number == number) || lives(number)) continue;
    if (!list.RowsOf(number).empty()) continue;
    if (table.living->FindFirst(NUMBER_COLUMN, number)) continue;
    AddMail({.number = number, .dataType = GuessKind(query, number), .folderNumber = {}});
  }
}

void DeletedMails::AddMail(DeletedMail mail) {
  const RecoveredMail recovered = Read(mail);
  if (!HoldsMoreThanNumber(recovered.record)) {
    ++counts_.onlyNumber;
    return;
  }
  mail.isWhole = recovered.missing.empty();
  if (recovered.record.content == MailContent::MimeFile)
    mail.mimeFile = recovered.record.fileLink.value.value_or("");
  ++(mail.isWhole ? counts_.whole : counts_.partial);
  mails_.push_back(mail);
}

std::int32_t DeletedMails::GuessKind(const KindQuery& query, std::int32_t number) {
  std::vector<std::string> ignored;
  const RemainsRow row(*remains_, query, number, ignored);
  const bool isMime = !platform::TextOf(row.GetFieldValue(FILE_COLUMN)).empty() &&
                      platform::TextOf(row.GetFieldValue(TEXT_COLUMN)).empty();
  std::int32_t guess = 0;
  for (const std::int32_t kind : ListedMailKinds()) {
    if (&QueryOf(kind) != &query) continue;
    if (guess == 0) guess = kind;
    if (isMime == (GetMailContent(kind, 0) == MailContent::MimeFile)) return kind;
  }
  return guess;
}

RecoveredMail DeletedMails::Read(const DeletedMail& mail) {
  RecoveredMail recovered;
  recovered.record = MakeRecord(mail, mail.dataType, recovered.missing);
  if (recovered.record.content == MailContent::MimeFile && !IsMimeFileOurs(recovered.record)) {
    const std::string name = recovered.record.fileLink.value.value_or("");
    // A kind with the same row that has its pieces in columns.
    for (const std::int32_t kind : ListedMailKinds()) {
      if (&QueryOf(kind) != &QueryOf(mail.dataType)) continue;
      if (GetMailContent(kind, 0) != MailContent::Text) continue;
      recovered.missing.clear();
      recovered.record = MakeRecord(mail, kind, recovered.missing);
      recovered.record.content = MailContent::Text;
      break;
    }
    recovered.missing.push_back(name.empty() ? "the name of its MIME file"
                                             : "its MIME file " + name);
  }
  if (recovered.record.content == MailContent::WholeMail) {
    if (!rawRemains_) rawRemains_ = std::make_unique<Remains>(context_.rawDatabase());
    std::vector<std::string> ignored;
    const RemainsRow row(*rawRemains_, QueryOf(mail.dataType), mail.number, ignored);
    recovered.record.recoveredText = platform::ReadText(row, TEXT_COLUMN).value_or("");
  }
  return recovered;
}

MailRecord DeletedMails::MakeRecord(const DeletedMail& mail, std::int32_t dataType,
                                    std::vector<std::string>& missing) {
  const KindQuery& query = QueryOf(dataType);
  const RemainsRow row(*remains_, query, mail.number, missing);
  MailRecord record = ReadMailRecord(dataType, mail.number, query.columns, row, ColumnsWanted::All);
  row.AddFurtherColumns(record);
  TakeCopies(record);
  return record;
}

bool DeletedMails::IsMimeFileOurs(const MailRecord& record) {
  if (IsBlank(record.fileLink)) return false;
  if (!livingFiles_) {
    livingFiles_.emplace();
    for (const std::int32_t kind : ListedMailKinds()) {
      const KindQuery& query = QueryOf(kind);
      if (GetMailContent(kind, 0) != MailContent::MimeFile || query.table.empty()) continue;
      const auto rows = remains_->Open(query.table).definition->OpenRecordset();
      for (; !rows->IsEof(); rows->MoveNext()) {
        const jet::Value name = rows->GetFieldValue(FILE_COLUMN);
        if (!jet::IsNull(name)) livingFiles_->push_back(HashOfName(platform::TextOf(name)));
      }
    }
    std::ranges::sort(*livingFiles_);
  }
  // A name may be given again once its mail is gone.
  return !std::ranges::binary_search(*livingFiles_, HashOfName(*record.fileLink.value)) &&
         context_.hasMimeFile(record);
}

const DeletedMails::KindQuery& DeletedMails::QueryOf(std::int32_t dataType) {
  const std::string_view name = LookupMailKind(dataType).queryName;
  const auto known = std::ranges::find_if(queries_, [&](const auto& q) { return q->name == name; });
  if (known != queries_.end()) return **known;
  auto query = std::make_unique<KindQuery>();
  query->name = name;
  try {
    const auto definition = remains_->database().OpenQuery(ToUtf8(name));
    query->columns = definition->Columns();
    query->origins = definition->Origins();
    query->origins.resize(query->columns.size());
  } catch (const jet::Interrupted&) {
    throw;
  } catch (const jet::DatabaseError&) {
    // Nothing of such mails can be read, deleted or not; an export of those that live says so.
    query->columns.clear();
  }
  for (const jet::ColumnOrigin& origin : query->origins) {
    if (origin.table.empty() || text::EqualsIgnoringCase(origin.table, LIST_TABLE)) continue;
    query->table = origin.table;
    break;
  }
  queries_.push_back(std::move(query));
  return *queries_.back();
}

std::uint64_t DeletedMails::emptySlots() const {
  const jet::DeletedRows* rows = remains_->Open(LIST_TABLE).deleted;
  return rows == nullptr ? 0 : rows->EmptySlots();
}

std::string DeletedMails::FolderName(std::int32_t number) const {
  const Remains::Table& table = remains_->Open(FOLDER_TABLE, FOLDER_COLUMN);
  const auto row = Remains::BestRow(table, number);
  if (!row) return {};
  return std::string(platform::TextOf(Remains::Get(table, *row, FOLDER_NAME_COLUMN).value));
}

std::string DeletedMails::ToUtf8(std::string_view codePage932) const {
  return context_.text.FromUtf16(context_.text.ToUtf16(codePage932, text::CODE_PAGE_JAPANESE),
                                 text::CODE_PAGE_UTF8);
}

}  // namespace nimport::store
