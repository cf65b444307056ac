#include "archive/layout.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>
#include <utility>

#include "common/utf8_path.h"
#include "platform/output_directory.h"
#include "text/ascii.h"
#include "text/modified_utf7.h"
#include "text/utf8.h"

namespace nimport::archive {

namespace {

namespace fs = std::filesystem;

// Holds all cabinets in Thunderbird, so that two names are all that is to be copied there.
constexpr const char* THUNDERBIRD_ROOT = "nimport";
constexpr const char* THUNDERBIRD_DIRECTORY = ".sbd";

// Two of these, with their dots and a number, are one name in Maildir++.
constexpr std::size_t MAX_UTF7_BYTES = 120;

// Without '%', which names of the store have where they may not have '/', '\\' or '#': it is a
// wildcard in names of mailboxes, and Thunderbird takes what follows it for a number.
std::string WithoutPercent(std::string name) {
  for (const std::string_view escape : {"%2f", "%5c", "%23", "%"}) {
    for (std::size_t at = 0; (at = name.find(escape, at)) != name.npos;)
      name.replace(at, escape.size(), "_");
  }
  return name;
}

// Thunderbird takes files of some names for something else than folders.
std::string ToThunderbirdName(std::string name) {
  constexpr std::array<std::string_view, 12> ENDINGS = {"~",    ".dat",    ".html",    ".lock",
                                                        ".log", ".mozeml", ".mozmsgs", ".msf",
                                                        ".sbd", ".snm",    ".toc",     ".wdseml"};
  name = WithoutPercent(std::move(name));
  const std::string lower = text::AsciiLower(name);
  const bool isHidden =
      name.starts_with('#') || std::ranges::any_of(ENDINGS, [&](std::string_view ending) {
        return lower.ends_with(ending);
      });
  return isHidden ? name + '_' : name;
}

// A dot stands between the names of Maildir++.
std::string ToMaildirName(std::string name) {
  name = WithoutPercent(std::move(name));
  std::ranges::replace(name, '.', '_');
  while (text::ModifiedUtf7FromUtf8(name).size() > MAX_UTF7_BYTES)
    name = text::CutUtf8(name, name.size() - 1);
  return name;
}

fs::path WithDirectoryEnding(fs::path path) {
  return path += THUNDERBIRD_DIRECTORY;
}

}  // namespace

fs::path FolderPaths::Take(const fs::path& folder) {
  switch (layout_) {
    case Layout::Plain:
      break;
    case Layout::MaildirPlusPlus: {
      std::string name;
      for (const fs::path& part : folder)
        name += '.' + ToMaildirName(PathToUtf8(part));
      return PathFromUtf8(text::ModifiedUtf7FromUtf8(names_.Take(name)));
    }
    case Layout::Thunderbird: {
      const fs::path parent = WithDirectoryEnding(
          folder.has_parent_path() ? CabinetPath(folder.parent_path()) : THUNDERBIRD_ROOT);
      return PathFromUtf8(names_.Take(PathToGenericUtf8(
          parent / PathFromUtf8(ToThunderbirdName(PathToGenericUtf8(folder.filename()))))));
    }
  }
  return folder;
}

fs::path FolderPaths::CabinetPath(const fs::path& cabinet) {
  switch (layout_) {
    case Layout::Plain:
      break;
    case Layout::MaildirPlusPlus:
      return {};
    case Layout::Thunderbird: {
      fs::path& path = cabinets_[cabinet];
      if (path.empty()) {
        const fs::path root = WithDirectoryEnding(THUNDERBIRD_ROOT);
        path = PathFromUtf8(names_.Take(
            PathToGenericUtf8(root / PathFromUtf8(ToThunderbirdName(PathToGenericUtf8(cabinet))))));
      }
      return path;
    }
  }
  return cabinet;
}

void MakeCabinet(Layout layout, const fs::path& target, const fs::path& cabinet) {
  switch (layout) {
    case Layout::Plain:
      platform::MakeDirectories(target / cabinet);
      break;
    case Layout::MaildirPlusPlus:
      for (const char* name : {"cur", "new", "tmp"})
        platform::MakeDirectories(target / name);
      break;
    case Layout::Thunderbird: {
      // A folder that holds others may hold mails too: its file is there, and empty.
      platform::OutputDirectory(target).MakeEmptyFile(THUNDERBIRD_ROOT);
      const fs::path directory = target / WithDirectoryEnding(cabinet);
      platform::MakeDirectories(directory);
      platform::OutputDirectory(directory.parent_path())
          .MakeEmptyFile(PathToGenericUtf8(cabinet.filename()));
      break;
    }
  }
}

void MarkFolder(Layout layout, const fs::path& folder) {
  if (layout == Layout::MaildirPlusPlus)
    platform::OutputDirectory(folder).MakeEmptyFile("maildirfolder");
}

}  // namespace nimport::archive
