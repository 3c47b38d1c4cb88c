#pragma once

#include <windows.h>
// The order matters: the automation headers need the types above.
#include <oleauto.h>

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "nerio/types/text.h"

namespace nerio::testing {

/// An automation object for tests: members by name, and a transcript of the calls. Lives where it is declared; its
/// references are counted, so that a test can see that none is left.
class FakeDispatch final : public IDispatch {
 public:
  /// Answers a call. `parameters` and `exception` are the caller's.
  using Member = std::function<HRESULT(const DISPPARAMS& parameters, VARIANT* answer, EXCEPINFO* exception)>;

  explicit FakeDispatch(std::map<Text, Member> members) : members_(std::move(members)) {}

  /// Each call, in order: `get BOF`, `call MoveLast(0)`.
  std::vector<std::string> calls;
  ULONG references = 1;

  HRESULT WINAPI QueryInterface(REFIID id, void** object) override;
  ULONG WINAPI AddRef() override { return ++references; }
  ULONG WINAPI Release() override { return --references; }
  HRESULT WINAPI GetTypeInfoCount(UINT* count) override;
  HRESULT WINAPI GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
  HRESULT WINAPI GetIDsOfNames(REFIID, LPOLESTR* names, UINT count, LCID, DISPID* ids) override;
  HRESULT WINAPI Invoke(DISPID id, REFIID, LCID, WORD flags, DISPPARAMS* parameters, VARIANT* answer,
                        EXCEPINFO* exception, UINT*) override;

 private:
  std::map<Text, Member> members_;
};

/// Answers a value of an automation type that needs no memory of its own.
FakeDispatch::Member Answers(const VARIANT& value);
/// Answers a Boolean.
FakeDispatch::Member AnswersFlag(bool flag);

}  // namespace nerio::testing
