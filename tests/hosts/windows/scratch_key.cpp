#include "tests/hosts/windows/scratch_key.h"

#include <windows.h>
// The order matters: the security headers need the types above.
#include <sddl.h>

#include <stdexcept>
#include <string>

namespace nerio::testing {
namespace {

void Require(LSTATUS status, const std::string& what) {
  if (status != ERROR_SUCCESS) throw std::runtime_error(what + " answers " + std::to_string(status));
}

}  // namespace

ScratchKey::ScratchKey() : path_("Software\\Nerio prova " + std::to_string(::GetCurrentProcessId())) {
  ::RegDeleteTreeA(HKEY_LOCAL_MACHINE, path_.c_str());
  HKEY key = nullptr;
  Require(::RegCreateKeyExA(HKEY_LOCAL_MACHINE, path_.c_str(), 0, nullptr, 0, KEY_READ, nullptr, &key, nullptr),
          "RegCreateKeyExA " + path_.bytes());
  ::RegCloseKey(key);
}

ScratchKey::~ScratchKey() { ::RegDeleteTreeA(HKEY_LOCAL_MACHINE, path_.c_str()); }

void DenyRights(const AnsiText& path, unsigned long denied) {
  // The denial comes first: entries are looked at in order.
  std::string text = "D:";
  if (denied != 0) text += "(D;;" + std::to_string(denied) + ";;;WD)";
  text += "(A;;KA;;;WD)";
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  if (::ConvertStringSecurityDescriptorToSecurityDescriptorA(text.c_str(), SDDL_REVISION_1, &descriptor, nullptr) ==
      0) {
    throw std::runtime_error("no descriptor from " + text + ": " + std::to_string(::GetLastError()));
  }
  HKEY key = nullptr;
  LSTATUS status = ::RegOpenKeyExA(HKEY_LOCAL_MACHINE, path.c_str(), 0, WRITE_DAC, &key);
  if (status == ERROR_SUCCESS) {
    status = ::RegSetKeySecurity(key, DACL_SECURITY_INFORMATION, descriptor);
    ::RegCloseKey(key);
  }
  ::LocalFree(descriptor);
  Require(status, "the change of the rights on " + path.bytes());
}

}  // namespace nerio::testing
