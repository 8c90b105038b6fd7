// SPDX-License-Identifier: Apache-2.0
#include "vellix/VellixReader.h"

#include <memory>
#include <string>
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
    std::vector<std::string> behindFirstEntry(const std::string& file) {
        OpenReader reader;
        VellixDoc files(VELLIX_DOC_FH);
        VellixEntry first;
        EXPECT_TRUE(load(reader, file) && reader.getFirstDoc(files) && files.getFirstEntry(first));
        std::vector<std::string> entries = readToEnd(reader);
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

TEST_F(ReaderTest, WalksAFileCallByCall) {
    OpenReader reader;
    ASSERT_TRUE(load(reader, kHeader + R"(<CatResults IC="1" ID="1700000000"><CatDoc IC="0" ID="x"><CatFH OP="1">)"
                                       R"(<ET NM="a"/><ET NM="b"/></CatFH></CatDoc></CatResults>)"));
    EXPECT_EQ(reader.position(), 73U);
    EXPECT_TRUE(reader.isComplete());
    EXPECT_EQ(reader.getSessionID(), "1700000000");
    VellixDoc image(VELLIX_DOC_DOC);
    VellixDoc files(VELLIX_DOC_FH);
    VellixDoc noFiles(VELLIX_DOC_FH);
    VellixEntry entry(VELLIX_DOC_IMAGE);
    EXPECT_TRUE(reader.getFirstDoc(image));
    EXPECT_EQ(slotsOf(image), "0=0; 1=x");
    EXPECT_EQ(reader.position(), 95U);
    EXPECT_TRUE(image.getFirstChildDoc(files));
    EXPECT_EQ(slotsOf(files), "0=1");
    EXPECT_EQ(reader.position(), 109U);
    EXPECT_TRUE(files.getFirstEntry(entry));
    EXPECT_EQ(entry.toString(), R"(<ET NM="a"/>)");
    EXPECT_EQ(entry.getType(), VELLIX_DOC_FH);
    EXPECT_EQ(reader.position(), 121U);
    EXPECT_TRUE(files.getNextEntry(entry));
    EXPECT_EQ(entry.toString(), R"(<ET NM="b"/>)");
    EXPECT_EQ(reader.position(), 133U);
    EXPECT_FALSE(files.getNextEntry(entry));
    EXPECT_EQ(entry.toString(), "<ET/>");
    EXPECT_EQ(reader.position(), 135U);
    EXPECT_FALSE(image.getNextChildDoc(noFiles));
    EXPECT_EQ(reader.position(), 163U);
    EXPECT_FALSE(reader.getNextDoc(image));
    EXPECT_FALSE(files.getNextEntry(entry));
    EXPECT_EQ(reader.position(), 163U);
    EXPECT_EQ(slotsOf(image), "0=0; 1=x") << "a document that isn't found leaves the caller's as it was";
}

TEST_F(ReaderTest, AsksForDocumentsByType) {
    struct Case {
        const char* name;
        const char* body; // behind the root's tag
        VELLIX_DOC_TYPE type;
        const char* values; // of the document found, null for none
        const char* rest;   // what stands at the position then
    };
    const Case cases[] = {
        {"passes over others", R"(<CatDoc ID="1"/></x><Odd IC="3"><CatFH OP="2">z)", VELLIX_DOC_FH, "0=2", "z"},
        {"letters of any case", R"(<catdoc id="1">z)", VELLIX_DOC_DOC, "1=1", "z"},
        {"without attributes", "<CatFH>z", VELLIX_DOC_FH, "", "z"},
        {"no such tag", R"(<CatDoc ID="1">)", VELLIX_DOC_IMAGE, nullptr, ""},
        {"cut off", R"(<CatDoc ID="1")", VELLIX_DOC_DOC, "1=1", ""},
        {"broken", R"(<CatDoc ID="1" = ID="2">z)", VELLIX_DOC_DOC, "1=1", R"( ID="2">z)"},
        {"an entry tag", R"(<ET NM="n"/>z)", VELLIX_DOC_ET, "6=n", "z"},
    };
    const std::string front = R"(<CatResults IC="0">)";
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        OpenReader reader;
        const std::string text = front + c.body;
        const ExactBytes bytes(text);
        ASSERT_TRUE(reader.load(bytes.data(), bytes.size()));
        VellixDoc doc(c.type);
        EXPECT_EQ(reader.getFirstDoc(doc), c.values != nullptr);
        EXPECT_EQ(slotsOf(doc), c.values == nullptr ? "" : c.values);
        EXPECT_EQ(doc.getType(), c.type);
        EXPECT_EQ(text.substr(reader.position()), c.rest);
    }
}

