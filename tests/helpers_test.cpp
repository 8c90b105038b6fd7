// SPDX-License-Identifier: Apache-2.0
#include "vellix/CatImageCmdXmlFileHelper.h"
#include "vellix/CatQueryCriteriaHelper.h"

#include <algorithm>
#include <cstddef>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "FileSupport.h"
#include "TempDir.h"

using namespace filetest;

namespace {

class ImageCommands : public testing::Test {
protected:
    bool create(CatImageCmdXmlFileHelper& helper, const char* name) { return helper.create(dir.wide(name).c_str()); }
    bool load(CatImageCmdXmlFileHelper& helper, const char* name) { return helper.load(dir.wide(name).c_str()); }

    // A file without the time that its root was made at.
    std::string bytes(const char* name) const {
        std::string file = bytesOf(dir.file(name));
        const std::size_t id = file.find(" ID=\"") + 5;
        const std::size_t end = file.find_first_not_of("0123456789", id);
        EXPECT_EQ(file.substr(0, id), kHeader + R"(<CatResults IC="0" ID=")");
        EXPECT_GT(end, id + 8);
        return file.substr(end);
    }

    TempDir dir;
};

bool addCommand(CatImageCmdXmlFileHelper& helper, const std::string& name) {
    VellixEntry entry;
    entry.setType(VELLIX_DOC_SPN);
    entry.addAttribute(6, name);
    const bool added = helper.addImageCmd(entry);
    EXPECT_TRUE(!added || entry.getType() == VELLIX_DOC_FH);
    return added;
}

// All commands that are left, with the image id in front.
std::vector<std::string> commandsOf(CatImageCmdXmlFileHelper& helper) {
    std::vector<std::string> all = {helper.getImageId() == nullptr ? "(null)" : helper.getImageId()};
    VellixEntry entry;
    while (helper.getNextImageCmd(entry)) all.push_back(entry.toString());
    EXPECT_FALSE(helper.getFirstImageCmd(entry));
    return all;
}

const std::string kTwoCommands =
    R"("><CatDoc ID="42"><CatFH><ET NM="a.txt"/><ET NM="b&lt;"/></CatFH></CatDoc></CatResults>)";

TEST_F(ImageCommands, WritesAndReadsFileAfterFile) {
    CatImageCmdXmlFileHelper out;
    CatImageCmdXmlFileHelper in;
    out.setImageId("42");
    for (const char* name : {"a.xml", "b.xml"}) {
        ASSERT_TRUE(create(out, name));
        EXPECT_TRUE(addCommand(out, "a.txt"));
        EXPECT_TRUE(addCommand(out, "b<"));
        out.close();
        EXPECT_EQ(bytes(name), kTwoCommands);
        EXPECT_STREQ(out.getImageId(), "42");
        EXPECT_FALSE(addCommand(out, "late"));

        EXPECT_TRUE(load(in, name));
        EXPECT_EQ(commandsOf(in), (std::vector<std::string>{"42", R"(<ET NM="a.txt"/>)", R"(<ET NM="b&lt;"/>)"}));
    }
    out.setImageId(nullptr);
    ASSERT_TRUE(create(out, "c.xml"));
    EXPECT_TRUE(addCommand(out, "c"));
    out.setImageId("too late");
    ASSERT_TRUE(create(out, "d.xml")); // ends the file before
    EXPECT_EQ(bytes("c.xml"), R"("><CatDoc><CatFH><ET NM="c"/></CatFH></CatDoc></CatResults>)");
    EXPECT_TRUE(load(in, "c.xml"));
    EXPECT_EQ(commandsOf(in), (std::vector<std::string>{"(null)", R"(<ET NM="c"/>)"}));
}

