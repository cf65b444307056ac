#include "archive/store_folders.h"

#include <charconv>
#include <optional>
#include <stdexcept>

namespace nimport::archive {

namespace {

std::optional<std::size_t> ToIndex(std::string_view text) {
  std::size_t index = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), index);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return index;
}

}  // namespace

std::string FolderPlace::Name() const {
  return cabinet->name + '/' + folder->name;
}

std::vector<FolderPlace> AllFolders(const store::Store& store) {
  std::vector<FolderPlace> places;
  for (const store::Cabinet& cabinet : store.cabinets()) {
    for (const store::Folder& folder : cabinet.folders) {
      places.push_back({.index = places.size(), .cabinet = &cabinet, .folder = &folder});
    }
  }
  return places;
}

std::vector<FolderPlace> FindFolders(const store::Store& store, std::string_view text) {
  std::vector<FolderPlace> places = AllFolders(store);
  if (text.empty()) return places;
  const std::optional<std::size_t> index = ToIndex(text);
  std::erase_if(places, [&](const FolderPlace& place) {
    return place.Name() != text && !(index && place.index == *index);
  });
  if (places.empty()) throw std::runtime_error("no folder " + std::string(text));
  if (places.size() > 1) {
    throw std::runtime_error(std::string(text) + " names several folders: give the index");
  }
  return places;
}

}  // namespace nimport::archive
