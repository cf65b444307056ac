#include "store/search/store_search.h"

#include <algorithm>
#include <set>
#include <system_error>
#include <utility>

#include "platform/formats/windows_path.h"
#include "platform/native_file.h"
#include "platform/registry_files.h"
#include "store/installation.h"
#include "text/ascii.h"
#include "text/letter_case.h"

namespace nimport::store {
namespace {

namespace fs = std::filesystem;
using platform::RegistryHive;

// Directories within directories, and links to directories on the way to one.
constexpr int MAX_DEPTH = 100;
constexpr int MAX_LINKS = 4;
// More than an export of any registry; whatever is larger is something else.
constexpr std::uintmax_t MAX_REGISTRY_BYTES = std::uintmax_t{256} << 20;

bool IsBeneath(const fs::path& path, const fs::path& directory) {
  return std::mismatch(directory.begin(), directory.end(), path.begin(), path.end()).first ==
         directory.end();
}

class DirectoryWalk {
 public:
  explicit DirectoryWalk(const DirectoryVisitor& visit) : visit_(visit) {}

  std::vector<UnreadableDirectory> Run(std::span<const fs::path> roots) {
    for (const fs::path& root : roots)
      AddRoot(fs::absolute(root).lexically_normal(), 0);
    // Links that are met on the way make it longer.
    for (std::size_t i = 0; i < roots_.size(); ++i) {
      links_ = roots_[i].links;
      Walk(fs::path(roots_[i].path), 0);
    }
    return std::move(unreadable_);
  }

 private:
  struct Root {
    fs::path path;  // as it is reached
    fs::path real;
    int links = 0;
  };

  // Unless the walk comes there anyway, or from there.
  void AddRoot(const fs::path& path, int links) {
    std::error_code error;
    const fs::path real = fs::canonical(path, error);
    if (error) return;
    const bool isKnown = std::ranges::any_of(roots_, [&](const Root& root) {
      return IsBeneath(real, root.real) || (links > 0 && IsBeneath(root.real, real));
    });
    if (isKnown) return;
    // Of directories that the user names, one may lie in a later one.
    std::erase_if(roots_, [&](const Root& root) { return IsBeneath(root.real, real); });
    roots_.push_back({.path = path, .real = real, .links = links});
  }

  void Walk(const fs::path& directory, int depth) {
    if (platform::IsOfSystem(directory.string())) return;
    std::vector<fs::directory_entry> entries;
    std::error_code error;
    for (fs::directory_iterator entry(directory, error), end; !error && entry != end;
         entry.increment(error))
      entries.push_back(*entry);
    if (error) unreadable_.push_back({.directory = directory, .reason = error.message()});
    std::ranges::sort(entries);
    visit_(directory, entries);
    if (depth >= MAX_DEPTH) {
      unreadable_.push_back({.directory = directory, .reason = "lies too deep"});
      return;
    }
    std::erase_if(entries, [](const fs::directory_entry& entry) {
      std::error_code ignored;
      return !entry.is_directory(ignored);
    });
    for (const fs::directory_entry& entry : entries) {
      std::error_code ignored;
      if (!entry.is_symlink(ignored)) {
        Walk(entry.path(), depth + 1);
      } else if (links_ < MAX_LINKS) {
        AddRoot(entry.path(), links_ + 1);
      }
    }
  }