// Also behind a tag that is closed, where a caller who only asks for the tag gets none.
TEST_F(ReaderTest, ReadDocFillsDocumentsThatAreReadWhole) {
    OpenReader reader;
    EXPECT_TRUE(load(reader, kFront + R"(<CatImage NM="a"/><CatImage NM="b"/><CatFrag RC="1"/><ET NM="c"/>)"));
    const std::unique_ptr<VellixDoc> image(reader.readDoc(VELLIX_DOC_IMAGE));
    std::string text;
    image->serialize(text);
    EXPECT_EQ(text, R"(<CatImage NM="a"><CatFrag RC="1"/><CatImage NM="b"/></CatImage>)");
    EXPECT_TRUE(std::unique_ptr<VellixDoc>(reader.readDoc(VELLIX_DOC_IMAGE))->isEmpty());
    EXPECT_TRUE(load(reader, kFront + R"(<CatFrag RC="1"/><CatFH NM="d"/>)"));
    const std::unique_ptr<VellixDoc> fragment(reader.readDoc(VELLIX_DOC_FRAG));
    EXPECT_EQ(fragment->toString(), R"(<CatFrag RC="1"/>)");
    EXPECT_FALSE(reader.load(nullptr, 1));
}

// What is known of a text in which tags are hidden from searches must not be asked about another one.
TEST_F(ReaderTest, CursorThatIsSetToALongerText) {
    const auto hiddenTags = [](std::size_t size) {
        std::string text;
        while (text.size() < size) text += "\xE0<\" NM=1>";
        return text;
    };
    const std::string first = hiddenTags(2 * kPageSize);
    const std::string second = hiddenTags(8 * kPageSize);
    OpenReader reader;
    ASSERT_TRUE(reader.load(first.data(), static_cast<unsigned long>(first.size())));
    reader.getXmlStr()->position = 0;
    const std::size_t tags = readToEnd(reader).size();
    EXPECT_GT(tags, 1000U);
    XmlStr& cursor = *reader.getXmlStr();
    cursor.buffer = second.data();
    cursor.length = static_cast<unsigned long>(second.size());
    cursor.position = 0;
    EXPECT_GT(readToEnd(reader).size(), 3 * tags);
}

TEST_F(ReaderTest, WithoutAnythingLoaded) {
    OpenReader reader;
    VellixDoc doc(VELLIX_DOC_DOC);
    VellixEntry entry;
    const auto expectNothing = [&] {
        EXPECT_FALSE(reader.getFirstDoc(doc) || doc.getFirstChildDoc(doc) || doc.getNextEntry(entry));
        EXPECT_FALSE(reader.readEntry(entry) || reader.isComplete());
        EXPECT_TRUE(std::unique_ptr<VellixDoc>(reader.readDoc(VELLIX_DOC_IMAGE))->isEmpty());
        EXPECT_EQ(slotsOf(reader.rootDoc()) + reader.getSessionID(), "");
    };
    EXPECT_EQ(reader.getXmlStr(), nullptr);
    expectNothing();
    EXPECT_FALSE(reader.load(nullptr) || reader.load(nullptr, 5));
    EXPECT_EQ(reader.getLastError(), VELLIX_ERR_NULL_ARGUMENT);
    EXPECT_TRUE(load(reader, ""));
    EXPECT_EQ(reader.getLastError(), VELLIX_SUCCESS);
    expectNothing();
    EXPECT_TRUE(load(reader, kFront + tagOf(20)));
    EXPECT_TRUE(reader.getFirstDoc(doc));
    EXPECT_FALSE(reader.load(dir.wide("missing.xml").c_str())) << "a failed load forgets the file before";
    expectNothing();
    EXPECT_EQ(reader.getLastError(), VELLIX_ERR_FILE_OPEN);
}

