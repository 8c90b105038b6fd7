// SPDX-License-Identifier: Apache-2.0
// Documents held in memory: built from entries, copied, and loaded from a text. The file is not looked at.

#include <string>

#include "Catalog.h"
#include "Driver.h"
#include "EntrySetter.h"
#include "vellix/VellixDoc.h"

using namespace bench;

namespace {

// With an attribute of its own: a text whose first tag has none would take the first entry for the document's tag.
class Document : public VellixDoc {
public:
    Document() : VellixDoc(VELLIX_DOC_FH) { addAttribute(0, 1, false); }

    void build(const Catalog& catalog, unsigned long count) {
        VellixEntry entry;
        for (unsigned long i = 0; i < count; ++i) {
            fill(entry, catalog[i]);
            addEntry(entry);
        }
    }
};

// The text of such a document, made without one, so that no freed memory is at hand for what is measured.
std::string textOf(const Catalog& catalog, unsigned long count) {
    constexpr std::size_t kEnoughPerEntry = 400;
    std::string text;
    text.reserve(count * kEnoughPerEntry);
    text = R"(<CatFH OP="1">)";
    VellixEntry entry;
    for (unsigned long i = 0; i < count; ++i) {
        fill(entry, catalog[i]);
        entry.serialize(text);
    }
    return text += "</CatFH>";
}

// Counts the entries of what was made and sums up its text.
std::uint64_t finish(const VellixDoc& made, Meter& meter) {
    for (unsigned long i = 0; i < made.getNumberOfEntries(); ++i) meter.entry();
    meter.stop();
    std::string text;
    made.serialize(text);
    Checksum sum;
    sum.add(text.data(), text.size());
    return sum.value();
}

void start(Meter& meter) {
    meter.start();
    meter.countAllocationsFromHere();
}

std::uint64_t build(const Task& task, Meter& meter) {
    const Catalog catalog;
    start(meter);
    Document made;
    made.build(catalog, task.entries);
    return finish(made, meter);
}

std::uint64_t copy(const Task& task, Meter& meter) {
    const Catalog catalog;
    Document original;
    original.build(catalog, task.entries);
    start(meter);
    const VellixDoc made(original);
    return finish(made, meter);
}

std::uint64_t load(const Task& task, Meter& meter) {
    const std::string text = textOf(Catalog(), task.entries);
    start(meter);
    VellixDoc made(VELLIX_DOC_FH);
    require(made.load(text), "the text can't be loaded");
    return finish(made, meter);
}

} // namespace

int main(int argc, char** argv) { return driverMain(argc, argv, {{"build", build}, {"copy", copy}, {"load", load}}); }
