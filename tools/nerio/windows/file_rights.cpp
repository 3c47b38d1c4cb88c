#include "tools/nerio/file_rights.h"

#include <windows.h>
// Needs what the header above declares.
#include <aclapi.h>

#include <memory>
#include <type_traits>

#include "nerio/hosts/windows/automation/wide.h"
#include "nerio/types/utf8.h"

namespace nerio::tool {
namespace {

using platform::SystemStatus;

struct FreeLocal {
  void operator()(void* block) const { ::LocalFree(block); }
};
using LocalBlock = std::unique_ptr<void, FreeLocal>;

SystemStatus StatusOf(DWORD error) { return static_cast<SystemStatus>(error); }

// Reads the access list of a file; null stands for one that lets everybody do everything.
SystemStatus ReadAccessList(const std::filesystem::path& file, PACL& list, LocalBlock& owner) {
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  const DWORD error = ::GetNamedSecurityInfoW(file.c_str(), SE_FILE_OBJECT, DACL_SECURITY_INFORMATION, nullptr, nullptr,
                                              &list, nullptr, &descriptor);
  owner.reset(descriptor);
  return StatusOf(error);
}

std::string NameOf(PSID account) {
  wchar_t name[256];
  wchar_t domain[256];
  DWORD nameSize = std::extent_v<decltype(name)>;
  DWORD domainSize = std::extent_v<decltype(domain)>;
  SID_NAME_USE use{};
  if (::LookupAccountSidW(nullptr, account, name, &nameSize, domain, &domainSize, &use) == 0) return "an account";
  return ToUtf8(platform::ViewOf(name, nameSize));
}

}  // namespace

SystemStatus WhoMayWrite(const std::filesystem::path& file, std::string& names) {
  PACL list = nullptr;
  LocalBlock owner;
  const SystemStatus status = ReadAccessList(file, list, owner);
  if (status != SystemStatus::kSuccess) return status;
  std::string found;
  for (DWORD i = 0; list != nullptr && i < list->AceCount; ++i) {
    void* entry = nullptr;
    if (::GetAce(list, i, &entry) == 0) continue;
    auto* const allowed = static_cast<ACCESS_ALLOWED_ACE*>(entry);
    constexpr DWORD kWriting = FILE_APPEND_DATA | GENERIC_WRITE | GENERIC_ALL;
    if (allowed->Header.AceType != ACCESS_ALLOWED_ACE_TYPE || (allowed->Mask & kWriting) == 0) continue;
    const std::string name = NameOf(&allowed->SidStart);
    if (found.find(name) == std::string::npos) found += (found.empty() ? "" : ", ") + name;
  }
  names = list == nullptr ? "everybody" : found.empty() ? "nobody" : found;
  return SystemStatus::kSuccess;
}

SystemStatus LetEverybodyWrite(const std::filesystem::path& file) {
  const DWORD attributes = ::GetFileAttributesW(file.c_str());
  if (attributes == INVALID_FILE_ATTRIBUTES) return StatusOf(::GetLastError());
  if ((attributes & (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT)) != 0)
    return StatusOf(ERROR_ACCESS_DENIED);
  PACL old = nullptr;
  LocalBlock owner;
  const SystemStatus status = ReadAccessList(file, old, owner);
  if (status != SystemStatus::kSuccess || old == nullptr) return status;
  BYTE everybody[SECURITY_MAX_SID_SIZE];
  DWORD size = sizeof everybody;
  if (::CreateWellKnownSid(WinWorldSid, nullptr, everybody, &size) == 0) return StatusOf(::GetLastError());
  EXPLICIT_ACCESSW entry{};
  entry.grfAccessPermissions = GENERIC_READ | GENERIC_WRITE;
  entry.grfAccessMode = GRANT_ACCESS;
  ::BuildTrusteeWithSidW(&entry.Trustee, everybody);
  PACL list = nullptr;
  const DWORD error = ::SetEntriesInAclW(1, &entry, old, &list);
  const LocalBlock listOwner(list);
  if (error != ERROR_SUCCESS) return StatusOf(error);
  std::wstring name = file.native();
  return StatusOf(
      ::SetNamedSecurityInfoW(name.data(), SE_FILE_OBJECT, DACL_SECURITY_INFORMATION, nullptr, nullptr, list, nullptr));
}

}  // namespace nerio::tool
