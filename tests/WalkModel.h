// SPDX-License-Identifier: Apache-2.0
#ifndef VELLIX_TESTS_WALK_MODEL_H
#define VELLIX_TESTS_WALK_MODEL_H

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <set>
#include <string>
#include <string_view>
#include <system_error>
#include <type_traits>
#include <utility>
#include <vector>

#include "TempDir.h"
#include "TestSupport.h"
#include "vellix/VellixWalk.h"

// What a walk has to give, by a plain loop over a whole text that knows no windows and no wishes, and `faultOf`, which
// compares all that walks over a text give with that. Shared with the fuzz target.
namespace walktest {

using vellix::Document;
using vellix::Step;
using vellix::StepKind;
using vellix::TagError;
using vellix::Walk;

constexpr std::size_t kLongestTag = 16 * 1024 * 1024;
constexpr std::size_t kMostOpen = 64;
constexpr std::size_t kMostUnknown = 32;
constexpr std::size_t kMostHeld = 32 * 1024 * 1024;

/// Takes a decision: a number below `bound`. One that has run out of decisions gives 0.
using Choose = std::function<std::size_t(std::size_t bound)>;

/// The values of an entry. Very long ones are shown by a part of them.
inline std::string lineOf(const VellixEntry& entry) {
    std::string values = slotsOf(entry);
    if (values.size() > 400) values.replace(200, values.npos, std::to_string(std::hash<std::string>()(values)));
    return values;
}

/// All that a tag shows, which is that of a document, of a step, or of the model.
inline std::string lineOf(VELLIX_DOC_TYPE type, std::string_view name, std::size_t depth, std::uint64_t offset,
                          TagError error, const std::string& values) {
    return std::string(name) + " of type " + std::to_string(type) + " at " + std::to_string(offset) + " in " +
           std::to_string(depth) + ", error " + std::to_string(static_cast<int>(error)) + ": " + values + '\n';
}

template <class Tag> std::string tagOf(const Tag& tag) {
    return lineOf(tag.type(), tag.name(), tag.depth(), tag.offset(), tag.error(), lineOf(tag.attributes()));
}

/// A step, and all that is around it.
inline std::string lineOf(const Step& step) {
    std::string line = std::to_string(static_cast<int>(step.kind())) + ' ' + tagOf(step);
    for (std::size_t depth = 0; depth < step.depth(); ++depth) line += tagOf(step.around(depth));
    return line;
}

struct Seen {
    StepKind kind;
    VELLIX_DOC_TYPE type;
    std::string name;
    std::size_t offset;
    std::size_t length; // of the tag
    TagError error;
    std::string values;
    bool isEntry = false;    // or would be one, and can't be taken for a document by its name
    std::string tag = {};    // all that the tag shows
    std::string line = {};   // the same, and what is around it
    std::size_t skipped = 0; // the step, counted from 1, that opened what a skip passes over
    std::size_t end = 0;     // where something is open behind it, the number of steps in front of its end
};

class Model {
public:
    /// The steps of a walk over `bytes`, or over the part of them from `begin` to before `end`.
    explicit Model(std::string_view bytes, VELLIX_DOC_TYPE entriesOf = VELLIX_DOC_NONE, std::size_t begin = 0,
                   std::size_t end = std::string::npos)
        : text(bytes), base(entriesOf) {
        for (std::size_t at = text.find('<'); at < end && at != std::string::npos;) {
            const Tag tag = tagAt(at);
            if (at >= begin && tag.mark == VELLIX_TOKEN_OPEN) take(tag, at);
            if (at >= begin && tag.mark == VELLIX_TOKEN_CLOSE_OPEN) close(tag.name, at);
            at = text.find('<', tag.behind);
        }
        endTo(0, std::min(end, text.size()));
    }

    std::vector<Seen> steps;

    /// The number of the step that follows a skip from step `at`.
    std::size_t behindSkip(std::size_t at) const {
        return steps[at].skipped != 0 ? steps[steps[at].skipped - 1].end : at + 1;
    }

private:
    struct Tag {
        VellixTokenKind mark;
        std::string name;
        bool ended;
        bool closed;
        std::size_t behind;
        TagError error;
    };

    XmlStr cursorAt(std::size_t at, std::size_t end) const {
        XmlStr cursor;
        cursor.buffer = text.data();
        cursor.length = static_cast<unsigned long>(end);
        cursor.position = static_cast<unsigned long>(at);
        return cursor;
    }

