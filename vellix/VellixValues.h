// SPDX-License-Identifier: Apache-2.0
#ifndef VELLIX_VALUES_H
#define VELLIX_VALUES_H

#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>

#include "vellix/VellixEntry.h"
#include "vellix/VellixSchema.h"
#include "vellix/VellixTypes.h"

// Attributes by name, with values of their own type. The names stand in VellixAttributes.h, which includes this header.
//     VellixEntry file(VELLIX_DOC_FH);
//     vellix::set(file, vellix::fh::NM, "a&b");
//     vellix::set(file, vellix::fh::SZ, std::filesystem::file_size(path));   // any integer type; false if it doesn't fit
//     std::optional<std::uint64_t> size = vellix::get(file, vellix::fh::SZ);
//     std::string_view name = vellix::get(file, vellix::fh::NM).value_or("");
//
// What these operations do beside `addAttribute` and `getAttribute` of VellixEntry:
// - An integer goes by its value, whatever its type. What fits the attribute comes back equal, the rest is refused.
// - Text given to a number doesn't compile, nor does a number given to a text.
// - A name of another document type than the entry's is refused. Types that share a table of attributes count as one:
//   CatFH, CatSpn and ET; CatResults and CatDoc; CatQuery and all that stands in it.
//
// Both ways can be mixed, since the text is the same: a number is written as the setter of VellixEntry with the attribute's
// width and sign writes it. So a 32-bit attribute that is set to 4294967295 holds "-1".
namespace vellix {

/// An attribute of a document type, with the type of its values: an integer of 8 to 64 bits, or std::string_view for a
/// text. An opaque attribute, which takes anything, is a text here.
template <class Value> struct Attribute {
    using ValueType = Value;

    /// Makes the attribute of a document type at a position of its map. Use the constants of VellixAttributes.h: whether
    /// `Value` is right isn't tested.
    constexpr Attribute(VELLIX_DOC_TYPE documentType, unsigned short position) : type(documentType), number(position) {}

    VELLIX_DOC_TYPE type;  ///< the first document type that has the attribute
    unsigned short number; ///< its number in docs/attributes.md
};

// The steps behind the templates. Not for callers.
namespace detail {

template <class Type, class... Types> constexpr bool isOneOf = (std::is_same_v<Type, Types> || ...);

// Neither `bool` nor a type of characters.
template <class Type>
constexpr bool isInteger = isOneOf<Type, signed char, short, int, long, long long, unsigned char, unsigned short,
                                   unsigned int, unsigned long, unsigned long long>;

// A text up to its NUL or of a known length, but no null pointer constant.
template <class Type>
constexpr bool isText = std::is_convertible_v<const Type&, std::string_view> && !std::is_null_pointer_v<Type>;

VELLIX_API bool setNumber(VellixEntry& entry, VELLIX_DOC_TYPE type, unsigned short number,
                          std::optional<std::uint64_t> bits);
VELLIX_API bool setText(VellixEntry& entry, VELLIX_DOC_TYPE type, unsigned short number, const char* text,
                        std::size_t length);
VELLIX_API std::optional<std::uint64_t> getNumber(const VellixEntry& entry, VELLIX_DOC_TYPE type, unsigned short number,
                                                  unsigned int width);
VELLIX_API std::string_view getText(const VellixEntry& entry, VELLIX_DOC_TYPE type, unsigned short number);
VELLIX_API bool erase(VellixEntry& entry, VELLIX_DOC_TYPE type, unsigned short number);

// The bits of `value`, nothing if `Value` can't hold it.
template <class Value, class Integer> constexpr std::optional<std::uint64_t> bitsOf(Integer value) {
    using Limits = std::numeric_limits<Value>; // min and max are macros on some systems
    bool fits = false;
    if constexpr (std::is_signed_v<Integer>) {
        if (value < 0)
            fits = std::is_signed_v<Value> && static_cast<std::int64_t>((Limits::min)()) <= value;
        else
            fits = static_cast<std::make_unsigned_t<Integer>>(value) <= static_cast<std::uint64_t>((Limits::max)());
    } else {
        fits = value <= static_cast<std::uint64_t>((Limits::max)());
    }
    if (!fits) return std::nullopt;
    return static_cast<std::uint64_t>(value);
}

} // namespace detail

/// Stores a number, given as a signed or unsigned integer of any width. `bool`, the types of characters, enumerations and
/// floating-point numbers don't compile. False, and the slot stays as it was: VELLIX_ERR_OUT_OF_RANGE for a value that
/// the attribute's type can't hold, VELLIX_ERR_TYPE_MISMATCH for an attribute of another document type, both in
/// `getLastError` of the entry.
///     set(file, fh::OP, 4294967296)                    // false: OP has 32 bits
///     set(file, fh::OP, "5")                           // doesn't compile
template <class Value, class Integer>
std::enable_if_t<detail::isInteger<Value> && detail::isInteger<Integer>, bool>
set(VellixEntry& entry, Attribute<Value> attribute, Integer value) {
    return detail::setNumber(entry, attribute.type, attribute.number, detail::bitsOf<Value>(value));
}

/// Stores a text: a `const char*` up to its NUL, a std::string or a std::string_view. The bytes should be UTF-8, which
/// isn't tested. False, and the slot stays as it was: VELLIX_ERR_OUT_OF_RANGE for a text with a NUL in it or with more
/// bytes than the attribute's limit, VELLIX_ERR_TYPE_MISMATCH for an attribute of another document type,
/// VELLIX_ERR_NULL_ARGUMENT for a null pointer, each in `getLastError` of the entry.
template <class Text>
std::enable_if_t<detail::isText<Text>, bool> set(VellixEntry& entry, Attribute<std::string_view> attribute,
                                                 const Text& text) {
    if constexpr (std::is_convertible_v<const Text&, const char*>) {
        const char* const start = text;
        const std::size_t length = start != nullptr ? std::char_traits<char>::length(start) : 0;
        return detail::setText(entry, attribute.type, attribute.number, start, length);
    } else if constexpr (std::is_same_v<Text, std::string>) {
        return detail::setText(entry, attribute.type, attribute.number, text.c_str(), text.size());
    } else {
        const std::string copy(static_cast<std::string_view>(text)); // a view need not be terminated
        return detail::setText(entry, attribute.type, attribute.number, copy.c_str(), copy.size());
    }
}

/// Returns the number that the attribute holds. Nothing if it is absent, if its text isn't a number of that width, or if
/// it is an attribute of another document type; no code is set. An integer is read as signed and as unsigned: "-1" and
/// "4294967295" are the same 32 bits. White space around the number and a plus sign in front of it are passed over. No
/// value is cut to fit, unlike by the getters of VellixEntry.
template <class Value>
std::enable_if_t<detail::isInteger<Value>, std::optional<Value>> get(const VellixEntry& entry,
                                                                     Attribute<Value> attribute) {
    const auto bits = detail::getNumber(entry, attribute.type, attribute.number, 8 * sizeof(Value));
    if (!bits) return std::nullopt;
    return static_cast<Value>(*bits);
}

/// Returns the text that the attribute holds, which lives until the slot next changes. Nothing if it is absent or an
/// attribute of another document type.
inline std::optional<std::string_view> get(const VellixEntry& entry, Attribute<std::string_view> attribute) {
    const std::string_view text = detail::getText(entry, attribute.type, attribute.number);
    if (text.data() == nullptr) return std::nullopt;
    return text;
}

/// Makes the attribute absent, so that an entry used again keeps no value of its last use. False, with
/// VELLIX_ERR_TYPE_MISMATCH, for an attribute of another document type.
template <class Value> bool erase(VellixEntry& entry, Attribute<Value> attribute) {
    return detail::erase(entry, attribute.type, attribute.number);
}

} // namespace vellix

#endif
