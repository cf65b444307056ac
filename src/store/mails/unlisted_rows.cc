#include "store/mails/unlisted_rows.h"

#include <algorithm>
#include <set>
#include <utility>

#include "common/failure.h"
#include "platform/columns.h"
#include "store/mails/column_guess.h"
#include "store/mails/date_column.h"
#include "text/ascii.h"

namespace nimport::store {
namespace {

constexpr const char* MAIL_TABLE = "DataTBL";
constexpr std::string_view NUMBER_COLUMN = "DataNo";
constexpr std::string_view KIND_COLUMN = "DataType";

bool HasNumber(const std::vector<jet::ColumnInfo>& columns) {
  return std::ranges::any_of(columns, [](const jet::ColumnInfo& column) {
    return text::EqualsIgnoringCase(column.name, NUMBER_COLUMN);
  });
}

bool HasContents(const std::vector<jet::ColumnInfo>& columns) {
  return std::ranges::any_of(columns, [](const jet::ColumnInfo& column) {
    const ColumnRole role = LooksLikeRole(column.name, column.type);
    return role == ColumnRole::Text || role == ColumnRole::MimeFile ||
           role == ColumnRole::StoredFile;
  });
}

bool IsBlank(const std::optional<std::string>& text) {
  return !text || text::Trim(*text).empty();
}

// Runs `look` and leaves out what cannot be read: whoever walks the table meets the damage.
template <typename Look>
void UnlessDamaged(Look look) {
  try {
    look();
  } catch (const jet::Interrupted&) {
    throw;
  } catch (const jet::DatabaseError&) {
  }
}

}  // namespace

// Puts the values of several rows into one record: the first that has a place in a mail takes it.
class UnlistedRows::Collector {
 public:
  Collector(std::int32_t dataType, std::int32_t dataNo) {
    record_.dataType = dataType;
    record_.number = dataNo;
  }

  void AddRow(const Source& source) {
    const std::vector<jet::ColumnInfo>& columns = source.Columns();
    for (std::size_t i = 0; i < columns.size(); ++i) {
      const jet::ColumnInfo& column = columns[i];
      if (text::EqualsIgnoringCase(column.name, NUMBER_COLUMN) ||
          text::EqualsIgnoringCase(column.name, KIND_COLUMN)) {
        continue;
      }
      Field<jet::Value> value;
      UnlessDamaged([&] { value.value = source.rows->GetFieldValue(i); });
      if (!value.value || jet::IsNull(*value.value)) {
        value.value.reset();
      } else if (Take(LooksLikeRole(column.name, column.type), *value.value)) {
        continue;
      }
      const bool isNew = names_.insert(text::AsciiLower(column.name)).second;
      record_.furtherColumns.push_back(
          {.name = isNew ? column.name : source.name + '.' + column.name,
           .type = column.type,
           .value = std::move(value)});
    }
  }

  [[nodiscard]] bool HasContents() const {
    return !IsBlank(record_.text.value) || !mimeFile_.empty() || !storedFile_.empty();
  }

  [[nodiscard]] MailRecord Finish() && {
    const bool isEmpty = !HasContents() && IsBlank(record_.title.value) &&
                         IsBlank(record_.senderId.value) && IsBlank(record_.senderName.value) &&
                         IsBlank(record_.recipients.value);
    if (isEmpty) {
      FailInvalid("mails of kind " + std::to_string(record_.dataType) +
                  " are not known, and no table or stored query has a text, a title, a sender or "
                  "a file for DataNo " +
                  std::to_string(record_.number));
    }
    if (!mimeFile_.empty()) {
      record_.content = MailContent::MimeFile;
      record_.fileLink.value = std::move(mimeFile_);
    } else if (IsBlank(record_.text.value) && !storedFile_.empty()) {
      record_.content = MailContent::StoredFile;
      record_.fileLink.value = std::move(storedFile_);
    } else if (record_.forwardedText.value) {
      record_.content = MailContent::ForwardedText;
    } else if (isWhole_) {
      record_.content = MailContent::WholeMail;
    }
    return std::move(record_);
  }

 private:
  // Whether the value has got its place.
  bool Take(ColumnRole role, const jet::Value& value) {
    const auto takeText = [&](TextField& field) {
      const std::string_view text = platform::TextOf(value);
      if (field.value || text::Trim(text).empty()) return false;
      field.value = std::string(text);
      return true;
    };
    const auto takeName = [&](std::string& name) {
      const std::string_view text = text::Trim(platform::TextOf(value));
      if (!name.empty() || text.empty()) return false;
      name = text;
      return true;
    };
    switch (role) {
      case ColumnRole::Title:
        return takeText(record_.title);
      case ColumnRole::SenderId:
        return takeText(record_.senderId);
      case ColumnRole::SenderName:
        return takeText(record_.senderName);
      case ColumnRole::Recipients:
        return takeText(record_.recipients);
      case ColumnRole::CarbonCopies:
        return takeText(record_.carbonCopies);
      case ColumnRole::BlindCopies:
        return takeText(record_.blindCopies);
      case ColumnRole::Text:
        return takeText(record_.text);
      case ColumnRole::ForwardedText:
        return takeText(record_.forwardedText);
      case ColumnRole::MimeFile:
        return takeName(mimeFile_);
      case ColumnRole::StoredFile:
        return takeName(storedFile_);
      case ColumnRole::Date:
        if (!record_.date.value) {
          record_.date.value = ReadAnyDate(value);
          return record_.date.value.has_value();
        }
        return false;
      case ColumnRole::Mode:
        isWhole_ = platform::NumberOf(value) == 1;
        return false;
      case ColumnRole::Other:
        break;
    }
    return false;
  }

  MailRecord record_;
  std::string mimeFile_;
  std::string storedFile_;
  bool isWhole_ = false;
  std::set<std::string> names_;  // of the further columns, in small letters
};

UnlistedRows::UnlistedRows(jet::Database& database) : database_(database) {
  AddTable(MAIL_TABLE);
  for (const std::string& name : database_.TableNames())
    if (!text::EqualsIgnoringCase(name, MAIL_TABLE)) AddTable(name);
}

void UnlistedRows::AddTable(const std::string& name) {
  UnlessDamaged([&] {
    Source source{.name = name, .table = database_.OpenTable(name), .query = {}, .rows = {}};
    if (!HasNumber(source.Columns())) return;
    source.rows = source.table->OpenRecordset();
    tables_.push_back(std::move(source));
  });
}

void UnlistedRows::OpenQueries() {
  queries_.emplace();
  for (const std::string& name : database_.QueryNames()) {
    UnlessDamaged([&] {
      Source source{.name = name, .table = {}, .query = database_.OpenQuery(name), .rows = {}};
      if (!HasNumber(source.Columns()) || !HasContents(source.Columns())) return;
      source.rows = source.query->OpenRecordset();
      queries_->push_back(std::move(source));
    });
  }
}

MailRecord UnlistedRows::Read(std::int32_t dataType, std::int32_t dataNo) {
  Collector collector(dataType, dataNo);
  const auto add = [&](const Source& source) {
    UnlessDamaged([&] {
      if (source.rows->FindFirst(NUMBER_COLUMN, dataNo)) collector.AddRow(source);
    });
  };
  for (const Source& source : tables_)
    add(source);
  if (collector.HasContents()) return std::move(collector).Finish();
  if (!queries_) OpenQueries();
  for (const Source& source : *queries_)
    if (!collector.HasContents()) add(source);
  return std::move(collector).Finish();
}

}  // namespace nimport::store
