// What happens when memory runs out.

#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "FileSupport.h"
#include "TempDir.h"

using namespace filetest;

namespace {

// While one is armed, allocation number `first` of this thread fails, alone or with all that follow.
class Failing {
public:
    Failing(long first, bool onwards) : left(first), all(onwards) {}
    ~Failing() { disarm(); }
    Failing(const Failing&) = delete;
    Failing& operator=(const Failing&) = delete;

    void arm() { armed = this; }
    void disarm() { armed = nullptr; }
    long failures() const { return count; }

    static bool failsNow() {
        if (armed == nullptr) return false;
        const long number = armed->left--;
        const bool fails = number == 0 || (number < 0 && armed->all);
        if (fails) ++armed->count;
        return fails;
    }

private:
    static thread_local Failing* armed;
    long left;
    bool all;
    long count = 0;
};

thread_local Failing* Failing::armed = nullptr;

void* allocate(std::size_t size) { return Failing::failsNow() ? nullptr : std::malloc(size == 0 ? 1 : size); }

void* allocateOrThrow(std::size_t size) {
    void* memory = allocate(size);
    if (memory == nullptr) throw std::bad_alloc();
    return memory;
}

} // namespace

// clang-format off
void* operator new(std::size_t size) { return allocateOrThrow(size); }
void* operator new[](std::size_t size) { return allocateOrThrow(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return allocate(size); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return allocate(size); }
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete(void* memory, const std::nothrow_t&) noexcept { std::free(memory); }
void operator delete[](void* memory, const std::nothrow_t&) noexcept { std::free(memory); }
// clang-format on

namespace {

// False if memory ran out in the call, in one of the ways that the headers name.
template <class Call> bool attempt(const Call& call) {
    try {
        call();
        return true;
    } catch (const std::bad_alloc&) {
    } catch (VELLIX_ERROR code) {
        EXPECT_EQ(code, VELLIX_ERR_NO_MEMORY);
    }
    return false;
}

// Runs a job again and again, with each of its allocations failing in turn, until it has them all.
template <class Job> void failEachAllocation(const Job& job) {
    for (const bool onwards : {false, true}) {
        long runs = 0;
        for (bool failed = true; failed && !testing::Test::HasFatalFailure(); ++runs) {
            ASSERT_LT(runs, 100000) << "the job never gets through";
            SCOPED_TRACE("allocation " + std::to_string(runs) + (onwards ? " and all that follow" : ""));
            Failing failing(runs, onwards);
            job(failing);
            failing.disarm();
            failed = failing.failures() != 0;
        }
        EXPECT_GT(runs, 1) << "the job allocated nothing";
    }
}

class Faults : public testing::Test {
protected:
    TempDir dir;
};

// After every failure the caller goes on as if nothing had happened, and all is destroyed while memory is still short.
TEST_F(Faults, NoMemoryWhileWriting) {
    const std::wstring path = dir.wide("a.xml");
    VellixDoc root(VELLIX_DOC_RESULTS);
    root.addAttribute(0, 0, false);
    root.addAttribute(1, "1700000000");
    failEachAllocation([&](Failing& failing) {
        std::filesystem::remove(dir.file("a.xml"));
        bool written[2] = {false, false};
        {
            std::unique_ptr<VellixWriter> writer;
            VellixDoc image(VELLIX_DOC_DOC);
            VellixDoc files(VELLIX_DOC_FH);
            VellixEntry entries[2] = {fileEntry("a.txt", 12), fileEntry("b.txt", 7)};
            image.addAttribute(1, "42");
            failing.arm();
            attempt([&] { writer = std::make_unique<VellixWriter>(root); });
            if (writer != nullptr) {
                attempt([&] { writer->create(path.c_str()); });
                attempt([&] { writer->addDoc(image); });
                attempt([&] { image.addChildDoc(files); });
                for (int i = 0; i < 2; ++i) attempt([&] { written[i] = files.addEntry(entries[i]); });
                attempt([&] { files.close(); });
                attempt([&] { image.close(); });
                writer->markComplete();
                attempt([&] { writer->serialize(); });
            }
        }
        failing.disarm();

        const bool isThere = std::filesystem::exists(dir.file("a.xml"));
        const std::string file = isThere ? bytesOf(dir.file("a.xml")) : "";
        std::vector<std::string> expected;
        if (written[0]) expected.emplace_back(R"(<ET NM="a.txt" SZ="12"/>)");
        if (written[1]) expected.emplace_back(R"(<ET NM="b.txt" SZ="7"/>)");
        EXPECT_EQ(entriesIn(file), expected);
        if (failing.failures() == 0 || (file.size() > kMarkAt && file[kMarkAt] == '1')) {
            EXPECT_EQ(file, marked(kSample));
        }
    });
}

TEST_F(Faults, NoMemoryWhileReading) {
    const std::string front = kHeader + R"(<CatResults IC="1" ID="1"><CatDoc ID="7"><CatFH><ET NM=")";
    const std::string file =
        front + std::string(kPageSize - front.size() - 20, 'x') +
        R"("/><ET NM="over the boundary" PT="and a long way on, out of any small buffer"/></CatFH>)" +
        R"(<CatImage PT="1"><CatImage PT="2"/><CatFrag MV="3"/></CatImage></CatDoc></CatResults>)";
    writeFile(dir.file("a.xml"), file);
    const std::wstring path = dir.wide("a.xml");
    const auto walk = [&](VellixReader& reader, std::vector<VellixEntry>& entries) {
        VellixDoc image(VELLIX_DOC_DOC);
        VellixDoc files(VELLIX_DOC_FH);
        VellixDoc cached(VELLIX_DOC_IMAGE);
        return reader.load(path.c_str()) && reader.getFirstDoc(image) && image.getFirstChildDoc(files) &&
               files.getNextEntry(entries[0]) && files.getNextEntry(entries[1]) && !files.getNextEntry(entries[2]) &&
               reader.getNextDoc(cached) && cached.getNumberOfEntries() == 1 && cached.getNumberOfChildDocs() == 1;
    };
    failEachAllocation([&](Failing& failing) {
        std::vector<VellixEntry> entries(3);
        std::unique_ptr<VellixReader> reader;
        failing.arm();
        bool walked = false;
        attempt([&] {
            reader = std::make_unique<VellixReader>();
            walked = walk(*reader, entries);
        });
        failing.disarm();
        EXPECT_TRUE(walked || failing.failures() != 0);
        if (reader == nullptr) return;
        ASSERT_TRUE(walk(*reader, entries)) << "the reader can't be used again";
        EXPECT_EQ(slotsOf(entries[1]), "6=over the boundary; 7=and a long way on, out of any small buffer");
    });
}

