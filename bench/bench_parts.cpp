// SPDX-License-Identifier: Apache-2.0
// The parts of the library by themselves. What is put in comes from the same catalog as the whole jobs.

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include <benchmark/benchmark.h>
#include <unistd.h>

#include "Catalog.h"
#include "EntrySetter.h"
#include "vellix/VellixDoc.h"
#include "vellix/VellixMMap.h"
#include "vellix/VellixWalk.h"

namespace {

using benchmark::State;

constexpr char kPlainPath[] = "/srv/projects/2019/reports/quarterly/third quarter, final version, signed.pdf";
constexpr char kSpecialPath[] =
    "/srv/J\u00FCrgen's & Zo\u00E9's/\u65E5\u672C/<drafts>/it's \"final\" & signed, 3\u20AC.pdf";

const bench::Catalog& catalog() {
    static const bench::Catalog records;
    return records;
}

// The texts of as many entries as the catalog has different ones, so that no branch is learnt by heart.
const std::vector<std::string>& entryTexts() {
    static const std::vector<std::string> texts = [] {
        std::vector<std::string> made;
        VellixEntry entry;
        for (unsigned long i = 0; i < bench::Catalog::kRecords; ++i) {
            fill(entry, catalog()[i]);
            made.push_back(entry.toString());
        }
        return made;
    }();
    return texts;
}

void countBytes(State& state, std::size_t bytesPerRound) {
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(bytesPerRound));
}

// --- Text ---

void escapedLength(State& state, const char* text) {
    for (auto _ : state) benchmark::DoNotOptimize(xmlLen(text));
    countBytes(state, std::strlen(text));
}
BENCHMARK_CAPTURE(escapedLength, plain, kPlainPath);
BENCHMARK_CAPTURE(escapedLength, special, kSpecialPath);

void escape(State& state, const char* text) {
    std::vector<char> buffer(xmlLen(text) + 1);
    for (auto _ : state) {
        benchmark::DoNotOptimize(xmlEncode(text, buffer.data(), -1));
        benchmark::ClobberMemory();
    }
    countBytes(state, std::strlen(text));
}
BENCHMARK_CAPTURE(escape, plain, kPlainPath);
BENCHMARK_CAPTURE(escape, special, kSpecialPath);

void escapeKnownLength(State& state, const char* text) {
    const auto size = static_cast<int>(xmlLen(text)) + 1;
    std::vector<char> buffer(static_cast<std::size_t>(size));
    for (auto _ : state) {
        benchmark::DoNotOptimize(xmlEncode(text, buffer.data(), size));
        benchmark::ClobberMemory();
    }
    countBytes(state, std::strlen(text));
}
BENCHMARK_CAPTURE(escapeKnownLength, plain, kPlainPath);
BENCHMARK_CAPTURE(escapeKnownLength, special, kSpecialPath);

void decode(State& state, const char* text) {
    std::string escaped;
    xmlEncode(escaped, text, -1);
    for (auto _ : state) {
        char* const plain = xmlDecode(escaped.data(), escaped.size());
        benchmark::DoNotOptimize(plain);
        std::free(plain);
    }
    countBytes(state, escaped.size());
}
BENCHMARK_CAPTURE(decode, plain, kPlainPath);
BENCHMARK_CAPTURE(decode, special, kSpecialPath);

XmlStr cursorOver(const std::string& text) {
    XmlStr cursor;
    cursor.buffer = text.data();
    cursor.length = text.size();
    return cursor;
}

// All tokens of one entry.
void tokens(State& state) {
    std::size_t i = 0;
    int64_t bytes = 0;
    for (auto _ : state) {
        const std::string& text = entryTexts()[i++ % entryTexts().size()];
        XmlStr cursor = cursorOver(text);
        while (xmlNextToken(&cursor).kind != VELLIX_TOKEN_EOF) {
        }
        bytes += static_cast<int64_t>(text.size());
    }
    state.SetBytesProcessed(bytes);
}
BENCHMARK(tokens);

// --- Entries ---

void parseTag(State& state) {
    VellixEntry entry;
    std::size_t i = 0;
    int64_t bytes = 0;
    for (auto _ : state) {
        const std::string& text = entryTexts()[i++ % entryTexts().size()];
        entry.clear();
        entry.setType(VELLIX_DOC_FH);
        if (entry.parseAttrXMLString(text.data(), text.size()) != VELLIX_SUCCESS) state.SkipWithError("no parse");
        bytes += static_cast<int64_t>(text.size());
    }
    state.SetBytesProcessed(bytes);
}
BENCHMARK(parseTag);

