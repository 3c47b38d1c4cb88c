#include "nerio/component/windows/registration.h"

#include <array>
#include <new>
#include <vector>

#include "nerio/component/windows/registry_entries.h"
#include "nerio/hosts/windows/automation/wide.h"
#include "nerio/hosts/windows/module_location.h"
#include "nerio_automation.h"

// The order matters: it needs the COM headers.
#include <olectl.h>

namespace nerio::component {
namespace {

using platform::Wide;

constexpr TextView kClasses = u"Software\\Classes\\";
constexpr TextView kProgId = u"Nerio.Component";
constexpr TextView kVersionedProgId = u"Nerio.Component.1";
constexpr TextView kName = u"Componente Nerio";
// The system's marshaller of interfaces that a type library describes.
constexpr TextView kAutomationMarshaller = u"{00020424-0000-0000-C000-000000000046}";

Text Braced(const GUID& guid) {
  std::array<wchar_t, 39> buffer{};
  ::StringFromGUID2(guid, buffer.data(), static_cast<int>(buffer.size()));
  return Text(platform::ViewOf(buffer.data(), buffer.size() - 1));
}

// The keys that are the component's alone, without what is below them.
Text ClassKey() { return Text(kClasses) + u"CLSID\\" + Braced(CLSID_Component); }
// The class has an application of its own, with the same identifier.
Text ApplicationKey() { return Text(kClasses) + u"AppID\\" + Braced(CLSID_Component); }
Text ProgIdKey() { return Text(kClasses).append(kProgId); }
Text VersionedProgIdKey() { return Text(kClasses).append(kVersionedProgId); }
Text TypeLibraryKey() { return Text(kClasses) + u"TypeLib\\" + Braced(LIBID_Nerio); }
Text InterfaceKey() { return Text(kClasses) + u"Interface\\" + Braced(IID_INerioComponent); }

struct Entry {
  Text key;
  const wchar_t* name;  // null: the unnamed value
  Text value;
};

std::vector<Entry> ClassEntries(const Text& path) {
  const Text classId = Braced(CLSID_Component);
  const Text versioned(kVersionedProgId);
  return {
      {ClassKey(), nullptr, Text(kName)},
      {ClassKey(), L"AppID", classId},
      {ClassKey() + u"\\InprocServer32", nullptr, path},
      {ClassKey() + u"\\InprocServer32", L"ThreadingModel", u"Apartment"},
      {ClassKey() + u"\\ProgID", nullptr, versioned},
      {ClassKey() + u"\\VersionIndependentProgID", nullptr, Text(kProgId)},
      {ClassKey() + u"\\TypeLib", nullptr, Braced(LIBID_Nerio)},
      {ClassKey() + u"\\Version", nullptr, u"1.0"},
      {ClassKey() + u"\\Programmable", nullptr, u""},
      {ApplicationKey(), nullptr, Text(kName)},
      // Empty: the system's own surrogate.
      {ApplicationKey(), L"DllSurrogate", u""},
      {VersionedProgIdKey(), nullptr, Text(kName)},
      {VersionedProgIdKey() + u"\\CLSID", nullptr, classId},
      {ProgIdKey(), nullptr, Text(kName)},
      {ProgIdKey() + u"\\CLSID", nullptr, classId},
      {ProgIdKey() + u"\\CurVer", nullptr, versioned},
  };
}

// What the system's own routine enters, which does so for all users only and cannot take back a part of it.
std::vector<Entry> TypeLibraryEntries(const Text& path) {
  const Text version = TypeLibraryKey() + u"\\1.0";
  return {
      {version, nullptr, u"Nerio 1.0"},
      {version + u"\\0\\win32", nullptr, path},
      {version + u"\\FLAGS", nullptr, u"0"},
      {version + u"\\HELPDIR", nullptr, path.substr(0, path.rfind(u'\\'))},
      {InterfaceKey(), nullptr, u"INerioComponent"},
      {InterfaceKey() + u"\\ProxyStubClsid32", nullptr, Text(kAutomationMarshaller)},
      {InterfaceKey() + u"\\TypeLib", nullptr, Braced(LIBID_Nerio)},
      {InterfaceKey() + u"\\TypeLib", L"Version", u"1.0"},
  };
}

HKEY RootOf(Users users) { return users == Users::kAll ? HKEY_LOCAL_MACHINE : HKEY_CURRENT_USER; }

HRESULT AnswerTo(LSTATUS status, HRESULT otherwise) {
  if (status == ERROR_SUCCESS) return S_OK;
  return status == ERROR_ACCESS_DENIED ? E_ACCESSDENIED : otherwise;
}

HRESULT Enter(RegistryEntries& entries, const std::vector<Entry>& wanted, HRESULT failure) {
  for (const Entry& entry : wanted) {
    const LSTATUS status = entries.Set(entry.key, entry.name, entry.value);
    if (status != ERROR_SUCCESS) return AnswerTo(status, failure);
  }
  return S_OK;
}

HRESULT DeleteTree(Users users, const Text& key, HRESULT failure) {
  const LSTATUS status = ::RegDeleteTreeW(RootOf(users), Wide(key));
  return AnswerTo(status == ERROR_FILE_NOT_FOUND ? LSTATUS{ERROR_SUCCESS} : status, failure);
}

}  // namespace

HRESULT Register(Users users) noexcept try {
  Text path;
  const platform::SystemStatus status = platform::ModulePath(path);
  if (status != platform::SystemStatus::kSuccess) return HRESULT_FROM_WIN32(static_cast<DWORD>(NumberOf(status)));
  RegistryEntries entries(RootOf(users));
  HRESULT result = Enter(entries, ClassEntries(path), SELFREG_E_CLASS);
  if (SUCCEEDED(result)) result = Enter(entries, TypeLibraryEntries(path), SELFREG_E_TYPELIB);
  if (SUCCEEDED(result)) entries.Keep();
  return result;
} catch (const std::bad_alloc&) {
  return E_OUTOFMEMORY;
}

HRESULT Unregister(Users users) noexcept try {
  // Everything is tried, whatever fails; the first failure is the answer.
  HRESULT result = S_OK;
  for (const Text& key : {ClassKey(), ApplicationKey(), VersionedProgIdKey(), ProgIdKey()}) {
    const HRESULT gone = DeleteTree(users, key, SELFREG_E_CLASS);
    if (SUCCEEDED(result)) result = gone;
  }
  for (const Text& key : {InterfaceKey(), TypeLibraryKey()}) {
    const HRESULT gone = DeleteTree(users, key, SELFREG_E_TYPELIB);
    if (SUCCEEDED(result)) result = gone;
  }
  return result;
} catch (const std::bad_alloc&) {
  return E_OUTOFMEMORY;
}

}  // namespace nerio::component
