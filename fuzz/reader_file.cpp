// SPDX-License-Identifier: Apache-2.0
// A reader over a file of several pages. The first byte is the length of a script of calls; the rest becomes the file, blown
// up: a byte 1 stands for a run of up to 65535 bytes, a byte 2 for a run that ends a given way in front of the next page
// boundary. The length or that way, and the byte itself, follow.
#include <algorithm>

#include "ReaderWalk.h"
#include "tests/TempDir.h"

using namespace filetest;

namespace {

constexpr std::size_t kMostBytes = 3 * kPageSize;

std::string blownUp(Input& input) {
    std::string file = kHeader + R"(<CatResults IC="1" ID="s">)";
    while (!input.isEmpty() && file.size() < kMostBytes) {
        const unsigned int byte = input.byte();
        if (byte != 1 && byte != 2) {
            file += static_cast<char>(byte);
            continue;
        }
        const std::size_t number = input.byte();
        const std::size_t toBoundary = kPageSize - file.size() % kPageSize;
        const std::size_t run = byte == 1 ? 257 * number : toBoundary - std::min(toBoundary, number);
        file.append(run, static_cast<char>(input.byte()));
    }
    return file;
}

// Pages and memory give the same entries, as the root's tag, which every walk begins behind, is whole on the first page.
// Documents are left out: those are looked for on one page alone, and the page's end may cut what memory shows whole.
void checkEntries(const std::wstring& path, const Guarded& bytes) {
    OpenReader pages;
    OpenReader memory;
    require(pages.load(path.c_str()) && memory.load(bytes.data(), bytes.size()), "every file can be loaded");
    require(readToEnd(pages) == readToEnd(memory), "pages and memory give the same entries");
    require(pages.getLastError() == VELLIX_SUCCESS, "nothing is left out");
}

// On one page there is no difference at all.
void checkWalk(const std::wstring& path, const Input& script, const Guarded& bytes) {
    OpenReader pages;
    require(pages.load(path.c_str()), "every file can be loaded");
    const std::string given = walkBy(script, pages);
    if (bytes.size() > kPageSize) return;
    OpenReader memory;
    require(memory.load(bytes.data(), bytes.size()), "every text can be loaded");
    require(walkBy(script, memory) == given, "a page and memory are walked alike");
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const TempDir directory;
    Input input(data, size);
    const std::string steps = input.text(input.byte());
    const std::string file = blownUp(input);
    const Guarded bytes(file);
    writeFile(directory.file("a.xml"), file);
    const std::wstring path = directory.wide("a.xml");
    checkEntries(path, bytes);
    checkWalk(path, Input(reinterpret_cast<const std::uint8_t*>(steps.data()), steps.size()), bytes);
    return 0;
}
