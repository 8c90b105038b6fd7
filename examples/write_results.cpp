// SPDX-License-Identifier: Apache-2.0
// Writes a results file with images, their fragments and extra info, marks it complete, and shows the mark.
#include <array>
#include <cctype>
#include <cstdio>
#include <fstream>
#include <iostream>

#include "vellix/VellixAttributes.h"
#include "vellix/VellixWalk.h"
#include "vellix/VellixWriter.h"

namespace {

constexpr std::streamsize kRow = 16;
constexpr int kRows = 5;

// The first bytes of the file: offset, bytes, characters.
void dumpStart() {
    std::ifstream file("results.xml", std::ios::binary);
    std::array<char, kRow> bytes{};
    for (int row = 0; row < kRows && file.read(bytes.data(), kRow); ++row) {
        std::printf("%06d ", row * static_cast<int>(kRow));
        for (const char byte : bytes) std::printf(" %02x", static_cast<unsigned int>(static_cast<unsigned char>(byte)));
        std::printf("  ");
        for (const char byte : bytes) std::putchar(std::isprint(static_cast<unsigned char>(byte)) != 0 ? byte : '.');
        std::putchar('\n');
    }
}

// [image]
void addImage(VellixDoc& session, const char* name, unsigned int fragments) {
    VellixDoc image(VELLIX_DOC_IMAGE);
    vellix::set(image, vellix::image::ID, name);
    vellix::set(image, vellix::image::NFU, fragments);
    session.addChildDoc(image);
    for (unsigned int number = 1; number <= fragments; ++number) {
        VellixDoc fragment(VELLIX_DOC_FRAG);
        vellix::set(fragment, vellix::frag::FN, number);
        vellix::set(fragment, vellix::frag::SZ, 1073741824ULL * number);
        image.addChildDoc(fragment);
        fragment.close();
    }
    VellixDoc extra(VELLIX_DOC_IMAGE_EXTRA_INFO);
    vellix::set(extra, vellix::image_extra_info::SZ, 4096);
    image.addChildDoc(extra);
    extra.close(); // children before parents
    image.close();
}
// [image]

bool write() {
    // [write]
    VellixWriter writer; // root CatResults; its ID is the time unless it is set here
    if (!writer.create(L"results.xml")) return false;
    vellix::set(writer.getRootDoc(), vellix::results::ID, "1700000000");
    VellixDoc session(VELLIX_DOC_DOC);
    vellix::set(session, vellix::doc::ID, "nightly");
    writer.addDoc(session);
    addImage(session, "host_1700000000", 2);
    addImage(session, "host_1700086400", 1);
    session.close();
    writer.markComplete(); // takes effect in close, and only if every record reached the file
    writer.close();
    // [write]
    return true;
}

bool read() {
    // [read]
    vellix::Walk walk("results.xml");
    std::cout << "session " << walk.sessionId() << (walk.isComplete() ? ", complete\n" : ", NOT COMPLETE\n");
    for (const vellix::Document& image : walk.documents(VELLIX_DOC_IMAGE)) {
        std::cout << "image " << vellix::get(image.attributes(), vellix::image::ID).value_or("") << '\n';
        for (const vellix::Document& fragment : image.documents(VELLIX_DOC_FRAG)) {
            std::cout << "    fragment " << vellix::get(fragment.attributes(), vellix::frag::FN).value_or(0) << ", "
                      << vellix::get(fragment.attributes(), vellix::frag::SZ).value_or(0) << " bytes\n";
        }
    }
    if (!walk) std::cerr << walk.error().message() << '\n'; // it couldn't be read to its end
    // [read]
    return walk && walk.isComplete();
}

} // namespace

int main() {
    if (!write()) return 1;
    dumpStart();
    return read() ? 0 : 1;
}
