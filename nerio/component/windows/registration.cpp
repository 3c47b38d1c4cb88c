#include "nerio/component/windows/registration.h"

#include <array>
#include <new>

#include "nerio/hosts/windows/automation/com_pointer.h"
#include "nerio/hosts/windows/automation/wide.h"
#include "nerio/hosts/windows/module_location.h"
#include "nerio_automation.h"

// The order matters: it needs the COM headers.
#include <olectl.h>

namespace nerio::component {
namespace {

using platform::Wide;

constexpr TextView kProgId = u"Nerio.Component";
constexpr TextView kVersionedProgId = u"Nerio.Component.1";
constexpr TextView kName = u"Componente Nerio";
constexpr WORD kTypeLibMajor = 1;
constexpr WORD kTypeLibMinor = 0;
constexpr LCID kNeutral = 0;

Text Braced(const GUID& guid) {
  std::array<wchar_t, 39> buffer{};
  ::StringFromGUID2(guid, buffer.data(), static_cast<int>(buffer.size()));
  return Text(platform::ViewOf(buffer.data(), buffer.size() - 1));
}

Text ClassKey() { return u"CLSID\\" + Braced(CLSID_Component); }

// Sets a text value of a key below HKEY_CLASSES_ROOT, which is made where it is missing. A null name is the unnamed
// value.
bool SetText(const Text& key, const wchar_t* name, TextView value) {
  const Text terminated(value);
  HKEY opened = nullptr;
  if (::RegCreateKeyExW(HKEY_CLASSES_ROOT, Wide(key), 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_SET_VALUE, nullptr,
                        &opened, nullptr) != ERROR_SUCCESS) {
    return false;
  }
  const LSTATUS status = ::RegSetValueExW(opened, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(terminated.c_str()),
                                          static_cast<DWORD>((terminated.size() + 1) * sizeof(char16_t)));
  ::RegCloseKey(opened);
  return status == ERROR_SUCCESS;
}

bool DeleteTree(const Text& key) {
  const LSTATUS status = ::RegDeleteTreeW(HKEY_CLASSES_ROOT, Wide(key));
  return status == ERROR_SUCCESS || status == ERROR_FILE_NOT_FOUND;
}

bool EnterClass(const Text& path) {
  const Text key = ClassKey();
  const Text progId(kProgId);
  const Text versioned(kVersionedProgId);
  const Text classId = Braced(CLSID_Component);
  return SetText(key, nullptr, kName) && SetText(key + u"\\InprocServer32", nullptr, path) &&
         SetText(key + u"\\InprocServer32", L"ThreadingModel", u"Apartment") &&
         SetText(key + u"\\ProgID", nullptr, versioned) &&
         SetText(key + u"\\VersionIndependentProgID", nullptr, progId) &&
         SetText(key + u"\\TypeLib", nullptr, Braced(LIBID_Nerio)) && SetText(key + u"\\Version", nullptr, u"1.0") &&
         SetText(key + u"\\Programmable", nullptr, u"") && SetText(versioned, nullptr, kName) &&
         SetText(versioned + u"\\CLSID", nullptr, classId) && SetText(progId, nullptr, kName) &&
         SetText(progId + u"\\CLSID", nullptr, classId) && SetText(progId + u"\\CurVer", nullptr, versioned);
}

bool EnterTypeLibrary(const Text& path) {
  platform::ComPointer<ITypeLib> library;
  Text writablePath = path;
  return SUCCEEDED(::LoadTypeLibEx(Wide(path), REGKIND_NONE, library.put())) &&
         SUCCEEDED(::RegisterTypeLib(library.get(), platform::WritableWide(writablePath), nullptr));
}

// The system takes out what it entered only when it finds all of it and the file at the entered place. What it leaves,
// of a library that was moved or entered by half, goes by name.
bool RemoveTypeLibrary() {
  ::UnRegisterTypeLib(LIBID_Nerio, kTypeLibMajor, kTypeLibMinor, kNeutral, SYS_WIN32);
  const bool interfaceGone = DeleteTree(u"Interface\\" + Braced(IID_INerioComponent));
  const bool libraryGone = DeleteTree(u"TypeLib\\" + Braced(LIBID_Nerio));
  return interfaceGone && libraryGone;
}

}  // namespace

HRESULT Register() noexcept try {
  Text path;
  const platform::SystemStatus status = platform::ModulePath(path);
  if (status != platform::SystemStatus::kSuccess) return HRESULT_FROM_WIN32(static_cast<DWORD>(NumberOf(status)));
  const bool classEntered = EnterClass(path);
  if (classEntered && EnterTypeLibrary(path)) return S_OK;
  Unregister();
  return classEntered ? SELFREG_E_TYPELIB : SELFREG_E_CLASS;
} catch (const std::bad_alloc&) {
  Unregister();
  return E_OUTOFMEMORY;
}

HRESULT Unregister() noexcept try {
  // Everything is tried, whatever fails.
  const bool classGone = DeleteTree(ClassKey());
  const bool versionedGone = DeleteTree(Text(kVersionedProgId));
  const bool progIdGone = DeleteTree(Text(kProgId));
  const bool libraryGone = RemoveTypeLibrary();
  if (!classGone || !versionedGone || !progIdGone) return SELFREG_E_CLASS;
  return libraryGone ? S_OK : SELFREG_E_TYPELIB;
} catch (const std::bad_alloc&) {
  return E_OUTOFMEMORY;
}

}  // namespace nerio::component
