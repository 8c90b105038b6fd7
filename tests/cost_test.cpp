// SPDX-License-Identifier: Apache-2.0
// What reading and writing cost, counted and not timed: the library's code is compiled so that each piece of it that runs
// counts one, and what works on a run of bytes counts those. Twice the bytes may cost twice as much.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <new>
#include <numeric>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <malloc.h>

#include "FileSupport.h"
#include "TempDir.h"
#include "vellix/VellixWalk.h"

using namespace filetest;
using namespace std::string_literals;

namespace {

std::uint64_t steps = 0;
std::size_t heldBytes = 0;
std::size_t requests = 0;

// Shapes of hostile text: a front, and a unit again and again up to the size that is asked for.
using Shapes = std::vector<std::pair<std::string, std::string>>;

const Shapes kShapes = rowsOf(
    // no end of a value, of a tag, of what is quoted
    "<ET NM=\" => x | <ET NM=\" => / | <ET  => \" | <ET NM= => \"' | <ET =>  \"a\" | <ET => > | <ET => = |  => < | "
    " => <ET NM=\"a | "
    // references, and what looks like some
    "<ET NM=\" => &lt; | <ET NM=\"&# => 1 | <ET NM=\" => & | "
    // characters of more than a byte, and NUL
    "<ET NM=\" => \xF0 | <ET NM=\" => \x80 | <ET =>  \xE0\"< | <ET NM=\" => \0 |  => <ET NM=\"\0\"/> | "
    // tags hidden by characters and quotes, one by the next
    " => \xE0<\xE1\xF0y=\"> |  => \xE0<\" NM=1> |  => NM=\xF0<'&lt; |  => \xE0<\"/> | "
    // many of something
    "<ET =>  NM=\"a\" | <ET =>  a=b |  => <ET NM=\"a&amp;b\" SZ=\"1\"/> |  => <CatFH> |  => <a> | "
    " => <aaaaaaaaaaaaaaaa></aaaaaaaaaaaaaaab> | <CatImage PT=\"1\"> => <CatImage PT=\"2\"><CatFrag MV=\"3\"/>"s);

std::string textOf(const Shapes::value_type& shape, std::size_t size) {
    std::string text = shape.first;
    while (text.size() < size) text += shape.second;
    return text;
}

unsigned long lengthOf(const std::string& text) { return static_cast<unsigned long>(text.size()); }

class Cost : public testing::Test {
protected:
    using Job = std::function<void(const std::string& text)>;

    static std::uint64_t costOf(const Job& job, const std::string& text = "") {
        const std::uint64_t before = steps;
        job(text);
        return steps - before;
    }

    // Each shape at one size and twice that.
    static void expectLinear(const Job& job, const Shapes& shapes = kShapes) {
        constexpr std::size_t kSize = 4 * kPageSize;
        for (const auto& shape : shapes) {
            SCOPED_TRACE(testing::PrintToString(shape.first + shape.second));
            const std::uint64_t once = costOf(job, textOf(shape, kSize));
            EXPECT_LE(once, kMostPerByte * kSize);
            EXPECT_LE(costOf(job, textOf(shape, 2 * kSize)), once * 22 / 10);
        }
    }

