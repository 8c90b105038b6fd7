// SPDX-License-Identifier: Apache-2.0
#ifndef VELLIX_TESTS_FILE_SUPPORT_H
#define VELLIX_TESTS_FILE_SUPPORT_H

#include "TestSupport.h"
#include "vellix/VellixReader.h"
#include "vellix/VellixWalk.h"
#include "vellix/VellixWriter.h"
#include <cstddef>
#include <stdexcept>
#include <string>
#include <vector>

// What the tests of document files share.
namespace filetest {

constexpr std::size_t kPageSize = 65536;
constexpr std::size_t kMarkAt = 54; // where the completion mark of a results file stands
inline const std::string kHeader = R"(<?xml version="1.0" encoding="UTF-8"?>)";

/// The file of `addSample`: 173 bytes.
inline const std::string kSample =
    R"(<?xml version="1.0" encoding="UTF-8"?><CatResults IC="0" ID="1700000000"><CatDoc ID="42"><CatFH>)"
    R"(<ET NM="a.txt" SZ="12"/><ET NM="b.txt" SZ="7"/></CatFH></CatDoc></CatResults>)";

inline std::string marked(std::string file) {
    file.at(kMarkAt) = '1';
    return file;
}

inline bool isMarked(const std::string& file) { return file.size() > kMarkAt && file[kMarkAt] == '1'; }

/// A reader that shows its cursor and its protected steps.
class OpenReader : public VellixReader {
public:
    using VellixReader::getXmlStr;
    using VellixReader::readDoc;
    using VellixReader::readEntry;
    using VellixReader::VellixReader;

    unsigned long position() { return getXmlStr()->position; }
    unsigned long pageLength() { return getXmlStr()->length; }
};

/// A writer that shows its protected step.
class OpenWriter : public VellixWriter {
public:
    using VellixWriter::remap;
    using VellixWriter::VellixWriter;
};

inline VellixEntry fileEntry(const std::string& name, int size = -1) {
    VellixEntry entry(VELLIX_DOC_FH);
    entry.addAttribute(6, name);
    if (size >= 0) entry.addAttribute(9, size, false);
    return entry;
}

inline std::string textOf(const VellixDoc& doc) {
    std::string text;
    return doc.serialize(text) ? text : "(false)";
}

/// Writes the content of the sample file, up to but not with the close tag of its root.
inline void addSample(VellixWriter& writer) {
    writer.getRootDoc().addAttribute(1, "1700000000");
    VellixDoc image(VELLIX_DOC_DOC);
    VellixDoc files(VELLIX_DOC_FH);
    VellixEntry first = fileEntry("a.txt", 12);
    VellixEntry second = fileEntry("b.txt", 7);
    image.addAttribute(1, "42");
    writer.addDoc(image);
    image.addChildDoc(files);
    files.addEntry(first);
    files.addEntry(second);
    files.close();
    image.close();
}

/// The entry tags of a file, cut out without the library: no value may hold a "<" or ">". Throws, and so fails the test, if
/// anything but whole tags and blanks stands in the file.
inline std::vector<std::string> entriesIn(const std::string& file) {
    std::vector<std::string> entries;
    for (std::size_t at = file.find_first_not_of(' '); at < file.size(); at = file.find_first_not_of(' ', at)) {
        const std::size_t end = file.find('>', at);
        if (file[at] != '<' || end == std::string::npos) throw std::runtime_error("no tag: " + file.substr(at, 100));
        if (file.compare(at, 3, "<ET") == 0) entries.push_back(file.substr(at, end + 1 - at));
        at = end + 1;
    }
    return entries;
}

/// The values of an entry's tag, as the entry itself reads it out of memory.
inline std::string valuesOf(const std::string& tag) {
    return slotsOf(VellixEntry(VELLIX_DOC_FH, tag.data(), static_cast<unsigned long>(tag.size()), true));
}

/// Pulls entries until the text ends, passing over close tags and what else yields none, and shows the values of each, with
/// "/" behind those of a closed one `withEnds`.
inline std::vector<std::string> readToEnd(OpenReader& reader, bool withEnds = false) {
    std::vector<std::string> entries;
    VellixEntry entry;
    for (int ends = 0; ends < 16;) { // more than there are pages that end behind a tag that yields nothing
        entry.clear();
        entry.setType(VELLIX_DOC_FH);
        entry.setIsEntryClosed(false);
        if (reader.readEntry(entry)) {
            entries.push_back(slotsOf(entry) + (withEnds && entry.isEntryClosed() ? "/" : ""));
            ends = 0;
        } else {
            ends = reader.getXmlStr() == nullptr || reader.getXmlStr()->atEnd() ? ends + 1 : 0;
        }
    }
    return entries;
}

/// The values of all entries that a walk finds.
inline std::vector<std::string> entriesFound(vellix::Walk walk) {
    std::vector<std::string> entries;
    for (const VellixEntry& entry : walk.entries()) entries.push_back(slotsOf(entry));
    return entries;
}

} // namespace filetest

#endif
