// SPDX-License-Identifier: Apache-2.0
// Walks over a text, a file, pieces and parts. The first byte is the length of a script; the rest is the text, in which a
// byte 1 stands for a run of up to 16384 bytes of the kind that follows it and its length. The script cuts the pieces and the
// parts, and tells what is passed over.
#include <algorithm>

#include "Fuzz.h"
#include "tests/TempDir.h"
#include "tests/WalkModel.h"

using namespace walktest;
using vellix::Walk;

namespace {

constexpr std::size_t kMostBytes = 140000;
constexpr std::size_t kMostSteps = 1000; // with more, steps take their time to be shown
constexpr std::size_t kMostOpen = 32;    // no walk keeps more unknown elements open

std::string blownUp(Input& input) {
    std::string text;
    while (!input.isEmpty() && text.size() < kMostBytes) {
        const unsigned int byte = input.byte();
        const std::size_t run = byte == 1 ? 64 * input.byte() : 1;
        text.append(run, static_cast<char>(byte == 1 ? input.byte() : byte));
    }
    return text;
}

// The tags that begin in the order of the parts, each of which ends with all that it has opened.
std::vector<std::uint64_t> tagsOfParts(const Walk& whole, Input script) {
    std::vector<std::uint64_t> tags;
    for (std::uint64_t begin = 0, end = 0; begin < whole.size(); begin = end) {
        end = script.isEmpty() ? whole.size() : begin + script.word();
        Walk part = whole.part(begin, end, script.type());
        int open = 0;
        for (const vellix::Step& step : part) {
            const bool isEnd = step.kind() == StepKind::documentEnd;
            if (step.kind() == StepKind::documentBegin) ++open;
            if (isEnd) --open;
            if (!isEnd) tags.push_back(step.offset());
            if (!isEnd) require(step.offset() >= begin && step.offset() < end, "the tags of a part begin in it");
        }
        require(open <= 0, "what a part has opened ends with it");
    }
    return tags;
}

void checkSkips(Walk walk, const Model& model, Input script) {
    std::size_t at = 0;
    while (const vellix::Step* const step = walk.next()) {
        require(at < model.steps.size() && seenAt(*step).shown() == model.steps[at].shown(),
                "a skip ends where it should");
        const bool skips = script.below(3) == 1;
        if (skips) walk.skip();
        at = skips ? model.behindSkip(at) : at + 1;
    }
    require(at == model.steps.size(), "the last skip ends where it should");
}

// The images and what is in them, of which as many are asked for as the script says.
void checkRanges(Walk walk, const Model& model, Input script) {
    std::vector<std::uint64_t> expected;
    for (const Seen& step : model.steps) {
        if (step.kind == StepKind::entry && step.type == VELLIX_DOC_FH) expected.push_back(step.offset);
    }
    std::size_t entries = 0;
    for (const vellix::Document& image : walk.documents(VELLIX_DOC_DOC)) {
        require(image.type() == VELLIX_DOC_DOC, "a range gives what was asked for");
        std::size_t left = script.below(5);
        if (left == 0) continue;
        for (VellixEntry& file : image.entries(VELLIX_DOC_FH)) {
            require(file.getType() == VELLIX_DOC_FH, "a range gives entries of the type");
            ++entries;
            if (--left == 0) break;
        }
    }
    require(entries <= expected.size(), "no entry comes twice");
    walk = walk.part(0, walk.size());
    entries = 0;
    for (const VellixEntry& file : walk.entries(VELLIX_DOC_FH)) entries += file.getType() == VELLIX_DOC_FH ? 1 : 0;
    require(entries == expected.size(), "all entries of a type are given");
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const TempDir directory;
    Input input(data, size);
    const std::string steps = input.text(input.byte());
    const Input script(reinterpret_cast<const std::uint8_t*>(steps.data()), steps.size());
    const std::string text = blownUp(input);
    const Model model(text, kMostSteps, kMostOpen);
    if (!model.isWhole) return 0;

    const Guarded bytes(text);
    Walk walk = Walk::overText({bytes.data(), bytes.size()});
    require(shown(stepsOf(walk)) == shown(model.steps), "a walk over a text is as the model says");
    Input cuts = script;
    Walk pieces = Walk::overPieces(piecesOf(text, [&] { return 1 + cuts.byte() * cuts.byte(); }));
    require(shown(stepsOf(pieces)) == shown(model.steps), "a walk over pieces is as the model says");
    writeFile(directory.file("a.xml"), text);
    Walk file(directory.file("a.xml"));
    require(shown(stepsOf(file)) == shown(model.steps), "a walk over a file is as the model says");

    std::vector<std::uint64_t> tags;
    for (const Seen& step : model.steps) {
        if (step.kind != StepKind::documentEnd) tags.push_back(step.offset);
    }
    require(tagsOfParts(walk, script) == tags && tagsOfParts(file, script) == tags,
            "the parts give the tags of the whole");
    checkSkips(Walk::overText({bytes.data(), bytes.size()}), model, script);
    checkRanges(Walk::overText({bytes.data(), bytes.size()}), model, script);
    return 0;
}
