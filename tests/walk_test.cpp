// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <set>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "FileSupport.h"
#include "TempDir.h"
#include "WalkModel.h"

using namespace filetest;
using namespace walktest;
using vellix::WalkError;
using vellix::WalkStatus;

namespace {

constexpr std::size_t kWindow = 64 * 1024; // what a walk sees of a file at once

class Walks : public testing::Test {
protected:
    std::string faultIn(const std::string& text) {
        const ExactBytes bytes(text);
        return faultOf({bytes.data(), bytes.size()}, dir.file("a.xml"), [&](std::size_t n) { return random.below(n); });
    }

    RandomText random{1};
    TempDir dir;
};

// Steps, parts and calls in any order, over a text, a file and pieces.
TEST_F(Walks, RandomTextsAsTheModelSays) {
    for (int round = 0; round < 2000; ++round) {
        const std::string text = randomCatalog(random, 16);
        ASSERT_EQ(faultIn(text), "") << text;
    }
}

TEST_F(Walks, TheWindowEndsAtEveryByteOfARecord) {
    const std::string front = "<CatResults><CatRes>";
    const std::string record =
        "<CatDoc ID=\"1\"><CatFH><ET NM=\"\xE9<b&amp;\" SZ=\"1\"/><!x><Other/><ET NM=\"b/></CatFH><RE NM=\"r\"/>";
    for (std::size_t room = 0; room <= record.size(); ++room) {
        for (const char filling : {' ', '\xF0'})
            ASSERT_EQ(faultIn(front + std::string(kWindow - room - front.size(), filling) + record), "") << room;
    }
}

// Values of any bytes, "<" behind lead bytes among them, and records of several pages.
TEST_F(Walks, WhatAWriterHasWritten) {
    for (int round = 0; round < 20; ++round) {
        VellixWriter writer(VELLIX_DOC_FH);
        VellixDoc files(VELLIX_DOC_FH);
        files.addAttribute(7, "a\xF0>\"\xF0");
        ASSERT_TRUE(writer.create(dir.wide("b.xml").c_str()) && writer.addDoc(files));
        std::string expected;
        for (std::size_t left = 40; left != 0; --left) {
            VellixEntry entry(VELLIX_DOC_FH);
            entry.addAttribute(6, random.next(8) + "\xF0\"><ET NM=&quot;x&quot;/><");
            if (random.below(4) == 0) entry.addAttribute(16, std::string(random.below(3) * 70000, '\xE0'));
            ASSERT_TRUE(files.addEntry(entry));
            expected += slotsOf(entry) + '\n';
        }
        files.close();
        writer.close();
        Walk walk(dir.file("b.xml"));
        std::string found;
        for (const VellixEntry& entry : walk.entries()) found += slotsOf(entry) + '\n';
        ASSERT_TRUE(walk && found == expected);
        ASSERT_EQ(faultIn(bytesOf(dir.file("b.xml"))), "");
    }
}

// Tags of the longest length and above, and as many open ones as a walk keeps.
TEST_F(Walks, LongTags) {
    const std::string front = "<CatFH>" + std::string(kWindow / 2, ' ') + "<ET NM=\"a\" PT=\"";
    for (const std::size_t length : {kLongestTag, kLongestTag + 1, 2 * kLongestTag + kWindow}) {
        const std::string text = front + std::string(length - 18, 'x') + "\"/><ET NM=\"b\"/></CatFH>";
        const Model model(text);
        EXPECT_EQ(model.steps[1].kind, length == kLongestTag ? StepKind::entry : StepKind::unreadable);
        EXPECT_EQ(faultOf(Walk::overText(text), model), "");
        EXPECT_EQ(faultOf(Walk::overPieces(piecesOf(text, [] { return 1000003; })), model), "");
    }
    for (const std::size_t more : {0U, 1U}) {
        std::string text = "<CatDoc ID=\"" + std::string(kLongestTag - 14, 'x') + "\"><CatDoc ID=\"";
        text += std::string(kLongestTag - 14 - 7 + more, 'x') + "\"><CatFH>";
        const Model model(text);
        EXPECT_EQ(model.steps[2].kind, more == 0 ? StepKind::documentBegin : StepKind::unreadable);
        EXPECT_EQ(faultOf(Walk::overText(text), model), "");
    }
}

// Where no "<" is certain for long, stretches begin afresh, the same for all: a part needn't look back to the start.
TEST_F(Walks, StretchesWithoutACertainTag) {
    const std::string half(5000, 'x');
    const std::string unit = "\xE0<a b=\"" + half + "\" c=\xE0<d e=\"" + half + "\">";
    std::string text((8 * kLongestTag - 1000) % unit.size(), ' '); // the second stretch ends in front of a "<d"
    while (text.size() < 9 * kLongestTag) text += unit;
    Walk walk = Walk::overText(text);
    std::vector<std::uint64_t> expected;
    for (const Step& step : walk) expected.push_back(step.offset());
    for (std::size_t cut = 0; cut + kLongestTag / 2 < text.size(); cut += kLongestTag) {
        for (const std::size_t begin : {cut, cut + 4000, cut + 10000}) {
            auto next = std::lower_bound(expected.begin(), expected.end(), begin);
            Walk part = walk.part(begin, begin + 2 * unit.size());
            for (const Step& step : part) ASSERT_EQ(step.offset(), *next++) << begin;
            EXPECT_GE(*next, begin + 2 * unit.size());
        }
    }
}

// What can't be opened, read on or cut into parts is told, and what comes in front of it is given.
TEST_F(Walks, WhatKeepsAWalkFromTheEnd) {
    for (const char* const name : {"missing", ""}) { // the second one is the directory
        Walk walk(dir.file(name));
        EXPECT_TRUE(!walk && walk.error().system && walk.next() == nullptr && walk.size() == 0);
        EXPECT_EQ(walk.error().message().rfind("the file can't be opened: ", 0), 0U);
        EXPECT_EQ(walk.part(0, 10).error().status, WalkStatus::notOpened);
    }
    const std::vector<Seen> steps = Model(kSample).steps;
    for (std::size_t length = 0; length <= kSample.size(); ++length) {
        Walk walk = Walk::overPieces([&, at = std::size_t{0}](char* out, std::size_t, std::error_code& error) mutable {
            if (at == length) error = std::make_error_code(std::errc::io_error);
            return error ? 0 : kSample.copy(out, 1, at++);
        });
        std::size_t at = 0;
        for (const Step& step : walk) EXPECT_EQ(lineOf(step), steps.at(at++).line);
        EXPECT_GE(at + 1, split(kSample.substr(0, length), ">").size() - 1) << length; // the header is no step
        EXPECT_EQ(walk.error().status, WalkStatus::notRead);
        EXPECT_EQ(walk.error().system, std::errc::io_error);
        EXPECT_EQ(walk.error().offset, length);
        EXPECT_EQ(walk.part(0, 10).error().status, WalkStatus::noParts);
    }
}

// What the caller's function throws leaves the call, and the walk goes on where that has read.
TEST_F(Walks, AReadThatThrows) {
    for (std::size_t length = 120; length < kSample.size(); ++length) {
        bool hasThrown = false;
        Walk walk = Walk::overPieces([&, at = std::size_t{0}](char* out, std::size_t, std::error_code&) mutable {
            if (at == length && !std::exchange(hasThrown, true)) throw std::runtime_error("later");
            return kSample.copy(out, 1, at++);
        });
        const Model model(kSample);
        for (std::size_t at = 0; at < model.steps.size();) {
            const Step* step = nullptr;
            try {
                step = walk.next();
            } catch (const std::runtime_error&) {
                continue;
            }
            ASSERT_EQ(step != nullptr ? lineOf(*step) : "", model.steps[at++].line);
        }
        EXPECT_TRUE(hasThrown && walk.next() == nullptr && walk);
    }
}

TEST_F(Walks, AFileThatIsShortened) {
    writeFile(dir.file("a.xml"), "<CatFH>" + std::string(3 * kWindow, ' ') + "<ET NM=\"a\"/>");
    Walk walk(dir.file("a.xml"));
    EXPECT_NE(walk.next(), nullptr);
    std::filesystem::resize_file(dir.file("a.xml"), kWindow + 1);
    EXPECT_EQ(walk.next(), nullptr);
    EXPECT_EQ(walk.error().message(), "the file was shortened while it was read and ends at byte 65537");
}

// A step is given as soon as its tag is whole, and the root is known from the start.
TEST_F(Walks, StreamsThatWaitForAnAnswer) {
    const std::vector<std::string> pieces = split(
        "<?xml?><CatRes|ults IC=\"1\" ID=\"s\"|>|<CatDoc ID=\"1\"|><CatFH>|<ET NM=\"a\"| SZ=\"1\"/|>|</CatFH|>", "|");
    std::size_t given = 0;
    Walk walk = Walk::overPieces([&](char* out, std::size_t, std::error_code&) {
        return given < pieces.size() ? pieces[given++].copy(out, 100) : 0;
    });
    EXPECT_TRUE(walk.isComplete() && walk.sessionId() == "s" && walk.size() == 0);
    for (const std::size_t wanted : {3U, 5U, 5U, 8U, 10U}) EXPECT_TRUE(walk.next() != nullptr && given == wanted);
}

TEST_F(Walks, TheRoot) {
    for (const auto& [text, root] :
         rowsOf("<CatResults IC=\"1\" ID=\"s\"> => +s | <a><catdoc IC='2'/> => + | <CatDoc ID=\"4\" IC=\"0\"> => -4"
                " | <CatFH><CatResults IC=\"1\"/> => - | <ET ID=\"1\"/> => - | x => -")) {
        const Walk walk = Walk::overText(text);
        const Walk part = walk.part(1, 2);
        EXPECT_EQ((walk.isComplete() ? "+" : "-") + walk.sessionId(), root) << text;
        EXPECT_EQ((part.isComplete() ? "+" : "-") + part.sessionId(), root) << text;
    }
    for (const std::size_t front : {65535U, 65536U})
        EXPECT_EQ(Walk::overText(std::string(front, ' ') + "<CatDoc IC=\"1\"/>").isComplete(), front == 65535U);
}

TEST_F(Walks, WordsForWhatWentWrong) {
    std::set<std::string> words;
    for (int error = 0; error <= static_cast<int>(TagError::tooDeep); ++error)
        words.insert(vellix::tagErrorText(static_cast<TagError>(error)));
    const std::error_code reason = std::make_error_code(std::errc::io_error);
    for (int status = 0; status <= static_cast<int>(WalkStatus::noParts); ++status)
        words.insert(WalkError{static_cast<WalkStatus>(status), {}, 77}.message());
    EXPECT_EQ(words.size(), 6U + 5U - 1U); // no word for either kind of success
    EXPECT_EQ(words.count(""), 1U);
    EXPECT_EQ((WalkError{WalkStatus::good, reason, 77}.message()), "");
    EXPECT_EQ((WalkError{WalkStatus::notRead, reason, 77}.message()), "reading failed at byte 77: " + reason.message());
}

TEST_F(Walks, WhatIsWithinWhat) {
    Walk walk = Walk::overText("<CatResults><CatDoc ID=\"1\"><CatImage><CatImage><CatImage NM=\"a\"/>");
    const Step* step = nullptr;
    while ((step = walk.next())->kind() != StepKind::entry) EXPECT_EQ(step->within(VELLIX_DOC_QUERY), nullptr);
    EXPECT_EQ(step->within(VELLIX_DOC_IMAGE)->depth(), 3U);
    EXPECT_EQ(step->within(VELLIX_DOC_RESULTS)->depth(), 0U);
}

} // namespace
