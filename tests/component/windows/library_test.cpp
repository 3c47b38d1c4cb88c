// The library as a file and as a server of objects.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <mutex>
#include <set>
#include <span>
#include <thread>

#include "nerio/hosts/windows/automation/bstr.h"
#include "nerio/types/utf8.h"
#include "tests/component/windows/loaded_component.h"
#include "tests/component/windows/replaced_import.h"

// The order matters: it needs the automation types.
#include <ocidl.h>

namespace nerio::component {
namespace {

using platform::Bstr;
using platform::ComPointer;
using testing::ComponentPath;
using ::testing::ElementsAre;
using ::testing::IsSubsetOf;
using testing::LoadedComponent;

// The library's file as the system maps it: headers and tables lie at their relative addresses.
class Image {
 public:
  Image() : module_(::LoadLibraryExW(platform::Wide(ComponentPath()), nullptr, DONT_RESOLVE_DLL_REFERENCES)) {}
  ~Image() { ::FreeLibrary(module_); }

  template <typename Part>
  const Part* At(DWORD relative) const {
    return reinterpret_cast<const Part*>(reinterpret_cast<const std::byte*>(module_) + relative);
  }
  const IMAGE_NT_HEADERS32& Headers() const {
    return *At<IMAGE_NT_HEADERS32>(static_cast<DWORD>(At<IMAGE_DOS_HEADER>(0)->e_lfanew));
  }
  DWORD Table(int entry) const { return Headers().OptionalHeader.DataDirectory[entry].VirtualAddress; }
  HMODULE module() const { return module_; }

