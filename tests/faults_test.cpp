// SPDX-License-Identifier: Apache-2.0
// What happens when memory runs out.

#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include <gtest/gtest.h>

#include "Failing.h"
#include "FileSupport.h"
#include "TempDir.h"
#include "WalkModel.h"
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

// After every failure the caller goes on as if nothing had happened, and all is destroyed while memory is still short.
TEST_F(Faults, NoMemoryWhileWriting) {
    const std::wstring path = dir.wide("a.xml");
    VellixDoc root(VELLIX_DOC_RESULTS);
    root.addAttribute(0, 0, false);
    root.addAttribute(1, "1700000000");
    failEachAllocation([&](Failing& failing) {
        std::filesystem::remove(dir.file("a.xml"));
        bool written[2] = {false, false};
        bool intact = false;
        bool told = true;
        {
            std::unique_ptr<VellixWriter> writer;
            VellixDoc image(VELLIX_DOC_DOC);
            VellixDoc files(VELLIX_DOC_FH);
            VellixEntry entries[2] = {fileEntry("a.txt", 12), fileEntry("b.txt", 7)};
            image.addAttribute(1, "42");
            failing.arm();
            attempt([&] { writer = std::make_unique<VellixWriter>(root); });
            if (writer != nullptr) {
                attempt([&] { writer->create(path.c_str()); });
                attempt([&] { writer->addDoc(image); });
                attempt([&] { image.addChildDoc(files); });
                for (int i = 0; i < 2; ++i) attempt([&] { written[i] = files.addEntry(entries[i]); });
                attempt([&] { files.close(); });
                attempt([&] { image.close(); });
                writer->markComplete();
                const bool ended = attempt([&] { writer->serialize(); });
                told = !ended || failing.failures() == 0 || writer->getLastError() != VELLIX_SUCCESS;
                intact = writer->isIntact();
            }
        }
        failing.disarm();

        const bool isThere = std::filesystem::exists(dir.file("a.xml"));
        const std::string file = isThere ? bytesOf(dir.file("a.xml")) : "";
        std::vector<std::string> expected;
        if (written[0]) expected.emplace_back(R"(<ET NM="a.txt" SZ="12"/>)");
        if (written[1]) expected.emplace_back(R"(<ET NM="b.txt" SZ="7"/>)");
        EXPECT_EQ(entriesIn(file), expected);
        for (std::string& entry : expected) entry = valuesOf(entry);
        EXPECT_EQ(readByDocuments(path), expected) << "what is acknowledged can be read";
        const bool isMarked = file.size() > kMarkAt && file[kMarkAt] == '1';
        EXPECT_TRUE(!(intact || isMarked) || (file.size() == kSample.size() && marked(file) == marked(kSample)));
        EXPECT_TRUE(isMarked || told);
        EXPECT_TRUE(isMarked || failing.failures() != 0);
    });
}

// Records that are too large for the room that a writer has from the start.
TEST_F(Faults, NoMemoryForLongRecords) {
    const std::wstring path = dir.wide("a.xml");
    failEachAllocation([&](Failing& failing) {
        VellixWriter writer(VELLIX_DOC_FH);
        VellixDoc files(VELLIX_DOC_FH);
        VellixEntry entries[] = {fileEntry("a"), fileEntry(std::string(300000, 'b')), fileEntry("c")};
        files.addAttribute(6, std::string(200000, 'f'));
        ASSERT_TRUE(writer.create(path.c_str()));
        bool added[3] = {false, false, false};
        failing.arm();
        attempt([&] { writer.addDoc(files); });
        for (int i = 0; i < 3; ++i) attempt([&] { added[i] = files.addEntry(entries[i]); });
        attempt([&] { files.close(); });
        const bool whole = writer.isIntact();
        attempt([&] { writer.close(); });
        failing.disarm();
        std::vector<std::string> written;
        for (int i = 0; i < 3; ++i) {
            if (added[i]) written.push_back(entries[i].toString());
        }
        const std::string file = bytesOf(dir.file("a.xml"));
        EXPECT_EQ(entriesIn(file), written);
        EXPECT_TRUE(written.empty() || file.find("<CatFH NM=") != std::string::npos);
        EXPECT_EQ(whole, file.find("</CatFH>") != std::string::npos && written.size() == 3);
    });
}

