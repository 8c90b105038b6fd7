// SPDX-License-Identifier: Apache-2.0
// Power cuts: whatever the system had not been made to store may be there or not, in any mix with what was there before. So
// nothing but the mark may be open once it is written, and what was said to be stored must be.

#include <cerrno>
#include <cstddef>
#include <filesystem>
#include <string>
#include <tuple>
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

// What the disk has of one file, as told by the calls of the library. While there is one, it looks at each of them.
class Disk {
public:
    /// The system refuses the call to store of that number, unless it is negative.
    Disk(std::string file, int refusedCall) : path(std::move(file)), refused(refusedCall) { present = this; }
    ~Disk() { present = nullptr; }
    Disk(const Disk&) = delete;
    Disk& operator=(const Disk&) = delete;

    static Disk* watching() { return present; }

    /// What a program that reads the file sees.
    std::string read() const { return std::filesystem::exists(path) ? bytesOf(path) : ""; }

    /// What a power cut can't take: all of this.
    const std::string& safe() const { return stored; }

    void look() const {
        const std::string now = read();
        EXPECT_TRUE(!isMarked(now) || now == marked(stored)) << "a cut can leave the mark without the rest";
    }

    /// A call comes that stores the file up to `length`; false if it is to be refused.
    bool mayStore() {
        look();
        return ++storing != refused;
    }
    void store(std::size_t length) {
        stored.replace(0, length, read(), 0, length);
        look();
    }

    bool isOn(int descriptor) const {
        struct stat given = {};
        struct stat watched = {};
        return fstat(descriptor, &given) == 0 && stat(path.c_str(), &watched) == 0 && given.st_ino == watched.st_ino;
    }

    int storing = 0; // calls so far

private:
    static Disk* present;
    const std::string path;
    const int refused;
    std::string stored;
};

Disk* Disk::present = nullptr;

// Whether the file is complete, with what no cut can take of it, the calls to store it, the last code, and `isIntact`.
using Outcome = std::tuple<bool, int, int, bool>;

// Plays the calls, of which the system refuses the one to store of that number. c is create, t makes the root another one, f
// adds entries, l one that is refused, y is sync, m is markComplete, x is close, s is serialize.
Outcome play(const char* calls, std::size_t length, int refused) {
    const TempDir dir;
    Disk disk(dir.file("a.xml"), refused);
    std::vector<std::string> written;
    VellixWriter writer;
    VellixDoc files(VELLIX_DOC_FH);
    writer.getRootDoc().addAttribute(1, "7");
    for (const char* call = calls; *call != '\0'; ++call) {
        if (*call == 't') writer.getRootDoc().setType(VELLIX_DOC_FH);
        if (*call == 'c') {
            EXPECT_TRUE(writer.create(dir.wide("a.xml").c_str()));
            writer.addDoc(files);
        }
        for (int i = 0; i < 20 && *call == 'f'; ++i) {
            VellixEntry entry = fileEntry(std::string(length, 'x'), i);
            EXPECT_EQ(files.addEntry(entry), writer.isIntact());
            written.push_back(entry.toString());
        }
        if (*call == 'l') {
            VellixEntry entry = fileEntry(std::string(17U << 20, 'x'));
            EXPECT_FALSE(files.addEntry(entry));
        }
        if (*call == 'y') {
            const bool synced = writer.sync();
            EXPECT_EQ(synced, disk.storing < refused || refused < 0);
            EXPECT_EQ(writer.isIntact(), synced);
            EXPECT_TRUE(!synced || disk.safe() == disk.read());
        }
        if (*call == 'm') writer.markComplete();
        if (*call == 'x' || *call == 's') {
            files.close();
            if (*call == 'x') writer.close();
            EXPECT_TRUE(*call == 'x' || writer.serialize() != nullptr);
        }
        disk.look();
    }
    const bool complete = isMarked(disk.safe());
    EXPECT_TRUE(!complete || entriesIn(disk.safe()) == written);
    EXPECT_EQ(isMarked(disk.read()), complete);
    return {complete, disk.storing, writer.getLastError(), writer.isIntact()};
}

// A system that doesn't store the file prevents the mark. What it didn't store may be lost; but not behind the mark. What can't
// be marked isn't stored either: a file of another root, and one that has lost something.
TEST(PowerCuts, AtEveryCall) {
    constexpr int kLost = VELLIX_ERR_BAD_HANDLE;
    const struct {
        const char* calls;
        int refused;
        Outcome wanted;
    } cases[] = {
        {"mcffx", -1, {true, 2, 0, true}},        {"cffxmx", -1, {true, 2, 0, true}},
        {"cffms", -1, {true, 2, 0, true}},        {"cffxs", -1, {false, 0, 0, true}},
        {"cfyfx", -1, {false, 1, 0, true}},       {"cyfmfx", -1, {true, 3, 0, true}},
        {"cffxmsx", -1, {true, 2, 0, true}},      {"mcffx", 1, {false, 1, kLost, false}},
        {"mcffx", 2, {false, 2, kLost, true}},    {"cffxmx", 1, {false, 1, kLost, false}},
        {"cffxmx", 2, {false, 2, kLost, true}},   {"cfyfyx", 1, {false, 1, kLost, false}},
        {"cfyfy", 2, {false, 2, kLost, false}},   {"mcfyfyx", 1, {false, 1, kLost, false}},
        {"cfflmx", -1, {false, 0, kLost, false}}, {"mtcffx", -1, {false, 0, VELLIX_ERR_SYNTAX, true}},
    };
    for (const auto& c : cases) {
        for (const std::size_t length : {std::size_t{50}, std::size_t{5000}}) {
            SCOPED_TRACE(std::string(c.calls) + std::to_string(c.refused));
            EXPECT_EQ(play(c.calls, length, c.refused), c.wanted);
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
    if (Failing::failing() != nullptr) return -1;
    const ssize_t written = __real_write(descriptor, bytes, length);
    if (Disk::watching() != nullptr) Disk::watching()->look();
    return written;
}

int __wrap_fdatasync(int descriptor) {
    Disk* const disk = Disk::watching();
    errno = EIO;
    if (Failing::failing() != nullptr || (disk != nullptr && !disk->mayStore())) return -1;
    const int result = __real_fdatasync(descriptor);
    if (disk != nullptr && result == 0 && disk->isOn(descriptor)) disk->store(~std::size_t{0});
    return result;
}

int __wrap_msync(void* view, std::size_t length, int flags) {
    Disk* const disk = Disk::watching();
    errno = EIO;
    if (Failing::failing() != nullptr || (disk != nullptr && !disk->mayStore())) return -1;
    const int result = __real_msync(view, length, flags);
    if (disk != nullptr && result == 0 && (flags & MS_SYNC) != 0) disk->store(length);
    return result;
}
}
