// The members of the component's object, called directly and by name.
#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>

#include "nerio/hosts/windows/automation/automation.h"
#include "nerio/hosts/windows/automation/bstr.h"
#include "nerio/hosts/windows/automation/variant.h"
#include "nerio/types/utf8.h"
#include "tests/component/windows/loaded_component.h"
#include "tests/component/windows/run_program.h"
#include "tests/hosts/windows/automation/fake_dispatch.h"
#include "tests/support/template_bounds.h"
#include "tests/testing/raised_error.h"

namespace nerio::component {
namespace {

namespace fs = std::filesystem;
using platform::Bstr;
using platform::ComPointer;
using platform::FromNative;
using platform::NativeVariant;
using testing::ErrorOf;
using testing::ExpectError;
using testing::FakeDispatch;
using testing::LoadedComponent;

// A root that a caller leaves out.
VARIANT NoRoot() {
  VARIANT root;
  V_VT(&root) = VT_ERROR;
  V_ERROR(&root) = DISP_E_PARAMNOTFOUND;
  return root;
}
const VARIANT kNoRoot = NoRoot();

class Members : public ::testing::Test {
 protected:
  // Checks what a failed call left on this thread.
  static void ExpectErrorInfo(TextView source, TextView description) {
    ComPointer<IErrorInfo> info;
    ASSERT_EQ(::GetErrorInfo(0, info.put()), S_OK) << "no error information";
    Bstr text;
    EXPECT_EQ(info->GetSource(text.put()), S_OK);
    EXPECT_EQ(ToUtf8(text.view()), ToUtf8(source));
    EXPECT_EQ(info->GetDescription(text.put()), S_OK);
    EXPECT_EQ(ToUtf8(text.view()), ToUtf8(description));
    info->GetHelpFile(text.put());
    EXPECT_EQ(ToUtf8(text.view()), "");
    DWORD context = 0;
    info->GetHelpContext(&context);
    EXPECT_EQ(context, 0u);
    GUID id{};
    EXPECT_EQ(info->GetGUID(&id), S_OK);
    EXPECT_EQ(id, IID_INerioComponent);
  }

