// SPDX-License-Identifier: Apache-2.0
// Takes one attribute out of the text of a tag, without an entry.
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include "vellix/VellixEntry.h"

namespace {

constexpr unsigned short kName = 6; // attribute NM

struct Free {
    void operator()(char* memory) const { std::free(memory); }
};
using MallocText = std::unique_ptr<char, Free>; // what these operations hand out comes from malloc

void show(const char* operation, const MallocText& value) {
    std::printf("    %-24s%s\n", operation, value == nullptr ? "(null)" : value.get());
}

void takeName(const std::string& tag) {
    std::printf("%s\n", tag.c_str());
    // [take]
    const auto length = static_cast<unsigned long>(tag.size());
    const MallocText plain(VellixEntry::parseAttribute(VELLIX_DOC_FH, kName, tag.c_str(), length, true));
    const MallocText raw(VellixEntry::parseAttributeFast_str(VELLIX_DOC_FH, kName, tag.c_str(), true));
    const char* place = VellixEntry::parseAttributeFast_ptr(VELLIX_DOC_FH, kName, tag.c_str(), true);
    // [take]
    show("parseAttribute", plain);
    show("parseAttributeFast_str", raw);
    std::printf("    %-24s%s\n", "parseAttributeFast_ptr", place == nullptr ? "(null)" : place);
}

} // namespace

int main() {
    takeName(R"(<ET OP="5" NM="a&amp;b"/>)");
    takeName(R"(<ET OP = 5 nm = 'a&amp;b'/>)");
    takeName(R"(<ET FP="a>b" NM="c"/>)");
    takeName(R"(<ET OP="5"/>)");
    return 0;
}
