#include "tests/reliability/power_cuts/sync_places.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <set>

namespace nerio::testing {
namespace {

using Event = DiskEvent::Kind;

constexpr std::array<const char*, 11> kPlaces = {
    "record",               // AppendInPlace: the record and its trailer
    "new-file",             // ReplaceFile: %new, before it becomes %values
    "folder-of-new-file",   // ReplaceFile: the key's folder, after that
    "new-key",              // MakeFiles: the values file in %make
    "folder-of-new-key",    // MakeSubkey: the folder above, after %make got its name
    "folder-of-gone-key",   // RemoveSubkey: the folder above, after the key became %gone
    "deletion-note",        // NoteKeyDeleted: the note in the values file
    "deletion-mark",        // RemoveInPlace: the key's own folder, before its files are removed
    "folder-of-note",       // RemoveInPlace: the folder above, after the rest was removed
    "folder-of-found-key",  // SettleKey: the folder above a key that a killed process left unsynced
    "folders-above-roots",  // SyncFoldersAbove: those that a process made, perhaps one that was killed
};

std::string PlaceOfFile(const std::filesystem::path& file, const DiskEvent* last) {
  constexpr std::uint64_t kDeletionNoteAt = 508;
  if (file.filename() == "%new") return "new-file";
  if (file.parent_path().filename() == "%make") return "new-key";
  if (last == nullptr || last->kind != Event::Write || last->path != file) return "?";
  return last->offset == kDeletionNoteAt ? "deletion-note" : "record";
}

std::string PlaceOfFolder(const std::filesystem::path& folder, const DiskEvent* last,
                          const std::filesystem::path& place) {
  const bool isAboveRoots = place.native().size() > folder.native().size();
  if (isAboveRoots) return "folders-above-roots";
  if (last != nullptr && last->kind == Event::Rename) {
    const std::filesystem::path from = last->path;
    const std::filesystem::path to = last->target;
    if (to == folder / "%values") return "folder-of-new-file";
    if (from == folder / "%make") return "folder-of-new-key";
    if (to == folder / "%gone") return "folder-of-gone-key";
  }
  const bool isBelow = last != nullptr && std::filesystem::path(last->path).parent_path() == folder;
  if (isBelow && last->kind == Event::SyncFile) return "deletion-mark";
  if (isBelow && last->kind == Event::RemoveFolder) return "folder-of-note";
  const bool isTwoBelow = last != nullptr && std::filesystem::path(last->path).parent_path().parent_path() == folder;
  if (isTwoBelow && last->kind == Event::RemoveFile) return "folder-of-note";
  return "folder-of-found-key";
}

}  // namespace

std::string SyncPlace(const DiskEvent& sync, const std::vector<DiskEvent>& before, const std::string& place) {
  const DiskEvent* const last = before.empty() ? nullptr : &before.back();
  if (sync.kind == Event::SyncFile) return PlaceOfFile(sync.path, last);
  if (sync.kind == Event::SyncFolder) return PlaceOfFolder(sync.path, last, place);
  return "?";
}

bool IsSyncPlace(const std::string& name) { return std::find(kPlaces.begin(), kPlaces.end(), name) != kPlaces.end(); }

int TellPlaces(const std::string& journal) {
  std::ifstream stream(journal);
  std::set<std::string> reached;
  const std::string beginning = "sync\t";
  for (std::string line; std::getline(stream, line);) {
    if (line.starts_with(beginning)) reached.insert(line.substr(beginning.size()));
  }
  for (const std::string& name : reached) std::cout << name << '\n';
  return std::all_of(reached.begin(), reached.end(), IsSyncPlace) ? 0 : 1;
}

}  // namespace nerio::testing
