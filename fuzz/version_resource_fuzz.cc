// Version resources of executables.
#include <vector>

#include "common/memory_file.h"
#include "fuzz_input.h"
#include "platform/formats/pe_version_resource.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const nimport::fuzz::TimeLimit limit(size);
  const auto* begin = reinterpret_cast<const std::byte*>(data);
  const nimport::MemoryFile file("fuzz.exe", std::vector<std::byte>(begin, begin + size));
  (void)nimport::platform::FindFileVersion(file);
  return 0;
}
