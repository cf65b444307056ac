// The files beside the databases whose names stand in rows: MIME files and stored files. All paths
// are in code page 932.
#ifndef NIMPORT_STORE_MAILS_STORED_FILE_H_
#define NIMPORT_STORE_MAILS_STORED_FILE_H_

#include <optional>
#include <string>
#include <string_view>

#include "platform/file_system.h"
#include "text/fixed_text.h"

namespace nimport::store {

// The path of the MIME file that a mail's row calls `link`. Throws Failure (-3) when it names none
// or the name or path is too long.
[[nodiscard]] platform::StoredPath MimeFilePath(const text::PathText& databaseDirectory,
                                                const std::optional<std::string>& link);

// The bytes of the stored file at `path`, as it stands in a row. Throws Failure: -3 when the row
// names none, the path is too long or no file is there; -2 when it cannot be read.
[[nodiscard]] std::string ReadStoredBytes(const platform::FileSystem& files,
                                          const text::PathText& databaseDirectory,
                                          const std::optional<std::string>& path);

}  // namespace nimport::store

#endif  // NIMPORT_STORE_MAILS_STORED_FILE_H_
