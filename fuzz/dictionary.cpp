// SPDX-License-Identifier: Apache-2.0
// Prints fuzz/vellix.dict: the words of the vocabulary, in the form that libFuzzer reads.
//
//     fuzz_dictionary > fuzz/vellix.dict
//     fuzz_dictionary fuzz/vellix.dict      tells whether the file is still the same
#include <cstdio>
#include <exception>
#include <set>

#include "tests/TempDir.h"
#include "tests/TestSupport.h"
#include "vellix/VellixSchema.h"

namespace {

// Markup, and what tells one unit from the next.
constexpr const char* kPieces =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>|<|</|/>|>|=\"|\" |='|&#|&#x|;|\xc3|\xe2|\xf0|"
    "\xc3\xa9|\xe2\x82\xac|\xf0\x9f\x98\x80";

std::string dictionary() {
    const std::vector<std::string> pieces = split(kPieces, "|");
    std::set<std::string> words(pieces.begin(), pieces.end());
    for (const VellixEntity* entity = xmlEntityTable; entity->text != nullptr; ++entity) words.insert(entity->text);
    for (const VellixDocTypeRow& type : xmlDocTypeTable) {
        if (type.name == nullptr) continue;
        words.insert({type.openTag, type.closeTag, type.entryOpenTag});
        for (unsigned int i = 0; i + 1 < type.mapTagLen; ++i) words.insert(std::string(" ") + type.mapTag[i].tagAssign);
    }
    std::string text;
    for (const std::string& word : words) {
        text += '"';
        for (const char c : word) {
            char escaped[5] = {c};
            if (c == '"' || c == '\\') std::snprintf(escaped, sizeof escaped, "\\%c", c);
            if (c < ' ' || c > '~') std::snprintf(escaped, sizeof escaped, "\\x%02x", static_cast<unsigned char>(c));
            text += escaped;
        }
        text += "\"\n";
    }
    return text;
}

} // namespace

int main(int argc, char** argv) try {
    if (argc > 1) return bytesOf(argv[1]) == dictionary() ? 0 : 1;
    return std::fputs(dictionary().c_str(), stdout) >= 0 ? 0 : 1;
} catch (const std::exception& problem) {
    std::fprintf(stderr, "%s\n", problem.what());
    return 1;
}
