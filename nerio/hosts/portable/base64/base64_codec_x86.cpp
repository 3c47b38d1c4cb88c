#include "nerio/hosts/portable/base64/base64_codec_x86.h"

#if defined(NERIO_BASE64_X86)

#include <immintrin.h>

// Code of this file runs only where the processor was asked. On 32 bits a caller's stack is aligned to 4 bytes only,
// which is not enough for these registers.
#if defined(__i386__)
#define NERIO_VECTOR_CODE(instructions) __attribute__((target(instructions), force_align_arg_pointer))
#else
#define NERIO_VECTOR_CODE(instructions) __attribute__((target(instructions)))
#endif
#define NERIO_VECTOR_PART(instructions) __attribute__((target(instructions), always_inline)) inline

namespace nerio::platform {
namespace {

// SSSE3 works on 16 characters at a time, and the 12 bytes that they stand for.

// Writing. Each group of three bytes a, b, c is laid out as b a c b in a 32-bit lane, so that its four values of 6 bits
// lie in two 16-bit halves each; a multiplication by a power of two then shifts each half by what it needs.
constexpr int kFirstAndThird = 0x0FC0FC00;
constexpr int kSecondAndFourth = 0x003F03F0;
constexpr int kShiftsRight = 0x04000040;  // the high half of the product: >> 6 and >> 10
constexpr int kShiftsLeft = 0x01000010;   // << 8 and << 4

// From a value to its character is an addition that depends on the range of the value. The index of the range is 0 for
// 0 to 25, 1 for 26 to 51, 2 to 11 for the digits, 12 for "+", 13 for "/".
constexpr char kLastOfCapitals = 25;
constexpr char kLastOfLetters = 51;

// Reading. The high four bits of a character say in which row of 16 it stands; a row has a bit, and for the low four
// bits there is a set of the rows that hold no character of the alphabet there. Bit 4 is that of all rows without any.
//   row 2: + /   row 3: 0-9   rows 4, 6: A-O, a-o (not "@", "`")   rows 5, 7: P-Z, p-z
// The distance from a character to its value depends on the row alone, but for "/", which takes the unused row 1.
constexpr int kMergePairs = 0x01400140;  // of 6-bit values: first * 64 + second
constexpr int kMergeFours = 0x00011000;  // of 12-bit values: first * 4096 + second

NERIO_VECTOR_PART("ssse3") __m128i SpreadOrder() {
  return _mm_setr_epi8(1, 0, 2, 1, 4, 3, 5, 4, 7, 6, 8, 7, 10, 9, 11, 10);
}
NERIO_VECTOR_PART("ssse3") __m128i CharacterDistances() {
  constexpr char kDigit = '0' - 52;
  return _mm_setr_epi8('A', 'a' - 26, kDigit, kDigit, kDigit, kDigit, kDigit, kDigit, kDigit, kDigit, kDigit, kDigit,
                       '+' - 62, '/' - 63, 0, 0);
}
NERIO_VECTOR_PART("ssse3") __m128i RowBits() {
  return _mm_setr_epi8(0x10, 0x10, 0x01, 0x02, 0x04, 0x08, 0x04, 0x08, 0x10, 0x10, 0x10, 0x10, 0x10, 0x10, 0x10, 0x10);
}
NERIO_VECTOR_PART("ssse3") __m128i RowsWithout() {
  return _mm_setr_epi8(0x15, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x13, 0x1A, 0x1B, 0x1B, 0x1B, 0x1A);
}
NERIO_VECTOR_PART("ssse3") __m128i ValueDistances() {
  return _mm_setr_epi8(0, 63 - '/', 62 - '+', 52 - '0', -'A', -'A', 26 - 'a', 26 - 'a', 0, 0, 0, 0, 0, 0, 0, 0);
}
// The three bytes of each 32-bit lane, high byte first, side by side.
NERIO_VECTOR_PART("ssse3") __m128i GatherOrder() {
  return _mm_setr_epi8(2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12, -1, -1, -1, -1);
}

NERIO_VECTOR_PART("ssse3") __m128i CharactersOf(__m128i bytes) {
  const __m128i spread = _mm_shuffle_epi8(bytes, SpreadOrder());
  const __m128i odd =
      _mm_mulhi_epu16(_mm_and_si128(spread, _mm_set1_epi32(kFirstAndThird)), _mm_set1_epi32(kShiftsRight));
  const __m128i even =
      _mm_mullo_epi16(_mm_and_si128(spread, _mm_set1_epi32(kSecondAndFourth)), _mm_set1_epi32(kShiftsLeft));
  const __m128i values = _mm_or_si128(odd, even);
  // What is compared and true is -1.
  const __m128i beyondCapitals = _mm_cmpgt_epi8(values, _mm_set1_epi8(kLastOfCapitals));
  const __m128i range = _mm_sub_epi8(_mm_subs_epu8(values, _mm_set1_epi8(kLastOfLetters)), beyondCapitals);
  return _mm_add_epi8(values, _mm_shuffle_epi8(CharacterDistances(), range));
}

// Turns characters into values. Returns whether all are of the alphabet.
NERIO_VECTOR_PART("ssse3") bool ValuesOf(__m128i& characters) {
  // Only the four low bits of each byte count as an index, as long as bit 7 is clear.
  const __m128i mask = _mm_set1_epi8(0x0F);
  const __m128i row = _mm_and_si128(_mm_srli_epi32(characters, 4), mask);
  const __m128i wrong =
      _mm_and_si128(_mm_shuffle_epi8(RowBits(), row), _mm_shuffle_epi8(RowsWithout(), _mm_and_si128(characters, mask)));
  if (_mm_movemask_epi8(_mm_cmpgt_epi8(wrong, _mm_setzero_si128())) != 0) return false;
  const __m128i slash = _mm_cmpeq_epi8(characters, _mm_set1_epi8('/'));
  characters = _mm_add_epi8(characters, _mm_shuffle_epi8(ValueDistances(), _mm_add_epi8(row, slash)));
  return true;
}

// The 12 bytes of 16 values, at the front.
NERIO_VECTOR_PART("ssse3") __m128i BytesOf(__m128i values) {
  const __m128i pairs = _mm_maddubs_epi16(values, _mm_set1_epi32(kMergePairs));
  return _mm_shuffle_epi8(_mm_madd_epi16(pairs, _mm_set1_epi32(kMergeFours)), GatherOrder());
}

template <typename Vector, typename Place>
auto* As(Place* place) {
  return reinterpret_cast<Vector*>(place);
}

}  // namespace

NERIO_VECTOR_CODE("ssse3")
std::size_t WriteBase64BySsse3(const std::uint8_t* bytes, std::size_t count, char16_t* out) noexcept {
  std::size_t i = 0;
  // A load takes four bytes more than it needs.
  for (; count - i >= 16; i += 12, out += 16) {
    const __m128i characters = CharactersOf(_mm_loadu_si128(As<const __m128i>(bytes + i)));
    _mm_storeu_si128(As<__m128i>(out), _mm_unpacklo_epi8(characters, _mm_setzero_si128()));
    _mm_storeu_si128(As<__m128i>(out + 8), _mm_unpackhi_epi8(characters, _mm_setzero_si128()));
  }
  return i;
}

// Units are narrowed with saturation: what is not a byte becomes 0 or 255, which are not of the alphabet either.

NERIO_VECTOR_CODE("ssse3")
std::size_t ReadBase64BySsse3(const char16_t* text, std::size_t count, std::uint8_t* out) noexcept {
  std::size_t i = 0;
  // A store writes 16 bytes, for which 24 characters have room.
  for (; count - i >= 24; i += 16, out += 12) {
    __m128i characters = _mm_packus_epi16(_mm_loadu_si128(As<const __m128i>(text + i)),
                                          _mm_loadu_si128(As<const __m128i>(text + i + 8)));
    if (!ValuesOf(characters)) break;
    _mm_storeu_si128(As<__m128i>(out), BytesOf(characters));
  }
  return i;
}

// With VBMI one instruction looks 64 bytes up in a table of 64 or 128, and puts bytes anywhere in the register: no
// order needs to be kept on the way.
namespace {

#define NERIO_VBMI "avx512vbmi,avx512bw"

struct alignas(64) Table {
  std::uint8_t bytes[64];
};

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::uint8_t kNoValue = 0x80;

constexpr Table MakeCharacters() {
  Table table{};
  for (std::size_t i = 0; i < 64; ++i) table.bytes[i] = static_cast<std::uint8_t>(kAlphabet[i]);
  return table;
}

// The values of 64 characters from `first` on.
constexpr Table MakeValues(std::uint8_t first) {
  Table table{};
  for (auto& value : table.bytes) value = kNoValue;
  for (std::uint8_t i = 0; i < 64; ++i) {
    const auto character = static_cast<std::uint8_t>(kAlphabet[i]);
    if (character / 64 == first / 64) table.bytes[character % 64] = i;
  }
  return table;
}

// The bytes a, b, c of each group as b a c b.
constexpr Table MakeSpread() {
  constexpr std::size_t kOrder[] = {1, 0, 2, 1};
  Table table{};
  for (std::size_t i = 0; i < 64; ++i) table.bytes[i] = static_cast<std::uint8_t>(i / 4 * 3 + kOrder[i % 4]);
  return table;
}

// Where in the 64 bits of two groups each of their values begins.
constexpr Table MakeShifts() {
  constexpr std::uint8_t kStarts[] = {10, 4, 22, 16, 42, 36, 54, 48};
  Table table{};
  for (std::size_t i = 0; i < 64; ++i) table.bytes[i] = kStarts[i % 8];
  return table;
}

// Each byte of half a register twice; the second one is masked out.
constexpr Table MakeWidening(std::size_t first) {
  Table table{};
  for (std::size_t i = 0; i < 64; ++i) table.bytes[i] = static_cast<std::uint8_t>(first + i / 2);
  return table;
}

// The three bytes of each group, high byte first. Narrowing two registers left, in each quarter, two groups of the
// first and two of the second.
constexpr Table MakeGather() {
  Table table{};
  for (std::size_t group = 0; group < 16; ++group) {
    const std::size_t lane = group % 8 / 2 * 4 + group / 8 * 2 + group % 2;
    for (std::size_t i = 0; i < 3; ++i) table.bytes[3 * group + i] = static_cast<std::uint8_t>(4 * lane + 2 - i);
  }
  return table;
}

constexpr Table kCharacters = MakeCharacters();
constexpr Table kLowValues = MakeValues(0);
constexpr Table kHighValues = MakeValues(64);
constexpr Table kSpread = MakeSpread();
constexpr Table kShifts = MakeShifts();
constexpr Table kLowerHalf = MakeWidening(0);
constexpr Table kUpperHalf = MakeWidening(32);
constexpr Table kGather = MakeGather();

constexpr __mmask64 kAll = ~__mmask64{0};
constexpr __mmask64 kEverySecond = 0x5555555555555555;

NERIO_VECTOR_PART(NERIO_VBMI) __m512i Load(const Table& table) { return _mm512_load_si512(table.bytes); }

// The bytes of `from` at the places of `order`. With a mask also where all are taken: for the forms without one
// GCC 12 gives false warnings.
NERIO_VECTOR_PART(NERIO_VBMI) __m512i Pick(__m512i from, __m512i order, __mmask64 taken = kAll) {
  return _mm512_maskz_permutexvar_epi8(taken, order, from);
}

}  // namespace

NERIO_VECTOR_CODE(NERIO_VBMI)
std::size_t WriteBase64ByVbmi(const std::uint8_t* bytes, std::size_t count, char16_t* out) noexcept {
  std::size_t i = 0;
  // A load takes 16 bytes more than it needs.
  for (; count - i >= 64; i += 48, out += 64) {
    const __m512i spread = Pick(_mm512_loadu_si512(bytes + i), Load(kSpread));
    // A value stands in the lower six bits of its byte, which are all that the look-up reads.
    const __m512i values = _mm512_maskz_multishift_epi64_epi8(kAll, Load(kShifts), spread);
    const __m512i characters = Pick(Load(kCharacters), values);
    _mm512_storeu_si512(out, Pick(characters, Load(kLowerHalf), kEverySecond));
    _mm512_storeu_si512(out + 32, Pick(characters, Load(kUpperHalf), kEverySecond));
  }
  return i;
}

NERIO_VECTOR_CODE(NERIO_VBMI)
std::size_t ReadBase64ByVbmi(const char16_t* text, std::size_t count, std::uint8_t* out) noexcept {
  std::size_t i = 0;
  // A store writes 64 bytes, for which 88 characters have room.
  for (; count - i >= 88; i += 64, out += 48) {
    const __m512i characters = _mm512_packus_epi16(_mm512_loadu_si512(text + i), _mm512_loadu_si512(text + i + 32));
    // The look-up reads seven bits; what has the eighth is no character of the alphabet either.
    const __m512i values = _mm512_permutex2var_epi8(Load(kLowValues), characters, Load(kHighValues));
    if (_mm512_movepi8_mask(_mm512_or_si512(values, characters)) != 0) break;
    const __m512i pairs = _mm512_maddubs_epi16(values, _mm512_set1_epi32(kMergePairs));
    const __m512i fours = _mm512_madd_epi16(pairs, _mm512_set1_epi32(kMergeFours));
    _mm512_storeu_si512(out, Pick(fours, Load(kGather)));
  }
  return i;
}

}  // namespace nerio::platform

#endif
