// SPDX-License-Identifier: Apache-2.0
#ifndef VELLIX_PLATFORM_BYTES_H
#define VELLIX_PLATFORM_BYTES_H

// Some bytes of text at a time, as a bit mask: bit i tells of the byte at `text + i`. With the vector instructions that
// every x86-64 processor has, and plainly elsewhere.

#include <cstddef>
#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace platform {

constexpr std::size_t kBlock = 16;

/// True for a byte that stands in escaped text as a reference, is NUL or is no ASCII.
static inline bool isSpecial(char c) {
    return c == '"' || c == '&' || c == '\'' || c == '<' || c == '>' || c == '\0' ||
           static_cast<unsigned char>(c) >= 0x80;
}

#if defined(__SSE2__)

// The vector's bytes behind the text are NUL.
template <std::size_t count> static inline __m128i loadBytes(const char* text) {
    if constexpr (count == kBlock) {
        return _mm_loadu_si128(reinterpret_cast<const __m128i*>(text));
    } else if constexpr (count == 8) {
        return _mm_loadl_epi64(reinterpret_cast<const __m128i*>(text));
    } else {
        int bytes = 0;
        std::memcpy(&bytes, text, count);
        return _mm_cvtsi32_si128(bytes);
    }
}

static inline unsigned int bitsOf(__m128i truth) { return static_cast<unsigned int>(_mm_movemask_epi8(truth)); }

static inline __m128i equals(__m128i block, char c) { return _mm_cmpeq_epi8(block, _mm_set1_epi8(c)); }

/// The bytes, of the first `count`, at most kBlock, for which isSpecial holds. Setting one bit makes & and ' the same, and
/// another < and >.
template <std::size_t count> static inline unsigned int bitsOfSpecial(const char* text) {
    const __m128i block = loadBytes<count>(text);
    const __m128i quotes = _mm_or_si128(equals(block, '"'), equals(_mm_or_si128(block, _mm_set1_epi8(1)), '\''));
    const __m128i brackets = equals(_mm_or_si128(block, _mm_set1_epi8(2)), '>');
    const __m128i barriers = _mm_or_si128(block, equals(block, '\0')); // the highest bit tells
    return bitsOf(_mm_or_si128(_mm_or_si128(quotes, brackets), barriers)) & ((1U << count) - 1);
}

#else

template <std::size_t count> static inline unsigned int bitsOfSpecial(const char* text) {
    unsigned int bits = 0;
    for (std::size_t i = 0; i < count; ++i) bits |= static_cast<unsigned int>(isSpecial(text[i])) << i;
    return bits;
}

#endif

/// The number of the lowest bit of `bits`, which isn't 0.
static inline std::size_t lowestBit(std::uint64_t bits) {
#if defined(__GNUC__)
    return static_cast<std::size_t>(__builtin_ctzll(bits));
#else
    std::size_t number = 0;
    for (; (bits & 1U) == 0; bits >>= 1) ++number;
    return number;
#endif
}

} // namespace platform

#endif
