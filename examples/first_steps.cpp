// SPDX-License-Identifier: Apache-2.0
// Writes a catalog file with two entries and reads it back.
#include <cstdio>

#include "vellix/CatImageCmdXmlFileHelper.h"

int main() {
    constexpr unsigned short kName = 6; // attribute NM, a text
    constexpr unsigned short kSize = 9; // attribute SZ, a number of 64 bits

    CatImageCmdXmlFileHelper out;
    if (!out.create(L"first_steps.xml")) return 1;
    out.setImageId("42");
    VellixEntry file(VELLIX_DOC_FH);
    for (const char* name : {"a.txt", "b & c.txt"}) {
        file.addAttribute(kName, name);
        file.addAttribute(kSize, 1234, false);
        if (!out.addImageCmd(file)) return 1;
    }
    out.close();

    CatImageCmdXmlFileHelper in;
    if (!in.load(L"first_steps.xml")) return 1;
    std::printf("image %s\n", in.getImageId());
    while (in.getNextImageCmd(file)) {
        __int64 size = 0;
        file.getAttribute(kSize, size);
        std::printf("%8lld  %s\n", size, file.getAttribute(kName));
    }
    return 0;
}
