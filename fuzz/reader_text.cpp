// SPDX-License-Identifier: Apache-2.0
// A reader over a text in memory. The first byte is the type of its root, the second the length of a script of calls; the
// rest is the text.
#include "ReaderWalk.h"

using namespace filetest;

namespace {

void pass(XmlStr& cursor, VellixEntry& tag) {
    tag.clear();
    cursor.skipToTag();
    tag.parseAttrXMLString(&cursor);
}

// Entries are what the tags behind the root's hold, each read for itself.
void checkEntries(VELLIX_DOC_TYPE root, const Guarded& bytes) {
    OpenReader reader(root);
    require(reader.load(bytes.data(), bytes.size()), "every text can be loaded");
    XmlStr cursor = cursorOver(bytes);
    VellixEntry tag;
    bool found = false;
    while (!found && !cursor.atEnd()) {
        pass(cursor, tag);
        found = tag.getType() == root;
    }
    const bool hasContents = found && xmlDocTypeRow(root).cacheData != 0;
    require(hasContents || positionOf(reader) == cursor.position, "a load reads up to the root's tag");
    require(reader.rootDoc() == (found ? tag : VellixEntry()), "the root has the attributes of its tag");

    std::vector<std::string> entries;
    for (cursor.position = positionOf(reader); !cursor.atEnd();) {
        VellixEntry entry(VELLIX_DOC_FH);
        cursor.skipToTag();
        entry.parseAttrXMLString(&cursor);
        if (!entry.isEmpty()) entries.push_back(slotsOf(entry));
    }
    require(readToEnd(reader) == entries, "entries are what the tags hold");
}

void checkWalk(VELLIX_DOC_TYPE root, const std::string& steps, const Guarded& bytes) {
    const Input script(reinterpret_cast<const std::uint8_t*>(steps.data()), steps.size());
    OpenReader reader(root);
    require(reader.load(bytes.data(), bytes.size()), "every text can be loaded");
    const std::string given = walkBy(script, reader);
    require(reader.load(bytes.data(), bytes.size()), "a text can be loaded again");
    require(walkBy(script, reader) == given, "a second walk is given the same");
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    const VELLIX_DOC_TYPE root = input.type();
    const std::string steps = input.text(input.byte());
    const Guarded bytes(input.rest());
    checkEntries(root, bytes);
    checkWalk(root, steps, bytes);
    return 0;
}
