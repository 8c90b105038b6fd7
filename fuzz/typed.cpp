// SPDX-License-Identifier: Apache-2.0
// Setters and getters by type, in any order, against a plain notion of what each slot holds.
#include <array>
#include <climits>
#include <limits>
#include <optional>
#include <type_traits>

#include "Fuzz.h"

namespace {

using Slots = std::array<std::optional<std::string>, kLongestMap>;

// What a getter has handed out of a slot that hasn't changed since.
struct HandedOut {
    const char* text = nullptr;
    const std::string* string = nullptr;
};

// `long` counts as `int`.
template <class Number>
using Native = std::conditional_t<std::is_same_v<Number, long>, int,
                                  std::conditional_t<std::is_same_v<Number, unsigned long>, unsigned int, Number>>;

template <class Number> constexpr int kBits = static_cast<int>(sizeof(Number) * CHAR_BIT);

bool isSized(VELLIX_DATA_TYPE type) { return type >= VELLIX_TYPE_INT8 && type <= VELLIX_TYPE_UINT64; }

int bitsOf(VELLIX_DATA_TYPE type) { return 8 << (type - VELLIX_TYPE_INT8) / 2; }

bool hasSign(VELLIX_DATA_TYPE type) { return type % 2 == VELLIX_TYPE_INT8 % 2; }

// Only data types that are narrower than the number say anything about it.
template <class Number> bool admits(VELLIX_DATA_TYPE type, Number value) {
    if (!isSized(type) || bitsOf(type) >= kBits<Number>) return true;
    if (std::is_unsigned_v<Number> && kBits<Number> >= 32 && hasSign(type)) return false;
    const __int64 most = (static_cast<__int64>(1) << (bitsOf(type) - (hasSign(type) ? 1 : 0))) - 1;
    const __int64 least = hasSign(type) ? -most - 1 : 0;
    if constexpr (std::is_unsigned_v<Number>) {
        return value <= static_cast<unsigned __int64>(most);
    } else {
        return value >= least && value <= most;
    }
}

template <class Number> bool reads(VELLIX_DATA_TYPE type) {
    return isSized(type) ? bitsOf(type) <= kBits<Number> : type == VELLIX_TYPE_OPAQUE;
}

template <class Number> Number decimal(const std::string& text) {
    using Held = std::conditional_t<(kBits<Number> > 32), __int64, int>;
    __int64 value = std::strtoll(text.c_str(), nullptr, 10);
    if (value > std::numeric_limits<Held>::max()) value = std::numeric_limits<Held>::max();
    if (value < std::numeric_limits<Held>::min()) value = std::numeric_limits<Held>::min();
    return static_cast<Number>(value);
}

int radix64(const std::string& text) {
    static const std::string kDigits = "./0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
    std::uint64_t bits = 0;
    int digits = 0;
    for (const char c : text) {
        if (c == ' ') continue;
        if (digits == 6) break;
        const std::size_t value = kDigits.find(c);
        if (value == std::string::npos) return -1;
        bits |= std::uint64_t{value} << (6 * digits++);
    }
    return static_cast<int>(static_cast<std::uint32_t>(bits));
}

std::string utf8Of(const std::wstring& wide) {
    std::string utf8;
    for (std::size_t i = 0; i < wide.size(); ++i) {
        auto c = static_cast<std::uint32_t>(wide[i]);
        const auto next = static_cast<std::uint32_t>(i + 1 < wide.size() ? wide[i + 1] : L'\0');
        if (c >= 0xD800 && c < 0xDC00 && next >= 0xDC00 && next < 0xE000) {
            c = 0x10000 + ((c - 0xD800) << 10 | (next - 0xDC00));
            ++i;
        } else if (c > 0x10FFFF || (c >= 0xD800 && c < 0xE000)) {
            c = 0xFFFD;
        }
        const unsigned int tails = c < 0x80 ? 0 : c < 0x800 ? 1 : c < 0x10000 ? 2 : 3;
        utf8 += static_cast<char>(tails == 0 ? c : (0xFF00U >> (tails + 1) & 0xFFU) | c >> (6 * tails));
        for (unsigned int tail = tails; tail-- != 0;) utf8 += static_cast<char>(0x80U | (c >> (6 * tail) & 0x3FU));
    }
    return utf8;
}

class Run {
public:
    explicit Run(Input& source) : input(source), entry(source.type()) {}

