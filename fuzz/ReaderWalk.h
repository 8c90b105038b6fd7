// SPDX-License-Identifier: Apache-2.0
#ifndef VELLIX_FUZZ_READER_WALK_H
#define VELLIX_FUZZ_READER_WALK_H

#include <memory>
#include <vector>

#include "Fuzz.h"
#include "tests/FileSupport.h"

// A walk with a reader that bytes decide.

/// Checks that the position of a reader lies in its text, and returns it.
inline unsigned long positionOf(filetest::OpenReader& reader) {
    const XmlStr* const cursor = reader.getXmlStr();
    if (cursor == nullptr) return 0;
    require(cursor->position <= cursor->length, "the position is inside the text");
    return cursor->position;
}

inline std::string contentOf(const VellixDoc& doc) {
    std::string text;
    doc.serialize(text);
    return text + '|' + slotsOf(doc) + (doc.isEntryClosed() ? "|closed\n" : "|open\n");
}

/// Asks for documents and entries as the script says, and tells all that it was given.
inline std::string walkBy(Input script, filetest::OpenReader& reader) {
    std::vector<std::unique_ptr<VellixDoc>> docs;
    docs.push_back(std::make_unique<VellixDoc>(VELLIX_DOC_FH, &reader));
    VellixEntry entry;
    std::string given = contentOf(reader.rootDoc()) + reader.getSessionID() + (reader.isComplete() ? "!" : "?");
    while (!script.isEmpty()) {
        const unsigned int step = script.below(6);
        bool found = false;
        if (step < 2) {
            auto doc = std::make_unique<VellixDoc>(script.type());
            found = step == 0 ? reader.getNextDoc(*doc) : docs.back()->getNextChildDoc(*doc);
            docs.push_back(std::move(doc));
            given += contentOf(*docs.back());
        } else if (step == 2) {
            docs.emplace_back(reader.readDoc(script.type()));
            given += contentOf(*docs.back());
        } else if (step == 3) { // the same document again, which keeps what it holds
            found = reader.getFirstDoc(*docs.back());
            given += contentOf(*docs.back());
        } else {
            found = docs.back()->getNextEntry(entry);
            given += textOf(entry);
        }
        given += std::to_string(positionOf(reader)) + (found ? "+" : "-");
    }
    // All that the documents hold stays good without the reader.
    for (const auto& doc : docs) given += contentOf(VellixDoc(*doc));
    return given;
}

#endif
