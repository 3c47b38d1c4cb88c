// Routines that are little more than calls of the system, beside those calls made bare: on Windows, or under Wine.
// Every contender checks its answers. The calls of a limit are those that the routine makes, with their arguments
// ready: no text is converted or put together. Times are real ones, since the system works in a process of its own
// under Wine.
//
// Writes what Google Benchmark would, which Debian has not for this target: JSON on the standard output, with one
// median per contender, and progress on the standard error. Exits 1 when a contender gave a wrong answer.

#include <windows.h>
// The order matters: the COM headers need the types above.
#include <oleauto.h>

#include <msxml2.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <functional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "nerio/hosts/windows/automation/bstr.h"
#include "nerio/hosts/windows/automation/com_apartment.h"
#include "nerio/hosts/windows/automation/com_pointer.h"
#include "nerio/hosts/windows/automation/wide.h"
#include "nerio/hosts/windows/module_location.h"
#include "nerio/platform/host.h"
#include "nerio/registry/cregistry.h"
#include "nerio/registry/native_layer.h"
#include "nerio/support/base64.h"
#include "nerio/support/conversions.h"
#include "nerio/support/trace_log.h"
#include "nerio_automation.h"

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;
using nerio::Text;
using nerio::platform::Bstr;
using nerio::platform::ComPointer;
using nerio::platform::Wide;

constexpr int kRepetitions = 9;
// In each repetition the contenders take turns this often, each time for about so long.
constexpr int kTurns = 20;
constexpr double kTurnNanoseconds = 8e6;

void Require(bool right, const char* what) {
  if (!right) throw std::runtime_error(what);
}

struct Contender {
  std::string name;
  std::function<void()> work;
  std::vector<double> nanoseconds;  // of one call, in each repetition
};

struct Item {
  std::string name;
  std::function<void()> prepare;  // before each turn of each contender
  std::vector<Contender> contenders;
  std::string size;
};

double Nanoseconds(const std::function<void()>& work, std::size_t iterations) {
  const auto start = Clock::now();
  for (std::size_t i = 0; i < iterations; ++i) work();
  return std::chrono::duration<double, std::nano>(Clock::now() - start).count();
}

void Measure(Item& item) {
  std::size_t iterations = 1;
  item.prepare();
  while (Nanoseconds(item.contenders[0].work, iterations) < kTurnNanoseconds) iterations *= 2;
  for (int repetition = 0; repetition < kRepetitions; ++repetition) {
    for (Contender& contender : item.contenders) contender.nanoseconds.push_back(0);
    for (int turn = 0; turn < kTurns; ++turn) {
      for (std::size_t i = 0; i < item.contenders.size(); ++i) {
        Contender& contender = item.contenders[(i + static_cast<std::size_t>(turn)) % item.contenders.size()];
        item.prepare();
        contender.nanoseconds.back() +=
            Nanoseconds(contender.work, iterations) / (kTurns * static_cast<double>(iterations));
      }
    }
  }
}

double Median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

// One setting of a branch.
Item Setting() {
  static constexpr char kPath[] = "Software\\Nerio\\Prova di velocita";
  nerio::CRegistry owner;
  owner.RamoPredefinito(u"Prova di velocita");
  Require(owner.ScriviRegistroEx(u"Nome", u"perch\u00E9 no") == u"True", "the setting cannot be written");
  const auto nerio = [] {
    nerio::CRegistry registry;
    registry.RamoPredefinito(u"Prova di velocita");
    Require(registry.LeggiRegistro(u"Nome", u"-") == u"perch\u00E9 no", "LeggiRegistro");
  };
  const auto limit = [] {
    HKEY key = nullptr;
    Require(::RegOpenKeyExA(HKEY_LOCAL_MACHINE, kPath, 0, nerio::registry::REGISTRY_ACCESS, &key) == ERROR_SUCCESS,
            "RegOpenKeyExA");
    std::array<BYTE, nerio::registry::READ_BUFFER_SIZE> buffer{};
    auto size = static_cast<DWORD>(buffer.size());
    DWORD type = 0;
    Require(::RegQueryValueExA(key, "Nome", nullptr, &type, buffer.data(), &size) == ERROR_SUCCESS && size == 9,
            "RegQueryValueExA");
    ::RegCloseKey(key);
  };
  return {"windows_setting", [] {}, {{"nerio", nerio, {}}, {"limit", limit, {}}}, ""};
}