TEST_F(ReaderTest, NoTextAtAll) {
    VellixReader reader;
    VellixDoc doc(VELLIX_DOC_DOC);
    EXPECT_TRUE(reader.load(nullptr, 0));
    EXPECT_FALSE(reader.getFirstDoc(doc));
    EXPECT_EQ(reader.getLastError(), VELLIX_SUCCESS);
}

TEST_F(ReaderTest, LoadsAgain) {
    const std::string first = pageWithRoom(0) + tagOf(kPageSize, '2') + tagOf(30, '3');
    const std::string second = kHeader + R"(<CatResults ID="second"><ET NM="b"/>)";
    OpenReader reader;
    VellixDoc files(VELLIX_DOC_FH);
    VellixEntry entry;
    for (int pulls = 0; pulls < 5; ++pulls) { // on each page of the first file and at its end
        ASSERT_TRUE(load(reader, first));
        ASSERT_TRUE(reader.getFirstDoc(files));
        for (int i = 0; i < pulls; ++i) EXPECT_EQ(files.getNextEntry(entry), i < 3);
        writeFile(dir.file("second.xml"), second);
        ASSERT_TRUE(reader.load(dir.wide("second.xml").c_str()));
        EXPECT_EQ(reader.getSessionID(), "second");
        EXPECT_EQ(readToEnd(reader), std::vector<std::string>{"6=b"});
    }

    // A text takes only the place of the page that the walk has come to.
    ASSERT_TRUE(load(reader, first));
    ASSERT_TRUE(reader.getFirstDoc(files));
    EXPECT_TRUE(files.getNextEntry(entry));
    EXPECT_TRUE(files.getNextEntry(entry));
    const std::string text =
        "<ET NM='q/>\xE0<ET PT=\"c\"/>"; // only the page behind it tells that the first tag isn't cut
    ASSERT_TRUE(reader.load(text.data(), static_cast<unsigned long>(text.size())));
    EXPECT_EQ(reader.getSessionID(), "s");
    EXPECT_EQ(reader.position(), 0U);
    EXPECT_EQ(readToEnd(reader), (std::vector<std::string>{"6='q", "7=c", "6=" + std::string(19, '3')}));
}

TEST_F(ReaderTest, FileSizesAtThePageSize) {
    const std::string full = pageWithRoom(0);
    const struct {
        std::string file;
        std::size_t entries;
        std::size_t lastPage; // its length
    } cases[] = {{pageWithRoom(1), 1, kPageSize - 1},
                 {full, 1, kPageSize},
                 {full + " ", 1, 1},
                 {full + tagOf(kPageSize), 2, kPageSize},
                 {pageWithRoom(7) + tagOf(kPageSize + 7), 2, kPageSize},
                 {pageWithRoom(30) + std::string(30, ' ') + tagOf(40), 2, 40}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.file.size());
        OpenReader reader;
        ASSERT_TRUE(load(reader, c.file));
        EXPECT_EQ(readToEnd(reader).size() - 1, c.entries); // behind the document with attributes
        EXPECT_EQ(reader.pageLength(), c.lastPage);
        EXPECT_EQ(reader.position(), c.lastPage);
    }
}

