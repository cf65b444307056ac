#ifndef NIMPORT_TESTS_COMMON_LOADED_LIBRARY_H_
#define NIMPORT_TESTS_COMMON_LOADED_LIBRARY_H_

#include <filesystem>
#include <stdexcept>
#include <string>

#if defined(_WIN32)
#include <windows.h>
#else
#include <dlfcn.h>
#endif

namespace nimport::tests {

// A dynamic library, loaded by its path; unloaded when destroyed.
class LoadedLibrary {
 public:
  using AnyFunction = void (*)();

  // Throws when it cannot be loaded.
  explicit LoadedLibrary(const std::string& path) {
#if defined(_WIN32)
    handle_ = LoadLibraryW(std::filesystem::path(path).c_str());
#else
    handle_ = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
#endif
    if (handle_ == nullptr) throw std::runtime_error("cannot be loaded: " + path);
  }
  ~LoadedLibrary() {
#if defined(_WIN32)
    FreeLibrary(handle_);
#else
    dlclose(handle_);
#endif
  }
  LoadedLibrary(const LoadedLibrary&) = delete;
  LoadedLibrary& operator=(const LoadedLibrary&) = delete;

  // Null when the library has no such function.
  [[nodiscard]] AnyFunction Find(const char* name) const {
#if defined(_WIN32)
    return reinterpret_cast<AnyFunction>(GetProcAddress(handle_, name));
#else
    return reinterpret_cast<AnyFunction>(dlsym(handle_, name));
#endif
  }

 private:
#if defined(_WIN32)
  HMODULE handle_;
#else
  void* handle_;
#endif
};

}  // namespace nimport::tests

#endif  // NIMPORT_TESTS_COMMON_LOADED_LIBRARY_H_
