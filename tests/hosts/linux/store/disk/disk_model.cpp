#include "tests/hosts/linux/store/disk/disk_model.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "tests/hosts/linux/store/stored_registry.h"

namespace nerio::testing {
namespace {

namespace fs = std::filesystem;
using Kind = DiskEvent::Kind;

constexpr std::size_t kSector = 512;

}  // namespace

Disk::Disk(const fs::path& root) : root_(root) {
  for (const auto& entry : fs::recursive_directory_iterator(root)) {
    Node& node = start_[entry.path()];
    node.isFolder = entry.is_directory();
    if (!node.isFolder) node.content = node.cached = FileContent(entry.path());
  }
}

bool Disk::IsFolderChange(const DiskEvent& event) {
  return event.kind == Kind::MakeFolder || event.kind == Kind::MakeFile || event.kind == Kind::Rename ||
         event.kind == Kind::RemoveFile || event.kind == Kind::RemoveFolder;
}

std::size_t Disk::FolderChanges(const std::vector<DiskEvent>& events, std::size_t count) {
  return static_cast<std::size_t>(
      std::count_if(events.begin(), events.begin() + static_cast<std::ptrdiff_t>(count), IsFolderChange));
}

void Disk::Node::Apply(const std::function<bool()>& isKept) {
  for (const PendingSector& sector : pending) {
    if (!isKept()) continue;
    content.resize(std::max(content.size(), sector.offset + sector.bytes.size()));
    content.replace(sector.offset, sector.bytes.size(), sector.bytes);
  }
  pending.clear();
}

void Disk::Node::Write(const DiskEvent& event) {
  const auto start = static_cast<std::size_t>(event.offset);
  const std::size_t end = start + event.bytes.size();
  cached.resize(std::max(cached.size(), end));
  cached.replace(start, event.bytes.size(), event.bytes);
  for (std::size_t at = start / kSector * kSector; at < end; at += kSector) {
    pending.push_back({at, cached.substr(at, kSector)});
  }
}

// Which changes of folders are there: those before a sync of the folder that they changed for sure, of the others the
// first few.
std::vector<bool> Disk::Kept(const std::vector<DiskEvent>& events, std::size_t count, std::size_t folderChanges) {
  std::vector<bool> kept(count, false);
  for (std::size_t i = 0; i < count; ++i) {
    if (!IsFolderChange(events[i])) continue;
    for (std::size_t j = i + 1; j < count && !kept[i]; ++j) {
      kept[i] = events[j].kind == Kind::SyncAll ||
                (events[j].kind == Kind::SyncFolder && events[j].path == fs::path(events[i].path).parent_path());
    }
    if (!kept[i] && folderChanges > 0) {
      kept[i] = true;
      --folderChanges;
    }
  }
  return kept;
}

// A folder takes with it what lies in it.
void Disk::Move(std::map<std::string, std::size_t>& names, const std::string& from, const std::string& to) {
  std::map<std::string, std::size_t> moved;
  for (auto at = names.begin(); at != names.end();) {
    const bool inside = at->first == from || at->first.starts_with(from + "/");
    if (inside) moved[to + at->first.substr(from.size())] = at->second;
    at = inside ? names.erase(at) : std::next(at);
  }
  for (const auto& [path, index] : moved) names[path] = index;
}

void Disk::LayOut(const std::vector<DiskEvent>& events, std::size_t count, std::size_t folderChanges,
                  const std::function<bool()>& sectorKept, const fs::path& target) const {
  const std::vector<bool> kept = Kept(events, count, folderChanges);
  // A file keeps its content under whichever name it has by then.
  std::map<std::string, std::size_t> names;
  std::vector<Node> nodes;
  for (const auto& [path, node] : start_) {
    names[path] = nodes.size();
    nodes.push_back(node);
  }
  std::map<std::string, std::size_t> live = names;
  for (std::size_t i = 0; i < count; ++i) {
    const DiskEvent& event = events[i];
    switch (event.kind) {
      case Kind::MakeFolder:
      case Kind::MakeFile:
        live[event.path] = nodes.size();
        if (kept[i]) names[event.path] = nodes.size();
        nodes.push_back({event.kind == Kind::MakeFolder, "", "", {}});
        break;
      case Kind::Write:
        nodes[live.at(event.path)].Write(event);
        break;
      case Kind::SyncFile:
        nodes[live.at(event.path)].Apply([] { return true; });
        break;
      case Kind::SyncAll:
        for (Node& node : nodes) node.Apply([] { return true; });
        break;
      case Kind::SyncFolder:
      case Kind::Own:
        break;
      case Kind::Rename:
        Move(live, event.path, event.target);
        if (kept[i]) Move(names, event.path, event.target);
        break;
      case Kind::RemoveFile:
      case Kind::RemoveFolder:
        live.erase(event.path);
        if (kept[i]) names.erase(event.path);
        break;
    }
  }
  for (Node& node : nodes) node.Apply(sectorKept);
  fs::remove_all(target);
  fs::create_directory(target);
  for (const auto& [path, index] : names) {
    const fs::path place = target / fs::path(path).lexically_relative(root_);
    // What lies in a folder that is not there is not there either.
    if (!fs::exists(place.parent_path())) continue;
    if (nodes[index].isFolder) {
      fs::create_directory(place);
    } else {
      WriteFile(place, nodes[index].content);
    }
  }
}

}  // namespace nerio::testing
