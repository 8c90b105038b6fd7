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

TEST_F(Walks, TheWindowEndsAtEveryByteOfARecord) {
    const std::string front = "<CatResults><CatRes>";
    const std::string record =
        "<CatDoc ID=\"1\"><CatFH><ET NM=\"\xE9<b&amp;\" SZ=\"1\"/><!x><Other/><ET NM=\"b/></CatFH><RE NM=\"r\"/>";
    for (std::size_t room = 0; room <= record.size(); ++room) {
        for (const char filling : {' ', '\xF0'})
            ASSERT_EQ(faultIn(front + std::string(kWindow - room - front.size(), filling) + record), "") << room;
    }
}

// At each limit, and above it: tags of 16 MiB, 64 documents in each other, and 32 MiB of tags that are open.
TEST_F(Walks, TagsTooLongAndDocumentsTooDeep) {
    const std::string longest(kLongestTag - 14, ' ');
    std::vector<std::pair<std::string, std::uint64_t>> texts; // and how many of the tags can't be read
    for (const std::size_t more : {0U, 1U}) {
        std::string many;
        for (std::size_t i = 0; i < 64 + more; ++i) many += "<CatFH>";
        texts.emplace_back(many + "<x><ET/>", 3 * more);
        texts.emplace_back("<CatFH>" + std::string(more * kWindow / 2, ' ') + "<ET NM=\"123" + longest +
                               std::string(more, 'x') + "\"/><ET/>",
                           more);
        texts.emplace_back("<CatDoc ID=\"" + longest + "\"><CatDoc ID=\"" + longest.substr(7 - more) + "\"><CatFH>",
                           more);
    }
    texts.emplace_back("<ET NM=\"a\" PT=\"" + longest + longest + std::string(kWindow, 'x') + "\"/>", 1);
    for (const auto& [text, unreadable] : texts) {
        Walk walk = Walk::overText(text);
        for (const Step& step : walk) EXPECT_LE(step.depth(), 64U);
        EXPECT_EQ(walk.unreadableTags(), unreadable);
        EXPECT_EQ(Calls(Walk::overPieces(piecesOf(text, [] { return 1000003; })), Model(text), takeSteps).fault(), "");
    }
}

// Where no "<" is certain for long, stretches begin afresh, the same for all: a part needn't look back to the start. The
// second one ends inside a tag, in front of a "<" and behind it.
TEST_F(Walks, StretchesWithoutACertainTag) {
    const std::string half(5000, 'x');
    const std::string unit = "\xE0<a b=\"" + half + "\" c=\xE0<d e=\"" + half + "\">";
    for (const std::size_t inside : {1000U, 7000U}) {
        std::string text((8 * kLongestTag - inside) % unit.size(), ' ');
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
}

// What can't be opened, cut into parts or read to its end is told.
TEST_F(Walks, FilesThatFail) {
    for (const char* const name : {"missing", ""}) { // the second one is the directory
        Walk walk(dir.file(name));
        EXPECT_TRUE(!walk && walk.error().system && walk.next() == nullptr && walk.size() == 0);
        EXPECT_EQ(walk.error().message().rfind("the file can't be opened: ", 0), 0U);
        EXPECT_EQ(walk.part(0, 10).error().status, WalkStatus::notOpened);
    }
    writeFile(dir.file("a.xml"), "<CatFH>" + std::string(3 * kWindow, ' ') + "<ET NM=\"a\"/>");
    Walk walk(dir.file("a.xml"));
    EXPECT_TRUE(walk.next() != nullptr && walk);
    std::filesystem::resize_file(dir.file("a.xml"), kWindow + 1);
    EXPECT_EQ(walk.next(), nullptr);
    EXPECT_EQ(walk.error().message(), "the file was shortened while it was read and ends at byte 65537");
    std::filesystem::resize_file(dir.file("a.xml"), 0xFFFFFFFF); // which looks like a failed query
    EXPECT_EQ(Walk(dir.file("a.xml")).size(), 0xFFFFFFFF);
}

// Byte by byte: a step is given as soon as its tag is whole. A read that fails is told behind the steps in front of it, and
// what a read throws leaves the call, which can be made again.
TEST_F(Walks, StreamsThatWaitFailAndThrow) {
    const std::vector<Seen> steps = Model(kSample).steps;
    for (std::size_t failing = 0; failing <= kSample.size(); ++failing) {
        const bool throws = failing >= 120; // behind the root, and so not from the constructor
        std::size_t read = 0;
        bool isGood = true;
        Walk walk = Walk::overPieces([&](char* out, std::size_t, std::error_code& error) {
            if (read == failing && std::exchange(isGood, false) && throws) throw std::runtime_error("once");
            if (read == failing && !throws) error = std::make_error_code(std::errc::io_error);
            return error ? 0 : kSample.copy(out, 1, read++);
        });
        const auto next = [&] {
            try {
                return walk.next();
            } catch (const std::runtime_error&) {
                return walk.next();
            }
        };
        std::size_t at = 0;
        while (const Step* const step = next()) {
            ASSERT_EQ(lineOf(*step), steps.at(at).line);
            EXPECT_TRUE(step->kind() == StepKind::documentEnd || read == steps[at].offset + steps[at].length);
            EXPECT_EQ(step->within(VELLIX_DOC_DOC), step->depth() > 1 ? &step->around(1) : nullptr);
            ++at;
        }
        EXPECT_TRUE(at == steps.size() || steps[at].offset + steps[at].length > failing) << failing;
        EXPECT_EQ(walk.error().status, throws ? WalkStatus::good : WalkStatus::notRead);
        EXPECT_EQ(walk.error().offset, throws ? 0 : failing);
        EXPECT_EQ(walk.error().system == std::errc::io_error, !throws);
        EXPECT_EQ(walk.part(0, 10).error().status, WalkStatus::noParts);
    }
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
    const std::error_code reason = std::make_error_code(std::errc::io_error);
    std::set<std::string> words; // none for either kind of success
    for (int i = 0; i <= static_cast<int>(TagError::tooDeep); ++i)
        words.insert(vellix::tagErrorText(static_cast<TagError>(i)));
    for (int i = 0; i <= static_cast<int>(WalkStatus::noParts); ++i)
        words.insert(WalkError{static_cast<WalkStatus>(i), i == 0 ? reason : std::error_code(), 77}.message());
    EXPECT_EQ(words.size(), 10U);
    EXPECT_EQ(*words.begin(), "");
    EXPECT_EQ((WalkError{WalkStatus::notRead, reason, 77}.message()), "reading failed at byte 77: " + reason.message());
}

} // namespace
