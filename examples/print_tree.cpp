// SPDX-License-Identifier: Apache-2.0
// Prints any catalog file as an indented tree: each tag with its attributes and their plain values.
//
//     print_tree FILE
#include <algorithm>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <string>
#include <vector>

#include "vellix/VellixEntry.h"
#include "vellix/VellixMMap.h"

namespace {

constexpr std::size_t kDeepest = 40; // deeper tags aren't indented further: the file chooses the depth

// The text with each byte outside printable ASCII, each backslash and each double quote as \xNN.
std::string shown(const std::string& text) {
    std::string out;
    for (const char c : text) {
        char escape[5] = {c, '\0'};
        if (c < ' ' || c > '~' || c == '\\' || c == '"')
            std::snprintf(escape, sizeof escape, "\\x%02X", static_cast<unsigned int>(static_cast<unsigned char>(c)));
        out += escape;
    }
    return out;
}

// [type]
// The type whose attributes the tag `name` has: an entry's depends on the document that holds it.
VELLIX_DOC_TYPE typeOf(const std::string& name, VELLIX_DOC_TYPE holder) {
    const VellixDocTypeRow& row = xmlDocTypeRow(holder);
    if (row.entryOpenTag != nullptr && row.entryOpenTag + 1 == name) return holder;
    return xmlDocTypeByName(name.data(), static_cast<unsigned long>(name.size()));
}
// [type]

void printTag(const VellixEntry& tag, const std::string& name, std::size_t depth) {
    std::printf("%*s%s", static_cast<int>(2 * std::min(depth, kDeepest)), "", shown(name).c_str());
    for (int id = 0; tag.getAttributeTag(id) != nullptr; ++id) {
        const char* value = tag.getAttribute(static_cast<unsigned short>(id));
        if (value != nullptr) std::printf(" %s=\"%s\"", tag.getAttributeTag(id), shown(value).c_str());
    }
    std::printf(tag.getType() == VELLIX_DOC_NONE ? " (unknown)\n" : "\n");
}

// [walk]
void printTree(XmlStr text) {
    std::vector<VELLIX_DOC_TYPE> open;
    for (text.skipToTag(); !text.atEnd(); text.skipToTag()) {
        XmlStr ahead = text; // the scanner's state is all in the cursor, so a copy looks ahead
        const VellixTokenKind kind = xmlNextToken(&ahead).kind;
        const VellixToken word = xmlNextToken(&ahead);
        if (kind == VELLIX_TOKEN_OPEN && word.kind == VELLIX_TOKEN_WORD) {
            const std::string name(word.start, word.length);
            VellixEntry tag(typeOf(name, open.empty() ? VELLIX_DOC_NONE : open.back()));
            tag.parseAttrXMLString(&text);
            printTag(tag, name, open.size());
            if (!tag.isEntryClosed()) open.push_back(tag.getType());
        } else {
            if (kind == VELLIX_TOKEN_CLOSE_OPEN && !open.empty()) open.pop_back();
            xmlNextToken(&text); // past "<", "</" or "<?"
        }
    }
}
// [walk]

bool printFile(const std::filesystem::path& path) {
    VellixMMap file;
    if (file.open(path.wstring().c_str(), 0) != VELLIX_SUCCESS) return false;
    file.map(file.handle(), 0, 2, 2, nullptr, 0); // all of it
    XmlStr text;
    text.buffer = static_cast<const char*>(file.addr()); // null for an empty file
    if (text.buffer != nullptr) text.length = static_cast<unsigned long>(file.fileSize());
    printTree(text);
    return text.buffer != nullptr || file.fileSize() == 0;
}

} // namespace

int main(int argumentCount, char** arguments) {
    if (argumentCount != 2) {
        std::fputs("usage: print_tree FILE\n", stderr);
        return 2;
    }
    try {
        if (printFile(arguments[1])) return 0;
        std::fputs("print_tree: the file can't be read\n", stderr);
    } catch (const std::exception& problem) {
        std::fprintf(stderr, "print_tree: %s\n", shown(problem.what()).c_str());
    }
    return 1;
}
