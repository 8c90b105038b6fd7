// SPDX-License-Identifier: Apache-2.0
// One tag, read as every document type. Its tokens alone give the same, and what was read can be written and read again.
#include <map>

#include "TagWalk.h"

namespace {

// What an entry should hold after it has read a tag.
struct Expected {
    VELLIX_DOC_TYPE type = VELLIX_DOC_NONE;
    bool named = false;
    std::string name;
    std::map<unsigned short, std::string> values;
    int result = VELLIX_SUCCESS;
    unsigned long position = 0;
    bool closed = false;
    bool syntaxError = false;

    void takeName(const std::string& word) {
        if (named) return;
        if (type == VELLIX_DOC_NONE) type = xmlDocTypeByName(word.data(), static_cast<unsigned long>(word.size()));
        named = type != VELLIX_DOC_NONE;
        if (named) name = word;
    }

    // False for a bad reference.
    bool takeAttribute(const TagEvent& event) {
        const MallocText plain(xmlDecode(event.value.data(), static_cast<unsigned long>(event.value.size())));
        if (!plain) return false;
        const VellixMapTag* const row = xmlRowByTag(type, event.name.start, event.name.length);
        if (row == nullptr) return true;
        const int limit = xmlRowAt(type, row->id)->maxLen;
        values[static_cast<unsigned short>(row->id)] =
            std::string(plain.get()).substr(0, limit < 0 ? std::string::npos : static_cast<std::size_t>(limit));
        return true;
    }
};

Expected expectedOf(VELLIX_DOC_TYPE type, const TagWalk& walk) {
    Expected expected;
    expected.type = type;
    for (const TagEvent& event : walk.events) {
        if (!event.isAttribute) expected.takeName(std::string(event.name.start, event.name.length));
        if (event.isAttribute && !expected.takeAttribute(event)) {
            expected.result = VELLIX_ERR_NO_MEMORY;
            expected.position = event.behind;
            return expected;
        }
    }
    expected.result = walk.result;
    expected.position = walk.position;
    expected.closed = walk.closed;
    expected.syntaxError = walk.syntaxError;
    return expected;
}

void checkReading(VellixEntry& entry, XmlStr cursor, const Expected& expected) {
    require(entry.parseAttrXMLString(&cursor) == expected.result, "a tag gives the result of its tokens");
    require(cursor.position == expected.position, "a tag ends where its tokens end");
    require((cursor.syntaxError != 0) == expected.syntaxError, "a syntax error is noted");
    require(entry.isEntryClosed() == expected.closed, "a closed tag is noted");
    require(entry.getType() == expected.type, "a tag without a type in hand takes that of its name");
    const char* const name = entry.getEntryName();
    require(expected.named ? name != nullptr && name == expected.name : name == nullptr, "a tag has its name");
    require(static_cast<std::size_t>(entry.getNumberOfAttributes()) == expected.values.size(),
            "a tag has the attributes of its tokens");
    for (const auto& [slot, value] : expected.values) {
        require(entry.getAttribute(slot) != nullptr, "an attribute is in its slot");
        require(entry.getAttributeStr(slot) == value, "an attribute has the value of its token");
    }
}

// What was read is written so that it reads back. Only search criteria move: the rows that stand out of step send each
// value to the next slot, in circles of three and of two, so that after six rounds everything is where it was.
void checkWriting(const VellixEntry& entry) {
    if (xmlDocTypeRow(entry.getType()).docType == VELLIX_DOC_NONE) return;
    const std::string text = textOf(entry);
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

    written.encodingAttributes();
    require(textOf(written) == text, "escaping all attributes leaves the text as it was");
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const Guarded bytes(data, size);
    const XmlStr cursor = cursorOver(bytes);
    const TagWalk walk = walkTag(cursor);
    VellixEntry used; // which goes on with what it has learned of other maps
    for (int number = 0; number <= VELLIX_DOC_ENTRY_CONSTR_AND; ++number) {
        const auto type = static_cast<VELLIX_DOC_TYPE>(number);
        const Expected expected = expectedOf(type, walk);
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
    return 0;
}
