// SPDX-License-Identifier: Apache-2.0
// Holds a document in memory, turns it into text and back, and shows how a refused value is reported.
#include <cstdio>
#include <string>

#include "vellix/VellixAttributes.h"
#include "vellix/VellixDoc.h"

namespace {

std::string hold() {
    // [hold]
    VellixDoc image(VELLIX_DOC_DOC);
    VellixDoc files(VELLIX_DOC_FH);
    vellix::set(image, vellix::doc::ID, "42");
    image.addChildDoc(files); // kept by pointer: `files` must live as long as `image` uses it
    for (const char* name : {"a.txt", "b & c.txt"}) {
        VellixEntry file(VELLIX_DOC_FH);
        vellix::set(file, vellix::fh::NM, name);
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
    if (!vellix::set(image, vellix::doc::IC, 256)) std::printf("refused: %s\n", vellixErrorText(image.getLastError()));
    if (!vellix::set(image, vellix::fh::NM, "a")) std::printf("refused: %s\n", vellixErrorText(image.getLastError()));
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
