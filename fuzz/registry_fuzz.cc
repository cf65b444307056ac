// Registry files of every form.
#include "fuzz_input.h"
#include "platform/formats/registry_text.h"
#include "platform/platform.h"

using namespace nimport::platform;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const nimport::fuzz::TimeLimit limit(size);
  const std::string_view file = nimport::fuzz::ToText(data, size);
  for (const RegistryHive hive : {RegistryHive::LocalMachine, RegistryHive::CurrentUser}) {
    try {
      const auto value = FindRegistryString(file,
                                            {.hive = hive,
                                             .key = "Software\\NIFTY\\NIFTY Manager\\Directory",
                                             .valueName = "DatabaseDir"},
                                            SystemPlatform().text());
      nimport::fuzz::Check(!value ||
                           (value->size() < 520 && value->find('\0') == std::string::npos));
    } catch (const UnusableValue&) {
    }
  }
  return 0;
}
