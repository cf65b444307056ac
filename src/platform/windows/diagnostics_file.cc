#include "platform/windows/diagnostics_file.h"

#include <exception>
#include <string_view>

#include <windows.h>

#include "platform/windows/file_handle.h"
#include "platform/windows/native_paths.h"
#include "platform/windows/wide_text.h"

namespace nimport::platform::windows {
namespace {

constexpr std::string_view DESCRIPTOR_PREFIX = "fd:";

void WriteLine(HANDLE file, std::string_view line) {
  DWORD count = 0;
  WriteFile(file, line.data(), static_cast<DWORD>(line.size()), &count, nullptr);
}

void WriteToStandardHandle(std::string_view descriptor, std::string_view line) {
  if (descriptor == "1") WriteLine(GetStdHandle(STD_OUTPUT_HANDLE), line);
  if (descriptor == "2") WriteLine(GetStdHandle(STD_ERROR_HANDLE), line);
}

void AppendToFile(const std::string& name, std::string_view line) {
  const std::optional<std::wstring> path = ToFullPath(WideFromUtf8(name));
  if (!path) return;
  // With this right alone every write goes to the file's end, wherever that is by then.
  const FileHandle file(CreateFileW(path->c_str(), FILE_APPEND_DATA,
                                    FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                    OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
  if (file.IsOpen()) WriteLine(file.get(), line);
}

}  // namespace

bool DiagnosticsFile::IsOn() const {
  return settings_("NIMPORT_DIAGNOSTICS").has_value();
}

void DiagnosticsFile::Report(const FailureRecord& record) noexcept {
  try {
    const std::optional<std::string> target = settings_("NIMPORT_DIAGNOSTICS");
    if (!target) return;
    const std::string line = ToJsonLine(record);
    if (target->starts_with(DESCRIPTOR_PREFIX)) {
      WriteToStandardHandle(std::string_view(*target).substr(DESCRIPTOR_PREFIX.size()), line);
    } else {
      AppendToFile(*target, line);
    }
  } catch (const std::exception&) {
    // Out of memory: the record is lost, the work goes on.
  }
}

}  // namespace nimport::platform::windows
