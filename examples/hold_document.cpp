// SPDX-License-Identifier: Apache-2.0
// Holds a document in memory, turns it into text and back, and shows how a refused value is reported.
#include <cstdio>
#include <string>

#include "vellix/VellixDoc.h"

namespace {

constexpr unsigned short kComplete = 0; // IC of an image, a number of 8 bits
constexpr unsigned short kImageId = 1;  // ID of an image, a text
constexpr unsigned short kName = 6;     // NM of a file, a text

std::string hold() {
    // [hold]
    VellixDoc image(VELLIX_DOC_DOC);
    VellixDoc files(VELLIX_DOC_FH);
    image.addAttribute(kImageId, "42");
    image.addChildDoc(files); // kept by pointer: `files` must live as long as `image` uses it
    for (const char* name : {"a.txt", "b & c.txt"}) {
        VellixEntry file(VELLIX_DOC_FH);
        file.addAttribute(kName, name);
        files.addEntry(file); // copied
    }
    std::string text;
    image.serialize(text);
    // [hold]
    return text;
}

void refuse() {
    // [refuse]
    VellixEntry image(VELLIX_DOC_DOC);
    if (!image.addAttribute(kComplete, 256, false)) std::printf("number refused, error %d\n", image.getLastError());
    if (!image.addAttribute(kComplete, "yes")) std::printf("text refused, error %d\n", image.getLastError());
    // [refuse]
}

} // namespace

int main() {
    const std::string text = hold();
    std::printf("%s\n", text.c_str());

    // [load]
    VellixDoc loaded(VELLIX_DOC_DOC);
    loaded.load(text);
    std::string flat;
    loaded.serialize(flat);
    // [load]
    std::printf("%s\n", flat.c_str());

    refuse();
    return 0;
}
