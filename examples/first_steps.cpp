// SPDX-License-Identifier: Apache-2.0
// Writes a catalog file with two entries and reads it back.
#include <iostream>

#include "vellix/CatImageCmdXmlFileHelper.h"
#include "vellix/VellixAttributes.h"
#include "vellix/VellixWalk.h"

int main() {
    CatImageCmdXmlFileHelper out;
    if (!out.create(L"first_steps.xml")) return 1;
    out.setImageId("42");
    VellixEntry file(VELLIX_DOC_FH);
    for (const char* name : {"a.txt", "b & c.txt"}) {
        vellix::set(file, vellix::fh::NM, name);
        vellix::set(file, vellix::fh::SZ, 1234);
        if (!out.addImageCmd(file)) return 1;
    }
    out.close();

    vellix::Walk walk("first_steps.xml");
    for (const vellix::Document& image : walk.documents(VELLIX_DOC_DOC)) {
        std::cout << "image " << vellix::get(image.attributes(), vellix::doc::ID).value_or("") << '\n';
        for (const VellixEntry& read : image.entries(VELLIX_DOC_FH)) {
            std::cout << vellix::get(read, vellix::fh::SZ).value_or(0) << " bytes in "
                      << vellix::get(read, vellix::fh::NM).value_or("") << '\n';
        }
    }
    return walk ? 0 : 1;
}