TEST_F(ImageCommands, OutOfTurn) {
    CatImageCmdXmlFileHelper helper;
    VellixEntry entry;
    const auto expectIdle = [&] {
        EXPECT_FALSE(addCommand(helper, "a"));
        EXPECT_FALSE(helper.getFirstImageCmd(entry));
        EXPECT_FALSE(helper.getNextImageCmd(entry));
        EXPECT_EQ(CatImageCmdXmlFileHelper().getReadError(), VELLIX_SUCCESS);
        EXPECT_FALSE(helper.load(nullptr, 5));
        helper.close();
    };
    expectIdle();
    EXPECT_FALSE(create(helper, "no/such/directory.xml"));
    expectIdle();
    EXPECT_FALSE(load(helper, "missing.xml"));
    expectIdle();

    ASSERT_TRUE(create(helper, "empty.xml"));
    helper.close();
    EXPECT_EQ(bytes("empty.xml"), "\"/>");
    EXPECT_FALSE(load(helper, "empty.xml"));
    expectIdle();
    EXPECT_FALSE(helper.load("", 0));
    EXPECT_FALSE(helper.load(R"(<CatResults IC="0"><CatDoc ID="1">)", 34));
    expectIdle();

    ASSERT_TRUE(helper.load(kSample.data(), static_cast<unsigned long>(kSample.size())));
    EXPECT_TRUE(helper.getFirstImageCmd(entry));
    helper.close();
    EXPECT_STREQ(helper.getImageId(), "42");
    expectIdle();
}

// The tag of an image that was read goes into the next file, whole; a file under way keeps its own.
TEST_F(ImageCommands, ImageReadAndWritten) {
    const std::string loaded =
        R"(<CatResults><CatDoc IC="1" ID="read"><CatFH><ET NM="a"/></CatFH></CatDoc></CatResults>)";
    const std::string commands = R"(<CatFH><ET NM="b"/></CatFH></CatDoc></CatResults>)";
    const auto load = [&](CatImageCmdXmlFileHelper& helper) {
        EXPECT_TRUE(helper.load(loaded.data(), static_cast<unsigned long>(loaded.size())));
        EXPECT_STREQ(helper.getImageId(), "read");
    };
    const struct {
        const char* calls; // c is create, i is setImageId, a is addImageCmd, l is load, x is close
        const char* tag;
    } cases[] = {{"lca", R"(<CatDoc IC="1" ID="read">)"},
                 {"lica", R"(<CatDoc IC="1" ID="set">)"},
                 {"lxca", R"(<CatDoc IC="1" ID="read">)"},
                 {"icla", R"(<CatDoc ID="set">)"},
                 {"cla", "<CatDoc>"},
                 {"clia", R"(<CatDoc ID="set">)"},
                 {"ical", R"(<CatDoc ID="set">)"},
                 {"icalxca", R"(<CatDoc IC="1" ID="read">)"},
                 {"icalica", R"(<CatDoc ID="set">)"}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.calls);
        CatImageCmdXmlFileHelper helper;
        EXPECT_FALSE(helper.isIntact());
        for (const char* call = c.calls; *call != '\0'; ++call) {
            EXPECT_TRUE(*call != 'c' || create(helper, "a.xml"));
            if (*call == 'i') helper.setImageId("set");
            EXPECT_TRUE(*call != 'a' || addCommand(helper, "b"));
            if (*call == 'l') load(helper);
            if (*call == 'x') helper.close();
        }
        EXPECT_TRUE(helper.isIntact());
        helper.close();
        EXPECT_TRUE(helper.isIntact());
        EXPECT_EQ(bytes("a.xml"), "\">" + std::string(c.tag) + commands);
        EXPECT_FALSE(create(helper, "no/such/directory.xml") || helper.isIntact());
    }
}

