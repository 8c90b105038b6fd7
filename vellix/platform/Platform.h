// SPDX-License-Identifier: Apache-2.0
#ifndef VELLIX_PLATFORM_H
#define VELLIX_PLATFORM_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <system_error>

#include "vellix/VellixTypes.h"

// The services of the operating system and its runtime library that the library calls, under one set of names. On Windows
// they forward to the services of those names; elsewhere they are made from POSIX. This is the one place that knows which
// system it is on. Never included by a public header.
//
// What differs from the services of those names, on every system:
// - CreateFileW and openForReading open regular files alone: a directory, a pipe or a device fails, and opening one never
//   waits for anything.
// - No file is changed between text and bytes on the way.
// - What a call here doesn't name as possible (another access or disposition, a size or a name for a mapping object, a
//   replacement character) fails.
// - What is open isn't handed on to a program that the process starts.
// - A path is the system's own on Windows, UTF-8 elsewhere. There a lone surrogate U+DC80 to U+DCFF in a path, and only in
//   a path, is the byte 80 to FF.
// On POSIX systems also:
// - Share modes between processes have no counterpart and are not imitated. Security and template are ignored.
// - A call that opens goes on after an interruption; one that closes doesn't.
// - A file can be cut while it is mapped. A view that would pass its present end is refused; touching what went away under
//   a view ends the process. Only a kMapCopy of at most 64 KB is safe from that: it is read into memory.
//
// Nothing here throws but `widen`, which gives a std::wstring; elsewhere the call fails where memory runs out. Any thread may
// call at any time, but a handle must not be in use while it is closed, and no call may be made with it afterwards.
namespace platform {

// A handle is a pointer to something of the platform's own; all bits set means none. A handle of the wrong kind, null and
// kInvalidHandle make every call fail.
extern void* const kInvalidHandle;

// Desired access, share mode and creation disposition of CreateFileW. An access without kGenericRead isn't known.
constexpr unsigned long kGenericRead = 0x80000000UL;
constexpr unsigned long kGenericWrite = 0x40000000UL;
constexpr unsigned long kShareRead = 1;
constexpr unsigned long kShareWrite = 2;
constexpr unsigned long kShareDelete = 4;
constexpr unsigned long kOpenExisting = 3;
constexpr unsigned long kOpenAlways = 4;
constexpr unsigned long kAttributeNormal = 0x80;

// Page protection of CreateFileMappingW; kSecCommit may be added to either.
constexpr unsigned long kPageReadOnly = 2;
constexpr unsigned long kPageReadWrite = 4;
constexpr unsigned long kSecCommit = 0x08000000UL;

// View access of MapViewOfFile. A view to write can be read as well. kMapCopy gives a copy of its own that can be written
// on any object; nothing of it reaches the file. Access 0 gives a view that can't be touched.
constexpr unsigned long kMapCopy = 1;
constexpr unsigned long kMapWrite = 2;
constexpr unsigned long kMapRead = 4;

// The one number of GetLastError that the library asks for: memory ran out.
constexpr unsigned long kNotEnoughMemory = 8;

// Code page of WideCharToMultiByte.
constexpr unsigned int kUtf8 = 65001;

/// Opens a regular file, or creates it where the disposition allows; a new file has the rights that the process gives by
/// default. Returns kInvalidHandle on failure, and for a null `path`.
void* CreateFileW(const wchar_t* path, unsigned long access, unsigned long shareMode, void* security,
                  unsigned long disposition, unsigned long attributes, void* templateFile);

/// Returns the low 32 bits of the file's size and stores the high ones; 0xFFFFFFFF on failure. Sets the last error in
/// both cases, 0 for success, since 0xFFFFFFFF may be the truth. A null `high` is passed over.
unsigned long GetFileSize(void* file, unsigned long* high);

/// Returns this thread's number for its last failure here, 0 if there was none. Ask right after the call: on Windows
/// other services of the system set it too. The numbers are those of Windows, but a missing directory counts as a missing
/// file elsewhere; of the calls for text, time and temporary names only WideCharToMultiByte sets one for certain.
unsigned long GetLastError();

/// Returns the same failure as the system itself names it: its native number, of the system's category. No error if there
/// was none. The same haste applies.
std::error_code systemError();

/// Reads up to `length` bytes at `offset` of an open file into `out`, and stores how many they were: fewer only at the end
/// of the file. Moves nothing, so any number of threads may read from one handle. False if the system fails, with what
/// came before that in `got`; also for a handle that is none and for a negative offset.
bool readAt(void* file, __int64 offset, void* out, std::size_t length, std::size_t& got);

/// Makes a mapping object as large as the file is now, which keeps the file alive by itself. Null for an empty file, and
/// for a writable protection on a read-only file.
void* CreateFileMappingW(void* file, void* security, unsigned long protection, unsigned long sizeHigh,
                         unsigned long sizeLow, const wchar_t* name);

/// Maps `length` bytes of a mapping object, up to its end for 0. Null for an offset that is no multiple of 64 KB, a view
/// that doesn't lie inside the object or passes the file's present end, and write access on a read-only object.
void* MapViewOfFile(void* mapping, unsigned long access, unsigned long offsetHigh, unsigned long offsetLow,
                    std::size_t length);

/// Ends the view that begins at `view`. False if there is none.
bool UnmapViewOfFile(void* view);

/// Releases a file or a mapping object. False for null and kInvalidHandle.
bool CloseHandle(void* handle);

/// Turns `length` wide characters (-1: up to and with the NUL) into UTF-8 and returns the number of bytes; with a `size`
/// of 0 only that number. A surrogate pair is one character; a lone surrogate, and a value above U+10FFFF, is U+FFFD.
/// Returns 0 on failure: another code page than kUtf8, null arguments, or too small a `size`.
int WideCharToMultiByte(unsigned int codePage, unsigned long flags, const wchar_t* text, int length, char* out,
                        int size, const char* defaultChar, int* usedDefaultChar);

/// Returns the wide path of a name in the system's own form, narrow or wide. Where that is narrow, each byte that is no part
/// of well-formed UTF-8 becomes its lone surrogate; where it is wide, a narrow name can't be given.
std::wstring widen(const char* name);
inline std::wstring widen(const wchar_t* name) { return name; }

/// Opens a stream. `mode` is "r", "w" or "a", then in either order "+" and one of "b" and "t", which are the same here.
/// Null on failure, for a directory, for any other mode and for a null path. Opening a pipe can wait for its other end.
std::FILE* _wfopen(const wchar_t* path, const wchar_t* mode);

/// Opens a regular file for reading. Null on failure, and for a null `path`.
std::FILE* openForReading(const char* path);

/// Writes bytes to the file behind a stream that has no buffer. Returns how many of them the system took: fewer than
/// `length` if it refuses more, as on a full disk.
std::size_t writeThrough(std::FILE* stream, const char* bytes, std::size_t length);

/// Moves back by `length` bytes in the file behind a stream that has no buffer. False on failure.
bool stepBack(std::FILE* stream, std::size_t length);

/// Which file is open, and how long it is now. No other file of the system has the same volume and number while this one
/// exists.
struct FileState {
    std::uint64_t volume = 0;
    std::uint64_t number = 0;
    std::uint64_t size = 0;
};

/// Tell which file is behind a stream, or behind a handle of CreateFileW. False if it is no regular file, or the system
/// doesn't tell.
bool stateOf(std::FILE* stream, FileState& state);
bool stateOf(void* file, FileState& state);

/// Keeps the file behind a stream open besides, so that its number is given to no other file when this one is deleted.
/// Returns what `letGo` takes, -1 on failure. Windows doesn't give numbers again, and nothing is kept there.
int keepOpen(std::FILE* stream);
void letGo(int kept);

/// Have everything that was written to the file stored, so that a power cut can't take it: through a stream that has no
/// buffer, or a handle that was opened to write. When they return it is on the disk, as far as the disk tells the truth.
/// The name of a new file is another matter, which belongs to its directory. False if the system refuses; some of the
/// bytes may be lost then, and asking again says nothing.
bool syncFile(std::FILE* stream);
bool syncFile(void* file);

/// The same for the first `length` bytes of a shared view of the file.
bool syncView(void* file, void* view, std::size_t length);

/// Move and tell the position of a stream, in files of any size, as `fseek` and `ftell` do in small ones.
int _fseeki64(std::FILE* stream, __int64 offset, int origin);
__int64 _ftelli64(std::FILE* stream);

/// Creates an empty file under a new name in the system's temporary directory ($TMPDIR, else /tmp, on POSIX systems),
/// readable by its owner alone, and puts its path in `name`, which has room for `size` characters with the NUL. Returns 0;
/// otherwise another number, no file was made, and `name` is empty.
int _wtmpnam_s(wchar_t* name, std::size_t size);

/// Deletes a file. Returns 0, or -1 on failure and for a null `path`. On Windows a read-only file can't be deleted.
int _wunlink(const wchar_t* path);

/// Returns the seconds since 1970, and stores them too if `seconds` isn't null.
__int64 _time64(__int64* seconds);

/// Read decimal text: leading white space, a sign, digits up to the first other character. A value outside the range of
/// the result stays at the nearest limit; no digit gives 0. `atol` has the range of 32 bits, as `atoi` has. `text` must
/// not be null. Locale and errno play no part.
int atoi(const char* text);
long atol(const char* text);
__int64 _atoi64(const char* text);

/// Compares up to `count` bytes, or up to a NUL, ASCII letters without regard to case. 0 for equal.
int _strnicmp(const char* left, const char* right, std::size_t count);

/// Returns a copy from `malloc`; null for a null `text` and where memory runs out.
char* _strdup(const char* text);

} // namespace platform

#endif
