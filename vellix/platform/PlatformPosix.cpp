// SPDX-License-Identifier: Apache-2.0
#include "vellix/platform/Platform.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <cwchar>
#include <memory>
#include <mutex>
#include <new>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include "vellix/platform/Common.h"

namespace platform {

static_assert(sizeof(off_t) == 8, "files of 2 GB and more: build with _FILE_OFFSET_BITS=64");
static_assert(sizeof(wchar_t) == 4, "a wide character is a code point here");

void* const kInvalidHandle = reinterpret_cast<void*>(std::intptr_t{-1}); // NOLINT(performance-no-int-to-ptr)

namespace {

// The numbers of GetLastError. They are the ones that Windows has for the same kinds of failure, so that a caller who
// logs them says the same on both systems.
constexpr unsigned long kNoError = 0;
constexpr unsigned long kFileNotFound = 2;
constexpr unsigned long kPathNotFound = 3;
constexpr unsigned long kTooManyOpenFiles = 4;
constexpr unsigned long kAccessDenied = 5;
constexpr unsigned long kBadHandle = 6;
constexpr unsigned long kWriteProtected = 19;
constexpr unsigned long kGeneralFailure = 31;
constexpr unsigned long kInvalidParameter = 87;
constexpr unsigned long kDiskFull = 112;
constexpr unsigned long kBufferTooSmall = 122;
constexpr unsigned long kNameTooLong = 206;
constexpr unsigned long kInvalidAddress = 487;
constexpr unsigned long kEmptyFile = 1006;

struct ErrnoRow {
    int number;
    unsigned long error;
};

// Sought by either column. The first row of an error is what a refusal of our own looks like to the system.
const ErrnoRow kErrnoRows[] = {{ENOENT, kFileNotFound},     {ENOTDIR, kPathNotFound},  {EMFILE, kTooManyOpenFiles},
                               {ENFILE, kTooManyOpenFiles}, {EACCES, kAccessDenied},   {EPERM, kAccessDenied},
                               {EISDIR, kAccessDenied},     {ENXIO, kAccessDenied},    {EBADF, kBadHandle},
                               {ENOMEM, kNotEnoughMemory},  {EROFS, kWriteProtected},  {EINVAL, kInvalidParameter},
                               {ENOSPC, kDiskFull},         {ERANGE, kBufferTooSmall}, {ENAMETOOLONG, kNameTooLong},
                               {EFAULT, kInvalidAddress},   {ENODATA, kEmptyFile}};

thread_local unsigned long lastError = kNoError;
thread_local int lastErrno = 0; // the same as a number of the system

// Null, so that a failed operation can record its error and answer in one statement.
std::nullptr_t failed(unsigned long error, int number) {
    lastError = error;
    lastErrno = number;
    return nullptr;
}

// The same for what is refused here.
std::nullptr_t failed(unsigned long error) {
    for (const ErrnoRow& row : kErrnoRows) {
        if (row.error == error) return failed(error, row.number);
    }
    return failed(error, EIO);
}

// The same for a call that left its reason in errno.
std::nullptr_t failedCall() {
    for (const ErrnoRow& row : kErrnoRows) {
        if (row.number == errno) return failed(row.error, errno);
    }
    return failed(kGeneralFailure, errno);
}

template <typename Call> auto retryInterrupted(Call call) {
    auto result = call();
    while (result == -1 && errno == EINTR) result = call();
    return result;
}

class Descriptor {
public:
    explicit Descriptor(int number = -1) : descriptor(number) {}

    // Never repeated after an interruption: the number is free by then, and may be another thread's already.
    ~Descriptor() {
        if (isOpen()) ::close(descriptor);
    }

    Descriptor(Descriptor&& other) noexcept : descriptor(other.release()) {}
    Descriptor& operator=(Descriptor&&) = delete;
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    bool isOpen() const { return descriptor >= 0; }
    int get() const { return descriptor; }