void setElevenAttributes(State& state) {
    VellixEntry entry;
    unsigned long i = 0;
    for (auto _ : state) fill(entry, catalog()[i++]);
}
BENCHMARK(setElevenAttributes);

// A few of the records, since filled entries are large.
std::vector<VellixEntry> filledEntries() {
    std::vector<VellixEntry> entries(256);
    for (std::size_t i = 0; i < entries.size(); ++i) fill(entries[i], catalog()[i]);
    return entries;
}

void serializeToString(State& state) {
    const std::vector<VellixEntry> entries = filledEntries();
    std::string text;
    std::size_t i = 0;
    int64_t bytes = 0;
    for (auto _ : state) {
        text.clear();
        entries[i++ % entries.size()].serialize(text);
        bytes += static_cast<int64_t>(text.size());
    }
    state.SetBytesProcessed(bytes);
}
BENCHMARK(serializeToString);

void serializeToBuffer(State& state) {
    const std::vector<VellixEntry> entries = filledEntries();
    std::vector<char> buffer(bench::kPageSize);
    std::size_t i = 0;
    for (auto _ : state) {
        if (!entries[i++ % entries.size()].serialize(buffer.data(), buffer.size() - 1)) state.SkipWithError("no room");
        benchmark::ClobberMemory();
    }
}
BENCHMARK(serializeToBuffer);

void firstConstruction(State& state) {
    for (auto _ : state) {
        VellixEntry entry(VELLIX_DOC_FH);
        benchmark::DoNotOptimize(&entry);
    }
}
BENCHMARK(firstConstruction);

void firstConstructionAndElevenAttributes(State& state) {
    unsigned long i = 0;
    for (auto _ : state) {
        VellixEntry entry(VELLIX_DOC_FH);
        eachAttribute(catalog()[i++], bench::EntrySetter(entry));
        benchmark::DoNotOptimize(&entry);
    }
}
BENCHMARK(firstConstructionAndElevenAttributes);

void copyEntry(State& state) {
    const std::vector<VellixEntry> entries = filledEntries();
    std::size_t i = 0;
    for (auto _ : state) {
        VellixEntry copy(entries[i++ % entries.size()]);
        benchmark::DoNotOptimize(&copy);
    }
}
BENCHMARK(copyEntry);

// --- Typed attributes ---

constexpr unsigned short kName = 6;      // NM of VELLIX_DOC_FH
constexpr unsigned short kSize = 9;      // SZ, 64 bits
constexpr unsigned short kModified = 13; // MT, 32 bits
constexpr unsigned short kRadix64 = 76;  // RI, 32 bits

// What is set: ten digits, or the five that 16 bits hold.
template <class Number> constexpr Number sampleOf() {
    return static_cast<Number>(sizeof(Number) == 2 ? 12345 : 1234567890);
}

template <class Number> void setNumber(State& state) {
    VellixEntry entry(VELLIX_DOC_FH);
    for (auto _ : state) {
        if (!entry.addAttribute(kSize, sampleOf<Number>(), false)) state.SkipWithError("refused");
    }
}

template <class Number> void setRadix64(State& state) {
    VellixEntry entry(VELLIX_DOC_FH);
    for (auto _ : state) {
        if (!entry.addAttribute(kRadix64, sampleOf<Number>(), true)) state.SkipWithError("refused");
    }
}

template <class Number> void getFrom(State& state, VELLIX_DOC_TYPE type, unsigned short id) {
    VellixEntry entry(type);
    Number value = 0;
    if (!entry.addAttribute(id, sampleOf<Number>(), false)) state.SkipWithError("refused");
    for (auto _ : state) {
        if (!entry.getAttribute(id, value)) state.SkipWithError("refused");
        benchmark::DoNotOptimize(value);
    }
}

// A getter reads no attribute of more bits than its own. `long` stands for 32 bits, however wide it is.
template <class Number> void getNumber(State& state) {
    constexpr bool isLong = std::is_same_v<Number, long> || std::is_same_v<Number, unsigned long>;
    constexpr std::size_t bytes = isLong ? 4 : sizeof(Number);
    if constexpr (bytes == 2) {
        getFrom<Number>(state, VELLIX_DOC_FSE, 11); // DL
    } else {
        getFrom<Number>(state, VELLIX_DOC_FH, bytes == 4 ? kModified : kSize);
    }
}

