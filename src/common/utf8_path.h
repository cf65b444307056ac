#ifndef NIMPORT_COMMON_UTF8_PATH_H_
#define NIMPORT_COMMON_UTF8_PATH_H_

#include <filesystem>
#include <string>
#include <string_view>

namespace nimport {

// Between our texts, which are UTF-8, and the system's names. A path that is made of a std::string,
// and path::string(), would take the bytes one by one on Windows: all but ASCII comes out wrong.
[[nodiscard]] inline std::filesystem::path PathFromUtf8(std::string_view utf8) {
  return std::u8string_view(reinterpret_cast<const char8_t*>(utf8.data()), utf8.size());
}

// With '/' or '\' as the path has them. Bytes that are no UTF-8, as names on POSIX may hold, stay.
[[nodiscard]] inline std::string PathToUtf8(const std::filesystem::path& path) {
  const std::u8string utf8 = path.u8string();
  return {utf8.begin(), utf8.end()};
}

// The same with '/' on every system, for what is kept in files.
[[nodiscard]] inline std::string PathToGenericUtf8(const std::filesystem::path& path) {
  const std::u8string utf8 = path.generic_u8string();
  return {utf8.begin(), utf8.end()};
}

}  // namespace nimport

#endif  // NIMPORT_COMMON_UTF8_PATH_H_
