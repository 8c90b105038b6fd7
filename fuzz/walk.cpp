// SPDX-License-Identifier: Apache-2.0
// Walks over a text, a file, pieces and parts, and calls of them in any order. The first byte is the length of a script, which
// takes the decisions; the rest becomes the text, blown up to some pages.
#include <algorithm>

#include "Fuzz.h"
#include "tests/TempDir.h"
#include "tests/WalkModel.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const TempDir directory;
    Input input(data, size);
    const std::string decisions = input.text(input.byte());
    Input script(reinterpret_cast<const std::uint8_t*>(decisions.data()), decisions.size());
    const auto choose = [&](std::size_t bound) { return (bound <= 256 ? script.byte() : script.word()) % bound; };
    const Guarded text(blownUp("", input, 140000));
    if (std::count(text.data(), text.data() + text.size(), '<') > 1000) return 0; // steps take their time to be shown
    const std::string fault = walktest::faultOf({text.data(), text.size()}, directory.file("a.xml"), choose);
    require(fault.empty(), fault.c_str());
    return 0;
}