template <class Text> void setText(State& state, const Text& value) {
    VellixEntry entry(VELLIX_DOC_FH);
    for (auto _ : state) {
        if (!entry.addAttribute(kName, value)) state.SkipWithError("refused");
    }
}

void setByTag(State& state) {
    VellixEntry entry(VELLIX_DOC_FH);
    for (auto _ : state) {
        if (!entry.addAttribute("NM", 2, kPlainPath)) state.SkipWithError("refused");
    }
}

// Reads the name, and its text by every form of getter.
template <class Get> void getText(State& state, Get get) {
    VellixEntry entry(VELLIX_DOC_FH);
    entry.addAttribute(kName, kSpecialPath);
    for (auto _ : state) benchmark::DoNotOptimize(get(entry));
}

const char* pointer(const VellixEntry& entry) { return entry.getAttribute(kName); }

const char* reference(const VellixEntry& entry) { return entry.getAttributeStr(kName).c_str(); }

int ownedCopy(const VellixEntry& entry) {
    char* text = nullptr;
    int length = 0;
    entry.getAttribute(kName, text, length);
    std::free(text);
    return length;
}

std::size_t stringCopy(const VellixEntry& entry) {
    static std::string text;
    entry.getAttribute(kName, text);
    return text.size();
}

std::size_t escapedCopy(const VellixEntry& entry) {
    static std::string text;
    entry.getAttributeXmlEncoded(kName, text);
    return text.size();
}

BENCHMARK_TEMPLATE(setNumber, short);
BENCHMARK_TEMPLATE(setNumber, unsigned short);
BENCHMARK_TEMPLATE(setNumber, int);
BENCHMARK_TEMPLATE(setNumber, unsigned int);
BENCHMARK_TEMPLATE(setNumber, long);
BENCHMARK_TEMPLATE(setNumber, unsigned long);
BENCHMARK_TEMPLATE(setNumber, __int64);
BENCHMARK_TEMPLATE(setNumber, unsigned __int64);
BENCHMARK_TEMPLATE(setRadix64, short);
BENCHMARK_TEMPLATE(setRadix64, unsigned int);
BENCHMARK_TEMPLATE(setRadix64, unsigned __int64);
BENCHMARK_CAPTURE(setText, pointer, static_cast<const char*>(kPlainPath));
BENCHMARK_CAPTURE(setText, pointerSpecial, static_cast<const char*>(kSpecialPath));
BENCHMARK_CAPTURE(setText, string, std::string(kPlainPath));
BENCHMARK_CAPTURE(setText, wide,
                  static_cast<const wchar_t*>(L"/srv/projects/2019/reports/quarterly/third quarter, signed.pdf"));
BENCHMARK(setByTag);
BENCHMARK_TEMPLATE(getNumber, short);
BENCHMARK_TEMPLATE(getNumber, unsigned short);
BENCHMARK_TEMPLATE(getNumber, int);
BENCHMARK_TEMPLATE(getNumber, unsigned int);
BENCHMARK_TEMPLATE(getNumber, long);
BENCHMARK_TEMPLATE(getNumber, unsigned long);
BENCHMARK_TEMPLATE(getNumber, __int64);
BENCHMARK_TEMPLATE(getNumber, unsigned __int64);
BENCHMARK_CAPTURE(getText, pointer, pointer);
BENCHMARK_CAPTURE(getText, reference, reference);
BENCHMARK_CAPTURE(getText, ownedCopy, ownedCopy);
BENCHMARK_CAPTURE(getText, stringCopy, stringCopy);
BENCHMARK_CAPTURE(getText, escapedCopy, escapedCopy);

// --- Schema ---

// The tags of a map in turn, in an order that jumps about.
void tagLookup(State& state, VELLIX_DOC_TYPE type) {
    const unsigned long rows = VellixEntry::getXmlMapTagLen(type) - 1;
    const VellixMapTag* const map = VellixEntry::getXmlMapTag(type);
    unsigned long i = 0;
    for (auto _ : state) {
        const VellixMapTag& row = map[i];
        benchmark::DoNotOptimize(xmlRowByTag(type, row.tag, row.tagLen));
        i = (i + 31) % rows;
    }
}
BENCHMARK_CAPTURE(tagLookup, shortMap, VELLIX_DOC_RES);
BENCHMARK_CAPTURE(tagLookup, longMap, VELLIX_DOC_FH);

