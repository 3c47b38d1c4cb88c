#include "tools/nerio/output.h"

#include <cstdio>
#include <nlohmann/json.hpp>
#include <utility>

#include "nerio/platform/registry_api.h"
#include "nerio/types/utf8.h"
#include "tools/nerio/branch.h"

namespace nerio::tool {
namespace {

struct Meaning {
  platform::Status status;
  Exit exit;
  const char* what;
  const char* advice;
};

constexpr Meaning kMeanings[] = {
    {platform::kFileNotFound, Exit::kNotFound, "it is not there", ""},
    {platform::kAccessDenied, Exit::kAccessDenied, "access is denied",
     "ask the key's owner for the rights, or run this as a user who has them"},
    {platform::kInvalidParameter, Exit::kBadInput, "the registry takes no such name", ""},
    {platform::kBadPathname, Exit::kBadInput, "the registry takes no such path", ""},
    {platform::kMoreData, Exit::kBadInput, "the path is longer than the system takes",
     "some systems take no more than 260 characters below the root key"},
    {kNameOutsideCodePage, Exit::kFailed, "its name has characters outside the code page",
     "rename the key with the system's own editor, or treat the keys beside it one by one"},
    {platform::kDiskFull, Exit::kFailed, "the disk is full", "make room and try again"},
    {platform::kNotEnoughMemory, Exit::kFailed, "there is not enough memory", ""},
    {platform::kRegistryCorrupt, Exit::kFailed, "what the registry has stored there is damaged",
     "run nerio reg doctor to see where"},
    {platform::kRegistryIoFailed, Exit::kFailed, "reading or writing the registry's files failed",
     "run nerio reg doctor to see where"},
    {platform::kKeyDeleted, Exit::kNotFound, "the key was deleted meanwhile", ""},
};

std::string Hex(std::int32_t number) {
  char text[16];
  static_cast<void>(std::snprintf(text, sizeof text, "0x%08X", static_cast<unsigned>(number)));
  return text;
}

// A message may name a file whose name is not UTF-8.
std::string Dumped(const nlohmann::ordered_json& object) {
  return object.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}

}  // namespace

Failure::Failure(Exit exit, std::string what, std::string advice)
    : exit_(exit), what_(std::move(what)), advice_(std::move(advice)) {}

Failure Failure::WithStatus(std::int64_t status) && {
  status_ = status;
  return std::move(*this);
}

Failure Failure::AtLine(std::size_t line) && {
  line_ = line;
  return std::move(*this);
}

Failure Failure::WithError(const Error& error) && {
  error_ = error;
  return std::move(*this);
}

nlohmann::ordered_json Failure::ToJson() const {
  nlohmann::ordered_json object{{"exit", static_cast<int>(exit_)}, {"message", what_}};
  if (!advice_.empty()) object["advice"] = advice_;
  if (status_) object["status"] = *status_;
  if (line_) object["line"] = *line_;
  if (error_) {
    object["number"] = error_->number();
    object["source"] = ToUtf8(error_->source());
    object["description"] = ToUtf8(error_->description());
  }
  return object;
}

Failure FailureOf(const Error& error) {
  std::string what = "error " + std::to_string(error.number()) + " (" + Hex(error.number()) + ")";
  if (!error.source().empty()) what += " from " + ToUtf8(error.source());
  return Failure(Exit::kFailed, what + ": " + ToUtf8(error.description())).WithError(error);
}

Failure RegistryFailure(platform::Status status, const std::string& doing) {
  for (const Meaning& meaning : kMeanings) {
    if (meaning.status != status) continue;
    return Failure(meaning.exit, doing + ": " + meaning.what + " (" + std::to_string(status) + ")", meaning.advice)
        .WithStatus(status);
  }
  return Failure(Exit::kFailed, doing + ": the registry answers " + std::to_string(status)).WithStatus(status);
}

Failure CreationFailure(platform::Status status, const std::string& doing) {
  if (status != platform::kFileNotFound) return RegistryFailure(status, doing);
  return Failure(Exit::kNotFound, doing + ": its root key has no place yet (" + std::to_string(status) + ")",
                 "a change by a user who may make it does; nerio reg doctor says where it is to be")
      .WithStatus(status);
}

void Output::Result(const nlohmann::ordered_json& object, std::string_view text) {
  if (json_) {
    data_ << Dumped(object) << '\n';
  } else {
    data_ << text << '\n';
  }
}

void Output::Line(std::string_view text) {
  if (!json_) data_ << text << '\n';
}

void Output::Bytes(std::string_view bytes) { data_.write(bytes.data(), static_cast<std::streamsize>(bytes.size())); }

void Output::Say(std::string_view text) { talk_ << "nerio: " << text << '\n' << std::flush; }

void Output::Ask(std::string_view question) { talk_ << "nerio: " << question << std::flush; }

void Output::Fail(const Failure& failure) {
  Say(failure.what());
  if (!failure.advice().empty()) talk_ << "  " << failure.advice() << '\n' << std::flush;
  if (json_) data_ << Dumped({{"error", failure.ToJson()}}) << '\n';
}

bool Output::Flush() { return static_cast<bool>(data_.flush()); }

}  // namespace nerio::tool