    static constexpr std::uint64_t kMostPerByte = 2000; // of all that a test does
    TempDir dir;
};

// All tokens of a text, and one tag; and many, where each call gets the whole rest of the text.
TEST_F(Cost, TokensAndTags) {
    expectLinear([](const std::string& text) {
        XmlStr cursor;
        cursor.buffer = text.data();
        cursor.length = lengthOf(text);
        const std::size_t before = requests;
        while (cursor.position < cursor.length) {
            if (xmlNextToken(&cursor).kind == VELLIX_TOKEN_EOF) ++cursor.position; // at a NUL
        }
        EXPECT_EQ(requests, before);
    });
    expectLinear([](const std::string& text) {
        VellixEntry entry(VELLIX_DOC_FH);
        entry.parseAttrXMLString(text.data(), lengthOf(text));
        std::free(VellixEntry::parseAttribute(VELLIX_DOC_FH, 7, text.data(), lengthOf(text), true));
        std::free(VellixEntry::parseAttributeFast_str(VELLIX_DOC_FH, 7, text.c_str(), true));
        const std::string pattern = text.substr(text.size() / 4, text.size() / 2) + '!';
        VellixEntry::attr_strstr(text.c_str(), pattern.c_str());
    });
    const auto readEach = [](const std::string& tags) {
        VellixEntry entry(VELLIX_DOC_FH);
        for (std::size_t at = tags.find('<'); at < tags.size(); at = tags.find('<', at + 1)) {
            const char* const rest = tags.data() + at;
            const auto length = static_cast<unsigned long>(tags.size() - at);
            EXPECT_EQ(entry.parseAttrXMLString(rest, length), VELLIX_SUCCESS);
            EXPECT_EQ(shown(MallocText(VellixEntry::parseAttribute(VELLIX_DOC_FH, 9, rest, length, true))), "1");
        }
    };
    expectLinear(readEach, {{"", "<ET NM=\"a&amp;b\" SZ=\"1\"/>\xC3\xA9"}});
}

// Attributes in the form in which they are written are read without tokens, by an entry and by a reader.
TEST_F(Cost, UsualAttributesTakeTheQuickRoad) {
    const std::string usual = R"(<ET NM="a" PT="b" SZ="1" CT="2"/>)";
    const std::string other = R"(<ET NM= "a" PT= "b" SZ= "1" CT= "2"/>)";
    VellixEntry entry(VELLIX_DOC_FH);
    const Job byEntry = [&](const std::string& tag) { entry.parseAttrXMLString(tag.data(), lengthOf(tag)); };
    byEntry(usual); // which takes the memory that is needed
    EXPECT_LE(2 * costOf(byEntry, usual), costOf(byEntry, other));

    // A reader takes no memory for quotes that it finds.
    std::string text = "<CatResults>";
    for (int i = 0; i < 400; ++i) text += usual + other + "<ET NM= \"" + std::string(500, 'x') + "\"/>";
    OpenReader reader;
    reader.load(text.data(), lengthOf(text));
    const Job byReader = [&](const std::string&) { EXPECT_TRUE(reader.readEntry(entry)); };
    const std::uint64_t cost = costOf(byReader);
    EXPECT_LE(2 * cost, costOf(byReader));
    for (int i = 2; i < 100; ++i) byReader("");
    const std::size_t before = requests;
    for (int i = 100; i < 1200; ++i) byReader("");
    EXPECT_EQ(requests, before) << "notes are for quotes that are looked for in vain";
}

TEST_F(Cost, DocumentsAndReaders) {
    expectLinear([](const std::string& text) {
        VellixDoc doc;
        doc.load(text);
        std::string out;
        doc.serialize(out);
        OpenReader reader;
        reader.load(text.data(), lengthOf(text));
        VellixDoc image(VELLIX_DOC_IMAGE);
        while (reader.getNextDoc(image)) image.clear();
        reader.load(text.data(), lengthOf(text));
        readToEnd(reader);
    });
}

TEST_F(Cost, ReaderOverFile) {
    const Job read = [&](const std::string& text) {
        writeFile(dir.file("a.xml"), kHeader + "<CatResults IC=\"0\">" + text);
        OpenReader reader;
        reader.load(dir.wide("a.xml").c_str());
        readToEnd(reader);
    };
    expectLinear(read);
    const std::string longest = textOf(kShapes[0], 17U << 20); // longer than any tag that is read
    EXPECT_LE(costOf(read, longest), kMostPerByte * longest.size());
}

// All steps of a text, of pieces as small as they can be and of a part, and what is passed over.
TEST_F(Cost, Walks) {
    expectLinear([](const std::string& text) {
        const auto goThrough = [](vellix::Walk walk) {
            while (walk.next() != nullptr) continue;
        };
        goThrough(vellix::Walk::overText(text));
        goThrough(vellix::Walk::overText(text).part(text.size() / 2, text.size(), VELLIX_DOC_FH));
        goThrough(vellix::Walk::overPieces([&, at = std::size_t{0}](char* out, std::size_t, std::error_code&) mutable {
            if (at == text.size()) return std::size_t{0};
            *out = text[at++];
            return std::size_t{1};
        }));
        vellix::Walk passed = vellix::Walk::overText(text);
        while (passed.next() != nullptr) passed.skip();
        vellix::Walk others = vellix::Walk::overText(text);
        EXPECT_TRUE(others.entries(VELLIX_DOC_SPN).begin() == others.entries(VELLIX_DOC_SPN).end());
    });
}

TEST_F(Cost, TextsThatAreWritten) {
    expectLinear([&](const std::string& text) {
        VellixEntry entry(VELLIX_DOC_FH);
        entry.addAttribute(6, text);
        entry.toString();
        entry.encodingAttributes();
        std::free(xmlEncode(text.c_str(), nullptr, -1));
        EXPECT_LE(costOf([&](const std::string&) { std::free(xmlEncode(text.c_str(), nullptr, 100)); }), 20000U);
        std::free(xmlDecode(text.data(), lengthOf(text)));
        VellixWriter writer;
        writer.create(dir.wide("a.xml").c_str());
        writer.write(entry);
        VellixEntry small(VELLIX_DOC_FH);
        small.addAttribute(6, text.substr(0, 100));
        for (std::size_t i = 0; i < text.size() / 100; ++i) writer.write(small);
    });
}

// --- Memory ---

constexpr unsigned short kIds[] = {6, 7, 19, 37, 64};
const std::string kLarge(1U << 20, 'x');
const std::string kMarkup(100, '<');

// An entry that is used again and again, in each round with texts of other lengths of a list.
class Usage {
public:
    explicit Usage(const std::vector<std::size_t>& ofTexts) : lengths(ofTexts) { play('c'); }

