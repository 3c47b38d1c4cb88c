#include <algorithm>
#include <compare>
#include <cstddef>
#include <set>
#include <stdexcept>
#include <unordered_map>
#include <utility>

#include "nerio/platform/registry_api.h"
#include "tests/reliability/histories/history.h"

namespace nerio::reliability {
namespace {

using namespace platform;  // NOLINT(google-build-using-namespace): the codes

// More than this many possible states at once would take hours; no history that was recorded came near.
constexpr std::size_t kMostConfigurations = 2'000'000;

// A handle that is still used later: the key it is bound to, and how many calls with it are to come.
struct Bound {
  std::uint32_t handle = 0;
  std::uint32_t key = 0;
  std::uint32_t uses = 0;
  auto operator<=>(const Bound&) const = default;
};

// The key as the model has it. A key is told from a later one of the same path by the operation that made it.
struct State {
  std::uint32_t key = 0;  // 0: there is none
  bool child = false;
  std::array<std::uint32_t, kNames> values{};
  std::vector<Bound> handles;
  auto operator<=>(const State&) const = default;

  // Whether all but the handles is the same.
  bool SameKey(const State& other) const { return key == other.key && child == other.child && values == other.values; }
};

// A state that the calls so far explain, and which of the calls that are not yet answered have taken place.
struct Configuration {
  State state;
  std::vector<std::uint32_t> done;  // in order
  auto operator<=>(const Configuration&) const = default;
};

class Model {
 public:
  explicit Model(const std::vector<Operation>& operations) {
    for (const Operation& operation : operations) {
      if (operation.handle != 0) ++uses_[operation.handle];
    }
  }

  // Whether later calls use the handle that this one gave.
  bool IsBound(const Operation& call) const { return uses_.contains(call.id); }

  // Lets the call take place in `state`; false when its answer is not the one that it would have there.
  bool Apply(State& state, const Operation& call) const {
    const auto answers = [&](Status status) { return call.status == NumberOf(status); };
    switch (call.kind) {
      case Kind::kCreate: {
        const bool isNew = state.key == 0;
        if (!answers(kSuccess) || call.isNew != isNew) return false;
        if (isNew) state.key = call.id;
        return Bind(state, call);
      }
      case Kind::kOpen:
        return state.key == 0 ? answers(kFileNotFound) : answers(kSuccess) && Bind(state, call);
      case Kind::kDelete:
        if (state.key == 0) return answers(kFileNotFound);
        if (state.child) return answers(kAccessDenied);
        if (!answers(kSuccess)) return false;
        state.key = 0;
        state.values = {};
        return true;
      default:
        return Use(state, call.handle) ? OnKey(state, call) : answers(kKeyDeleted);
    }
  }

 private:
  bool Bind(State& state, const Operation& call) const {
    const auto later = uses_.find(call.id);
    if (later == uses_.end()) return true;
    const Bound bound{call.id, state.key, later->second};
    state.handles.insert(std::ranges::lower_bound(state.handles, bound), bound);
    return true;
  }

  // Counts a call with the handle; true when its key is the one that is there.
  static bool Use(State& state, std::uint32_t handle) {
    const auto bound = std::ranges::find(state.handles, handle, &Bound::handle);
    if (bound == state.handles.end()) throw std::logic_error("a handle before it was opened");
    const bool isThere = state.key != 0 && bound->key == state.key;
    if (--bound->uses == 0) state.handles.erase(bound);
    return isThere;
  }

  static bool OnKey(State& state, const Operation& call) {
    const bool succeeded = call.status == NumberOf(kSuccess);
    const bool notFound = call.status == NumberOf(kFileNotFound);
    std::uint32_t& value = state.values[call.name];
    switch (call.kind) {
      case Kind::kSet:
        value = call.id;
        return succeeded;
      case Kind::kGet:
        return value == 0 ? notFound : succeeded && call.values[0] == value;
      case Kind::kDeleteValue:
        return std::exchange(value, 0) == 0 ? notFound : succeeded;
      case Kind::kReadValues:
        return succeeded && call.values == state.values;
      case Kind::kCreateChild:
        return succeeded && call.isNew != std::exchange(state.child, true);
      case Kind::kDeleteChild:
        return std::exchange(state.child, false) ? succeeded : notFound;
      case Kind::kListChildren:
        return succeeded && call.hasChild == state.child;
      default:
        return false;
    }
  }

