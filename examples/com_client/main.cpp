// A client of the component in C++: writes a setting and reads it back, fills a message, and shows what an error says. The
// component has to be registered (docs/windows.md).
#include <windows.h>
// The order matters: they need the system's types.
#include <oleauto.h>

#include <cstdio>
#include <string>

#include "nerio_automation.h"

namespace {

// A text that the component takes or gives, freed at its end.
class Bstr {
 public:
  Bstr() = default;
  explicit Bstr(const wchar_t* text) : text_(::SysAllocString(text)) {}
  Bstr(const Bstr&) = delete;
  Bstr& operator=(const Bstr&) = delete;
  ~Bstr() { ::SysFreeString(text_); }

  BSTR get() const { return text_; }
  BSTR* put() { return &text_; }

  std::string Utf8() const {
    const int length = static_cast<int>(::SysStringLen(text_));
    std::string utf8(static_cast<std::size_t>(length) * 3, '\0');
    const int size =
        ::WideCharToMultiByte(CP_UTF8, 0, text_, length, utf8.data(), static_cast<int>(utf8.size()), nullptr, nullptr);
    utf8.resize(static_cast<std::size_t>(size));
    return utf8;
  }

 private:
  BSTR text_ = nullptr;
};

// Prints what the component says about the call that failed last.
void PrintError(HRESULT number) {
  IErrorInfo* info = nullptr;
  Bstr description;
  if (::GetErrorInfo(0, &info) == S_OK) {
    info->GetDescription(description.put());
    info->Release();
  }
  std::printf("%ld: %s\n", number, description.Utf8().c_str());
}

HRESULT Show(INerioComponent& nerio) {
  const Bstr branch(L"Esempio C++");
  const Bstr name(L"Lingua");
  // The root is left out: HKEY_LOCAL_MACHINE.
  VARIANT root;
  V_VT(&root) = VT_ERROR;
  V_ERROR(&root) = DISP_E_PARAMNOTFOUND;
  VARIANT_BOOL written = VARIANT_FALSE;
  HRESULT result = nerio.ScriviImpostazione(branch.get(), name.get(), Bstr(L"it").get(), root, &written);
  if (FAILED(result)) return result;
  Bstr language;
  result = nerio.LeggiImpostazione(branch.get(), name.get(), Bstr(L"en").get(), root, language.put());
  if (FAILED(result)) return result;
  std::printf("%s\n", language.Utf8().c_str());

  // A message's values are an array of VARIANT.
  VARIANT values;
  ::VariantInit(&values);
  V_VT(&values) = VT_ARRAY | VT_VARIANT;
  V_ARRAY(&values) = ::SafeArrayCreateVector(VT_VARIANT, 0, 2);
  VARIANT* elements = nullptr;
  if (FAILED(::SafeArrayAccessData(V_ARRAY(&values), reinterpret_cast<void**>(&elements)))) return E_OUTOFMEMORY;
  for (long i = 0; i < 2; ++i) {
    V_VT(&elements[i]) = VT_I4;
    V_I4(&elements[i]) = i == 0 ? 3 : 7;
  }
  ::SafeArrayUnaccessData(V_ARRAY(&values));
  Bstr message;
  result = nerio.FormatTemplate(Bstr(L"{0} di {1}").get(), values, message.put());
  ::VariantClear(&values);
  if (FAILED(result)) return result;
  std::printf("%s\n", message.Utf8().c_str());

  return nerio.ValidateParam(Bstr(L"").get(), Bstr(L"sTesto").get());
}

}  // namespace

int main() {
  HRESULT result = ::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
  if (FAILED(result)) return 1;
  CLSID id;
  INerioComponent* nerio = nullptr;
  result = ::CLSIDFromProgID(L"Nerio.Component", &id);
  if (SUCCEEDED(result)) {
    result =
        ::CoCreateInstance(id, nullptr, CLSCTX_INPROC_SERVER, IID_INerioComponent, reinterpret_cast<void**>(&nerio));
  }
  if (SUCCEEDED(result)) {
    result = Show(*nerio);
    nerio->Release();
  }
  if (FAILED(result)) PrintError(result);
  ::CoUninitialize();
}
