#include "store/search/stored_drives.h"

#include <algorithm>
#include <map>
#include <set>
#include <string_view>
#include <system_error>
#include <utility>

#include "common/file_error.h"
#include "jet/database.h"
#include "platform/columns.h"
#include "platform/formats/windows_path.h"
#include "store/installation.h"
#include "store/known_objects.h"
#include "text/ascii.h"

namespace nimport::store {
namespace {

namespace fs = std::filesystem;
using platform::PathStart;
using platform::WindowsPath;

// Whoever reads the mails hears of the same damage.
class IgnoreDamage final : public jet::DamageListener {
 public:
  void OnDamage(const jet::DatabaseError& /*damage*/) override {}
};

// Keeps some of very many paths, evenly spread.
class PathSample {
 public:
  void Add(std::string path) {
    if (count_++ % stride_ != 0) return;
    paths_.push_back(std::move(path));
    if (paths_.size() < 2 * WANTED) return;
    for (std::size_t i = 1; i < WANTED; ++i)
      paths_[i] = std::move(paths_[2 * i]);
    paths_.resize(WANTED);
    stride_ *= 2;
  }

  [[nodiscard]] std::uint64_t count() const { return count_; }
  [[nodiscard]] std::vector<std::string> Take() { return std::move(paths_); }

 private:
  static constexpr std::size_t WANTED = 50;

  std::vector<std::string> paths_;
  std::uint64_t count_ = 0;
  std::uint64_t stride_ = 1;
};

using Samples = std::map<char, PathSample>;

bool LooksLikePathColumn(const jet::ColumnInfo& column) {
  const bool isText = column.type == jet::ColumnType::Text || column.type == jet::ColumnType::Memo;
  return isText && text::AsciiLower(column.name).find("path") != std::string::npos;
}

void ReadTable(const jet::TableDefinition& table, Samples& samples) {
  std::vector<std::size_t> columns;
  for (std::size_t i = 0; i < table.Columns().size(); ++i) {
    if (LooksLikePathColumn(table.Columns()[i])) columns.push_back(i);
  }
  if (columns.empty()) return;
  const auto rows = table.OpenRecordset();
  for (; !rows->IsEof(); rows->MoveNext()) {
    for (const std::size_t column : columns) {
      const jet::Value value = rows->GetFieldValue(column);
      const std::string_view path = platform::TextOf(value);
      const auto parsed = platform::ParseWindowsPath(path);
      const bool isOnDrive = parsed && parsed->start == PathStart::Drive && !parsed->parts.empty();
      if (isOnDrive) samples[parsed->drive].Add(std::string(path));
    }
  }
}

// How well a directory fits a drive.
struct Fit {
  std::size_t files = 0;
  std::size_t depth = 0;  // of the deepest directory of a path that is there

  friend auto operator<=>(const Fit&, const Fit&) = default;
};

// Whether a directory may be a drive of the old machine, seen through a platform on which it is.
class DriveTrial {
 public:
  DriveTrial(const StoredDrive& drive, const fs::path& directory)
      : drive_(drive),
        platform_(platform::MakePlatform(
            [setting = std::string(1, '\0') + drive.letter + '=' +
                       directory.string()](const char* name) -> std::optional<std::string> {
              if (std::string_view(name) == "NIMPORT_DRIVES") return setting;
              return std::nullopt;
            })) {}

  [[nodiscard]] Fit Run() {
    Fit fit;
    for (const std::string& path : drive_.paths) {
      const WindowsPath parsed = *platform::ParseWindowsPath(path);
      std::string known(1, parsed.drive);
      known += ':';
      std::size_t depth = 0;
      while (depth < parsed.parts.size() && IsThere(known + '\\' + parsed.parts[depth]))
        known += '\\' + parsed.parts[depth++];
      if (depth == parsed.parts.size()) ++fit.files;
      fit.depth = std::max(fit.depth, std::min(depth, parsed.parts.size() - 1));
    }
    return fit;
  }

 private:
  // Most paths have their beginning in common, and most directories do not have it.
  [[nodiscard]] bool IsThere(const std::string& path) {
    const auto [known, isNew] = isThere_.try_emplace(path, false);
    if (isNew) known->second = platform_->files().Exists(path);
    return known->second;
  }