// A record reads back the same wherever the page boundary falls in it or next to it.
TEST_F(ReaderTest, BoundaryAtEveryByteOfARecord) {
    const std::vector<std::string> records = {
        R"(<ET OP="5" NM="a.txt" SZ="12"/>)",
        R"(<ET NM="x>y/>z &amp; &quot;&#233;&#x41;" OP='1' PT='"' FP="'"/>)",
        "<ET NM=\"\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80\"  PT = \"\xf0\x9f\x98\x80\"\n>",
        R"(<ET OP=5 NM=word RT RST="1"/>)",
        R"(<ET FP="full" NM=a&amp;b SZ="5"/>)",
        R"(<ET NM="&broken;" OP="2"/>)",
        R"(<ET OP="1" == NM="n"/>)",
    };
    const std::string other = R"(<ET PT="next" RT="1"/>)";
    for (const std::string& record : records) {
        const std::string expected = valuesOf(record);
        for (std::size_t room = 0; room <= record.size() + 1; ++room) {
            const std::string front = pageWithRoom(room);
            std::vector<std::string> wanted = {expected, valuesOf(other)};
            if (expected.empty()) wanted.erase(wanted.begin());
            EXPECT_EQ(behindFirstEntry(front + record + other + kBack), wanted) << record << " with room " << room;
        }
    }
}

// Records of more than a page, with their ends at and around the boundaries.
TEST_F(ReaderTest, RecordsLongerThanAPage) {
    const std::string other = R"(<ET PT="next"/>)";
    for (const std::size_t room : {std::size_t{0}, std::size_t{7}, kPageSize / 2}) {
        for (std::size_t pages = 1; pages <= 3; ++pages) {
            for (std::size_t length = pages * kPageSize + room - 2; length <= pages * kPageSize + room + 2; ++length) {
                for (const char* unit : {"/>", "&lt;", "\xe2\x82\xac"}) {
                    std::string record = "<ET NM=\"";
                    while (record.size() + 20 < length) record += unit;
                    record += std::string(length - record.size() - 17, '.') + "\" PT=\"b\" OP=\"1\"/>";
                    EXPECT_TRUE(behindFirstEntry(pageWithRoom(room) + record + other + kBack) ==
                                (std::vector<std::string>{valuesOf(record), "7=next"}))
                        << room << ' ' << length << ' ' << unit;
                }
            }
        }
    }
}

// Tags with a quote that has no partner in more than 1 MB, each hidden from the search by a lead byte. They cost no record.
TEST_F(ReaderTest, RecordCutBehindTagsThatOnlySeemCut) {
    std::string odd;
    for (int i = 0; i < 100; ++i) odd += "\xE0<' NM=1>";
    const std::string good = R"(<ET NM="whole" PT="too"/>)";
    for (std::size_t room = 1; room < good.size(); ++room) {
        std::string front = pageWithRoom(odd.size() + 1 + room) + odd + '\xE0';
        std::vector<std::string> wanted(100, "6=1");
        wanted.emplace_back("6=whole; 7=too");
        wanted.emplace_back("6=last");
        EXPECT_EQ(behindFirstEntry(front + good + std::string(20 * kPageSize, 'x') + R"(<ET NM="last"/>)"), wanted)
            << room;
    }
}