    void step() {
        const unsigned int operation = input.below(22);
        id = static_cast<unsigned short>(input.byte());
        switch (operation) {
        case 0:
            return setNumber<short>();
        case 1:
            return setNumber<unsigned short>();
        case 2:
            return setNumber<int>();
        case 3:
            return setNumber<unsigned int>();
        case 4:
            return setNumber<long>();
        case 5:
            return setNumber<unsigned long>();
        case 6:
            return setNumber<__int64>();
        case 7:
            return setNumber<unsigned __int64>();
        case 8:
            return setText(input.text(input.byte()), false);
        case 9:
            return setText(input.text(input.byte()), true);
        case 10:
            return setText(std::string(input.word() % 20000, static_cast<char>(input.byte() | 1U)), false);
        case 11:
            return setWide();
        case 12:
            return setByTag();
        case 13:
            return setNull();
        case 14:
            return remove();
        case 15:
            return parse();
        case 16:
            return entry.setType(input.type());
        case 17:
            return clear();
        case 18:
            return passOn();
        case 19:
            return escape();
        default:
            return setFromSlot();
        }
    }

    void check() {
        int present = 0;
        for (unsigned short slot = 0; slot < kLongestMap; ++slot) {
            const char* const value = entry.getAttribute(slot);
            require((value != nullptr) == slots[slot].has_value(), "no other slot comes or goes");
            if (value == nullptr) continue;
            ++present;
            HandedOut& held = handedOut[slot];
            require(held.text == nullptr || (held.text == value && held.text == *slots[slot]),
                    "what was handed out stays while its slot does");
            held.text = value;
            require(entry.getAttributeView(slot) == *slots[slot], "no other slot changes");
            if (held.string == nullptr && (id + slot) % 3 != 0)
                continue; // most slots are asked for a string now and then
            const std::string& string = entry.getAttributeStr(slot);
            require(held.string == nullptr || held.string == &string, "a string stays while its slot does");
            require(string == *slots[slot], "a string is what its slot holds");
            held.string = &string;
        }
        require(present == entry.getNumberOfAttributes() && entry.isEmpty() == (present == 0), "slots are counted");
        getNumber<short>();
        getNumber<unsigned short>();
        getNumber<int>();
        getNumber<unsigned int>();
        getNumber<long>();
        getNumber<unsigned long>();
        getNumber<__int64>();
        getNumber<unsigned __int64>();
        getTexts();
    }

    void finish() const { textOf(entry); }

private:
    const VellixMapTag* place() const { return xmlRowAt(entry.getType(), id); }
    const VellixMapTag* attribute() const { return xmlRowById(entry.getType(), id); }
    bool isRadix64() const { return attribute() != nullptr && attribute()->encoding == VELLIX_ENC_RADIX64; }

    template <class Number> void setNumber() {
        unsigned __int64 bits = (input.byte() & 1U) != 0 ? ~0ULL : 0; // numbers of few bytes, of either sign
        const bool pad = (input.byte() & 1U) != 0;
        for (unsigned int bytes = input.below(9); bytes != 0; --bytes) bits = bits << 8 | input.byte();
        const auto value = static_cast<Number>(bits);
        const bool stored = entry.addAttribute(id, value, pad);
        using Kept = Native<Number>;
        const auto kept = static_cast<Kept>(value);
        const bool admitted =
            static_cast<Number>(kept) == value && (attribute() == nullptr || admits(attribute()->dataType, kept));
        require(stored == (admitted && place() != nullptr), "a number is stored where its attribute admits it");
        require(admitted || entry.getLastError() == VELLIX_ERR_OUT_OF_RANGE,
                "a number that is refused leaves its error");
        if (!stored) return;
        const std::string text = entry.getAttribute(id);
        change(id, text);
        if (!isRadix64()) {
            using Signed = std::conditional_t<sizeof(Kept) < sizeof(int), int, std::make_signed_t<Kept>>;
            require(text == std::to_string(static_cast<Signed>(kept)),
                    "a number stands as the signed one of its width");
        } else {
            require(static_cast<unsigned int>(radix64(text)) == static_cast<unsigned int>(kept) && text.size() <= 12,
                    "radix-64 digits give the number back");
            require(text.size() >= (pad ? sizeof(Kept) * 3 / 2 : 1), "a number is padded to its width");
        }
    }

