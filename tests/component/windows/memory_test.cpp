// Members for which memory runs out: every request of memory that the library makes in a call fails in turn.
#include <gtest/gtest.h>
#include <msxml2.h>

#include <algorithm>
#include <iostream>
#include <utility>

#include "nerio/hosts/windows/automation/bstr.h"
#include "nerio/hosts/windows/automation/variant.h"
#include "nerio/support/base64.h"
#include "nerio/types/utf8.h"
#include "tests/component/windows/loaded_component.h"
#include "tests/component/windows/replaced_import.h"
#include "tests/hosts/windows/automation/fake_dispatch.h"

namespace nerio::component {
namespace {

using platform::Bstr;
using platform::ComPointer;
using platform::FromNative;
using platform::NativeVariant;
using testing::FakeDispatch;
using testing::LoadedComponent;
using testing::ReplacedImport;

// Counts down to the request that fails; none does below zero.
int requestsLeft = -1;

bool Fails() { return requestsLeft >= 0 && requestsLeft-- == 0; }

using AllocateFunction = void*(__cdecl*)(std::size_t);
using AllocateStringFunction = BSTR(WINAPI*)(const wchar_t*, UINT);
AllocateFunction allocate = nullptr;
AllocateStringFunction allocateString = nullptr;

void* __cdecl Allocate(std::size_t size) { return Fails() ? nullptr : allocate(size); }
BSTR WINAPI AllocateString(const wchar_t* units, UINT length) {
  return Fails() ? nullptr : allocateString(units, length);
}

class ShortMemory : public ::testing::Test {
 protected:
  // Lets the 1st, 2nd, ... request of the library fail in a call of its own, until a call makes no more. Returns how
  // many failed.
  template <typename Call>
  int Sweep(Call&& call) {
    for (int request = 0;; ++request) {
      requestsLeft = request;
      call(request);
      const bool allMet = requestsLeft >= 0;
      requestsLeft = -1;
      if (allMet) return request;
    }
  }

  const LoadedComponent component_;
  const ComPointer<INerioComponent> object_ = component_.Create();
  const ReplacedImport<AllocateFunction> memory_{"malloc", Allocate, allocate};
  const ReplacedImport<AllocateStringFunction> strings_{"SysAllocStringLen", AllocateString, allocateString};
};

// Longer than what a text holds without memory of its own.
constexpr TextView kLong = u"citt\u00E0 e campagna, fiumi e monti";
constexpr TextView kLongEncoded =
    u"YwBpAHQAdADgACAAZQAgAGMAYQBtAHAAYQBnAG4AYQAsACAAZgBpAHUAbQBpACAAZQAgAG0AbwBuAHQAaQA=";

TEST_F(ShortMemory, DecodeBase64_AnswersAnEmptyText) {
  const Bstr encoded(kLongEncoded);
  int answered = 0;
  const int failed = Sweep([&](int request) {
    Bstr text;
    EXPECT_EQ(object_->DecodeBase64(encoded.get(), text.put()), S_OK) << request;
    if (text.view() == kLong) {
      ++answered;
    } else {
      EXPECT_EQ(text.view(), u"") << request;
    }
  });
  EXPECT_GT(failed, 3);
  EXPECT_GE(answered, 1) << "with all the memory that it asks for";
}

TEST_F(ShortMemory, EncodeBase64_AnswersTheNumberAndLeavesTheVariable) {
  const Bstr text(kLong);
  int answered = 0;
  const int failed = Sweep([&](int request) {
    NativeVariant variable(Variant(Text(u"intatto")));
    LONG number = -1;
    EXPECT_EQ(object_->EncodeBase64(text.get(), const_cast<VARIANT*>(&variable.get()), &number), S_OK) << request;
    if (number == 0) {
      ++answered;
      EXPECT_EQ(FromNative(variable.get()), Variant(Text(kLongEncoded)));
    } else {
      EXPECT_EQ(number, kErrOutOfMemory) << request;
      EXPECT_EQ(FromNative(variable.get()), Variant(Text(u"intatto"))) << request;
    }
  });
  EXPECT_GT(failed, 3);
  EXPECT_GE(answered, 1) << "with all the memory that it asks for";
}

TEST_F(ShortMemory, EncodeBase64Text_RaisesTheNumber) {
  const Bstr text(kLong);
  int answered = 0;
  const int failed = Sweep([&](int request) {
    Bstr encoded;
    const HRESULT result = object_->EncodeBase64Text(text.get(), encoded.put());
    if (result == S_OK) {
      ++answered;
      EXPECT_EQ(encoded.view(), kLongEncoded);
    } else {
      EXPECT_EQ(result, static_cast<HRESULT>(0x800A0000 + kErrOutOfMemory)) << request;
      EXPECT_EQ(encoded.view(), u"") << request;
    }
  });
  EXPECT_GT(failed, 3);
  EXPECT_GE(answered, 1) << "with all the memory that it asks for";
}

TEST_F(ShortMemory, GetGuidAndGetDate_AnswerAText) {
  const Bstr date(u"31 dicembre 1999 17:04:00");
  for (const auto& member :
       {+[](INerioComponent*object, BSTR, BSTR*answer) { return object->GetGuid(answer); },
        +[](INerioComponent*object, BSTR text, BSTR*answer) { return object->GetDate(text, answer); }}) {
    const int failed = Sweep([&](int request) {
      Bstr answer;
      EXPECT_EQ(member(object_.get(), date.get(), answer.put()), S_OK) << request;
    });
    EXPECT_GT(failed, 1);
  }
}

// What a member answered.
struct MemberAnswer {
  HRESULT result = S_OK;
  Text text;