    int release() {
        const int number = descriptor;
        descriptor = -1;
        return number;
    }

private:
    int descriptor;
};

// An open file, kept by its handle and by the mapping objects made of it.
using SharedFile = std::shared_ptr<const Descriptor>;

SharedFile share(Descriptor&& file) {
    try {
        return std::make_shared<const Descriptor>(std::move(file));
    } catch (const std::bad_alloc&) {
        return failed(kNotEnoughMemory);
    }
}

enum class Kind { kFile, kMapping };

// What a handle points at.
struct Object {
    Object(Kind which, SharedFile descriptor, bool mayWrite, std::uint64_t bytes)
        : kind(which), file(std::move(descriptor)), writable(mayWrite), size(bytes) {}

    const Kind kind;
    const SharedFile file;
    const bool writable;
    const std::uint64_t size; // of a mapping object; a file is asked each time
};

Object* objectOf(void* handle) {
    if (handle == nullptr || handle == kInvalidHandle) return failed(kBadHandle);
    return static_cast<Object*>(handle);
}

const Object* objectOf(void* handle, Kind kind) {
    const Object* const object = objectOf(handle);
    if (object == nullptr || object->kind == kind) return object;
    return failed(kBadHandle);
}

// The present size of a file, nothing if the system won't tell.
std::optional<std::uint64_t> sizeOf(const Descriptor& file) {
    struct stat status = {};
    if (::fstat(file.get(), &status) != 0) {
        failedCall();
        return std::nullopt;
    }
    return static_cast<std::uint64_t>(status.st_size);
}

bool readState(int descriptor, FileState& state) {
    struct stat status = {};
    if (::fstat(descriptor, &status) != 0) {
        failedCall();
        return false;
    }
    if (!S_ISREG(status.st_mode)) {
        failed(kAccessDenied);
        return false;
    }
    state.volume = static_cast<std::uint64_t>(status.st_dev);
    state.number = static_cast<std::uint64_t>(status.st_ino);
    state.size = static_cast<std::uint64_t>(status.st_size);
    return true;
}

bool syncDescriptor(int descriptor) {
    if (retryInterrupted([=] { return ::fdatasync(descriptor); }) == 0) return true;
    failedCall();
    return false;
}

// Takes one character from the text, which isn't at its end.
std::uint32_t nextCodePoint(const wchar_t*& text, const wchar_t* end) {
    const auto isLow = [](std::uint32_t unit) { return unit >= 0xDC00 && unit <= 0xDFFF; };
    const auto first = static_cast<std::uint32_t>(*text++);
    if (first < 0xD800) return first;
    if (first <= 0xDBFF && text != end && isLow(static_cast<std::uint32_t>(*text))) {
        return 0x10000 + ((first - 0xD800) << 10) + (static_cast<std::uint32_t>(*text++) - 0xDC00);
    }
    return first <= 0xDFFF || first > 0x10FFFF ? 0xFFFD : first;
}

constexpr std::size_t kLongestUnit = 4;

// Puts a character into `unit` as UTF-8 and returns the number of bytes.
int encodeUtf8(std::uint32_t codePoint, char (&unit)[kLongestUnit]) {
    if (codePoint < 0x80) {
        unit[0] = static_cast<char>(codePoint);
        return 1;
    }
    const int length = codePoint < 0x800 ? 2 : codePoint < 0x10000 ? 3 : 4;
    for (int i = length - 1; i > 0; --i) {
        unit[i] = static_cast<char>(0x80 | (codePoint & 0x3F));
        codePoint >>= 6;
    }
    unit[0] = static_cast<char>((0xF00U >> length & 0xFFU) | codePoint); // 0xC0, 0xE0, 0xF0
    return length;
}

// In a path, a byte that is no part of well-formed UTF-8 is this much and the byte.
constexpr std::uint32_t kLoneByte = 0xDC00;

// Takes one character from the text, which isn't at its end, and puts it into `unit`. A lone byte may stand only in a path.
int encodeNext(const wchar_t*& text, const wchar_t* end, bool isPath, char (&unit)[kLongestUnit]) {
    const std::uint32_t byte = static_cast<std::uint32_t>(*text) - kLoneByte;
    if (!isPath || byte < 0x80 || byte > 0xFF) return encodeUtf8(nextCodePoint(text, end), unit);
    unit[0] = static_cast<char>(byte);
    ++text;
    return 1;
}

// Turns a text into UTF-8 and returns the number of bytes, or 0 if they don't fit into `size`. With a `size` of 0 it only
// counts.
int encodeText(const wchar_t* text, const wchar_t* end, bool isPath, char* out, int size) {
    const int room = size == 0 ? INT_MAX : size;
    int total = 0;
    while (text != end) {
        char unit[kLongestUnit];
        const int bytes = encodeNext(text, end, isPath, unit);
        if (bytes > room - total) {
            failed(kBufferTooSmall);
            return 0;
        }
        if (size != 0) std::memcpy(out + total, unit, static_cast<std::size_t>(bytes));
        total += bytes;
    }
    return total;
}

// Reads up to `length` bytes from `offset`, fewer at the end of the file alone. False if the system fails.
bool readFrom(const Descriptor& file, std::uint64_t offset, char* out, std::size_t length, std::size_t& got) {
    got = 0;
    while (got < length) {
        const std::uint64_t at = offset + got;
        const std::size_t wanted = readableAtOnce(at, length - got);
        const auto more =
            retryInterrupted([&] { return ::pread(file.get(), out + got, wanted, static_cast<off_t>(at)); });
        if (more == 0) break;
        if (more < 0) {
            failedCall();
            return false;
        }
        got += static_cast<std::size_t>(more);
    }
    return true;
}

// The bytes of a path. The name of a temporary file takes no memory, so that it can be deleted when there is none.
class NarrowPath {
public:
    explicit NarrowPath(const wchar_t* path) {
        if (path == nullptr) {
            failed(kInvalidParameter);
            return;
        }
        const wchar_t* const end = path + std::wcslen(path) + 1;
        const int size = encodeText(path, end, true, nullptr, 0);
        if (size == 0) return;
        char* room = nearby;
        if (static_cast<std::size_t>(size) > sizeof nearby) {
            memory.reset(new (std::nothrow) char[static_cast<std::size_t>(size)]);
            room = memory.get();
        }
        if (room == nullptr) {
            failed(kNotEnoughMemory);
            return;
        }
        encodeText(path, end, true, room, size);
        text = room;
    }

