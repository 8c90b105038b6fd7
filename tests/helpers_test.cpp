// SPDX-License-Identifier: Apache-2.0
#include "vellix/CatImageCmdXmlFileHelper.h"
#include "vellix/CatQueryCriteriaHelper.h"

#include <cstddef>
#include <filesystem>
#include <functional>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "FileSupport.h"
#include "TempDir.h"

using namespace filetest;

namespace {

class ImageCommands : public testing::Test {
protected:
    bool create(const char* name) { return helper.create(dir.wide(name).c_str()); }
    bool load(const char* name) { return helper.load(dir.wide(name).c_str()); }
    bool loadText(const std::string& text) { return helper.load(text.data(), static_cast<unsigned long>(text.size())); }

    bool add(const std::string& name) {
        VellixEntry entry;
        entry.setType(VELLIX_DOC_SPN);
        entry.addAttribute(6, name);
        return helper.addImageCmd(entry) && entry.getType() == VELLIX_DOC_FH;
    }

    // What stands in a file behind the time that its root was made at.
    std::string bytes(const char* name) const {
        const std::string file = bytesOf(dir.file(name));
        const std::string front = kHeader + R"(<CatResults IC="0" ID=")";
        EXPECT_EQ(file.substr(0, front.size()), front);
        const std::size_t end = file.find_first_not_of("0123456789", front.size());
        EXPECT_GE(end, front.size() + 10);
        return file.substr(end);
    }

    TempDir dir;
    CatImageCmdXmlFileHelper helper;
};

TEST_F(ImageCommands, WritesAndReadsFileAfterFile) {
    helper.setImageId("42");
    EXPECT_TRUE(create("a.xml") && add("a.txt") && add("b\xF0\"><"));
    EXPECT_TRUE(create("b.xml")); // ends the file before
    EXPECT_EQ(bytes("a.xml"), R"("><CatDoc ID="42"><CatFH><ET NM="a.txt"/><ET NM="b)"
                              "\xF0\"><\"/></CatFH></CatDoc></CatResults>");
    EXPECT_TRUE(load("a.xml"));
    EXPECT_STREQ(helper.getImageId(), "42");
    VellixEntry entry;
    EXPECT_TRUE(helper.getFirstImageCmd(entry) && entry.getAttributeStr(6) == "a.txt");
    EXPECT_TRUE(helper.getNextImageCmd(entry) && entry.getAttributeStr(6) == "b\xF0\"><");
    EXPECT_FALSE(helper.getNextImageCmd(entry) || helper.getFirstImageCmd(entry));
    helper.close();
    EXPECT_EQ(bytes("b.xml"), "\"/>");
    EXPECT_STREQ(helper.getImageId(), "42");
    EXPECT_TRUE(create("c.xml") && add("c") && helper.isIntact());
    std::error_code refused; // by some systems
    std::filesystem::resize_file(dir.file("c.xml"), 1000, refused);
    helper.close();
    EXPECT_EQ(helper.isIntact(), refused != std::error_code());
}

TEST_F(ImageCommands, OutOfTurn) {
    VellixEntry entry;
    const std::string apart = "<CatResults>" + std::string(65536, ' ') + "<CatDoc/><CatFH/>";
    writeFile(dir.file("far.xml"), apart);
    const std::pair<std::function<bool()>, int> refused[] = {
        {[] { return false; }, VELLIX_SUCCESS}, // nothing has been tried
        {[&] { return helper.load(nullptr, 5); }, VELLIX_ERR_NULL_ARGUMENT},
        {[&] { return create("no/such/directory.xml"); }, VELLIX_SUCCESS},
        {[&] { return load("missing.xml"); }, VELLIX_ERR_FILE_OPEN},
        {[&] { return create("a.xml") && (helper.close(), load("a.xml")); }, VELLIX_SUCCESS}, // an empty file
        {[&] { return loadText("<CatResults><CatFH><CatDoc>"); }, VELLIX_SUCCESS},
        {[&] { return loadText("<CatResults><CatDoc/>"); }, VELLIX_SUCCESS},
        {[&] { return loadText("<CatDoc><CatFH></CatFH></CatDoc>"); }, VELLIX_SUCCESS},
        {[&] { return !loadText(apart) || load("far.xml"); }, VELLIX_SUCCESS}, // a text counts as one page
        {[&] { return loadText(kSample) && helper.getFirstImageCmd(entry) && (helper.close(), false); },
         VELLIX_SUCCESS},
    };
    for (const auto& c : refused) {
        SCOPED_TRACE(&c - refused);
        EXPECT_FALSE(c.first());
        EXPECT_FALSE(add("a") || helper.getFirstImageCmd(entry) || helper.getNextImageCmd(entry));
        EXPECT_EQ(helper.getReadError(), c.second);
        helper.close();
        EXPECT_FALSE(add("a"));
    }
    EXPECT_STREQ(helper.getImageId(), "42");
}

