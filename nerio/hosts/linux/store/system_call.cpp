#include "nerio/hosts/linux/store/system_call.h"

namespace nerio::platform {

Status RegistryStatus(int systemError) {
  switch (systemError) {
    case ENOENT:
      return kFileNotFound;
    case EACCES:
    case EPERM:
      return kAccessDenied;
    case EROFS:
      return kWriteProtect;
    case ENOMEM:
    case EMFILE:
    case ENFILE:
      return kNotEnoughMemory;
    case ENOSPC:
    case EDQUOT:
    case EFBIG:
      return kDiskFull;
    case ELOOP:
    case ENOTDIR:
    case EISDIR:
    case ENXIO:
    case ESPIPE:
      return kRegistryCorrupt;
    default:
      return kRegistryIoFailed;
  }
}

}  // namespace nerio::platform
