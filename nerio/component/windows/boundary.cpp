#include "nerio/component/windows/boundary.h"

#include "nerio/hosts/windows/automation/com_error.h"
#include "nerio/hosts/windows/automation/com_pointer.h"
#include "nerio/types/error.h"
#include "nerio_automation.h"

namespace nerio::component {
namespace {

constexpr ULONG kReserved = 0;

// Leaves source and description on this thread for the caller's next look. Without memory for that, the number is all
// that the caller gets.
void LeaveErrorInfo(const Error& error) noexcept {
  platform::ClearErrorInfo();
  platform::ComPointer<ICreateErrorInfo> created;
  platform::ComPointer<IErrorInfo> info;
  if (FAILED(::CreateErrorInfo(created.put()))) return;
  created->SetGUID(IID_INerioComponent);
  // Declared writable and only read.
  created->SetSource(const_cast<wchar_t*>(platform::Wide(error.source())));
  created->SetDescription(const_cast<wchar_t*>(platform::Wide(error.description())));
  if (SUCCEEDED(created->QueryInterface(IID_IErrorInfo, info.putVoid()))) ::SetErrorInfo(kReserved, info.get());
}

}  // namespace

HRESULT AnswerToNumber(std::int32_t number) noexcept {
  constexpr std::int32_t kLargestPlainNumber = 0xFFFF;
  if (number < 0) return number;
  if (number > kLargestPlainNumber) return E_FAIL;
  return MAKE_HRESULT(SEVERITY_ERROR, FACILITY_CONTROL, number);
}

HRESULT AnswerToException() noexcept {
  try {
    throw;
  } catch (const Error& error) {
    LeaveErrorInfo(error);
    return AnswerToNumber(error.number());
  } catch (const std::bad_alloc&) {
    platform::ClearErrorInfo();
    return E_OUTOFMEMORY;
  } catch (...) {
    platform::ClearErrorInfo();
    return E_FAIL;
  }
}

}  // namespace nerio::component
