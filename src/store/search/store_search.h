// Looks for stores on disks of which nothing else is known.
#ifndef NIMPORT_STORE_SEARCH_STORE_SEARCH_H_
#define NIMPORT_STORE_SEARCH_STORE_SEARCH_H_

#include <filesystem>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "text/code_page_converter.h"

namespace nimport::store {

// A directory that cannot be looked into.
struct UnreadableDirectory {
  std::filesystem::path directory;
  std::string reason;
};

// Calls `visit` with each directory beneath `roots`, those included, and its entries in the order
// of their names. Links to directories are followed, unless they lead to where the walk comes
// anyway or to what it lies in; links beyond links to a small depth. Directories in which the
// system shows itself (/proc) are left out. Answers what could not be looked into. `visit` ends the
// walk by throwing.
using DirectoryVisitor = std::function<void(const std::filesystem::path& directory,
                                            const std::vector<std::filesystem::directory_entry>&)>;
std::vector<UnreadableDirectory> WalkDirectories(std::span<const std::filesystem::path> roots,
                                                 const DirectoryVisitor& visit);

// A directory with one of the databases at least, in any letter case.
struct FoundStore {
  std::filesystem::path directory;
  bool hasMail = false;
  bool hasAddressBook = false;
};

// Registry files of one directory that have settings of the mail client. Texts are code page 932.
struct FoundRegistry {
  std::vector<std::filesystem::path> files;
  std::optional<std::string> databaseDirectory;
  std::optional<std::string> memberId;
};

struct SearchResult {
  std::vector<FoundStore> stores;
  std::vector<FoundRegistry> registries;
  std::vector<UnreadableDirectory> unreadable;
};

// `watch` is called with each directory and ends the search by throwing.
[[nodiscard]] SearchResult SearchStores(
    std::span<const std::filesystem::path> roots, const text::CodePageConverter& text,
    const std::function<void(const std::filesystem::path& directory)>& watch);

// Whether the last parts of `directory` are those of a Windows path in code page 932; letter case
// does not count.
[[nodiscard]] bool EndsLike(const std::filesystem::path& directory, std::string_view windowsPath,
                            const text::CodePageConverter& text);

// The directories that have an entry called like the first part of one of the Windows paths.
[[nodiscard]] std::vector<std::filesystem::path> FindPathStarts(
    std::span<const std::filesystem::path> roots, std::span<const std::string> windowsPaths,
    const text::CodePageConverter& text,
    const std::function<void(const std::filesystem::path& directory)>& watch);

}  // namespace nimport::store

#endif  // NIMPORT_STORE_SEARCH_STORE_SEARCH_H_