    // Plays a round of calls. s sets five values and a number, m five of markup, o one of them, and S makes all texts small from
    // there on; r removes one, n goes on to the next one, c clears; p parses a tag, d one that is decoded to little, b one that is
    // refused; a assigns an entry, k becomes a packed copy of one, t lets another be assigned; g gets strings, e escapes.
    void play(const char* calls) {
        isSmall = false;
        while (*calls != '\0') play(*calls++);
        ++round;
        ++turn;
    }

    VellixEntry entry;

private:
    void play(char call) {
        if (call == 'S') isSmall = true;
        if (call == 's' || call == 'm') setAll(call == 'm');
        if (call == 'o') setOne(kIds[turn % 5], kIds[(turn + 2) % 5]);
        if (call == 'r') entry.removeAttribute(kIds[turn % 5]);
        if (call == 'n') ++turn;
        if (call == 'c') entry.clear();
        if (call == 'c') entry.setType(VELLIX_DOC_FH);
        if (call == 'p' || call == 'd' || call == 'b') parse(call);
        if (call == 'a' || call == 'k') assign(call == 'k');
        if (call == 't') last = entry;
        if (call == 'e') entry.encodingAttributes();
        for (const unsigned short id : kIds) {
            const char* const value = entry.getAttribute(id);
            EXPECT_TRUE(call != 'g' || entry.getAttributeStr(id) == (value != nullptr ? value : ""));
        }
    }

    const char* text(unsigned int i) const {
        const std::size_t length = isSmall ? 5 : lengths[round * (i + 1) % lengths.size()];
        return kLarge.c_str() + kLarge.size() - length;
    }

    void setAll(bool markup) {
        for (unsigned int i = 0; i < 5; ++i)
            entry.addAttribute(kIds[i], markup ? kMarkup.c_str() + round % 50 * (i % 3) : text(i));
        entry.addAttribute(9, 1U << round % 32, false);
    }

    void setOne(unsigned short id, unsigned short other) {
        const char* const stays = entry.getAttribute(other);
        entry.addAttribute(id, text(0));
        EXPECT_EQ(entry.getAttribute(other), stays);
    }

    void parse(char kind) {
        const std::size_t before = requests;
        std::string value = text(0);
        if (kind == 'd') value = "&#" + value.assign(value.size(), '0') + "65;";
        if (kind == 'b') value += "&bad;";
        const std::string tag = "<ET NM=\"" + value + "\" PT=\"&lt;" + (kind == 'p' ? text(1) : "") + "\" TO=\"x\"/>";
        requests = before; // what the test itself needs doesn't count
        EXPECT_EQ(entry.parseAttrXMLString(tag.data(), lengthOf(tag)),
                  kind == 'b' ? VELLIX_ERR_NO_MEMORY : VELLIX_SUCCESS);
    }

    void assign(bool packed) {
        const std::size_t before = requests;
        VellixEntry source(VELLIX_DOC_FH);
        for (const unsigned short id : {kIds[0], kIds[2]}) source.addAttribute(id, text(0));
        requests = before;
        packed ? become(source) : entry = source;
        EXPECT_TRUE(entry == source);
    }

    // A copy is one request of its size, and none where there are no values.
    void become(const VellixEntry& source) {
        const VellixEntry none;
        const std::size_t requestsBefore = requests;
        const std::size_t heldBefore = heldBytes;
        VellixEntry copy(none);
        copy = VellixEntry(source);
        EXPECT_EQ(requests - requestsBefore, 1U);
        EXPECT_LE(heldBytes - heldBefore, 2 * (std::strlen(text(0)) + 1 + 16) + 48 + 24);
        entry = std::move(copy);
    }

