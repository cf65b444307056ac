// Objects that live as long as the library does.
#ifndef NIMPORT_COMMON_LIBRARY_LIFETIME_H_
#define NIMPORT_COMMON_LIBRARY_LIFETIME_H_

#include <memory>
#include <utility>

namespace nimport {

// Destroys `object` when this library leaves memory: when it is unloaded, or at the end of the
// process after all exit handlers and the destructors of the host's own static objects. An object
// with static storage and a destructor would go before the exit handlers that were set up before
// its first use, and in one of these a host may still close a session. Objects go in the reverse
// order of these calls. Safe in any thread. Throws std::bad_alloc; `object` is then destroyed.
void DestroyWithLibrary(std::shared_ptr<void> object);

// A new object that is destroyed so. For the one object that a function keeps:
//   static Table& table = MakeForLibrary<Table>();
template <typename T, typename... Arguments>
[[nodiscard]] T& MakeForLibrary(Arguments&&... arguments) {
  auto object = std::make_shared<T>(std::forward<Arguments>(arguments)...);
  T& made = *object;
  DestroyWithLibrary(std::move(object));
  return made;
}

}  // namespace nimport

#endif  // NIMPORT_COMMON_LIBRARY_LIFETIME_H_
