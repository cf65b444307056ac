#include "host/library.h"

#include <stdexcept>
#include <system_error>
#include <vector>

#include <dlfcn.h>

#include "host/result_error.h"

namespace nimport::host {

namespace {

namespace fs = std::filesystem;

constexpr const char* LIBRARY_NAME = "libnimport.so";
constexpr std::int32_t INTERFACE_VERSION = 4;

std::vector<fs::path> UsualPlaces() {
  std::vector<fs::path> places;
  std::error_code error;
  const fs::path program = fs::read_symlink("/proc/self/exe", error);
  if (!error) {
    const fs::path besideProgram = program.parent_path().parent_path() / "lib" / LIBRARY_NAME;
    if (fs::exists(besideProgram, error)) places.push_back(besideProgram);
  }
  places.emplace_back(LIBRARY_NAME);
  return places;
}

}  // namespace

Library::Library(const fs::path& path, std::mutex* workLock) : workLock_(workLock) {
  std::string reason;
  for (const fs::path& place : path.empty() ? UsualPlaces() : std::vector{path}) {
    handle_.reset(dlopen(place.c_str(), RTLD_NOW | RTLD_LOCAL));
    path_ = place;
    if (handle_) break;
    const char* error = dlerror();
    reason += std::string("\n  ") + (error == nullptr ? place.string() : error);
  }
  if (!handle_) throw std::runtime_error("the plug-in cannot be loaded:" + reason);
  BindFunctions();
  const std::int32_t version = functions_.QV_GetVersion.address();
  if (version != INTERFACE_VERSION) {
    throw std::runtime_error(path_.string() + ": interface version " + std::to_string(version) +
                             " instead of " + std::to_string(INTERFACE_VERSION));
  }
}

Library::~Library() = default;

void Library::Unload::operator()(void* handle) const {
  dlclose(handle);
}

void Library::BindFunctions() {
  const auto bind = [this](auto& function) {
    void* const address = dlsym(handle_.get(), function.name);
    if (address == nullptr) {
      throw std::runtime_error(path_.string() + ": no function " + function.name);
    }
    function.address = reinterpret_cast<decltype(function.address)>(address);
  };
#define NIMPORT_BIND_FUNCTION(name) bind(functions_.name);
  NIMPORT_FOR_EACH_FUNCTION(NIMPORT_BIND_FUNCTION)
#undef NIMPORT_BIND_FUNCTION
}

void Library::Check(const char* function, ResultCode code) const {
  if (code == RESULT_OK) return;
  throw ResultError(function, code, diagnostics_.TakeReason(function, code));
}

}  // namespace nimport::host
