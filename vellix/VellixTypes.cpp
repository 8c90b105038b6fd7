// SPDX-License-Identifier: Apache-2.0
#include "vellix/VellixTypes.h"

#include <iterator>

namespace {

// In the order of VELLIX_ERROR.
const char* const kErrorTexts[] = {
    "no error",
    "the text ended too early",
    "the attribute is of another type",
    "the value is out of the attribute's range",
    "no memory, or a value that can't be decoded",
    "a null pointer was given",
    "the text isn't a tag as it should be",
    "the address is not the mapped view",
    "no file is open, or it has lost something",
    "the file can't be opened, or is not open",
    "the size of the file can't be read, or isn't as it was",
};
static_assert(std::size(kErrorTexts) == VELLIX_ERR_FILE_SIZE + 1, "a text for each code");

} // namespace

const char* vellixErrorText(int code) {
    return code >= 0 && code <= VELLIX_ERR_FILE_SIZE ? kErrorTexts[code] : "unknown error";
}