// --- Pages ---

class TwoPages {
public:
    TwoPages() : path(std::filesystem::temp_directory_path() / ("bench_pages_" + std::to_string(getpid()))) {
        std::ofstream(path, std::ios::binary) << std::string(2 * bench::kPageSize, ' ');
    }
    ~TwoPages() { std::filesystem::remove(path); }
    TwoPages(const TwoPages&) = delete;
    TwoPages& operator=(const TwoPages&) = delete;

    const std::filesystem::path path;
};

// From one page of a file to the other: a view ended, a view mapped and its first byte touched.
void pageCrossing(State& state) {
    const TwoPages pages;
    VellixMMap file;
    file.open(pages.path.wstring().c_str(), 0);
    constexpr auto length = static_cast<int>(bench::kPageSize);
    __int64 offset = 0;
    for (auto _ : state) {
        file.map(nullptr, length, 2, 2, nullptr, offset);
        if (file.addr() == nullptr) {
            state.SkipWithError("not mapped");
            break;
        }
        benchmark::DoNotOptimize(*static_cast<const char*>(file.addr()));
        file.unmap(file.addr());
        offset = length - offset;
    }
}
BENCHMARK(pageCrossing);

// --- Held documents ---

constexpr unsigned long kHeldEntries = 100000;

void build(VellixDoc& doc) {
    VellixEntry entry;
    for (unsigned long i = 0; i < kHeldEntries; ++i) {
        fill(entry, catalog()[i]);
        doc.addEntry(entry);
    }
}

void heldBuild(State& state) {
    for (auto _ : state) {
        VellixDoc doc(VELLIX_DOC_FH);
        build(doc);
    }
}
BENCHMARK(heldBuild)->Unit(benchmark::kMillisecond);

void heldSerialize(State& state) {
    VellixDoc doc(VELLIX_DOC_FH);
    build(doc);
    for (auto _ : state) {
        std::string text;
        doc.serialize(text);
        benchmark::DoNotOptimize(text.data());
    }
}
BENCHMARK(heldSerialize)->Unit(benchmark::kMillisecond);

void heldLoad(State& state) {
    std::string text;
    {
        VellixDoc doc(VELLIX_DOC_FH);
        doc.addAttribute(0, 1, false); // without one the first entry would be taken for the document's own tag
        build(doc);
        doc.serialize(text);
    }
    for (auto _ : state) {
        VellixDoc doc(VELLIX_DOC_FH);
        if (!doc.load(text) || doc.getNumberOfEntries() != kHeldEntries) state.SkipWithError("entries are missing");
    }
}
BENCHMARK(heldLoad)->Unit(benchmark::kMillisecond);

// --- Walks ---

// A text of some 25 MB, walked through in parts of a megabyte by so many threads.
void walkInParts(State& state) {
    constexpr std::size_t kPartLength = 1000000;
    constexpr unsigned long kEntries = 100000;
    std::string text;
    VellixEntry entry;
    for (unsigned long i = 0; i < kEntries; ++i) {
        fill(entry, catalog()[i]);
        entry.serialize(text);
    }
    const vellix::Walk whole = vellix::Walk::overText(text);
    for (auto _ : state) {
        std::atomic<std::size_t> next{0};
        std::atomic<unsigned long> entries{0};
        const auto work = [&] {
            for (std::size_t begin = next.fetch_add(kPartLength); begin < text.size();
                 begin = next.fetch_add(kPartLength)) {
                vellix::Walk part = whole.part(begin, begin + kPartLength, VELLIX_DOC_FH);
                unsigned long count = 0;
                for (const VellixEntry& file : part.entries(VELLIX_DOC_FH)) count += file.isEmpty() ? 0 : 1;
                entries += count;
            }
        };
        std::vector<std::thread> threads;
        for (std::int64_t i = 1; i < state.range(0); ++i) threads.emplace_back(work);
        work();
        for (std::thread& thread : threads) thread.join();
        if (entries != kEntries) state.SkipWithError("entries are missing");
    }
    countBytes(state, text.size());
}
BENCHMARK(walkInParts)->Arg(1)->Arg(2)->UseRealTime()->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