    Tag tagAt(std::size_t at) const {
        XmlStr cursor = cursorAt(at, text.size());
        Tag tag = {xmlNextToken(&cursor).kind, "", false, false, cursor.position, TagError::none};
        if (tag.mark == VELLIX_TOKEN_PI_OPEN) return tag;
        VellixToken token = xmlNextToken(&cursor);
        if (token.kind == VELLIX_TOKEN_WORD) {
            tag.name.assign(token.start, token.length);
            token = xmlNextToken(&cursor);
        }
        const std::set<int> inside = {VELLIX_TOKEN_WORD, VELLIX_TOKEN_QUOTED, VELLIX_TOKEN_EQUALS};
        while (tag.mark == VELLIX_TOKEN_OPEN && inside.count(token.kind) != 0) token = xmlNextToken(&cursor);
        tag.closed = token.kind == VELLIX_TOKEN_EMPTY_END;
        tag.ended = tag.closed || token.kind == VELLIX_TOKEN_END;
        const bool isRead = tag.ended || token.start == nullptr;
        tag.behind = isRead ? cursor.position : static_cast<std::size_t>(token.start - text.data());
        const bool isCut = token.kind == VELLIX_TOKEN_EOF && cursor.position >= cursor.length;
        if (!tag.ended) tag.error = isCut ? TagError::cut : TagError::badToken;
        if (tag.name.empty()) tag.error = TagError::badToken;
        if (tag.behind - at <= kLongestTag) return tag;
        return {tag.mark, tag.name, false, false, at + kLongestTag, TagError::tooLong};
    }

    // Reads the attributes and tells what is wrong with them.
    TagError parse(VellixEntry& entry, std::size_t at, const Tag& tag) const {
        XmlStr cursor = cursorAt(at, tag.error == TagError::tooLong ? tag.behind : text.size());
        const int code = entry.parseAttrXMLString(&cursor);
        const std::size_t behindName = text.find_first_not_of(" \t\r\n", text.find(tag.name, at) + tag.name.size());
        const bool isNameAlone = tag.ended && !tag.closed && behindName == tag.behind - 1;
        if (code == VELLIX_ERR_NO_MEMORY) return TagError::badReference;
        return code == VELLIX_ERR_SYNTAX && tag.error != TagError::tooLong && !isNameAlone ? TagError::badToken
                                                                                           : tag.error;
    }

    static VELLIX_DOC_TYPE typeOf(const std::string& name) {
        return xmlDocTypeByName(name.data(), static_cast<unsigned long>(name.size()));
    }

    // The document whose entries stand here.
    VELLIX_DOC_TYPE holder() const {
        VELLIX_DOC_TYPE type = base;
        for (const std::size_t step : open) type = steps[step].type != VELLIX_DOC_NONE ? steps[step].type : type;
        return type;
    }

    bool isNamedAsEntry(const std::string& name) const {
        const char* const entry = xmlDocTypeRow(holder()).entryOpenTag;
        return entry != nullptr && sameInAnyCase(entry + 1, name);
    }

    void take(const Tag& tag, std::size_t at) {
        const bool isEntry = deep.empty() && isNamedAsEntry(tag.name);
        const VELLIX_DOC_TYPE type = isEntry ? holder() : typeOf(tag.name);
        const bool isDocument = type != VELLIX_DOC_NONE && (!isEntry || (type == typeOf(tag.name) && !tag.closed));
        std::size_t unknown = 0;
        std::size_t held = tag.behind - at;
        for (const std::size_t step : open) {
            held += steps[step].length;
            unknown += steps[step].type == VELLIX_DOC_NONE ? 1 : 0;
        }
        const bool hasRoom = open.size() < kMostOpen && held <= kMostHeld;
        const bool isTooDeep = !deep.empty() || (isDocument && !hasRoom);
        if (isTooDeep && type != VELLIX_DOC_NONE && !tag.closed) deep.insert(type);

        VellixEntry entry(type);
        TagError error = isTooDeep ? TagError::tooDeep : tag.error;
        if (!isTooDeep && type != VELLIX_DOC_NONE) error = parse(entry, at, tag);
        StepKind kind = isDocument ? StepKind::documentBegin : StepKind::entry;
        if (type == VELLIX_DOC_NONE) kind = StepKind::unknown;
        if (error != TagError::none) kind = StepKind::unreadable;
        add({kind, type, tag.name, at, tag.behind - at, error, lineOf(entry), isEntry && type != typeOf(tag.name)});

        const bool holds = kind == StepKind::unknown && !tag.closed && tag.name[0] != '!';
        if (isDocument ? isTooDeep : !holds || !hasRoom || unknown == kMostUnknown) return;
        steps.back().skipped = steps.size();
        open.push_back(steps.size() - 1);
        if (tag.closed) endTo(open.size() - 1, at);
    }

