// SPDX-License-Identifier: Apache-2.0
#ifndef VELLIX_PLATFORM_BYTES_H
#define VELLIX_PLATFORM_BYTES_H

// Some bytes of text at a time, as a bit mask: bit i tells of the byte at `text + i`. With the vector instructions that
// every x86-64 and every 64-bit ARM processor has, and plainly elsewhere.

#include <cstddef>
#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#define VELLIX_VECTORS 1
#elif defined(__aarch64__) && defined(__ARM_NEON) && !defined(__ARM_BIG_ENDIAN)
#include <arm_neon.h>
#define VELLIX_VECTORS 1
#else
#define VELLIX_VECTORS 0
#endif

namespace platform {

constexpr std::size_t kBlock = 16;

/// True for a byte that stands in escaped text as a reference, is NUL or is no ASCII.
static inline bool isSpecial(char c) {
    return c == '"' || c == '&' || c == '\'' || c == '<' || c == '>' || c == '\0' ||
           static_cast<unsigned char>(c) >= 0x80;
}

#if defined(__SSE2__)

using Block = __m128i;

static inline Block filledWith(char c) { return _mm_set1_epi8(c); }

static inline Block either(Block a, Block b) { return _mm_or_si128(a, b); }

static inline Block equals(Block block, char c) { return _mm_cmpeq_epi8(block, filledWith(c)); }

static inline unsigned int highestBits(Block block) { return static_cast<unsigned int>(_mm_movemask_epi8(block)); }

template <std::size_t count> static inline Block loadBytes(const char* text) {
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

#elif VELLIX_VECTORS

using Block = uint8x16_t;

static inline Block filledWith(char c) { return vdupq_n_u8(static_cast<std::uint8_t>(c)); }

static inline Block either(Block a, Block b) { return vorrq_u8(a, b); }

static inline Block equals(Block block, char c) { return vceqq_u8(block, filledWith(c)); }

// No instruction gathers the bits, so each byte keeps a bit of its own and the halves are summed up.
static inline unsigned int highestBits(Block block) {
    constexpr Block own = {1, 2, 4, 8, 16, 32, 64, 128, 1, 2, 4, 8, 16, 32, 64, 128};
    const Block set = vreinterpretq_u8_s8(vshrq_n_s8(vreinterpretq_s8_u8(block), 7)); // all bits of a byte or none
    Block sums = vandq_u8(set, own);
    for (int step = 0; step < 3; ++step) sums = vpaddq_u8(sums, sums);
    return vgetq_lane_u16(vreinterpretq_u16_u8(sums), 0);
}

template <std::size_t count> static inline Block loadBytes(const char* text) {
    if constexpr (count == kBlock) {
        return vld1q_u8(reinterpret_cast<const std::uint8_t*>(text));
    } else {
        std::uint64_t bytes = 0;
        std::memcpy(&bytes, text, count);
        return vcombine_u8(vcreate_u8(bytes), vdup_n_u8(0));
    }
}

#endif

#if VELLIX_VECTORS

// The bytes for which isSpecial holds. Setting one bit makes & and ' the same, and another < and >.
static inline unsigned int bitsOfSpecial(Block block) {
    const Block quotes = either(equals(block, '"'), equals(either(block, filledWith(1)), '\''));
    const Block brackets = equals(either(block, filledWith(2)), '>');
    const Block barriers = either(block, equals(block, '\0')); // the highest bit tells
    return highestBits(either(either(quotes, brackets), barriers));
}

/// The bytes, of the first `count`, at most kBlock, for which isSpecial holds.
template <std::size_t count> static inline unsigned int bitsOfSpecial(const char* text) {
    return bitsOfSpecial(loadBytes<count>(text)) & ((1U << count) - 1); // NUL behind the text
}

/// Copies `count` bytes, at most kBlock, and tells for which of the copied ones isSpecial holds.
template <std::size_t count> static inline unsigned int copyAndFindSpecial(const char* from, char* to) {
    const Block block = loadBytes<count>(from);
    std::memcpy(to, &block, count);
    return bitsOfSpecial(block) & ((1U << count) - 1);
}

#else

template <std::size_t count> static inline unsigned int bitsOfSpecial(const char* text) {
    unsigned int bits = 0;
    for (std::size_t i = 0; i < count; ++i) bits |= static_cast<unsigned int>(isSpecial(text[i])) << i;
    return bits;
}

template <std::size_t count> static inline unsigned int copyAndFindSpecial(const char* from, char* to) {
    std::memcpy(to, from, count);
    return bitsOfSpecial<count>(to);
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

/// The number of the highest bit of `bits`, which isn't 0.
static inline std::size_t highestBit(std::uint64_t bits) {
#if defined(__GNUC__)
    return static_cast<std::size_t>(63 ^ __builtin_clzll(bits));
#else
    std::size_t number = 0;
    while ((bits >>= 1) != 0) ++number;
    return number;
#endif
}

/// The number of bits of `bits` that are 1.
static inline unsigned int countBits(std::uint64_t bits) {
    unsigned int count = 0;
    for (; bits != 0; bits &= bits - 1) ++count;
    return count;
}

} // namespace platform

#endif
