#include "tools/nerio/output.h"

#include <cstdio>
#include <nlohmann/json.hpp>
#include <utility>

#include "nerio/types/utf8.h"

namespace nerio::tool {
namespace {

std::string Hex(std::int32_t number) {
  char text[16];
  static_cast<void>(std::snprintf(text, sizeof text, "0x%08X", static_cast<unsigned>(number)));
  return text;
}

// A message may name a file whose name is not UTF-8.
std::string Dumped(const Json& object) { return object.dump(-1, ' ', false, Json::error_handler_t::replace); }

}  // namespace

Failure::Failure(Exit exit, std::string what, std::string advice)
    : exit_(exit), what_(std::move(what)), advice_(std::move(advice)) {}

Failure Failure::WithExit(Exit exit) && {
  exit_ = exit;
  return std::move(*this);
}

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

Json Failure::ToJson() const {
  Json object{{"exit", static_cast<int>(exit_)}, {"message", what_}};
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

void Output::Result(const Json& object, std::string_view text) {
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

void Output::Status(std::string_view text) { talk_ << text << std::flush; }

void Output::Ask(std::string_view question) { talk_ << "nerio: " << question << std::flush; }

void Output::Fail(const Failure& failure) {
  Say(failure.what());
  if (!failure.advice().empty()) talk_ << "  " << failure.advice() << '\n' << std::flush;
  if (json_) data_ << Dumped({{"error", failure.ToJson()}}) << '\n';
}

bool Output::Flush() { return static_cast<bool>(data_.flush()); }

}  // namespace nerio::tool