 private:
  HMODULE module_;
};

TEST(ComponentFile, IsARelocatableLibraryFor32Bits) {
  const Image image;
  EXPECT_EQ(image.Headers().FileHeader.Machine, IMAGE_FILE_MACHINE_I386);
  EXPECT_NE(image.Headers().FileHeader.Characteristics & IMAGE_FILE_DLL, 0);
  EXPECT_EQ(image.Headers().FileHeader.Characteristics & IMAGE_FILE_RELOCS_STRIPPED, 0);
  const WORD flags = image.Headers().OptionalHeader.DllCharacteristics;
  EXPECT_NE(flags & IMAGE_DLLCHARACTERISTICS_DYNAMIC_BASE, 0) << "no address space layout randomisation";
  EXPECT_NE(flags & IMAGE_DLLCHARACTERISTICS_NX_COMPAT, 0) << "no data execution prevention";
  EXPECT_NE(image.Table(IMAGE_DIRECTORY_ENTRY_BASERELOC), 0u);
}

TEST(ComponentFile, NeedsTheSystemsLibrariesOnly) {
  const Image image;
  std::vector<std::string> names;
  for (const auto* entry = image.At<IMAGE_IMPORT_DESCRIPTOR>(image.Table(IMAGE_DIRECTORY_ENTRY_IMPORT));
       entry->Name != 0; ++entry) {
    std::string name = image.At<char>(entry->Name);
    for (char& letter : name) letter = static_cast<char>(std::tolower(letter));
    names.push_back(name);
  }
  EXPECT_FALSE(names.empty());
  EXPECT_THAT(names, IsSubsetOf({"kernel32.dll", "advapi32.dll", "ole32.dll", "oleaut32.dll", "msvcrt.dll"}));
}

TEST(ComponentFile, ExportsItsFunctionsByTheirPlainNames) {
  const Image image;
  const auto* table = image.At<IMAGE_EXPORT_DIRECTORY>(image.Table(IMAGE_DIRECTORY_ENTRY_EXPORT));
  const std::span names(image.At<DWORD>(table->AddressOfNames), table->NumberOfNames);
  std::vector<std::string> exported;
  for (const DWORD name : names) exported.emplace_back(image.At<char>(name));
  EXPECT_THAT(exported, ElementsAre("DllCanUnloadNow", "DllGetClassObject", "DllInstall", "DllRegisterServer",
                                    "DllUnregisterServer"));
}

TEST(ComponentFile, HasAVersionResource) {
  DWORD ignored = 0;
  const DWORD size = ::GetFileVersionInfoSizeW(platform::Wide(ComponentPath()), &ignored);
  ASSERT_GT(size, 0u);
  std::vector<std::byte> data(size);
  ASSERT_NE(::GetFileVersionInfoW(platform::Wide(ComponentPath()), 0, size, data.data()), 0);
  const auto text = [&](const std::wstring& name) {
    void* value = nullptr;
    UINT length = 0;
    if (::VerQueryValueW(data.data(), (L"\\StringFileInfo\\041004E4\\" + name).c_str(), &value, &length) == 0)
      return Text(u"?");
    return Text(static_cast<const char16_t*>(value));
  };
  EXPECT_EQ(text(L"FileVersion"), FromUtf8(NERIO_VERSION));
  EXPECT_EQ(text(L"FileDescription"), u"Componente Nerio");
  EXPECT_EQ(text(L"OriginalFilename"), u"Nerio.dll");
  EXPECT_EQ(text(L"OLESelfRegister"), u"");
}

TEST(ComponentFile, DescribesItsOneInterfaceAndItsOneClass) {
  ComPointer<ITypeLib> library;
  ASSERT_EQ(::LoadTypeLibEx(platform::Wide(ComponentPath()), REGKIND_NONE, library.put()), S_OK);
  std::set<std::string> types;
  for (UINT i = 0; i < library->GetTypeInfoCount(); ++i) {
    Bstr name;
    ASSERT_EQ(library->GetDocumentation(static_cast<INT>(i), name.put(), nullptr, nullptr, nullptr), S_OK);
    types.insert(ToUtf8(name.view()));
  }
  EXPECT_THAT(types, ElementsAre("Component", "INerioComponent"));
}

TEST(ComponentFile, MembersBearTheNamesOfTheRoutinesAndKeepTheirIdentifiers) {
  const LoadedComponent component;
  const ComPointer<INerioComponent> object = component.Create();
  ComPointer<ITypeInfo> info;
  ASSERT_EQ(object->GetTypeInfo(0, 0, info.put()), S_OK);
  const std::vector<std::wstring> members = {L"WriteLog",
                                             L"BuildPath",
                                             L"CheckXMLParser",
                                             L"SetXMLAttribute",
                                             L"AddXMLElement",
                                             L"EncodeBase64",
                                             L"DecodeBase64",
                                             L"GetGuid",
                                             L"GetDate",
                                             L"GetFieldValue",
                                             L"PopulateRecordset",
                                             L"GetErrorMessage",
                                             L"FormatTemplate",
                                             L"ValidateParam",
                                             L"LeggiImpostazione",
                                             L"ScriviImpostazione",
                                             L"CancellaImpostazione",
                                             L"EncodeBase64Text",
                                             L"Versione"};
  DISPID expected = 0;
  for (const std::wstring& member : members) {
    auto* name = const_cast<wchar_t*>(member.c_str());
    DISPID id = 0;
    EXPECT_EQ(object->GetIDsOfNames(IID_NULL, &name, 1, 0, &id), S_OK) << std::string(member.begin(), member.end());
    EXPECT_EQ(id, ++expected) << std::string(member.begin(), member.end());
  }
  TYPEATTR* attributes = nullptr;
  ASSERT_EQ(info->GetTypeAttr(&attributes), S_OK);
  const WORD own = 7;  // the members that every automation interface has
  EXPECT_EQ(attributes->cFuncs, members.size() + (attributes->typekind == TKIND_DISPATCH ? own : 0));
  info->ReleaseTypeAttr(attributes);
}

TEST(ComponentServer, OtherClassesAndMissingPlaces_AreRefused) {
  const LoadedComponent component;
  void* object = &object;
  EXPECT_EQ(component.getClassObject(CLSID_NULL, IID_IClassFactory, &object), CLASS_E_CLASSNOTAVAILABLE);
  EXPECT_EQ(object, nullptr);
  EXPECT_EQ(component.getClassObject(CLSID_Component, IID_IClassFactory, nullptr), E_POINTER);
  object = &object;
  EXPECT_EQ(component.getClassObject(CLSID_Component, IID_IDispatch, &object), E_NOINTERFACE);
  EXPECT_EQ(object, nullptr);
  const ComPointer<IClassFactory> factory = component.Factory();
  EXPECT_EQ(factory->CreateInstance(nullptr, IID_IUnknown, nullptr), E_POINTER);
  EXPECT_EQ(factory->QueryInterface(IID_IUnknown, nullptr), E_POINTER);
  object = &object;
  EXPECT_EQ(factory->CreateInstance(factory.get(), IID_IUnknown, &object), CLASS_E_NOAGGREGATION);
  EXPECT_EQ(object, nullptr);
  object = &object;
  EXPECT_EQ(factory->CreateInstance(nullptr, IID_IClassFactory, &object), E_NOINTERFACE);
  EXPECT_EQ(object, nullptr);
}

TEST(ComponentServer, LivingObjectsFactoriesAndLocks_KeepTheLibraryLoaded) {
  const LoadedComponent component;
  EXPECT_EQ(component.canUnloadNow(), S_OK);
  {
    const ComPointer<IClassFactory> factory = component.Factory();
    EXPECT_EQ(component.canUnloadNow(), S_FALSE);
  }
  EXPECT_EQ(component.canUnloadNow(), S_OK);
  {
    const ComPointer<INerioComponent> object = component.Create();
    EXPECT_EQ(component.canUnloadNow(), S_FALSE);
  }
  EXPECT_EQ(component.canUnloadNow(), S_OK);
  ASSERT_EQ(component.Factory()->LockServer(TRUE), S_OK);
  EXPECT_EQ(component.canUnloadNow(), S_FALSE);
  ASSERT_EQ(component.Factory()->LockServer(FALSE), S_OK);
  EXPECT_EQ(component.canUnloadNow(), S_OK);
}

// Its run-time library does not give back what it takes of the process when it is loaded.
TEST(ComponentServer, Library_StaysInTheProcess) {
  for (int i = 0; i < 3; ++i) {
    {
      const LoadedComponent component;
      Bstr guid;
      EXPECT_EQ(component.Create()->GetGuid(guid.put()), S_OK);
      EXPECT_EQ(component.canUnloadNow(), S_OK);
    }
    ::CoFreeUnusedLibrariesEx(0, 0);
    EXPECT_NE(::GetModuleHandleW(L"Nerio.dll"), nullptr);
  }
}

TEST(ComponentServer, ObjectsOfSeveralThreads_ShareOneDescriptionThatOutlivesThem) {
  const LoadedComponent component;
  constexpr int kObjects = 200;
  std::atomic<int> answered = 0;
  std::set<ITypeInfo*> described;
  std::mutex mutex;
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 4; ++thread) {
    threads.emplace_back([&] {
      ASSERT_EQ(::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), S_OK);
      for (int i = 0; i < kObjects; ++i) {
        const ComPointer<INerioComponent> object = component.Create();
        auto* name = const_cast<wchar_t*>(L"Versione");
        DISPID id = 0;
        if (object->GetIDsOfNames(IID_NULL, &name, 1, 0, &id) == S_OK && id == 19) ++answered;
        ComPointer<ITypeInfo> info;
        if (object->GetTypeInfo(0, 0, info.put()) == S_OK) {
          const std::lock_guard lock(mutex);
          described.insert(info.get());
        }
      }
      ::CoUninitialize();
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(answered, 4 * kObjects);
  ASSERT_EQ(described.size(), 1u);
  // What a caller takes and gives back is one reference, and an object takes none.
  ITypeInfo* const info = *described.begin();
  const auto count = [&] {
    info->AddRef();
    return info->Release();
  };
  const ULONG before = count();
  {
    const ComPointer<INerioComponent> object = component.Create();
    EXPECT_EQ(count(), before);
    ComPointer<ITypeInfo> taken;
    EXPECT_EQ(object->GetTypeInfo(0, 0, taken.put()), S_OK);
    EXPECT_EQ(count(), before + 1);
  }
  EXPECT_EQ(count(), before);
}

TEST(ComponentServer, Object_IsOneWithAllItsInterfaces) {
  const LoadedComponent component;
  const ComPointer<INerioComponent> object = component.Create();
  ComPointer<IUnknown> identity;
  ASSERT_EQ(object->QueryInterface(IID_IUnknown, identity.putVoid()), S_OK);
  for (const IID& id :
       {IID_IUnknown, IID_IDispatch, IID_INerioComponent, IID_ISupportErrorInfo, IID_IProvideClassInfo}) {
    ComPointer<IUnknown> other;
    ComPointer<IUnknown> same;
    ASSERT_EQ(object->QueryInterface(id, other.putVoid()), S_OK);
    ASSERT_EQ(other->QueryInterface(IID_IUnknown, same.putVoid()), S_OK);
    EXPECT_EQ(same.get(), identity.get());
  }
  ComPointer<IUnknown> none;
  EXPECT_EQ(object->QueryInterface(IID_IClassFactory, none.putVoid()), E_NOINTERFACE);
  EXPECT_FALSE(none);
  ComPointer<ISupportErrorInfo> support;
  ASSERT_EQ(object->QueryInterface(IID_ISupportErrorInfo, support.putVoid()), S_OK);
  EXPECT_EQ(support->InterfaceSupportsErrorInfo(IID_INerioComponent), S_OK);
  EXPECT_EQ(support->InterfaceSupportsErrorInfo(IID_IClassFactory), S_FALSE);
}

TEST(ComponentServer, Object_NamesItsClass) {
  const LoadedComponent component;
  const ComPointer<INerioComponent> object = component.Create();
  ComPointer<IProvideClassInfo> provider;
  ASSERT_EQ(object->QueryInterface(IID_IProvideClassInfo, provider.putVoid()), S_OK);
  EXPECT_EQ(provider->GetClassInfo(nullptr), E_POINTER);
  ComPointer<ITypeInfo> info;
  ASSERT_EQ(provider->GetClassInfo(info.put()), S_OK);
  Bstr name;
  EXPECT_EQ(info->GetDocumentation(MEMBERID_NIL, name.put(), nullptr, nullptr, nullptr), S_OK);
  EXPECT_EQ(name.view(), u"Component");
}

using LoadTypeLibraryFunction = HRESULT(WINAPI*)(const wchar_t*, REGKIND, ITypeLib**);
LoadTypeLibraryFunction loadTypeLibrary = nullptr;
int typeLibrariesRead = 0;

HRESULT WINAPI CountTypeLibrary(const wchar_t* path, REGKIND kind, ITypeLib** library) {
  ++typeLibrariesRead;
  return loadTypeLibrary(path, kind, library);
}

TEST(ComponentServer, TypeLibrary_IsReadOnceInAProcess) {
  const LoadedComponent component;
  component.Create();
  const testing::ReplacedImport<LoadTypeLibraryFunction> counted("LoadTypeLibEx", CountTypeLibrary, loadTypeLibrary);
  for (int i = 0; i < 3; ++i) component.Create();
  EXPECT_EQ(typeLibrariesRead, 0);
}

}  // namespace
}  // namespace nerio::component
