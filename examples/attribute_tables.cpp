// SPDX-License-Identifier: Apache-2.0
// Prints docs/attributes.md: every document type and every attribute, as the library's own tables have them.
//
//     attribute_tables vellix/VellixSchema.h > docs/attributes.md
//
// The header is read for the names of the enumerators, which exist nowhere else.
#include <cstdio>
#include <exception>
#include <fstream>
#include <map>
#include <regex>
#include <string>

#include "vellix/VellixEntry.h"

namespace {

using Names = std::map<int, std::string>;

// The enumerators that begin with `prefix`, by their values.
Names enumerators(const std::string& header, const std::string& prefix) {
    std::ifstream lines(header);
    const std::regex row("^ +(" + prefix + "\\w+) = (\\d+),?.*");
    Names names;
    std::smatch found;
    for (std::string line; std::getline(lines, line);) {
        if (std::regex_match(line, found, row)) names[std::stoi(found[2])] = found[1];
    }
    return names;
}

void printDocumentType(const VellixDocTypeRow& row, const Names& types) {
    std::printf("| %d | `%s` | `%s` | `%s` | ", row.docType, types.at(row.docType).c_str(), row.name,
                row.entryOpenTag + 1);
    if (row.parentType != VELLIX_DOC_NONE) std::printf("`%s`", xmlDocTypeRow(row.parentType).name);
    std::printf(" | %s | %s |\n", row.includeXmlHeader != 0 ? "yes" : "", row.cacheData != 0 ? "yes" : "");
}

void printAttribute(unsigned int number, const VellixMapTag& row, const Names& dataTypes) {
    constexpr std::size_t kPrefix = sizeof("VELLIX_TYPE_") - 1;
    std::printf("| %u | `%s` | %s | ", number, row.tag, dataTypes.at(row.dataType).substr(kPrefix).c_str());
    if (row.encoding == VELLIX_ENC_RADIX64) std::printf("base 64");
    std::printf(" | ");
    if (row.maxLen >= 0) std::printf("%d", row.maxLen);
    std::printf(" | ");
    if (row.id != number) std::printf("%u", row.id);
    std::printf(" |\n");
}

// The map of `type`, under the names of all types that share it. Nothing if an earlier type has shown it.
void printMap(VELLIX_DOC_TYPE type, const Names& types, const Names& dataTypes) {
    const VellixMapTag* map = VellixEntry::getXmlMapTag(type);
    if (map == nullptr) return;
    std::string title;
    for (const auto& other : types) {
        const auto otherType = static_cast<VELLIX_DOC_TYPE>(other.first);
        if (VellixEntry::getXmlMapTag(otherType) != map) continue;
        if (otherType < type) return;
        title += (title.empty() ? "" : ", ") + std::string(xmlDocTypeRow(otherType).name);
    }
    std::printf("\n## %s\n\n", title.c_str());
    std::printf("| number | tag | data type | form | limit | row id |\n|---|---|---|---|---|---|\n");
    for (unsigned int number = 0; const VellixMapTag* row = xmlRowAt(type, number); ++number)
        printAttribute(number, *row, dataTypes);
}

bool print(const std::string& header) {
    Names types = enumerators(header, "VELLIX_DOC_");
    const Names dataTypes = enumerators(header, "VELLIX_TYPE_");
    if (types.erase(VELLIX_DOC_NONE) == 0 || dataTypes.empty()) return false;
    std::printf("# Document types and attributes\n\nPrinted from the tables of the library by "
                "`examples/attribute_tables.cpp`; don't edit.\n\n"
                "| type | enumerator | element | its entries | stands in | XML header | held when read |\n"
                "|---|---|---|---|---|---|---|\n");
    for (const auto& type : types) printDocumentType(xmlDocTypeRow(static_cast<VELLIX_DOC_TYPE>(type.first)), types);
    std::printf(
        "\nThe number is what the operations of `VellixEntry` take as `id`. The data type is a `VELLIX_TYPE_` of "
        "`VellixSchema.h`.\nThe form of a number is decimal where nothing else is said. The limit is the largest "
        "number of bytes of a plain value.\nThe `id` field of a row is shown where it differs from the number; "
        "there the setters test nothing.\n");
    for (const auto& type : types) printMap(static_cast<VELLIX_DOC_TYPE>(type.first), types, dataTypes);
    return true;
}

} // namespace

int main(int argumentCount, char** arguments) {
    try {
        if (argumentCount == 2 && print(arguments[1])) return 0;
        std::fputs("usage: attribute_tables vellix/VellixSchema.h\n", stderr);
    } catch (const std::exception& problem) {
        std::fprintf(stderr, "attribute_tables: %s\n", problem.what());
    }
    return 1;
}
