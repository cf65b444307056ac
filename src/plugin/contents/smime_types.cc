#include "plugin/contents/smime_types.h"

#include <algorithm>
#include <array>

namespace nimport::plugin {
namespace {

constexpr std::array<std::string_view, 3> SMIME_CONTAINER_TYPES = {
    "application/pkcs7-mime", "application/x-pkcs7-mime", "application/pkcs10"};
constexpr std::array<std::string_view, 3> SMIME_SIGNATURE_TYPES = {
    "application/pkcs7-signature", "application/x-pkcs7-signature", "application/pkcs10"};

bool ContainsAny(std::string_view text, const std::array<std::string_view, 3>& types) {
  return std::ranges::any_of(
      types, [text](std::string_view type) { return text.find(type) != std::string_view::npos; });
}

}  // namespace

bool IsSmimeContainer(std::string_view contentType) {
  return ContainsAny(contentType, SMIME_CONTAINER_TYPES);
}

bool IsSmimeSignature(std::string_view contentType) {
  return ContainsAny(contentType, SMIME_SIGNATURE_TYPES);
}

}  // namespace nimport::plugin
