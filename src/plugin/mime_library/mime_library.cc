#include "plugin/mime_library/mime_library.h"

#include <utility>

namespace nimport::plugin {

std::int32_t NIMPORT_MIME_CALL MissingEntryStub(...) {
  return 0;
}

MimeLibrary::MimeLibrary(std::unique_ptr<platform::Module> module) : module_(std::move(module)) {
  for (std::size_t i = 0; i < entryPoints_.size(); ++i) {
    const platform::AnyFunction found = module_->FindFunction(ENTRY_POINT_NAMES[i]);
    entryPoints_[i] =
        found == nullptr ? reinterpret_cast<platform::AnyFunction>(&MissingEntryStub) : found;
  }
}

std::unique_ptr<MimeLibrary> LoadMimeLibrary(platform::ModuleLoader& loader) {
  std::unique_ptr<platform::Module> module = loader.Load("Wexmail.dll");
  if (!module) return nullptr;
  return std::make_unique<MimeLibrary>(std::move(module));
}

}  // namespace nimport::plugin
