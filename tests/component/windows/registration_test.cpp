// What registration adds to the system's registry and takes out again, and the way without registration.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>

#include "nerio/hosts/windows/automation/wide.h"
#include "nerio/types/utf8.h"
#include "tests/component/windows/loaded_component.h"
#include "tests/component/windows/run_program.h"
#include "tests/hosts/windows/scratch_key.h"
#include "tests/testing/temporary_folder.h"

// The order matters: it needs the COM headers.
#include <olectl.h>

namespace nerio::component {
namespace {

namespace fs = std::filesystem;
using platform::ComPointer;
using testing::ComponentPath;
using testing::LoadedComponent;

// Every key and value below a key: "path", and "path|name=data" with texts as they are and anything else as its type.
void Collect(HKEY key, const std::wstring& path, std::set<std::wstring>& found) {
  found.insert(path);
  std::array<wchar_t, 16384> name{};
  std::vector<std::byte> data(1 << 16);
  for (DWORD i = 0;; ++i) {
    auto length = static_cast<DWORD>(name.size());
    DWORD type = 0;
    auto size = static_cast<DWORD>(data.size() - 2);
    if (::RegEnumValueW(key, i, name.data(), &length, nullptr, &type, reinterpret_cast<BYTE*>(data.data()), &size) !=
        ERROR_SUCCESS) {
      break;
    }
    data[size] = data[size + 1] = std::byte{0};
    found.insert(path + L'|' + name.data() + L'=' +
                 (type == REG_SZ ? reinterpret_cast<const wchar_t*>(data.data()) : std::to_wstring(type)));
  }
  for (DWORD i = 0;; ++i) {
    auto length = static_cast<DWORD>(name.size());
    if (::RegEnumKeyExW(key, i, name.data(), &length, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS) break;
    HKEY below = nullptr;
    if (::RegOpenKeyExW(key, name.data(), 0, KEY_READ, &below) != ERROR_SUCCESS) continue;
    // This one is spelled by whoever made it first.
    const bool typeLibraries = ::lstrcmpiW(name.data(), L"TypeLib") == 0;
    Collect(below, path + L'\\' + (typeLibraries ? L"TypeLib" : name.data()), found);
    ::RegCloseKey(below);
  }
}

std::set<std::wstring> ClassesBelow(HKEY root) {
  std::set<std::wstring> found;
  HKEY classes = nullptr;
  if (::RegOpenKeyExW(root, L"Software\\Classes", 0, KEY_READ, &classes) != ERROR_SUCCESS) return found;
  Collect(classes, L"", found);
  ::RegCloseKey(classes);
  return found;
}

std::set<std::wstring> Classes() { return ClassesBelow(HKEY_LOCAL_MACHINE); }

std::vector<std::string> Difference(const std::set<std::wstring>& more, const std::set<std::wstring>& less) {
  std::vector<std::wstring> difference;
  std::set_difference(more.begin(), more.end(), less.begin(), less.end(), std::back_inserter(difference));
  std::vector<std::string> texts;
  for (const std::wstring& each : difference) texts.push_back(ToUtf8(platform::ViewOf(each.data(), each.size())));
  return texts;
}

// Every key and value that a registration of the library at this path adds.
std::vector<std::string> WhatIsEntered(const std::string& path) {
  const std::string id = "{C21AF465-EACB-40F2-95FE-729D6CEACC27}";
  const std::string library = "{676E0020-0223-4BA2-AA47-31E654BEDF2E}";
  const std::string ofClass = "\\CLSID\\" + id;
  const std::string ofApplication = "\\AppID\\" + id;
  const std::string ofLibrary = "\\TypeLib\\" + library;
  const std::string ofInterface = "\\Interface\\{7675C634-354B-4BF8-AB28-CABA88706F2E}";
  return {
      ofClass,
      ofClass + "|=Componente Nerio",
      ofClass + "|AppID=" + id,
      ofClass + "\\InprocServer32",
      ofClass + "\\InprocServer32|=" + path,
      ofClass + "\\InprocServer32|ThreadingModel=Apartment",
      ofClass + "\\ProgID",
      ofClass + "\\ProgID|=Nerio.Component.1",
      ofClass + "\\Programmable",
      ofClass + "\\Programmable|=",
      ofClass + "\\TypeLib",
      ofClass + "\\TypeLib|=" + library,
      ofClass + "\\Version",
      ofClass + "\\Version|=1.0",
      ofClass + "\\VersionIndependentProgID",
      ofClass + "\\VersionIndependentProgID|=Nerio.Component",
      ofApplication,
      ofApplication + "|=Componente Nerio",
      ofApplication + "|DllSurrogate=",
      "\\Nerio.Component",
      "\\Nerio.Component|=Componente Nerio",
      "\\Nerio.Component\\CLSID",
      "\\Nerio.Component\\CLSID|=" + id,
      "\\Nerio.Component\\CurVer",
      "\\Nerio.Component\\CurVer|=Nerio.Component.1",
      "\\Nerio.Component.1",
      "\\Nerio.Component.1|=Componente Nerio",
      "\\Nerio.Component.1\\CLSID",
      "\\Nerio.Component.1\\CLSID|=" + id,
      ofLibrary,
      ofLibrary + "\\1.0",
      ofLibrary + "\\1.0|=Nerio 1.0",
      ofLibrary + "\\1.0\\0",
      ofLibrary + "\\1.0\\0\\win32",
      ofLibrary + "\\1.0\\0\\win32|=" + path,
      ofLibrary + "\\1.0\\FLAGS",
      ofLibrary + "\\1.0\\FLAGS|=0",
      ofLibrary + "\\1.0\\HELPDIR",
      ofLibrary + "\\1.0\\HELPDIR|=" + path.substr(0, path.rfind('\\')),
      ofInterface,
      ofInterface + "|=INerioComponent",
      ofInterface + "\\ProxyStubClsid32",
      ofInterface + "\\ProxyStubClsid32|={00020424-0000-0000-C000-000000000046}",
      ofInterface + "\\TypeLib",
      ofInterface + "\\TypeLib|=" + library,
      ofInterface + "\\TypeLib|Version=1.0",
  };
}

TEST(Registration, AddsWhatIsNeededAndTakesAllOfItOut) {
  const LoadedComponent component;
  ASSERT_EQ(component.unregisterServer(), S_OK) << "nothing there is no failure";
  const auto before = Classes();
  ASSERT_EQ(component.registerServer(), S_OK);
  const auto after = Classes();
  EXPECT_THAT(Difference(before, after), ::testing::IsEmpty()) << "nothing else is changed";
  EXPECT_THAT(Difference(after, before), ::testing::UnorderedElementsAreArray(WhatIsEntered(ToUtf8(ComponentPath()))));
  ASSERT_EQ(component.registerServer(), S_OK);
  EXPECT_EQ(Classes(), after) << "a second registration changes nothing";
  ASSERT_EQ(component.unregisterServer(), S_OK);
  const auto end = Classes();
  EXPECT_THAT(Difference(end, before), ::testing::IsEmpty()) << "left behind";
  EXPECT_THAT(Difference(before, end), ::testing::IsEmpty()) << "taken out too much";
  EXPECT_EQ(component.unregisterServer(), S_OK) << "a second time";
}

// Runs the system's own program for it.
DWORD RunRegsvr32(const std::wstring& options, const fs::path& library = ComponentPath()) {
  return testing::RunProgram(L"regsvr32.exe " + options + L" /s \"" + library.wstring() + L'"');
}

TEST(Registration, Regsvr32_AddsAndTakesOutTheSame) {
  const LoadedComponent component;
  ASSERT_EQ(component.unregisterServer(), S_OK);
  const auto before = Classes();
  ASSERT_EQ(component.registerServer(), S_OK);
  const auto after = Classes();
  ASSERT_EQ(component.unregisterServer(), S_OK);
  EXPECT_EQ(RunRegsvr32(L""), 0u);
  EXPECT_EQ(Classes(), after);
  EXPECT_EQ(RunRegsvr32(L"/u"), 0u);
  EXPECT_EQ(Classes(), before);
}

// The type library can be taken out only by whoever can read it, and the one at the registered place is gone.
TEST(Registration, LibraryThatWasMoved_IsTakenOutFromItsNewPlace) {
  const testing::TemporaryFolder folder;
  const fs::path old = folder.path() / L"Nerio.dll";
  const LoadedComponent component;
  ASSERT_EQ(component.unregisterServer(), S_OK);
  const auto before = Classes();
  fs::copy_file(fs::path(ComponentPath()), old);
  // By another process: the file cannot go as long as the process that loaded it.
  ASSERT_EQ(RunRegsvr32(L"", old), 0u);
  ASSERT_NE(Classes(), before);
  fs::remove(old);
  EXPECT_EQ(component.unregisterServer(), S_OK);
  EXPECT_THAT(Difference(Classes(), before), ::testing::IsEmpty()) << "left behind";
}

TEST(Registration, ForTheUserAlone_AddsTheSameBelowTheUsersClasses) {
  const LoadedComponent component;
  ASSERT_EQ(component.unregisterServer(), S_OK);
  // Made by whoever needs one of them first, and shared.
  for (const wchar_t* const shared : {L"CLSID", L"AppID", L"TypeLib", L"Interface"}) {
    HKEY key = nullptr;
    ASSERT_EQ(::RegCreateKeyW(HKEY_CURRENT_USER, (std::wstring(L"Software\\Classes\\") + shared).c_str(), &key),
              ERROR_SUCCESS);
    ::RegCloseKey(key);
  }
  const auto before = ClassesBelow(HKEY_CURRENT_USER);
  const auto ofAll = Classes();
  EXPECT_EQ(RunRegsvr32(L"/n /i:user"), 0u);
  const auto after = ClassesBelow(HKEY_CURRENT_USER);
  EXPECT_THAT(Difference(after, before), ::testing::UnorderedElementsAreArray(WhatIsEntered(ToUtf8(ComponentPath()))));
  EXPECT_EQ(Classes(), ofAll) << "entered for all users";
  EXPECT_EQ(RunRegsvr32(L"/u /n /i:user"), 0u);
  EXPECT_THAT(Difference(ClassesBelow(HKEY_CURRENT_USER), before), ::testing::IsEmpty()) << "left behind";
  EXPECT_EQ(component.install(TRUE, L"tutti"), E_INVALIDARG);
  EXPECT_EQ(Classes(), ofAll);
}

// What is below the component's own keys. All classes take seconds to read.
std::set<std::wstring> OwnKeys() {
  std::set<std::wstring> found;
  for (const wchar_t* const own :
       {L"CLSID\\{C21AF465-EACB-40F2-95FE-729D6CEACC27}", L"AppID\\{C21AF465-EACB-40F2-95FE-729D6CEACC27}",
        L"Nerio.Component", L"Nerio.Component.1", L"TypeLib\\{676E0020-0223-4BA2-AA47-31E654BEDF2E}",
        L"Interface\\{7675C634-354B-4BF8-AB28-CABA88706F2E}"}) {
    HKEY key = nullptr;
    const std::wstring path = std::wstring(L"Software\\Classes\\") + own;
    if (::RegOpenKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS) continue;
    Collect(key, path, found);
    ::RegCloseKey(key);
  }
  return found;
}

// Denies writing to keys of a registration in turn, lets the library register itself again and looks at what is there.
TEST(Registration, KeyThatCannotBeWritten_DeniesAccessAndLeavesAllAsItWas) {
  const std::string paths[] = {
      "CLSID\\{C21AF465-EACB-40F2-95FE-729D6CEACC27}",
      "AppID\\{C21AF465-EACB-40F2-95FE-729D6CEACC27}",
      "Nerio.Component\\CurVer",
      "TypeLib\\{676E0020-0223-4BA2-AA47-31E654BEDF2E}\\1.0",
      "Interface\\{7675C634-354B-4BF8-AB28-CABA88706F2E}\\TypeLib",
  };
  const testing::TemporaryFolder folder;
  const fs::path earlier = folder.path() / L"Nerio.dll";
  fs::copy_file(fs::path(ComponentPath()), earlier);
  const LoadedComponent component;
  for (const bool registeredBefore : {false, true}) {
    for (const std::string& path : paths) {
      ASSERT_EQ(component.unregisterServer(), S_OK);
      ASSERT_EQ(registeredBefore ? RunRegsvr32(L"", earlier) : 0u, 0u);
      const AnsiText below("Software\\Classes\\" + path);
      HKEY key = nullptr;
      ASSERT_EQ(::RegCreateKeyA(HKEY_LOCAL_MACHINE, below.c_str(), &key), ERROR_SUCCESS);
      ::RegCloseKey(key);
      const auto before = OwnKeys();
      testing::DenyRights(below, KEY_SET_VALUE | KEY_CREATE_SUB_KEY);
      EXPECT_EQ(component.registerServer(), E_ACCESSDENIED) << path;
      EXPECT_THAT(Difference(OwnKeys(), before), ::testing::IsEmpty()) << "left behind after " << path;
      EXPECT_THAT(Difference(before, OwnKeys()), ::testing::IsEmpty()) << "lost after " << path;
      testing::DenyRights(below, 0);
    }
  }
  EXPECT_EQ(component.registerServer(), S_OK) << "nothing denied any more";
  EXPECT_EQ(component.unregisterServer(), S_OK);
}

TEST(Registration, KeyThatCannotBeDeleted_DeniesAccess) {
  const LoadedComponent component;
  ASSERT_EQ(component.registerServer(), S_OK);
  const AnsiText key("Software\\Classes\\Nerio.Component.1");
  testing::DenyRights(key, DELETE | KEY_ENUMERATE_SUB_KEYS);
  EXPECT_EQ(component.unregisterServer(), E_ACCESSDENIED);
  testing::DenyRights(key, 0);
  EXPECT_EQ(component.unregisterServer(), S_OK);
}

TEST(Registration, RegisteredTypeLibrary_IsFoundByItsIdentifier) {
  const LoadedComponent component;
  ASSERT_EQ(component.registerServer(), S_OK);
  ComPointer<ITypeLib> library;
  EXPECT_EQ(::LoadRegTypeLib(LIBID_Nerio, 1, 0, 0, library.put()), S_OK);
  ASSERT_EQ(component.unregisterServer(), S_OK);
}

// The context that a manifest of a folder gives a program, active as long as this object lives.
class ActiveContext {
 public:
  explicit ActiveContext(const fs::path& manifest)
      : source_(manifest.wstring()), folder_(manifest.parent_path().wstring()) {
    ACTCTXW description{};
    description.cbSize = sizeof description;
    description.dwFlags = ACTCTX_FLAG_ASSEMBLY_DIRECTORY_VALID;
    description.lpSource = source_.c_str();
    description.lpAssemblyDirectory = folder_.c_str();
    context_ = ::CreateActCtxW(&description);
    if (context_ == INVALID_HANDLE_VALUE || ::ActivateActCtx(context_, &cookie_) == 0) {
      throw std::runtime_error("no context from this manifest: " + std::to_string(::GetLastError()));
    }
  }
  ~ActiveContext() {
    ::DeactivateActCtx(0, cookie_);
    ::ReleaseActCtx(context_);
  }

 private:
  std::wstring source_;
  std::wstring folder_;
  HANDLE context_;
  ULONG_PTR cookie_ = 0;
};

// A program whose manifest names the component as a dependency finds it beside itself. Where the assembly is called as
// its DLL, the system reads the manifest inside the DLL and no other.
TEST(Registration, WithoutIt_TheLibraryBesideTheProgramIsEnough) {
  const testing::TemporaryFolder folder;
  fs::copy_file(fs::path(ComponentPath()), folder.path() / L"Nerio.dll");
  std::ofstream(folder.path() / L"program.exe.manifest") << R"(<?xml version="1.0" encoding="UTF-8" standalone="yes"?>
<assembly xmlns="urn:schemas-microsoft-com:asm.v1" manifestVersion="1.0">
  <assemblyIdentity type="win32" name="program" version="1.0.0.0" processorArchitecture="x86"/>
  <dependency>
    <dependentAssembly>
      <assemblyIdentity type="win32" name="Nerio" version=")" NERIO_VERSION R"(.0" processorArchitecture="x86"/>
    </dependentAssembly>
  </dependency>
</assembly>
)";
  CLSID id{};
  ASSERT_NE(::CLSIDFromProgID(L"Nerio.Component", &id), S_OK) << "registered";

  {
    const ActiveContext context(folder.path() / L"program.exe.manifest");
    // By its name the system may give the class an identifier of this context only.
    EXPECT_EQ(::CLSIDFromProgID(L"Nerio.Component", &id), S_OK);
    for (const CLSID& way : {id, CLSID_Component}) {
      ComPointer<INerioComponent> object;
      EXPECT_EQ(::CoCreateInstance(way, nullptr, CLSCTX_INPROC_SERVER, IID_INerioComponent, object.putVoid()), S_OK);
      ASSERT_TRUE(object);
      VARIANT_BOOL present = VARIANT_FALSE;
      EXPECT_EQ(object->CheckXMLParser(&present), S_OK);
      EXPECT_EQ(present, VARIANT_TRUE);
    }
    ::CoFreeUnusedLibrariesEx(0, 0);
  }
}

}  // namespace
}  // namespace nerio::component
