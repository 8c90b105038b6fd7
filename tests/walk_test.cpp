// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstdint>
#include <filesystem>
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

} // namespace
