// SPDX-License-Identifier: Apache-2.0
// A program with a type and a member of its own that are called __int64, as headers of other makers have them. Behind the
// library's headers it takes the macro away, and calls the 64-bit operations all the same.
#include <vellix/VellixEntry.h>

#undef __int64
typedef long long __int64;

struct Sizes {
    long long __int64;
    unsigned long long other;
};

bool callsWithOwnInt64() {
    VellixEntry entry(VELLIX_DOC_FH);
    const ::__int64 size = 0x123456789ABCDEF0;
    Sizes found{};
    return entry.addAttribute(9, size, false) && entry.getAttribute(9, found.__int64) && found.__int64 == size &&
           entry.getAttribute(9, found.other) && found.other == 0x123456789ABCDEF0U;
}
