// SPDX-License-Identifier: Apache-2.0
// Writes a results file with images, their fragments and extra info, marks it complete, and shows the mark.
#include <array>
#include <cctype>
#include <cstdio>
#include <fstream>
#include <string>

#include "vellix/VellixReader.h"
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
    image.addAttribute(32, name);             // ID
    image.addAttribute(15, fragments, false); // NFU
    session.addChildDoc(image);
    for (unsigned int number = 1; number <= fragments; ++number) {
        VellixDoc fragment(VELLIX_DOC_FRAG);
        fragment.addAttribute(1, number, false);                  // FN
        fragment.addAttribute(16, 1073741824ULL * number, false); // SZ
        image.addChildDoc(fragment);
        fragment.close();
    }
    VellixDoc extra(VELLIX_DOC_IMAGE_EXTRA_INFO);
    extra.addAttribute(0, 4096U, false); // SZ
    image.addChildDoc(extra);
    extra.close(); // children before parents
    image.close();
}
// [image]

bool write() {
    // [write]
    VellixWriter writer; // root CatResults; its ID is the time unless it is set here
    if (!writer.create(L"results.xml")) return false;
    writer.getRootDoc().addAttribute(1, 1700000000, false);
    VellixDoc session(VELLIX_DOC_DOC);
    session.addAttribute(1, "nightly");
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
    VellixReader reader;
    VellixDoc session(VELLIX_DOC_DOC);
    if (!reader.load(L"results.xml") || !reader.getFirstDoc(session)) return false;
    std::printf("session %s, %s\n", reader.getSessionID().c_str(), reader.isComplete() ? "complete" : "NOT COMPLETE");
    for (;;) {
        VellixDoc image(VELLIX_DOC_IMAGE); // a fresh one each time, since contents add up
        if (!session.getNextChildDoc(image)) break;
        std::string text;
        image.serialize(text);
        std::printf("%s\n", text.c_str());
    }
    // [read]
    return reader.isComplete();
}

} // namespace

int main() {
    if (!write()) return 1;
    dumpStart();
    return read() ? 0 : 1;
}
