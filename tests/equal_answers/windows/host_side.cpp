#include "tests/equal_answers/host_side.h"

#include <windows.h>
// The order matters: the automation headers need the types above.
#include <oleauto.h>

#include <array>
#include <map>
#include <stdexcept>
#include <utility>

#include "nerio/hosts/portable/regional/regional_data.h"
#include "nerio/hosts/windows/automation/bstr.h"
#include "nerio/hosts/windows/automation/record_set.h"
#include "nerio/hosts/windows/automation/variant.h"
#include "nerio/hosts/windows/automation/wide.h"
#include "tests/hosts/windows/automation/fake_dispatch.h"

namespace nerio::equal_answers {
namespace {

using testing::FakeDispatch;

constexpr LCTYPE kSettings[] = {LOCALE_SSHORTDATE, LOCALE_STIMEFORMAT, LOCALE_S1159, LOCALE_S2359, LOCALE_SDECIMAL};

Text Setting(LCTYPE type) {
  std::array<wchar_t, 256> buffer{};
  const int length = ::GetLocaleInfoW(LOCALE_USER_DEFAULT, type, buffer.data(), static_cast<int>(buffer.size()));
  if (length == 0) throw std::runtime_error("regional setting " + std::to_string(type) + " cannot be read");
  return Text(platform::ViewOf(buffer.data(), static_cast<std::size_t>(length - 1)));
}

bool Set(LCTYPE type, const Text& value) {
  return ::SetLocaleInfoW(LOCALE_USER_DEFAULT, type, platform::Wide(value)) != 0;
}

// A field, reached through the automation interface of an object that has nothing but its value.
class AutomatedField final : public platform::RecordField {
 public:
  explicit AutomatedField(const Variant& value) : value_(value) {}
  Variant get_Value() override { return field_.get_Value(); }

 private:
  platform::NativeVariant value_;
  FakeDispatch object_{{{u"Value", [this](const DISPPARAMS&, VARIANT* answer, EXCEPINFO*) {
                           return ::VariantCopy(answer, const_cast<VARIANT*>(&value_.get()));
                         }}}};
  platform::AutomationField field_{&object_};
};

class AutomatedRecordSet final : public platform::RecordSet {
 public:
  AutomatedRecordSet(const RecordSetState& state, std::vector<std::string>& calls)
      : object_(Members(state)), calls_(calls) {}
  ~AutomatedRecordSet() override { calls_ = object_.calls; }

  Boolean get_BOF() override { return records_.get_BOF(); }
  Boolean get_EOF() override { return records_.get_EOF(); }
  void MoveLast(std::int32_t options) override { records_.MoveLast(options); }
  void MoveFirst() override { records_.MoveFirst(); }

 private:
  static HRESULT Fail(EXCEPINFO* exception) {
    const Error error = RecordSetError();
    *exception = {};
    exception->scode = error.number();
    exception->bstrSource = platform::Bstr(error.source()).release();
    exception->bstrDescription = platform::Bstr(error.description()).release();
    return DISP_E_EXCEPTION;
  }

  static std::map<Text, FakeDispatch::Member> Members(const RecordSetState& state) {
    const auto moved = [](const DISPPARAMS&, VARIANT*, EXCEPINFO*) { return S_OK; };
    std::map<Text, FakeDispatch::Member> members{{u"BOF", testing::AnswersFlag(state.beforeFirst)},
                                                 {u"EOF", testing::AnswersFlag(state.behindLast)},
                                                 {u"MoveLast", moved},
                                                 {u"MoveFirst", moved}};
    for (auto& [name, member] : members) {
      if (Text(state.failing.begin(), state.failing.end()) != name) continue;
      member = [](const DISPPARAMS&, VARIANT*, EXCEPINFO* exception) { return Fail(exception); };
    }
    return members;
  }

  FakeDispatch object_;
  platform::AutomationRecordSet records_{&object_};
  std::vector<std::string>& calls_;
};

}  // namespace

SameRegion::SameRegion() {
  const platform::RegionalData region = platform::BuiltInRegion(u"it-IT").value();
  if (Setting(LOCALE_SNAME) != region.name) throw std::runtime_error("the user's language is not Italian");
  const Text* const wanted[] = {&region.shortDate, &region.timeOfDay, &region.morning, &region.afternoon,
                                &region.decimalMark};
  static_assert(std::size(wanted) == std::size(kSettings));
  for (const LCTYPE type : kSettings) before_.push_back(Setting(type));
  for (std::size_t i = 0; i < std::size(kSettings); ++i) {
    if (!Set(kSettings[i], *wanted[i]) || Setting(kSettings[i]) != *wanted[i]) {
      throw std::runtime_error("regional setting " + std::to_string(kSettings[i]) + " cannot be changed");
    }
  }
}

SameRegion::~SameRegion() {
  for (std::size_t i = 0; i < before_.size(); ++i) Set(kSettings[i], before_[i]);
}

std::unique_ptr<platform::RecordField> MakeField(const Variant& value) {
  return std::make_unique<AutomatedField>(value);
}

std::unique_ptr<platform::RecordSet> MakeRecordSet(const RecordSetState& state, std::vector<std::string>& calls) {
  return std::make_unique<AutomatedRecordSet>(state, calls);
}

}  // namespace nerio::equal_answers
