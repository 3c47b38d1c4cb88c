// IDispatch::Invoke with random members, kinds and arguments: no call ends the process, every answer is one that the
// contract names, and nothing that a call took stays taken. The environment's NERIO_CALLS says how many calls,
// NERIO_SEED which ones.
//
// Automation's own part of a call, which converts the arguments, is Wine's in these tests. It keeps what it had converted
// of a call that it then refuses, so what is left is looked at for the calls that come to a member.
#include <gtest/gtest.h>
#include <msxml2.h>

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <map>
#include <numeric>
#include <sstream>

#include "nerio/hosts/windows/automation/bstr.h"
#include "nerio/hosts/windows/automation/variant.h"
#include "tests/component/windows/loaded_component.h"
#include "tests/component/windows/long_runs/random_arguments.h"
#include "tests/component/windows/long_runs/taken.h"
#include "tests/component/windows/replaced_import.h"

namespace nerio::component {
namespace {

using platform::ComPointer;
using testing::AnswersFlag;
using testing::FakeDispatch;
using testing::LoadedComponent;
using testing::Measure;
using testing::RandomArguments;
using testing::ReplacedImport;
using testing::Taken;

// The members with the arguments that each takes: texts, objects, numbers and variants.
constexpr DISPID kMembers = 19;
constexpr const char* kArguments[kMembers] = {"s", "ss", "",   "ooss", "ooss", "sv",   "s",   "",  "s", "os",
                                              "o", "n",  "sv", "ss",   "sssv", "sssv", "ssv", "s", ""};

unsigned long FromEnvironment(const char* name, unsigned long otherwise) {
  const char* const given = std::getenv(name);
  return given != nullptr ? std::stoul(given) : otherwise;
}

// The key that a creation leaves open, deliberately, is closed here.
using CreateKeyFunction = LONG(WINAPI*)(HKEY, const char*, DWORD, char*, DWORD, REGSAM, SECURITY_ATTRIBUTES*, HKEY*,
                                        DWORD*);
CreateKeyFunction createKey = nullptr;
std::vector<HKEY> createdKeys;

LONG WINAPI CreateKey(HKEY root, const char* name, DWORD reserved, char* type, DWORD options, REGSAM access,
                      SECURITY_ATTRIBUTES* security, HKEY* key, DWORD* disposition) {
  const LONG result = createKey(root, name, reserved, type, options, access, security, key, disposition);
  if (result == ERROR_SUCCESS) createdKeys.push_back(*key);
  return result;
}

// What the host of the component does wrong, for the test's own proof.
enum class Fault { None, LeakedText, LeakedHandle, LeakedObject };

class RandomCalls : public ::testing::Test {
 protected:
  static void TearDownTestSuite() {
    for (const HKEY root : {HKEY_LOCAL_MACHINE, HKEY_CURRENT_USER}) {
      ::RegDeleteTreeW(root, L"Software\\Nerio\\Prova a caso");
      ::RegDeleteTreeW(root, L"Software\\Nerio\\citt\u00E0");
    }
  }

  // Makes the document of which the calls may be given nodes.
  void NewDocument() {
    document_ = {};
    ASSERT_EQ(
        ::CoCreateInstance(documentClass_, nullptr, CLSCTX_INPROC_SERVER, IID_IXMLDOMDocument, document_.putVoid()),
        S_OK);
  }