    // Null if there is no path or memory ran out.
    const char* get() const { return text; }

private:
    const char* text = nullptr;
    char nearby[4 * 260] = {}; // what the writer's room for such a name comes to at most
    std::unique_ptr<char[]> memory;
};

// Takes one character from a path, which isn't at its end.
wchar_t decodeNext(const char*& path) {
    constexpr std::uint32_t kLeast[] = {0, 0x80, 0x800, 0x10000}; // by the bytes behind the first
    const auto lead = static_cast<unsigned char>(*path++);
    if (lead < 0x80) return static_cast<wchar_t>(lead);
    const int tails = lead < 0xC0 ? 0 : lead < 0xE0 ? 1 : lead < 0xF0 ? 2 : lead < 0xF8 ? 3 : 0;
    std::uint32_t codePoint = lead & (0x3FU >> tails);
    bool wellFormed = tails != 0;
    for (int i = 0; i < tails && wellFormed; ++i) { // a NUL ends it too
        const auto byte = static_cast<unsigned char>(path[i]);
        codePoint = codePoint << 6 | (byte & 0x3F);
        wellFormed = (byte & 0xC0) == 0x80;
    }
    const bool isSurrogate = codePoint >= 0xD800 && codePoint <= 0xDFFF;
    if (!wellFormed || codePoint < kLeast[tails] || codePoint > 0x10FFFF || isSurrogate)
        return static_cast<wchar_t>(kLoneByte + lead);
    path += tails;
    return static_cast<wchar_t>(codePoint);
}

// Puts a path into `out`, and nothing if it doesn't fit.
bool widenInto(const char* path, wchar_t* out, std::size_t size) {
    wchar_t* const start = out;
    for (const wchar_t* const last = out + size - 1; out != last; ++out) {
        if (*path == '\0') {
            *out = L'\0';
            return true;
        }
        *out = decodeNext(path);
    }
    *out = L'\0';
    if (*path == '\0') return true;
    *start = L'\0';
    return false;
}

constexpr mode_t kNewFileMode = 0666; // less the umask

Descriptor openDescriptor(const char* path, int flags) {
    Descriptor file(retryInterrupted([=] { return ::open(path, flags | O_CLOEXEC | O_NOCTTY, kNewFileMode); }));
    if (!file.isOpen()) failedCall();
    return file;
}

bool isOfType(const Descriptor& file, mode_t type) {
    struct stat status = {};
    return ::fstat(file.get(), &status) == 0 && (status.st_mode & S_IFMT) == type;
}

// Opening a pipe may wait for its other end, and what a path names is known for sure only once it is open. O_NONBLOCK
// means nothing on the regular file that it stays on.
Descriptor openRegular(const char* path, int flags) {
    Descriptor file = openDescriptor(path, flags | O_NONBLOCK);
    if (!file.isOpen() || isOfType(file, S_IFREG)) return file;
    failed(kAccessDenied);
    return Descriptor();
}

std::FILE* streamOn(Descriptor file, const char* mode) {
    std::FILE* const stream = ::fdopen(file.get(), mode);
    if (stream == nullptr) return failedCall();
    file.release();
    return stream;
}

struct StreamRow {
    int flags;
    const char* mode;
};

// In the order of StreamMode.
const StreamRow kStreamRows[] = {{O_RDONLY, "rb"},
                                 {O_RDWR, "rb+"},
                                 {O_WRONLY | O_CREAT | O_TRUNC, "wb"},
                                 {O_RDWR | O_CREAT | O_TRUNC, "wb+"},
                                 {O_WRONLY | O_CREAT | O_APPEND, "ab"},
                                 {O_RDWR | O_CREAT | O_APPEND, "ab+"}};

struct ViewRow {
    unsigned long access;
    int protection;
    int flags;
    bool needsWritable;
};

// What each view access is made of. Sought from the top: a view to write can be read as well.
const ViewRow kViewRows[] = {{kMapCopy, PROT_READ | PROT_WRITE, MAP_PRIVATE, false},
                             {kMapWrite, PROT_READ | PROT_WRITE, MAP_SHARED, true},
                             {kMapWrite | kMapRead, PROT_READ | PROT_WRITE, MAP_SHARED, true},
                             {kMapRead, PROT_READ, MAP_SHARED, false},
                             {0, PROT_NONE, MAP_SHARED, false}};

const ViewRow* viewRow(unsigned long access) {
    for (const ViewRow& row : kViewRows) {
        if (row.access == access) return &row;
    }
    return nullptr;
}

// The longest view that is read and not mapped.
constexpr std::size_t kPageLength = 65536;

// The memory of views that were read and have ended, for the next ones. Any thread takes and gives, and none waits for
// another. Never destroyed: an object of static duration may end its view after everything of ours would have gone.
class SparePages {
public:
    // Null if memory ran out.
    void* take() {
        for (std::atomic<void*>& place : places) {
            if (place.load(std::memory_order_relaxed) == nullptr) continue;
            if (void* const page = place.exchange(nullptr)) return page;
        }
        return std::malloc(kPageLength);
    }

