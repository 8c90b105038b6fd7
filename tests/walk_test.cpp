// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "FileSupport.h"
#include "TempDir.h"
#include "WalkModel.h"

using namespace filetest;
using namespace walktest;
using vellix::Walk;
using vellix::WalkStatus;

namespace {

constexpr std::size_t kWindow = 64 * 1024; // what a walk sees of a file at once
constexpr std::size_t kLongestTag = 16 * 1024 * 1024;

std::vector<std::string> walked(Walk walk) { return shown(stepsOf(walk)); }

// The same bytes by every road.
class Walks : public testing::Test {
protected:
    std::vector<std::string> overFile(const std::string& text) {
        writeFile(dir.file("a.xml"), text);
        return walked(Walk(dir.file("a.xml")));
    }

    static std::vector<std::string> overPieces(const std::string& text, std::size_t most) {
        return walked(Walk::overPieces(piecesOf(text, [most] { return most; })));
    }

    // The tags of the entries and documents that the parts between the cuts give.
    static std::vector<std::string> tagsOf(const Walk& whole, std::vector<std::uint64_t> cuts,
                                           VELLIX_DOC_TYPE entriesOf) {
        std::vector<std::string> tags;
        std::sort(cuts.begin(), cuts.end());
        std::uint64_t begin = 0;
        cuts.push_back(whole.size());
        for (const std::uint64_t end : cuts) {
            Walk part = whole.part(begin, end, entriesOf);
            for (const vellix::Step& step : part) {
                if (step.kind() == StepKind::documentEnd) continue;
                tags.push_back(std::to_string(step.offset()));
                if (step.kind() == StepKind::entry) tags.back() += ' ' + slotsOf(step.attributes());
            }
            begin = end;
        }
        return tags;
    }

