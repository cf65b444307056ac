// Paths that stand in a store. Whoever wrote the store wrote them, so they are followed only to
// where a store keeps its files, never to the other files of this machine.
#ifndef NIMPORT_PLATFORM_STORED_PATH_H_
#define NIMPORT_PLATFORM_STORED_PATH_H_

#include <string>

#include "platform/formats/windows_path.h"
#include "text/code_page_converter.h"

namespace nimport::platform {

// Both in code page 932.
struct StoredPath {
  std::string path;            // what stands in the store, made whole
  std::string storeDirectory;  // the directory of the databases, as the settings name it
};

// Where a path of a store leads, by its text alone.
struct StoredTarget {
  WindowsPath path;
  bool isInStore = false;        // beneath the store's directory
  bool isOnStoresDrive = false;  // on the drive, or network share, of that directory
};

// A path that begins with '\\' or '/' and lies not beneath the store's directory begins at the root
// of the drive of that directory. Throws FileMissing for a path that cannot be understood, for one
// that names no drive where the store's directory names none, and for a network share other than
// the store's own.
[[nodiscard]] StoredTarget ParseStoredPath(const StoredPath& stored,
                                           const text::CodePageConverter& text);

// A path in UTF-8 as it is written, for messages.
[[nodiscard]] std::string DisplayPath(std::string_view path, const text::CodePageConverter& text);

}  // namespace nimport::platform

#endif  // NIMPORT_PLATFORM_STORED_PATH_H_
