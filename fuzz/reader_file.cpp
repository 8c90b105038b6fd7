// SPDX-License-Identifier: Apache-2.0
// A reader over a file of several pages and over the same text in memory, and a document that loads the text. The first
// byte is the type of its root, 255 for a text behind a root of our own; the second is the length of a script of calls; the
// rest becomes the text, blown up to some pages.
#include <algorithm>
#include <memory>
#include <vector>

#include "Fuzz.h"
#include "tests/FileSupport.h"
#include "tests/TempDir.h"

using namespace filetest;

namespace {

constexpr unsigned int kOwnRoot = 255;
constexpr std::size_t kMostGiven = 1000000; // a document that is filled again and again is shown as often

unsigned long positionOf(OpenReader& reader) {
    const XmlStr* const cursor = reader.getXmlStr();
    require(cursor->position <= cursor->length, "the position is inside the text");
    return cursor->position;
}

// The text of a document, once both ways to it have given the same.
std::string contentOf(const VellixDoc& doc) {
    std::string text = textOf(doc);
    require(doc.size() > text.size(), "the size of a document is enough");
    for (const std::size_t room : {text.size() + 1, text.size(), text.size() / 2}) {
        Guarded buffer(room);
        char* cursor = buffer.data();
        auto left = static_cast<unsigned long>(room);
        const bool fits = doc.serialize(cursor, left);
        require(fits == (room > text.size()), "a document fits with its terminator");
        require(fits ? left == 1 && cursor == buffer.data() + text.size() && buffer.data() == text
                     : left == room && cursor == buffer.data() && (room == 0 || *cursor == '\0'),
                "a document's text in a buffer is the same, or none");
    }
    return text + '|' + slotsOf(doc) + (doc.isEntryClosed() ? "|closed\n" : "|open\n");
}

// Asks for documents and entries as the script says, and tells all that it was given.
std::string walkBy(Input script, OpenReader& reader) {
    std::vector<std::unique_ptr<VellixDoc>> docs;
    docs.push_back(std::make_unique<VellixDoc>(VELLIX_DOC_FH, &reader));
    VellixEntry entry;
    std::string given = contentOf(reader.rootDoc()) + reader.getSessionID() + (reader.isComplete() ? "!" : "?");
    while (!script.isEmpty() && given.size() < kMostGiven) {
        const unsigned int step = script.below(6);
        bool found = false;
        if (step > 3) {
            found = docs.back()->getNextEntry(entry);
            given += entryText(entry) + (entry.isEntryClosed() ? "/" : "");
        } else {
            VellixDoc& last = *docs.back();
            if (step == 2) docs.emplace_back(reader.readDoc(script.type()));
            if (step < 2) docs.push_back(std::make_unique<VellixDoc>(script.type()));
            if (step == 0) found = reader.getNextDoc(*docs.back());
            if (step == 1) found = last.getNextChildDoc(*docs.back());
            if (step == 3) found = reader.getFirstDoc(last); // keeps what it holds
            given += contentOf(*docs.back());
        }
        given += std::to_string(positionOf(reader)) + (found ? "+" : "-");
    }
    // All that the documents hold stays good without the reader.
    for (const auto& doc : docs) given += contentOf(VellixDoc(*doc));
    return given;
}

// Entries are what the tags behind the root's hold, each read for itself.
void checkTags(VELLIX_DOC_TYPE root, const Guarded& bytes) {
    OpenReader reader(root);
    require(reader.load(bytes.data(), bytes.size()), "every text can be loaded");
    XmlStr cursor = cursorOver(bytes);
    VellixEntry tag;
    const auto pass = [&cursor, &tag](VELLIX_DOC_TYPE type) {
        tag.clear();
        tag.setType(type);
        cursor.skipToTag();
        tag.parseAttrXMLString(&cursor);
    };
    bool found = false;
    while (!found && !cursor.atEnd()) {
        pass(VELLIX_DOC_NONE);
        found = tag.getType() == root;
    }
    const bool hasContents = found && xmlDocTypeRow(root).cacheData != 0;
    require(hasContents || positionOf(reader) == cursor.position, "a load reads up to the root's tag");
    require(reader.rootDoc() == (found ? tag : VellixEntry()), "the root has the attributes of its tag");
    int mark = 0;
    require(reader.isComplete() == (reader.rootDoc().getAttribute(0, mark) && mark != 0), "a mark is no 0");

    std::vector<std::string> entries;
    for (cursor.position = positionOf(reader); !cursor.atEnd();) {
        pass(VELLIX_DOC_FH);
        if (!tag.isEmpty()) entries.push_back(slotsOf(tag));
    }
    require(readToEnd(reader) == entries, "entries are what the tags hold");
}

// The first tag that yields attributes is a loaded document's own, and all behind it that do are its entries.
void checkDocument(VELLIX_DOC_TYPE type, const Guarded& bytes) {
    VellixDoc doc(type);
    require(doc.load(bytes.data(), bytes.size()), "every text can be loaded");
    const std::string text = contentOf(doc);
    XmlStr cursor = cursorOver(bytes);
    std::string entries;
    std::size_t count = 0;
    for (cursor.skipToTag(); !cursor.atEnd(); cursor.skipToTag()) {
        VellixEntry tag(type);
        tag.parseAttrXMLString(&cursor);
        type = VELLIX_DOC_NONE; // the type in hand is for what stands first
        if (tag.isEmpty()) continue;
        if (++count > 1) entries += tag.toString();
        if (count > 1) continue;
        const char* const name = xmlDocTypeRow(tag.getType()).name;
        const bool isSpelledSo = name != nullptr && std::string(name) == tag.getEntryName();
        require(doc.getType() == tag.getType(), "a document takes the type of its tag");
        require(slotsOf(doc) == (isSpelledSo ? slotsOf(tag) : ""),
                "a document takes the attributes of a tag of its name");
    }
    require(doc.getNumberOfEntries() == (count > 1 ? count - 1 : 0), "a document counts its entries");
    require(text.find(entries + (count > 1 ? doc.getCloseTag() : "") + '|') != std::string::npos,
            "a document holds its entries");
}

// On one page there is no difference between a file and a text in memory. On more of them there is none between the entries if
// the root's tag, which every walk begins behind, is whole on the first page. Documents are looked for on one page alone.
void checkPages(VELLIX_DOC_TYPE root, bool rootIsThere, const std::wstring& path, Input script, const Guarded& bytes) {
    OpenReader pages(root);
    OpenReader memory(root);
    const auto load = [&] {
        require(pages.load(path.c_str()) && memory.load(bytes.data(), bytes.size()), "every file can be loaded");
    };
    load();
    const bool isOnePage = bytes.size() <= kPageSize;
    const std::string given = walkBy(script, pages);
    require(!isOnePage || walkBy(script, memory) == given, "a page and memory are walked alike");
    load();
    if (!rootIsThere && !isOnePage) return;
    const XmlStr start = *memory.getXmlStr();
    const std::vector<std::string> entries = readToEnd(memory, true);
    require(readToEnd(pages, true) == entries, "pages and memory give the same entries");
    require(pages.getLastError() == VELLIX_SUCCESS, "nothing is left out");
    require(bytes.size() == 0 || pages.pageLength() == (bytes.size() - 1) % kPageSize + 1, "the last page is the last");
    // What is known of one text is no use for another.
    for (const unsigned long length : {start.length / 2, start.length}) {
        *memory.getXmlStr() = start;
        memory.getXmlStr()->length = std::max(start.position, length);
        require(readToEnd(memory, true) == entries || length != start.length, "a cursor can be set to another text");
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const TempDir directory;
    Input input(data, size);
    const bool rootIsThere = size != 0 && data[0] == kOwnRoot;
    const VELLIX_DOC_TYPE type = input.type();
    const VELLIX_DOC_TYPE root = rootIsThere ? VELLIX_DOC_RESULTS : type;
    const std::string steps = input.text(input.byte());
    const std::string text =
        blownUp(rootIsThere ? kHeader + R"(<CatResults IC="1" ID="s">)" : "", input, 3 * kPageSize);
    const Guarded bytes(text);
    writeFile(directory.file("a.xml"), text);
    if (bytes.size() <= kPageSize) { // more would show nothing else, and take its time
        checkTags(root, bytes);
        checkDocument(root, bytes);
    }
    checkPages(root, rootIsThere, directory.wide("a.xml"),
               Input(reinterpret_cast<const std::uint8_t*>(steps.data()), steps.size()), bytes);
    return 0;
}
