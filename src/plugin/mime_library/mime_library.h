#ifndef NIMPORT_PLUGIN_MIME_LIBRARY_MIME_LIBRARY_H_
#define NIMPORT_PLUGIN_MIME_LIBRARY_MIME_LIBRARY_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

#include "platform/modules.h"
#include "plugin/mime_library/entry_point_names.h"
#include "wexmail/entry_points.h"

namespace nimport::plugin {

// Stands in for an entry point that the library lacks. Does nothing and returns 0, whatever it is
// called with: the caller removes the arguments.
extern "C" std::int32_t NIMPORT_MIME_CALL MissingEntryStub(...);

// The place of a name in ENTRY_POINT_NAMES. A name that is not there does not compile.
consteval std::size_t EntryPointIndex(std::string_view name) {
  for (std::size_t i = 0; i < ENTRY_POINT_NAMES.size(); ++i) {
    if (ENTRY_POINT_NAMES[i] == name) return i;
  }
  throw "no such entry point";
}

// The loaded MIME library; unloaded when destroyed.
class MimeLibrary {
 public:
  // Binds every entry point, in order.
  explicit MimeLibrary(std::unique_ptr<platform::Module> module);

  // An entry point as a function of its type, which the caller knows; MissingEntryStub where the
  // library lacks it. Never null.
  template <typename Function>
  [[nodiscard]] Function* EntryPoint(std::size_t index) const {
    return reinterpret_cast<Function*>(entryPoints_[index]);
  }

 private:
  std::unique_ptr<platform::Module> module_;
  std::array<platform::AnyFunction, ENTRY_POINT_NAMES.size()> entryPoints_{};
};

// Loads "Wexmail.dll". Null when it cannot be loaded.
[[nodiscard]] std::unique_ptr<MimeLibrary> LoadMimeLibrary(platform::ModuleLoader& loader);

}  // namespace nimport::plugin

#endif  // NIMPORT_PLUGIN_MIME_LIBRARY_MIME_LIBRARY_H_
