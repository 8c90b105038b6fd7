// SPDX-License-Identifier: Apache-2.0
// What happens when memory runs out.

#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <memory>
#include <new>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "Failing.h"
#include "FileSupport.h"
#include "TempDir.h"
#include "WritingJob.h"
#include "vellix/CatImageCmdXmlFileHelper.h"

using namespace filetest;

namespace {

thread_local Failing* armed = nullptr;

// By way of `realloc`, as the requests to `malloc` are counted too.
void* allocate(std::size_t size) { return Failing::failsNow() ? nullptr : std::realloc(nullptr, size == 0 ? 1 : size); }

void* allocateOrThrow(std::size_t size) {
    void* memory = allocate(size);
    if (memory == nullptr) throw std::bad_alloc();
    return memory;
}

} // namespace

void Failing::arm() { armed = this; }

void Failing::disarm() { armed = nullptr; }

bool Failing::failsNow() {
    if (armed == nullptr) return false;
    const long number = armed->left--;
    const bool fails = number == 0 || (number < 0 && armed->all);
    if (fails) ++armed->count;
    return fails;
}

// clang-format off
void* operator new(std::size_t size) { return allocateOrThrow(size); }
void* operator new[](std::size_t size) { return allocateOrThrow(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return allocate(size); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return allocate(size); }
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete(void* memory, const std::nothrow_t&) noexcept { std::free(memory); }
void operator delete[](void* memory, const std::nothrow_t&) noexcept { std::free(memory); }
// clang-format on

namespace {

class Faults : public testing::Test {
protected:
    TempDir dir;
};

// After every failure the caller goes on as if nothing had happened, and all is destroyed while memory is still short. One
// record and one tag are too large for the room that a writer has from the start.
TEST_F(Faults, NoMemoryWhileWriting) {
    const std::string path = dir.file("a.xml");
    VellixDoc root(VELLIX_DOC_RESULTS);
    root.addAttribute(0, 0, false);
    root.addAttribute(1, "1700000000");
    for (const std::size_t documentName : {0, 200000}) {
        std::set<std::string> wholeFiles;
        failEachAllocation([&](Failing& failing) {
            std::filesystem::remove(path);
            WritingJob job({5, 300000, 9}, documentName);
            bool intact = false;
            bool told = true;
            std::unique_ptr<VellixWriter> writer;
            failing.arm();
            attempt([&] { writer = std::make_unique<VellixWriter>(root); });
            if (writer != nullptr) {
                attempt([&] { writer->create(dir.wide("a.xml").c_str()); });
                job.run(*writer, [](const auto& step) { attempt(step); });
                writer->markComplete();
                const bool ended = attempt([&] { writer->serialize(); });
                told = !ended || writer->getLastError() != VELLIX_SUCCESS;
                intact = writer->isIntact();
            }
            writer.reset();
            failing.disarm();

            const std::string file = job.expectIn(path);
            const bool isMarked = file.size() > kMarkAt && file[kMarkAt] == '1';
            if (intact || isMarked) {
                wholeFiles.insert(marked(file));
                EXPECT_EQ(job.written, "111");
            }
            EXPECT_TRUE(isMarked || (told && failing.failures() != 0));
        });
        EXPECT_EQ(wholeFiles.size(), 1U);
    }
}

// And behind a failure the reader can be used again.
TEST_F(Faults, NoMemoryWhileReading) {
    const std::string front = kHeader + R"(<CatResults IC="1" ID="1"><CatDoc ID="7"><CatFH><ET NM=")";
    writeFile(dir.file("a.xml"),
              front + std::string(kPageSize - front.size() - 20, 'x') +
                  R"("/><ET NM="over the boundary" PT="and a long way on, out of any small buffer"/></CatFH>)" +
                  R"(<CatImage PT="1"><CatImage PT="2"/><CatFrag MV="3"/></CatImage></CatDoc></CatResults>)");
    const auto walk = [&](VellixReader& reader) {
        VellixDoc image(VELLIX_DOC_DOC);
        VellixDoc files(VELLIX_DOC_FH);
        VellixDoc cached(VELLIX_DOC_IMAGE);
        VellixEntry entry;
        return reader.load(dir.wide("a.xml").c_str()) && reader.getFirstDoc(image) && image.getFirstChildDoc(files) &&
               files.getNextEntry(entry) && files.getNextEntry(entry) &&
               slotsOf(entry) == "6=over the boundary; 7=and a long way on, out of any small buffer" &&
               !files.getNextEntry(entry) && reader.getNextDoc(cached) && cached.getNumberOfEntries() == 1 &&
               cached.getNumberOfChildDocs() == 1;
    };
    failEachAllocation([&](Failing& failing) {
        std::unique_ptr<VellixReader> reader;
        bool walked = false;
        failing.arm();
        attempt([&] {
            reader = std::make_unique<VellixReader>();
            walked = walk(*reader);
        });
        failing.disarm();
        EXPECT_TRUE(walked || failing.failures() != 0);
        EXPECT_TRUE(reader == nullptr || walk(*reader));
    });
}

