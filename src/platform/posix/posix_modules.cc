#include "platform/posix/posix_modules.h"

#include <algorithm>
#include <string>

#include <dlfcn.h>

#include "text/ascii.h"

namespace nimport::platform::posix {
namespace {

class PosixModule final : public Module {
 public:
  explicit PosixModule(void* handle) : handle_(handle) {}
  ~PosixModule() override { dlclose(handle_); }
  PosixModule(const PosixModule&) = delete;
  PosixModule& operator=(const PosixModule&) = delete;

  [[nodiscard]] AnyFunction FindFunction(const char* name) const override {
    return reinterpret_cast<AnyFunction>(dlsym(handle_, name));
  }

 private:
  void* handle_;
};

std::string LibraryName(std::string_view windowsName) {
  return "lib" + text::AsciiLower(windowsName.substr(0, windowsName.rfind('.'))) + ".so";
}

}  // namespace

std::unique_ptr<Module> PosixModuleLoader::Load(std::string_view name) {
  // A separator would turn the search for a library into the opening of a file.
  if (name.find_first_of(std::string_view("/\\\0", 3)) != std::string_view::npos) return nullptr;
  void* handle = dlopen(LibraryName(name).c_str(), RTLD_NOW | RTLD_LOCAL);
  if (handle == nullptr) return nullptr;
  return std::make_unique<PosixModule>(handle);
}

}  // namespace nimport::platform::posix
