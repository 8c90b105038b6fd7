// SPDX-License-Identifier: Apache-2.0
// An entry with a past: setters in any order, copies, moves and parses, against a plain notion of what each slot holds and of
// the text that they make. What a number looks like is taken from a new entry.
#include <array>
#include <optional>
#include <vector>

#include "Fuzz.h"

namespace {

std::string escapedForm(const std::string& text) { return shown(MallocText(xmlEncode(text.c_str(), nullptr, -1))); }

// What a slot holds, and what getters have handed out of it since it changed.
struct Slot {
    std::optional<std::string> text;
    bool isEscaped = false;
    const char* handedOut = nullptr;
    const std::string* string = nullptr;
};

class Run {
public:
    explicit Run(Input& source) : input(source), entry(source.type()) {}

    void step() {
        static constexpr void (Run::*kOperations[])() = {&Run::setNumber, &Run::setText, &Run::setFromSlot,
                                                         &Run::remove,    &Run::parse,   &Run::setType,
                                                         &Run::clear,     &Run::passOn,  &Run::escape};
        const unsigned int operation = input.below(static_cast<unsigned int>(std::size(kOperations)));
        id = static_cast<unsigned short>(input.byte());
        (this->*kOperations[operation])();
    }

    void check() {
        int present = 0;
        for (unsigned short number = 0; number < kLongestMap; ++number) {
            Slot& slot = slots[number];
            const char* const value = entry.getAttribute(number);
            require((value != nullptr) == slot.text.has_value(), "no other slot comes or goes");
            if (value == nullptr) continue;
            ++present;
            require(slot.handedOut == nullptr || slot.handedOut == value,
                    "what was handed out stays while its slot does");
            slot.handedOut = value;
            require(entry.getAttributeView(number) == *slot.text, "no other slot changes");
            // Most slots are asked for a string now and then.
            if (slot.string == nullptr && (id + number) % 3 != 0) continue;
            const std::string& string = entry.getAttributeStr(number);
            require(slot.string == nullptr || slot.string == &string, "a string stays while its slot does");
            require(string == *slot.text, "a string is what its slot holds");
            slot.string = &string;
        }
        checkGetters();
        require(present == entry.getNumberOfAttributes() && entry.isEmpty() == (present == 0), "slots are counted");
    }

    void checkGetters() {
        const std::optional<std::string> value = id < kLongestMap ? slots[id].text : std::nullopt;
        std::string text = "kept";
        std::string escaped = "kept";
        char* copy = nullptr;
        int length = -7;
        const bool found = entry.getAttribute(id, text);
        require(found == value.has_value() && text == value.value_or("kept"), "a getter gives the slot, or nothing");
        require(entry.getAttributeXmlEncoded(id, escaped) == found && escaped == (found ? escapedForm(*value) : "kept"),
                "a getter gives the slot escaped, or nothing");
        require(entry.getAttribute(id, copy, length) == found && shown(MallocText(copy)) == value.value_or("(null)") &&
                    length == (found ? static_cast<int>(value->size()) : -7),
                "a getter gives a copy of the slot and its length, or nothing");
        require(found || (entry.getAttribute(id) == nullptr && entry.getAttributeView(id).data() == nullptr &&
                          entry.getAttributeStr(id).empty()),
                "nothing is null");
    }

    // Attributes that the type hasn't got are passed over. Of a text that is too long for a buffer whole pieces go there.
    void checkText() const {
        const VellixDocTypeRow& type = xmlDocTypeRow(entry.getType());
        if (type.docType == VELLIX_DOC_NONE)
            return require(entryText(entry).empty(), "there is no text without a type");
        std::vector<std::string> pieces = {type.entryOpenTag};
        for (unsigned short slot = 0; xmlRowAt(entry.getType(), slot) != nullptr; ++slot) {
            const std::optional<std::string>& value = slots[slot].text;
            if (!value) continue;
            pieces.insert(pieces.end(), {" ", type.mapTag[slot].tag, "=\"",
                                         slots[slot].isEscaped ? *value : escapedForm(*value), "\""});
        }
        pieces.emplace_back("/>");
        std::string text;
        for (const std::string& piece : pieces) text += piece;
        require(entryText(entry) == text, "a text has the attributes of the type in their order");
        for (std::size_t room = text.size() - 1; room > 0; room = room * 7 / 8) {
            std::string fitting;
            for (auto piece = pieces.begin(); fitting.size() + piece->size() <= room; ++piece) fitting += *piece;
            Guarded buffer(room + 1);
            require(!entry.serialize(buffer.data(), static_cast<unsigned long>(room)), "a text needs all of its room");
            require(buffer.data() == fitting, "what fits of a text are its first pieces");
        }
    }

private:
    const VellixMapTag* place() const { return xmlRowAt(entry.getType(), id); }

    void change(std::size_t slot, std::optional<std::string> text) { slots[slot] = {std::move(text)}; }