// Where the trace file lies: the folder is asked for anew each time.
void AskForModule() {
  static const char anchor = 0;
  HMODULE module = nullptr;
  Require(::GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                               reinterpret_cast<const wchar_t*>(&anchor), &module) != 0,
          "GetModuleHandleExW");
  std::array<wchar_t, MAX_PATH> path;
  Require(::GetModuleFileNameW(module, path.data(), MAX_PATH) != 0, "GetModuleFileNameW");
}

const Text& TraceFile() {
  static const Text path = [] {
    Text folder;
    Require(nerio::platform::ThisHost().module.Folder(folder) == nerio::platform::SystemStatus{}, "no folder");
    return folder + u"\\Nerio.log";
  }();
  return path;
}

// Looks for the trace file as the routine does.
bool FindTraceFile() {
  AskForModule();
  WIN32_FIND_DATAW entry;
  const HANDLE search = ::FindFirstFileW(Wide(TraceFile()), &entry);
  if (search == INVALID_HANDLE_VALUE) return false;
  ::FindClose(search);
  return true;
}

void SwitchTrace(bool on) {
  fs::remove(fs::path(TraceFile()));
  if (on) std::ofstream(fs::path(TraceFile()), std::ios::binary).flush();
}

Item TraceOn() {
  static const Text kMessage = u"Lettura dell'impostazione Nome: perch\u00E9 no";
  static const std::string kRecord = "Lettura dell'impostazione Nome: perch\xE9 no\r\n";
  const auto nerio = [] { nerio::WriteLog(kMessage); };
  const auto limit = [] {
    Require(FindTraceFile(), "FindFirstFileW");
    AskForModule();
    const HANDLE file = ::CreateFileW(Wide(TraceFile()), FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                      OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    Require(file != INVALID_HANDLE_VALUE, "CreateFileW");
    DWORD written = 0;
    Require(::WriteFile(file, kRecord.data(), static_cast<DWORD>(kRecord.size()), &written, nullptr) != 0, "WriteFile");
    ::CloseHandle(file);
  };
  return {"windows_trace_on", [] { SwitchTrace(true); }, {{"nerio", nerio, {}}, {"limit", limit, {}}}, ""};
}

Item TraceOff() {
  const auto nerio = [] { nerio::WriteLog(u"Lettura dell'impostazione Nome"); };
  const auto limit = [] { Require(!FindTraceFile(), "FindFirstFileW"); };
  return {"windows_trace_off", [] { SwitchTrace(false); }, {{"nerio", nerio, {}}, {"limit", limit, {}}}, ""};
}

Item DateCheck() {
  const auto nerio = [] { Require(nerio::GetDate(u"31 dicembre 1999 17:04") == u"31 dicembre 1999 17:04", "GetDate"); };
  const auto limit = [] {
    Require(!FindTraceFile(), "FindFirstFileW");
    DATE date = 0;
    Require(
        ::VarDateFromStr(const_cast<wchar_t*>(L"31 dicembre 1999 17:04\0\0\0"), LOCALE_USER_DEFAULT, 0, &date) == S_OK,
        "VarDateFromStr");
    Require(!FindTraceFile(), "FindFirstFileW");
  };
  return {"windows_date", [] { SwitchTrace(false); }, {{"nerio", nerio, {}}, {"limit", limit, {}}}, ""};
}

Item Base64(std::size_t bytes) {
  static constexpr CLSID kDocument = {0x88D969C0, 0xF192, 0x11D4, {0xA6, 0x5F, 0x00, 0x40, 0x96, 0x32, 0x51, 0xE5}};
  const Text text(bytes / sizeof(char16_t), u'\u20AC');
  Text encoded;
  Require(nerio::EncodeBase64(text, encoded) == 0, "EncodeBase64");
  const auto nerio = [text, encoded] {
    Text answer;
    Require(nerio::EncodeBase64(text, answer) == 0 && answer == encoded, "EncodeBase64");
  };
  const auto limit = [text, encoded] {
    ComPointer<IXMLDOMDocument> document;
    Require(
        ::CoCreateInstance(kDocument, nullptr, CLSCTX_INPROC_SERVER, IID_IXMLDOMDocument, document.putVoid()) == S_OK,
        "CoCreateInstance");
    ComPointer<IXMLDOMElement> element;
    Require(document->createElement(Bstr(u"TEMP").get(), element.put()) == S_OK, "createElement");
    Require(element->put_dataType(Bstr(u"bin.base64").get()) == S_OK, "put_dataType");
    VARIANT value;
    ::VariantInit(&value);
    V_VT(&value) = VT_ARRAY | VT_UI1;
    V_ARRAY(&value) = ::SafeArrayCreateVector(VT_UI1, 0, static_cast<ULONG>(text.size() * sizeof(char16_t)));
    std::memcpy(V_ARRAY(&value)->pvData, text.data(), text.size() * sizeof(char16_t));
    Require(element->put_nodeTypedValue(value) == S_OK, "put_nodeTypedValue");
    ::VariantClear(&value);
    Bstr answer;
    Require(element->get_text(answer.put()) == S_OK && answer.view() == encoded, "get_text");
  };
  return {"windows_base64", [] {}, {{"nerio", nerio, {}}, {"limit", limit, {}}}, std::to_string(bytes)};
}

// The component's library, loaded as COM does; it stays loaded.
IClassFactory& ComponentFactory() {
  static IClassFactory* const factory = [] {
    // The build knows the building machine's path, which lacks the drive: the current one.
    const HMODULE module = ::LoadLibraryW(fs::absolute(NERIO_COMPONENT_PATH).c_str());
    Require(module != nullptr, "Nerio.dll cannot be loaded");
    using GetClassObject = HRESULT(WINAPI*)(REFCLSID, REFIID, void**);
    const auto getClassObject =
        reinterpret_cast<GetClassObject>(reinterpret_cast<void*>(::GetProcAddress(module, "DllGetClassObject")));
    void* made = nullptr;
    Require(getClassObject(CLSID_Component, IID_IClassFactory, &made) == S_OK, "DllGetClassObject");
    return static_cast<IClassFactory*>(made);
  }();
  return *factory;
}

// An object with nothing but its count.
class EmptyObject final : public IUnknown {
 public:
  HRESULT WINAPI QueryInterface(REFIID id, void** object) override {
    *object = id == IID_IUnknown ? this : nullptr;
    if (*object == nullptr) return E_NOINTERFACE;
    AddRef();
    return S_OK;
  }
  ULONG WINAPI AddRef() override { return ++references_; }
  ULONG WINAPI Release() override {
    const ULONG left = --references_;
    if (left == 0) delete this;
    return left;
  }

 private:
  ~EmptyObject() = default;
  std::atomic<ULONG> references_ = 1;
};

class EmptyFactory final : public IClassFactory {
 public:
  HRESULT WINAPI QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
  ULONG WINAPI AddRef() override { return 1; }
  ULONG WINAPI Release() override { return 1; }
  HRESULT WINAPI CreateInstance(IUnknown*, REFIID id, void** object) override {
    auto* const made = new EmptyObject;
    const HRESULT result = made->QueryInterface(id, object);
    made->Release();
    return result;
  }
  HRESULT WINAPI LockServer(BOOL) override { return S_OK; }
};

Item ComponentObject() {
  const auto make = [](IClassFactory& factory) {
    ComPointer<IUnknown> object;
    Require(factory.CreateInstance(nullptr, IID_IUnknown, object.putVoid()) == S_OK, "CreateInstance");
  };
  static EmptyFactory empty;
  static IClassFactory* volatile other = &empty;  // called through its table, as the component's is
  return {"windows_object",
          [] {},
          {{"nerio", [=] { make(ComponentFactory()); }, {}}, {"limit", [=] { make(*other); }, {}}},
          ""};
}

Item ComponentMember() {
  constexpr DISPID kBuildPath = 2;
  static ComPointer<INerioComponent> object;
  static ComPointer<ITypeInfo> info;
  Require(ComponentFactory().CreateInstance(nullptr, IID_INerioComponent, object.putVoid()) == S_OK, "CreateInstance");
  Require(object->GetTypeInfo(0, 0, info.put()) == S_OK, "GetTypeInfo");
  const auto call = [](auto invoke) {
    static const Bstr folder(u"C:\\Dir");
    static const Bstr file(u"a.log");
    std::array<VARIANT, 2> arguments;  // the last one first
    V_VT(&arguments[1]) = VT_BSTR;
    V_BSTR(&arguments[1]) = folder.get();
    V_VT(&arguments[0]) = VT_BSTR;
    V_BSTR(&arguments[0]) = file.get();
    DISPPARAMS parameters{arguments.data(), nullptr, 2, 0};
    VARIANT answer;
    ::VariantInit(&answer);
    Require(invoke(kBuildPath, &parameters, &answer) == S_OK && ::SysStringLen(V_BSTR(&answer)) == 12, "BuildPath");
    ::VariantClear(&answer);
  };
  const auto nerio = [=] {
    call([](DISPID member, DISPPARAMS* parameters, VARIANT* answer) {
      return object->Invoke(member, IID_NULL, 0, DISPATCH_METHOD, parameters, answer, nullptr, nullptr);
    });
  };
  const auto limit = [=] {
    call([](DISPID member, DISPPARAMS* parameters, VARIANT* answer) {
      return info->Invoke(object.get(), member, DISPATCH_METHOD, parameters, answer, nullptr, nullptr);
    });
  };
  return {"windows_member", [] {}, {{"nerio", nerio, {}}, {"limit", limit, {}}}, ""};
}

std::string NameOf(const Item& item, const Contender& contender) {
  std::string name = item.name;
  name.append("/").append(contender.name);
  if (!item.size.empty()) name.append("/").append(item.size);
  return name;
}

void PrintJson(const std::vector<Item>& items) {
  std::array<char, 32> date{};
  const std::time_t now = std::time(nullptr);
  std::strftime(date.data(), date.size(), "%Y-%m-%dT%H:%M:%S", std::localtime(&now));
  std::printf("{\n  \"context\": {\"date\": \"%s\", \"num_cpus\": %u},\n  \"benchmarks\": [", date.data(),
              std::thread::hardware_concurrency());
  const char* comma = "";
  for (const Item& item : items) {
    for (const Contender& contender : item.contenders) {
      const std::string name = NameOf(item, contender);
      const double median = Median(contender.nanoseconds);
      std::printf(
          "%s\n    {\"name\": \"%s/real_time_median\", \"run_name\": \"%s/real_time\", \"run_type\": \"aggregate\", "
          "\"repetitions\": %d, \"aggregate_name\": \"median\", \"real_time\": %.1f, \"cpu_time\": %.1f, "
          "\"time_unit\": \"ns\"}",
          comma, name.c_str(), name.c_str(), kRepetitions, median, median);
      comma = ",";
    }
  }
  std::printf("\n  ]\n}\n");
}

}  // namespace

// With an argument: only the items whose name has it in it.
int main(int argc, char** argv) try {
  const nerio::platform::ComApartment apartment;
  std::vector<Item> items = {Setting(),    TraceOn(),     TraceOff(),        DateCheck(),      Base64(256),
                             Base64(4096), Base64(65536), ComponentObject(), ComponentMember()};
  if (argc > 1) std::erase_if(items, [&](const Item& item) { return item.name.find(argv[1]) == std::string::npos; });
  for (Item& item : items) {
    Measure(item);
    for (const Contender& contender : item.contenders) {
      std::fprintf(stderr, "%-40s %12.0f ns\n", NameOf(item, contender).c_str(), Median(contender.nanoseconds));
    }
  }
  SwitchTrace(false);
  PrintJson(items);
} catch (const std::exception& error) {
  std::fprintf(stderr, "wrong answer: %s\n", error.what());
  return 1;
}