TEST_F(Faults, NoMemoryWhileHolding) {
    const std::string text =
        kHeader + R"(<CatDoc ID="7"><CatFH/><CatDoc ID="a value that needs memory of its own"/></CatDoc>)";
    failEachAllocation([&](Failing& failing) {
        VellixDoc held(VELLIX_DOC_DOC);
        VellixDoc loaded(VELLIX_DOC_DOC);
        VellixDoc child(VELLIX_DOC_FH);
        VellixEntry entry;
        std::string shown;
        held.addAttribute(1, "7");
        entry.setType(VELLIX_DOC_DOC);
        entry.addAttribute(1, "a value that needs memory of its own");
        failing.arm();
        bool done = false;
        attempt([&] {
            held.addEntry(entry);
            held.addChildDoc(child);
            VellixDoc assigned;
            assigned = VellixDoc(held);
            assigned.serialize(shown);
            done = loaded.load(text);
        });
        failing.disarm();
        EXPECT_EQ(done, failing.failures() == 0);
        if (done) {
            EXPECT_EQ(shown, text);
            EXPECT_EQ(loaded.getNumberOfEntries(), 1U);
        }
        for (const VellixDoc* doc : {&held, &loaded}) {
            shown.clear();
            doc->serialize(shown);
            EXPECT_GT(doc->size(), shown.size());
        }
    });
}

} // namespace