// What a document says of its size stays enough for its text, and a load that fails tells why.
TEST_F(Faults, NoMemoryWhileHolding) {
    const std::string text =
        kHeader + R"(<CatDoc ID="7"><CatFH/><CatDoc ID="a value that needs memory of its own"/></CatDoc>)";
    const std::string path = dir.file("a.xml");
    writeFile(path, text);
    failEachAllocation([&](Failing& failing) {
        VellixDoc held(VELLIX_DOC_DOC);
        VellixDoc fromText(VELLIX_DOC_DOC);
        VellixDoc fromFile(VELLIX_DOC_DOC);
        VellixDoc child(VELLIX_DOC_FH);
        VellixEntry entry(VELLIX_DOC_DOC);
        std::string shown;
        held.addAttribute(1, "7");
        entry.addAttribute(1, "a value that needs memory of its own");
        failing.arm();
        const bool done = attempt([&] {
            held.addEntry(entry);
            held.addChildDoc(child);
            VellixDoc assigned;
            assigned = VellixDoc(held);
            assigned.serialize(shown);
            for (VellixDoc* doc : {&fromText, &fromFile}) {
                const bool loaded = doc == &fromText ? doc->load(text) : doc->load(path.c_str());
                const int code = doc->getLastError();
                if (!loaded) throw code == VELLIX_ERR_FILE_OPEN ? VELLIX_ERR_NO_MEMORY : VELLIX_ERROR(code);
            }
        });
        failing.disarm();
        EXPECT_EQ(done, failing.failures() == 0);
        if (done) {
            EXPECT_EQ(shown, text);
            EXPECT_EQ(fromText.getNumberOfEntries() + fromFile.getNumberOfEntries(), 2U);
        }
        for (const VellixDoc* doc : {&held, &fromText, &fromFile}) {
            shown.clear();
            doc->serialize(shown);
            EXPECT_GT(doc->size(), shown.size());
        }
    });
}

// A text that is handed out is whole or null, and the entry keeps what it held.
TEST_F(Faults, NoMemoryForTexts) {
    const std::string tag = R"(<ET NM="a &amp; long enough for memory of its own" SZ="12"/>)";
    const std::string plain = "a & long enough for memory of its own";
    const std::string escaped = "a &amp; long enough for memory of its own";
    const auto length = static_cast<unsigned long>(tag.size());
    const VellixEntry entry(VELLIX_DOC_FH, tag.data(), length, true);
    failEachAllocation([&](Failing& failing) {
        VellixEntry changed(entry);
        std::string value = "before";
        char* copy = nullptr;
        int copied = -1;
        failing.arm();
        const MallocText texts[] = {
            MallocText(VellixEntry::parseAttribute(VELLIX_DOC_FH, 6, tag.data(), length, true)),
            MallocText(xmlDecode(escaped.data(), static_cast<unsigned long>(escaped.size()))),
            MallocText(entry.getAttribute(6, copy, copied) ? copy : nullptr),
            MallocText(VellixEntry::parseAttributeFast_str(VELLIX_DOC_FH, 6, tag.c_str(), true)),
            MallocText(xmlEncode(plain.c_str(), nullptr, -1))};
        bool stored = false;
        attempt([&] { stored = changed.addAttribute(19, L"wide, and long enough for memory of its own"); });
        attempt([&] { changed.encodingAttributes(); });
        bool encoded = false;
        attempt([&] { encoded = entry.getAttributeXmlEncoded(6, value); });
        failing.disarm();
        bool all = stored && encoded && changed.getAttributeStr(6) == escaped;
        for (const MallocText& text : texts) {
            all = all && text != nullptr;
            EXPECT_TRUE(text == nullptr || text.get() == (&text - texts < 3 ? plain : escaped)) << &text - texts;
        }
        EXPECT_EQ(all, failing.failures() == 0);
        EXPECT_EQ(copied, texts[2] != nullptr ? static_cast<int>(plain.size()) : 0);
        EXPECT_EQ(value, encoded ? escaped : "before");
        changed.removeAttribute(19);
        EXPECT_EQ(changed.toString(), tag);
    });
}

