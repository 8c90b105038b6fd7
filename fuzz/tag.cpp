// SPDX-License-Identifier: Apache-2.0
// Each tag of a text, read as every document type, and its attributes one by one. Its tokens alone give the same, and what was
// read can be written and read again.
#include <algorithm>
#include <map>
#include <optional>
#include <vector>

#include "Fuzz.h"

namespace {

constexpr int kTypes = VELLIX_DOC_ENTRY_CONSTR_AND + 1;

// A word that stands where a name is expected, or an attribute with its value, still escaped.
struct Event {
    std::string name;
    std::optional<std::string> value;
    unsigned long behind;
};

// What a tag holds by its tokens alone. The library has quicker roads to the same.
struct Tag {
    std::vector<Event> events;
    int result = VELLIX_SUCCESS;
    bool closed = false;
    bool syntaxError = false; // in the tag, not in front of it
    unsigned long position = 0;
};

Tag walkTag(XmlStr cursor) {
    Tag tag;
    const auto finish = [&](int result) {
        tag.result = result;
        tag.position = cursor.position;
        return tag;
    };
    VellixToken token = xmlNextToken(&cursor);
    if (token.kind == VELLIX_TOKEN_EOF) return finish(VELLIX_ERR_END_OF_BUFFER);
    if (token.kind != VELLIX_TOKEN_OPEN) return finish(VELLIX_ERR_SYNTAX);
    std::optional<std::string> name; // a word that no value has followed yet
    bool behindEquals = false;
    for (;;) {
        token = xmlNextToken(&cursor);
        const bool isWord = token.kind == VELLIX_TOKEN_WORD;
        const unsigned long quote = token.kind == VELLIX_TOKEN_QUOTED ? 1 : 0;
        if (token.kind == VELLIX_TOKEN_EOF) return finish(VELLIX_ERR_END_OF_BUFFER);
        if (behindEquals && (isWord || quote != 0)) {
            const std::string value(token.start + quote, token.length - 2 * quote);
            tag.events.push_back({*name, value, cursor.position});
            behindEquals = false;
            name.reset();
        } else if (isWord) {
            const bool mayBeName = !name.has_value();
            name = std::string(token.start, token.length);
            if (mayBeName) tag.events.push_back({*name, std::nullopt, cursor.position});
        } else if (token.kind == VELLIX_TOKEN_EQUALS && name && !behindEquals) {
            behindEquals = true;
        } else if (token.kind == VELLIX_TOKEN_EMPTY_END && !behindEquals) {
            tag.closed = true;
            return finish(VELLIX_SUCCESS);
        } else if (token.kind == VELLIX_TOKEN_END && !name) {
            return finish(VELLIX_SUCCESS);
        } else {
            tag.syntaxError = true;
            return finish(VELLIX_ERR_SYNTAX);
        }
    }
}

MallocText decoded(const std::string& value) {
    return MallocText(xmlDecode(value.data(), static_cast<unsigned long>(value.size())));
}

// What an entry should hold after it has read a tag.
struct Expected {
    VELLIX_DOC_TYPE type;
    std::optional<std::string> name;
    std::map<unsigned short, std::string> values;
    Tag end;

    Expected(VELLIX_DOC_TYPE given, const Tag& tag) : type(given), end(tag) {
        for (const Event& event : tag.events) {
            if (!event.value) {
                takeName(event.name);
            } else if (!takeValue(event)) {
                end = {{}, VELLIX_ERR_NO_MEMORY, false, false, event.behind};
                return;
            }
        }
    }

    void takeName(const std::string& word) {
        if (name) return;
        if (type == VELLIX_DOC_NONE) type = xmlDocTypeByName(word.data(), static_cast<unsigned long>(word.size()));
        if (type != VELLIX_DOC_NONE) name = word;
    }

