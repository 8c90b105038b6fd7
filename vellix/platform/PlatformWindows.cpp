// SPDX-License-Identifier: Apache-2.0
#include "vellix/platform/Platform.h"

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <cwchar>
#include <memory>
#include <new>
#include <optional>

#ifndef NOMINMAX
#define NOMINMAX
#endif
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>

#include <fcntl.h>
#include <io.h>
#include <share.h>
#include <sys/stat.h>

#include "vellix/platform/Common.h"

namespace platform {

static_assert(sizeof(wchar_t) == 2, "wide text is UTF-16 here");

void* const kInvalidHandle = INVALID_HANDLE_VALUE; // NOLINT(performance-no-int-to-ptr)

namespace {

// Null, so that a failed operation can record its error and answer in one statement.
std::nullptr_t failed(DWORD error) {
    ::SetLastError(error);
    return nullptr;
}

// Ends a system handle, and leaves the last error to the failure that made it useless.
class SystemHandle {
public:
    explicit SystemHandle(HANDLE system) : handle(system) {}

    ~SystemHandle() {
        if (!isOpen()) return;
        const DWORD error = ::GetLastError();
        ::CloseHandle(handle);
        ::SetLastError(error);
    }

    SystemHandle(SystemHandle&& other) noexcept : handle(other.release()) {}
    SystemHandle& operator=(SystemHandle&&) = delete;
    SystemHandle(const SystemHandle&) = delete;
    SystemHandle& operator=(const SystemHandle&) = delete;

    bool isOpen() const { return handle != nullptr && handle != INVALID_HANDLE_VALUE; }
    HANDLE get() const { return handle; }

    HANDLE release() {
        void* const system = handle;
        handle = nullptr;
        return system;
    }

private:
    HANDLE handle;
};

enum class Kind { kFile, kMapping };

// What a handle points at. The system doesn't tell the size of a mapping object, and its own handles would let a file
// pass for one up to the call.
struct Object {
    Object(Kind which, SystemHandle&& system, std::uint64_t bytes)
        : kind(which), handle(static_cast<SystemHandle&&>(system)), size(bytes) {}

