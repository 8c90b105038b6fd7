// SPDX-License-Identifier: Apache-2.0
#ifndef VELLIX_FORMAT_H
#define VELLIX_FORMAT_H

#include <cstddef>

#include "vellix/VellixTypes.h"

// The facts of the document file that its writer, its reader and the held documents share. Internal, not installed.

// A page of a document file, counted from its first byte. Records that fit into a page cross no boundary; only behind a
// record of several pages a few may, until the boundary that the writer looks at has caught up.
constexpr __int64 kPageSize = 65536;

// The longest tag that a reader takes from a file, and so the longest entry that a writer writes.
constexpr std::size_t kLongestTag = std::size_t{16} * 1024 * 1024;

// What stands in front of a document whose type asks for it, without a line break behind it.
constexpr char kXmlHeader[] = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>";
constexpr std::size_t kXmlHeaderLength = sizeof(kXmlHeader) - 1;

// What stands in front of the mark, which is the value of the root's first attribute.
constexpr char kMark[] = " IC=\"";
constexpr std::size_t kMarkLength = sizeof(kMark) - 1;

#endif
