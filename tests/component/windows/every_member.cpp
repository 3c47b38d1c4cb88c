#include "tests/component/windows/every_member.h"

#include <msxml2.h>

#include <filesystem>
#include <stdexcept>
#include <variant>

#include "nerio/hosts/windows/automation/automation.h"
#include "nerio/hosts/windows/automation/bstr.h"
#include "nerio/hosts/windows/automation/com_pointer.h"
#include "nerio/hosts/windows/automation/system_message.h"
#include "nerio/hosts/windows/automation/variant.h"
#include "nerio/types/error.h"
#include "nerio/types/utf8.h"
#include "tests/hosts/windows/automation/fake_dispatch.h"

namespace nerio::testing {
namespace {

using platform::Bstr;
using platform::ComPointer;
using platform::FromNative;
using platform::NativeVariant;

constexpr TextView kBranch = u"Prova di ogni membro";

using Argument = std::variant<TextView, IDispatch*, VARIANT>;

std::string AsText(const VARIANT& value) {
  if (V_VT(&value) == VT_DISPATCH) return V_DISPATCH(&value) != nullptr ? "an object" : "nothing";
  const Variant content = FromNative(value);
  if (const auto* text = std::get_if<Text>(&content)) return '[' + ToUtf8(*text) + ']';
  if (const auto* number = std::get_if<std::int32_t>(&content)) return std::to_string(*number);
  if (const auto* flag = std::get_if<Boolean>(&content)) return *flag == False ? "False" : "True";
  return std::holds_alternative<Empty>(content) ? "done" : "another type";
}

// Calls members of one object and notes what they answer.
class Client {
 public:
  explicit Client(IDispatch* object) : object_(object) {}

  // Calls a member; its answer stays in `answer`.
  void Call(const wchar_t* member, const std::vector<Argument>& arguments, WORD kind = DISPATCH_METHOD) {
    std::vector<Bstr> texts(arguments.size());
    std::vector<VARIANT> native(arguments.size());
    for (std::size_t i = 0; i < arguments.size(); ++i) {
      VARIANT& value = native[arguments.size() - 1 - i];
      ::VariantInit(&value);
      if (const auto* text = std::get_if<TextView>(&arguments[i])) {
        *texts[i].put() = Bstr(*text).release();
        V_VT(&value) = VT_BSTR;
        V_BSTR(&value) = texts[i].get();
      } else if (IDispatch* const* const object = std::get_if<IDispatch*>(&arguments[i])) {
        V_VT(&value) = VT_DISPATCH;
        V_DISPATCH(&value) = *object;
      } else {
        value = std::get<VARIANT>(arguments[i]);
      }
    }
    const std::wstring wide = member;
    std::string line = ToUtf8(platform::ViewOf(wide.data(), wide.size())) + ": ";
    try {
      platform::Invoke(object_, member, kind, std::move(native), answer);
      line += AsText(answer.get());
    } catch (const Error& error) {
      line += "error " + std::to_string(error.number()) + " [" + ToUtf8(error.source()) + "] [" +
              ToUtf8(error.description()) + ']';
    }
    lines.push_back(std::move(line));
  }

  std::vector<std::string> lines;
  NativeVariant answer;

 private:
  IDispatch* object_;
};

// Keeps the trace file open so that nobody else can open it; it goes with this object.
class HeldTraceFile {
 public:
  explicit HeldTraceFile(const std::wstring& folder)
      : file_(::CreateFileW((std::filesystem::path(folder) / L"Nerio.log").c_str(), GENERIC_WRITE, 0, nullptr,
                            CREATE_ALWAYS, FILE_FLAG_DELETE_ON_CLOSE, nullptr)) {
    if (file_ == INVALID_HANDLE_VALUE) throw std::runtime_error("no trace file");
  }
  ~HeldTraceFile() { ::CloseHandle(file_); }