// Whether it opens a close tag stands on the next page. The position is behind it, as in memory.
TEST_F(ReaderTest, BracketInsideATagThatEndsAPage) {
    const std::string tag = R"(<ET NM="a" <)";
    for (const char* next : {"/", "?"}) {
        OpenReader reader;
        VellixDoc files(VELLIX_DOC_FH);
        VellixEntry entry;
        ASSERT_TRUE(load(reader, pageWithRoom(tag.size()) + tag + next + R"(<ET NM="b"/>)"));
        EXPECT_TRUE(reader.getFirstDoc(files) && files.getNextEntry(entry) && files.getNextEntry(entry));
        EXPECT_EQ(slotsOf(entry), "6=a");
        EXPECT_EQ(reader.pageLength(), 13U);
        EXPECT_EQ(reader.position(), 1U);
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
}

TEST_F(ReaderTest, FrontCutAtEveryByte) {
    for (std::size_t length = 0; length <= kFront.size(); ++length) {
        const ExactBytes cut(kFront.substr(0, length));
        OpenReader reader;
        VellixDoc image(VELLIX_DOC_DOC);
        ASSERT_TRUE(reader.load(cut.data(), cut.size()));
        EXPECT_EQ(reader.isComplete(), length >= 56) << length;       // with the quote behind IC
        EXPECT_EQ(reader.getFirstDoc(image), length >= 71) << length; // with the name of the tag
    }
}

TEST_F(ReaderTest, EntriesThatYieldNothingOrPart) {
    const std::string text =
        R"(<CatResults><CatFH><ET/><ET NM="a"/><ET OP="1" "q" NM="b"/>text<ET PT="&bad;"/><ET PT="c">)"
        R"(</ET><Odd NM="d"/></CatFH><ET NM="e"/>)";
    VellixReader reader;
    VellixDoc files(VELLIX_DOC_FH);
    VellixEntry entry;
    ASSERT_TRUE(reader.load(text.data(), static_cast<unsigned long>(text.size())));
    ASSERT_TRUE(reader.getFirstDoc(files));
    for (const char* values : {"", "6=a", "0=1", "", "7=c", "", "6=d", "", "6=e", "", ""}) {
        EXPECT_EQ(files.getNextEntry(entry), *values != '\0') << values;
        EXPECT_EQ(slotsOf(entry), values);
    }
}

// Documents are looked for on the current page alone.
TEST_F(ReaderTest, DocumentOnALaterPage) {
    VellixReader reader;
    VellixDoc files(VELLIX_DOC_FH);
    VellixDoc section(VELLIX_DOC_FH_STRING_SECTION);
    VellixEntry entry;
    const std::string file = pageWithRoom(0) + R"(<ET NM="b"/></CatFH><CatFHStringSection OP="9">)";
    ASSERT_TRUE(load(reader, file));
    EXPECT_FALSE(reader.getNextDoc(section));
    ASSERT_TRUE(load(reader, file));
    ASSERT_TRUE(reader.getNextDoc(files));
    for (const bool found : {true, true, false}) EXPECT_EQ(files.getNextEntry(entry), found);
    EXPECT_TRUE(reader.getNextDoc(section));
    EXPECT_EQ(slotsOf(section), "0=9");
}

TEST_F(ReaderTest, DocumentsReadWithTheirContents) {
    struct Case {
        const char* name;
        const char* body;
        const char* text; // of the document then
        const char* rest; // what stands at the position
    };
    const Case cases[] = {
        {"entries and children", R"(<CatImage PT="1"><CatImage PT="2"/><CatFrag MV="3"/><CatFSE ST="4"/></CatImage>z)",
         R"(<CatImage PT="1"><CatFrag MV="3"/><CatFSE ST="4"/><CatImage PT="2"/></CatImage>)", "</CatImage>z"},
        {"closed", R"(<CatImage PT="1"/><CatImage PT="2"/>)", R"(<CatImage PT="1"/>)", R"(<CatImage PT="2"/>)"},
        {"behind a closed tag", R"(<CatDoc ID="1"/><CatImage PT="1"><CatImage PT="2"/>z)",
         R"(<CatImage PT="1"><CatImage PT="2"/></CatImage>)", ""},
        {"only what follows directly", R"(<CatImage PT="1"><CatDoc ID="1"/><CatImage PT="2"/>)",
         R"(<CatImage PT="1"/>)", R"(<CatDoc ID="1"/><CatImage PT="2"/>)"},
        {"children of a child", R"(<CatImage PT="1"><CatFrag MV="3"><CatFrag MV="4"/></CatFrag><CatFrag MV="5"/>)",
         R"(<CatImage PT="1"><CatFrag MV="3"/><CatFrag MV="4"/></CatImage>)", R"(</CatFrag><CatFrag MV="5"/>)"},
    };
    const std::string front = R"(<CatResults IC="0">)";
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const std::string text = front + c.body;
        auto reader = std::make_unique<OpenReader>();
        ASSERT_TRUE(reader->load(text.data(), static_cast<unsigned long>(text.size())));
        auto image = std::make_unique<VellixDoc>(VELLIX_DOC_IMAGE);
        EXPECT_TRUE(reader->getFirstDoc(*image));
        EXPECT_EQ(text.substr(reader->position()), c.rest);
        // The children live as long as any document that was filled with them.
        VellixDoc copy;
        copy = VellixDoc(*image);
        reader.reset();
        image.reset();
        std::string shown;
        copy.serialize(shown);
        EXPECT_EQ(shown, c.text);
    }
}

} // namespace
