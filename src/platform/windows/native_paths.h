#ifndef NIMPORT_PLATFORM_WINDOWS_NATIVE_PATHS_H_
#define NIMPORT_PLATFORM_WINDOWS_NATIVE_PATHS_H_

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/formats/windows_path.h"
#include "platform/settings.h"
#include "platform/stored_path.h"
#include "text/code_page_converter.h"

namespace nimport::platform::windows {

// What the system takes as it stands: no length limit but its own, no ".." and no devices in it.
inline constexpr std::wstring_view LONG_PREFIX = L"\\\\?\\";
inline constexpr std::wstring_view UNC_PREFIX = L"\\\\?\\UNC\\";

// A path of the system, made absolute and given its prefix. Empty when the system cannot.
[[nodiscard]] std::optional<std::wstring> ToFullPath(const std::wstring& path);

// Where a path that stands in a store leads.
struct StoredPlace {
  std::wstring path;
  // Where stored paths are confined (NIMPORT_CONFINE): the directories that may hold the file in
  // the end.
  std::vector<std::wstring> roots;
};

// Turns paths in code page 932 into the system's own, full and with LONG_PREFIX. What the system's
// usual functions would make of a name is refused before it can happen: "file." and "file " would
// be "file", "NUL.txt" and "COM1" devices, "file:x" a stream of another file.
class NativePaths {
 public:
  NativePaths(Settings settings, const text::CodePageConverter& text)
      : settings_(std::move(settings)), text_(text) {}

  // A path that the settings name: drives that NIMPORT_DRIVES names lie where it says. Empty when
  // the path cannot be understood.
  [[nodiscard]] std::optional<std::wstring> FindMapped(std::string_view path) const;

  // The same for a path that stands in a store. Throws FileMissing when it leads where no path of a
  // store may lead.
  [[nodiscard]] StoredPlace FindStored(const StoredPath& stored) const;

  // A path of this machine, as a host uses it: drives are the system's.
  [[nodiscard]] std::optional<std::wstring> FindOwn(std::string_view path) const;

  // The full form in code page 932 of a directory of this machine, without a trailing '\' (a
  // drive's root is "C:"). Empty when it has none by which FindOwn finds it.
  [[nodiscard]] std::optional<std::string> ToCodePage(const std::wstring& directory) const;

 private:
  [[nodiscard]] std::optional<std::wstring> Append(std::wstring start,
                                                   const WindowsPath& path) const;
  [[nodiscard]] std::optional<std::wstring> FindShare(const WindowsPath& path) const;
  [[nodiscard]] std::optional<std::wstring> ResolveOwn(const WindowsPath& path) const;
  [[nodiscard]] std::optional<std::wstring> ResolveMapped(const WindowsPath& path) const;
  [[nodiscard]] std::vector<std::wstring> FindRoots(const StoredPath& stored,
                                                    const StoredTarget& target) const;

  Settings settings_;
  const text::CodePageConverter& text_;
};

}  // namespace nimport::platform::windows

#endif  // NIMPORT_PLATFORM_WINDOWS_NATIVE_PATHS_H_