  // Makes the call of this number and checks its answer. Returns a line about it; `reached` says whether it came to a
  // member.
  std::string Call(std::uint32_t number, Fault fault, bool& reached) {
    std::mt19937 random(number);
    const auto below = [&](std::uint32_t limit) { return random() % limit; };
    constexpr DISPID kOthers[] = {0, 20, -1, -3, -4, 2147483647, -2147483647 - 1};
    constexpr WORD kKinds[] = {DISPATCH_METHOD,
                               DISPATCH_METHOD | DISPATCH_PROPERTYGET,
                               DISPATCH_PROPERTYGET,
                               DISPATCH_PROPERTYPUT,
                               DISPATCH_PROPERTYPUTREF,
                               0,
                               0xFFFF};
    const bool fitting = below(2) == 0;
    const DISPID member = !fitting && below(6) == 0 ? kOthers[below(7)] : static_cast<DISPID>(below(kMembers) + 1);
    const WORD kind = !fitting ? kKinds[below(7)] : member == kMembers ? DISPATCH_PROPERTYGET : DISPATCH_METHOD;
    const std::vector<IDispatch*> objects = {&field_, &records_, &raising_, document_.get()};
    RandomArguments arguments(random, objects, fitting ? kArguments[member - 1] : nullptr);
    platform::NativeVariant answer;
    EXCEPINFO exception{};
    UINT bad = 0xFFFFFFFF;
    const bool wanted = below(4) != 0;
    const bool explained = below(4) != 0;
    const HRESULT result = object_->Invoke(member, IID_NULL, static_cast<LCID>(below(2) * 0x410), kind,
                                           arguments.parameters(), wanted ? answer.put() : nullptr,
                                           explained ? &exception : nullptr, below(4) != 0 ? &bad : nullptr);
    std::ostringstream line;
    line << "member " << member << ", kind " << kind << ", " << arguments.parameters()->cArgs << " arguments, "
         << arguments.parameters()->cNamedArgs << " named: 0x" << std::hex << static_cast<unsigned long>(result);
    if (result == DISP_E_EXCEPTION && explained) {
      line << ", 0x" << static_cast<unsigned long>(exception.scode);
      EXPECT_LT(exception.scode, 0) << line.str();
      EXPECT_TRUE(IsNamed(exception.scode)) << line.str();
    } else {
      EXPECT_TRUE(Answered(result)) << line.str();
    }
    if (fault != Fault::LeakedText) ::SysFreeString(exception.bstrDescription);
    ::SysFreeString(exception.bstrSource);
    ::SysFreeString(exception.bstrHelpFile);
    ++answers_[result];
    reached = result == S_OK || result == DISP_E_EXCEPTION;
    for (const HKEY key : createdKeys) ::RegCloseKey(key);
    createdKeys.clear();
    if (fault == Fault::LeakedHandle) ::CreateEventW(nullptr, FALSE, FALSE, nullptr);
    if (fault == Fault::LeakedObject && reached) field_.AddRef();
    return line.str();
  }

  // The answers of `IDispatch::Invoke` itself.
  static bool Answered(HRESULT result) {
    constexpr HRESULT kAnswers[] = {S_OK,
                                    DISP_E_MEMBERNOTFOUND,
                                    DISP_E_BADPARAMCOUNT,
                                    DISP_E_TYPEMISMATCH,
                                    DISP_E_OVERFLOW,
                                    DISP_E_PARAMNOTFOUND,
                                    DISP_E_PARAMNOTOPTIONAL,
                                    DISP_E_NONAMEDARGS,
                                    DISP_E_BADVARTYPE,
                                    DISP_E_EXCEPTION,
                                    DISP_E_NOTACOLLECTION,
                                    E_INVALIDARG};
    return std::find(std::begin(kAnswers), std::end(kAnswers), result) != std::end(kAnswers);
  }

  // The numbers of errors that the members raise: the library's own, those of the DOM and of the objects given.
  static bool IsNamed(SCODE code) {
    if (HRESULT_FACILITY(code) == FACILITY_CONTROL || HRESULT_FACILITY(code) == FACILITY_ITF) return true;
    constexpr SCODE kCodes[] = {E_FAIL,    E_INVALIDARG,        E_NOTIMPL,          E_NOINTERFACE,
                                E_POINTER, DISP_E_TYPEMISMATCH, DISP_E_UNKNOWNNAME, DISP_E_MEMBERNOTFOUND};
    return std::find(std::begin(kCodes), std::end(kCodes), code) != std::end(kCodes);
  }

  // Makes the calls of these numbers and returns those that came to a member.
  std::vector<std::uint32_t> CallAll(const std::vector<std::uint32_t>& numbers, Fault fault) {
    std::vector<std::uint32_t> reaching;
    for (std::size_t i = 0; i < numbers.size() && !HasFailure(); ++i) {
      if (i % 200 == 0) NewDocument();
      bool reached = false;
      const std::string line = Call(numbers[i], fault, reached);
      if (HasFailure()) std::cout << "call " << numbers[i] << ": " << line << '\n';
      if (reached) reaching.push_back(numbers[i]);
      for (FakeDispatch* const object : {&field_, &records_, &raising_}) {
        object->calls.clear();
        if (reached) references_ += object->references - 1;
        object->references = 1;
      }
    }
    NewDocument();
    return reaching;
  }

