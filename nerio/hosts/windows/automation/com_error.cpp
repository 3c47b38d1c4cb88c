#include "nerio/hosts/windows/automation/com_error.h"

#include "nerio/hosts/windows/automation/bstr.h"
#include "nerio/hosts/windows/automation/com_pointer.h"
#include "nerio/hosts/windows/automation/system_message.h"

namespace nerio::platform {
namespace {

constexpr ULONG kReserved = 0;

}  // namespace

void ClearErrorInfo() noexcept { ::SetErrorInfo(kReserved, nullptr); }

void RaiseComError(std::int32_t result) {
  ComPointer<IErrorInfo> info;
  Bstr source;
  Bstr description;
  if (::GetErrorInfo(kReserved, info.put()) == S_OK) {
    info->GetSource(source.put());
    info->GetDescription(description.put());
  }
  throw Error(result, Text(source.view()),
              description.view().empty() ? SystemMessage(result) : Text(description.view()));
}

void RaiseTypeMismatch() { throw Error(kErrTypeMismatch, u"Variant", u"Tipo non corrispondente"); }

}  // namespace nerio::platform
