#ifndef NIMPORT_MAILSTORE_REMEMBERED_MIME_FILE_H_
#define NIMPORT_MAILSTORE_REMEMBERED_MIME_FILE_H_

#include <cstdint>
#include <optional>
#include <string>

namespace nimport::mailstore {

// What a session knows of the MIME file that it was asked about last.
struct RememberedMimeFile {
  std::string path;                          // Windows path; empty for none
  std::optional<std::uint64_t> changeStamp;  // empty where the system cannot tell changes
  std::optional<std::string> text;           // with line ends CR LF
  bool isParsed = false;                     // whether it is the MIME library's current mail
};

}  // namespace nimport::mailstore

#endif  // NIMPORT_MAILSTORE_REMEMBERED_MIME_FILE_H_