  friend bool operator==(const MemberAnswer&, const MemberAnswer&) = default;
};

// The arguments that the calls below share; they are made while memory is not short.
struct Arguments {
  Arguments() {
    CLSID id{};
    EXPECT_EQ(::CLSIDFromProgID(L"MSXML2.DOMDocument.4.0", &id), S_OK);
    EXPECT_EQ(::CoCreateInstance(id, nullptr, CLSCTX_INPROC_SERVER, IID_IXMLDOMDocument, document.putVoid()), S_OK);
    VARIANT_BOOL loaded = VARIANT_FALSE;
    EXPECT_EQ(document->loadXML(Bstr(u"<radice/>").get(), &loaded), S_OK);
    document->get_documentElement(element.put());
    SAFEARRAYBOUND bound{1, 0};
    V_ARRAY(list.put()) = ::SafeArrayCreate(VT_BSTR, 1, &bound);
    V_VT(&const_cast<VARIANT&>(list.get())) = VT_ARRAY | VT_BSTR;
    LONG first = 0;
    EXPECT_EQ(::SafeArrayPutElement(V_ARRAY(&list.get()), &first, text.get()), S_OK);
    V_VT(&noRoot) = VT_ERROR;
    V_ERROR(&noRoot) = DISP_E_PARAMNOTFOUND;
  }