    void give(void* page) {
        for (std::atomic<void*>& place : places) {
            void* none = nullptr;
            if (place.compare_exchange_strong(none, page)) return;
        }
        std::free(page);
    }

private:
    std::atomic<void*> places[4] = {};
};

SparePages sparePages;

// What every view is made of, since a view is ended by its address alone.
class ViewTable {
public:
    struct View {
        void* address;
        std::size_t length;
        bool isMapped; // or read into a page of memory
    };

    // False if memory ran out.
    bool add(const View& view) {
        const std::lock_guard<std::mutex> lock(mutex);
        try {
            views.push_back(view);
        } catch (const std::bad_alloc&) {
            failed(kNotEnoughMemory);
            return false;
        }
        return true;
    }

    // The lock is held until the view has gone from here: another thread could be given the same address in between.
    bool end(void* address) {
        const std::lock_guard<std::mutex> lock(mutex);
        for (View& view : views) {
            if (view.address != address) continue;
            if (!release(view)) return false;
            view = views.back();
            views.pop_back();
            return true;
        }
        failed(kInvalidAddress);
        return false;
    }

private:
    static bool release(const View& view) {
        if (!view.isMapped) {
            sparePages.give(view.address);
            return true;
        }
        if (::munmap(view.address, view.length) == 0) return true;
        failedCall();
        return false;
    }

