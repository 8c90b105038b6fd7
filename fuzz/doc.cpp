// SPDX-License-Identifier: Apache-2.0
// Documents from texts, and the texts that they give. The first byte is the type in hand, the second tells how many bytes
// go to each of two child documents; the rest is the text of the document itself.
#include <memory>
#include <vector>

#include "Fuzz.h"
#include "vellix/VellixDoc.h"

namespace {

using Doc = std::unique_ptr<VellixDoc>;

Doc loaded(VELLIX_DOC_TYPE type, const std::string& text) {
    const Guarded bytes(text);
    auto doc = std::make_unique<VellixDoc>(type);
    require(doc->load(bytes.data(), bytes.size()), "every text can be loaded");
    return doc;
}

std::string plainTextOf(const VellixDoc& doc) {
    std::string text;
    require(doc.serialize(text), "every document has a text");
    return text;
}

// The text of a document, once all ways to it have given the same.
std::string wholeTextOf(const VellixDoc& doc) {
    std::string text = plainTextOf(doc);
    require(doc.size() > text.size(), "the size of a document is enough");
    for (const std::size_t room : {text.size() + 1, text.size(), text.size() / 2}) {
        Guarded buffer(room);
        char* cursor = buffer.data();
        auto left = static_cast<unsigned long>(room);
        const bool whole = doc.serialize(cursor, left);
        require(whole == (room > text.size()), "a document fits with its terminator");
        require(whole ? left == 1 && cursor == buffer.data() + text.size() && buffer.data() == text
                      : left == room && cursor == buffer.data() && (room == 0 || *cursor == '\0'),
                "a document's text in a buffer is the same, or none");
    }
    return text;
}

// The first tag that yields attributes is the document's, all behind it that do are entries, each as if it were read alone.
void checkTags(const VellixDoc& doc, VELLIX_DOC_TYPE type, const std::string& text) {
    const Guarded bytes(text);
    XmlStr cursor = cursorOver(bytes);
    std::string entries;
    std::size_t count = 0;
    for (cursor.skipToTag(); !cursor.atEnd(); cursor.skipToTag()) {
        VellixEntry tag(type);
        tag.parseAttrXMLString(&cursor);
        type = VELLIX_DOC_NONE; // the type in hand is for what stands first
        if (!tag.isEmpty() && ++count > 1) entries += tag.toString();
        if (tag.isEmpty() || count > 1) continue;
        const char* const name = xmlDocTypeRow(tag.getType()).name;
        const bool isSpelledSo = name != nullptr && std::string(name) == tag.getEntryName();
        require(doc.getType() == tag.getType(), "a document takes the type of its tag");
        require(slotsOf(doc) == (isSpelledSo ? slotsOf(tag) : ""),
                "a document takes the attributes of a tag of its name");
    }
    require(doc.getNumberOfEntries() == (count > 1 ? count - 1 : 0), "a document counts its entries");
    const std::string end = entries + (count > 1 ? doc.getCloseTag() : "");
    const std::string whole = plainTextOf(doc);
    require(whole.size() >= end.size() && whole.compare(whole.size() - end.size(), end.size(), end) == 0,
            "a document holds its entries");
}

// What was loaded once changes no more, unless values move between slots as those of search criteria do.
void checkLoadingAgain(const std::string& text) {
    const Doc first = loaded(VELLIX_DOC_NONE, text);
    const std::string again = plainTextOf(*first);
    if (first->getType() == VELLIX_DOC_SEARCH_CRITERIA) return;
    require(plainTextOf(*loaded(VELLIX_DOC_NONE, again)) == again, "a loaded document keeps its text");
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    const VELLIX_DOC_TYPE type = input.type();
    const std::size_t share = input.byte();
    const std::string textOfFirst = input.text(share);
    const std::string textOfSecond = input.text(share);
    const std::string text = input.rest();

    const Doc doc = loaded(type, text);
    checkTags(*doc, type, text);
    checkLoadingAgain(wholeTextOf(*doc));

    const Doc first = loaded(VELLIX_DOC_NONE, textOfFirst);
    const Doc second = loaded(VELLIX_DOC_DOC, textOfSecond);
    first->addChildDoc(*second);
    doc->addChildDoc(*first);
    VellixEntry entry(VELLIX_DOC_FH, text.data(), static_cast<unsigned long>(text.size()), true);
    doc->addEntry(entry);
    require(entry.getType() == doc->getType(), "an entry takes the type of its document");
    const std::string tree = wholeTextOf(*doc);
    require(tree.find(plainTextOf(*first)) != std::string::npos, "a document's text holds that of its child");
    return 0;
}