    void close(const std::string& name, std::size_t at) {
        const VELLIX_DOC_TYPE type = typeOf(name);
        if (const auto found = deep.find(type); found != deep.end()) {
            deep.erase(found);
            return;
        }
        for (std::size_t i = open.size(); i > 0; --i) {
            const Seen& begin = steps[open[i - 1]];
            if (begin.type != type || (type == VELLIX_DOC_NONE && !sameInAnyCase(begin.name, name))) continue;
            deep.clear();
            return endTo(i - 1, at);
        }
        if (type != VELLIX_DOC_NONE && (type == holder() || !isNamedAsEntry(name))) base = VELLIX_DOC_NONE;
    }

    void add(Seen seen) {
        seen.tag = lineOf(seen.type, seen.name, open.size(), seen.offset, seen.error, seen.values);
        seen.line = std::to_string(static_cast<int>(seen.kind)) + ' ' + seen.tag;
        for (const std::size_t step : open) {
            const Seen& begin = steps[step];
            seen.line += begin.tag;
            if (begin.type != VELLIX_DOC_NONE && seen.kind != StepKind::unknown) seen.skipped = step + 1;
        }
        steps.push_back(seen);
    }

    void endTo(std::size_t depth, std::size_t at) {
        while (open.size() > depth) {
            Seen& begin = steps[open.back()];
            open.pop_back();
            begin.end = steps.size();
            const Seen end = {StepKind::documentEnd, begin.type, begin.name, at, 0, TagError::none, begin.values};
            if (begin.type != VELLIX_DOC_NONE) add(end);
        }
    }

    std::string_view text;
    VELLIX_DOC_TYPE base;                // whose entries stand outside of all documents
    std::vector<std::size_t> open;       // the steps that began what is open
    std::multiset<VELLIX_DOC_TYPE> deep; // documents that are open below the deepest level
};

/// Calls of a walk as they come, each against what it has to give by the model.
class Calls {
public:
    Calls(Walk over, const Model& with, Choose next) : walk(std::move(over)), model(with), choose(std::move(next)) {}

    /// What went wrong, empty if nothing.
    std::string fault() {
        while (!ended && wrong.empty()) callOne(nullptr, nullptr);
        compare(walk.error().message(), "");
        compare(std::to_string(walk.unreadableTags()) + " not read", std::to_string(unreadable) + " not read");
        return wrong;
    }

private:
    // One call, of the walk or of a document that was handed out, whose begin is the step `in`.
    void callOne(const Document* document, const Seen* in) {
        const VELLIX_DOC_TYPE types[] = {VELLIX_DOC_NONE, VELLIX_DOC_DOC, VELLIX_DOC_FH, VELLIX_DOC_IMAGE};
        const std::size_t call = choose(6);
        const VELLIX_DOC_TYPE type = types[choose(4)];
        if (isOver(in)) in = nullptr;
        if (call == 1) {
            walk.skip();
            at = behindSkip;
        } else if (call == 2) {
            loop(in != nullptr ? document->documents(type) : walk.documents(type), type, in);
        } else if (call == 3) {
            loop(in != nullptr ? document->entries(type) : walk.entries(type), type, in);
        } else {
            const Step* const given = walk.next();
            const Seen* const expected = forward();
            if (expected != nullptr && expected->kind == StepKind::unreadable) ++unreadable;
            compare(given != nullptr ? lineOf(*given) : "", expected != nullptr ? expected->line : "");
        }
    }

