#include "text/iconv_converter.h"

#include <array>
#include <cerrno>
#include <stdexcept>

#include <iconv.h>

namespace nimport::mime {
namespace {

constexpr std::size_t STEP_BYTES = 16384;

iconv_t Handle(void* handle) {
  return static_cast<iconv_t>(handle);
}

bool IsOpen(void* handle) {
  return handle != reinterpret_cast<void*>(-1);
}

}  // namespace

IconvConverter::IconvConverter(const char* toCharset, const char* fromCharset)
    : handle_(iconv_open(toCharset, fromCharset)) {
  if (!IsOpen(handle_)) {
    throw std::runtime_error(std::string("no conversion from ") + fromCharset + " to " + toCharset);
  }
}

IconvConverter::~IconvConverter() {
  iconv_close(Handle(handle_));
}

bool IconvConverter::Exists(const char* toCharset, const char* fromCharset) {
  void* handle = iconv_open(toCharset, fromCharset);
  if (!IsOpen(handle)) return false;
  iconv_close(Handle(handle));
  return true;
}

void IconvConverter::Reset() {
  iconv(Handle(handle_), nullptr, nullptr, nullptr, nullptr);
}

bool IconvConverter::ConvertSome(std::string_view& bytes, std::string& result) {
  std::array<char, STEP_BYTES> step;
  // iconv reads through a pointer that it could write through, but does not.
  char* in = const_cast<char*>(bytes.data());
  std::size_t inLeft = bytes.size();
  bool more = true;
  while (more && inLeft > 0) {
    char* out = step.data();
    std::size_t outLeft = step.size();
    const std::size_t outcome = iconv(Handle(handle_), &in, &inLeft, &out, &outLeft);
    result.append(step.data(), step.size() - outLeft);
    more = outcome != static_cast<std::size_t>(-1) || errno == E2BIG;
  }
  bytes.remove_prefix(bytes.size() - inLeft);
  return bytes.empty();
}

std::string IconvConverter::Convert(std::string_view bytes) {
  std::string result;
  result.reserve(bytes.size());
  Reset();
  while (!ConvertSome(bytes, result)) {
    result += '?';
    bytes.remove_prefix(1);
  }
  return result;
}

std::optional<std::string> IconvConverter::ConvertStrict(std::string_view bytes) {
  std::string result;
  Reset();
  if (!ConvertSome(bytes, result)) return std::nullopt;
  return result;
}

}  // namespace nimport::mime
