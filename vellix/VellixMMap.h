// SPDX-License-Identifier: Apache-2.0
#ifndef VELLIX_MMAP_H
#define VELLIX_MMAP_H

#include <cstddef>
#include <string>

#include "vellix/VellixTypes.h"

// A file, one mapping object on it and one mapped view.
//
// The mapping object is made by the first `map`, is as large as the file is at that moment, and serves every later view
// until `close`. Only one view is tracked: unmap it before mapping the next.
//     VellixMMap file;
//     if (file.open(L"catalog.xml", 0) == VELLIX_SUCCESS) {
//         file.map(file.handle(), 65536, 2, 2, nullptr, 0);
//         const char* page = static_cast<const char*>(file.addr());   // null if there is no such view
//         ...
//         file.unmap(file.addr());
//     }
//
// No NUL stands behind a view. If another process writes to the file, a view may change while it is read. If the file shrinks
// while a view of it exists, or its disk fails, touching what is gone ends the process, as the system does it; nothing in
// the library can prevent that. Two things are safe from it: on POSIX systems a private view of at most 64 KB, which is read
// into memory, and on Windows a file that shrinks, which the system refuses as long as there is a mapping object.
//
// An object belongs to one thread at a time. It holds system handles and can't be copied.
class VELLIX_API VellixMMap {
public:
    VellixMMap();
    ~VellixMMap();
    VellixMMap(const VellixMMap&) = delete;
    VellixMMap& operator=(const VellixMMap&) = delete;

    /// Opens a regular file, for reading with `mode` 0, otherwise for reading and writing, creating it if there is none.
    /// Closes what the object held before, whatever comes of the call. Returns VELLIX_SUCCESS; VELLIX_ERR_FILE_OPEN if the
    /// file can't be opened or measured; VELLIX_ERR_NULL_ARGUMENT for a null `path`.
    /// The path is the system's own on Windows; elsewhere it stands for UTF-8, whatever the locale, and `vellix::widePath`
    /// gives any name of a file.
    int open(const wchar_t* path, int mode);

    /// Maps `length` bytes from `offset`, a multiple of 64 KB; 0 bytes means up to the end of the mapping object. Always
    /// VELLIX_SUCCESS: whether there is a view tells `addr`. There is none for an empty file, for a view that doesn't lie
    /// inside the mapping object or reaches past the present end of the file, and for a protection that the file wasn't
    /// opened for; a mapping object that couldn't be made isn't tried again before `close`.
    /// `prot` 2 makes the mapping object for reading; without the 2 it is for writing too, and the file must be open for
    /// that. The first `map` decides. With `flags` 2 the view is shared, to write with `prot` 4 and to read with `prot` 2;
    /// with `flags` 1 it is a private copy that can be written and never reaches the file. A view that is neither, and a
    /// shared one that is neither to write nor to read, can't be touched. On POSIX systems there is also no view if it is
    /// private, at most 64 KB long, and its bytes can't be read. A negative `length` or `offset` gives no view. `start` and
    /// `fd` have no effect. A view that the object still had is forgotten, not ended.
    int map(void* start, int length, int prot, int flags, void* fd, __int64 offset);

    /// Ends the view at `view`, which must be what `addr` gives. Returns VELLIX_SUCCESS, also if both are null;
    /// VELLIX_ERR_NOT_MAPPED if they differ; otherwise the system's error number, and the view stays.
    int unmap(void* view);

    /// Ends view, mapping object and file. Always VELLIX_SUCCESS. The object can be opened again.
    int close();

    /// Returns the address of the view, null if there is none.
    void* addr() const;

    /// Returns the handle of the file; the pointer with all bits set if there is none.
    void* handle() const;

    /// Returns the size of the file in bytes when it was last opened, 0 before that. It stays after `close` and after an
    /// `open` that failed.
    __int64 fileSize() const;

private:
    friend class VellixWriter; // opens only what is there, and maps any length

    int openFile(const wchar_t* path, int mode, bool mayCreate);
    void mapView(std::size_t length, int prot, int flags, __int64 offset);
    int LoadFileInfo();

    std::wstring filePath;
    void* fileHandle;
    __int64 fileLength = 0;
    void* viewAddress = nullptr;
    void* mappingHandle;
};

#endif