TEST_F(Faults, NoMemoryWhileReading) {
    const std::string front = kHeader + R"(<CatResults IC="1" ID="1"><CatDoc ID="7"><CatFH><ET NM=")";
    const std::string file =
        front + std::string(kPageSize - front.size() - 20, 'x') +
        R"("/><ET NM="over the boundary" PT="and a long way on, out of any small buffer"/></CatFH>)" +
        R"(<CatImage PT="1"><CatImage PT="2"/><CatFrag MV="3"/></CatImage></CatDoc></CatResults>)";
    writeFile(dir.file("a.xml"), file);
    const std::wstring path = dir.wide("a.xml");
    const auto walk = [&](VellixReader& reader, std::vector<VellixEntry>& entries) {
        VellixDoc image(VELLIX_DOC_DOC);
        VellixDoc files(VELLIX_DOC_FH);
        VellixDoc cached(VELLIX_DOC_IMAGE);
        return reader.load(path.c_str()) && reader.getFirstDoc(image) && image.getFirstChildDoc(files) &&
               files.getNextEntry(entries[0]) && files.getNextEntry(entries[1]) && !files.getNextEntry(entries[2]) &&
               reader.getNextDoc(cached) && cached.getNumberOfEntries() == 1 && cached.getNumberOfChildDocs() == 1;
    };
    failEachAllocation([&](Failing& failing) {
        std::vector<VellixEntry> entries(3);
        std::unique_ptr<VellixReader> reader;
        failing.arm();
        bool walked = false;
        attempt([&] {
            reader = std::make_unique<VellixReader>();
            walked = walk(*reader, entries);
        });
        failing.disarm();
        EXPECT_TRUE(walked || failing.failures() != 0);
        if (reader == nullptr) return;
        ASSERT_TRUE(walk(*reader, entries)) << "the reader can't be used again";
        EXPECT_EQ(slotsOf(entries[1]), "6=over the boundary; 7=and a long way on, out of any small buffer");
    });
}

// A call of a walk that failed is made again: no step is lost, and none comes twice. Names and tags are of the lengths that
// need memory wherever a walk takes some.
TEST_F(Faults, NoMemoryWhileWalking) {
    const std::string name(100, 'n');
    const std::string text = "<CatResults><CatDoc ID=\"1\"><" + name + "><" + name + name +
                             "><CatSearchCriteria &><CatFH><ET NM=\"" + std::string(3 * kPageSize, 'x') + "\"/><" +
                             name + name + name + "/></CatFH></CatDoc><CatDoc ID=\"2\"><CatFH><ET NM=\"b\"/>";
    writeFile(dir.file("a.xml"), text);
    const walktest::Model model(text);
    for (const std::size_t skippedFrom : {1U, 2U, 1000U}) { // the first image, the first unknown element, nothing
        SCOPED_TRACE("skip from step " + std::to_string(skippedFrom));
        failEachAllocation([&](Failing& failing) {
            const auto untilDone = [&](const auto& call) {
                failing.arm();
                const bool done = attempt(call);
                failing.disarm();
                if (!done) call();
            };
            std::optional<vellix::Walk> walk;
            untilDone([&] {
                walk.emplace(dir.file("a.xml"));
                EXPECT_TRUE(*walk || walk->error().system == std::errc::not_enough_memory);
                if (!*walk) throw std::bad_alloc();
            });
            std::size_t at = 0;
            const vellix::Step* step = nullptr;
            for (;;) {
                untilDone([&] { step = walk->next(); });
                if (step == nullptr) break;
                ASSERT_LT(at, model.steps.size());
                ASSERT_EQ(walktest::lineOf(*step), model.steps[at].line);
                const bool skips = at == skippedFrom;
                if (skips) untilDone([&] { walk->skip(); });
                at = skips ? model.behindSkip(at) : at + 1;
            }
            EXPECT_EQ(at, model.steps.size());
        });
    }
}

