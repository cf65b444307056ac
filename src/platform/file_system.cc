#include "platform/file_system.h"

#include <algorithm>

namespace nimport::platform {

std::string ReadWholeFile(const RandomAccessFile& file) {
  // The size is a claim: the file may shrink or grow while it is read.
  std::string content(file.Size(), '\0');
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