  LoadedComponent component_;
  ComPointer<INerioComponent> object_ = component_.Create();
};

TEST_F(Members, MissingPlaceForTheAnswer_IsAPointerError) {
  BSTR noText = nullptr;
  VARIANT value;
  ::VariantInit(&value);
  EXPECT_EQ(object_->BuildPath(noText, noText, nullptr), E_POINTER);
  EXPECT_EQ(object_->CheckXMLParser(nullptr), E_POINTER);
  EXPECT_EQ(object_->AddXMLElement(nullptr, nullptr, noText, noText, nullptr), E_POINTER);
  LONG number = 0;
  EXPECT_EQ(object_->EncodeBase64(noText, nullptr, &number), E_POINTER);
  EXPECT_EQ(object_->EncodeBase64(noText, &value, nullptr), E_POINTER);
  EXPECT_EQ(object_->DecodeBase64(noText, nullptr), E_POINTER);
  EXPECT_EQ(object_->GetGuid(nullptr), E_POINTER);
  EXPECT_EQ(object_->GetDate(noText, nullptr), E_POINTER);
  EXPECT_EQ(object_->GetFieldValue(nullptr, noText, nullptr), E_POINTER);
  EXPECT_EQ(object_->GetErrorMessage(0, nullptr), E_POINTER);
  EXPECT_EQ(object_->FormatTemplate(noText, value, nullptr), E_POINTER);
  EXPECT_EQ(object_->LeggiImpostazione(noText, noText, noText, kNoRoot, nullptr), E_POINTER);
  EXPECT_EQ(object_->ScriviImpostazione(noText, noText, noText, kNoRoot, nullptr), E_POINTER);
  EXPECT_EQ(object_->CancellaImpostazione(noText, noText, kNoRoot, nullptr), E_POINTER);
  EXPECT_EQ(object_->EncodeBase64Text(noText, nullptr), E_POINTER);
  EXPECT_EQ(object_->get_Versione(nullptr), E_POINTER);
  EXPECT_EQ(object_->QueryInterface(IID_IUnknown, nullptr), E_POINTER);
  EXPECT_EQ(object_->GetTypeInfoCount(nullptr), E_POINTER);
  EXPECT_EQ(object_->GetTypeInfo(0, 0, nullptr), E_POINTER);
  ITypeInfo* info = nullptr;
  EXPECT_EQ(object_->GetTypeInfo(1, 0, &info), DISP_E_BADINDEX);
}

TEST_F(Members, Error_BecomesItsCodeAndErrorInformation) {
  const Bstr parameter(u"sTesto");
  EXPECT_EQ(object_->ValidateParam(nullptr, parameter.get()), static_cast<HRESULT>(0x80040001));
  ExpectErrorInfo(u"ValidateParam", u"Il parametro [sTesto] non pu\u00F2 essere nullo o vuoto");
  Bstr text(u"x");
  BSTR* const place = text.put();
  *place = reinterpret_cast<BSTR>(0x1);  // junk: a failed call must write it too
  EXPECT_EQ(object_->LeggiImpostazione(nullptr, parameter.get(), nullptr, kNoRoot, place),
            static_cast<HRESULT>(0x80040001));
  EXPECT_EQ(*place, nullptr);
  ExpectErrorInfo(u"LeggiImpostazione", u"Il parametro [sRamo] non pu\u00F2 essere nullo o vuoto");
  VARIANT_BOOL done = VARIANT_TRUE;
  const Bstr branch(u"Manca del tutto");
  EXPECT_EQ(object_->CancellaImpostazione(branch.get(), parameter.get(), kNoRoot, &done),
            static_cast<HRESULT>(0x800A0005));
  EXPECT_EQ(done, VARIANT_FALSE);
  ExpectErrorInfo(u"CancellaChiave", u"Errore durante la rimozione delle chiave 'sTesto'");
}

TEST_F(Members, Settings_EmptyBranch_IsTheComponentsOwnError) {
  constexpr TextView kDescription = u"Il parametro [sRamo] non pu\u00F2 essere nullo o vuoto";
  const Bstr name(u"Nome");
  Bstr text;
  VARIANT_BOOL done = VARIANT_TRUE;
  EXPECT_EQ(object_->LeggiImpostazione(nullptr, name.get(), name.get(), kNoRoot, text.put()),
            static_cast<HRESULT>(0x80040001));
  ExpectErrorInfo(u"LeggiImpostazione", kDescription);
  EXPECT_EQ(object_->ScriviImpostazione(nullptr, name.get(), name.get(), kNoRoot, &done),
            static_cast<HRESULT>(0x80040001));
  ExpectErrorInfo(u"ScriviImpostazione", kDescription);
  EXPECT_EQ(done, VARIANT_FALSE);
  EXPECT_EQ(object_->CancellaImpostazione(nullptr, name.get(), kNoRoot, &done), static_cast<HRESULT>(0x80040001));
  ExpectErrorInfo(u"CancellaImpostazione", kDescription);
}

TEST_F(Members, FailedMember_LeavesNoErrorOfAnEarlierOne) {
  EXPECT_EQ(object_->ValidateParam(nullptr, nullptr), static_cast<HRESULT>(0x80040001));
  auto* name = const_cast<wchar_t*>(L"ValidateParam");
  DISPID id = 0;
  ASSERT_EQ(object_->GetIDsOfNames(IID_NULL, &name, 1, 0, &id), S_OK);
  DISPPARAMS none{};
  EXCEPINFO exception{};
  EXPECT_NE(object_->Invoke(id, IID_NULL, 0, DISPATCH_METHOD, &none, nullptr, &exception, nullptr), S_OK);
  IErrorInfo* info = nullptr;
  EXPECT_EQ(::GetErrorInfo(0, &info), S_FALSE);
}

TEST_F(Members, CalledByName_ReportsTheSameErrorToTheCaller) {
  VARIANT empty;
  ::VariantInit(&empty);
  V_VT(&empty) = VT_BSTR;
  V_BSTR(&empty) = nullptr;
  NativeVariant answer;
  ExpectError(ErrorOf([&] {
                platform::Invoke(object_.get(), L"LeggiImpostazione", DISPATCH_METHOD, {empty, empty}, answer);
              }),
              static_cast<std::int32_t>(0x80040001), u"LeggiImpostazione",
              u"Il parametro [sRamo] non pu\u00F2 essere nullo o vuoto");
}

// A client in Visual Basic passes a string variable as a reference to a string, a script as a variant.
TEST_F(Members, EncodeBase64_WritesToEachKindOfVariable) {
  const Bstr text(u"A");
  LONG number = 99;
  NativeVariant variable(Variant(std::int32_t{7}));
  EXPECT_EQ(object_->EncodeBase64(text.get(), const_cast<VARIANT*>(&variable.get()), &number), S_OK);
  EXPECT_EQ(number, 0);
  EXPECT_EQ(FromNative(variable.get()), Variant(Text(u"QQA=")));

  VARIANT reference;
  ::VariantInit(&reference);
  V_VT(&reference) = VT_BYREF | VT_VARIANT;
  NativeVariant target;
  V_VARIANTREF(&reference) = const_cast<VARIANT*>(&target.get());
  EXPECT_EQ(object_->EncodeBase64(text.get(), &reference, &number), S_OK);
  EXPECT_EQ(FromNative(target.get()), Variant(Text(u"QQA=")));

  Bstr string(u"vecchio");
  BSTR lent = string.release();
  V_VT(&reference) = VT_BYREF | VT_BSTR;
  V_BSTRREF(&reference) = &lent;
  EXPECT_EQ(object_->EncodeBase64(lent, &reference, &number), S_OK) << "the same variable twice";
  EXPECT_EQ(platform::FromBstr(lent), u"dgBlAGMAYwBoAGkAbwA=");
  ::SysFreeString(lent);

  LONG integer = 5;
  V_VT(&reference) = VT_BYREF | VT_I4;
  V_I4REF(&reference) = &integer;
  EXPECT_EQ(object_->EncodeBase64(text.get(), &reference, &number), S_OK) << "it never raises";
  EXPECT_EQ(number, kErrTypeMismatch);
  EXPECT_EQ(integer, 5);
}

class ArrayOf {
 public:
  ArrayOf(VARTYPE type, LONG lowerBound, ULONG count) {
    SAFEARRAYBOUND bound{count, lowerBound};
    V_ARRAY(value_.put()) = ::SafeArrayCreate(type, 1, &bound);
    V_VT(&const_cast<VARIANT&>(value_.get())) = static_cast<VARTYPE>(VT_ARRAY | type);
  }
  template <typename Element>
  Element* Elements() {
    return static_cast<Element*>(V_ARRAY(&value_.get())->pvData);
  }
  const VARIANT& get() const { return value_.get(); }

