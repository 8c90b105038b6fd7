// SPDX-License-Identifier: Apache-2.0
// Power cuts, played on a model of the disk: whatever the system had not been made to store may be there or not, sector by
// sector, and a file that reads as complete must have all of its entries all the same.

#include <cerrno>
#include <cstddef>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include "Failing.h"
#include "FileSupport.h"
#include "TempDir.h"

using namespace filetest;

namespace {

constexpr std::size_t kSector = 512;

std::string sectorOf(const std::string& content, std::size_t number) {
    std::string sector = number * kSector < content.size() ? content.substr(number * kSector, kSector) : "";
    sector.resize(kSector, '\0');
    return sector;
}

// What the disk has of one file, as told by the calls of the library. While there is one, it looks at each of them.
class Disk {
public:
    Disk(std::string file, std::function<void(const std::string&)> survives)
        : path(std::move(file)), check(std::move(survives)) {
        present = this;
    }
    ~Disk() { present = nullptr; }
    Disk(const Disk&) = delete;
    Disk& operator=(const Disk&) = delete;

    static Disk* watching() { return present; }

    /// What a program that reads the file sees.
    std::string read() const { return std::filesystem::exists(path) ? bytesOf(path) : ""; }

    /// Sees what the file is now, and lets the power fail.
    void look() {
        const std::string content = read();
        if (content != versions.back()) versions.push_back(content);
        cutPower();
    }

    /// A call comes that stores the file up to `length`; false if it is to be refused.
    bool mayStore() {
        look();
        return ++storing != refused;
    }
    void stored(std::size_t length) {
        const std::string now = versions.back();
        std::string content = versions.front();
        if (length >= now.size()) content = now;
        for (std::size_t at = 0; at < length && at < now.size(); at += kSector)
            content.replace(at, kSector, now, at, kSector);
        versions.insert(versions.begin(), content);
        if (content == now) versions = {content};
        cutPower();
    }

    bool isOn(int descriptor) const {
        struct stat given = {};
        struct stat watched = {};
        return fstat(descriptor, &given) == 0 && stat(path.c_str(), &watched) == 0 && given.st_ino == watched.st_ino;
    }

    int storing = 0;  // calls so far
    int refused = -1; // the number of the one that the system refuses

private:
    // Every choice of sectors that are as stored last or as written last where they are few, and some of all that they have
    // been since. The first and the last of the versions are the stored and the present one.
    void cutPower() {
        std::vector<std::size_t> open;
        const std::size_t sectors = (versions.back().size() + kSector - 1) / kSector;
        for (std::size_t i = 0; i < sectors; ++i) {
            if (sectorOf(versions.front(), i) != sectorOf(versions.back(), i)) open.push_back(i);
        }
        const bool few = open.size() <= 5;
        const std::size_t choices = few ? std::size_t{2} << open.size() : 40;
        for (std::size_t choice = 0; choice < choices + 10; ++choice) {
            const bool any = choice >= choices;
            const auto version = [&](std::size_t bit) -> const std::string& {
                if (any) return versions[random.below(versions.size())];
                return (few ? choice >> bit & 1U : random.below(2)) != 0 ? versions.back() : versions.front();
            };
            std::string left = versions.back();
            for (std::size_t i = 0; i < open.size(); ++i)
                left.replace(open[i] * kSector, kSector, sectorOf(version(i), open[i]));
            left.resize(version(open.size()).size(), '\0');
            check(left);
        }
    }

    static Disk* present;
    const std::string path;
    const std::function<void(const std::string&)> check;
    std::vector<std::string> versions = {""};
    RandomText random{11};
};

Disk* Disk::present = nullptr;

class PowerCuts : public testing::Test {
protected:
    static constexpr unsigned int kEntries = 40;

    // About 70 bytes, or some pages of them.
    static VellixEntry entryOf(unsigned int number, bool large) {
        return fileEntry("entry " + std::to_string(number) + std::string(large ? 5000 : 50, 'x'), 1);
    }

    static std::vector<std::string> entriesOf(const std::string& content) {
        std::vector<std::string> entries;
        VellixReader reader;
        VellixDoc files(VELLIX_DOC_FH);
        VellixEntry entry;
        reader.load(content.data(), static_cast<unsigned long>(content.size()));
        reader.getFirstDoc(files);
        while (files.getNextEntry(entry)) entries.push_back(slotsOf(entry));
        return entries;
    }

    static bool isComplete(const std::string& content) {
        VellixReader reader;
        return reader.load(content.data(), static_cast<unsigned long>(content.size())) && reader.isComplete();
    }