  ComPointer<IXMLDOMDocument> document;
  ComPointer<IXMLDOMElement> element;
  NativeVariant list;
  VARIANT noRoot;
  const Bstr text{kLong};
  const Bstr encoded{kLongEncoded};
  const Bstr name{u"nome_di_un_elemento_o_di_un_valore"};
  const Bstr branch{u"Prova di memoria insufficiente"};
  const Bstr date{u"31 dicembre 1999 17:04:00"};
  const Bstr place{u"{0} e altro ancora, fino in fondo"};
  FakeDispatch field{{{u"Value", testing::AnswersFlag(true)}}};
  FakeDispatch records{{{u"BOF", testing::AnswersFlag(true)}, {u"EOF", testing::AnswersFlag(true)}}};
};

struct Member {
  const char16_t* name;
  HRESULT (*call)(INerioComponent& object, Arguments& arguments, Bstr& answer);
  // What else than E_OUTOFMEMORY it answers when memory is short.
  std::vector<MemberAnswer> others;
};

HRESULT Written(INerioComponent& object, Arguments& a) {
  VARIANT_BOOL done = VARIANT_FALSE;
  return object.ScriviImpostazione(a.branch.get(), a.name.get(), a.text.get(), a.noRoot, &done);
}

// The calls that never fail answer the empty text; a registry that is short of memory refuses, whatever the reason.
const std::vector<Member>& AllMembers() {
  const HRESULT noMemory = static_cast<HRESULT>(0x800A0000 + kErrOutOfMemory);
  const HRESULT refused = static_cast<HRESULT>(0x800A0000);
  static const std::vector<Member> members = {
      // The system's own number.
      {u"WriteLog",
       [](auto& o, auto& a, auto&) { return o.WriteLog(a.text.get()); },
       {{refused + ERROR_NOT_ENOUGH_MEMORY, {}}}},
      {u"BuildPath", [](auto& o, auto& a, auto& t) { return o.BuildPath(a.text.get(), a.name.get(), t.put()); }, {}},
      {u"CheckXMLParser",
       [](auto& o, auto&, auto&) {
         VARIANT_BOOL present = VARIANT_FALSE;
         return o.CheckXMLParser(&present);
       },
       {}},
      {u"SetXMLAttribute",
       [](auto& o, auto& a, auto&) {
         return o.SetXMLAttribute(a.document.get(), a.element.get(), a.name.get(), a.text.get());
       },
       {}},
      {u"AddXMLElement",
       [](auto& o, auto& a, auto&) {
         ComPointer<IDispatch> added;
         return o.AddXMLElement(a.document.get(), a.element.get(), a.name.get(), a.text.get(), added.put());
       },
       {}},
      {u"EncodeBase64",
       [](auto& o, auto& a, auto&) {
         NativeVariant encoded;
         LONG number = 0;
         const HRESULT result = o.EncodeBase64(a.text.get(), encoded.put(), &number);
         return number == kErrOutOfMemory ? E_OUTOFMEMORY : result;
       },
       {}},
      {u"DecodeBase64", [](auto& o, auto& a, auto& t) { return o.DecodeBase64(a.encoded.get(), t.put()); }, {{}}},
      {u"GetGuid",
       [](auto& o, auto&, auto&) {
         Bstr guid;
         return o.GetGuid(guid.put());
       },
       {}},
      {u"GetDate",
       [](auto& o, auto& a, auto& t) { return o.GetDate(a.date.get(), t.put()); },
       {{}, {S_OK, u"00:00:00"}}},
      {u"GetFieldValue",
       [](auto& o, auto& a, auto&) {
         NativeVariant value;
         return o.GetFieldValue(&a.field, a.text.get(), value.put());
       },
       {}},
      {u"PopulateRecordset", [](auto& o, auto& a, auto&) { return o.PopulateRecordset(&a.records); }, {}},
      {u"GetErrorMessage", [](auto& o, auto&, auto& t) { return o.GetErrorMessage(-2147221501, t.put()); }, {}},
      {u"FormatTemplate",
       [](auto& o, auto& a, auto& t) { return o.FormatTemplate(a.place.get(), a.list.get(), t.put()); },
       {}},
      {u"ValidateParam", [](auto& o, auto& a, auto&) { return o.ValidateParam(nullptr, a.name.get()); }, {}},
      {u"LeggiImpostazione",
       [](auto& o, auto& a, auto& t) {
         return o.LeggiImpostazione(a.branch.get(), a.name.get(), nullptr, a.noRoot, t.put());
       },
       {{}}},
      {u"ScriviImpostazione",
       [](auto& o, auto& a, auto&) { return Written(o, a); },
       {{refused + 1, {}}, {refused + 4, {}}}},
      {u"CancellaImpostazione",
       [](auto& o, auto& a, auto&) {
         VARIANT_BOOL done = VARIANT_FALSE;
         return o.CancellaImpostazione(a.branch.get(), a.name.get(), a.noRoot, &done);
       },
       {{refused + 5, {}}}},
      {u"EncodeBase64Text",
       [](auto& o, auto& a, auto& t) { return o.EncodeBase64Text(a.text.get(), t.put()); },
       {{noMemory, {}}}},
      {u"Versione", [](auto& o, auto&, auto& t) { return o.get_Versione(t.put()); }, {}},
  };
  return members;
}

TEST_F(ShortMemory, EveryMember_AnswersTheLackOfMemoryAndThenAsEver) {
  Arguments arguments;
  const MemberAnswer noMemory{E_OUTOFMEMORY, {}};
  int requests = 0;
  for (const Member& member : AllMembers()) {
    const auto call = [&] {
      Bstr text;
      const HRESULT result = member.call(*object_.get(), arguments, text);
      return MemberAnswer{result, Text(text.view())};
    };
    const auto ready = [&] { ASSERT_EQ(Written(*object_.get(), arguments), S_OK); };
    ready();
    const MemberAnswer right = call();
    requests += Sweep([&](int request) {
      const int left = std::exchange(requestsLeft, -1);
      ready();
      arguments.field.calls.clear();
      arguments.records.calls.clear();
      Bstr text;
      requestsLeft = left;
      const HRESULT result = member.call(*object_.get(), arguments, text);
      const int after = std::exchange(requestsLeft, -1);
      const MemberAnswer answer{result, Text(text.view())};
      const bool stated = answer == right || answer == noMemory ||
                          std::find(member.others.begin(), member.others.end(), answer) != member.others.end();
      EXPECT_TRUE(stated) << ToUtf8(member.name) << ", request " << request << ": 0x" << std::hex << result << " "
                          << ToUtf8(answer.text);
      ready();
      EXPECT_EQ(call(), right) << ToUtf8(member.name) << " after request " << request;
      requestsLeft = after;
    });
    EXPECT_EQ(arguments.field.references, 1u) << ToUtf8(member.name);
    EXPECT_EQ(arguments.records.references, 1u) << ToUtf8(member.name);
  }
  std::cout << requests << " requests refused in " << AllMembers().size() << " members\n";
  EXPECT_GT(requests, static_cast<int>(AllMembers().size()));
}

TEST_F(ShortMemory, EveryMemberOfTheInterface_IsCalled) {
  ComPointer<ITypeInfo> info;
  ASSERT_EQ(object_->GetTypeInfo(0, 0, info.put()), S_OK);
  std::size_t members = 0;
  for (MEMBERID id = 1; id < 1000; ++id) {
    Bstr name;
    if (FAILED(info->GetDocumentation(id, name.put(), nullptr, nullptr, nullptr))) continue;
    ++members;
    EXPECT_TRUE(std::any_of(AllMembers().begin(), AllMembers().end(), [&](const Member& member) {
      return name.view() == member.name;
    })) << ToUtf8(name.view());
  }
  EXPECT_EQ(members, AllMembers().size());
}

}  // namespace
}  // namespace nerio::component