// When there is something to stand on.
TEST_F(ImageCommands, WhatCanBeLoaded) {
    const struct {
        std::string text;
        bool loads;
    } cases[] = {{"<CatResults><CatDoc><CatFH></CatFH></CatDoc></CatResults>", true},
                 {"<CatResults><CatDoc/><CatFH/>", true},
                 {"<CatResults><CatFH><CatDoc>", false},
                 {"<CatResults><CatDoc/>", false},
                 {"<CatDoc><CatFH></CatFH></CatDoc>", false},
                 {"", false}};
    for (const auto& c : cases) {
        CatImageCmdXmlFileHelper helper;
        VellixEntry entry;
        EXPECT_EQ(helper.load(c.text.data(), static_cast<unsigned long>(c.text.size())), c.loads) << c.text;
        EXPECT_FALSE(helper.getNextImageCmd(entry));
        const std::string far =
            c.text.substr(0, 12) + std::string(65536, ' ') + c.text.substr(std::min<std::size_t>(12, c.text.size()));
        writeFile(dir.file("far.xml"), far);
        EXPECT_FALSE(load(helper, "far.xml"));
        EXPECT_EQ(helper.load(far.data(), static_cast<unsigned long>(far.size())), c.loads);
    }
}

class Query : public testing::Test {
protected:
    std::string textOf(CatQueryCriteriaHelper& query) {
        const char* text = query.serialize();
        return text == nullptr ? "(null)" : std::string(text, static_cast<std::size_t>(query.size()) - 1);
    }

    TempDir dir;
};

const std::string kQuery = R"(<?xml version="1.0" encoding="UTF-8"?><CatQuery Requester="job" RequestID="r1">)"
                           R"(<ReturnResultFormat/></CatQuery>)";

TEST_F(Query, TextToTheByte) {
    CatQueryCriteriaHelper query;
    for (const bool temporary : {true, false}) {
        SCOPED_TRACE(temporary);
        ASSERT_TRUE(query.create(temporary ? nullptr : dir.wide("query.xml").c_str()));
        EXPECT_EQ(query.size(), 1);
        VellixDoc format(VELLIX_DOC_RETURN_RESULT_FORMAT);
        query.setRequestId("r1");
        query.setRequester("job");
        EXPECT_TRUE(query.addDoc(format));
        query.setRequester("too late");
        format.close();
        const char* text = query.serialize();
        EXPECT_EQ(textOf(query), kQuery);
        EXPECT_EQ(query.serialize(), text);
        EXPECT_EQ(query.size(), static_cast<__int64>(kQuery.size()) + 1);
    }
    query.close();
    EXPECT_EQ(bytesOf(dir.file("query.xml")), kQuery);

    ASSERT_TRUE(query.create(nullptr));
    query.setRequestId("<1>");
    query.setRequester("job");
    query.setRequester(nullptr);
    EXPECT_EQ(textOf(query), kHeader + R"(<CatQuery RequestID="&lt;1&gt;"/>)");
}

TEST_F(Query, NoTextThatHasLostSomething) {
    CatQueryCriteriaHelper query;
    VellixDoc wanted(VELLIX_DOC_IMAGE_ATTRIBUTES);
    VellixEntry name(VELLIX_DOC_IMAGE_ATTRIBUTES);
    name.addAttribute(4, std::string(16U << 20, 'x'));
    EXPECT_FALSE(query.isIntact());
    ASSERT_TRUE(query.create(nullptr));
    EXPECT_TRUE(query.isIntact());
    query.addDoc(wanted);
    EXPECT_FALSE(wanted.addEntry(name));
    wanted.close();
    EXPECT_EQ(query.serialize(), nullptr);
    query.close();
    EXPECT_FALSE(query.isIntact());
    ASSERT_TRUE(query.create(nullptr));
    EXPECT_NE(query.serialize(), nullptr);
    query.close();
    EXPECT_TRUE(query.isIntact());
}

TEST_F(Query, OutOfTurn) {
    CatQueryCriteriaHelper query;
    VellixDoc doc(VELLIX_DOC_RETURN_RESULT_FORMAT);
    for (int time = 0; time < 2; ++time) {
        query.setRequester("job");
        query.setRequestId("r1");
        EXPECT_FALSE(query.addDoc(doc));
        EXPECT_EQ(query.serialize(), nullptr);
        EXPECT_EQ(query.size(), 0);
        query.close();
        EXPECT_FALSE(query.create(dir.wide("no/such/directory.xml").c_str()));
        EXPECT_EQ(query.serialize(), nullptr);
        EXPECT_EQ(query.size(), 1);
        query.close();
    }
}

} // namespace
