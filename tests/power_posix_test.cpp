// SPDX-License-Identifier: Apache-2.0
// Power cuts, played on a model of the disk: whatever the system had not been made to store may be there or not, sector by
// sector, and a file that reads as complete must have all of its entries all the same.

#include <algorithm>
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

// What the disk has of one file, as told by the calls of the library. While there is one, it looks at each of them.
class Disk {
public:
    /// The system refuses the call to store of that number, unless it is negative.
    Disk(std::string file, int refusedCall, std::function<void(const std::string&)> survives)
        : path(std::move(file)), refused(refusedCall), check(std::move(survives)) {
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

    int storing = 0; // calls so far

private:
    // Each sector, and the length, is as stored last or as written last, or as at any time in between. The first and the last
    // of the versions are the stored and the present one.
    void cutPower() {
        const std::string& now = versions.back();
        for (std::size_t choice = 0; choice < 50; ++choice) {
            const std::size_t among = choice < 40 ? 2 : versions.size(); // the outer ones alone
            const auto version = [&]() -> const std::string& {
                const std::size_t number = choice < 2 ? choice : random.below(among);
                return number == among - 1 ? now : versions[number];
            };
            std::string left(now.size(), '\0');
            for (std::size_t at = 0; at < left.size(); at += kSector) {
                const std::string& from = version();
                if (at < from.size()) from.copy(&left[at], std::min(kSector, left.size() - at), at);
            }
            left.resize(version().size(), '\0');
            check(left);
        }
    }

    static Disk* present;
    const std::string path;
    const int refused;
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

    // Plays the calls under power cuts; the system refuses the storing of that number. c is create, t makes the root another
    // one, f adds entries, l one that is refused, y is sync, m is markComplete, x is close, s is serialize.
    void play(const char* calls, bool large, int refused) {
        std::vector<std::string> all;
        for (unsigned int i = 0; i < kEntries; ++i) all.push_back(slotsOf(entryOf(i, large)));
        std::string safe; // what no power cut may take
        bool marked = false;
        Disk disk(dir.file("a.xml"), refused, [&](const std::string& left) {
            const bool isMarked = isComplete(left);
            EXPECT_TRUE(!isMarked || entriesOf(left) == all) << "a complete file has lost entries";
            EXPECT_TRUE(isMarked || !marked) << "the mark is lost";
            const bool isThere = safe.empty() || left.compare(kMarkAt + 1, safe.size(), safe) == 0;
            EXPECT_TRUE(isThere) << "what was stored is lost";
        });
        std::filesystem::remove(dir.file("a.xml"));
        VellixWriter writer;
        VellixDoc files(VELLIX_DOC_FH);
        unsigned int added = 0;
        writer.getRootDoc().addAttribute(1, "7");
        for (const char* call = calls; *call != '\0'; ++call) {
            if (*call == 't') writer.getRootDoc().setType(VELLIX_DOC_FH);
            if (*call == 'c') {
                EXPECT_TRUE(writer.create(dir.wide("a.xml").c_str()));
                writer.addDoc(files);
            }
            for (int i = 0; i < 20 && *call == 'f'; ++i) {
                VellixEntry entry = entryOf(added++, large);
                EXPECT_EQ(files.addEntry(entry), writer.isIntact());
            }
            if (*call == 'l') {
                VellixEntry entry = fileEntry(std::string(17U << 20, 'x'));
                EXPECT_FALSE(files.addEntry(entry));
            }
            if (*call == 'y') {
                const bool synced = writer.sync();
                EXPECT_EQ(synced, disk.storing < refused || refused < 0);
                EXPECT_EQ(writer.isIntact(), synced);
                safe = synced ? disk.read().substr(kMarkAt + 1) : "";
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
        complete = marked;
        code = writer.getLastError();
        intact = writer.isIntact();
        stored = disk.storing;
    }

    TempDir dir;
    bool complete = false;
    int code = 0;
    bool intact = false;
    int stored = 0;
};

// A system that doesn't store the file prevents the mark. What it didn't store may be lost; but not behind the mark. What can't
// be marked isn't stored either: a file of another root, and one that has lost something.
TEST_F(PowerCuts, AtEveryCall) {
    constexpr int kLost = VELLIX_ERR_BAD_HANDLE;
    const struct {
        const char* calls;
        int refused;
        int stored; // calls for it
        bool complete;
        int code;
        bool intact;
    } cases[] = {
        {"mcffx", -1, 2, true, 0, true},        {"cffxmx", -1, 2, true, 0, true},
        {"cffms", -1, 2, true, 0, true},        {"cffxs", -1, 0, false, 0, true},
        {"cfyfx", -1, 1, false, 0, true},       {"cyfmfx", -1, 3, true, 0, true},
        {"cffxmsx", -1, 2, true, 0, true},      {"mcffx", 1, 1, false, kLost, false},
        {"mcffx", 2, 2, false, kLost, true},    {"cffxmx", 1, 1, false, kLost, false},
        {"cffxmx", 2, 2, false, kLost, true},   {"cfyfyx", 1, 1, false, kLost, false},
        {"cfyfy", 2, 2, false, kLost, false},   {"mcfyfyx", 1, 1, false, kLost, false},
        {"cfflmx", -1, 0, false, kLost, false}, {"mtcffx", -1, 0, false, VELLIX_ERR_SYNTAX, true},
    };
    for (const auto& c : cases) {
        for (const bool large : {false, true}) {
            SCOPED_TRACE(std::string(c.calls) + std::to_string(c.refused));
            play(c.calls, large, c.refused);
            EXPECT_EQ(complete, c.complete);
            EXPECT_EQ(stored, c.stored);
            EXPECT_EQ(code, c.code);
            EXPECT_EQ(intact, c.intact);
        }
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
