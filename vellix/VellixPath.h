// SPDX-License-Identifier: Apache-2.0
#ifndef VELLIX_PATH_H
#define VELLIX_PATH_H

#include <filesystem>
#include <string>

#include "vellix/VellixTypes.h"

// Names of files for the classes that take a wide path.
//
// On Windows a wide path is the system's own. On every other system a name is bytes, and a wide path stands for its UTF-8,
// whatever the locale. Names there need not be UTF-8: in a wide path, and only there, a lone surrogate from U+DC80 to
// U+DCFF stands for one byte, 80 to FF. So each name has a wide form, and goes back to its own bytes.
namespace vellix {

/// Returns the wide form of `path`, to be given to `create`, `load` and `open` for as long as the result lives. Empty, a
/// path that nothing opens, if `path` is empty or has a NUL in it. Doesn't ask the locale, unlike `path.wstring()`, and
/// throws nothing but std::bad_alloc.
///     writer.create(vellix::widePath(path).c_str());
VELLIX_API std::wstring widePath(const std::filesystem::path& path);

} // namespace vellix

#endif
