#include "platform/registry_files.h"

#include "common/file_error.h"
#include "platform/file_system.h"
#include "platform/formats/registry_text.h"
#include "platform/native_file.h"
#include "text/letter_case.h"

namespace nimport::platform {
namespace {

// More than any registry; whatever is larger is something else.
constexpr std::uint64_t MAX_FILE_BYTES = std::uint64_t{256} << 20;

constexpr std::string_view SOFTWARE = "Software\\";
constexpr std::string_view SOFTWARE_OF_32_BITS = "Software\\Wow6432Node\\";

// Empty when it cannot be read.
std::string ReadRegistryFile(const std::string& name) {
  try {
    const std::unique_ptr<RandomAccessFile> file = OpenNativeFile(name);
    return file->Size() > MAX_FILE_BYTES ? std::string() : ReadWholeFile(*file);
  } catch (const FileError&) {
    return {};
  }
}

// Where a 64-bit Windows keeps the key for a 32-bit program; empty when it has no such place.
std::string Wow64Key(std::string_view key) {
  const std::string_view start = key.substr(0, SOFTWARE.size());
  const auto fold = [](std::string_view ascii) {
    return text::FoldCase(std::u16string(ascii.begin(), ascii.end()));
  };
  if (fold(start) != fold(SOFTWARE)) return {};
  return std::string(SOFTWARE_OF_32_BITS).append(key.substr(SOFTWARE.size()));
}

}  // namespace

std::vector<std::string> ReadRegistryFileNames(const Settings& settings, char separator) {
  const std::string list = settings("NIMPORT_REGISTRY").value_or("");
  const std::vector<std::string_view> names = SplitList(list, separator);
  return {names.begin(), names.end()};
}

std::optional<std::string> RegistryFiles::ReadString(RegistryHive hive, std::string_view key,
                                                     std::string_view valueName) const {
  const std::string redirected = Wow64Key(key);
  for (const std::string_view place : {key, std::string_view(redirected)}) {
    if (place.empty()) continue;
    for (const std::string& name : fileNames_()) {
      const RegistryQuery query{.hive = hive, .key = place, .valueName = valueName};
      if (auto value = FindRegistryString(ReadRegistryFile(name), query, text_)) return value;
    }
  }
  return std::nullopt;
}

}  // namespace nimport::platform