    // False for a bad reference.
    bool takeValue(const Event& event) {
        const MallocText plain = decoded(*event.value);
        const auto* row = xmlRowByTag(type, event.name.data(), static_cast<unsigned long>(event.name.size()));
        if (!plain || row == nullptr) return plain != nullptr;
        values[static_cast<unsigned short>(row->id)] = cutFor(*xmlRowAt(type, row->id), plain.get());
        return true;
    }
};

void checkReading(VellixEntry& entry, XmlStr cursor, const Expected& expected) {
    require(entry.parseAttrXMLString(&cursor) == expected.end.result, "a tag gives the result of its tokens");
    require(cursor.position == expected.end.position, "a tag ends where its tokens end");
    require((cursor.syntaxError != 0) == expected.end.syntaxError, "a syntax error is noted");
    require(entry.isEntryClosed() == expected.end.closed, "a closed tag is noted");
    require(entry.getLastError() == VELLIX_SUCCESS, "a parse tells its result alone");
    require(entry.getType() == expected.type, "a tag without a type in hand takes that of its name");
    const char* const name = entry.getEntryName();
    require(expected.name ? name != nullptr && name == *expected.name : name == nullptr, "a tag has its name");
    require(static_cast<std::size_t>(entry.getNumberOfAttributes()) == expected.values.size(),
            "a tag has the attributes of its tokens");
    for (const auto& [slot, value] : expected.values)
        require(entry.getAttributeView(slot) == value, "an attribute has the value of its token");
}

// What was read is written so that it reads back. Only search criteria move: the rows that stand out of step send each
// value to the next slot, in circles of three and of two, so that after six rounds everything is where it was.
void checkWriting(const VellixEntry& entry) {
    if (xmlDocTypeRow(entry.getType()).docType == VELLIX_DOC_NONE) return;
    const std::string text = entryText(entry);
    const int rounds = entry.getType() == VELLIX_DOC_SEARCH_CRITERIA ? 6 : 1;
    VellixEntry written = entry;
    for (int round = 0; round < rounds; ++round) {
        const Guarded bytes(written.toString());
        VellixEntry read(entry.getType());
        require(read.parseAttrXMLString(bytes.data(), bytes.size()) == VELLIX_SUCCESS, "a written tag can be read");
        require(read.getNumberOfAttributes() == entry.getNumberOfAttributes(), "no attribute is lost");
        written = read;
    }
    require(written == entry && written.toString() == text, "a written tag reads back");
}

// One attribute, as the first token of its name has it, and by its bytes alone up to the next quote.
void checkSingle(VELLIX_DOC_TYPE type, unsigned short id, const Guarded& bytes, const Tag& tag) {
    const std::string text = upToNul(std::string(bytes.data(), bytes.size()));
    const Guarded terminated = Guarded::terminated(text);
    const char* const buffer = terminated.data();
    const MallocText plain(VellixEntry::parseAttribute(type, id, bytes.data(), bytes.size(), false));
    const char* const found = VellixEntry::parseAttributeFast_ptr(type, id, buffer, false);
    const MallocText copy(VellixEntry::parseAttributeFast_str(type, id, buffer, true));
    const VellixMapTag* const row = xmlRowAt(type, id);
    if (row == nullptr) return require(!plain && found == nullptr && !copy, "there is no value of no attribute");
    const auto first = std::find_if(tag.events.begin(), tag.events.end(), [row](const Event& event) {
        return event.value && sameInAnyCase(event.name, row->tag);
    });
    require(shown(plain) == (first != tag.events.end() ? shown(decoded(*first->value)) : "(null)"),
            "a value is that of the first token of its name");

    const std::size_t place = text.find(row->tagAssign);
    if (place >= text.find('>')) return require(found == nullptr && !copy, "no name is found behind an end");
    const std::size_t value = place + row->tagAssignLen;
    require(found == buffer + value, "a name is found where it stands first");
    const std::size_t end = text.find('"', value);
    require(shown(copy) == (end != std::string::npos ? text.substr(value, end - value) : "(null)"),
            "a value goes up to its quote");
}

// Returns the place where the tag ends.
unsigned long checkTag(const XmlStr& cursor) {
    const Tag tag = walkTag(cursor);
    VellixEntry used; // which goes on with what it has learned of other maps
    for (int number = 0; number < kTypes; ++number) {
        const auto type = static_cast<VELLIX_DOC_TYPE>(number);
        const Expected expected(type, tag);
        VellixEntry fresh(type);
        checkReading(fresh, cursor, expected);
        for (int round = 0; round < 2; ++round) {
            used.clear();
            used.setType(type);
            used.setIsEntryClosed(false);
            checkReading(used, cursor, expected);
        }
        require(fresh == used, "an entry that was used reads as a fresh one");
        checkWriting(fresh);
    }
    const Guarded bytes(cursor.buffer + cursor.position, cursor.length - cursor.position);
    const auto type = static_cast<VELLIX_DOC_TYPE>(bytes.size() % (kTypes + 1)); // each of them now and then
    for (unsigned short id = 0; id <= kLongestMap; ++id) checkSingle(type, id, bytes, tag);
    return tag.position;
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const Guarded bytes(data, size);
    XmlStr cursor = cursorOver(bytes);
    do {
        cursor.position = checkTag(cursor);
        cursor.skipToTag();
    } while (!cursor.atEnd());
    return 0;
}