    template <class Number> void getNumber() {
        Number value = 1;
        const bool present = id < kLongestMap && slots[id].has_value();
        const bool readable = attribute() == nullptr || reads<Native<Number>>(attribute()->dataType);
        require(entry.getAttribute(id, value) == (present && readable), "a number is read where its type allows it");
        if (!readable) {
            require(value == (sizeof(Number) < sizeof(int) ? 0 : 1), "what is refused leaves 0 in 16 bits alone");
        } else if (!present) {
            require(value == 0, "an absent slot gives 0");
        } else {
            using Kept = Native<Number>;
            const Kept expected = isRadix64() ? static_cast<Kept>(radix64(*slots[id])) : decimal<Kept>(*slots[id]);
            require(value == static_cast<Number>(expected), "a number has the value of its text");
        }
    }

    void getTexts() const {
        const bool present = id < kLongestMap && slots[id].has_value();
        std::string text = "untouched";
        std::string escaped = text;
        char* copy = nullptr;
        int length = -1;
        require(entry.getAttribute(id, text) == present && entry.getAttributeXmlEncoded(id, escaped) == present &&
                    entry.getAttribute(id, copy, length) == present,
                "all getters of a text find it");
        const MallocText owner(copy);
        if (!present) {
            require(text == "untouched" && escaped == text && length == -1, "an absent slot leaves all untouched");
            return;
        }
        require(text == *slots[id] && copy == text && static_cast<std::size_t>(length) == text.size(),
                "all getters of a text give the same");
        require(shown(MallocText(xmlDecode(escaped.data(), static_cast<unsigned long>(escaped.size())))) == text,
                "an escaped text gives the plain one");
    }

    void change(std::size_t slot, std::optional<std::string> text) {
        slots[slot] = std::move(text);
        handedOut[slot] = {};
    }

    // What becomes of a text that no data type refuses.
    void expectStored(const std::string& text, bool stored) {
        require(stored == (place() != nullptr), "a text is stored where there is an attribute");
        if (!stored) return;
        const int limit = place()->maxLen;
        change(id, text.substr(0, limit < 0 ? std::string::npos : static_cast<std::size_t>(limit)));
    }

    bool admitsText() const {
        return attribute() == nullptr || attribute()->dataType == VELLIX_TYPE_STRING ||
               attribute()->dataType == VELLIX_TYPE_OPAQUE;
    }

    void expectText(const std::string& text, bool stored) {
        if (admitsText()) return expectStored(text, stored);
        require(!stored && entry.getLastError() == VELLIX_ERR_TYPE_MISMATCH, "a numeric attribute refuses a text");
    }

    void setText(const std::string& text, bool asString) {
        const Guarded bytes = Guarded::terminated(text);
        expectText(upToNul(text), asString ? entry.addAttribute(id, text) : entry.addAttribute(id, bytes.data()));
    }

    void setWide() {
        std::wstring wide;
        for (unsigned int left = input.below(16); left != 0; --left) {
            unsigned int c = 1 + input.below(127);
            if (c > 120) c = input.word() << 8 | input.byte(); // now and then what is no character at all
            wide += static_cast<wchar_t>(c);
        }
        wide.resize(wide.find(L'\0') < wide.size() ? wide.find(L'\0') : wide.size());
        expectText(utf8Of(wide), entry.addAttribute(id, wide.c_str()));
    }

