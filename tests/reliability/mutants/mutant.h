#pragma once

// Stands before every source of a build with mutants (see make_mutants.py): each place where one was planted asks here
// whether its mutant is the one that is chosen, by number, in NERIO_MUTANT.
#include <type_traits>

namespace nerio_mutants {

/// Whether this mutant is the chosen one. Also marks the place as reached.
bool IsChosen(unsigned mutant);

/// What is computed while compiling stays as it was written.
constexpr bool Is(unsigned mutant) { return !std::is_constant_evaluated() && IsChosen(mutant); }

#define NERIO_MUTANT_OF(name, normal, changed)                       \
  template <typename Left, typename Right>                           \
  constexpr auto name(unsigned mutant, Left&& left, Right&& right) { \
    return Is(mutant) ? left changed right : left normal right;      \
  }
NERIO_MUTANT_OF(Less, <, <=)
NERIO_MUTANT_OF(LessEqual, <=, <)
NERIO_MUTANT_OF(Greater, >, >=)
NERIO_MUTANT_OF(GreaterEqual, >=, >)
NERIO_MUTANT_OF(Equal, ==, !=)
NERIO_MUTANT_OF(NotEqual, !=, ==)
NERIO_MUTANT_OF(Plus, +, -)
NERIO_MUTANT_OF(Minus, -, +)
NERIO_MUTANT_OF(And, &, |)
NERIO_MUTANT_OF(Or, |, &)
#undef NERIO_MUTANT_OF

/// A constant, or the next one.
template <typename T>
constexpr T Constant(unsigned mutant, T value) {
  if (!Is(mutant)) return value;
  if constexpr (std::is_enum_v<T>) {
    return static_cast<T>(static_cast<std::underlying_type_t<T>>(value) + 1);
  } else if constexpr (std::is_same_v<T, bool>) {
    return !value;
  } else {
    return static_cast<T>(value + 1);
  }
}

}  // namespace nerio_mutants
