// The record that every handle stands for, and the tree that handles form.
#ifndef NIMPORT_PLUGIN_HANDLE_NODE_H_
#define NIMPORT_PLUGIN_HANDLE_NODE_H_

#include <cstdint>
#include <memory>
#include <utility>
#include <variant>
#include <vector>

#include "nimport/nimport.h"

namespace nimport::plugin {

struct SessionContext;

// The kinds of handles, each with what its handle stands for.
struct Session {
  std::unique_ptr<SessionContext> context;
};
struct User {};
struct Account {};
// A cabinet or a folder, by its position in the list of folders.
struct Folder {
  std::int32_t position;
  bool isCabinet;
  bool isOpen = false;
};
struct Book {};
// A group, by its position in the list of groups.
struct Group {
  std::int32_t position;
};
// An address, by its position among those of a group or of the whole book (WHOLE_BOOK). Whether
// there is one is seen when it is asked for.
struct Address {
  std::int32_t group;
  std::int32_t position;
};

using Handle = std::variant<Session, User, Account, Folder, Book, Group, Address>;

}  // namespace nimport::plugin

// A handle and the handles made beneath it, which it owns.
struct HandleNode {
  template <typename Kind>
  explicit HandleNode(Kind kind) : handle(std::move(kind)) {}
  // Frees the tree without recursion: a host decides how deep it is.
  ~HandleNode();
  HandleNode(const HandleNode&) = delete;
  HandleNode& operator=(const HandleNode&) = delete;

  nimport::plugin::Handle handle;
  HandleNode* parent = nullptr;
  std::vector<std::unique_ptr<HandleNode>> children;
};

namespace nimport::plugin {

// What a handle that a host gave stands for, if it is one of kind T; null for others and for null.
template <typename T>
[[nodiscard]] T* FindHandle(HandleNode* node) {
  return node == nullptr ? nullptr : std::get_if<T>(&node->handle);
}

// Appends `node` to the children of `parent` and returns it. Throws Failure (-3) for an address,
// which has no children; std::bad_alloc leaves everything as it was.
HandleNode* AppendChild(HandleNode& parent, std::unique_ptr<HandleNode> node);

// Frees a child of `parent` and all nodes beneath it.
void RemoveChild(HandleNode& parent, const HandleNode& child) noexcept;

// Frees all nodes beneath `root`, children before parents, and leaves `root` without children.
void FreeHandleTree(HandleNode& root) noexcept;

}  // namespace nimport::plugin

#endif  // NIMPORT_PLUGIN_HANDLE_NODE_H_
