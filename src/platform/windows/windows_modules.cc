#include "platform/windows/windows_modules.h"

#include <windows.h>

#include "platform/windows/wide_text.h"

namespace nimport::platform::windows {
namespace {

class WindowsModule final : public Module {
 public:
  explicit WindowsModule(HMODULE handle) : handle_(handle) {}
  ~WindowsModule() override { FreeLibrary(handle_); }
  WindowsModule(const WindowsModule&) = delete;
  WindowsModule& operator=(const WindowsModule&) = delete;

  [[nodiscard]] AnyFunction FindFunction(const char* name) const override {
    return reinterpret_cast<AnyFunction>(GetProcAddress(handle_, name));
  }

 private:
  HMODULE handle_;
};

// Keeps the system from showing a window about a library that it cannot load.
class QuietErrors {
 public:
  QuietErrors() { SetThreadErrorMode(SEM_FAILCRITICALERRORS | SEM_NOOPENFILEERRORBOX, &before_); }
  ~QuietErrors() { SetThreadErrorMode(before_, nullptr); }
  QuietErrors(const QuietErrors&) = delete;
  QuietErrors& operator=(const QuietErrors&) = delete;

 private:
  DWORD before_ = 0;
};

}  // namespace

std::unique_ptr<Module> WindowsModuleLoader::Load(std::string_view name) {
  // A separator would turn the search for a library into the opening of a file.
  if (name.find_first_of(std::string_view("/\\:\0", 4)) != std::string_view::npos) return nullptr;
  const QuietErrors quiet;
  const HMODULE handle = LoadLibraryW(WideFromUtf8(name).c_str());
  if (handle == nullptr) return nullptr;
  return std::make_unique<WindowsModule>(handle);
}

}  // namespace nimport::platform::windows