    std::mutex mutex;
    std::vector<View> views;
};

// The table that a view is in goes by its address, so that threads hardly ever meet at one lock. Never destroyed, like the
// spare pages.
ViewTable& viewTable(const void* address) {
    constexpr unsigned int kTables = 64;
    constexpr unsigned int kShift = 64 - 6; // to the leading bits of a product, which depend on all others
    struct alignas(64) Table : ViewTable {};
    using Tables = std::array<Table, kTables>;
    alignas(Tables) static unsigned char place[sizeof(Tables)];
    static Tables& tables = *new (place) Tables;
    const auto number = static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(address));
    return tables[static_cast<std::size_t>(number * 0x9E3779B97F4A7C15U >> kShift)];
}

void* mapView(const ViewRow& row, const Object& object, std::uint64_t offset, std::size_t length) {
    // The file may have been cut since, and touching what is gone would end the process.
    const std::optional<std::uint64_t> present = sizeOf(*object.file);
    if (!present) return nullptr;
    if (offset + length > *present) return failed(kAccessDenied); // no wrap: it is within the object
    void* const address =
        ::mmap(nullptr, length, row.protection, row.flags, object.file->get(), static_cast<off_t>(offset));
    if (address == MAP_FAILED) return failedCall(); // NOLINT(performance-no-int-to-ptr)
    if (viewTable(address).add({address, length, true})) return address;
    ::munmap(address, length);
    return nullptr;
}

// What is in memory can't be taken away when the file is cut or its disk fails, and costs less than a mapped page.
void* readView(const Object& object, std::uint64_t offset, std::size_t length) {
    void* const page = sparePages.take();
    if (page == nullptr) return failed(kNotEnoughMemory);
    std::size_t got = 0;
    const bool read = readFrom(*object.file, offset, static_cast<char*>(page), length, got);
    if (read && got < length) failed(kAccessDenied); // as for a mapped view
    if (read && got == length && viewTable(page).add({page, length, false})) return page;
    sparePages.give(page);
    return nullptr;
}

// A path in the system's temporary directory that mkostemp can complete, null if memory ran out.
std::unique_ptr<char[]> temporaryPattern() {
    constexpr char kName[] = "/vellixXXXXXX";
    const char* directory = std::getenv("TMPDIR");
    if (directory == nullptr || *directory == '\0') directory = "/tmp";
    const std::size_t length = std::strlen(directory);
    std::unique_ptr<char[]> pattern(new (std::nothrow) char[length + sizeof(kName)]);
    if (pattern == nullptr) return failed(kNotEnoughMemory);
    std::memcpy(pattern.get(), directory, length);
    std::memcpy(pattern.get() + length, kName, sizeof(kName));
    return pattern;
}

} // namespace

void* CreateFileW(const wchar_t* path, unsigned long access, unsigned long /*shareMode*/, void* /*security*/,
                  unsigned long disposition, unsigned long /*attributes*/, void* /*templateFile*/) {
    const bool writable = (access & kGenericWrite) != 0;
    const bool known = disposition == kOpenExisting || disposition == kOpenAlways;
    const NarrowPath text(path);
    if (text.get() == nullptr) return kInvalidHandle;
    if ((access & kGenericRead) == 0 || !known) {
        failed(kInvalidParameter);
        return kInvalidHandle;
    }

    const int flags = (writable ? O_RDWR : O_RDONLY) | (disposition == kOpenAlways ? O_CREAT : 0);
    Descriptor file = openRegular(text.get(), flags);
    if (!file.isOpen()) return kInvalidHandle;
    SharedFile shared = share(std::move(file));
    if (shared == nullptr) return kInvalidHandle;
    Object* const object = new (std::nothrow) Object(Kind::kFile, std::move(shared), writable, 0);
    if (object != nullptr) return object;
    failed(kNotEnoughMemory);
    return kInvalidHandle;
}

