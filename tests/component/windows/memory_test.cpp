// Members for which memory runs out: every request of memory that the library makes in a call fails in turn.
#include <gtest/gtest.h>

#include "nerio/hosts/windows/automation/bstr.h"
#include "nerio/hosts/windows/automation/variant.h"
#include "nerio/support/base64.h"
#include "tests/component/windows/loaded_component.h"
#include "tests/component/windows/replaced_import.h"

namespace nerio::component {
namespace {

using platform::Bstr;
using platform::ComPointer;
using platform::FromNative;
using platform::NativeVariant;
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

}  // namespace
}  // namespace nerio::component
