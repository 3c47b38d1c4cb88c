#include "nerio/hosts/windows/automation/record_set.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "nerio/hosts/windows/automation/system_message.h"
#include "nerio/types/error.h"
#include "tests/hosts/windows/automation/fake_dispatch.h"
#include "tests/testing/raised_error.h"

namespace nerio::platform {
namespace {

using testing::Answers;
using testing::AnswersFlag;
using ::testing::ElementsAre;
using testing::ErrorOf;
using testing::ExpectError;
using testing::FakeDispatch;

VARIANT Number(LONG number) {
  VARIANT value;
  ::VariantInit(&value);
  V_VT(&value) = VT_I4;
  V_I4(&value) = number;
  return value;
}

FakeDispatch::Member Raises(WORD code, SCODE scode) {
  return [=](const DISPPARAMS&, VARIANT*, EXCEPINFO* exception) {
    exception->wCode = code;
    exception->scode = scode;
    exception->bstrSource = ::SysAllocString(L"DAO.Recordset");
    exception->bstrDescription = ::SysAllocString(L"Nessun record corrente: perch\u00E9?");
    exception->bstrHelpFile = ::SysAllocString(L"aiuto.hlp");
    return DISP_E_EXCEPTION;
  };
}

TEST(AutomationField, Value_IsReadAsAPropertyAndKeepsItsType) {
  FakeDispatch field({{u"Value", Answers(Number(7))}});
  EXPECT_EQ(AutomationField(&field).get_Value(), Variant(std::int32_t{7}));
  EXPECT_THAT(field.calls, ElementsAre("get Value"));
  EXPECT_EQ(field.references, 1u);
}

TEST(AutomationField, ValueThatNoFieldCanHold_RaisesTypeMismatch) {
  VARIANT value = Number(0);
  V_VT(&value) = VT_ERROR;
  FakeDispatch field({{u"Value", Answers(value)}});
  ExpectError(ErrorOf([&] { AutomationField(&field).get_Value(); }), kErrTypeMismatch, u"Variant",
              u"Tipo non corrispondente");
}

TEST(AutomationField, NoObject_RaisesObjectNotSet) {
  ExpectError(ErrorOf([] { AutomationField(nullptr).get_Value(); }), kErrObjectNotSet, u"",
              u"Variabile oggetto o variabile del blocco With non impostata");
}

TEST(AutomationRecordSet, Members_AreCalledByNameWithTheirOwnKind) {
  FakeDispatch records({{u"BOF", AnswersFlag(false)},
                        {u"EOF", AnswersFlag(true)},
                        {u"MoveFirst", Answers(Number(0))},
                        {u"MoveLast", Answers(Number(0))}});
  AutomationRecordSet set(&records);
  EXPECT_EQ(set.get_BOF(), False);
  EXPECT_EQ(set.get_EOF(), True);
  set.MoveLast(0);
  set.MoveFirst();
  EXPECT_THAT(records.calls, ElementsAre("get BOF", "get EOF", "call MoveLast(0)", "call MoveFirst()"));
  EXPECT_EQ(records.references, 1u);
}

TEST(AutomationRecordSet, FlagOfAnotherType_IsConverted) {
  FakeDispatch records({{u"BOF", Answers(Number(1))}, {u"EOF", Answers(Number(0))}});
  AutomationRecordSet set(&records);
  EXPECT_EQ(set.get_BOF(), True);
  EXPECT_EQ(set.get_EOF(), False);
}

TEST(AutomationRecordSet, FlagThatIsNone_RaisesTypeMismatch) {
  VARIANT value = Number(0);
  V_VT(&value) = VT_NULL;
  FakeDispatch records({{u"BOF", Answers(value)}});
  ExpectError(ErrorOf([&] { AutomationRecordSet(&records).get_BOF(); }), kErrTypeMismatch, u"Variant",
              u"Tipo non corrispondente");
}

TEST(AutomationRecordSet, WhatTheObjectReports_IsRaisedUnchanged) {
  const Text description = u"Nessun record corrente: perch\u00E9?";
  const SCODE scode = static_cast<SCODE>(0x800A0BCD);
  FakeDispatch longCode({{u"MoveFirst", Raises(0, scode)}});
  ExpectError(ErrorOf([&] { AutomationRecordSet(&longCode).MoveFirst(); }), scode, u"DAO.Recordset", description);
  FakeDispatch shortCode({{u"MoveFirst", Raises(3021, 0)}});
  ExpectError(ErrorOf([&] { AutomationRecordSet(&shortCode).MoveFirst(); }), 3021, u"DAO.Recordset", description);
}

HRESULT WINAPI FillIn(EXCEPINFO* exception) {
  exception->scode = E_ACCESSDENIED;
  exception->bstrDescription = ::SysAllocString(L"pi\u00F9 tardi");
  return S_OK;
}

TEST(AutomationRecordSet, ReportFilledInLater_IsAskedFor) {
  FakeDispatch records({{u"MoveFirst", [](const DISPPARAMS&, VARIANT*, EXCEPINFO* exception) -> HRESULT {
                           exception->pfnDeferredFillIn = FillIn;
                           return DISP_E_EXCEPTION;
                         }}});
  ExpectError(ErrorOf([&] { AutomationRecordSet(&records).MoveFirst(); }), E_ACCESSDENIED, u"", u"pi\u00F9 tardi");
}

TEST(AutomationRecordSet, FailureWithoutReport_HasItsNumberAndTheSystemsText) {
  FakeDispatch records({{u"MoveFirst", [](const DISPPARAMS&, VARIANT*, EXCEPINFO*) -> HRESULT { return E_FAIL; }}});
  ExpectError(ErrorOf([&] { AutomationRecordSet(&records).MoveFirst(); }), E_FAIL, u"", SystemMessage(E_FAIL));
  ExpectError(ErrorOf([&] { AutomationRecordSet(&records).MoveLast(0); }), DISP_E_UNKNOWNNAME, u"",
              SystemMessage(DISP_E_UNKNOWNNAME));
}

TEST(AutomationRecordSet, NoObject_RaisesObjectNotSet) {
  ExpectError(ErrorOf([] { AutomationRecordSet(nullptr).get_BOF(); }), kErrObjectNotSet, u"",
              u"Variabile oggetto o variabile del blocco With non impostata");
}

}  // namespace
}  // namespace nerio::platform
