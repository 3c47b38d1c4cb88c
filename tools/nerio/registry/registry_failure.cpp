#include "tools/nerio/registry/registry_failure.h"

#include "nerio/platform/registry_api.h"
#include "tools/nerio/registry/registry_access.h"
#include "tools/nerio/registry_system.h"

namespace nerio::tool {
namespace {

struct Meaning {
  platform::Status status;
  Exit exit;
  const char* what;
  const char* advice;
};

const Meaning kMeanings[] = {
    {platform::kFileNotFound, Exit::kNotFound, "it is not there", ""},
    {platform::kAccessDenied, Exit::kAccessDenied, "access is denied",
     "ask the key's owner for the rights, or run this as a user who has them"},
    {platform::kInvalidParameter, Exit::kBadInput, "the registry does not accept this name", ""},
    {platform::kBadPathname, Exit::kBadInput, "the registry does not accept this path", ""},
    {platform::kBusy, Exit::kFailed, "another program is changing it and has not finished within half a minute",
     kBusyAdvice},
    {platform::kMoreData, Exit::kBadInput, "the path is longer than the system accepts",
     "some systems accept at most 260 characters below the root key"},
    {kNameOutsideCodePage, Exit::kFailed, "its name has characters outside the code page",
     "rename the key with the system's own editor, or handle the other keys one by one"},
    {platform::kWriteProtect, Exit::kFailed, "the disk cannot be written to", kReadOnlyDiskAdvice},
    {platform::kDiskFull, Exit::kFailed, "the disk is full", "free some space and try again"},
    {platform::kNotEnoughMemory, Exit::kFailed, "there is not enough memory", ""},
    {platform::kRegistryCorrupt, Exit::kFailed, "what the registry stores there is damaged",
     "run nerio reg doctor to see where"},
    {platform::kRegistryIoFailed, Exit::kFailed, "reading or writing the registry's files failed",
     "run nerio reg doctor to see where"},
    {platform::kKeyDeleted, Exit::kNotFound, "the key was deleted meanwhile", ""},
};

}  // namespace

Failure RegistryFailure(platform::Status status, const std::string& doing) {
  for (const Meaning& meaning : kMeanings) {
    if (meaning.status != status) continue;
    return Failure(meaning.exit, doing + ": " + meaning.what + " (" + std::to_string(NumberOf(status)) + ")",
                   meaning.advice)
        .WithStatus(NumberOf(status));
  }
  return Failure(Exit::kFailed, doing + ": the registry answers " + std::to_string(NumberOf(status)))
      .WithStatus(NumberOf(status));
}

Failure CreationFailure(platform::Status status, const std::string& doing) {
  if (status != platform::kFileNotFound) return RegistryFailure(status, doing);
  return Failure(Exit::kAccessDenied,
                 doing + ": its root key does not exist yet, and you may not make it (" +
                     std::to_string(NumberOf(status)) + ")",
                 "it is made by the first change of a user who may do so; nerio reg doctor says where")
      .WithStatus(NumberOf(status));
}

}  // namespace nerio::tool
