#ifndef NIMPORT_ARCHIVE_SAFE_NAME_H_
#define NIMPORT_ARCHIVE_SAFE_NAME_H_

#include <cstddef>
#include <map>
#include <string>
#include <string_view>

namespace nimport::archive {

// The longest name that is made, in bytes; every file system takes 255, and endings are added.
inline constexpr std::size_t MAX_NAME_BYTES = 200;

// `text` (UTF-8) as a file name that any system takes: separators, control characters, the
// characters that Windows forbids and bytes that are no UTF-8 become '_', and so does a dot at its
// beginning. A name that Windows keeps for a device, whatever its ending, gets a '_' before it.
// Never empty.
[[nodiscard]] std::string ToSafeName(std::string_view text, std::size_t maxBytes = MAX_NAME_BYTES);

// Gives each name of one directory once; letter case does not count, nor whether a kana stands as
// one character or as two.
class UniqueNames {
 public:
  // `name`, or "name (2)" and so on when that was given before.
  [[nodiscard]] std::string Take(const std::string& name);

 private:
  static constexpr int FIRST_NUMBER = 2;

  [[nodiscard]] static std::u16string Fold(const std::string& name);

  std::map<std::u16string, int> taken_;  // with the next number to try for the name
};

}  // namespace nimport::archive

#endif  // NIMPORT_ARCHIVE_SAFE_NAME_H_
