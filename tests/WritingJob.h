// SPDX-License-Identifier: Apache-2.0
#ifndef VELLIX_TESTS_WRITING_JOB_H
#define VELLIX_TESTS_WRITING_JOB_H

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "FileSupport.h"
#include "TempDir.h"

namespace filetest {

/// An entry for each of these lengths of a name.
inline std::vector<VellixEntry> named(const std::vector<std::size_t>& lengths) {
    std::vector<VellixEntry> entries;
    for (const std::size_t length : lengths) entries.push_back(fileEntry(std::string(length, 'x')));
    return entries;
}

/// Entries in a document of files in a document of an image, written in steps of which any may fail. The caller goes on as if
/// none had.
class WritingJob {
public:
    /// The document has a name too, unless its length is 0.
    explicit WritingJob(const std::vector<VellixEntry>& ofThese, std::size_t documentName = 0)
        : written(ofThese.size(), '0'), image(VELLIX_DOC_DOC), files(VELLIX_DOC_FH), entries(ofThese) {
        image->addAttribute(1, "42");
        if (documentName != 0) files->addAttribute(6, std::string(documentName, 'f'));
    }

    /// Hands each step to `attempt`. The documents are gone then.
    template <class Writer, class Attempt> void run(Writer& writer, const Attempt& attempt) {
        attempt([&] { writer.addDoc(*image); });
        attempt([&] { image->addChildDoc(*files); });
        for (std::size_t i = 0; i < entries.size(); ++i) {
            attempt([&] { written[i] = files->addEntry(entries[i]) ? '1' : '0'; });
        }
        attempt([&] { files->close(); });
        attempt([&] { image->close(); });
        files.reset();
        image.reset();
    }

    template <class Writer> void run(Writer& writer) {
        run(writer, [](const auto& step) { step(); });
    }

    /// Expects that what is acknowledged, and nothing else, is in the file and is found by a walk. Returns the file's bytes.
    std::string expectIn(const std::filesystem::path& path) const {
        std::vector<std::string> tags;
        std::vector<std::string> values;
        for (std::size_t i = 0; i < entries.size(); ++i) {
            if (written[i] == '0') continue;
            tags.push_back(entries[i].toString());
            values.push_back(slotsOf(entries[i]));
        }
        const std::string file = std::filesystem::exists(path) ? bytesOf(path) : "";
        EXPECT_EQ(entriesIn(file), tags);
        EXPECT_TRUE(entriesFound(vellix::Walk(path)) == values);
        return file;
    }

    std::string written; // for each entry whether it was acknowledged, '1' or '0'

private:
    std::optional<VellixDoc> image;
    std::optional<VellixDoc> files;
    std::vector<VellixEntry> entries;
};

} // namespace filetest

#endif