    void setByTag() {
        const std::string tag = place() != nullptr ? place()->tag : input.text(2);
        const std::string text = upToNul(input.text(input.byte()));
        const Guarded bytes(tag);
        const auto length = static_cast<unsigned int>(tag.size());
        const bool stored = entry.addAttribute(bytes.data(), length, text.c_str());
        const VellixMapTag* const row = xmlRowByTag(entry.getType(), tag.data(), length);
        require(stored == (row != nullptr), "a text is stored where there is such a tag");
        if (row == nullptr) return;
        id = static_cast<unsigned short>(row->id);
        expectStored(text, stored);
    }

    void setNull() {
        const char* const none = nullptr;
        require(!entry.addAttribute(id, none), "no text is no success");
        if (admitsText() && id < kLongestMap) change(id, std::nullopt);
    }

    void remove() {
        require(entry.removeAttribute(id) == (id < kLongestMap), "every slot can be emptied");
        if (id < kLongestMap) change(id, std::nullopt);
    }

    // A text of the entry itself, from somewhere in it on.
    void setFromSlot() {
        const std::size_t from = input.below(kLongestMap);
        const bool asString = (input.byte() & 1U) != 0;
        if (!slots[from]) return;
        const std::size_t start = input.word() % (slots[from]->size() + 1);
        const std::string text = slots[from]->substr(start);
        const auto slot = static_cast<unsigned short>(from);
        const char* const source = asString ? entry.getAttributeStr(slot).c_str() : entry.getAttribute(slot);
        if (start == 0 && asString) {
            expectText(text, entry.addAttribute(id, entry.getAttributeStr(slot)));
        } else {
            expectText(text, entry.addAttribute(id, source + start));
        }
    }

    // A value that is read goes past the data types.
    void parse() {
        const std::string value = upToNul(input.text(input.byte()));
        if (place() == nullptr) return;
        const MallocText escaped(xmlEncode(value.c_str(), nullptr, -1));
        const Guarded tag(std::string("<x ") + place()->tagAssign + escaped.get() + "\"/>");
        require(entry.parseAttrXMLString(tag.data(), tag.size()) == VELLIX_SUCCESS, "a tag can be read");
        id = static_cast<unsigned short>(xmlRowByTag(entry.getType(), place()->tag, place()->tagLen)->id);
        expectStored(value, true);
    }

    void clear() {
        entry.clear();
        slots = {};
        handedOut = {};
        entry.setType(input.type());
    }

    void passOn() {
        VellixEntry other(entry);
        require(other == entry && other.toString() == entry.toString(), "a copy holds the same");
        switch (input.below(4)) {
        case 0:
            entry = std::move(other);
            break;
        case 1: {
            const VellixEntry moved(std::move(entry));
            require(entry.isEmpty() && entry.getType() == VELLIX_DOC_NONE, "nothing is left of what was moved away");
            entry = moved;
            break;
        }
        case 2:
            spare = std::move(entry); // which is used like a new one from here on
            entry.setType(spare.getType());
            slots = {};
            break;
        default:
            spare = entry;
            other.clear();
            entry = other;
            entry = spare;
        }
        handedOut = {};
    }

    void escape() {
        const std::string text = entry.toString();
        handedOut = {};
        entry.encodingAttributes();
        require(entry.toString() == text, "escaping leaves the text as it was");
        for (auto& slot : slots) {
            if (slot) slot = MallocText(xmlEncode(slot->c_str(), nullptr, -1)).get();
        }
        check();
        clear(); // a slot doesn't tell from outside whether it is escaped
    }

    Input& input;
    VellixEntry entry;
    VellixEntry spare;
    Slots slots;
    std::array<HandedOut, kLongestMap> handedOut;
    unsigned short id = 0;
};

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    Run run(input);
    for (int steps = 0; steps < 64 && !input.isEmpty(); ++steps) {
        run.step();
        run.check();
    }
    run.finish();
    return 0;
}
