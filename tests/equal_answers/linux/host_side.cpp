#include "tests/equal_answers/host_side.h"

#include <cstdlib>
#include <stdexcept>
#include <utility>

namespace nerio::equal_answers {
namespace {

class PlainField final : public platform::RecordField {
 public:
  explicit PlainField(Variant value) : value_(std::move(value)) {}
  Variant get_Value() override { return value_; }

 private:
  Variant value_;
};

class PlainRecordSet final : public platform::RecordSet {
 public:
  PlainRecordSet(RecordSetState state, std::vector<std::string>& calls) : state_(std::move(state)), calls_(calls) {}

  Boolean get_BOF() override { return Note("get BOF", "BOF"), state_.beforeFirst ? True : False; }
  Boolean get_EOF() override { return Note("get EOF", "EOF"), state_.behindLast ? True : False; }
  void MoveLast(std::int32_t options) override { Note("call MoveLast(" + std::to_string(options) + ")", "MoveLast"); }
  void MoveFirst() override { Note("call MoveFirst()", "MoveFirst"); }

 private:
  void Note(const std::string& call, const std::string& member) {
    calls_.push_back(call);
    if (member == state_.failing) throw RecordSetError();
  }

  RecordSetState state_;
  std::vector<std::string>& calls_;
};

}  // namespace

// The host reads the environment when its first conversion is made.
SameRegion::SameRegion() {
  if (::setenv("LC_ALL", "it_IT.UTF-8", 1) != 0) throw std::runtime_error("the environment cannot be changed");
}

SameRegion::~SameRegion() = default;

std::unique_ptr<platform::RecordField> MakeField(const Variant& value) { return std::make_unique<PlainField>(value); }

std::unique_ptr<platform::RecordSet> MakeRecordSet(const RecordSetState& state, std::vector<std::string>& calls) {
  return std::make_unique<PlainRecordSet>(state, calls);
}

}  // namespace nerio::equal_answers
