// What registration adds to the system's registry and takes out again, and the way without registration.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
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
    Collect(below, path + L'\\' + name.data(), found);
    ::RegCloseKey(below);
  }
}

std::set<std::wstring> Classes() {
  std::set<std::wstring> found;
  Collect(HKEY_CLASSES_ROOT, L"", found);
  return found;
}

std::vector<std::string> Difference(const std::set<std::wstring>& more, const std::set<std::wstring>& less) {
  std::vector<std::wstring> difference;
  std::set_difference(more.begin(), more.end(), less.begin(), less.end(), std::back_inserter(difference));
  std::vector<std::string> texts;
  for (const std::wstring& each : difference) texts.push_back(ToUtf8(platform::ViewOf(each.data(), each.size())));
  return texts;
}

TEST(Registration, AddsWhatIsNeededAndTakesAllOfItOut) {
  const LoadedComponent component;
  ASSERT_EQ(component.unregisterServer(), S_OK) << "nothing there is no failure";
  const auto before = Classes();
  ASSERT_EQ(component.registerServer(), S_OK);
  const auto after = Classes();
  EXPECT_THAT(Difference(before, after), ::testing::IsEmpty()) << "nothing else is changed";

  const std::string path = ToUtf8(ComponentPath());
  const std::string id = "\\CLSID\\{C21AF465-EACB-40F2-95FE-729D6CEACC27}";
  std::vector<std::string> added = Difference(after, before);
  // How the system enters a type library is its own affair; whose keys they are is not.
  const std::regex ofTypeLibrary(R"(\\typelib\\\{676E0020-.*|\\interface\\\{7675C634-.*)", std::regex::icase);
  const auto entered =
      std::erase_if(added, [&](const std::string& each) { return std::regex_match(each, ofTypeLibrary); });
  EXPECT_GT(entered, 0u) << "no type library was entered";
  EXPECT_THAT(added,
              ::testing::UnorderedElementsAre(
                  id, id + "|=Componente Nerio", id + "\\InprocServer32", id + "\\InprocServer32|=" + path,
                  id + "\\InprocServer32|ThreadingModel=Apartment", id + "\\ProgID", id + "\\ProgID|=Nerio.Component.1",
                  id + "\\Programmable", id + "\\Programmable|=", id + "\\TypeLib",
                  id + "\\TypeLib|={676E0020-0223-4BA2-AA47-31E654BEDF2E}", id + "\\Version", id + "\\Version|=1.0",
                  id + "\\VersionIndependentProgID", id + "\\VersionIndependentProgID|=Nerio.Component",
                  "\\Nerio.Component", "\\Nerio.Component|=Componente Nerio", "\\Nerio.Component\\CLSID",
                  "\\Nerio.Component\\CLSID|={C21AF465-EACB-40F2-95FE-729D6CEACC27}", "\\Nerio.Component\\CurVer",
                  "\\Nerio.Component\\CurVer|=Nerio.Component.1", "\\Nerio.Component.1",
                  "\\Nerio.Component.1|=Componente Nerio", "\\Nerio.Component.1\\CLSID",
                  "\\Nerio.Component.1\\CLSID|={C21AF465-EACB-40F2-95FE-729D6CEACC27}"));
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

TEST(Registration, KeyThatCannotBeWritten_LeavesNothingBehind) {
  // The first and the last key of the class, and that of the type library.
  const std::pair<std::string, HRESULT> rows[] = {
      {"CLSID\\{C21AF465-EACB-40F2-95FE-729D6CEACC27}", SELFREG_E_CLASS},
      {"Nerio.Component\\CurVer", SELFREG_E_CLASS},
      {"TypeLib\\{676E0020-0223-4BA2-AA47-31E654BEDF2E}\\1.0", SELFREG_E_TYPELIB},
  };
  const LoadedComponent component;
  ASSERT_EQ(component.unregisterServer(), S_OK);
  for (const auto& [path, answer] : rows) {
    const AnsiText below("Software\\Classes\\" + path);
    HKEY key = nullptr;
    ASSERT_EQ(::RegCreateKeyA(HKEY_LOCAL_MACHINE, below.c_str(), &key), ERROR_SUCCESS);
    ::RegCloseKey(key);
    const auto before = Classes();
    testing::DenyRights(below, KEY_SET_VALUE | KEY_CREATE_SUB_KEY);
    EXPECT_EQ(component.registerServer(), answer) << path;
    EXPECT_THAT(Difference(Classes(), before), ::testing::IsEmpty()) << "left behind after " << path;
    ::RegDeleteKeyA(HKEY_LOCAL_MACHINE, below.c_str());
  }
  EXPECT_EQ(component.registerServer(), S_OK) << "nothing denied any more";
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