    TempDir dir;
};

TEST_F(Walks, RandomTextsAsTheModelSays) {
    RandomCatalog random(1);
    for (int round = 0; round < 5000; ++round) {
        const std::string text = random.next(12);
        const std::vector<std::string> expected = shown(Model(text).steps);
        const ExactBytes bytes(text);
        ASSERT_EQ(walked(Walk::overText({bytes.data(), bytes.size()})), expected) << text;
        const std::size_t most = 1 + random.below(5);
        ASSERT_EQ(walked(Walk::overPieces(piecesOf(text, [&] { return 1 + random.below(most); }))), expected) << text;
        if (round % 10 == 0) {
            ASSERT_EQ(overFile(text), expected) << text;
        }
    }
}

TEST_F(Walks, TheWindowEndsAtEveryByteOfARecord) {
    const std::string record =
        "<CatDoc ID=\"1\"><CatFH><ET NM=\"\xE9<b&amp;\" SZ=\"1\"/><!x><Other/><ET NM=\"b/></CatFH>";
    for (std::size_t room = 0; room <= record.size() + 1; ++room) {
        for (const char filling : {' ', '\xF0'}) {
            std::string text = "<CatResults><CatRes>";
            text.append(kWindow - room - text.size(), filling);
            text += record + "<RE NM=\"r\"/>";
            const std::vector<std::string> expected = shown(Model(text).steps);
            ASSERT_EQ(overFile(text), expected) << room;
            ASSERT_EQ(walked(Walk::overText(text)), expected) << room;
            ASSERT_EQ(overPieces(text, kWindow - 7), expected) << room;
        }
    }
}

TEST_F(Walks, PartsOfAnyTextAtEveryByte) {
    RandomCatalog random(2);
    for (int round = 0; round < 600; ++round) {
        const std::string text = random.next(10);
        const Walk whole = Walk::overText(text);
        std::vector<std::uint64_t> expected;
        for (const Seen& step : Model(text).steps) {
            if (step.kind != StepKind::documentEnd) expected.push_back(step.offset);
        }
        for (std::size_t cut = 0; cut <= text.size(); ++cut) {
            std::vector<std::uint64_t> found;
            for (const auto& [begin, end] : {std::pair(std::size_t{0}, cut), std::pair(cut, text.size())}) {
                Walk part = whole.part(begin, end);
                for (const vellix::Step& step : part) {
                    if (step.kind() != StepKind::documentEnd) found.push_back(step.offset());
                }
            }
            ASSERT_EQ(found, expected) << cut << ' ' << text;
        }
    }
}

// Values of any bytes, "<" behind lead bytes among them, records of several pages, and cuts anywhere.
TEST_F(Walks, PartsOfAFileThatWasWritten) {
    RandomText random(3);
    for (int round = 0; round < 20; ++round) {
        VellixWriter writer;
        VellixDoc image(VELLIX_DOC_DOC);
        VellixDoc files(VELLIX_DOC_FH);
        image.addAttribute(1, "\xF0");
        files.addAttribute(7, "a\xF0>\"\xF0");
        ASSERT_TRUE(writer.create(dir.wide("b.xml").c_str()));
        writer.addDoc(image);
        image.addChildDoc(files);
        std::vector<std::string> expected;
        for (std::size_t left = 40; left != 0; --left) {
            VellixEntry entry(VELLIX_DOC_FH);
            entry.addAttribute(6, random.next(8) + "\xF0\"><ET NM=&quot;x&quot;/><");
            if (random.below(4) == 0) entry.addAttribute(16, std::string(random.below(3) * 70000, '\xE0'));
            ASSERT_TRUE(files.addEntry(entry));
            expected.push_back(slotsOf(entry));
        }
        files.close();
        image.close();
        writer.close();

        const Walk whole(dir.file("b.xml"));
        std::vector<std::string> found;
        std::vector<std::uint64_t> cuts(1 + random.below(20));
        for (std::uint64_t& cut : cuts) cut = random.below(static_cast<std::size_t>(whole.size()) + 10);
        for (const std::string& tag : tagsOf(whole, cuts, VELLIX_DOC_FH)) {
            if (const std::size_t blank = tag.find(' '); blank != std::string::npos)
                found.push_back(tag.substr(blank + 1));
        }
        ASSERT_EQ(found, expected);
    }
}

// What the listing by image finds, however early its inner loop is left.
TEST_F(Walks, EntriesByImage) {
    RandomCatalog random(4);
    for (int round = 0; round < 5000; ++round) {
        const std::string text = random.next(16);
        const std::size_t most = random.below(4);
        std::string expected;
        std::size_t depth = std::string::npos; // of the image that is open
        std::size_t given = 0;
        for (const Seen& step : Model(text).steps) {
            const bool isTag = step.kind == StepKind::documentBegin || step.kind == StepKind::unreadable;
            if (depth == std::string::npos && isTag && step.type == VELLIX_DOC_DOC) {
                depth = step.depth;
                given = 0;
                expected += "image " + step.slots + '\n';
            } else if (step.kind == StepKind::documentEnd && step.depth == depth) {
                depth = std::string::npos;
            } else if (depth != std::string::npos && step.kind == StepKind::entry && step.type == VELLIX_DOC_FH) {
                if (given++ < most) expected += step.slots + '\n';
            }
        }
        std::string found;
        Walk walk = Walk::overText(text);
        for (const vellix::Document& image : walk.documents(VELLIX_DOC_DOC)) {
            found += "image " + slotsOf(image.attributes()) + '\n';
            std::size_t left = most;
            if (left == 0) continue;
            for (const VellixEntry& file : image.entries(VELLIX_DOC_FH)) {
                found += slotsOf(file) + '\n';
                if (--left == 0) break;
            }
        }
        ASSERT_EQ(found, expected) << text;
    }
}

TEST_F(Walks, SkipFromAnyStep) {
    RandomCatalog random(5);
    for (int round = 0; round < 5000; ++round) {
        const std::string text = random.next(16);
        const Model model(text);
        Walk walk = Walk::overText(text);
        std::size_t at = 0;
        while (const vellix::Step* const step = walk.next()) {
            ASSERT_LT(at, model.steps.size()) << text;
            ASSERT_EQ(seenAt(*step).shown(), model.steps[at].shown()) << text;
            const bool skips = random.below(3) == 0;
            if (skips) walk.skip();
            at = skips ? model.behindSkip(at) : at + 1;
        }
        ASSERT_EQ(at, model.steps.size()) << text;
    }
}

// What can't be opened, read on or cut into parts is told, and what comes in front of it is given.
TEST_F(Walks, WhatKeepsAWalkFromTheEnd) {
    for (const char* const name : {"missing", ""}) { // the second one is the directory
        Walk walk(dir.file(name));
        EXPECT_FALSE(walk);
        EXPECT_EQ(walk.error().status, WalkStatus::notOpened);
        EXPECT_TRUE(walk.error().system);
        EXPECT_EQ(walk.error().message().rfind("the file can't be opened: ", 0), 0U);
        EXPECT_EQ(walk.next(), nullptr);
        EXPECT_EQ(walk.part(0, 10).error().status, WalkStatus::notOpened);
    }
    const std::vector<Seen> steps = Model(kSample).steps;
    for (std::size_t length = 0; length <= kSample.size(); ++length) {
        Walk walk = Walk::overPieces([&, at = std::size_t{0}](char* out, std::size_t, std::error_code& error) mutable {
            if (at == length) error = std::make_error_code(std::errc::io_error);
            if (at != length) *out = kSample[at++];
            return std::size_t{error ? 0U : 1U};
        });
        std::size_t whole = 0; // steps whose tags stand in front of the failure
        const std::vector<Seen> given = stepsOf(walk);
        while (whole < given.size() && given[whole].shown() == steps[whole].shown()) ++whole;
        EXPECT_EQ(whole, given.size()) << length;
        const std::size_t tags = split(kSample.substr(0, length), ">").size() - 1;
        EXPECT_GE(given.size() + 1, tags) << length; // the header is no step
        EXPECT_EQ(walk.error().status, WalkStatus::notRead);
        EXPECT_EQ(walk.error().system, std::errc::io_error);
        EXPECT_EQ(walk.error().offset, length);
        EXPECT_EQ(walk.part(0, 10).error().status, WalkStatus::noParts);
    }
    Walk throwing = Walk::overPieces([at = 0](char* out, std::size_t room, std::error_code&) mutable {
        if (++at == 2) throw std::runtime_error("later");
        const std::size_t begin = at == 1 ? 0 : 120;
        return kSample.copy(out, std::min(room, at < 4 ? 120 - begin / 2 : 0), begin);
    });
    for (std::size_t i = 0; i < 3; ++i) EXPECT_NE(throwing.next(), nullptr);
    EXPECT_THROW(while (throwing.next() != nullptr){}, std::runtime_error);
    const vellix::Step* const next = throwing.next();
    EXPECT_TRUE(next != nullptr && next->name() == "ET" && slotsOf(next->attributes()) == "6=b.txt; 9=7");
}

TEST_F(Walks, WordsForWhatWentWrong) {
    using vellix::TagError;
    EXPECT_STREQ(vellix::tagErrorText(TagError::none), "");
    std::set<std::string> words;
    for (const TagError error :
         {TagError::badToken, TagError::badReference, TagError::cut, TagError::tooLong, TagError::tooDeep})
        words.insert(vellix::tagErrorText(error));
    const std::error_code reason = std::make_error_code(std::errc::io_error);
    for (const WalkStatus status :
         {WalkStatus::notOpened, WalkStatus::notRead, WalkStatus::shortened, WalkStatus::noParts})
        words.insert(vellix::WalkError{status, {}, 77}.message());
    EXPECT_EQ(words.size(), 9U);
    EXPECT_EQ(words.count(""), 0U);
    EXPECT_EQ((vellix::WalkError{WalkStatus::good, reason, 77}.message()), "");
    EXPECT_EQ((vellix::WalkError{WalkStatus::notRead, reason, 77}.message()),
              "reading failed at byte 77: " + reason.message());
}

TEST_F(Walks, WhatIsAroundAnEntry) {
    const std::string text = R"(<CatResults><CatDoc ID="1"><CatFH><ET NM="a"/><x><ET NM="b"/></x></CatFH></CatDoc>)";
    Walk walk = Walk::overText(text);
    walk.skip(); // before the first step there is nothing to pass over
    std::string names;
    for (const VellixEntry& entry : walk.entries()) names += entry.getAttribute(6);
    EXPECT_EQ(names, "ab");
    Walk again = Walk::overText(text);
    const vellix::Step* step = again.next();
    while (step != nullptr && step->kind() != vellix::StepKind::entry) step = again.next();
    ASSERT_NE(step, nullptr);
    ASSERT_NE(step->within(VELLIX_DOC_DOC), nullptr);
    EXPECT_EQ(step->within(VELLIX_DOC_DOC)->offset(), 12U);
    EXPECT_EQ(step->within(VELLIX_DOC_QUERY), nullptr);
    again.skip();
    again.skip();
    ASSERT_NE(step = again.next(), nullptr);
    EXPECT_EQ(step->type(), VELLIX_DOC_FH);
    for (const char* kind : {"CatResults", "CatDoc"}) { // which nothing ends but the text
        Walk unended = Walk::overText(text);
        while ((step = unended.next()) != nullptr && step->name() != kind) {
        }
        unended.skip();
        ASSERT_NE(step = unended.next(), nullptr) << kind;
        EXPECT_EQ(step->kind(), vellix::StepKind::documentEnd);
        EXPECT_EQ(step->name(), kind);
    }
    std::string kinds;
    Walk any = Walk::overText(text);
    for (const vellix::Document& document : any.documents()) {
        kinds += std::string(document.name()) + ' ';
        for (const vellix::Document& inner : document.documents()) kinds += std::string(inner.name()) + ' ';
    }
    EXPECT_EQ(kinds, "CatResults CatDoc ");
    EXPECT_EQ(Walk(dir.file("missing")).size(), 0U);
    EXPECT_EQ(Walk::overPieces(piecesOf(text, [] { return 1; })).size(), 0U);
}

TEST_F(Walks, AFileThatIsShortened) {
    writeFile(dir.file("a.xml"), "<CatFH>" + std::string(3 * kWindow, ' ') + "<ET NM=\"a\"/>");
    Walk walk(dir.file("a.xml"));
    EXPECT_NE(walk.next(), nullptr);
    std::filesystem::resize_file(dir.file("a.xml"), kWindow + 1);
    EXPECT_EQ(walk.next(), nullptr);
    EXPECT_EQ(walk.error().status, WalkStatus::shortened);
    EXPECT_EQ(walk.error().offset, kWindow + 1);
}

// A step is given as soon as its tag is whole, and the root is known from the start.
TEST_F(Walks, StreamsThatWaitForAnAnswer) {
    const std::vector<std::string> pieces = {"<?xml?><CatRes",
                                             "ults IC=\"1\" ID=\"s\"",
                                             ">",
                                             "<CatDoc ID=\"1\"",
                                             "><CatFH>",
                                             "<ET NM=\"a\"",
                                             " SZ=\"1\"/",
                                             ">",
                                             "</CatFH",
                                             ">"};
    std::size_t given = 0;
    Walk walk = Walk::overPieces([&](char* out, std::size_t, std::error_code&) {
        return given < pieces.size() ? pieces[given++].copy(out, 100) : 0;
    });
    EXPECT_TRUE(walk.isComplete());
    EXPECT_EQ(walk.sessionId(), "s");
    for (const std::size_t wanted : {3U, 5U, 5U, 8U, 10U}) {
        EXPECT_NE(walk.next(), nullptr);
        EXPECT_EQ(given, wanted);
    }
}

TEST_F(Walks, TheRoot) {
    const std::string far(65536, ' ');
    for (const auto& [text, root] :
         rowsOf("<CatResults IC=\"1\" ID=\"s\"> => +s | <a><catdoc IC='2'/> => + | <CatDoc ID=\"4\" IC=\"0\"> => -4"
                " | <CatFH><CatResults IC=\"1\"/> => - | <ET ID=\"1\"/> => - | x => -")) {
        Walk walk = Walk::overText(text);
        EXPECT_EQ((walk.isComplete() ? "+" : "-") + walk.sessionId(), root) << text;
        EXPECT_EQ(walk.part(1, 2).sessionId(), walk.sessionId());
    }
    EXPECT_FALSE(Walk::overText(far + "<CatDoc IC=\"1\"/>").isComplete());
    EXPECT_TRUE(Walk::overText(far.substr(1) + "<CatDoc IC=\"1\"/>").isComplete());
}

TEST_F(Walks, LongTags) {
    for (const std::size_t length : {kLongestTag, kLongestTag + 1, 2 * kLongestTag + kWindow}) {
        SCOPED_TRACE(length);
        const std::string front = "<CatFH>" + std::string(kWindow / 2, ' ');
        std::string tag = "<ET NM=\"a\" PT=\"";
        tag += std::string(length - tag.size() - 3, 'x') + "\"/>";
        const std::string text = front + tag + "<ET NM=\"b\"/></CatFH>";
        const std::vector<std::string> given = overPieces(text, 1000003);
        EXPECT_TRUE(walked(Walk::overText(text)) == given);
        EXPECT_TRUE(overFile(text) == given);
        std::vector<Seen> expected = Model(text).steps;
        ASSERT_EQ(given.size(), expected.size());
        if (length > kLongestTag) {
            expected[1].kind = StepKind::unreadable;
            expected[1].error = TagError::tooLong;
            expected[1].slots = "6=a"; // and what is read of the value that is cut
        }
        for (std::size_t i = 0; i < given.size(); ++i) EXPECT_EQ(given[i].rfind(expected[i].shown(), 0), 0U) << i;
    }
}

// Where no "<" is certain for long, stretches begin afresh, the same for all: a part needn't look back to the start.
TEST_F(Walks, StretchesWithoutACertainTag) {
    const std::string unit =
        "\xE0<a b=\"" + std::string(5000, 'x') + "\" c=\xE0<d e=\"" + std::string(5000, 'x') + "\">";
    std::string text((8 * kLongestTag - 1000) % unit.size(),
                     ' '); // so that the second stretch ends in front of the "<d"
    while (text.size() < 9 * kLongestTag) text += unit;
    Walk walk = Walk::overText(text);
    std::vector<std::uint64_t> expected;
    for (const vellix::Step& step : walk) expected.push_back(step.offset());
    for (std::size_t cut = 0; cut + kLongestTag / 2 < text.size(); cut += kLongestTag) {
        for (const std::size_t begin : {cut, cut + 4000, cut + 10000}) {
            std::vector<std::uint64_t> found;
            Walk part = walk.part(begin, begin + 2 * unit.size());
            for (const vellix::Step& step : part) found.push_back(step.offset());
            const auto first = std::lower_bound(expected.begin(), expected.end(), begin);
            EXPECT_TRUE(!found.empty() && std::equal(found.begin(), found.end(), first)) << begin;
        }
    }
}

TEST_F(Walks, DocumentsTooDeep) {
    std::string text = "<CatResults>";
    for (int i = 0; i < 100; ++i) text += i % 2 == 0 ? "<CatSpn>" : "<CatFH>";
    text += "<ET NM=\"lost\"/>";
    for (int i = 0; i < 50; ++i) text += "</CatFH></CatSpn>";
    for (int i = 0; i < 1000; ++i) text += "<br>"; // unknown elements take no room from documents
    text += "<CatFH><ET NM=\"found\"/></CatFH></CatResults>";
    Walk walk = Walk::overText(text);
    std::size_t begins = 0;
    std::size_t deepest = 0;
    std::string names;
    for (const vellix::Step& step : walk) {
        if (step.kind() == StepKind::documentBegin) ++begins;
        if (step.kind() == StepKind::entry) names += step.attributes().getAttributeStr(6);
        EXPECT_TRUE(step.error() != TagError::tooDeep || step.attributes().isEmpty());
        deepest = std::max(deepest, step.depth());
    }
    EXPECT_EQ(begins, 64U + 1U);
    EXPECT_EQ(walk.unreadableTags(), 37U + 1U);
    EXPECT_EQ(deepest, 64U);
    EXPECT_EQ(names, "found");
}

} // namespace
