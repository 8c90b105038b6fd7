// SPDX-License-Identifier: Apache-2.0
// What happens when memory runs out.

#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <new>
#include <optional>
#include <set>
#include <string>
#include <system_error>
#include <vector>

#include <gtest/gtest.h>

#include "Failing.h"
#include "FileSupport.h"
#include "TempDir.h"
#include "WalkModel.h"
#include "WritingJob.h"
#include "vellix/CatImageCmdXmlFileHelper.h"

using namespace filetest;

thread_local Failing* Failing::armed[2];

const Failing* Failing::failing(Kind kind) {
    Failing* const now = armed[kind];
    if (now == nullptr) return nullptr;
    const long number = now->asked++;
    return number == now->first || (number > now->first && now->all) ? now : nullptr;
}

// By way of `realloc`, as the requests to `malloc` are counted too.
static void* allocate(std::size_t size) {
    return Failing::failing() != nullptr ? nullptr : std::realloc(nullptr, size == 0 ? 1 : size);
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return allocate(size); }
void* operator new(std::size_t size) {
    void* const memory = allocate(size);
    if (memory == nullptr) throw std::bad_alloc();
    return memory;
}
[[gnu::noinline]] void operator delete(void* memory) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete(void* memory, const std::nothrow_t&) noexcept { std::free(memory); }

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
    for (const std::size_t documentName : {std::size_t{0}, std::size_t{200000}}) {
        std::set<std::string> wholeFiles;
        failEachRequest([&](Failing& failing) {
            std::filesystem::remove(path);
            WritingJob job(named({5, 300000, 9}), documentName);
            bool intact = false;
            bool told = true;
            failing.during([&] {
                VellixWriter writer(root);
                attempt([&] { writer.create(dir.wide("a.xml").c_str()); });
                job.run(writer, attempt);
                writer.markComplete();
                const bool ended = attempt([&] { writer.serialize(); });
                told = !ended || writer.getLastError() != VELLIX_SUCCESS;
                intact = writer.isIntact();
            });

            const std::string file = job.expectIn(path);
            if (intact || isMarked(file)) {
                wholeFiles.insert(marked(file));
                EXPECT_EQ(job.written, "111");
            }
            EXPECT_TRUE(isMarked(file) || (told && failing.failed()));
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
    failEachRequest([&](Failing& failing) {
        std::optional<VellixReader> reader;
        bool walked = false;
        failing.during([&] { walked = walk(reader.emplace()); });
        EXPECT_TRUE(walked || failing.failed());
        EXPECT_TRUE(!reader || walk(*reader));
    });
}

// A call of a walk that failed is made again: no step is lost, and none comes twice. The skip of the first unknown element is
// left to the call that follows. Names and tags are of the lengths that need memory wherever a walk takes some.
TEST_F(Faults, NoMemoryWhileWalking) {
    const std::string name(100, 'n');
    const std::string text = "<CatResults><CatDoc ID=\"1\"><" + name + "><" + name + name +
                             "><CatSearchCriteria &><CatFH><ET NM=\"" + std::string(3 * kPageSize, 'x') + "\"/><" +
                             name + name + name +
                             "/></CatFH></CatSearchCriteria></CatDoc><CatDoc ID=\"2\"><CatFH><ET NM=\"b\"/>";
    writeFile(dir.file("a.xml"), text);
    const walktest::Model model(text);
    for (const std::size_t skippedFrom : {1U, 2U, 1000U}) { // the first image, the first unknown element, nothing
        SCOPED_TRACE("skip from step " + std::to_string(skippedFrom));
        failEachRequest([&](Failing& failing) {
            const auto untilDone = [&](const auto& call, bool again = true) {
                if (!failing.during(call) && again) call();
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
                if (skips) untilDone([&] { walk->skip(); }, at == 1);
                at = skips ? model.behindSkip(at) : at + 1;
            }
            EXPECT_EQ(at, model.steps.size());
        });
    }
}

// Whether `malloc` asks too, which it doesn't on every system.
bool mallocFails() {
    Failing failing(Failing::kMemory, 0, true);
    failing.during([] {
        void* const volatile memory = std::malloc(1);
        std::free(memory);
    });
    return failing.failed();
}

// What a call can't do for lack of memory it doesn't begin, whether the entry is a copy or was used before. A load tells that it
// was for lack of memory; where no stream can be had it can't know.
TEST_F(Faults, NoMemoryLeavesADocumentAsItWas) {
    const std::string longText(100000, 'x');
    const std::string plain = '<' + longText;
    const std::string escaped = "&lt;" + longText;
    const std::wstring wide(100000, L'w');
    const std::string tag = "<" + longText + " PT=\"" + longText + "\" NM=\"" + escaped + "\" SZ=\"7\"/>";
    const auto length = static_cast<unsigned long>(tag.size());
    const VellixEntry other(VELLIX_DOC_FH, tag.data(), length, true);
    const char* const kSmall = R"(<ET NM="name" PT="a &amp; b"/>)";
    VellixDoc child(VELLIX_DOC_FH);
    VellixDoc otherDoc(VELLIX_DOC_FH);
    VellixEntry held = other;
    otherDoc.addEntry(held);
    otherDoc.addChildDoc(child);
    const std::string smallText = std::string(kSmall) + kSmall;
    const std::string path = dir.file("a.xml");
    writeFile(path, smallText);
    const auto need = [](bool done) {
        if (!done) throw std::bad_alloc();
    };
    const auto expectLoaded = [](const VellixDoc& doc, bool loaded, int code) {
        if (!loaded) throw doc.getLastError() == code ? VELLIX_ERR_NO_MEMORY : VELLIX_ERROR(doc.getLastError());
        EXPECT_EQ(doc.getNumberOfEntries(), 1U);
    };
    const auto expectWhole = [&](char* text, const std::string& expected) {
        need(text != nullptr);
        EXPECT_TRUE(MallocText(text).get() == expected);
    };
    std::vector<std::function<void(VellixDoc&)>> calls = {
        [&](auto& doc) { doc.addAttribute(9, 12, false); }, [&](auto& doc) { doc.addAttribute(19, "new"); },
        [&](auto& doc) { doc.addAttribute(7, L"wide"); }, // up to here an entry that was used has memory for it
        [&](auto& doc) { doc.addAttribute(7, longText); }, [&](auto& doc) { need(doc.addAttribute(7, wide.c_str())); },
        [&](auto& doc) { doc.addAttribute("PT", 2, longText.c_str()); },
        [&](auto& doc) { doc.VellixEntry::operator=(other); }, [&](auto& doc) { doc = otherDoc; },
        [&](auto& doc) { doc.loadFromBuffer(VELLIX_DOC_IMAGE, tag.data(), length, true); },
        [&](auto& doc) { doc.getAttributeStr(7); }, [&](auto& doc) { doc.addEntry(held); },
        [&](auto& doc) { doc.addChildDoc(otherDoc); },
        [&](auto& doc) { expectLoaded(doc, doc.load(smallText), VELLIX_ERR_NO_MEMORY); },
        [&](auto& doc) { expectLoaded(doc, doc.load(path.c_str()), VELLIX_ERR_FILE_OPEN); },
        [&](auto&) { textOf(otherDoc); },
        [&](auto&) {
            VellixEntry parsed(VELLIX_DOC_FH);
            const int code = parsed.parseAttrXMLString(tag.data(), length);
            if (code != VELLIX_SUCCESS) throw VELLIX_ERROR(code);
        },
        [&](auto&) {
            VellixEntry changed(other);
            changed.encodingAttributes();
            const bool done = changed.getAttribute(6) == escaped;
            EXPECT_TRUE(done || changed.getAttribute(6) == plain);
            need(done);
        },
        [&](auto&) {
            std::string value = "before";
            const bool done = other.getAttributeXmlEncoded(6, value);
            EXPECT_TRUE(value == (done ? escaped : "before"));
            need(done);
        },
        // from here on by `malloc`
        [&](auto&) { expectWhole(VellixEntry::parseAttribute(VELLIX_DOC_FH, 6, tag.data(), length, true), plain); },
        [&](auto&) { expectWhole(VellixEntry::parseAttributeFast_str(VELLIX_DOC_FH, 6, tag.c_str(), true), escaped); },
        [&](auto&) { expectWhole(xmlDecode(escaped.data(), static_cast<unsigned long>(escaped.size())), plain); },
        [&](auto&) { expectWhole(xmlEncode(plain.c_str(), nullptr, -1), escaped); },
        [&](auto&) {
            char* copy = nullptr;
            int copied = -1;
            const bool done = other.getAttribute(6, copy, copied);
            EXPECT_EQ(copied, done ? static_cast<int>(plain.size()) : 0);
            expectWhole(done ? copy : nullptr, plain);
        }};
    if (!mallocFails()) calls.resize(calls.size() - 5);
    for (const auto& call : calls) {
        for (const bool isOpen : {false, true}) {
            if (isOpen && &call - calls.data() < 3) continue;
            SCOPED_TRACE(std::to_string(&call - calls.data()) + (isOpen ? ", used before" : ", a copy"));
            failEachRequest([&](Failing& failing) {
                VellixDoc entry(VELLIX_DOC_FH);
                entry.VellixEntry::loadFromBuffer(VELLIX_DOC_FH, kSmall, 30, true);
                if (!isOpen) entry.VellixEntry::operator=(VellixEntry(static_cast<const VellixEntry&>(entry)));
                const char* const name = entry.getAttribute(6);
                const bool done = failing.during([&] { call(entry); });
                EXPECT_EQ(done, !failing.failed());
                if (done) return;
                EXPECT_EQ(entry.getAttribute(6), name);
                EXPECT_EQ(entry.VellixEntry::toString(), R"(<CatFH NM="name" PT="a &amp; b"/>)");
                EXPECT_STREQ(entry.getEntryName(), "ET");
                EXPECT_EQ(entry.getNumberOfEntries() + entry.getNumberOfChildDocs(), 0U);
            });
        }
    }
}

// Behind a failure the helper can be used again.
TEST_F(Faults, NoMemoryWhileCommanding) {
    const std::string path = dir.file("a.xml");
    const std::wstring wide = dir.wide("a.xml");
    failEachRequest([&](Failing& failing) {
        std::filesystem::remove(path);
        CatImageCmdXmlFileHelper helper;
        VellixEntry command = fileEntry("a.txt", 12);
        VellixEntry found(VELLIX_DOC_FH);
        bool added = false;
        bool loaded = false;
        failing.during([&] {
            attempt([&] { helper.setImageId("an id that needs memory of its own"); });
            attempt([&] { helper.create(wide.c_str()); });
            attempt([&] { added = helper.addImageCmd(command); });
            attempt([&] { helper.close(); });
            loaded = helper.load(wide.c_str()) && helper.getNextImageCmd(found);
        });
        EXPECT_TRUE(loaded || failing.failed());
        EXPECT_EQ(entriesIn(std::filesystem::exists(path) ? bytesOf(path) : "").size(), added ? 1U : 0U);
        helper.close();
        EXPECT_TRUE(helper.create(wide.c_str()) && helper.addImageCmd(command));
    });
}

} // namespace
