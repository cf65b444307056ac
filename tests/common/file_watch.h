#ifndef NIMPORT_TESTS_COMMON_FILE_WATCH_H_
#define NIMPORT_TESTS_COMMON_FILE_WATCH_H_

#include <filesystem>
#include <map>
#include <set>
#include <stdexcept>
#include <string>

#include <sys/inotify.h>
#include <unistd.h>

namespace nimport::tests {

// Notices what happens to the files in a directory and in those below it: what is made, written,
// renamed or deleted there, even where it is undone again.
class FileWatch {
 public:
  explicit FileWatch(std::filesystem::path root)
      : root_(std::move(root)), notifier_(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
    if (notifier_ < 0) throw std::runtime_error("no inotify");
    Watch(root_);
    for (const auto& entry : std::filesystem::recursive_directory_iterator(root_)) {
      if (entry.is_directory() && !entry.is_symlink()) Watch(entry.path());
    }
  }
  ~FileWatch() { close(notifier_); }
  FileWatch(const FileWatch&) = delete;
  FileWatch& operator=(const FileWatch&) = delete;

  // The files, relative to the directory, that something happened to since the last call.
  std::set<std::string> Touched() {
    std::set<std::string> names;
    alignas(inotify_event) char buffer[65536];
    for (ssize_t size; (size = read(notifier_, buffer, sizeof buffer)) > 0;) {
      for (const char* at = buffer; at < buffer + size;) {
        const auto* event = reinterpret_cast<const inotify_event*>(at);
        if (event->len > 0) {
          names.insert((directories_[event->wd] / event->name).lexically_normal());
        }
        at += sizeof(inotify_event) + event->len;
      }
    }
    return names;
  }

 private:
  void Watch(const std::filesystem::path& directory) {
    constexpr unsigned EVENTS =
        IN_CREATE | IN_MODIFY | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO | IN_ATTRIB;
    const int watch = inotify_add_watch(notifier_, directory.c_str(), EVENTS);
    if (watch < 0) throw std::runtime_error("no watch on " + directory.string());
    directories_[watch] = std::filesystem::relative(directory, root_);
  }

  std::filesystem::path root_;
  int notifier_;
  std::map<int, std::filesystem::path> directories_;
};

}  // namespace nimport::tests

#endif  // NIMPORT_TESTS_COMMON_FILE_WATCH_H_
