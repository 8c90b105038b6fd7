// SPDX-License-Identifier: Apache-2.0
#include "vellix/VellixWriter.h"

#include <cstring>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "FileSupport.h"
#include "TempDir.h"

using namespace filetest;

namespace {

class WriterTest : public testing::Test {
protected:
    bool create(VellixWriter& writer, const char* name = "a.xml") { return writer.create(dir.wide(name).c_str()); }
    std::string bytes(const char* name = "a.xml") const { return bytesOf(dir.file(name)); }

    // The file that a writer with a root of `type` makes, once `fill` has had its way with it.
    std::string fileFrom(VELLIX_DOC_TYPE type, const std::function<void(VellixWriter&)>& fill) {
        VellixWriter writer(type);
        EXPECT_TRUE(create(writer));
        fill(writer);
        writer.close();
        return bytes();
    }

    TempDir dir;
};

bool writeText(VellixWriter& writer, const std::string& text) {
    return writer.write(text.c_str(), static_cast<unsigned long>(text.size()));
}

// Adds a document with nothing in it and closes it.
void addEmptyDoc(VellixWriter& writer, VELLIX_DOC_TYPE type) {
    VellixDoc doc(type);
    EXPECT_TRUE(writer.addDoc(doc));
    doc.close();
}

// Every record is in the file when its call returns, and the mark comes only at the end.
TEST_F(WriterTest, WritesTheSampleFileCallByCall) {
    VellixWriter writer;
    VellixDoc image(VELLIX_DOC_DOC);
    VellixDoc files(VELLIX_DOC_FH);
    VellixEntry first = fileEntry("a.txt", 12);
    VellixEntry second = fileEntry("b.txt", 7);
    image.addAttribute(1, "42");

    const auto expectWritten = [&](std::size_t length) {
        EXPECT_EQ(writer.size(), static_cast<__int64>(length + 1));
        EXPECT_EQ(bytes(), kSample.substr(0, length));
    };
    EXPECT_EQ(writer.size(), 1);
    ASSERT_TRUE(create(writer));
    expectWritten(0);
    EXPECT_TRUE(writer.getRootDoc().addAttribute(1, "1700000000"));
    writer.markComplete();
    EXPECT_TRUE(writer.addDoc(image));
    expectWritten(73);
    EXPECT_TRUE(image.addChildDoc(files));
    expectWritten(89);
    EXPECT_TRUE(files.addEntry(first));
    expectWritten(120);
    EXPECT_TRUE(files.addEntry(second));
    expectWritten(143);
    files.close();
    expectWritten(151);
    image.close();
    expectWritten(160);
    writer.close();
    EXPECT_EQ(bytes(), marked(kSample));
    EXPECT_EQ(writer.size(), 174);

    writer.close(); // writes nothing more
    EXPECT_EQ(bytes(), marked(kSample));
}

TEST_F(WriterTest, PageRule) {
    struct Step {
        std::size_t length;
        std::size_t end; // position behind the record
    };
    struct Case {
        const char* name;
        std::vector<Step> steps;
    };
    const std::size_t p = kPageSize;
    const std::vector<Case> cases = {
        {"ends on the boundary",
         {{p - 536, p - 536}, {536, p}, {20, p + 20}, {p - 20, 2 * p}, {p, 3 * p}, {1, 3 * p + 1}}},
        {"one byte too long", {{p - 36, p - 36}, {37, p + 37}}},
        {"ends behind the boundary", {{p - 36, p - 36}, {100, p + 100}, {p - 100, 2 * p}}},
        {"a whole page at 0", {{p, p}, {1, p + 1}}},
        {"a whole page at 1", {{1, 1}, {p, 2 * p}, {p, 3 * p}}},
        {"longer than a page",
         {{100, 100}, {70000, p + 70000}, {10, p + 70010}, {2 * p - 70010, 3 * p}, {1, 3 * p + 1}}},
        {"several pages",
         {{10, 10}, {3 * p + 5, 4 * p + 5}, {7, 4 * p + 12}, {p, 5 * p + 12}, {7, 5 * p + 19}, {p - 19, 6 * p}}},
        {"several pages, then two entries without text",
         {{10, 10}, {2 * p + 5, 3 * p + 5}, {0, 3 * p + 5}, {0, 3 * p + 5}, {p - 1, 5 * p - 1}}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        std::string expected;
        const std::string file = fileFrom(VELLIX_DOC_NONE, [&](VellixWriter& writer) {
            for (const Step& step : c.steps) {
                const std::string record(step.length, static_cast<char>('a' + expected.size() % 26));
                if (record.empty()) {
                    EXPECT_FALSE(writer.write(VellixEntry(VELLIX_DOC_NONE)));
                    continue;
                }
                EXPECT_TRUE(writeText(writer, record)) << "record of " << step.length;
                EXPECT_EQ(writer.size(), static_cast<__int64>(step.end) + 1) << "record of " << step.length;
                if (step.end > expected.size() + step.length) expected.resize(step.end - step.length, ' ');
                expected += record;
            }
        });
        EXPECT_TRUE(file == expected) << "the file differs in its bytes";
    }
}

// The length places the record, and the text alone is what is written.
TEST_F(WriterTest, LengthsThatLie) {
    const std::string file = fileFrom(VELLIX_DOC_NONE, [](VellixWriter& writer) {
        EXPECT_TRUE(writer.write("abc", 1) && writer.write("def", kPageSize - 3)); // just fits
        EXPECT_EQ(writer.size(), 7);
        EXPECT_FALSE(writer.write("", 0) || writer.write(nullptr, 3));
        EXPECT_EQ(writer.getLastError(), VELLIX_ERR_NULL_ARGUMENT);
        EXPECT_TRUE(writer.write("ghi", kPageSize - 5)); // one too many
        EXPECT_FALSE(writer.write("", kPageSize));       // writes nothing, but the page is over
        EXPECT_TRUE(writer.write("j", 1));
    });
    EXPECT_TRUE(file == "abcdef" + std::string(kPageSize - 6, ' ') + "ghi" + std::string(kPageSize - 3, ' ') + "j");
}

TEST_F(WriterTest, HeaderDecision) {
    const struct {
        VELLIX_DOC_TYPE root;
        std::vector<VELLIX_DOC_TYPE> docs;
        std::string expected;
    } cases[] = {
        {VELLIX_DOC_RESULTS, {}, kHeader + R"(<CatResults IC="0" ID="7"/>)"},
        {VELLIX_DOC_RESULTS,
         {VELLIX_DOC_FH, VELLIX_DOC_DOC},
         kHeader + R"(<CatResults IC="0" ID="7"><CatFH/><CatDoc/></CatResults>)"},
        {VELLIX_DOC_QUERY, {}, kHeader + "<CatQuery/>"},
        {VELLIX_DOC_FH, {}, "<CatFH/>"},
        {VELLIX_DOC_FH, {VELLIX_DOC_DOC}, kHeader + "<CatFH><CatDoc/></CatFH>"},
        {VELLIX_DOC_FH, {VELLIX_DOC_ET, VELLIX_DOC_DOC}, "<CatFH><ET/><CatDoc/></CatFH>"},
        {VELLIX_DOC_NONE, {}, ""},
    };
    for (const auto& c : cases) {
        const std::string file = fileFrom(c.root, [&](VellixWriter& writer) {
            if (c.root == VELLIX_DOC_RESULTS) writer.getRootDoc().addAttribute(1, "7");
            for (const VELLIX_DOC_TYPE type : c.docs) addEmptyDoc(writer, type);
            if (c.root == VELLIX_DOC_RESULTS && !c.docs.empty()) writer.getRootDoc().addAttribute(1, "too late");
        });
        EXPECT_EQ(file, c.expected);
    }
}

TEST_F(WriterTest, RootAttributesFromADocument) {
    const auto rootFrom = [](const VellixDoc& doc) { return slotsOf(VellixWriter(doc).getRootDoc()); };
    VellixDoc results(VELLIX_DOC_RESULTS);
    const std::string stamped = rootFrom(results);
    EXPECT_EQ(stamped.substr(0, 7), "0=0; 1=");
    EXPECT_EQ(stamped.find_first_not_of("0123456789", 7), std::string::npos);
    results.addAttribute(1, "mine");
    EXPECT_EQ(rootFrom(results), "1=mine");
    EXPECT_EQ(rootFrom(VellixDoc(VELLIX_DOC_DOC)), "");
}

// What comes before `create` is lost, and what is lost is not written again.
TEST_F(WriterTest, AddingBeforeCreate) {
    VellixWriter writer;
    VellixDoc image(VELLIX_DOC_DOC);
    VellixDoc files(VELLIX_DOC_FH);
    VellixEntry entry = fileEntry("a");
    EXPECT_TRUE(writer.addDoc(image));
    EXPECT_TRUE(image.addChildDoc(files));
    EXPECT_FALSE(files.addEntry(entry));
    EXPECT_EQ(writer.size(), 1);
    ASSERT_TRUE(create(writer));
    EXPECT_TRUE(files.addEntry(entry));
    files.close();
    image.close();
    writer.markComplete();
    writer.close();
    EXPECT_EQ(bytes(), R"(<ET NM="a"/></CatFH></CatDoc></CatResults>)");
    EXPECT_FALSE(writer.isIntact());
    EXPECT_EQ(writer.getLastError(), VELLIX_ERR_BAD_HANDLE);
}

TEST_F(WriterTest, CreateWhileAFileIsUnderWay) {
    VellixWriter writer;
    ASSERT_TRUE(create(writer));
    addSample(writer);
    EXPECT_FALSE(writer.create(nullptr) || create(writer, "other.xml") || writer.create());
    EXPECT_EQ(writer.getLastError(), VELLIX_ERR_FILE_OPEN);
    writer.markComplete();
    writer.close();
    EXPECT_EQ(bytes(), marked(kSample));
    EXPECT_THROW(bytes("other.xml"), std::runtime_error);
}

// How the order of the calls decides about the file and its mark. c is create, f fills the file with the sample, x is
// close, r is reset, m is markComplete, s is serialize, y is sync.
TEST_F(WriterTest, OrderOfCalls) {
    const struct {
        const char* calls;
        bool isMarked;
        int code = VELLIX_SUCCESS;
    } cases[] = {
        {"cfmx", true},
        {"cfms", true},
        {"cfxmx", true},
        {"cfxms", true},
        {"cfmxs", true},
        {"cfmss", true},
        {"mcfx", true},
        {"cfx", false},
        {"cfs", false},
        {"cfxs", false},
        {"cfymyx", true},
        {"cfxm", false},
        {"cfxrfs", false},
        {"cfrfs", false},
        {"cfxcfs", false},
        {"xcfs", false},
        {"cxrfs", false},
        {"cmfxrfs", true},
        {"cfxmrfs", true},
        {"cfsmrfs", true},
        {"cfmscfs", true},
        {"cfmxrfx", true},
        {"cfsmx", false, VELLIX_ERR_NOT_MAPPED},
        {"cfsms", false, VELLIX_ERR_NOT_MAPPED},
        {"cfxsmx", false, VELLIX_ERR_NOT_MAPPED},
        {"mxcfs", true, VELLIX_ERR_FILE_OPEN},
        {"ycfs", false, VELLIX_ERR_FILE_OPEN},
        {"cfxys", false, VELLIX_ERR_FILE_OPEN},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.calls);
        writeFile(dir.file("a.xml"), std::string(1000, 'x')); // whatever was there is emptied
        VellixWriter writer;
        EXPECT_FALSE(writer.write("lost", 4));
        const char* view = nullptr;
        for (const char* call = c.calls; *call != '\0'; ++call) {
            EXPECT_TRUE(*call != 'c' || create(writer));
            EXPECT_TRUE(*call != 'r' || writer.reset());
            if (*call == 'f') addSample(writer);
            EXPECT_TRUE(*call != 'y' || writer.sync() == (call != c.calls && call[-1] != 'x'));
            EXPECT_FALSE(*call == 'f' && writer.write("", 0)); // an empty record doesn't count against the mark
            if (*call == 'x') writer.close();
            if (*call == 'm') writer.markComplete();
            if (*call == 's') {
                EXPECT_TRUE(call[-1] != 's' || view == writer.serialize()) << "the file was mapped again";
                view = writer.serialize();
            }
        }
        const std::string expected = c.isMarked ? marked(kSample) : kSample;
        EXPECT_EQ(bytes(), expected);
        EXPECT_EQ(writer.size(), 174);
        EXPECT_TRUE(view == nullptr || std::string(view, 173) == expected);
        EXPECT_EQ(writer.getLastError(), c.code);
        EXPECT_TRUE(writer.isIntact());
    }
}

// The mark is stored where the file begins as a marked one must, and nowhere else.
TEST_F(WriterTest, MarkOnlyWhereThereIsOne) {
    const struct {
        const char* name;
        VELLIX_DOC_TYPE root;
        const char* tag; // of an attribute of the root
        const char* value;
        std::string record; // in front of the first document
        std::size_t mark;   // where it is set, 0 for nowhere
    } cases[] = {
        {"results", VELLIX_DOC_RESULTS, "IC", "0", "", 54},
        {"another digit", VELLIX_DOC_RESULTS, "IC", "7", "", 54},
        {"two digits", VELLIX_DOC_RESULTS, "IC", "20", "", 0},
        {"no digit", VELLIX_DOC_RESULTS, "IC", "x", "", 0},
        {"an empty value", VELLIX_DOC_RESULTS, "IC", "", "", 0},
        {"no IC", VELLIX_DOC_RESULTS, "IC", nullptr, "", 0},
        {"results behind a record", VELLIX_DOC_RESULTS, "IC", "0", "<!-- -->", 0},
        {"image document", VELLIX_DOC_DOC, "IC", "0", "", 50},
        {"query", VELLIX_DOC_QUERY, "Requester", "0000", "", 0},
        {"files with a header", VELLIX_DOC_FH, "OP", "0", "", 0},
        {"files, in the look of results", VELLIX_DOC_FH, "OP", "0", kHeader + R"(<CatResults IC="0")", 0},
        {"no root", VELLIX_DOC_NONE, "OP", "0", kHeader + R"(<CatResults IC="0")", 0},
        {"results behind others", VELLIX_DOC_RESULTS, "IC", "0", kHeader + R"(<CatResults IC="0" ID="1">)", 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const auto fileWith = [&](bool mark) {
            return fileFrom(c.root, [&](VellixWriter& writer) {
                VellixDoc& root = writer.getRootDoc();
                if (c.root == VELLIX_DOC_RESULTS) root.addAttribute(1, "900");
                root.addAttribute(c.tag, static_cast<unsigned int>(std::strlen(c.tag)), c.value);
                writeText(writer, c.record);
                addEmptyDoc(writer, VELLIX_DOC_DOC);
                if (!mark) return;
                writer.markComplete();
                writer.close();
                EXPECT_EQ(writer.getLastError(), c.mark != 0 ? VELLIX_SUCCESS : VELLIX_ERR_SYNTAX);
                EXPECT_TRUE(writer.isIntact());
                EXPECT_EQ(std::string(writer.serialize(), static_cast<std::size_t>(writer.size() - 1)), bytes());
            });
        };
        std::string expected = fileWith(false);
        if (c.mark != 0) expected.at(c.mark) = '1';
        EXPECT_EQ(fileWith(true), expected);
    }
}

// The root may become another one than it was made as. Its own IC counts, where it stands in the file.
TEST_F(WriterTest, MarkOfARootThatChanged) {
    VellixDoc image(VELLIX_DOC_DOC);
    image.addAttribute(0, 0, false);
    image.addAttribute(1, "nightly");
    const struct {
        const char* name;
        std::function<void(VellixDoc&)> before;
        std::function<void(VellixDoc&)> behind; // the root's tag
        std::string file;
        int code;
    } cases[] = {
        {"assigned", [&](VellixDoc& root) { root = image; }, {}, R"(<CatDoc IC="1" ID="nightly">)", 0},
        {"retyped", [](VellixDoc& root) { root.setType(VELLIX_DOC_DOC); }, {}, R"(<CatDoc IC="1" ID="7">)", 0},
        {"without IC",
         [](VellixDoc& root) { root.setType(VELLIX_DOC_FH); },
         {},
         R"(<CatFH OP="0" RT="7">)",
         VELLIX_ERR_SYNTAX},
        {"taken away",
         [](VellixDoc& root) { root.setType(VELLIX_DOC_NONE); },
         {},
         R"(<CatDoc IC="0" ID="nightly"/>)",
         VELLIX_ERR_SYNTAX},
        {"too late", {}, [&](VellixDoc& root) { root = image; }, R"(<CatResults IC="1" ID="7">)", 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        VellixWriter writer;
        ASSERT_TRUE(create(writer));
        writer.getRootDoc().addAttribute(1, "7");
        if (c.before) c.before(writer.getRootDoc());
        VellixDoc added(image);
        writer.addDoc(added);
        added.close();
        if (c.behind) c.behind(writer.getRootDoc());
        writer.markComplete();
        writer.close();
        EXPECT_EQ(bytes().substr(0, kHeader.size() + c.file.size()), kHeader + c.file);
        EXPECT_EQ(writer.getLastError(), c.code);
    }
}

// No reader takes a tag of more than 16 MiB, so none is acknowledged: not from a caller, nor from a document that was held.
TEST_F(WriterTest, EntriesTooLongToBeRead) {
    const std::string longest((16U << 20) - 11, 'x'); // <ET NM=""/>
    for (const bool tooLong : {false, true}) {
        for (const char* way : {"streamed", "held", "in a child"}) {
            SCOPED_TRACE(way);
            std::optional<VellixWriter> alive(std::in_place);
            VellixWriter& writer = *alive;
            VellixDoc image(VELLIX_DOC_DOC);
            VellixDoc files(VELLIX_DOC_FH);
            VellixDoc parent(VELLIX_DOC_DOC);
            VellixEntry entry = fileEntry(longest + (tooLong ? "x" : ""));
            VellixEntry next = fileEntry("next");
            image.addAttribute(1, "42");
            ASSERT_TRUE(create(writer));
            writer.addDoc(image);
            if (*way == 'i') {
                files.addEntry(entry);
                parent.addChildDoc(files);
                image.addChildDoc(parent);
                parent.setWriter(nullptr);
                VellixDoc holder(VELLIX_DOC_FH);
                holder.addChildDoc(parent);
                image.addChildDoc(holder);
                holder.close();
            } else {
                if (*way == 'h') files.addEntry(entry);
                image.addChildDoc(files);
                EXPECT_NE(files.addEntry(*way == 'h' ? next : entry), tooLong && *way == 's');
                files.close();
            }
            image.close();
            EXPECT_EQ(writer.getLastError(), tooLong ? VELLIX_ERR_OUT_OF_RANGE : VELLIX_SUCCESS);
            EXPECT_NE(writer.isIntact(), tooLong);
            writer.markComplete();
            writer.close();
            const std::string file = bytes();
            EXPECT_EQ(file[kMarkAt], tooLong ? '0' : '1');
            EXPECT_NE(file.find(longest) != std::string::npos, tooLong);
            std::vector<std::string> expected;
            if (!tooLong) expected.push_back("6=" + longest);
            if (*way == 'h') expected.emplace_back("6=next");
            alive.reset(); // which has the marked file open, and Windows lets nobody else read it
            EXPECT_TRUE(*way == 'i' || readByDocuments(dir.wide("a.xml")) == expected);
        }
    }
}

TEST_F(WriterTest, DocumentTagTooLongToBeRead) {
    VellixWriter writer;
    VellixDoc image(VELLIX_DOC_DOC);
    VellixEntry entry = fileEntry("a.txt");
    image.addAttribute(1, std::string(16U << 20, 'x'));
    ASSERT_TRUE(create(writer));
    writer.addDoc(image);
    EXPECT_FALSE(image.addEntry(entry));
    EXPECT_FALSE(writer.isIntact());
    EXPECT_FALSE(image.writeCloseTag());
    EXPECT_FALSE(image.writeCloseTag());
    writer.markComplete();
    writer.close();
    EXPECT_EQ(bytes()[kMarkAt], '0');
}

// The file on which another writer of the process begins is that one's from then on.
TEST_F(WriterTest, TwoWritersOnOneFile) {
    for (const bool late : {false, true}) {
        VellixWriter first;
        VellixWriter second;
        VellixEntry entry = fileEntry("b.txt", 7);
        ASSERT_TRUE(create(first));
        addSample(first);
        if (late) first.close();
        ASSERT_TRUE(create(second));
        addSample(second); // as long as the other's
        EXPECT_FALSE(first.isIntact());
        EXPECT_FALSE(first.write(entry) || first.write("text", 4));
        EXPECT_EQ(first.getLastError(), late ? VELLIX_ERR_FILE_OPEN : VELLIX_ERR_BAD_HANDLE);
        first.markComplete();
        first.setError(VELLIX_SUCCESS);
        EXPECT_EQ(first.serialize(), nullptr);
        EXPECT_EQ(first.getLastError(), VELLIX_ERR_FILE_OPEN);
        EXPECT_EQ(bytes(), kSample.substr(0, 160));
        EXPECT_TRUE(second.isIntact());
        if (late) {
            second.markComplete();
            second.close();
            EXPECT_EQ(bytes(), marked(kSample));
            continue;
        }
        second.close();
        first.reset(); // and now it is the first one's again
        EXPECT_TRUE(!second.isIntact() && first.isIntact());
    }
}

TEST_F(WriterTest, RemapInADerivedClass) {
    OpenWriter writer;
    EXPECT_FALSE(writer.remap(0)); // nothing is there to be seen
    EXPECT_EQ(writer.getLastError(), VELLIX_SUCCESS);
    EXPECT_FALSE(writer.remap(1));
    EXPECT_EQ(writer.getLastError(), VELLIX_ERR_FILE_OPEN);
    ASSERT_TRUE(create(writer));
    addSample(writer);
    writer.close();
    EXPECT_TRUE(writer.remap(10));
    EXPECT_FALSE(writer.remap(10));
    EXPECT_FALSE(writer.remap(9) || writer.remap(10));
    EXPECT_TRUE(writer.remap(11) && writer.remap(0));
    EXPECT_FALSE(writer.remap(0) || writer.remap(173));
    EXPECT_TRUE(writer.remap(174)); // more than there is: asked for, and not to be had
    EXPECT_EQ(writer.getLastError(), VELLIX_ERR_NOT_MAPPED);
    writer.markComplete();
    EXPECT_EQ(writer.serialize(), nullptr);
    EXPECT_EQ(bytes(), kSample);
}

} // namespace
