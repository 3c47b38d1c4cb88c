#include "nerio/hosts/linux/store/access_rights.h"

#include <unistd.h>

#include "nerio/hosts/linux/store/folder_walk.h"
#include "nerio/platform/registry_api.h"

namespace nerio::platform {
namespace {

constexpr std::uint32_t kDelete = 0x10000;
constexpr std::uint32_t kWriteDac = 0x40000;
constexpr std::uint32_t kWriteOwner = 0x80000;
constexpr std::uint32_t kMaximumAllowed = 0x02000000;
constexpr std::uint32_t kGenericAll = 0x10000000;
constexpr std::uint32_t kGenericExecute = 0x20000000;
constexpr std::uint32_t kGenericWrite = 0x40000000;
constexpr std::uint32_t kGenericRead = 0x80000000;
constexpr std::uint32_t kKeyWrite = kReadControl | kKeySetValue | kKeyCreateSubKey;
constexpr std::uint32_t kReadingRights = kKeyQueryValue | kKeyEnumerateSubKeys | kKeyNotify | kReadControl;
constexpr std::uint32_t kChangingRights =
    kKeySetValue | kKeyCreateSubKey | kKeyCreateLink | kDelete | kWriteDac | kWriteOwner;

std::uint32_t WithoutGenericRights(std::uint32_t access) {
  std::uint32_t specific = access & ~(kGenericAll | kGenericExecute | kGenericWrite | kGenericRead);
  if ((access & kGenericAll) != 0) specific |= kAllRights;
  if ((access & (kGenericRead | kGenericExecute)) != 0) specific |= kKeyRead;
  if ((access & kGenericWrite) != 0) specific |= kKeyWrite;
  return specific;
}

Status CheckFolderRights(const KeyFolder& key, std::uint32_t access) {
  int rights = 0;
  if ((access & kReadingRights) != 0) rights |= R_OK | X_OK;
  if (AllowChanges(access)) rights |= W_OK | X_OK;
  if (rights == 0) return kSuccess;
  const Status status = CheckRights(key.path(), rights);
  // A disk that cannot be written to is no missing right: the write itself is refused.
  return status == kWriteProtect ? CheckRights(key.path(), rights & ~W_OK) : status;
}

}  // namespace

bool AllowChanges(std::uint32_t rights) { return (rights & kChangingRights) != 0; }

std::uint32_t RightsOfCreator(std::uint32_t asked) {
  const std::uint32_t rights = WithoutGenericRights(asked);
  return (rights & kMaximumAllowed) != 0 ? kAllRights : rights;
}

Status GrantRights(const KeyFolder& key, std::uint32_t asked, std::uint32_t& granted) {
  granted = WithoutGenericRights(asked);
  if ((granted & kMaximumAllowed) == 0) return CheckFolderRights(key, granted);
  for (const std::uint32_t most : {kAllRights, kKeyRead}) {
    granted = most;
    const Status status = CheckFolderRights(key, granted);
    if (status != kAccessDenied) return status;
  }
  return kAccessDenied;
}

}  // namespace nerio::platform
