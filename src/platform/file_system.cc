#include "platform/file_system.h"

#include <algorithm>
#include <cstdint>
#include <limits>

namespace nimport::platform {
namespace {

// What the lengths in the interfaces above and to the MIME library can say.
constexpr std::uint64_t MAX_BYTES = std::numeric_limits<std::int32_t>::max();

}  // namespace

bool FileSystem::Exists(std::string_view path) const {
  try {
    RequireExists(path);
    return true;
  } catch (const FileMissing&) {
    return false;
  }
}

std::string ReadWholeFile(const RandomAccessFile& file) {
  const std::uint64_t size = file.Size();
  if (size > MAX_BYTES) throw FileError(file.Name() + ": is too large to be read whole");
  // The size is a claim: the file may shrink or grow while it is read. One byte more than it tells
  // the end of the file without more memory.
  std::string content(static_cast<std::size_t>(size) + 1, '\0');
  std::size_t used = 0;
  while (true) {
    if (used == content.size()) content.resize(used + std::max<std::size_t>(used / 8, 4096));
    const std::size_t count =
        file.ReadAt(used, std::as_writable_bytes(std::span(content).subspan(used)));
    used += count;
    if (used < content.size()) break;
  }
  content.resize(used);
  return content;
}

}  // namespace nimport::platform