 private:
  NativeVariant value_;
};

TEST_F(Members, FormatTemplate_TakesArraysOfAnyTypeWithTheirOwnBounds) {
  const auto format = [&](TextView text, const VARIANT& arguments) {
    Bstr answer;
    const HRESULT result = object_->FormatTemplate(Bstr(text).get(), arguments, answer.put());
    return result == S_OK ? ToUtf8(answer.view()) : std::to_string(result);
  };
  ArrayOf numbers(VT_I4, -1, 3);
  for (LONG i = 0; i < 3; ++i) numbers.Elements<LONG>()[i] = 10 * i;
  EXPECT_EQ(format(u"{-1}|{0}|{1}|{2}", numbers.get()), "0|10|20|{2}");

  ArrayOf texts(VT_BSTR, 5, 2);
  texts.Elements<BSTR>()[0] = Bstr(u"cinque").release();
  EXPECT_EQ(format(u"{5}|{6}|{7}", texts.get()), "cinque||{7}");

  ArrayOf variants(VT_VARIANT, 0, 2);
  V_VT(&variants.Elements<VARIANT>()[0]) = VT_R8;
  V_R8(&variants.Elements<VARIANT>()[0]) = 1.5;
  EXPECT_EQ(format(u"{0}|{1}", variants.get()), "1,5|");
  VARIANT reference;
  ::VariantInit(&reference);
  V_VT(&reference) = VT_BYREF | VT_VARIANT;
  V_VARIANTREF(&reference) = const_cast<VARIANT*>(&variants.get());
  EXPECT_EQ(format(u"{0}", reference), "1,5");
  SAFEARRAY* array = V_ARRAY(&variants.get());
  V_VT(&reference) = VT_BYREF | VT_ARRAY | VT_VARIANT;
  V_ARRAYREF(&reference) = &array;
  EXPECT_EQ(format(u"{0}", reference), "1,5");

  VARIANT none;
  ::VariantInit(&none);
  EXPECT_EQ(format(u"{0}", none), std::to_string(static_cast<HRESULT>(0x800A000D)));
  V_VT(&none) = VT_ARRAY | VT_VARIANT;
  V_ARRAY(&none) = nullptr;
  EXPECT_EQ(format(u"{0}", none), "{0}") << "an array without elements";
}

TEST_F(Members, FormatTemplate_ListThatLeavesTheIndices_RaisesOverflowBeforeItLooksAtAnyValue) {
  for (const testing::TemplateBounds& row : testing::kTemplateBounds) {
    ArrayOf values(VT_VARIANT, row.lowerBound, static_cast<ULONG>(row.count));
    Bstr answer;
    const HRESULT result = object_->FormatTemplate(Bstr(u"testo").get(), values.get(), answer.put());
    EXPECT_EQ(result, row.overflows ? static_cast<HRESULT>(0x800A0006) : S_OK) << row.lowerBound << ' ' << row.count;
    if (row.overflows) ExpectErrorInfo(u"Variant", u"Overflow");
    EXPECT_EQ(answer.view(), row.overflows ? u"" : u"testo") << row.lowerBound << ' ' << row.count;
    if (row.count == 0) continue;

    // The same with a null, which cannot be filled in.
    V_VT(&values.Elements<VARIANT>()[0]) = VT_NULL;
    const HRESULT withNull = object_->FormatTemplate(nullptr, values.get(), answer.put());
    EXPECT_EQ(withNull, static_cast<HRESULT>(row.passes == 0 ? 0x800A0006 : 0x800A005E)) << row.lowerBound;
  }
  ArrayOf many(VT_UI1, 0, 50'000'000);
  Bstr answer;
  EXPECT_EQ(object_->FormatTemplate(nullptr, many.get(), answer.put()), static_cast<HRESULT>(0x800A0006));
}

TEST_F(Members, GetFieldValue_ReturnsEveryTypeUnchanged) {
  for (const Variant& value :
       {Variant(True), Variant(std::uint8_t{200}), Variant(std::int16_t{-5}), Variant(std::int32_t{-70'000}),
        Variant(2.5F), Variant(-0.5), Variant(Currency{12'345}), Variant(Decimal{2, true, 1, 5}),
        Variant(Date{36'526.25}), Variant(Text(u"citt\u00E0")), Variant(Bytes{1, 0, 255}), Variant(Empty{})}) {
    FakeDispatch field({{u"Value", [&](const DISPPARAMS&, VARIANT* answer, EXCEPINFO*) {
                           NativeVariant(value).MoveTo(answer);
                           return S_OK;
                         }}});
    NativeVariant answer;
    ASSERT_EQ(object_->GetFieldValue(&field, Bstr(u"x").get(), answer.put()), S_OK);
    EXPECT_EQ(FromNative(answer.get()), value) << value.index();
    EXPECT_EQ(field.calls.size(), 2u) << "a value that is not null is read twice";
    EXPECT_EQ(field.references, 1u);
  }
}

// What a `Variant` does not keep: VT_INT and VT_UINT, an array's bounds, also behind a reference.
TEST_F(Members, GetFieldValue_KeepsTheAutomationTypeAndTheBounds) {
  const auto read = [&](const VARIANT& value, NativeVariant& answer) {
    FakeDispatch field({{u"Value", [&](const DISPPARAMS&, VARIANT* copy, EXCEPINFO*) {
                           ::VariantInit(copy);
                           return ::VariantCopy(copy, const_cast<VARIANT*>(&value));
                         }}});
    return object_->GetFieldValue(&field, nullptr, answer.put());
  };
  for (const VARTYPE type : {VT_INT, VT_UINT, VT_I4}) {
    VARIANT value;
    V_VT(&value) = type;
    V_I4(&value) = -7;
    NativeVariant answer;
    ASSERT_EQ(read(value, answer), S_OK);
    EXPECT_EQ(V_VT(&answer.get()), type);
    EXPECT_EQ(V_I4(&answer.get()), -7);
  }
  ArrayOf bytes(VT_UI1, 5, 2);
  bytes.Elements<BYTE>()[1] = 9;
  SAFEARRAY* array = V_ARRAY(&bytes.get());
  VARIANT reference;
  V_VT(&reference) = VT_BYREF | VT_ARRAY | VT_UI1;
  V_ARRAYREF(&reference) = &array;
  for (const VARIANT& value : {bytes.get(), reference}) {
    NativeVariant answer;
    ASSERT_EQ(read(value, answer), S_OK);
    ASSERT_EQ(V_VT(&answer.get()), VT_ARRAY | VT_UI1);
    const SAFEARRAY& copy = *V_ARRAY(&answer.get());
    EXPECT_NE(&copy, array);
    EXPECT_EQ(copy.rgsabound[0].lLbound, 5);
    EXPECT_EQ(copy.rgsabound[0].cElements, 2u);
    EXPECT_EQ(static_cast<const BYTE*>(copy.pvData)[1], 9);
  }
}

TEST_F(Members, PopulateRecordset_MoveWithoutOptions_IsTriedOnlyAfterAWrongCount) {
  const struct {
    HRESULT answer;
    HRESULT result;
    std::vector<std::string> calls;
  } rows[] = {
      {S_OK, S_OK, {"call MoveLast(0)", "call MoveFirst()"}},
      {DISP_E_BADPARAMCOUNT, S_OK, {"call MoveLast(0)", "call MoveLast()", "call MoveFirst()"}},
      {DISP_E_PARAMNOTOPTIONAL, DISP_E_PARAMNOTOPTIONAL, {"call MoveLast(0)"}},
      {DISP_E_TYPEMISMATCH, DISP_E_TYPEMISMATCH, {"call MoveLast(0)"}},
      {E_FAIL, E_FAIL, {"call MoveLast(0)"}},
  };
  for (const auto& row : rows) {
    const auto last = [&](const DISPPARAMS& parameters, VARIANT*, EXCEPINFO*) {
      return parameters.cArgs == 0 ? S_OK : row.answer;
    };
    FakeDispatch records({{u"BOF", testing::AnswersFlag(false)},
                          {u"EOF", testing::AnswersFlag(false)},
                          {u"MoveLast", last},
                          {u"MoveFirst", [](const DISPPARAMS&, VARIANT*, EXCEPINFO*) { return S_OK; }}});
    EXPECT_EQ(object_->PopulateRecordset(&records), row.result);
    std::vector<std::string> calls = {"get BOF", "get EOF"};
    calls.insert(calls.end(), row.calls.begin(), row.calls.end());
    EXPECT_EQ(records.calls, calls);
  }
}

TEST_F(Members, PopulateRecordset_PassesTheObjectsErrorOn) {
  FakeDispatch records({{u"BOF", testing::AnswersFlag(false)},
                        {u"EOF", testing::AnswersFlag(false)},
                        {u"MoveLast", [](const DISPPARAMS&, VARIANT*, EXCEPINFO* exception) -> HRESULT {
                           exception->scode = static_cast<SCODE>(0x800A0BCD);
                           exception->bstrSource = ::SysAllocString(L"DAO.Recordset");
                           exception->bstrDescription = ::SysAllocString(L"Nessun record corrente.");
                           return DISP_E_EXCEPTION;
                         }}});
  EXPECT_EQ(object_->PopulateRecordset(&records), static_cast<HRESULT>(0x800A0BCD));
  ExpectErrorInfo(u"DAO.Recordset", u"Nessun record corrente.");
  EXPECT_EQ(records.references, 1u);
}

// What a foreign object throws at its caller must not leave the component either.
TEST_F(Members, GetFieldValue_ObjectThatIsNoField_AnswersItsFailure) {
  FakeDispatch field({});
  NativeVariant answer;
  EXPECT_EQ(object_->GetFieldValue(&field, nullptr, answer.put()), DISP_E_UNKNOWNNAME);
  EXPECT_EQ(object_->AddXMLElement(&field, &field, nullptr, nullptr, nullptr), E_POINTER);
  IDispatch* element = &field;
  EXPECT_EQ(object_->AddXMLElement(&field, &field, nullptr, nullptr, &element), E_NOINTERFACE);
  EXPECT_EQ(element, nullptr);
  EXPECT_EQ(field.references, 1u);
}

// Has another process load the library at this place and write a line: the file cannot go as long as that process.
void WriteLineWith(const fs::path& library) {
  // The drive is that of the component: the current one may be another.
  const fs::path program = fs::path(testing::ComponentPath()).root_path() / fs::path(NERIO_WRITE_LINE).relative_path();
  EXPECT_EQ(testing::RunProgram(L'"' + program.wstring() + L"\" \"" + library.wstring() + L'"'), 0u);
}

// Copies the library to a folder, loads it from there and writes a line, which has to be in the trace file of
// `traceFolder`.
void ExpectTrace(const fs::path& folder, const fs::path& traceFolder) {
  const fs::path library = folder / L"NerioProva.dll";
  const fs::path trace = traceFolder / L"Nerio.log";
  fs::copy_file(fs::path(testing::ComponentPath()), library, fs::copy_options::overwrite_existing);
  std::ofstream(trace, std::ios::binary).flush();
  WriteLineWith(library);
  std::ifstream file(trace, std::ios::binary);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), "perch\xE9 \x80\r\n") << trace;
  file.close();
  fs::remove(trace);
  fs::remove(library);
}

TEST_F(Members, WriteLog_UsesTheFolderOfTheLibraryAlsoInTheRootOfADrive) {
  ExpectTrace(L"C:\\", L"C:\\");
  // The second name has characters that the code page does not have.
  for (const wchar_t* const folder : {L"C:\\Nerio prova\\citt\u00E0", L"C:\\Nerio prova\\\u0416\u4E2D \xD83D\xDE00"}) {
    fs::create_directories(folder);
    ExpectTrace(folder, folder);
  }
  fs::remove_all(L"C:\\Nerio prova");
}

// The path of the trace file loses one of the two leading separators and begins at the root of the current drive.
TEST_F(Members, WriteLog_LibraryOnAServer_UsesThatPathOnTheCurrentDrive) {
  // The share is a folder of the prefix.
  const char* const prefix = std::getenv("WINEPREFIX");
  ASSERT_NE(prefix, nullptr);
  const fs::path shared = fs::path(std::string("Z:") + prefix) / L"dosdevices\\unc\\nerio\\prova";
  fs::create_directories(shared);
  const fs::path before = fs::current_path();
  fs::current_path(L"C:\\");
  fs::create_directories(L"C:\\nerio\\prova");
  ExpectTrace(L"\\\\nerio\\prova", L"C:\\nerio\\prova");

  // A file beside the library does not switch tracing on.
  fs::copy_file(fs::path(testing::ComponentPath()), L"\\\\nerio\\prova\\NerioProva.dll");
  std::ofstream(fs::path(L"\\\\nerio\\prova\\Nerio.log"), std::ios::binary).flush();
  WriteLineWith(L"\\\\nerio\\prova\\NerioProva.dll");
  EXPECT_EQ(fs::file_size(L"\\\\nerio\\prova\\Nerio.log"), 0u);
  fs::current_path(before);
  fs::remove_all(L"C:\\nerio");
  fs::remove_all(shared.parent_path());
}

}  // namespace
}  // namespace nerio::component
