// SPDX-License-Identifier: Apache-2.0
#ifndef BENCH_ENTRY_SETTER_H
#define BENCH_ENTRY_SETTER_H

#include "Catalog.h"
#include "vellix/VellixEntry.h"

namespace bench {

// Fills an entry through the typed setters: eachAttribute(record, EntrySetter(entry)).
class EntrySetter {
public:
    explicit EntrySetter(VellixEntry& target) : entry(target) {}
    void operator()(unsigned short id, const char*, const char* value) { entry.addAttribute(id, value); }
    template <class Number> void operator()(unsigned short id, const char*, Number value) {
        entry.addAttribute(id, value, false);
    }

private:
    VellixEntry& entry;
};

/// Replaces what the entry holds by a record.
inline void fill(VellixEntry& entry, const Record& record) {
    entry.clear();
    entry.setType(VELLIX_DOC_FH);
    eachAttribute(record, EntrySetter(entry));
}

} // namespace bench

#endif
