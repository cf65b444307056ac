#ifndef NIMPORT_ARCHIVE_FORMATS_PRESENT_MAILS_H_
#define NIMPORT_ARCHIVE_FORMATS_PRESENT_MAILS_H_

#include <filesystem>
#include <map>
#include <string>
#include <string_view>

namespace nimport::archive {

// Stands after the key of a mail whose file was missing.
inline constexpr std::string_view INCOMPLETE = ".incomplete";

// The mails that are in a folder, by their keys.
class PresentMails {
 public:
  // `name` is a key, or one with INCOMPLETE after it.
  void Add(std::string_view name, const std::filesystem::path& path) {
    const bool isComplete = !name.ends_with(INCOMPLETE);
    if (!isComplete) name.remove_suffix(INCOMPLETE.size());
    (isComplete ? complete_ : incomplete_)[std::string(name)] = path;
  }

  // The mail that makes it needless to write one; null where there is none.
  [[nodiscard]] const std::filesystem::path* Find(const std::string& key, bool isComplete) const {
    const std::filesystem::path* const complete = FindIn(complete_, key);
    return complete != nullptr || isComplete ? complete : FindIn(incomplete_, key);
  }

  // The mail without its file, which goes when the whole mail is there; null where there is none.
  [[nodiscard]] const std::filesystem::path* FindIncomplete(const std::string& key) const {
    return FindIn(incomplete_, key);
  }

 private:
  using Paths = std::map<std::string, std::filesystem::path>;

  static const std::filesystem::path* FindIn(const Paths& paths, const std::string& key) {
    const auto found = paths.find(key);
    return found == paths.end() ? nullptr : &found->second;
  }

  Paths complete_;
  Paths incomplete_;
};

[[nodiscard]] inline std::string NameOfMail(const std::string& key, bool isComplete) {
  return isComplete ? key : key + std::string(INCOMPLETE);
}

}  // namespace nimport::archive

#endif  // NIMPORT_ARCHIVE_FORMATS_PRESENT_MAILS_H_
