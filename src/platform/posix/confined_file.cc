#include "platform/posix/confined_file.h"

#include <algorithm>
#include <cerrno>
#include <optional>
#include <string_view>

#include <fcntl.h>
#include <sys/syscall.h>
#if __has_include(<linux/openat2.h>)
#include <linux/openat2.h>
#endif

#include "platform/posix/real_path.h"

namespace nimport::platform::posix {
namespace {

FileDescriptor OpenRoot(const std::string& directory) {
  return FileDescriptor(open(directory.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
}

// One call of the kernel, where it has it, which goes through no link that leaves `root` or begins
// with '/'.
FileDescriptor OpenBeneath([[maybe_unused]] const FileDescriptor& root,
                           [[maybe_unused]] const std::string& relative,
                           [[maybe_unused]] int flags) {
#if defined(SYS_openat2) && defined(RESOLVE_BENEATH)
  open_how how{};
  how.flags = static_cast<std::uint64_t>(flags);
  how.resolve = RESOLVE_BENEATH | RESOLVE_NO_MAGICLINKS;
  return FileDescriptor(static_cast<int>(syscall(
      SYS_openat2, root.get(), relative.empty() ? "." : relative.c_str(), &how, sizeof how)));
#else
  errno = ENOSYS;
  return {};
#endif
}

// Goes down from `root` part by part, through no link at all.
FileDescriptor OpenWithoutLinks(FileDescriptor directory, std::string_view relative, int flags) {
  while (directory.IsOpen()) {
    const std::string part(relative.substr(0, relative.find('/')));
    if (part.size() == relative.size()) {
      const char* const name = part.empty() ? "." : part.c_str();
      return FileDescriptor(openat(directory.get(), name, flags | O_NOFOLLOW));
    }
    relative.remove_prefix(part.size() + 1);
    directory = FileDescriptor(
        openat(directory.get(), part.c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  }
  return {};
}

// Follows all links first, and then opens what they led to by a path that has none: a link that is
// put in the way meanwhile makes it fail.
FileDescriptor OpenResolved(const std::string& path, const std::vector<std::string>& roots,
                            int flags) {
  const std::optional<std::string> real = FindRealPath(path);
  if (!real) return {};
  for (const std::string& root : roots) {
    const std::optional<std::string> realRoot = FindRealPath(root);
    if (!realRoot) continue;
    const std::string start = realRoot->ends_with('/') ? *realRoot : *realRoot + '/';
    if (*real != *realRoot && !real->starts_with(start)) continue;
    const std::size_t rootBytes = std::min(start.size(), real->size());
    return OpenWithoutLinks(OpenRoot(*realRoot), std::string_view(*real).substr(rootBytes), flags);
  }
  errno = EXDEV;
  return {};
}

}  // namespace

ConfinedPath::ConfinedPath(const std::string& path, const std::vector<std::string>& roots)
    : path_(path), roots_(roots), root_(OpenRoot(roots.front())), rootError_(errno) {}

FileDescriptor ConfinedPath::Open(int flags) const {
  flags |= O_CLOEXEC;
  if (!root_.IsOpen()) {
    errno = rootError_;
    return {};
  }
  const std::size_t first = path_.find_first_not_of('/', roots_.front().size());
  const std::string relative = first == std::string::npos ? "" : path_.substr(first);
  FileDescriptor file = OpenBeneath(root_, relative, flags);
  // The kernel lacks the call or is not let to use it, or there are links that need a closer look.
  const bool needsLook = errno == ENOSYS || errno == EPERM || errno == EXDEV || errno == EAGAIN;
  if (file.IsOpen() || !needsLook) return file;
  return OpenResolved(path_, roots_, flags);
}

}  // namespace nimport::platform::posix
