// SPDX-License-Identifier: Apache-2.0
#include "vellix/VellixReader.h"

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "FileSupport.h"
#include "TempDir.h"

using namespace filetest;

namespace {

// What stands before and behind the entries of the files here.
const std::string kFront = kHeader + R"(<CatResults IC="1" ID="s"><CatDoc ID="7"><CatFH OP="1">)";
const std::string kBack = "</CatFH></CatDoc></CatResults>";

class ReaderTest : public testing::Test {
protected:
    bool load(VellixReader& reader, const std::string& file) {
        const std::string name = std::to_string(made++) + ".xml"; // a new one, as the last may still be mapped
        writeFile(dir.file(name), file);
        return reader.load(dir.wide(name).c_str());
    }

    // The entries behind the first one of a file with `kFront` in front.
    std::vector<std::string> behindFirstEntry(const std::string& file, bool withEnds = false) {
        OpenReader reader;
        VellixDoc files(VELLIX_DOC_FH);
        VellixEntry first;
        EXPECT_TRUE(load(reader, file) && reader.getFirstDoc(files) && files.getFirstEntry(first));
        std::vector<std::string> entries = readToEnd(reader, withEnds);
        code = reader.getLastError();
        return entries;
    }

    TempDir dir;
    int made = 0;
    int code = 0; // what the reader of those had to tell
};

// An entry tag of exactly `length` bytes.
std::string tagOf(std::size_t length, char fill = 'x') { return "<ET NM=\"" + std::string(length - 11, fill) + "\"/>"; }

// The front, and an entry that fills the first page up to `room` bytes before its end.
std::string pageWithRoom(std::size_t room) { return kFront + tagOf(kPageSize - room - kFront.size()); }

TEST_F(ReaderTest, AsksForDocumentsByType) {
    const struct {
        VELLIX_DOC_TYPE type;
        const char* body;           // behind the root's tag
        const char* text;           // of the document then; empty if there is none
        const char* rest;           // what stands at the position
        const char* read = nullptr; // what readDoc gives, if that is more
    } cases[] = {
        {VELLIX_DOC_FH, R"(<CatDoc ID="1"/></x><Odd IC="3"><catfh OP="2">z)", R"(<CatFH OP="2"/>)", "z"},
        {VELLIX_DOC_IMAGE, R"(<CatDoc ID="1">)", "", ""},
        {VELLIX_DOC_FH, R"(<CatFH OP="1")", R"(<CatFH OP="1"/>)", ""}, // cut off
        {VELLIX_DOC_IMAGE, R"(<CatImage PT="1">x<CatImage PT="2"/>x<CatFrag MV="3"/>x<CatFSE ST="4"/></CatImage>z)",
         R"(<CatImage PT="1"><CatFrag MV="3"/><CatFSE ST="4"/><CatImage PT="2"/></CatImage>)", "</CatImage>z"},
        {VELLIX_DOC_IMAGE, R"(<CatImage PT="1"/><CatImage PT="2"/><CatFrag MV="3"/>)", R"(<CatImage PT="1"/>)",
         R"(<CatImage PT="2"/><CatFrag MV="3"/>)",
         R"(<CatImage PT="1"><CatFrag MV="3"/><CatImage PT="2"/></CatImage>)"},
        {VELLIX_DOC_FRAG, R"(<CatFrag MV="1"/><CatFH/>)", R"(<CatFrag MV="1"/>)", "<CatFH/>"},
        {VELLIX_DOC_IMAGE, R"(<CatDoc ID="1"/><CatImage PT="1"><CatImage PT="2"/>z)", // behind a closed tag
         R"(<CatImage PT="1"><CatImage PT="2"/></CatImage>)", ""},
        {VELLIX_DOC_IMAGE, R"(<CatImage PT="1"><CatDoc ID="1"/><CatImage PT="2"/>)", // only what follows directly
         R"(<CatImage PT="1"/>)", R"(<CatDoc ID="1"/><CatImage PT="2"/>)"},
        {VELLIX_DOC_IMAGE, R"(<CatImage PT="1"><CatFrag MV="3"><CatFrag MV="4"/></CatFrag><CatFrag MV="5"/>)",
         R"(<CatImage PT="1"><CatFrag MV="3"/><CatFrag MV="4"/></CatImage>)", R"(</CatFrag><CatFrag MV="5"/>)"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.body);
        const std::string text = std::string(R"(<CatResults IC="0">)") + c.body;
        const ExactBytes bytes(text);
        VellixDoc copy; // whose children live as long as any document that was filled with them
        {
            OpenReader reader;
            VellixDoc doc(c.type);
            ASSERT_TRUE(reader.load(bytes.data(), bytes.size()));
            const std::unique_ptr<VellixDoc> read(reader.readDoc(c.type));
            EXPECT_EQ(read->isEmpty() ? "" : textOf(*read), c.read != nullptr ? c.read : c.text);
            ASSERT_TRUE(reader.load(bytes.data(), bytes.size()));
            EXPECT_EQ(reader.getFirstDoc(doc), *c.text != '\0');
            EXPECT_EQ(text.substr(reader.position()), c.rest);
            VellixEntry entry;
            EXPECT_FALSE(c.type == VELLIX_DOC_IMAGE && doc.getNextEntry(entry)) << "what is held isn't pulled";
            copy = VellixDoc(doc);
        }
        EXPECT_EQ(copy.isEmpty() ? "" : textOf(copy), c.text);
    }
}

TEST_F(ReaderTest, WithoutAnythingLoaded) {
    OpenReader reader;
    VellixDoc doc(VELLIX_DOC_DOC);
    VellixEntry entry;
    EXPECT_EQ(reader.getXmlStr(), nullptr);
    const std::pair<std::function<bool()>, int> cases[] = {
        {[] { return true; }, VELLIX_SUCCESS}, // nothing has been tried
        {[&] { return reader.load(nullptr); }, VELLIX_ERR_NULL_ARGUMENT},
        {[&] { return reader.load(nullptr, 5); }, VELLIX_ERR_NULL_ARGUMENT},
        {[&] { return reader.load(nullptr, 0); }, VELLIX_SUCCESS},
        {[&] { return load(reader, ""); }, VELLIX_SUCCESS},
        {[&] { return load(reader, kFront) && reader.load(dir.wide("missing.xml").c_str()); }, VELLIX_ERR_FILE_OPEN},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        EXPECT_EQ(c.first(), c.second == VELLIX_SUCCESS);
        EXPECT_EQ(reader.getLastError(), c.second);
        EXPECT_FALSE(reader.getFirstDoc(doc) || doc.getFirstChildDoc(doc) || doc.getNextEntry(entry));
        EXPECT_FALSE(reader.readEntry(entry) || reader.isComplete());
        EXPECT_TRUE(std::unique_ptr<VellixDoc>(reader.readDoc(VELLIX_DOC_IMAGE))->isEmpty());
        EXPECT_EQ(slotsOf(reader.rootDoc()) + reader.getSessionID(), "");
    }
}

// Behind a walk that ends on any page of a file. Documents are looked for on the page that it has come to alone.
TEST_F(ReaderTest, LoadsAgain) {
    const std::string first =
        pageWithRoom(0) + tagOf(kPageSize, '2') + tagOf(30, '3') + "</CatFH><CatFHStringSection OP=\"9\">";
    const std::string second = R"(<CatResults ID="second"><ET NM="b")";
    const std::string inPage =
        "<ET NM='q/>\xE0<ET PT=\"c\"/>"; // only the page behind it tells that the first tag isn't cut
    OpenReader reader;
    VellixDoc files(VELLIX_DOC_FH);
    VellixEntry entry;
    const auto walk = [&](int pulls) {
        EXPECT_TRUE(load(reader, first) && reader.getFirstDoc(files));
        for (int i = 0; i < pulls; ++i) EXPECT_EQ(files.getNextEntry(entry), i < 3);
    };
    for (int pulls = 0; pulls < 5; ++pulls) {
        VellixDoc section(VELLIX_DOC_FH_STRING_SECTION);
        walk(pulls);
        EXPECT_EQ(reader.getNextDoc(section), pulls > 2);
        EXPECT_FALSE(reader.getNextDoc(section)) << "none that isn't found changes anything";
        EXPECT_EQ(slotsOf(section), pulls > 2 ? "0=9" : "");
        const auto length = static_cast<unsigned long>(second.size());
        EXPECT_TRUE(pulls != 0 ? load(reader, second) : reader.load(second.data(), length));
        EXPECT_EQ(reader.getSessionID(), "second");
        EXPECT_EQ(readToEnd(reader), std::vector<std::string>{"6=b"});
    }
    // A text takes only the place of that page.
    walk(2);
    ASSERT_TRUE(reader.load(inPage.data(), static_cast<unsigned long>(inPage.size())));
    EXPECT_EQ(reader.getSessionID(), "s");
    EXPECT_EQ(reader.position(), 0U);
    EXPECT_EQ(readToEnd(reader), (std::vector<std::string>{"6='q", "7=c", "6=" + std::string(19, '3'), "0=9"}));
}

// A record reads back the same wherever the page boundary falls in it or next to it.
TEST_F(ReaderTest, BoundaryAtEveryByteOfARecord) {
    const std::vector<std::string> records = {
        R"(<ET OP="5" NM="a.txt" SZ="12"/>)",
        R"(<ET NM="x>y/>z &amp; &quot;&#233;&#x41;" OP='1' PT='"' FP="'"/>)",
        R"(<ET NM="a/>b" PT="/>">)",
        "<ET NM=\"\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80\"  PT = \"\xf0\x9f\x98\x80\"\n>",
        R"(<ET OP=5 NM=word RT RST="1"/>)",
        R"(<ET FP="full" NM=a&amp;b SZ="5"/>)",
        R"(<ET NM="&broken;" OP="2"/>)",
        R"(<ET OP="1" == NM="n"/>)",
    };
    const std::string other = R"(<ET PT="next"/>)";
    for (const std::string& record : records) {
        const VellixEntry entry(VELLIX_DOC_FH, record.data(), static_cast<unsigned long>(record.size()), true);
        std::vector<std::string> wanted = {slotsOf(entry) + (entry.isEntryClosed() ? "/" : ""), "7=next/"};
        if (entry.isEmpty()) wanted.erase(wanted.begin());
        for (std::size_t room = 0; room <= record.size() + 1; ++room) {
            const std::string front = pageWithRoom(room);
            EXPECT_EQ(behindFirstEntry(front + record + other + kBack, true), wanted)
                << record << " with room " << room;
        }
    }
}

// Tags with a quote that has no partner in more than 1 MB, each hidden from the search by a lead byte. They cost no record.
TEST_F(ReaderTest, RecordCutBehindTagsThatOnlySeemCut) {
    std::string odd;
    for (int i = 0; i < 100; ++i) odd += "\xE0<' NM=1>";
    const std::string good = R"(<ET NM="whole" PT="too"/>)";
    for (std::size_t room = 1; room < good.size(); ++room) {
        const std::string front = pageWithRoom(odd.size() + 1 + room) + odd + '\xE0';
        std::vector<std::string> wanted(102, "6=1");
        wanted[100] = "6=whole; 7=too";
        wanted[101] = "6=last";
        EXPECT_EQ(behindFirstEntry(front + good + std::string(20 * kPageSize, 'x') + R"(<ET NM="last"/>)"), wanted)
            << room;
    }
}

TEST_F(ReaderTest, LongestTag) {
    const std::size_t limit = 16U << 20;
    const std::string begin = R"(<ET OP="1" NM=")";
    for (const std::size_t length : {limit, limit + 1}) {
        SCOPED_TRACE(length);
        const std::string tag = begin + std::string(length - begin.size() - 3, '>') + "\"/>";
        std::vector<std::string> wanted = {valuesOf(tag), "7=next"};
        if (length > limit) wanted.erase(wanted.begin());
        EXPECT_TRUE(behindFirstEntry(pageWithRoom(100) + tag + R"(<ET PT="next"/>)" + kBack) == wanted);
        EXPECT_EQ(code, length > limit ? VELLIX_ERR_OUT_OF_RANGE : VELLIX_SUCCESS);
    }
    // A quote without a partner, up to some bytes behind the limit, which is the end of a page.
    EXPECT_TRUE(behindFirstEntry(pageWithRoom(1) + begin + "x>" + std::string(limit, 'x')).empty());
    EXPECT_EQ(code, VELLIX_ERR_OUT_OF_RANGE);
}

} // namespace