unsigned long GetFileSize(void* file, unsigned long* high) {
    constexpr unsigned long kFailed = 0xFFFFFFFFUL;
    const Object* const object = objectOf(file, Kind::kFile);
    if (object == nullptr) return kFailed;
    const std::optional<std::uint64_t> size = sizeOf(*object->file);
    if (!size) return kFailed;
    if (high != nullptr) *high = static_cast<unsigned long>(*size >> 32);
    failed(kNoError, 0);
    return static_cast<unsigned long>(*size & 0xFFFFFFFFUL);
}

unsigned long GetLastError() { return lastError; }

std::error_code systemError() { return {lastErrno, std::system_category()}; }

bool readAt(void* file, __int64 offset, void* out, std::size_t length, std::size_t& got) {
    got = 0;
    const Object* const object = objectOf(file, Kind::kFile);
    if (object == nullptr) return false;
    if (offset < 0) {
        failed(kInvalidParameter);
        return false;
    }
    return readFrom(*object->file, static_cast<std::uint64_t>(offset), static_cast<char*>(out), length, got);
}

void* CreateFileMappingW(void* file, void* /*security*/, unsigned long protection, unsigned long sizeHigh,
                         unsigned long sizeLow, const wchar_t* name) {
    const Object* const object = objectOf(file, Kind::kFile);
    if (object == nullptr) return nullptr;
    const unsigned long page = protection & ~kSecCommit;
    if ((page != kPageReadOnly && page != kPageReadWrite) || sizeHigh != 0 || sizeLow != 0 || name != nullptr) {
        return failed(kInvalidParameter);
    }
    const bool writable = page == kPageReadWrite;
    if (writable && !object->writable) return failed(kAccessDenied);
    const std::optional<std::uint64_t> size = sizeOf(*object->file);
    if (!size) return nullptr;
    if (*size == 0) return failed(kEmptyFile);

    Object* const mapping = new (std::nothrow) Object(Kind::kMapping, object->file, writable, *size);
    if (mapping == nullptr) return failed(kNotEnoughMemory);
    return mapping;
}

void* MapViewOfFile(void* mapping, unsigned long access, unsigned long offsetHigh, unsigned long offsetLow,
                    std::size_t length) {
    const Object* const object = objectOf(mapping, Kind::kMapping);
    if (object == nullptr) return nullptr;
    const std::uint64_t offset = joinWords(offsetHigh, offsetLow);
    const std::optional<std::size_t> wanted = viewLength(object->size, offset, length);
    const ViewRow* const row = viewRow(access);
    if (!wanted || row == nullptr) return failed(kInvalidParameter);
    if (row->needsWritable && !object->writable) return failed(kAccessDenied);
    if (access == kMapCopy && *wanted <= kPageLength) return readView(*object, offset, *wanted);
    return mapView(*row, *object, offset, *wanted);
}

bool UnmapViewOfFile(void* view) { return viewTable(view).end(view); }

bool CloseHandle(void* handle) {
    const std::unique_ptr<Object> object(objectOf(handle));
    return object != nullptr;
}

int WideCharToMultiByte(unsigned int codePage, unsigned long flags, const wchar_t* text, int length, char* out,
                        int size, const char* defaultChar, int* usedDefaultChar) {
    const bool plain = codePage == kUtf8 && flags == 0 && defaultChar == nullptr && usedDefaultChar == nullptr;
    const bool given = text != nullptr && length >= -1 && length != 0 && size >= 0 && (out != nullptr || size == 0);
    if (!plain || !given) {
        failed(kInvalidParameter);
        return 0;
    }
    const wchar_t* const end = text + (length == -1 ? std::wcslen(text) + 1 : static_cast<std::size_t>(length));
    return encodeText(text, end, false, out, size);
}

std::wstring widen(const char* name) {
    std::wstring wide;
    while (*name != '\0') wide += decodeNext(name);
    return wide;
}

std::FILE* _wfopen(const wchar_t* path, const wchar_t* mode) {
    const NarrowPath text(path);
    if (text.get() == nullptr) return nullptr;
    const std::optional<StreamMode> wanted = readStreamMode(mode);
    if (!wanted) return failed(kInvalidParameter);

    const StreamRow& row = kStreamRows[static_cast<std::size_t>(*wanted)];
    Descriptor file = openDescriptor(text.get(), row.flags);
    if (!file.isOpen()) return nullptr;
    if (isOfType(file, S_IFDIR)) return failed(kAccessDenied); // the system lets one be opened to read
    return streamOn(std::move(file), row.mode);
}

