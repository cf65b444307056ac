// Multipart/related structures and the extensions of their parts.
#include "common/failure.h"
#include "fuzz_input.h"
#include "plugin/contents/related_parts.h"

using nimport::fuzz::Check;
using nimport::fuzz::ToText;

namespace {

void CheckExtension(std::string_view contentType) {
  try {
    const auto extension = nimport::plugin::ExtensionForContentType(contentType);
    Check(!extension || (extension->starts_with('.') && extension->size() < 260));
  } catch (const nimport::Failure&) {
  }
}

void CheckParts(std::string_view text) {
  std::vector<nimport::plugin::RelatedPart> parts;
  try {
    nimport::plugin::BuildRelatedParts(text, parts);
  } catch (const nimport::Failure&) {
  }
  for (const auto& part : parts) {
    Check(part.occurrence >= 0 && part.contentType.str().find(';') == std::string::npos);
    CheckExtension(part.contentType.str());
  }
  CheckExtension(text);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  nimport::fuzz::RunInTime(ToText(data, size), CheckParts);
  return 0;
}
