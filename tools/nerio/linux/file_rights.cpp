#include "tools/nerio/file_rights.h"

#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>

#include <cerrno>

#include "nerio/hosts/linux/store/system_call.h"

namespace nerio::tool {
namespace {

using platform::Descriptor;
using platform::SystemStatus;
using platform::Uninterrupted;

std::string NameOfUser(uid_t user) {
  const passwd* const entry = ::getpwuid(user);
  return entry != nullptr ? entry->pw_name : "the user " + std::to_string(user);
}

std::string NameOfGroup(gid_t group) {
  const ::group* const entry = ::getgrgid(group);
  return "the group " + (entry != nullptr ? std::string(entry->gr_name) : std::to_string(group));
}

}  // namespace

SystemStatus WhoMayWrite(const std::filesystem::path& file, std::string& names) {
  struct stat entry {};
  if (Uninterrupted([&] { return ::stat(file.c_str(), &entry); }) != 0) return SystemStatus{errno};
  if ((entry.st_mode & S_IWOTH) != 0) {
    names = "everybody";
  } else {
    names = (entry.st_mode & S_IWUSR) != 0 ? NameOfUser(entry.st_uid) : "";
    if ((entry.st_mode & S_IWGRP) != 0) names += (names.empty() ? "" : ", ") + NameOfGroup(entry.st_gid);
    if (names.empty()) names = "nobody";
  }
  return SystemStatus::kSuccess;
}

SystemStatus LetEverybodyWrite(const std::filesystem::path& file) {
  constexpr int kFlags = O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
  const Descriptor opened(Uninterrupted([&] { return ::open(file.c_str(), kFlags); }));
  struct stat entry {};
  if (!opened || ::fstat(opened.get(), &entry) != 0) return SystemStatus{errno};
  if (!S_ISREG(entry.st_mode) || entry.st_nlink != 1) return SystemStatus{EPERM};
  return ::fchmod(opened.get(), 0666) == 0 ? SystemStatus::kSuccess : SystemStatus{errno};
}

}  // namespace nerio::tool
