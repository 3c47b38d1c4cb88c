// Making the text of a new GUID.

#include <benchmark/benchmark.h>
#include <sys/random.h>
#include <uuid/uuid.h>

#include <QUuid>
#include <array>
#include <boost/uuid/uuid_generators.hpp>
#include <boost/uuid/uuid_io.hpp>
#include <cstdint>
#include <string>

#include "bench/side_by_side.h"
#include "nerio/support/conversions.h"

namespace {

constexpr std::size_t kLength = 36;

template <typename Make>
void Texts(benchmark::State& state, Make make) {
  for (auto _ : state) {
    const auto text = make();
    benchmark::DoNotOptimize(text);
    if (static_cast<std::size_t>(text.size()) != kLength) return state.SkipWithError("another length");
  }
}

// What cannot be left out: random bytes from the system, and their digits in a text of the heap.
std::u16string RandomText() {
  std::array<std::uint8_t, 16> bytes;
  if (::getrandom(bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size())) return {};
  std::u16string text(kLength, u'-');
  std::size_t at = 0;
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    at += i == 4 || i == 6 || i == 8 || i == 10;
    text[at++] = u"0123456789ABCDEF"[bytes[i] >> 4];
    text[at++] = u"0123456789ABCDEF"[bytes[i] & 15];
  }
  return text;
}

std::string UuidText() {
  uuid_t bytes;
  uuid_generate_random(bytes);
  std::string text(kLength, '\0');
  uuid_unparse_upper(bytes, text.data());
  return text;
}

}  // namespace

int main(int argc, char** argv) {
  using nerio::bench::Contender;
  Contender("guid/nerio", [](benchmark::State& state) { Texts(state, [] { return nerio::GetGuid(); }); });
  Contender("guid/limit", [](benchmark::State& state) { Texts(state, RandomText); });
  Contender("guid/boost", [](benchmark::State& state) {
    boost::uuids::random_generator_pure generate;
    Texts(state, [&] { return to_string(generate()); });
  });
  Contender("guid/libuuid", [](benchmark::State& state) { Texts(state, UuidText); });
  Contender("guid/qt", [](benchmark::State& state) {
    Texts(state, [] { return QUuid::createUuid().toString(QUuid::WithoutBraces); });
  });
  return nerio::bench::RunSideBySide(argc, argv);
}