TEST_F(Faults, NoMemoryWhileHolding) {
    const std::string text =
        kHeader + R"(<CatDoc ID="7"><CatFH/><CatDoc ID="a value that needs memory of its own"/></CatDoc>)";
    const std::string path = dir.file("a.xml");
    writeFile(path, text);
    failEachAllocation([&](Failing& failing) {
        VellixDoc held(VELLIX_DOC_DOC);
        VellixDoc loaded(VELLIX_DOC_DOC);
        VellixDoc fromFile(VELLIX_DOC_DOC);
        VellixDoc child(VELLIX_DOC_FH);
        VellixEntry entry;
        std::string shown;
        held.addAttribute(1, "7");
        entry.setType(VELLIX_DOC_DOC);
        entry.addAttribute(1, "a value that needs memory of its own");
        failing.arm();
        bool done = false;
        attempt([&] {
            held.addEntry(entry);
            held.addChildDoc(child);
            VellixDoc assigned;
            assigned = VellixDoc(held);
            assigned.serialize(shown);
            done = loaded.load(text) && fromFile.load(path.c_str());
        });
        failing.disarm();
        EXPECT_EQ(done, failing.failures() == 0);
        if (done) {
            EXPECT_EQ(shown, text);
            EXPECT_EQ(loaded.getNumberOfEntries() + fromFile.getNumberOfEntries(), 2U);
        }
        for (const VellixDoc* doc : {&held, &loaded, &fromFile}) {
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
            MallocText(VellixEntry::parseAttributeFast_str(VELLIX_DOC_FH, 6, tag.c_str(), true)),
            MallocText(xmlEncode(plain.c_str(), nullptr, -1))};
        const MallocText owner(entry.getAttribute(6, copy, copied) ? copy : nullptr);
        bool stored = false;
        attempt([&] { stored = changed.addAttribute(19, L"wide, and long enough for memory of its own"); });
        attempt([&] { changed.encodingAttributes(); });
        bool encoded = false;
        attempt([&] { encoded = entry.getAttributeXmlEncoded(6, value); });
        failing.disarm();
        bool all = owner != nullptr && stored && encoded && changed.getAttributeStr(6) == escaped;
        for (std::size_t i = 0; i < 4; ++i) {
            all = all && texts[i] != nullptr;
            EXPECT_TRUE(texts[i] == nullptr || shown(texts[i]) == (i < 2 ? plain : escaped)) << i;
        }
        EXPECT_EQ(all, failing.failures() == 0);
        EXPECT_TRUE(owner == nullptr ? copied == 0 : shown(owner) == plain);
        EXPECT_EQ(value, encoded ? escaped : "before");
        changed.removeAttribute(19);
        EXPECT_EQ(changed.toString(), tag);
    });
}

// What a call can't do for lack of memory it doesn't begin, whether the entry is a copy or was used before.
TEST_F(Faults, NoMemoryLeavesAnEntryAsItWas) {
    const std::string longText(100000, 'x');
    const std::string tag = "<" + longText + " PT=\"" + longText + "\" NM=\"&lt;" + longText + "\" SZ=\"7\"/>";
    const VellixEntry other(VELLIX_DOC_FH, tag.data(), static_cast<unsigned long>(tag.size()), true);
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
        [&](VellixDoc& doc) {
            doc.loadFromBuffer(VELLIX_DOC_IMAGE, tag.data(), static_cast<unsigned long>(tag.size()), true);
        },
        [&](VellixDoc& doc) { doc.getAttributeStr(7); },
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
        std::vector<std::string> written;
        std::vector<std::string> read;
        CatImageCmdXmlFileHelper helper;
        VellixEntry commands[2] = {fileEntry("a.txt", 12), fileEntry("b.txt", 7)};
        VellixEntry command(VELLIX_DOC_FH);
        written.reserve(2);
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
        for (int i = 0; i < 2; ++i) {
            if (added[i]) written.push_back(commands[i].toString());
        }
        EXPECT_EQ(std::filesystem::exists(dir.file("a.xml")) ? entriesIn(bytesOf(dir.file("a.xml"))) : read, written);
        helper.close();
        EXPECT_TRUE(helper.create(path.c_str()) && helper.addImageCmd(commands[0])) << "it can't be used again";
    });
}

} // namespace