    const std::vector<std::size_t>& lengths;
    VellixEntry last;
    unsigned int round = 0;
    unsigned int turn = 0;
    bool isSmall = false;
};

// What is done again and again requests nothing in the later half of its rounds, unless it `takes` memory all along. No more is
// held meanwhile than `most` large values, and a while later, when all values are small, next to nothing.
TEST(Memory, OfAnEntryIsUsedAgainOrGivenBack) {
    const std::vector<std::size_t> few = {0, 5, 50, 11, 700};
    const std::vector<std::size_t> any = {0, 10, 5000, 60, 90000, 1, 200000};
    const std::vector<std::size_t> large = {kLarge.size()};
    const std::vector<std::size_t> atTimes = {kLarge.size(), 0};
    std::vector<std::size_t> growing(1000);
    std::iota(growing.begin(), growing.end(), 100000);
    const struct {
        const std::vector<std::size_t>& lengths;
        int rounds;
        std::size_t most;
        bool takes;
        const char* uses;
    } rows[] = {
        {few, 2000, 0, false, "s rs csms cpgt mes ao sonorsonorsonor"},
        {any, 1000, 2, false, "sg pd aocao"},
        {growing, 1000, 2, false, "cog"},
        {atTimes, 79, 2, false, "aSoa"},
        {large, 80, 2, false, "or d b"},
        {large, 80, 3, false, "ogSo"},
        {large, 80, 6, false, "pgec"},
        {large, 80, 6, true, "pgeSs"},
        {large, 80, 2, true, "aSa"},
        {large, 80, 0, true, "kSonononono krnrnrnrnr"},
    };
    for (const auto& row : rows) {
        for (const std::string& calls : split(row.uses, " ")) {
            for (const bool clears : {true, false}) {
                SCOPED_TRACE(calls + (clears ? ", then cleared" : ", then replaced"));
                const std::size_t before = heldBytes;
                Usage usage(row.lengths);
                for (int round = 0; round < row.rounds / 2; ++round) usage.play(calls.c_str());
                const std::size_t requestsBefore = requests;
                for (int round = row.rounds / 2; round < row.rounds; ++round) usage.play(calls.c_str());
                EXPECT_TRUE(requests == requestsBefore || row.takes);
                EXPECT_LE(heldBytes - before, 100000U + row.most * kLarge.size() * 3 / 2);
                VellixEntry& entry = usage.entry;
                for (unsigned int round = 0; round < (clears ? 260 : 8200); ++round) {
                    entry.setType(VELLIX_DOC_FH);
                    for (const unsigned short id : kIds) entry.addAttribute(id, "small");
                    if (clears) usage.play("c");
                    entry.addAttribute(9, round % 100, false);
                }
                EXPECT_LE(heldBytes - before, clears ? 20000U : 100000U) << "a while later";
            }
        }
    }
}

template <class Result> Result count(std::size_t bytes, Result result) {
    steps += bytes;
    return result;
}

[[gnu::noinline]] void release(void* memory) {
    heldBytes -= malloc_usable_size(memory);
    std::free(memory);
}

} // namespace

[[gnu::noinline]] void* operator new(std::size_t size) {
    void* const memory = count(size, std::malloc(size));
    if (memory == nullptr) throw std::bad_alloc();
    heldBytes += malloc_usable_size(memory);
    ++requests;
    return memory;
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return operator new(size); }
void operator delete(void* memory) noexcept { release(memory); }
void operator delete(void* memory, std::size_t) noexcept { release(memory); }

// The compiler calls the first one. The library's calls of the others end up here, see CMakeLists.txt.
extern "C" {
void __sanitizer_cov_trace_pc();
void __sanitizer_cov_trace_pc() { ++steps; }

void* __real_memchr(const void* bytes, int byte, std::size_t size);
int __real_memcmp(const void* left, const void* right, std::size_t size);
void* __real_memcpy(void* to, const void* from, std::size_t size);
void* __real_memmove(void* to, const void* from, std::size_t size);
std::size_t __real_strlen(const char* text);

void* __wrap_memchr(const void* bytes, int byte, std::size_t size) {
    void* const found = __real_memchr(bytes, byte, size);
    if (found != nullptr)
        size = static_cast<std::size_t>(static_cast<const char*>(found) - static_cast<const char*>(bytes));
    return count(size, found);
}
int __wrap_memcmp(const void* left, const void* right, std::size_t size) {
    return count(size, __real_memcmp(left, right, size));
}
void* __wrap_memcpy(void* to, const void* from, std::size_t size) { return count(size, __real_memcpy(to, from, size)); }
void* __wrap_memmove(void* to, const void* from, std::size_t size) {
    return count(size, __real_memmove(to, from, size));
}
std::size_t __wrap_strlen(const char* text) {
    const std::size_t length = __real_strlen(text);
    return count(length, length);
}
}
