#include "command/drive_hints.h"

#include <filesystem>
#include <optional>

#include <nlohmann/json.hpp>

#include "common/failure.h"
#include "common/utf8_path.h"
#include "store/search/stored_drives.h"

namespace nimport::command {

using nlohmann::ordered_json;

ordered_json FindDriveHints(StorePlatform& platform) {
  ordered_json hints = ordered_json::array();
  const std::optional<std::filesystem::path> directory = FindStoreDirectory(platform);
  if (!directory) return hints;
  for (const store::StoredDrive& drive : store::ReadStoredDrives(platform)) {
    if (store::CountReachable(platform, drive) > 0) continue;
    ordered_json& hint = hints.emplace_back();
    hint = {{"drive", std::string(1, drive.letter)},
            {"files", drive.fileCount},
            {"isGiven", platform.Drives().contains(drive.letter)}};
    if (const auto guess = store::GuessDrive(drive, *directory)) {
      hint["likely"] = PathToUtf8(guess->directory);
      hint["tried"] = drive.paths.size();
      hint["found"] = guess->foundCount;
    }
  }
  // A drive that is given, and lacks files that are nowhere else either, has lost them.
  std::erase_if(hints.get_ref<ordered_json::array_t&>(), [](const ordered_json& hint) {
    return hint["isGiven"] == true && hint.value("found", 0) == 0;
  });
  return hints;
}

std::string ToSentence(const ordered_json& hint) {
  const std::string drive = hint["drive"].get<std::string>();
  const std::string what = " on drive " + drive +
                           (hint["isGiven"] == true ? ", and none where --drive says"
                                                    : ", for which no --drive is given");
  const std::string files =
      hint["files"] == 1 ? "1 stored file lies" : hint["files"].dump() + " stored files lie";
  if (!hint.contains("likely")) return files + what;
  std::string sentence =
      files + what + "; likely --drive " + drive + '=' + hint["likely"].get<std::string>();
  if (hint["found"] == 0) return sentence + " (none of the files is there any more)";
  return sentence + " (" + hint["found"].dump() + " of " + hint["tried"].dump() +
         " files that were looked for are there)";
}

}  // namespace nimport::command