    // Plays the calls under power cuts; the system refuses the storing of that number. c is create, f adds entries, y is
    // sync, m is markComplete, x is close, s is serialize. Returns what is in the file at last.
    std::string play(const char* calls, bool large, int refused = -1) {
        std::vector<std::string> all;
        for (unsigned int i = 0; i < kEntries; ++i) all.push_back(slotsOf(entryOf(i, large)));
        std::size_t safe = 0; // bytes that no power cut may take
        std::string safeBytes;
        bool marked = false;
        Disk disk(dir.file("a.xml"), [&](const std::string& left) {
            const bool complete = isComplete(left);
            EXPECT_TRUE(!complete || entriesOf(left) == all) << "a complete file has lost entries";
            EXPECT_TRUE(complete || !marked) << "the mark is lost";
            const bool isSafe =
                safe == 0 || left.substr(kMarkAt + 1, safe - kMarkAt - 1) == safeBytes.substr(kMarkAt + 1);
            EXPECT_TRUE(isSafe) << "what was stored is lost";
        });
        disk.refused = refused;
        std::filesystem::remove(dir.file("a.xml"));
        VellixWriter writer;
        VellixDoc files(VELLIX_DOC_FH);
        unsigned int added = 0;
        for (const char* call = calls; *call != '\0'; ++call) {
            if (*call == 'c') {
                EXPECT_TRUE(writer.create(dir.wide("a.xml").c_str()));
                writer.getRootDoc().addAttribute(1, "7");
                writer.addDoc(files);
            }
            for (int i = 0; i < 20 && *call == 'f'; ++i) {
                VellixEntry entry = entryOf(added++, large);
                EXPECT_EQ(files.addEntry(entry), writer.isIntact());
            }
            if (*call == 'y') {
                const bool synced = writer.sync();
                EXPECT_EQ(synced, disk.storing < refused || refused < 0);
                EXPECT_EQ(writer.isIntact(), synced);
                if (synced) safeBytes = disk.read();
                safe = safeBytes.size();
            }
            if (*call == 'm') writer.markComplete();
            if (*call == 'x' || *call == 's') {
                files.close();
                if (*call == 'x') writer.close();
                EXPECT_TRUE(*call == 'x' || writer.serialize() != nullptr);
            }
            marked = isComplete(disk.read());
            disk.look();
        }
        code = writer.getLastError();
        intact = writer.isIntact();
        stored = disk.storing;
        return disk.read();
    }

    TempDir dir;
    int code = 0;
    bool intact = false;
    int stored = 0;
};

TEST_F(PowerCuts, AtEveryCall) {
    const struct {
        const char* calls;
        bool complete;
        int stored;
    } cases[] = {{"mcffx", true, 2},  {"cffxmx", true, 2}, {"cffms", true, 2},  {"cffxs", false, 0},
                 {"cfyfx", false, 1}, {"cyfmfx", true, 3}, {"cffxmsx", true, 2}};
    for (const auto& c : cases) {
        for (const bool large : {false, true}) {
            SCOPED_TRACE(c.calls);
            EXPECT_EQ(isComplete(play(c.calls, large)), c.complete);
            EXPECT_EQ(stored, c.stored);
            EXPECT_EQ(code, VELLIX_SUCCESS);
            EXPECT_TRUE(intact);
        }
    }
}

// What can't be marked isn't stored either: a file of another root, and one that has lost something.
TEST_F(PowerCuts, NothingIsStoredWithoutNeed) {
    for (const VELLIX_DOC_TYPE root : {VELLIX_DOC_FH, VELLIX_DOC_RESULTS}) {
        const Disk disk(dir.file("a.xml"), [](const std::string&) {});
        VellixWriter writer(root);
        VellixDoc files(VELLIX_DOC_FH);
        VellixEntry entry = fileEntry(std::string(root == VELLIX_DOC_FH ? 1 : 17U << 20, 'x'));
        ASSERT_TRUE(writer.create(dir.wide("a.xml").c_str()));
        writer.addDoc(files);
        EXPECT_EQ(files.addEntry(entry), root == VELLIX_DOC_FH);
        files.close();
        writer.markComplete();
        writer.close();
        EXPECT_EQ(disk.storing, 0);
    }
}

// A system that doesn't store the file prevents the mark. What it didn't store may be lost; but not behind the mark.
TEST_F(PowerCuts, RefusedByTheSystem) {
    const struct {
        const char* calls;
        int refused;
        bool intact;
    } cases[] = {{"mcffx", 1, false},  {"mcffx", 2, true},  {"cffxmx", 1, false}, {"cffxmx", 2, true},
                 {"cfyfyx", 1, false}, {"cfyfy", 2, false}, {"mcfyfyx", 1, false}};
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.calls) + std::to_string(c.refused));
        EXPECT_FALSE(isComplete(play(c.calls, false, c.refused)));
        EXPECT_EQ(stored, c.refused) << "it is asked once more";
        EXPECT_EQ(code, VELLIX_ERR_BAD_HANDLE);
        EXPECT_EQ(intact, c.intact);
    }
}

} // namespace

// The library's calls end up here, see CMakeLists.txt.
extern "C" {
ssize_t __real_write(int descriptor, const void* bytes, std::size_t length);
int __real_fdatasync(int descriptor);
int __real_msync(void* view, std::size_t length, int flags);

ssize_t __wrap_write(int descriptor, const void* bytes, std::size_t length) {
    errno = ENOSPC;
    if (Failing::failsNow()) return -1;
    const ssize_t written = __real_write(descriptor, bytes, length);
    if (Disk::watching() != nullptr) Disk::watching()->look();
    return written;
}

int __wrap_fdatasync(int descriptor) {
    Disk* const disk = Disk::watching();
    errno = EIO;
    if (Failing::failsNow() || (disk != nullptr && !disk->mayStore())) return -1;
    const int result = __real_fdatasync(descriptor);
    if (disk != nullptr && result == 0 && disk->isOn(descriptor)) disk->stored(~std::size_t{0});
    return result;
}

int __wrap_msync(void* view, std::size_t length, int flags) {
    Disk* const disk = Disk::watching();
    errno = EIO;
    if (Failing::failsNow() || (disk != nullptr && !disk->mayStore())) return -1;
    const int result = __real_msync(view, length, flags);
    if (disk != nullptr && result == 0 && (flags & MS_SYNC) != 0) disk->stored(length);
    return result;
}
}
