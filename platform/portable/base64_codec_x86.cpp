#include "platform/portable/base64_codec_x86.h"

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

// Below, a block is 16 characters and the 12 bytes that they stand for; an AVX2 register holds two of them.

// Writing. Each group of three bytes a, b, c is laid out as b a c b in a 32-bit lane, so that its four values of 6 bits
// lie in two 16-bit halves each; a multiplication by a power of two then shifts each half by what it needs.
constexpr int kFirstAndThird = 0x0FC0FC00;
constexpr int kSecondAndFourth = 0x003F03F0;
constexpr int kShiftsRight = 0x04000040;  // the high half of the product: >> 6 and >> 10
constexpr int kShiftsLeft = 0x01000010;   // << 8 and << 4

// From a value to its character is an addition that depends on the range of the value. The index of the range is
// 0 for 26 to 51, 1 to 10 for the digits, 11 for "+", 12 for "/" and, set apart, 13 for 0 to 25.
constexpr char kLastLetter = 51;

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
  return _mm_setr_epi8('a' - 26, kDigit, kDigit, kDigit, kDigit, kDigit, kDigit, kDigit, kDigit, kDigit, kDigit,
                       '+' - 62, '/' - 63, 'A', 0, 0);
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
  const __m128i beyondLetters = _mm_subs_epu8(values, _mm_set1_epi8(kLastLetter));
  const __m128i capital = _mm_and_si128(_mm_cmplt_epi8(values, _mm_set1_epi8(26)), _mm_set1_epi8(13));
  return _mm_add_epi8(values, _mm_shuffle_epi8(CharacterDistances(), _mm_or_si128(beyondLetters, capital)));
}

NERIO_VECTOR_PART("avx2") __m256i CharactersOf(__m256i bytes) {
  const __m256i spread = _mm256_shuffle_epi8(bytes, _mm256_broadcastsi128_si256(SpreadOrder()));
  const __m256i odd =
      _mm256_mulhi_epu16(_mm256_and_si256(spread, _mm256_set1_epi32(kFirstAndThird)), _mm256_set1_epi32(kShiftsRight));
  const __m256i even =
      _mm256_mullo_epi16(_mm256_and_si256(spread, _mm256_set1_epi32(kSecondAndFourth)), _mm256_set1_epi32(kShiftsLeft));
  const __m256i values = _mm256_or_si256(odd, even);
  const __m256i beyondLetters = _mm256_subs_epu8(values, _mm256_set1_epi8(kLastLetter));
  const __m256i capital = _mm256_and_si256(_mm256_cmpgt_epi8(_mm256_set1_epi8(26), values), _mm256_set1_epi8(13));
  const __m256i distances =
      _mm256_shuffle_epi8(_mm256_broadcastsi128_si256(CharacterDistances()), _mm256_or_si256(beyondLetters, capital));
  return _mm256_add_epi8(values, distances);
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

NERIO_VECTOR_PART("avx2") bool ValuesOf(__m256i& characters) {
  const __m256i mask = _mm256_set1_epi8(0x0F);
  const __m256i row = _mm256_and_si256(_mm256_srli_epi32(characters, 4), mask);
  const __m256i rowBits = _mm256_shuffle_epi8(_mm256_broadcastsi128_si256(RowBits()), row);
  const __m256i without =
      _mm256_shuffle_epi8(_mm256_broadcastsi128_si256(RowsWithout()), _mm256_and_si256(characters, mask));
  if (_mm256_testz_si256(rowBits, without) == 0) return false;
  const __m256i slash = _mm256_cmpeq_epi8(characters, _mm256_set1_epi8('/'));
  const __m256i distances =
      _mm256_shuffle_epi8(_mm256_broadcastsi128_si256(ValueDistances()), _mm256_add_epi8(row, slash));
  characters = _mm256_add_epi8(characters, distances);
  return true;
}

// The 12 bytes of 16 values, at the front.
NERIO_VECTOR_PART("ssse3") __m128i BytesOf(__m128i values) {
  const __m128i pairs = _mm_maddubs_epi16(values, _mm_set1_epi32(kMergePairs));
  return _mm_shuffle_epi8(_mm_madd_epi16(pairs, _mm_set1_epi32(kMergeFours)), GatherOrder());
}

// The 24 bytes of 32 values, at the front.
NERIO_VECTOR_PART("avx2") __m256i BytesOf(__m256i values) {
  const __m256i pairs = _mm256_maddubs_epi16(values, _mm256_set1_epi32(kMergePairs));
  const __m256i fours = _mm256_madd_epi16(pairs, _mm256_set1_epi32(kMergeFours));
  const __m256i gathered = _mm256_shuffle_epi8(fours, _mm256_broadcastsi128_si256(GatherOrder()));
  return _mm256_permutevar8x32_epi32(gathered, _mm256_setr_epi32(0, 1, 2, 4, 5, 6, 3, 7));
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

NERIO_VECTOR_CODE("avx2")
std::size_t WriteBase64ByAvx2(const std::uint8_t* bytes, std::size_t count, char16_t* out) noexcept {
  std::size_t i = 0;
  for (; count - i >= 28; i += 24, out += 32) {
    const __m128i low = _mm_loadu_si128(As<const __m128i>(bytes + i));
    const __m128i high = _mm_loadu_si128(As<const __m128i>(bytes + i + 12));
    const __m256i characters = CharactersOf(_mm256_inserti128_si256(_mm256_castsi128_si256(low), high, 1));
    _mm256_storeu_si256(As<__m256i>(out), _mm256_cvtepu8_epi16(_mm256_castsi256_si128(characters)));
    _mm256_storeu_si256(As<__m256i>(out + 16), _mm256_cvtepu8_epi16(_mm256_extracti128_si256(characters, 1)));
  }
  return i;
}

// Units are narrowed with saturation: what is no byte becomes 0 or 255, which are not of the alphabet either.

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

NERIO_VECTOR_CODE("avx2")
std::size_t ReadBase64ByAvx2(const char16_t* text, std::size_t count, std::uint8_t* out) noexcept {
  std::size_t i = 0;
  // A store writes 32 bytes, for which 44 characters have room.
  for (; count - i >= 44; i += 32, out += 24) {
    const __m256i low = _mm256_loadu_si256(As<const __m256i>(text + i));
    const __m256i high = _mm256_loadu_si256(As<const __m256i>(text + i + 16));
    // Narrowing works on each half of the registers by itself.
    constexpr int kQuarters0213 = 0b11'01'10'00;
    __m256i characters = _mm256_permute4x64_epi64(_mm256_packus_epi16(low, high), kQuarters0213);
    if (!ValuesOf(characters)) break;
    _mm256_storeu_si256(As<__m256i>(out), BytesOf(characters));
  }
  return i;
}

}  // namespace nerio::platform

#endif
