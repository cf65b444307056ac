#include "plugin/handle_node.h"

#include <algorithm>
#include <utility>

#include "common/failure.h"
#include "plugin/session_context.h"

HandleNode::~HandleNode() {
  nimport::plugin::FreeHandleTree(*this);
}

namespace nimport::plugin {

HandleNode* AppendChild(HandleNode& parent, std::unique_ptr<HandleNode> node) {
  if (std::holds_alternative<Address>(parent.handle)) {
    FailInvalid("an address has no handles beneath it");
  }
  node->parent = &parent;
  parent.children.push_back(std::move(node));
  return parent.children.back().get();
}

void RemoveChild(HandleNode& parent, const HandleNode& child) noexcept {
  const auto found = std::ranges::find(parent.children, &child, &std::unique_ptr<HandleNode>::get);
  if (found != parent.children.end()) parent.children.erase(found);
}

void FreeHandleTree(HandleNode& root) noexcept {
  HandleNode* node = &root;
  while (node != &root || !root.children.empty()) {
    if (!node->children.empty()) {
      node = node->children.back().get();
      continue;
    }
    node = node->parent;
    node->children.pop_back();
  }
}

}  // namespace nimport::plugin