    const Kind kind;
    const SystemHandle handle;
    const std::uint64_t size; // of a mapping object; a file is asked each time
};

Object* objectOf(void* handle) {
    if (handle == nullptr || handle == kInvalidHandle) return failed(ERROR_INVALID_HANDLE);
    return static_cast<Object*>(handle);
}

const Object* objectOf(void* handle, Kind kind) {
    const Object* const object = objectOf(handle);
    if (object == nullptr || object->kind == kind) return object;
    return failed(ERROR_INVALID_HANDLE);
}

// The present size of a file, nothing if the system won't tell.
std::optional<std::uint64_t> sizeOf(const SystemHandle& file) {
    LARGE_INTEGER size = {};
    if (::GetFileSizeEx(file.get(), &size) == 0) return std::nullopt;
    return static_cast<std::uint64_t>(size.QuadPart);
}

// Pipes, consoles and devices have another type; a volume or a whole disk, which shares the type, has no information.
bool readState(HANDLE file, FileState& state) {
    BY_HANDLE_FILE_INFORMATION information = {};
    const bool regular = ::GetFileType(file) == FILE_TYPE_DISK &&
                         ::GetFileInformationByHandle(file, &information) != 0 &&
                         (information.dwFileAttributes & (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_DEVICE)) == 0;
    if (!regular) return false;
    state.volume = information.dwVolumeSerialNumber;
    state.number = joinWords(information.nFileIndexHigh, information.nFileIndexLow);
    state.size = joinWords(information.nFileSizeHigh, information.nFileSizeLow);
    return true;
}

HANDLE handleOf(std::FILE* stream) {
    return reinterpret_cast<HANDLE>(::_get_osfhandle(::_fileno(stream))); // NOLINT(performance-no-int-to-ptr)
}

// Keeps a file that was opened only if it is a regular one.
SystemHandle regularOnly(SystemHandle file) {
    FileState state;
    if (!file.isOpen() || readState(file.get(), state)) return file;
    failed(ERROR_ACCESS_DENIED);
    return SystemHandle(nullptr);
}

std::FILE* streamOn(int descriptor, const wchar_t* mode) {
    std::FILE* const stream = ::_wfdopen(descriptor, mode);
    if (stream == nullptr) ::_close(descriptor);
    return stream;
}

struct StreamRow {
    int flags;
    const wchar_t* mode;
};

// In the order of StreamMode.
const StreamRow kStreamRows[] = {{_O_RDONLY, L"rb"},
                                 {_O_RDWR, L"rb+"},
                                 {_O_WRONLY | _O_CREAT | _O_TRUNC, L"wb"},
                                 {_O_RDWR | _O_CREAT | _O_TRUNC, L"wb+"},
                                 {_O_WRONLY | _O_CREAT | _O_APPEND, L"ab"},
                                 {_O_RDWR | _O_CREAT | _O_APPEND, L"ab+"}};

bool isKnownAccess(unsigned long access) {
    constexpr unsigned long kReadOrWrite = kMapRead | kMapWrite;
    return access == kMapCopy || (access & ~kReadOrWrite) == 0;
}

// The system has no word for a view that can't be touched, but a view can be closed to all access afterwards.
void* mapUntouchable(HANDLE mapping, DWORD offsetHigh, DWORD offsetLow, std::size_t length) {
    void* const view = ::MapViewOfFile(mapping, FILE_MAP_READ, offsetHigh, offsetLow, length);
    DWORD before = 0;
    if (view == nullptr || ::VirtualProtect(view, length, PAGE_NOACCESS, &before) != 0) return view;
    const DWORD error = ::GetLastError();
    ::UnmapViewOfFile(view);
    return failed(error);
}

// The system ends a view by any address in it.
bool isStartOfView(void* view) {
    MEMORY_BASIC_INFORMATION information = {};
    return view != nullptr && ::VirtualQuery(view, &information, sizeof(information)) != 0 &&
           information.Type == MEM_MAPPED && information.AllocationBase == view;
}

} // namespace

void* CreateFileW(const wchar_t* path, unsigned long access, unsigned long shareMode, void* security,
                  unsigned long disposition, unsigned long attributes, void* templateFile) {
    const bool known = disposition == kOpenExisting || disposition == kOpenAlways;
    if (path == nullptr || (access & kGenericRead) == 0 || !known) {
        failed(ERROR_INVALID_PARAMETER);
        return kInvalidHandle;
    }
    const unsigned long wanted = access & (kGenericRead | kGenericWrite);
    SystemHandle file = regularOnly(SystemHandle(::CreateFileW(
        path, wanted, shareMode, static_cast<SECURITY_ATTRIBUTES*>(security), disposition, attributes, templateFile)));
    if (!file.isOpen()) return kInvalidHandle;
    Object* const object = new (std::nothrow) Object(Kind::kFile, static_cast<SystemHandle&&>(file), 0);
    if (object != nullptr) return object;
    failed(ERROR_NOT_ENOUGH_MEMORY);
    return kInvalidHandle;
}

unsigned long GetFileSize(void* file, unsigned long* high) {
    const Object* const object = objectOf(file, Kind::kFile);
    if (object == nullptr) return INVALID_FILE_SIZE;
    const std::optional<std::uint64_t> size = sizeOf(object->handle);
    if (!size) return INVALID_FILE_SIZE;
    if (high != nullptr) *high = static_cast<unsigned long>(*size >> 32);
    ::SetLastError(NO_ERROR);
    return static_cast<unsigned long>(*size & 0xFFFFFFFFUL);
}

unsigned long GetLastError() { return ::GetLastError(); }

std::error_code systemError() { return {static_cast<int>(::GetLastError()), std::system_category()}; }

bool readAt(void* file, __int64 offset, void* out, std::size_t length, std::size_t& got) {
    got = 0;
    const Object* const object = objectOf(file, Kind::kFile);
    if (object == nullptr) return false;
    if (offset < 0) {
        failed(ERROR_INVALID_PARAMETER);
        return false;
    }
    while (got < length) {
        // The system moves the position of the handle all the same, but nothing here goes by it.
        const std::uint64_t at = static_cast<std::uint64_t>(offset) + got;
        OVERLAPPED place = {};
        place.Offset = static_cast<DWORD>(at & 0xFFFFFFFFU);
        place.OffsetHigh = static_cast<DWORD>(at >> 32);
        const auto wanted = static_cast<DWORD>(readableAtOnce(at, length - got));
        DWORD more = 0;
        if (::ReadFile(object->handle.get(), static_cast<char*>(out) + got, wanted, &more, &place) == 0) {
            return ::GetLastError() == ERROR_HANDLE_EOF;
        }
        if (more == 0) break;
        got += more;
    }
    return true;
}

void* CreateFileMappingW(void* file, void* security, unsigned long protection, unsigned long sizeHigh,
                         unsigned long sizeLow, const wchar_t* name) {
    const Object* const object = objectOf(file, Kind::kFile);
    if (object == nullptr) return nullptr;
    const unsigned long page = protection & ~kSecCommit;
    if ((page != kPageReadOnly && page != kPageReadWrite) || sizeHigh != 0 || sizeLow != 0 || name != nullptr) {
        return failed(ERROR_INVALID_PARAMETER);
    }
    const std::optional<std::uint64_t> size = sizeOf(object->handle);
    if (!size) return nullptr;
    // Asked for first: an object made of a file that grows right now is only larger than we take it to be.
    SystemHandle mapping(::CreateFileMappingW(object->handle.get(), static_cast<SECURITY_ATTRIBUTES*>(security),
                                              protection, 0, 0, nullptr));
    if (!mapping.isOpen()) return nullptr;
    Object* const made = new (std::nothrow) Object(Kind::kMapping, static_cast<SystemHandle&&>(mapping), *size);
    if (made == nullptr) return failed(ERROR_NOT_ENOUGH_MEMORY);
    return made;
}

void* MapViewOfFile(void* mapping, unsigned long access, unsigned long offsetHigh, unsigned long offsetLow,
                    std::size_t length) {
    const Object* const object = objectOf(mapping, Kind::kMapping);
    if (object == nullptr) return nullptr;
    // The system would let a view run on to the end of the last page. That the file was cut needs no test here: a file
    // with a mapping object can't be.
    const std::optional<std::size_t> wanted = viewLength(object->size, joinWords(offsetHigh, offsetLow), length);
    if (!wanted || !isKnownAccess(access)) return failed(ERROR_INVALID_PARAMETER);
    if (access == 0) return mapUntouchable(object->handle.get(), offsetHigh, offsetLow, *wanted);
    return ::MapViewOfFile(object->handle.get(), access, offsetHigh, offsetLow, *wanted);
}

bool UnmapViewOfFile(void* view) {
    if (isStartOfView(view)) return ::UnmapViewOfFile(view) != 0;
    failed(ERROR_INVALID_ADDRESS);
    return false;
}

bool CloseHandle(void* handle) {
    const std::unique_ptr<Object> object(objectOf(handle));
    return object != nullptr;
}

int WideCharToMultiByte(unsigned int codePage, unsigned long flags, const wchar_t* text, int length, char* out,
                        int size, const char* defaultChar, int* usedDefaultChar) {
    const bool plain = codePage == kUtf8 && flags == 0 && defaultChar == nullptr && usedDefaultChar == nullptr;
    const bool given = text != nullptr && length >= -1 && length != 0 && size >= 0 && (out != nullptr || size == 0);
    if (!plain || !given) {
        failed(ERROR_INVALID_PARAMETER);
        return 0;
    }
    // With these flags the system puts U+FFFD for a lone surrogate, from Windows Vista on.
    return ::WideCharToMultiByte(CP_UTF8, 0, text, length, out, size, nullptr, nullptr);
}

std::FILE* _wfopen(const wchar_t* path, const wchar_t* mode) {
    const std::optional<StreamMode> wanted = readStreamMode(mode);
    if (path == nullptr || !wanted) return failed(ERROR_INVALID_PARAMETER);
    const StreamRow& row = kStreamRows[static_cast<std::size_t>(*wanted)];
    int descriptor = -1;
    const errno_t error =
        ::_wsopen_s(&descriptor, path, row.flags | _O_BINARY | _O_NOINHERIT, _SH_DENYNO, _S_IREAD | _S_IWRITE);
    return error == 0 ? streamOn(descriptor, row.mode) : nullptr;
}

std::FILE* openForReading(const char* path) {
    if (path == nullptr) return failed(ERROR_INVALID_PARAMETER);
    SystemHandle file =
        regularOnly(SystemHandle(::CreateFileA(path, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                               OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr)));
    if (!file.isOpen()) return nullptr;
    const int flags = _O_RDONLY | _O_BINARY | _O_NOINHERIT;
    const int descriptor = ::_open_osfhandle(reinterpret_cast<std::intptr_t>(file.get()), flags);
    if (descriptor == -1) return nullptr;
    file.release(); // the descriptor has it now
    return streamOn(descriptor, L"rb");
}

std::size_t writeThrough(std::FILE* stream, const char* bytes, std::size_t length) {
    constexpr std::size_t kMostAtOnce = std::size_t{1} << 30;
    const int descriptor = ::_fileno(stream);
    std::size_t taken = 0;
    while (taken < length) {
        const std::size_t rest = length - taken;
        const auto now = static_cast<unsigned int>(rest < kMostAtOnce ? rest : kMostAtOnce);
        const int more = ::_write(descriptor, bytes + taken, now);
        if (more <= 0) break;
        taken += static_cast<std::size_t>(more);
    }
    return taken;
}

bool stepBack(std::FILE* stream, std::size_t length) {
    return ::_lseeki64(::_fileno(stream), -static_cast<__int64>(length), SEEK_CUR) >= 0;
}

bool stateOf(std::FILE* stream, FileState& state) { return readState(handleOf(stream), state); }

bool stateOf(void* file, FileState& state) {
    const Object* const object = objectOf(file, Kind::kFile);
    return object != nullptr && readState(object->handle.get(), state);
}

int keepOpen(std::FILE* /*stream*/) { return 0; }

void letGo(int /*kept*/) {}

bool syncFile(std::FILE* stream) { return ::FlushFileBuffers(handleOf(stream)) != 0; }

bool syncFile(void* file) {
    const Object* const object = objectOf(file, Kind::kFile);
    return object != nullptr && ::FlushFileBuffers(object->handle.get()) != 0;
}

// The first call only hands the bytes of the view on.
bool syncView(void* file, void* view, std::size_t length) {
    return ::FlushViewOfFile(view, length) != 0 && syncFile(file);
}

int _fseeki64(std::FILE* stream, __int64 offset, int origin) { return ::_fseeki64(stream, offset, origin); }

__int64 _ftelli64(std::FILE* stream) { return ::_ftelli64(stream); }

int _wtmpnam_s(wchar_t* name, std::size_t size) {
    if (name == nullptr || size == 0) return EINVAL;
    name[0] = L'\0';
    wchar_t directory[MAX_PATH + 2] = {}; // as long as the system's answer can be
    const DWORD length = ::GetTempPathW(MAX_PATH + 2, directory);
    if (length == 0 || length >= MAX_PATH + 2) return ENOENT;

    wchar_t path[MAX_PATH] = {};
    if (::GetTempFileNameW(directory, L"vlx", 0, path) == 0) return EACCES; // it also creates the file
    const std::size_t needed = std::wcslen(path) + 1;
    if (needed > size) {
        ::_wunlink(path);
        return ERANGE;
    }
    std::wmemcpy(name, path, needed);
    return 0;
}

int _wunlink(const wchar_t* path) {
    if (path != nullptr) return ::_wunlink(path);
    failed(ERROR_INVALID_PARAMETER);
    return -1;
}

__int64 _time64(__int64* seconds) { return ::_time64(seconds); }

int atoi(const char* text) { return decimalValue<int>(text); }

long atol(const char* text) { return decimalValue<int>(text); }

__int64 _atoi64(const char* text) { return decimalValue<__int64>(text); }

int _strnicmp(const char* left, const char* right, std::size_t count) {
    return compareIgnoringCase(left, right, count);
}

char* _strdup(const char* text) { return text == nullptr ? nullptr : ::_strdup(text); }

} // namespace platform

#ifndef VELLIX_STATIC
// Threads that come and go are of no interest to the library.
extern "C" BOOL WINAPI DllMain(HINSTANCE library, DWORD reason, LPVOID /*reserved*/) {
    if (reason == DLL_PROCESS_ATTACH) ::DisableThreadLibraryCalls(library);
    return TRUE;
}
#endif
