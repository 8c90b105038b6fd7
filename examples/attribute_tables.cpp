// SPDX-License-Identifier: Apache-2.0
// Prints every document type and every attribute, as the library's own tables have them: as a document, and as the
// constants of a header.
//
//     attribute_tables vellix/VellixSchema.h > docs/attributes.md
//     attribute_tables --header vellix/VellixSchema.h > vellix/VellixAttributes.h
//
// The header is read for the names of the enumerators, which exist nowhere else.
#include <cctype>
#include <cstdio>
#include <cstring>
#include <exception>
#include <fstream>
#include <map>
#include <regex>
#include <string>
#include <vector>

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

// All types that share the map of `type`. Nothing if it has none, or if an earlier type has the same.
std::vector<VELLIX_DOC_TYPE> sharers(VELLIX_DOC_TYPE type, const Names& types) {
    const VellixMapTag* map = VellixEntry::getXmlMapTag(type);
    std::vector<VELLIX_DOC_TYPE> all;
    for (const auto& other : types) {
        const auto otherType = static_cast<VELLIX_DOC_TYPE>(other.first);
        if (map != nullptr && VellixEntry::getXmlMapTag(otherType) == map) all.push_back(otherType);
    }
    if (!all.empty() && all.front() != type) all.clear();
    return all;
}

std::string elementsOf(const std::vector<VELLIX_DOC_TYPE>& types) {
    std::string list;
    for (const VELLIX_DOC_TYPE type : types) list += (list.empty() ? "" : ", ") + std::string(xmlDocTypeRow(type).name);
    return list;
}

void printMap(VELLIX_DOC_TYPE type, const Names& types, const Names& dataTypes) {
    const std::vector<VELLIX_DOC_TYPE> all = sharers(type, types);
    if (all.empty()) return;
    std::printf("\n## %s\n\n", elementsOf(all).c_str());
    std::printf("| number | tag | data type | form | limit | row id |\n|---|---|---|---|---|---|\n");
    for (unsigned int number = 0; const VellixMapTag* row = xmlRowAt(type, number); ++number)
        printAttribute(number, *row, dataTypes);
}

void printDocument(const Names& types, const Names& dataTypes) {
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
}

// "VELLIX_DOC_FH" as "fh".
std::string namespaceOf(const std::string& enumerator) {
    std::string name = enumerator.substr(sizeof("VELLIX_DOC_") - 1);
    for (char& letter : name) letter = static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
    return name;
}

// "VELLIX_TYPE_UINT64" as "std::uint64_t".
std::string valueTypeOf(VELLIX_DATA_TYPE type, const Names& dataTypes) {
    if (type == VELLIX_TYPE_STRING || type == VELLIX_TYPE_OPAQUE) return "std::string_view";
    std::string name = dataTypes.at(type).substr(sizeof("VELLIX_TYPE_") - 1);
    for (char& letter : name) letter = static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
    return "std::" + name + "_t";
}

// A tag as a name. Where it is a macro in a header of some system an underscore follows, and where it stands in a map for
// the second time its number.
std::string nameOf(VELLIX_DOC_TYPE type, unsigned int number, const VellixMapTag& row) {
    static const char* const kMacros[] = {
        "AC",  // <netinet/if_tr.h>
        "AO",  // <arpa/telnet.h>
        "CS",  // <sys/reg.h>, <sys/regset.h>
        "DO",  // <arpa/telnet.h>
        "ES",  // <sys/reg.h>, <sys/regset.h>
        "IN",  // <windows.h>
        "RSP", // <sys/reg.h>
    };
    std::string name = row.tag;
    if (xmlRowByTag(type, row.tag, row.tagLen) != &row) return name + "_" + std::to_string(number);
    for (const char* const macro : kMacros) {
        if (name == macro) return name + "_";
    }
    return name;
}

void printConstants(VELLIX_DOC_TYPE type, const Names& types, const Names& dataTypes) {
    const std::vector<VELLIX_DOC_TYPE> all = sharers(type, types);
    if (all.empty()) return;
    const std::string& enumerator = types.at(type);
    const std::string home = namespaceOf(enumerator);
    std::printf("\n// %s\nnamespace %s {\n", elementsOf(all).c_str(), home.c_str());
    for (unsigned int number = 0; const VellixMapTag* row = xmlRowAt(type, number); ++number) {
        std::printf("inline constexpr Attribute<%s> %s(%s, %u);\n", valueTypeOf(row->dataType, dataTypes).c_str(),
                    nameOf(type, number, *row).c_str(), enumerator.c_str(), number);
    }
    std::printf("} // namespace %s\n", home.c_str());
    for (const VELLIX_DOC_TYPE other : all) {
        if (other != type) std::printf("namespace %s = %s;\n", namespaceOf(types.at(other)).c_str(), home.c_str());
    }
}

void printHeader(const Names& types, const Names& dataTypes) {
    std::puts(R"(// SPDX-License-Identifier: Apache-2.0
// Printed from the tables of the library by examples/attribute_tables.cpp; don't edit.
#ifndef VELLIX_ATTRIBUTES_H
#define VELLIX_ATTRIBUTES_H

#include <cstdint>
#include <string_view>

#include "vellix/VellixSchema.h"
#include "vellix/VellixValues.h"

// A constant for each attribute of each document type, for `set`, `get` and `erase` of VellixValues.h. It stands in a
// namespace that is named after the document type's enumerator, under the attribute's tag:
//     vellix::set(file, vellix::fh::SZ, 1234);             // SZ of VELLIX_DOC_FH
//
// - AC, AO, CS, DO, ES, IN and RSP are macros in headers of some system. Their constants end in an underscore: fh::IN_.
// - CatFrag has the tags FN and CD twice, as a number and again further on. The second constants are frag::FN_19 and
//   frag::CD_25. Text tells the two apart by nothing: when it is read, the last value stands under the first constant.
// - NC, SD, ED, AT and CT of CatSearchCriteria have one slot when they are written and another when they are read, as told
//   in VellixSchema.h. `set` and `get` use the slot to write in an entry that was built in code, and the slot to read in
//   one that a parse has filled (its `getEntryName` isn't null). So the constant always means the tag of its name. But an
//   entry that is read and written again has these five values under each other's tags.
namespace vellix {)");
    for (const auto& type : types) printConstants(static_cast<VELLIX_DOC_TYPE>(type.first), types, dataTypes);
    std::puts("\n} // namespace vellix\n\n#endif");
}

bool print(const std::string& header, bool asHeader) {
    Names types = enumerators(header, "VELLIX_DOC_");
    const Names dataTypes = enumerators(header, "VELLIX_TYPE_");
    if (types.erase(VELLIX_DOC_NONE) == 0 || dataTypes.empty()) return false;
    if (asHeader)
        printHeader(types, dataTypes);
    else
        printDocument(types, dataTypes);
    return true;
}

} // namespace

int main(int argumentCount, char** arguments) {
    try {
        const bool asHeader = argumentCount == 3 && std::strcmp(arguments[1], "--header") == 0;
        if ((asHeader || argumentCount == 2) && print(arguments[argumentCount - 1], asHeader)) return 0;
        std::fputs("usage: attribute_tables [--header] vellix/VellixSchema.h\n", stderr);
    } catch (const std::exception& problem) {
        std::fprintf(stderr, "attribute_tables: %s\n", problem.what());
    }
    return 1;
}
