#ifndef NIMPORT_STORE_MAILS_MAIL_RECORD_H_
#define NIMPORT_STORE_MAILS_MAIL_RECORD_H_

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "jet/value.h"
#include "platform/clock.h"
#include "store/mails/mail_kinds.h"
#include "store/problem.h"

namespace nimport::store {

// A value of a row: there, absent (neither is set: null, or the mail's kind has no such column), or
// unreadable.
template <typename T>
struct Field {
  std::optional<T> value{};
  std::optional<Problem> problem{};

  [[nodiscard]] bool IsAbsent() const { return !value && !problem; }
};

using TextField = Field<std::string>;

// A column that nothing else of the record comes from.
struct FurtherColumn {
  std::string name;
  jet::ColumnType type{};
  Field<jet::Value> value;  // absent for null
};

// What the store keeps of a mail: its row in the stored query of its kind. Texts are in the code
// page that the store was opened with, up to their first NUL.
struct MailRecord {
  std::int32_t number = 0;    // "DataNo"
  std::int32_t dataType = 0;  // the kind
  MailContent content = MailContent::Text;

  // The header fields of a mail that has them in columns (HasFieldsInColumns); absent otherwise.
  TextField title;
  TextField senderId;
  TextField senderName;
  TextField recipients;
  TextField carbonCopies;  // their recipients
  TextField blindCopies;   // as well; only where further columns were asked for
  TextField messageId;
  TextField contentType;

  // Local time as stored, of whatever year. Absent for null, for day 0 and for what is no date.
  Field<platform::LocalTime> date;

  TextField text;  // of mails with a text, header included where content is WholeMail
  // Of a WholeMail that was deleted: the text in code page 932, which ReadRawText hands out.
  std::optional<std::string> recoveredText;
  TextField forwardedText;  // follows the text; of ForwardedText only
  // What names the mail's file: a path, the name of a MIME file or, of a LinkedFile, how the MailID
  // of the mail that has the path begins.
  TextField fileLink;

  // As the store records it; absent where the kind records none.
  Field<std::int32_t> size;

  // Every other column of the row: those of the query in its order, then what it leaves out of the
  // kind's own table and of the list of mails. Only where they were asked for.
  std::vector<FurtherColumn> furtherColumns;
};

enum class ColumnsWanted { OfMail, All };

}  // namespace nimport::store

#endif  // NIMPORT_STORE_MAILS_MAIL_RECORD_H_
