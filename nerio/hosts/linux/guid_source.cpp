#include "nerio/hosts/linux/guid_source.h"

#include <sys/random.h>

#include <cerrno>

namespace nerio::platform {

SystemStatus LinuxGuidSource::Create(GuidBytes& guid) {
  // Up to 256 bytes come whole or not at all; only a wait for the seed at boot can be interrupted.
  ssize_t got = 0;
  do {
    got = ::getrandom(guid.data(), guid.size(), 0);
  } while (got < 0 && errno == EINTR);
  if (got < 0) return SystemStatus{errno};
  guid[7] = static_cast<std::uint8_t>((guid[7] & 0x0F) | 0x40);  // high byte of Data3: version 4
  guid[8] = static_cast<std::uint8_t>((guid[8] & 0x3F) | 0x80);  // first byte of Data4: the RFC 4122 variant
  return SystemStatus::kSuccess;
}

}  // namespace nerio::platform
