#ifndef NIMPORT_PLATFORM_REGISTRY_FILES_H_
#define NIMPORT_PLATFORM_REGISTRY_FILES_H_

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/registry.h"
#include "platform/settings.h"
#include "text/code_page_converter.h"

namespace nimport::platform {

// The registry as files. The first file that has the value wins, also where the value there cannot
// be used. What is nowhere below "Software\" is then looked for below "Software\Wow6432Node\". A
// file that is missing or of no known form has no values.
class RegistryFiles final : public Registry {
 public:
  // Answers the native paths of the files, afresh at every call.
  using FileNames = std::function<std::vector<std::string>()>;

  // `text` must outlive this object.
  RegistryFiles(FileNames fileNames, const text::CodePageConverter& text)
      : fileNames_(std::move(fileNames)), text_(text) {}

  [[nodiscard]] std::optional<std::string> ReadString(RegistryHive hive, std::string_view key,
                                                      std::string_view valueName) const override;

 private:
  FileNames fileNames_;
  const text::CodePageConverter& text_;
};

// The files that NIMPORT_REGISTRY names, with `separator` between them.
[[nodiscard]] std::vector<std::string> ReadRegistryFileNames(const Settings& settings,
                                                             char separator);

}  // namespace nimport::platform

#endif  // NIMPORT_PLATFORM_REGISTRY_FILES_H_
