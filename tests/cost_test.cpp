// SPDX-License-Identifier: Apache-2.0
// What reading and writing cost, counted and not timed: the library's code is compiled so that each piece of it that runs
// counts one, and what works on a run of bytes counts those. Twice the bytes may cost twice as much.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <new>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <malloc.h>

#include "FileSupport.h"
#include "TempDir.h"
#include "vellix/VellixWalk.h"

using namespace filetest;

namespace {

std::uint64_t steps = 0;
std::size_t heldBytes = 0;
std::size_t requests = 0;

// Shapes of hostile text: a front, and a unit again and again up to the size that is asked for.
struct Shape {
    std::string front;
    std::string unit;
};

const std::vector<Shape> kShapes = {
    // no end of a value, of a tag, of what is quoted
    {"<ET NM=\"", "x"},
    {"<ET NM=\"", "/"},
    {"<ET ", "\""},
    {"<ET NM=", "\"'"},
    {"<ET", " \"a\""},
    {"<ET", ">"},
    {"<ET", "="},
    {"", "<"},
    {"", "<ET NM=\"a"},
    // references, and what looks like some
    {"<ET NM=\"", "&lt;"},
    {"<ET NM=\"&#", "1"},
    {"<ET NM=\"", "&"},
    // characters of more than a byte, and NUL
    {"<ET NM=\"", "\xF0"},
    {"<ET NM=\"", "\x80"},
    {"<ET", " \xE0\"<"},
    {"<ET NM=\"", std::string(1, '\0')},
    {"", std::string("<ET NM=\"\0\"/>", 12)},
    // tags hidden by characters and quotes, one by the next
    {"", "\xE0<\xE1\xF0y=\">"},
    {"", "\xE0<\" NM=1>"},
    {"", "NM=\xF0<'&lt;"},
    {"", "\xE0<\"/>"},
    // many of something
    {"<ET", " NM=\"a\""},
    {"<ET", " a=b"},
    {"", "<ET NM=\"a&amp;b\" SZ=\"1\"/>"},
    {"", "<CatFH>"},
    {"", "<a>"},
    {"", "<aaaaaaaaaaaaaaaa></aaaaaaaaaaaaaaab>"},
    {"<CatImage PT=\"1\">", "<CatImage PT=\"2\"><CatFrag MV=\"3\"/>"},
};

std::string textOf(const Shape& shape, std::size_t size) {
    std::string text = shape.front;
    while (text.size() < size) text += shape.unit;
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
    static void expectLinear(const Job& job, const std::vector<Shape>& shapes = kShapes) {
        constexpr std::size_t kSize = 4 * kPageSize;
        for (const Shape& shape : shapes) {
            SCOPED_TRACE(testing::PrintToString(shape.front + shape.unit));
            const std::uint64_t once = costOf(job, textOf(shape, kSize));
            EXPECT_LE(once, kMostPerByte * kSize);
            EXPECT_LE(costOf(job, textOf(shape, 2 * kSize)), once * 22 / 10);
        }
    }

    static constexpr std::uint64_t kMostPerByte = 2000; // of all that a test does
    TempDir dir;
};

TEST_F(Cost, Tokens) {
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
}

// And of many, where each call gets the whole rest of the text.
TEST_F(Cost, OneTag) {
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

    const std::string text = "<CatResults>" + usual + other;
    OpenReader reader;
    reader.load(text.data(), lengthOf(text));
    const Job byReader = [&](const std::string&) { EXPECT_TRUE(reader.readEntry(entry)); };
    const std::uint64_t cost = costOf(byReader, "");
    EXPECT_LE(2 * cost, costOf(byReader, ""));
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

constexpr unsigned short kIds[] = {6, 7, 19, 37, 39};
using Use = void (*)(VellixEntry& entry, unsigned int round, const std::string& text);

void setAll(VellixEntry& entry, unsigned int round) {
    static const std::string texts[] = {"", "short", std::string(50, 'b'), "a<b & so on", std::string(700, 'c')};
    for (unsigned int i = 0; i < 5; ++i) entry.addAttribute(kIds[i], texts[(round * (i + 1)) % 5].c_str());
    entry.addAttribute(9, 1U << round % 32, false);
}

void empty(VellixEntry& entry) {
    entry.clear();
    entry.setType(VELLIX_DOC_FH);
}

const std::string kLarge(1U << 20, 'x');
const std::string kReferences[] = {
    R"(<ET NM='a&amp;b' PT="&#65;&#66;&lt;"/>)",
    "<ET NM='&lt;" + std::string(3000, 'r') + "' PT=\"" + std::string(5000, 's') + "&#65;\"/>",
    "<ET NM=\"&#" + std::string(90000, '0') + "65;\" PT='&amp;'/>",
};

const char* largeOf(std::size_t length) { return kLarge.c_str() + kLarge.size() - length; }

void parse(VellixEntry& entry, const std::string& tag) {
    EXPECT_EQ(entry.parseAttrXMLString(tag.data(), lengthOf(tag)), VELLIX_SUCCESS);
}

VellixEntry filled(std::size_t length) {
    VellixEntry entry(VELLIX_DOC_FH);
    for (const unsigned short id : kIds) entry.addAttribute(id, largeOf(length));
    return entry;
}

// The same thing is done again and again with other values. The later half of the rounds may request nothing.
TEST(Memory, AnEntryThatIsUsedAgainRequestsNone) {
    constexpr unsigned int kRounds = 2000;
    const struct {
        const char* name;
        Use use;
    } rows[] = {
        {"replaced", [](VellixEntry& entry, unsigned int round, const std::string&) { setAll(entry, round); }},
        {"removed",
         [](VellixEntry& entry, unsigned int round, const std::string&) {
             entry.removeAttribute(kIds[round % 5]);
             setAll(entry, round);
         }},
        {"cleared and set",
         [](VellixEntry& entry, unsigned int round, const std::string&) {
             empty(entry);
             setAll(entry, round);
             setAll(entry, round + 1);
         }},
        {"parsed and assigned",
         [](VellixEntry& entry, unsigned int, const std::string& text) {
             static VellixEntry last;
             empty(entry);
             entry.parseAttrXMLString(text.data(), lengthOf(text));
             for (const unsigned short id : kIds) EXPECT_EQ(entry.getAttributeStr(id), entry.getAttribute(id));
             last = entry;
         }},
        {"lengths that differ much",
         [](VellixEntry& entry, unsigned int round, const std::string&) {
             static const std::size_t lengths[] = {0, 10, 5000, 60, 90000, 1, 200000};
             for (const unsigned short id : kIds) {
                 entry.addAttribute(id, largeOf(lengths[(round + id) % 7]));
                 EXPECT_EQ(entry.getAttributeStr(id), entry.getAttribute(id));
             }
         }},
        {"references",
         [](VellixEntry& entry, unsigned int round, const std::string&) { parse(entry, kReferences[round % 3]); }},
        {"escaped forms",
         [](VellixEntry& entry, unsigned int round, const std::string&) {
             static const std::string markup(100, '<');
             for (const unsigned short id : kIds) entry.addAttribute(id, markup.c_str() + round % 50 * (id % 3));
             entry.encodingAttributes();
         }},
        {"a copy that is changed",
         [](VellixEntry& entry, unsigned int round, const std::string&) {
             static const VellixEntry copied = filled(700);
             entry = copied;
             entry.addAttribute(kIds[round % 5], largeOf(round % 2000));
         }},
        {"a huge copy that is changed",
         [](VellixEntry& entry, unsigned int round, const std::string&) {
             static const VellixEntry copied = filled(100000);
             if (round % 3 == 0) entry.clear();
             entry = copied;
             entry.addAttribute(kIds[round % 5], "new");
         }},
        {"long contents",
         [](VellixEntry& entry, unsigned int round, const std::string&) {
             empty(entry);
             entry.addAttribute(6, largeOf(100000 + round % 100000));
             entry.addAttribute(7, "seven");
             EXPECT_EQ(entry.getAttributeStr(6).size(), 100000 + round % 100000);
         }},
    };
    std::vector<std::string> texts;
    for (unsigned int round = 0; round < kRounds; ++round) {
        VellixEntry source(VELLIX_DOC_FH);
        setAll(source, round);
        texts.push_back(source.toString());
    }
    VellixEntry entry(VELLIX_DOC_FH);
    for (const auto& row : rows) {
        std::size_t before = 0;
        for (unsigned int round = 0; round < kRounds; ++round) {
            if (round == kRounds / 2) before = requests;
            row.use(entry, round, texts[round]);
        }
        EXPECT_EQ(requests, before) << row.name;
    }
}

// An entry is filled in a way that leaves large memory unused, and then used for small values. `most` is in large values.
TEST(Memory, NoMoreIsKeptThanAFewTimesTheContent) {
    const struct {
        const char* name;
        std::size_t most;
        Use use;
    } rows[] = {
        {"replaced", 3,
         [](VellixEntry& entry, unsigned int id, const std::string& text) {
             const VellixMapTag& row = *xmlRowAt(VELLIX_DOC_FH, static_cast<unsigned short>(id));
             entry.addAttribute(row.tag, row.tagLen, text.c_str());
             entry.getAttributeStr(static_cast<unsigned short>(id));
             entry.addAttribute(row.tag, row.tagLen, "small");
         }},
        {"removed", 2,
         [](VellixEntry& entry, unsigned int round, const std::string& text) {
             entry.addAttribute(kIds[round % 5], text);
             entry.removeAttribute(kIds[round % 5]);
         }},
        {"parsed and cleared", 6,
         [](VellixEntry& entry, unsigned int, const std::string& text) {
             parse(entry, "<ET NM=\"" + text + "\" PT=\"&lt;" + text + "\"/>");
             entry.getAttributeStr(6);
             entry.encodingAttributes();
             empty(entry);
         }},
        {"decoded to little", 2,
         [](VellixEntry& entry, unsigned int, const std::string& text) {
             parse(entry, "<ET NM=\"&#" + std::string(text.size(), '0') + "65;\"/>");
             EXPECT_STREQ(entry.getAttribute(6), "A");
         }},
        {"refused", 2,
         [](VellixEntry& entry, unsigned int, const std::string& text) {
             const std::string tag = "<ET NM=\"" + text + "&bad;\"/>";
             EXPECT_EQ(entry.parseAttrXMLString(tag.data(), lengthOf(tag)), VELLIX_ERR_NO_MEMORY);
         }},
        {"assigned", 2,
         [](VellixEntry& entry, unsigned int round, const std::string& text) {
             VellixEntry other(VELLIX_DOC_FH);
             if (round % 2 == 0) other.addAttribute(6, text);
             if (round > 1) entry.addAttribute(6, "a store that takes values");
             entry = other;
         }},
        {"a copy, all of which is replaced", 0,
         [](VellixEntry& entry, unsigned int, const std::string& text) {
             VellixEntry other(VELLIX_DOC_FH);
             other.addAttribute(6, text);
             other.addAttribute(19, text);
             entry.clear();
             entry = VellixEntry(static_cast<const VellixEntry&>(other));
             const char* const stays = entry.getAttribute(19);
             entry.addAttribute(6, "small");
             EXPECT_EQ(entry.getAttribute(19), stays);
             EXPECT_EQ(entry.getAttribute(19), text);
             entry.addAttribute(19, "small");
         }},
        {"a copy, all of which is removed", 0,
         [](VellixEntry& entry, unsigned int, const std::string& text) {
             VellixEntry other(VELLIX_DOC_FH);
             other.addAttribute(6, text);
             entry = VellixEntry(static_cast<const VellixEntry&>(other));
             entry.removeAttribute(6);
         }},
        {"set in small steps", 0,
         [](VellixEntry& entry, unsigned int round, const std::string& text) {
             for (unsigned int i = round * 260; i < (round + 1) * 260; ++i) {
                 entry.addAttribute(kIds[i % 5], text.c_str() + text.size() - i * i % 3000);
                 if (i % 7 == 0) entry.removeAttribute(kIds[i % 3]);
             }
         }},
    };
    for (const auto& row : rows) {
        for (const bool clears : {true, false}) {
            SCOPED_TRACE(std::string(row.name) + (clears ? ", then cleared" : ", then replaced"));
            const std::size_t before = heldBytes;
            VellixEntry entry(VELLIX_DOC_FH);
            for (unsigned int round = 0; round < 77; ++round) row.use(entry, round, kLarge);
            EXPECT_LE(heldBytes - before, 100000U + row.most * kLarge.size() * 3 / 2);
            for (unsigned int round = 0; round < (clears ? 260 : 8200); ++round) {
                if (clears) empty(entry);
                entry.setType(VELLIX_DOC_FH);
                entry.addAttribute(6, "small");
                if (!clears) entry.addAttribute(9, round % 100, false);
            }
            EXPECT_LE(heldBytes - before, clears ? 20000U : 100000U) << "a while later";
            EXPECT_STREQ(entry.getAttribute(6), "small");
        }
    }
}

// Notes are for quotes that are looked for in vain.
TEST(Memory, AReaderTakesNoNotesOfQuotesThatItFinds) {
    std::string text = "<CatResults>";
    for (int i = 0; i < 400; ++i) text += "<ET NM= \"" + std::string(500, 'x') + "\"/>";
    OpenReader reader;
    VellixEntry entry(VELLIX_DOC_FH);
    reader.load(text.data(), lengthOf(text));
    EXPECT_TRUE(reader.readEntry(entry));
    const std::size_t before = requests;
    for (int i = 1; i < 400; ++i) EXPECT_TRUE(reader.readEntry(entry));
    EXPECT_EQ(requests, before);
}

TEST(Memory, ACopyIsOneRequestOfItsSize) {
    VellixEntry entry(VELLIX_DOC_FH);
    setAll(entry, 1);
    std::size_t bytes = std::strlen(entry.getAttribute(9)) + 1;
    for (const unsigned short id : kIds) bytes += std::strlen(entry.getAttribute(id)) + 1;
    const std::size_t before = heldBytes;
    const std::size_t requestsBefore = requests;
    const VellixEntry copy(entry);
    EXPECT_EQ(requests - requestsBefore, 1U);
    EXPECT_LE(heldBytes - before, bytes + 6 * 16 + 48 + 24);
    EXPECT_TRUE(copy == entry);
    EXPECT_EQ(VellixEntry(VellixEntry()).getNumberOfAttributes(), 0);
    EXPECT_EQ(requests - requestsBefore, 1U) << "an entry without values needs none";
}

void* count(std::size_t bytes, void* result) {
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
    steps += size;
    return __real_memcmp(left, right, size);
}
void* __wrap_memcpy(void* to, const void* from, std::size_t size) { return count(size, __real_memcpy(to, from, size)); }
void* __wrap_memmove(void* to, const void* from, std::size_t size) {
    return count(size, __real_memmove(to, from, size));
}
std::size_t __wrap_strlen(const char* text) {
    const std::size_t length = __real_strlen(text);
    steps += length;
    return length;
}
}