std::FILE* openForReading(const char* path) {
    if (path == nullptr) return failed(kInvalidParameter);
    Descriptor file = openRegular(path, O_RDONLY);
    if (!file.isOpen()) return nullptr;
    return streamOn(std::move(file), "rb");
}

std::size_t writeThrough(std::FILE* stream, const char* bytes, std::size_t length) {
    const int descriptor = ::fileno(stream);
    std::size_t taken = 0;
    while (taken < length) {
        const auto more = retryInterrupted([&] { return ::write(descriptor, bytes + taken, length - taken); });
        if (more <= 0) break;
        taken += static_cast<std::size_t>(more);
    }
    return taken;
}

bool stepBack(std::FILE* stream, std::size_t length) {
    return ::lseek(::fileno(stream), -static_cast<off_t>(length), SEEK_CUR) >= 0;
}

bool stateOf(std::FILE* stream, FileState& state) { return readState(::fileno(stream), state); }

bool stateOf(void* file, FileState& state) {
    const Object* const object = objectOf(file, Kind::kFile);
    return object != nullptr && readState(object->file->get(), state);
}

int keepOpen(std::FILE* stream) {
    const int kept = ::fcntl(::fileno(stream), F_DUPFD_CLOEXEC, 0);
    if (kept < 0) failedCall();
    return kept;
}

void letGo(int kept) { ::close(kept); }

bool syncFile(std::FILE* stream) { return syncDescriptor(::fileno(stream)); }

bool syncFile(void* file) {
    const Object* const object = objectOf(file, Kind::kFile);
    return object != nullptr && syncDescriptor(object->file->get());
}

bool syncView(void* /*file*/, void* view, std::size_t length) {
    if (retryInterrupted([=] { return ::msync(view, length, MS_SYNC); }) == 0) return true;
    failedCall();
    return false;
}

int _fseeki64(std::FILE* stream, __int64 offset, int origin) { return ::fseeko(stream, offset, origin); }

__int64 _ftelli64(std::FILE* stream) { return ::ftello(stream); }

int _wtmpnam_s(wchar_t* name, std::size_t size) {
    if (name == nullptr || size == 0) return EINVAL;
    name[0] = L'\0';
    const std::unique_ptr<char[]> pattern = temporaryPattern();
    if (pattern == nullptr) return ENOMEM;
    // mkostemp only puts one ASCII character for another: if the pattern fits, the name does, and no file is left behind
    // that nobody knows of.
    if (!widenInto(pattern.get(), name, size)) return ERANGE;

    char* const tail = pattern.get() + std::strlen(pattern.get()) - 6;
    const Descriptor file(retryInterrupted([&] {
        std::memcpy(tail, "XXXXXX", 6); // a failed try leaves its own there
        return ::mkostemp(pattern.get(), O_CLOEXEC);
    }));
    if (!file.isOpen()) {
        name[0] = L'\0';
        const int reason = errno;
        failedCall();
        return reason;
    }
    widenInto(pattern.get(), name, size);
    return 0;
}

int _wunlink(const wchar_t* path) {
    const NarrowPath text(path);
    if (text.get() == nullptr) return -1;
    if (::unlink(text.get()) == 0) return 0;
    failedCall();
    return -1;
}

__int64 _time64(__int64* seconds) {
    const auto now = static_cast<__int64>(std::time(nullptr));
    if (seconds != nullptr) *seconds = now;
    return now;
}

int atoi(const char* text) { return decimalValue<int>(text); }

long atol(const char* text) { return decimalValue<int>(text); }

__int64 _atoi64(const char* text) { return decimalValue<__int64>(text); }

int _strnicmp(const char* left, const char* right, std::size_t count) {
    return compareIgnoringCase(left, right, count);
}

char* _strdup(const char* text) { return text == nullptr ? nullptr : ::strdup(text); }

} // namespace platform