// The tag of an image that was read goes into the next file, whole; a file under way keeps its own.
TEST_F(ImageCommands, ImageReadAndWritten) {
    const std::string loaded =
        R"(<CatResults><CatDoc IC="1" ID="read"><CatFH><ET NM="a"/></CatFH></CatDoc></CatResults>)";
    // c is create, i and n are setImageId, a is addImageCmd, l is load, x is close.
    for (const auto& [calls, attributes] :
         rowsOf(R"(lca =>  IC="1" ID="read" | lica =>  IC="1" ID="set" | lxca =>  IC="1" ID="read" | cla =>  | )"
                R"(icla =>  ID="set" | clia =>  ID="set" | ical =>  ID="set" | icalica =>  ID="set" | )"
                R"(icalxca =>  IC="1" ID="read" | icanxca =>  | ican =>  ID="set")")) {
        SCOPED_TRACE(calls);
        CatImageCmdXmlFileHelper one;
        EXPECT_FALSE(one.isIntact());
        VellixEntry entry = fileEntry("b");
        for (const char call : calls) {
            EXPECT_TRUE(call != 'c' || one.create(dir.wide("a.xml").c_str()));
            EXPECT_TRUE(call != 'a' || one.addImageCmd(entry));
            EXPECT_TRUE(call != 'l' || one.load(loaded.data(), static_cast<unsigned long>(loaded.size())));
            if (call == 'i' || call == 'n') one.setImageId(call == 'i' ? "set" : nullptr);
            if (call == 'x') one.close();
            EXPECT_TRUE(call != 'l' || one.getImageId() == std::string("read"));
            EXPECT_TRUE(call != 'n' || one.getImageId() == nullptr);
        }
        EXPECT_TRUE(one.isIntact());
        one.close();
        EXPECT_TRUE(one.isIntact());
        EXPECT_EQ(bytes("a.xml"), "\"><CatDoc" + attributes + R"(><CatFH><ET NM="b"/></CatFH></CatDoc></CatResults>)");
        EXPECT_FALSE(one.create(dir.wide("no/such/directory.xml").c_str()) || one.isIntact());
    }
}

class Query : public testing::Test {
protected:
    TempDir dir;
    CatQueryCriteriaHelper query;
};

TEST_F(Query, TextToTheByte) {
    std::string whole;
    for (const bool named : {false, true}) {
        whole = kHeader + (named ? "<CatQuery Requester=\"job\"" : "<CatQuery") +
                R"( RequestID="&lt;1&gt;"><ReturnResultFormat/></CatQuery>)";
        ASSERT_TRUE(query.create(named ? dir.wide("query.xml").c_str() : nullptr));
        EXPECT_EQ(query.size(), 1);
        VellixDoc format(VELLIX_DOC_RETURN_RESULT_FORMAT);
        query.setRequestId("<1>");
        query.setRequester("job");
        if (!named) query.setRequester(nullptr);
        EXPECT_TRUE(query.addDoc(format));
        query.setRequester("too late");
        format.close();
        const char* const text = query.serialize();
        ASSERT_EQ(query.size(), static_cast<__int64>(whole.size()) + 1);
        EXPECT_EQ(std::string(text, whole.size()), whole);
        EXPECT_EQ(query.serialize(), text);
    }
    query.close();
    EXPECT_EQ(bytesOf(dir.file("query.xml")), whole);
}

TEST_F(Query, NoTextThatHasLostSomething) {
    for (const std::size_t length : {std::size_t{1}, std::size_t{16} << 20, std::size_t{2}}) {
        const bool loses = length > 2;
        VellixDoc wanted(VELLIX_DOC_IMAGE_ATTRIBUTES);
        VellixEntry name(VELLIX_DOC_IMAGE_ATTRIBUTES);
        name.addAttribute(4, std::string(length, 'x'));
        EXPECT_TRUE(query.create(nullptr) && query.isIntact() && query.addDoc(wanted));
        EXPECT_NE(wanted.addEntry(name), loses);
        wanted.close();
        EXPECT_EQ(query.serialize() == nullptr, loses);
        query.close();
        EXPECT_NE(query.isIntact(), loses);
    }
}

TEST_F(Query, OutOfTurn) {
    VellixDoc doc(VELLIX_DOC_RETURN_RESULT_FORMAT);
    for (const bool failed : {false, true, false}) {
        EXPECT_FALSE(failed && query.create(dir.wide("no/such/directory.xml").c_str()));
        query.setRequester("job");
        query.setRequestId("r1");
        EXPECT_EQ(query.addDoc(doc), failed);
        EXPECT_EQ(query.serialize(), nullptr);
        EXPECT_EQ(query.size(), failed ? 1 : 0);
        EXPECT_FALSE(query.isIntact());
        doc.setWriter(nullptr);
        query.close();
    }
}

} // namespace