  const DirectoryVisitor& visit_;
  std::vector<Root> roots_;
  int links_ = 0;  // on the way to the root that is being walked
  std::vector<UnreadableDirectory> unreadable_;
};

// The settings of the mail client in registry files that lie together.
FoundRegistry ReadRegistry(const std::vector<fs::path>& files,
                           const text::CodePageConverter& text) {
  FoundRegistry found;
  for (const fs::path& file : files) {
    const platform::RegistryFiles registry([&] { return std::vector{file.string()}; }, text);
    const auto read = [&](RegistryHive hive, std::string_view key, std::string_view name) {
      try {
        return registry.ReadString(hive, key, name);
      } catch (const platform::UnusableValue&) {
        return std::optional<std::string>();
      }
    };
    auto directory = read(RegistryHive::LocalMachine, DIRECTORY_KEY, DATABASE_DIRECTORY_VALUE);
    if (!directory) {
      directory = read(RegistryHive::CurrentUser, DIRECTORY_KEY, DATABASE_DIRECTORY_VALUE);
    }
    const auto member = read(RegistryHive::CurrentUser, SESSION_KEY, MEMBER_ID_VALUE);
    if (directory || member) found.files.push_back(file);
    if (!found.databaseDirectory) found.databaseDirectory = directory;
    if (!found.memberId) found.memberId = member;
  }
  return found;
}

std::u16string Fold(std::string_view text, unsigned codePage,
                    const text::CodePageConverter& converter) {
  return text::FoldCase(converter.ToUtf16(text, codePage));
}

}  // namespace

std::vector<UnreadableDirectory> WalkDirectories(std::span<const fs::path> roots,
                                                 const DirectoryVisitor& visit) {
  return DirectoryWalk(visit).Run(roots);
}

SearchResult SearchStores(std::span<const fs::path> roots, const text::CodePageConverter& text,
                          const std::function<void(const fs::path& directory)>& watch) {
  SearchResult result;
  result.unreadable = WalkDirectories(
      roots, [&](const fs::path& directory, const std::vector<fs::directory_entry>& entries) {
        watch(directory);
        FoundStore store{.directory = directory};
        std::vector<fs::path> registryFiles;
        for (const fs::directory_entry& entry : entries) {
          const std::string name = '\\' + entry.path().filename().string();
          std::error_code error;
          const bool isMail = text::EqualsIgnoringCase(name, MAIL_DATABASE_FILE);
          const bool isBook = text::EqualsIgnoringCase(name, ADDRESS_DATABASE_FILE);
          const bool isRegistry = text::AsciiLower(name).ends_with(".reg");
          if (!(isMail || isBook || isRegistry) || !entry.is_regular_file(error)) continue;
          store.hasMail = store.hasMail || isMail;
          store.hasAddressBook = store.hasAddressBook || isBook;
          const bool isSmall = entry.file_size(error) <= MAX_REGISTRY_BYTES && !error;
          if (isRegistry && isSmall) registryFiles.push_back(entry.path());
        }
        if (store.hasMail || store.hasAddressBook) result.stores.push_back(std::move(store));
        FoundRegistry registry = ReadRegistry(registryFiles, text);
        if (!registry.files.empty()) result.registries.push_back(std::move(registry));
      });
  return result;
}

bool EndsLike(const fs::path& directory, std::string_view windowsPath,
              const text::CodePageConverter& text) {
  const auto wanted = platform::ParseWindowsPath(windowsPath);
  if (!wanted) return false;
  fs::path rest = directory;
  for (auto part = wanted->parts.rbegin(); part != wanted->parts.rend(); ++part) {
    if (Fold(*part, text::CODE_PAGE_JAPANESE, text) !=
        Fold(rest.filename().string(), text::CODE_PAGE_UTF8, text)) {
      return false;
    }
    rest = rest.parent_path();
  }
  return !wanted->parts.empty();
}

std::vector<fs::path> FindPathStarts(std::span<const fs::path> roots,
                                     std::span<const std::string> windowsPaths,
                                     const text::CodePageConverter& text,
                                     const std::function<void(const fs::path& directory)>& watch) {
  std::set<std::u16string> wanted;
  for (const std::string& path : windowsPaths) {
    const auto parsed = platform::ParseWindowsPath(path);
    if (parsed && !parsed->parts.empty()) {
      wanted.insert(Fold(parsed->parts.front(), text::CODE_PAGE_JAPANESE, text));
    }
  }
  std::vector<fs::path> starts;
  WalkDirectories(roots, [&](const fs::path& directory,
                             const std::vector<fs::directory_entry>& entries) {
    watch(directory);
    const bool isStart = std::ranges::any_of(entries, [&](const fs::directory_entry& entry) {
      return wanted.contains(Fold(entry.path().filename().string(), text::CODE_PAGE_UTF8, text));
    });
    if (isStart) starts.push_back(directory);
  });
  return starts;
}

}  // namespace nimport::store