// What a call can't do for lack of memory it doesn't begin, whether the entry is a copy or was used before. Only a parse
// keeps what came in front.
TEST_F(Faults, NoMemoryLeavesAnEntryAsItWas) {
    const std::string longText(100000, 'x');
    const std::string tag = "<" + longText + " PT=\"" + longText + "\" NM=\"&lt;" + longText + "\" SZ=\"7\"/>";
    const auto length = static_cast<unsigned long>(tag.size());
    const VellixEntry other(VELLIX_DOC_FH, tag.data(), length, true);
    const char* const kSmall = R"(<ET NM="name" PT="a &amp; b"/>)";
    VellixDoc otherDoc(VELLIX_DOC_FH);
    VellixEntry held = other;
    otherDoc.addEntry(held);
    const std::function<void(VellixDoc&)> calls[] = {
        [&](VellixDoc& doc) { doc.addAttribute(9, 12, false); },
        [&](VellixDoc& doc) { doc.addAttribute(19, "new"); },
        [&](VellixDoc& doc) { doc.addAttribute(7, L"wide"); }, // up to here an entry that was used has memory for it
        [&](VellixDoc& doc) { doc.addAttribute(7, longText); },
        [&](VellixDoc& doc) { doc.addAttribute("PT", 2, longText.c_str()); },
        [&](VellixDoc& doc) { doc.VellixEntry::operator=(other); },
        [&](VellixDoc& doc) { doc = otherDoc; },
        [&](VellixDoc& doc) { doc.loadFromBuffer(VELLIX_DOC_IMAGE, tag.data(), length, true); },
        [&](VellixDoc& doc) { doc.getAttributeStr(7); },
        [&](VellixDoc&) {
            VellixEntry parsed(VELLIX_DOC_FH);
            const int code = parsed.parseAttrXMLString(tag.data(), length);
            if (code != VELLIX_SUCCESS) throw VELLIX_ERROR(code);
            EXPECT_EQ(parsed.getNumberOfAttributes(), 3);
        },
    };
    for (const auto& call : calls) {
        for (const bool isOpen : {false, true}) {
            if (isOpen && &call - calls < 3) continue;
            SCOPED_TRACE(std::to_string(&call - calls) + (isOpen ? ", used before" : ", a copy"));
            failEachAllocation([&](Failing& failing) {
                VellixDoc entry(VELLIX_DOC_FH);
                entry.VellixEntry::loadFromBuffer(VELLIX_DOC_FH, kSmall, 30, true);
                if (!isOpen) entry.VellixEntry::operator=(VellixEntry(static_cast<const VellixEntry&>(entry)));
                const char* const name = entry.getAttribute(6);
                failing.arm();
                const bool done = attempt([&] { call(entry); });
                failing.disarm();
                EXPECT_EQ(done, failing.failures() == 0);
                if (done) return;
                EXPECT_EQ(entry.getAttribute(6), name);
                EXPECT_EQ(entry.VellixEntry::toString(), R"(<CatFH NM="name" PT="a &amp; b"/>)");
                EXPECT_STREQ(entry.getEntryName(), "ET");
                EXPECT_EQ(entry.getNumberOfEntries(), 0U);
            });
        }
    }
}

TEST_F(Faults, NoMemoryWhileCommanding) {
    const std::wstring path = dir.wide("a.xml");
    failEachAllocation([&](Failing& failing) {
        std::filesystem::remove(dir.file("a.xml"));
        CatImageCmdXmlFileHelper helper;
        VellixEntry commands[2] = {fileEntry("a.txt", 12), fileEntry("b.txt", 7)};
        VellixEntry command(VELLIX_DOC_FH);
        bool added[2] = {false, false};
        bool loaded = false;
        failing.arm();
        attempt([&] { helper.setImageId("an id that needs memory of its own"); });
        attempt([&] { helper.create(path.c_str()); });
        for (int i = 0; i < 2; ++i) attempt([&] { added[i] = helper.addImageCmd(commands[i]); });
        attempt([&] { helper.close(); });
        attempt([&] { loaded = helper.load(path.c_str()) && helper.getNextImageCmd(command); });
        failing.disarm();
        EXPECT_TRUE(loaded || failing.failures() != 0);
        std::vector<std::string> written;
        for (int i = 0; i < 2; ++i) {
            if (added[i]) written.push_back(commands[i].toString());
        }
        const bool isThere = std::filesystem::exists(dir.file("a.xml"));
        EXPECT_EQ(entriesIn(isThere ? bytesOf(dir.file("a.xml")) : ""), written);
        helper.close();
        EXPECT_TRUE(helper.create(path.c_str()) && helper.addImageCmd(commands[0])) << "it can't be used again";
    });
}

} // namespace