  std::unordered_map<std::uint32_t, std::uint32_t> uses_;
};

// What of a key a call reads or writes: a bit for each name, and one for the child.
unsigned PartsOf(const Operation& call) {
  constexpr unsigned kChild = 1U << kNames;
  switch (call.kind) {
    case Kind::kSet:
    case Kind::kGet:
    case Kind::kDeleteValue:
      return 1U << call.name;
    case Kind::kReadValues:
      return kChild - 1;
    case Kind::kDelete:
    case Kind::kCreateChild:
    case Kind::kDeleteChild:
    case Kind::kListChildren:
      return kChild;
    default:
      return 0;
  }
}

bool MakesOrDeletes(const Operation& call) {
  return call.isNew ? call.kind == Kind::kCreate : call.kind == Kind::kDelete && call.status == NumberOf(kSuccess);
}

// Whether the order of two calls may matter.
bool Depend(const Operation& a, const Operation& b) {
  return MakesOrDeletes(a) || MakesOrDeletes(b) || (PartsOf(a) & PartsOf(b)) != 0;
}

// Goes through the beginnings and ends of all calls in order of time and keeps every configuration that explains what
// was answered so far. At the end of a call it has to have taken place: those of the others that began before may have
// taken place first, in any order. Of these only what matters to a later one of them is let in: any other can as well
// take place afterwards.
class Search {
 public:
  explicit Search(const std::vector<Operation>& operations) : model_(operations) { configurations_.emplace(); }

  void Begin(const Operation& call) { pending_.push_back(&call); }

  bool End(const Operation& call) {
    std::set<Configuration> next;
    for (const Configuration& one : configurations_) TakePlaceBefore(call, one, next);
    std::erase(pending_, &call);
    configurations_ = std::move(next);
    most_ = std::max(most_, configurations_.size());
    return !configurations_.empty();
  }

  std::size_t most() const { return most_; }

 private:
  // A way to a configuration, and those of its calls that no later one has needed yet.
  struct Way {
    Configuration to;
    std::vector<const Operation*> loose;
    auto operator<=>(const Way&) const = default;
  };

  void TakePlaceBefore(const Operation& call, const Configuration& start, std::set<Configuration>& next) {
    std::vector<Way> open{{start, {}}};
    TakeReads(open.back());
    std::set<Way> seen;
    while (!open.empty()) {
      Way way = std::move(open.back());
      open.pop_back();
      if (const auto done = std::ranges::find(way.to.done, call.id); done != way.to.done.end()) {
        way.to.done.erase(done);
        if (std::erase(way.loose, &call); way.loose.empty()) next.insert(std::move(way.to));
        continue;
      }
      for (const Operation* other : pending_) {
        Way further = way;
        if (!TakePlace(further.to, *other)) continue;
        Settle(further, *other);
        further.loose.insert(std::ranges::lower_bound(further.loose, other), other);
        TakeReads(further);
        if (seen.insert(further).second) open.push_back(std::move(further));
      }
      if (seen.size() + next.size() > kMostConfigurations) throw std::runtime_error("too many possible states");
    }
  }

  bool TakePlace(Configuration& one, const Operation& call) const {
    const auto place = std::ranges::lower_bound(one.done, call.id);
    if (place != one.done.end() && *place == call.id) return false;
    State later = one.state;
    if (!model_.Apply(later, call)) return false;
    one.state = std::move(later);
    one.done.insert(place, call.id);
    return true;
  }

  static void Settle(Way& way, const Operation& call) {
    std::erase_if(way.loose, [&](const Operation* before) { return Depend(*before, call); });
  }

  // A call that changes nothing and whose answer fits takes place at once: no later moment can serve it better, and
  // none of the other calls can tell.
  void TakeReads(Way& way) const {
    for (const Operation* call : pending_) {
      Configuration later = way.to;
      if (model_.IsBound(*call) || !TakePlace(later, *call) || !later.state.SameKey(way.to.state)) continue;
      way.to = std::move(later);
      Settle(way, *call);
    }
  }

  Model model_;
  std::set<Configuration> configurations_;
  std::vector<const Operation*> pending_;
  std::size_t most_ = 1;
};

}  // namespace

const Operation* FindUnexplained(std::vector<Operation>& operations, std::size_t& configurations) {
  struct Moment {
    std::int64_t time;
    bool ends;  // after what begins at the same time: the two overlap
    const Operation* call;
  };
  std::vector<Moment> moments;
  moments.reserve(2 * operations.size());
  for (const Operation& call : operations) {
    moments.push_back({call.called, false, &call});
    moments.push_back({call.answered, true, &call});
  }
  std::ranges::sort(
      moments, [](const Moment& a, const Moment& b) { return std::pair(a.time, a.ends) < std::pair(b.time, b.ends); });
  Search search(operations);
  const Operation* unexplained = nullptr;
  for (const Moment& moment : moments) {
    if (!moment.ends) {
      search.Begin(*moment.call);
    } else if (!search.End(*moment.call)) {
      unexplained = moment.call;
      break;
    }
  }
  configurations = search.most();
  return unexplained;
}

}  // namespace nerio::reliability