    void setNumber() {
        const bool pad = (input.byte() & 1U) != 0;
        unsigned __int64 bits = (input.byte() & 1U) != 0 ? ~0ULL : 0; // numbers of few bytes, of either sign
        for (unsigned int bytes = input.below(9); bytes != 0; --bytes) bits = bits << 8 | input.byte();
        VellixEntry fresh(entry.getType());
        const bool stored = fresh.addAttribute(id, static_cast<__int64>(bits), pad);
        require(entry.addAttribute(id, static_cast<__int64>(bits), pad) == stored, "a number goes where it went");
        if (stored) change(id, fresh.getAttribute(id));
    }

    void expectStored(const VellixMapTag& tag, const std::string& text) {
        id = static_cast<unsigned short>(xmlRowByTag(entry.getType(), tag.tag, tag.tagLen)->id);
        change(id, cutFor(*place(), text));
    }

    // A value under a tag goes past the data types.
    void put(const char* source, const std::string& text) {
        const VellixMapTag* const row = place();
        if (row == nullptr) return require(!entry.addAttribute(id, source), "no attribute takes no text");
        const Guarded tag(row->tag, row->tagLen);
        require(entry.addAttribute(tag.data(), row->tagLen, source), "a text is stored under its tag");
        expectStored(*row, text);
    }

    // Short and of any bytes, or one byte as often of some hundred times as of some 10,000.
    std::string anyText() {
        const unsigned int kind = input.below(8);
        if (kind < 6) return upToNul(input.text(input.byte()));
        const std::size_t length = 2 * input.word() >> input.below(8);
        return std::string(length, static_cast<char>(input.byte() | 1U));
    }

    void setText() {
        const std::string text = anyText();
        put(Guarded::terminated(text).data(), text);
    }

    // A text of the entry itself, from somewhere in it on.
    void setFromSlot() {
        const auto from = static_cast<unsigned short>(input.below(kLongestMap));
        const bool asString = (input.byte() & 1U) != 0;
        if (!slots[from].text) return;
        const std::size_t start = input.word() % (slots[from].text->size() + 1);
        const char* const source = asString ? entry.getAttributeStr(from).c_str() : entry.getAttribute(from);
        put(source + start, slots[from].text->substr(start));
    }

    void remove() {
        const bool byNull = place() == nullptr && (input.byte() & 1U) != 0;
        require(byNull ? !entry.addAttribute(id, static_cast<const char*>(nullptr))
                       : entry.removeAttribute(id) == (id < kLongestMap),
                "every slot can be emptied");
        if (id < kLongestMap) change(id, std::nullopt);
    }

    // A tag has the value twice, the second one counts. Where the entry holds the tag itself, the first goes over it.
    void parse() {
        const auto choice = static_cast<int>(input.below(8));
        const std::string value = anyText();
        const VellixMapTag* const row = place();
        if (row == nullptr) return;
        const std::string assign = row->tagAssign;
        std::string text(static_cast<std::size_t>(choice * choice), 'x');
        const auto start = static_cast<unsigned long>(text.size());
        text += "<x " + assign + "\" " + assign + escapedForm(value) + "\"/>";
        const Guarded elsewhere(text);
        XmlStr cursor = cursorOver(elsewhere);
        cursor.position = start;
        cursor.syntaxError = choice;
        if (choice % 2 != 0) {
            put(text.c_str(), text);
            if (choice / 2 % 2 != 0) passOn();
            if (value.size() % 2 != 0) entry.parseAttrXMLString("<", 1); // which makes a copy ready for values
            if (!slots[id].text || *slots[id].text != text) return;      // it was cut
            cursor.buffer = choice / 4 != 0 ? entry.getAttributeStr(id).c_str() : entry.getAttribute(id);
        }
        require(entry.parseAttrXMLString(&cursor) == VELLIX_SUCCESS, "a tag can be read");
        require(cursor.position == text.size() && cursor.syntaxError == choice, "the position is behind the tag");
        expectStored(*row, value);
    }

    void setType() { entry.setType(input.type()); }

    void clear() {
        entry.clear();
        slots = {};
        setType();
    }

    void passOn() {
        VellixEntry other(entry);
        require(other == entry && other.toString() == entry.toString(), "a copy holds the same");
        const unsigned int way = input.below(4);
        if (way == 0) {
            entry = std::move(other);
        } else if (way == 1) {
            const VellixEntry moved(std::move(entry));
            require(entry.isEmpty() && entry.getType() == VELLIX_DOC_NONE, "nothing is left of what was moved away");
            entry = moved;
        } else if (way == 2) {
            spare = std::move(entry); // which is used like a new one from here on
            entry.setType(spare.getType());
            slots = {};
        } else {
            spare = entry;
            other.clear();
            entry = other;
            entry = spare;
        }
        for (Slot& slot : slots) slot = {std::move(slot.text), slot.isEscaped};
    }

    void escape() {
        for (Slot& slot : slots) {
            const std::string escaped = escapedForm(slot.text.value_or(""));
            if (slot.text && !slot.isEscaped && escaped != *slot.text) slot = {escaped};
            slot.isEscaped = true;
        }
        entry.encodingAttributes();
        checkText();
    }

    Input& input;
    VellixEntry entry;
    VellixEntry spare;
    std::array<Slot, kLongestMap> slots;
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
    run.checkText();
    return 0;
}