  const StoredDrive& drive_;
  std::unique_ptr<platform::Platform> platform_;
  std::map<std::string, bool> isThere_;
};

// The directories that `databaseDirectory` lies in, the nearest first; not the machine's root,
// which would make everything the store's.
std::vector<fs::path> FindAncestors(const fs::path& databaseDirectory) {
  std::vector<fs::path> ancestors;
  std::error_code error;
  fs::path path = fs::canonical(databaseDirectory, error);
  if (error) path = fs::absolute(databaseDirectory);
  for (path = path.parent_path(); path != path.parent_path(); path = path.parent_path())
    ancestors.push_back(path);
  return ancestors;
}

// The directories in those, but not in the ones that hold very many.
std::vector<fs::path> FindNeighbours(const std::vector<fs::path>& ancestors) {
  constexpr std::size_t MAX_NEIGHBOURS = 100;
  std::vector<fs::path> neighbours;
  for (const fs::path& ancestor : ancestors) {
    std::vector<fs::path> found;
    std::error_code error;
    for (fs::directory_iterator entry(ancestor, error), end;
         !error && entry != end && found.size() <= MAX_NEIGHBOURS; entry.increment(error)) {
      std::error_code ignored;
      if (entry->is_directory(ignored)) found.push_back(entry->path());
    }
    if (found.size() > MAX_NEIGHBOURS) continue;
    std::ranges::sort(found);
    neighbours.insert(neighbours.end(), found.begin(), found.end());
  }
  return neighbours;
}

class DriveGuesser {
 public:
  explicit DriveGuesser(const StoredDrive& drive) : drive_(drive) {}

  // A directory that has nothing of the paths but one directory of a common name may be any.
  void Try(const fs::path& directory, std::size_t minDepth) {
    const Fit fit = DriveTrial(drive_, directory).Run();
    const bool isLikely = fit.files > 0 || fit.depth >= minDepth;
    if (!isLikely || fit <= best_) return;
    best_ = fit;
    guess_ = {.directory = directory, .foundCount = fit.files};
  }

  [[nodiscard]] bool IsSure() const { return best_.files == drive_.paths.size(); }
  [[nodiscard]] const std::optional<DriveGuess>& guess() const { return guess_; }

 private:
  const StoredDrive& drive_;
  Fit best_;
  std::optional<DriveGuess> guess_;
};

}  // namespace

std::vector<StoredDrive> ReadStoredDrives(platform::Platform& platform) {
  const std::string path = FindDatabaseDirectory(platform).str() + std::string(MAIL_DATABASE_FILE);
  IgnoreDamage listener;
  jet::OpenOptions options;
  options.damageListener = &listener;
  options.known = KnownMailObjects();
  Samples samples;
  try {
    const auto database =
        jet::Database::Open(platform.files().OpenForReading(path), platform.text(), options);
    for (const std::string& name : database->TableNames()) {
      try {
        ReadTable(*database->OpenTable(name), samples);
      } catch (const jet::DatabaseError&) {
        // The other tables may be sound.
      }
    }
  } catch (const FileError&) {
  } catch (const jet::DatabaseError&) {
  }
  std::vector<StoredDrive> drives;
  for (auto& [letter, sample] : samples)
    drives.push_back({.letter = letter, .fileCount = sample.count(), .paths = sample.Take()});
  return drives;
}

std::size_t CountReachable(platform::Platform& platform, const StoredDrive& drive) {
  const std::string directory = FindDatabaseDirectory(platform).str();
  return static_cast<std::size_t>(std::ranges::count_if(drive.paths, [&](const std::string& path) {
    try {
      return platform.files()
          .FindStoredChangeStamp({.path = path, .storeDirectory = directory})
          .has_value();
    } catch (const FileError&) {
      return false;
    }
  }));
}

std::optional<DriveGuess> GuessDrive(const StoredDrive& drive, const fs::path& databaseDirectory,
                                     std::span<const fs::path> others) {
  DriveGuesser guesser(drive);
  const std::vector<fs::path> ancestors = FindAncestors(databaseDirectory);
  for (const fs::path& directory : ancestors)
    guesser.Try(directory, 1);
  if (guesser.IsSure()) return guesser.guess();
  for (const fs::path& directory : FindNeighbours(ancestors))
    guesser.Try(directory, 2);
  for (const fs::path& directory : others)
    guesser.Try(directory, 2);
  return guesser.guess();
}

}  // namespace nimport::store
