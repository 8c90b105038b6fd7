// SPDX-License-Identifier: Apache-2.0
// Writes, reads, queries and extracts with the library as a stranger has it. Prints "works" if all that did.
#include <vellix/CatImageCmdXmlFileHelper.h>
#include <vellix/CatQueryCriteriaHelper.h>
#include <vellix/VellixReader.h>
#include <vellix/VellixVersion.h>

#include <cstdio>
#include <cstdlib>
#include <string>

bool callsWithOwnInt64();

// Narrows and shadows: the library's own warnings are no business of a program that links it.
static int worksAnyway(long value) {
    int narrow = value;
    for (int value = 0; value < 1; ++value) ++narrow;
    return narrow;
}

static bool writesAndReads() {
    CatImageCmdXmlFileHelper commands;
    VellixEntry entry(VELLIX_DOC_FH);
    entry.addAttribute(6, "a & b");
    if (!commands.create(L"consumer.xml") || !commands.addImageCmd(entry)) return false;
    commands.close();

    VellixReader reader;
    VellixDoc found(VELLIX_DOC_FH);
    return reader.load(L"consumer.xml") && reader.getFirstDoc(found) && found.getNextEntry(entry) &&
           entry.getAttributeStr(6) == "a & b";
}

static bool queries() {
    CatQueryCriteriaHelper query;
    return query.create(nullptr) && query.serialize() != nullptr;
}

static bool extracts() {
    const std::string tag = "<ET NM=\"a&amp;b\"/>";
    char* name = VellixEntry::parseAttribute(VELLIX_DOC_FH, 6, tag.data(), tag.size(), true);
    const bool right = name != nullptr && std::string(name) == "a&b" && xmlDocTypeTable[3].nameLen == 5;
    std::free(name);
    return right;
}

#if VELLIX_VERSION_MAJOR < 1 || VELLIX_VERSION_MINOR < 0 || VELLIX_VERSION_PATCH < 0
#error "the numbers of the version are not for the preprocessor"
#endif

int main() {
    const bool works = writesAndReads() && queries() && extracts() && std::string(VELLIX_VERSION) == vellixVersion() &&
                       callsWithOwnInt64() && worksAnyway(0) == 1;
    std::puts(works ? "works" : "FAILED");
    return works ? EXIT_SUCCESS : EXIT_FAILURE;
}
