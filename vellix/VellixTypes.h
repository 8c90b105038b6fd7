// SPDX-License-Identifier: Apache-2.0
#ifndef VELLIX_TYPES_H
#define VELLIX_TYPES_H

// The shared vocabulary of the library: error codes, the 64-bit integer type and the export macro.

// A program that links the static library, and the library itself when it is built static, define VELLIX_STATIC; the
// CMake package and the pkg-config file do so by themselves.
#if defined(VELLIX_STATIC)
#define VELLIX_API
#elif defined(_WIN32)
#if defined(VELLIX_BUILDING)
#define VELLIX_API __declspec(dllexport)
#else
#define VELLIX_API __declspec(dllimport)
#endif
#else
#define VELLIX_API __attribute__((visibility("default")))
#endif

/// The signed 64-bit integer of the interface: the compiler's own where it has one, otherwise `long long`. It is a macro,
/// so that `unsigned __int64` can be written too. Where another header defines a type or a member of this name, include the
/// library's headers last. Where the program itself uses that name, write `#undef __int64` behind the last of them: the
/// operations take `long long` all the same.
#if !defined(_MSC_VER) && !defined(__int64)
#define __int64 long long
#endif

/// What went wrong. Operations that report by `bool` or null leave the code in `lastError` of their object where they
/// have one to give; a success doesn't clear it.
enum VELLIX_ERROR : int {
    VELLIX_SUCCESS = 0,
    VELLIX_ERR_END_OF_BUFFER = 1, ///< a parse met the end of its text
    VELLIX_ERR_TYPE_MISMATCH = 2, ///< a typed operation on an attribute of another data type
    VELLIX_ERR_OUT_OF_RANGE = 3,  ///< a number outside what the attribute admits
    VELLIX_ERR_NO_MEMORY = 4,     ///< no memory; from a parse, also a value that could not be decoded
    VELLIX_ERR_NULL_ARGUMENT = 5, ///< a null text or path
    VELLIX_ERR_SYNTAX = 6,        ///< a token that the parser does not allow at this place
    VELLIX_ERR_NOT_MAPPED = 7,    ///< an address that is not the current view
    VELLIX_ERR_BAD_HANDLE = 8,    ///< no open file, or one that has lost something
    VELLIX_ERR_FILE_OPEN = 9,     ///< a file could not be opened or has no stream
    VELLIX_ERR_FILE_SIZE = 10     ///< the size of a file could not be read, or isn't what it has to be
};

/// Returns what a VELLIX_ERROR value means, in a few English words for a message, and "unknown error" for any other
/// number. The text is constant; any thread may call this at any time.
///     vellixErrorText(VELLIX_ERR_FILE_OPEN)            // "the file can't be opened, or is not open"
VELLIX_API const char* vellixErrorText(int code);

#endif