  // Makes as many calls as asked for and returns what they left taken, in words; empty when nothing.
  std::string WhatIsLeftOf(std::size_t calls, std::uint32_t seed, Fault fault) {
    std::vector<std::uint32_t> numbers(calls);
    std::iota(numbers.begin(), numbers.end(), seed);
    // Once more, for everything that is made once; then it counts.
    numbers = CallAll(CallAll(numbers, fault), fault);
    reaching_ = numbers.size();
    const Taken before = Measure();
    CallAll(numbers, fault);
    const Taken after = Measure();
    std::ostringstream left;
    if (references_ != 0) left << references_ << " references; ";
    if (after.handles != before.handles) left << after.handles - before.handles << " handles; ";
    if (after.slots != before.slots) left << after.slots - before.slots << " slots; ";
    // A heap's blocks come and go a little; what a call keeps adds up.
    if (after.heapBytes > before.heapBytes + numbers.size()) left << after.heapBytes - before.heapBytes << " bytes; ";
    return left.str();
  }

  const LoadedComponent component_;
  const ComPointer<INerioComponent> object_ = component_.Create();
  const ReplacedImport<CreateKeyFunction> creations_{"RegCreateKeyExA", CreateKey, createKey};
  CLSID documentClass_ = [] {
    CLSID id{};
    EXPECT_EQ(::CLSIDFromProgID(L"MSXML2.DOMDocument.4.0", &id), S_OK);
    return id;
  }();
  ComPointer<IXMLDOMDocument> document_;
  const FakeDispatch::Member raise_ = [](const DISPPARAMS&, VARIANT*, EXCEPINFO* exception) -> HRESULT {
    exception->scode = static_cast<SCODE>(0x800A0BCD);
    exception->bstrDescription = ::SysAllocString(L"Nessun record corrente.");
    return DISP_E_EXCEPTION;
  };
  const FakeDispatch::Member nothing_ = [](const DISPPARAMS&, VARIANT*, EXCEPINFO*) { return S_OK; };
  FakeDispatch field_{{{u"Value", AnswersFlag(true)}}};
  FakeDispatch records_{
      {{u"BOF", AnswersFlag(false)}, {u"EOF", AnswersFlag(false)}, {u"MoveLast", nothing_}, {u"MoveFirst", nothing_}}};
  FakeDispatch raising_{{{u"Value", raise_}, {u"BOF", AnswersFlag(false)}, {u"EOF", raise_}}};
  std::map<HRESULT, unsigned long> answers_;
  std::size_t reaching_ = 0;    // calls that came to a member
  std::size_t references_ = 0;  // to objects, that such calls left
};

TEST_F(RandomCalls, AnyArguments_AreAnsweredAndNothingIsLeft) {
  const unsigned long calls = FromEnvironment("NERIO_CALLS", 3000);
  const std::uint32_t seed = FromEnvironment("NERIO_SEED", std::random_device()() % 1'000'000);
  EXPECT_EQ(WhatIsLeftOf(calls, seed, Fault::None), "") << "NERIO_SEED=" << seed << " NERIO_CALLS=" << calls;
  std::cout << calls << " random calls, seed " << seed << ", " << reaching_ << " of them come to a member\n";
  for (const auto& [result, count] : answers_) std::cout << count << " x 0x" << std::hex << result << std::dec << '\n';
  EXPECT_GT(reaching_, calls / 10) << "too few of the calls come to a member";
}

TEST_F(RandomCalls, HostThatLeaks_IsSeen) {
  constexpr std::pair<Fault, const char*> kFaults[] = {
      {Fault::LeakedText, "text"}, {Fault::LeakedHandle, "handle"}, {Fault::LeakedObject, "reference"}};
  for (const auto& [fault, what] : kFaults) {
    references_ = 0;
    const std::string left = WhatIsLeftOf(1500, 1, fault);
    EXPECT_NE(left, "");
    std::cout << "planted leak of a " << what << " with each call: " << left << "seen\n";
  }
}

}  // namespace
}  // namespace nerio::component
