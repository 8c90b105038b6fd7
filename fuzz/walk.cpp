// SPDX-License-Identifier: Apache-2.0
// Walks over a text, a file, pieces and parts, and calls of them in any order. The first byte is the length of a script; the
// rest is the text, in which a byte 1 stands for a run of up to 16384 bytes of the kind that follows it and its length. The
// script takes the decisions.
#include <algorithm>

#include "Fuzz.h"
#include "tests/TempDir.h"
#include "tests/WalkModel.h"

namespace {

constexpr std::size_t kMostBytes = 140000;
constexpr std::ptrdiff_t kMostTags = 1000; // with more, steps take their time to be shown

std::string blownUp(Input& input) {
    std::string text;
    while (!input.isEmpty() && text.size() < kMostBytes) {
        const unsigned int byte = input.byte();
        const std::size_t run = byte == 1 ? 64 * input.byte() : 1;
        text.append(run, static_cast<char>(byte == 1 ? input.byte() : byte));
    }
    return text;
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const TempDir directory;
    Input input(data, size);
    const std::string decisions = input.text(input.byte());
    Input script(reinterpret_cast<const std::uint8_t*>(decisions.data()), decisions.size());
    const auto choose = [&](std::size_t bound) { return (bound <= 256 ? script.byte() : script.word()) % bound; };
    const Guarded text(blownUp(input));
    if (std::count(text.data(), text.data() + text.size(), '<') > kMostTags) return 0;
    const std::string fault = walktest::faultOf({text.data(), text.size()}, directory.file("a.xml"), choose);
    require(fault.empty(), fault.c_str());
    return 0;
}