    // A loop over a range, in which anything may be called, and which may be left.
    template <class Item> void loop(const vellix::WalkRange<Item>& range, VELLIX_DOC_TYPE type, const Seen* in) {
        constexpr bool ofDocuments = std::is_same_v<Item, const Document>;
        const Seen* expected = nullptr;
        for (Item& item : range) {
            expected = following(type, in, expected, ofDocuments);
            if constexpr (ofDocuments) {
                compare(tagOf(item), expected != nullptr ? expected->tag : "");
                for (std::size_t left = choose(4); left != 0 && wrong.empty(); --left) callOne(&item, expected);
            } else {
                compare(lineOf(item), expected != nullptr ? expected->values : "");
                if (choose(2) == 1) item.clear();
            }
            if (!wrong.empty() || choose(4) == 1) return;
        }
        expected = following(type, in, expected, ofDocuments);
        compare("", expected != nullptr ? expected->line : "");
    }

    // The step that a range gives behind the last one; null at its end.
    const Seen* following(VELLIX_DOC_TYPE type, const Seen* in, const Seen* last, bool ofDocuments) {
        if (last != nullptr && !isOver(last)) at = last->end;
        while (!isOver(in)) {
            const Seen* const step = forward();
            if (step == nullptr) return nullptr;
            const bool isDocument = step->end != 0 && step->type != VELLIX_DOC_NONE;
            const bool isOfType = type == VELLIX_DOC_NONE || type == step->type;
            if (step->kind == StepKind::unreadable && (!step->isEntry || (isOfType && !ofDocuments))) ++unreadable;
            if (isOfType && (ofDocuments ? isDocument : step->kind == StepKind::entry)) return step;
        }
        return nullptr;
    }

    const Seen* forward() {
        ended = at == model.steps.size();
        behindSkip = ended ? at : model.behindSkip(at);
        return ended ? nullptr : &model.steps[at++];
    }

    bool isOver(const Seen* begin) const { return begin != nullptr && at > begin->end; }

    void compare(const std::string& given, const std::string& expected) {
        if (given != expected && wrong.empty())
            wrong = "behind step " + std::to_string(at) + "\n" + given + "\ninstead of\n" + expected;
    }

    Walk walk;
    const Model& model;
    Choose choose;
    std::size_t at = 0;         // how many steps are behind the walk
    std::size_t behindSkip = 0; // how many would be behind a skip
    std::uint64_t unreadable = 0;
    bool ended = false;
    std::string wrong;
};

/// Takes one step after the other.
inline std::size_t takeSteps(std::size_t /*bound*/) { return 0; }

/// Hands out a text in pieces, whose lengths `cut` tells.
inline vellix::ReadBytes piecesOf(std::string_view text, std::function<std::size_t()> cut) {
    return [text, cut, at = std::size_t{0}](char* out, std::size_t room, std::error_code&) mutable {
        const std::size_t length = text.copy(out, std::min(cut(), room), at);
        at += length;
        return length;
    };
}

/// What is wrong with walks over `text`, by any road: with their steps, with calls as they come, and with those of parts
/// that are cut near its tags. Empty if nothing.
inline std::string faultOf(std::string_view text, const std::filesystem::path& file, const Choose& choose) {
    const Model model(text);
    const std::size_t longest = std::array<std::size_t, 4>{1, 5, 1000, 70000}[choose(4)];
    std::vector<std::size_t> cuts = {0, text.size() + choose(2)};
    for (std::size_t left = choose(4); left != 0 && !model.steps.empty(); --left)
        cuts.push_back(model.steps[choose(model.steps.size())].offset + choose(7));
    std::sort(cuts.begin(), cuts.end());
    writeFile(file, std::string(text));
    const std::function<Walk()> roads[] = {
        [&] { return Walk::overText(text); }, [&] { return Walk(file); },
        [&] { return Walk::overPieces(piecesOf(text, [&] { return 1 + choose(longest); })); }};
    std::string fault;
    for (const auto& road : roads) {
        for (const Choose& how : {Choose(takeSteps), choose}) fault += Calls(road(), model, how).fault();
        const Walk whole = road();
        for (std::size_t i = 1; i < cuts.size() && whole.size() != 0; ++i) {
            const auto type = static_cast<VELLIX_DOC_TYPE>(choose(VELLIX_DOC_ENTRY_CONSTR_AND + 1));
            const Model part(text, type, cuts[i - 1], cuts[i]);
            fault += Calls(whole.part(cuts[i - 1], cuts[i], type), part, choose).fault();
        }
    }
    return fault;
}

} // namespace walktest

#endif
