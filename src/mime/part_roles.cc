#include "mime/part_roles.h"

#include <algorithm>
#include <array>
#include <string>
#include <utility>

namespace nimport::mime {
namespace {

constexpr std::array SMIME_CONTAINERS =
    std::to_array<std::string_view>({"application/pkcs7-mime", "application/x-pkcs7-mime",
                                     "application/pkcs10", "application/x-pkcs10"});

bool IsSmimeContainer(const Part& part) {
  return std::ranges::any_of(SMIME_CONTAINERS,
                             [&](std::string_view type) { return HasType(part, type); });
}

// The standing that a part gets from those around it.
struct Standing {
  bool isEnclosed = false;  // lies in an enclosed message
  bool isRelated = false;   // lies in a multipart/related, beside its root
  bool isForm = false;      // is an alternative, or the root of a multipart/related
};

class RoleFinder {
 public:
  RoleFinder(std::span<const Part> parts, const std::vector<bool>& isHandedOut)
      : parts_(parts),
        isHandedOut_(isHandedOut),
        standings_(parts.size()),
        roots_(parts.size(), NO_PART) {}

  PartRoles Find() {
    FindRoots();
    for (std::size_t i = 0; i < parts_.size(); ++i) {
      standings_[i] = FindStanding(i);
      if (!standings_[i].isEnclosed && parts_[i].kind != PartKind::Multipart) own_.push_back(i);
    }
    for (const std::size_t i : own_) {
      if (!isHandedOut_[i]) AssignRole(i);
    }
    return std::move(roles_);
  }

 private:
  // For each multipart/related its root: the part that its start parameter names, or its first.
  void FindRoots() {
    for (std::size_t i = 0; i < parts_.size(); ++i) {
      const std::size_t parent = parts_[i].parent;
      if (parent == NO_PART || !HasType(parts_[parent], "multipart/related")) continue;
      const std::string& start = parts_[parent].start;
      const bool isNamed = !start.empty() && parts_[i].contentId == start;
      if (roots_[parent] == NO_PART || isNamed) roots_[parent] = i;
    }
  }

  [[nodiscard]] Standing FindStanding(std::size_t i) const {
    const std::size_t parent = parts_[i].parent;
    if (parent == NO_PART) return {};
    const Standing& around = standings_[parent];
    const bool isRoot = roots_[parent] == i;
    const bool isBeside = roots_[parent] != NO_PART && !isRoot;
    return {.isEnclosed = around.isEnclosed || parts_[parent].kind == PartKind::Message,
            // The root of a structure within another one is shown by itself.
            .isRelated = !isRoot && (around.isRelated || isBeside),
            .isForm = isRoot || HasType(parts_[parent], "multipart/alternative")};
  }

  void AssignRole(std::size_t i) {
    const Part& part = parts_[i];
    const bool isOnlyOne = own_.size() == 1 && !HasType(part, "text/");
    const bool isMain = isOnlyOne || IsShown(i);
    if (isMain) roles_.mains.push_back(i);
    const bool isFile = part.disposition == Disposition::Attachment || !part.fileName.empty() ||
                        part.kind == PartKind::Message;
    const bool isBoth = isOnlyOne && isFile && !IsSmimeContainer(part);
    if (!isMain || isBoth) roles_.attachments.push_back(i);
  }

  // Whether the part is text that a reader shows.
  [[nodiscard]] bool IsShown(std::size_t i) const {
    const Part& part = parts_[i];
    const bool isText = part.kind == PartKind::Leaf && HasType(part, "text/");
    if (!isText || part.disposition == Disposition::Attachment || standings_[i].isRelated) {
      return false;
    }
    return part.fileName.empty() || standings_[i].isForm || i == own_.front();
  }

  std::span<const Part> parts_;
  const std::vector<bool>& isHandedOut_;
  std::vector<Standing> standings_;
  std::vector<std::size_t> roots_;  // by multipart/related
  std::vector<std::size_t> own_;    // the parts with contents that lie in no enclosed message
  PartRoles roles_;
};

}  // namespace

PartRoles FindRoles(std::span<const Part> parts, const std::vector<bool>& isHandedOut) {
  return RoleFinder(parts, isHandedOut).Find();
}

}  // namespace nimport::mime