 private:
  HANDLE file_;
};

VARIANT Number(LONG value) {
  VARIANT number;
  V_VT(&number) = VT_I4;
  V_I4(&number) = value;
  return number;
}

void CallTraceAndDates(Client& client, const std::wstring& folder) {
  client.Call(L"WriteLog", {u"perduta"});
  client.Call(L"BuildPath", {u"C:\\Dir", u"a.log"});
  client.Call(L"GetDate", {u"31/12/1999"});
  client.Call(L"GetDate", {u"pippo"});
  {
    const HeldTraceFile held(folder);
    client.Call(L"WriteLog", {u"perduta"});
    client.Call(L"GetDate", {u"31/12/1999"});
  }
  client.Call(L"GetGuid", {});
  client.lines.back() = "GetGuid: " + std::to_string(::SysStringLen(V_BSTR(&client.answer.get()))) + " characters";
}

void CallXml(Client& client) {
  client.Call(L"CheckXMLParser", {});
  ComPointer<IXMLDOMDocument> document;
  CLSID id{};
  if (FAILED(::CLSIDFromProgID(L"MSXML2.DOMDocument.4.0", &id)) ||
      FAILED(::CoCreateInstance(id, nullptr, CLSCTX_INPROC_SERVER, IID_IXMLDOMDocument, document.putVoid()))) {
    throw std::runtime_error("no document");
  }
  client.Call(L"AddXMLElement", {document.get(), document.get(), u"radice", u"testo"});
  ComPointer<IXMLDOMElement> root;
  document->get_documentElement(root.put());
  client.Call(L"SetXMLAttribute", {document.get(), root.get(), u"nome", u"citt\u00E0"});
  Bstr xml;
  document->get_xml(xml.put());
  client.lines.push_back(ToUtf8(xml.view().substr(0, xml.view().find(u'\r'))));
  client.Call(L"AddXMLElement", {document.get(), root.get(), u"1 a", u""});
  client.Call(L"SetXMLAttribute", {static_cast<IDispatch*>(nullptr), root.get(), u"altro", u""});
}

void CallBase64(Client& client) {
  NativeVariant encoded;
  VARIANT place;
  V_VT(&place) = VT_BYREF | VT_VARIANT;
  V_VARIANTREF(&place) = encoded.put();
  client.Call(L"EncodeBase64", {u"A", place});
  client.lines.push_back("the variable: " + AsText(encoded.get()));
  client.Call(L"EncodeBase64Text", {u"A"});
  client.Call(L"DecodeBase64", {u"QQA="});
  client.Call(L"DecodeBase64", {u"non base64!"});
}

void CallRecords(Client& client) {
  const auto raise = [](const DISPPARAMS&, VARIANT*, EXCEPINFO* exception) -> HRESULT {
    exception->scode = static_cast<SCODE>(0x800A0BCD);
    exception->bstrSource = ::SysAllocString(L"DAO.Recordset");
    exception->bstrDescription = ::SysAllocString(L"Nessun record corrente.");
    return DISP_E_EXCEPTION;
  };
  VARIANT null;
  V_VT(&null) = VT_NULL;
  FakeDispatch seven({{u"Value", Answers(Number(7))}});
  FakeDispatch missing({{u"Value", Answers(null)}});
  FakeDispatch raising({{u"Value", raise}});
  client.Call(L"GetFieldValue", {&seven, u"x"});
  client.Call(L"GetFieldValue", {&missing, u"predefinito"});
  client.Call(L"GetFieldValue", {&raising, u"x"});
  const auto nothing = [](const DISPPARAMS&, VARIANT*, EXCEPINFO*) { return S_OK; };
  FakeDispatch records(
      {{u"BOF", AnswersFlag(false)}, {u"EOF", AnswersFlag(false)}, {u"MoveLast", nothing}, {u"MoveFirst", nothing}});
  FakeDispatch refusing({{u"BOF", AnswersFlag(false)}, {u"EOF", AnswersFlag(false)}, {u"MoveLast", raise}});
  client.Call(L"PopulateRecordset", {&records});
  for (const std::string& call : records.calls) client.lines.push_back("  " + call);
  client.Call(L"PopulateRecordset", {&refusing});
}

void CallMessages(Client& client) {
  client.Call(L"GetErrorMessage", {Number(-2147221501)});
  SAFEARRAYBOUND bound{2, 0};
  NativeVariant list;
  V_ARRAY(list.put()) = ::SafeArrayCreate(VT_VARIANT, 1, &bound);
  V_VT(&const_cast<VARIANT&>(list.get())) = VT_ARRAY | VT_VARIANT;
  auto* const elements = static_cast<VARIANT*>(V_ARRAY(&list.get())->pvData);
  elements[0] = Number(3);
  elements[1] = Number(7);
  client.Call(L"FormatTemplate", {u"{0} di {1}", list.get()});
  V_VT(&elements[1]) = VT_NULL;
  client.Call(L"FormatTemplate", {u"{0} di {1}", list.get()});
  client.Call(L"FormatTemplate", {u"{0}", u"nessun elenco"});
  client.Call(L"ValidateParam", {u" ", u"sTesto"});
  client.Call(L"ValidateParam", {u"", u"sTesto"});
}

void CallSettings(Client& client) {
  client.Call(L"ScriviImpostazione", {kBranch, u"Nome", u"citt\u00E0"});
  client.Call(L"LeggiImpostazione", {kBranch, u"Nome"});
  client.Call(L"CancellaImpostazione", {kBranch, u"Nome"});
  client.Call(L"CancellaImpostazione", {kBranch, u"Nome"});
  client.Call(L"LeggiImpostazione", {kBranch, u"Nome", u"predefinito"});
  client.Call(L"LeggiImpostazione", {u"", u"Nome", u"predefinito"});
  const VARIANT ofUser = Number(static_cast<LONG>(0x80000001));
  client.Call(L"ScriviImpostazione", {kBranch, u"Nome", u"mia", ofUser});
  client.Call(L"LeggiImpostazione", {kBranch, u"Nome", u"predefinito", ofUser});
  client.Call(L"LeggiImpostazione", {kBranch, u"Nome", u"predefinito"});
  client.Call(L"CancellaImpostazione", {kBranch, u"Nome", ofUser});
  client.Call(L"CancellaImpostazione", {kBranch, u"Nome", ofUser});
  client.Call(L"LeggiImpostazione", {kBranch, u"Nome", u"predefinito", u"nessuna radice"});
}

}  // namespace

std::vector<std::string> EveryAnswer() {
  // The system's own words.
  const auto words = [](std::int32_t number) { return " [" + ToUtf8(platform::SystemMessage(number)) + ']'; };
  return {
      "WriteLog: done",
      "BuildPath: [C:\\Dir\\a.log]",
      "GetDate: [31/12/1999]",
      "GetDate: [00:00:00]",
      "WriteLog: error -2146828256 [WriteLog]" + words(ERROR_SHARING_VIOLATION),
      "GetDate: [00:00:00]",
      "GetGuid: 36 characters",
      "CheckXMLParser: True",
      "AddXMLElement: an object",
      "SetXMLAttribute: done",
      "<radice nome=\"citt\xC3\xA0\">testo</radice>",
      "AddXMLElement: error -2147467259 []" + words(E_FAIL),
      "SetXMLAttribute: error -2146828197 [] [Variabile oggetto o variabile del blocco With non impostata]",
      "EncodeBase64: 0",
      "the variable: [QQA=]",
      "EncodeBase64Text: [QQA=]",
      "DecodeBase64: [A]",
      "DecodeBase64: []",
      "GetFieldValue: 7",
      "GetFieldValue: [predefinito]",
      "GetFieldValue: error -2146825267 [DAO.Recordset] [Nessun record corrente.]",
      "PopulateRecordset: done",
      "  get BOF",
      "  get EOF",
      "  call MoveLast(0)",
      "  call MoveFirst()",
      "PopulateRecordset: error -2146825267 [DAO.Recordset] [Nessun record corrente.]",
      "GetErrorMessage: [La funzionalit\xC3\xA0 richiesta non \xC3\xA8 disponibile]",
      "FormatTemplate: [3 di 7]",
      "FormatTemplate: error -2146828194 [Variant] [Utilizzo non valido di Null]",
      "FormatTemplate: error -2146828275 [Variant] [Tipo non corrispondente]",
      "ValidateParam: done",
      "ValidateParam: error -2147221503 [ValidateParam] [Il parametro [sTesto] non pu\xC3\xB2 essere nullo o vuoto]",
      "ScriviImpostazione: True",
      "LeggiImpostazione: [citt\xC3\xA0]",
      "CancellaImpostazione: True",
      "CancellaImpostazione: error -2146828283 [CancellaChiave] [Errore durante la rimozione delle chiave 'Nome']",
      "LeggiImpostazione: [predefinito]",
      "LeggiImpostazione: error -2147221503 [LeggiImpostazione] [Il parametro [sRamo] non pu\xC3\xB2 essere nullo o "
      "vuoto]",
      "ScriviImpostazione: True",
      "LeggiImpostazione: [mia]",
      "LeggiImpostazione: [predefinito]",
      "CancellaImpostazione: True",
      "CancellaImpostazione: error -2146828283 [CancellaChiave] [Errore durante la rimozione delle chiave 'Nome']",
      "LeggiImpostazione: error -2146828275 [Variant] [Tipo non corrispondente]",
      "Versione: [" NERIO_VERSION "]",
  };
}

std::vector<std::string> CallEveryMember(IDispatch* object, const std::wstring& folder) {
  Client client(object);
  CallTraceAndDates(client, folder);
  CallXml(client);
  CallBase64(client);
  CallRecords(client);
  CallMessages(client);
  CallSettings(client);
  client.Call(L"Versione", {}, DISPATCH_PROPERTYGET);
  return client.lines;
}

}  // namespace nerio::testing
