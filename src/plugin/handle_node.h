// The record behind every handle, and the tree that handles form.
#ifndef NIMPORT_PLUGIN_HANDLE_NODE_H_
#define NIMPORT_PLUGIN_HANDLE_NODE_H_

#include <cstdint>
#include <memory>
#include <vector>

#include "nimport/nimport.h"

namespace nimport::plugin {

struct SessionContext;

enum class NodeKind : std::int32_t {
  Session = 0,
  User = 1,
  Account = 2,
  Cabinet = 3,
  Folder = 4,
  AddressBook = 5,
  Group = 6,
  Address = 7,
};

}  // namespace nimport::plugin

// A handle and the handles made beneath it, which it owns.
struct HandleNode {
  explicit HandleNode(nimport::plugin::NodeKind nodeKind, std::int32_t nodeId = -1,
                      std::int32_t nodeDetail = 0);
  // Frees the tree without recursion: a host decides how deep it is.
  ~HandleNode();
  HandleNode(const HandleNode&) = delete;
  HandleNode& operator=(const HandleNode&) = delete;

  nimport::plugin::NodeKind kind;
  // Position within the kind's list; -1 when the kind has none.
  std::int32_t id;
  std::int32_t detail;
  // Session: open address-book handles. Cabinet, folder: 1 while opened.
  std::int32_t openCount = 0;
  // Of a session only.
  std::unique_ptr<nimport::plugin::SessionContext> context;
  HandleNode* parent = nullptr;
  std::vector<std::unique_ptr<HandleNode>> children;
};

namespace nimport::plugin {

// Appends `node` to the children of `parent` and returns it. Throws Failure (-3) for an address,
// which has no children; std::bad_alloc leaves everything as it was.
HandleNode* AppendChild(HandleNode& parent, std::unique_ptr<HandleNode> node);

// Frees a child of `parent` and all nodes beneath it.
void RemoveChild(HandleNode& parent, const HandleNode& child) noexcept;

// Frees all nodes beneath `root`, children before parents, and leaves `root` without children.
void FreeHandleTree(HandleNode& root) noexcept;

}  // namespace nimport::plugin

#endif  // NIMPORT_PLUGIN_HANDLE_NODE_H_
