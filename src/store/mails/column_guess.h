#ifndef NIMPORT_STORE_MAILS_COLUMN_GUESS_H_
#define NIMPORT_STORE_MAILS_COLUMN_GUESS_H_

#include <string_view>

#include "jet/value.h"

namespace nimport::store {

// What a column holds of a mail.
enum class ColumnRole {
  Other,
  Title,
  SenderId,
  SenderName,
  Recipients,
  CarbonCopies,
  BlindCopies,
  Date,
  Text,
  ForwardedText,
  MimeFile,    // the name of one
  StoredFile,  // the path of one
  Mode,        // whether a text has its header with it
};

// A guess by the column's name and type: the names that the known kinds of mail use, and what looks
// like them.
[[nodiscard]] ColumnRole LooksLikeRole(std::string_view name, jet::ColumnType type);

}  // namespace nimport::store

#endif  // NIMPORT_STORE_MAILS_COLUMN_GUESS_H_
