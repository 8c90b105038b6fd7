// SPDX-License-Identifier: Apache-2.0
#ifndef VELLIX_TESTS_WALK_MODEL_H
#define VELLIX_TESTS_WALK_MODEL_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "TestSupport.h"
#include "vellix/VellixWalk.h"

// What a walk has to give, by a plain loop over a whole text that knows no windows, limits or wishes. Shared with the fuzz
// targets.
namespace walktest {

using vellix::StepKind;
using vellix::TagError;

struct Seen {
    StepKind kind;
    VELLIX_DOC_TYPE type;
    std::string name;
    std::size_t depth;
    std::uint64_t offset;
    TagError error;
    std::string slots;
    std::string around;  // type and attributes of each document around
    std::size_t skipped; // the level that a skip passes over, counted from 1

    std::string shown() const {
        return std::to_string(static_cast<int>(kind)) + " type " + std::to_string(type) + ' ' + name + " in " + around +
               " depth " + std::to_string(depth) + " at " + std::to_string(offset) + " error " +
               std::to_string(static_cast<int>(error)) + ' ' + slots;
    }
};

class Model {
public:
    /// Ends early where there are more than `mostSteps` or documents are deeper in each other than `mostOpen`.
    explicit Model(const std::string& bytes, std::size_t mostSteps = ~std::size_t{0}, std::size_t mostOpen = 64)
        : text(bytes) {
        run(mostSteps, mostOpen);
    }

    bool isWhole = false;

    std::vector<Seen> steps;
    std::vector<std::size_t> ends; // for each level the number of steps in front of its end

    /// The number of the step that follows a skip from step `at`.
    std::size_t behindSkip(std::size_t at) const {
        return steps[at].skipped != 0 ? ends[steps[at].skipped - 1] : at + 1;
    }

private:
    struct Level {
        VELLIX_DOC_TYPE type;
        std::string name;
        std::string slots;
        std::size_t number;
    };
    struct Tag {
        std::string name;
        bool ended = false;
        bool closed = false;
        bool metEnd = false;
        std::size_t behind = 0;
    };

    static std::string lower(std::string word) {
        for (char& c : word) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c;
        return word;
    }

    static bool isWordLike(VellixTokenKind kind) {
        return kind == VELLIX_TOKEN_WORD || kind == VELLIX_TOKEN_QUOTED || kind == VELLIX_TOKEN_EQUALS;
    }

    XmlStr cursorAt(std::size_t at) const {
        XmlStr cursor;
        cursor.buffer = text.data();
        cursor.length = static_cast<unsigned long>(text.size());
        cursor.position = static_cast<unsigned long>(at);
        return cursor;
    }

    Tag tokensOf(std::size_t at) const {
        XmlStr cursor = cursorAt(at);
        Tag tag;
        xmlNextToken(&cursor);
        VellixToken token = xmlNextToken(&cursor);
        if (token.kind == VELLIX_TOKEN_WORD) {
            tag.name.assign(token.start, token.length);
            token = xmlNextToken(&cursor);
        }
        while (isWordLike(token.kind)) token = xmlNextToken(&cursor);
        tag.closed = token.kind == VELLIX_TOKEN_EMPTY_END;
        tag.ended = tag.closed || token.kind == VELLIX_TOKEN_END;
        tag.metEnd = token.kind == VELLIX_TOKEN_EOF && cursor.position >= cursor.length;
        tag.behind =
            tag.ended || token.start == nullptr ? cursor.position : static_cast<std::size_t>(token.start - text.data());
        return tag;
    }

    VELLIX_DOC_TYPE holder() const {
        for (std::size_t i = open.size(); i > 0; --i) {
            if (open[i - 1].type != VELLIX_DOC_NONE) return open[i - 1].type;
        }
        return VELLIX_DOC_NONE;
    }

    void run(std::size_t mostSteps, std::size_t mostOpen) {
        std::size_t at = 0;
        while ((at = text.find('<', at)) != std::string::npos) {
            const char mark = at + 1 < text.size() ? text[at + 1] : '\0';
            at = mark == '?' ? at + 2 : mark == '/' ? closeTag(at) : openTag(at);
            if (steps.size() > mostSteps || open.size() > mostOpen) return;
        }
        endTo(0, text.size());
        isWhole = true;
    }

    void add(StepKind kind, VELLIX_DOC_TYPE type, const std::string& name, std::uint64_t offset, TagError error,
             const std::string& slots) {
        std::string around;
        std::size_t skipped = 0;
        for (const Level& level : open) {
            around += std::to_string(level.type) + '[' + level.slots + ']';
            if (level.type != VELLIX_DOC_NONE && kind != StepKind::unknown) skipped = level.number;
        }
        steps.push_back({kind, type, name, open.size(), offset, error, slots, around, skipped});
    }

    void endTo(std::size_t depth, std::size_t at) {
        while (open.size() > depth) {
            const Level level = open.back();
            open.pop_back();
            ends[level.number - 1] = steps.size();
            if (level.type != VELLIX_DOC_NONE)
                add(StepKind::documentEnd, level.type, level.name, at, TagError::none, level.slots);
        }
    }

    std::size_t closeTag(std::size_t at) {
        XmlStr cursor = cursorAt(at);
        xmlNextToken(&cursor);
        const XmlStr behindMark = cursor;
        const VellixToken word = xmlNextToken(&cursor);
        if (word.kind != VELLIX_TOKEN_WORD)
            return word.start != nullptr ? static_cast<std::size_t>(word.start - text.data()) : behindMark.position;
        const std::string name(word.start, word.length);
        const VELLIX_DOC_TYPE type = xmlDocTypeByName(word.start, word.length);
        for (std::size_t i = open.size(); i > 0; --i) {
            if (open[i - 1].type != type) continue;
            if (type == VELLIX_DOC_NONE && lower(open[i - 1].name) != lower(name)) continue;
            endTo(i - 1, at);
            break;
        }
        return cursor.position;
    }

    std::size_t openTag(std::size_t at) {
        const Tag tag = tokensOf(at);
        const VellixDocTypeRow& row = xmlDocTypeRow(holder());
        const bool isEntry = row.entryOpenTag != nullptr && lower(row.entryOpenTag + 1) == lower(tag.name);
        const bool ownName = isEntry && row.entryOpenTag == std::string(row.openTag);
        const VELLIX_DOC_TYPE type =
            isEntry ? holder() : xmlDocTypeByName(tag.name.data(), static_cast<unsigned long>(tag.name.size()));
        VellixEntry entry(type);
        TagError error = tag.ended ? TagError::none : tag.metEnd ? TagError::cut : TagError::badToken;
        if (tag.name.empty()) error = TagError::badToken;
        if (type != VELLIX_DOC_NONE) {
            XmlStr cursor = cursorAt(at);
            const int code = entry.parseAttrXMLString(&cursor);
            const std::size_t nameEnd = text.find(tag.name, at) + tag.name.size();
            const bool onlyName =
                tag.ended && !tag.closed && text.find_first_not_of(" \t\r\n", nameEnd) == tag.behind - 1;
            if (code == VELLIX_ERR_NO_MEMORY) error = TagError::badReference;
            if (code == VELLIX_ERR_SYNTAX && !onlyName) error = TagError::badToken;
        }
        const bool opens = type != VELLIX_DOC_NONE ? !isEntry || (ownName && !tag.closed)
                                                   : tag.ended && !tag.closed && tag.name[0] != '!';
        const StepKind kind = error != TagError::none   ? StepKind::unreadable
                              : type == VELLIX_DOC_NONE ? StepKind::unknown
                              : opens                   ? StepKind::documentBegin
                                                        : StepKind::entry;
        const std::string slots = slotsOf(entry);
        add(kind, type, tag.name, at, error, slots);
        if (opens && (type != VELLIX_DOC_NONE || error == TagError::none)) {
            ends.push_back(0);
            steps.back().skipped = ends.size();
            open.push_back({type, tag.name, slots, ends.size()});
        }
        if (tag.closed && type != VELLIX_DOC_NONE && opens) endTo(open.size() - 1, at);
        return tag.behind;
    }

    const std::string& text;
    std::vector<Level> open;
};

inline Seen seenAt(const vellix::Step& step) {
    std::string around;
    for (std::size_t depth = 0; depth < step.depth(); ++depth) {
        const vellix::Document& document = step.around(depth);
        around += std::to_string(document.type()) + '[' + slotsOf(document.attributes()) + ']';
    }
    return {step.kind(),
            step.type(),
            std::string(step.name()),
            step.depth(),
            step.offset(),
            step.error(),
            slotsOf(step.attributes()),
            around,
            0};
}

inline std::vector<Seen> stepsOf(vellix::Walk& walk) {
    std::vector<Seen> steps;
    for (const vellix::Step& step : walk) steps.push_back(seenAt(step));
    return steps;
}

inline std::vector<std::string> shown(const std::vector<Seen>& steps) {
    std::vector<std::string> lines;
    for (const Seen& step : steps) lines.push_back(step.shown());
    return lines;
}

/// Hands out a text in pieces, whose lengths `cut` tells.
template <class Cut> vellix::ReadBytes piecesOf(const std::string& text, Cut cut) {
    return [&text, cut, at = std::size_t{0}](char* out, std::size_t room, std::error_code&) mutable {
        const std::size_t length = std::min({static_cast<std::size_t>(cut()), room, text.size() - at});
        std::memcpy(out, text.data() + at, length);
        at += length;
        return length;
    };
}

/// Texts of documents and entries in any order, with what breaks them.
class RandomCatalog {
public:
    explicit RandomCatalog(unsigned int seed) : random(seed) {}

    std::string next(std::size_t pieces) {
        static const std::vector<std::string> kPieces = split(
            "<CatResults IC=\"1\" ID=\"s\">|</CatResults>|<CatDoc ID=\"1\">|<CatDoc ID=\"2\">|<catdoc "
            "id='3'/>|</CatDoc>|"
            "<CatFH>|</CatFH>|<CatFH OP=\"1\" >|</catfh |<ET NM=\"a\" SZ=\"1\"/>|<ET NM=\"b\">|</ET>|<ET/>|<ET>|"
            "<ET NM=\"\xE9<b\"/>|<CatDoc ID=\"\xF0\"><|<CatFH NM=\"\xE0|<\"/>|<ET NM=\"a&b\" SZ=\"2\"/>|<CatDoc "
            "ID=\"&x;\">|"
            "<CatSpn>|</CatSpn>|<CatRes|><RE NM=\"r\"/>|<CatRes>|</CatRes>|<CatImage PT=\"1\">|<CatImage PT=\"2\"/>|"
            "</CatImage>|<CatFrag FN=\"1\"/>|<CatFrag>|<Other a=\"1\">|</other>|<Other/>|<!-- <ET/> -->|   |text|"
            "<?xml version=\"1.0\"?>|<ImageAttributes><requestReturnAtt name=\"n\"/>|</ImageAttributes>|<ET SZ>|<ET "
            "=\"1\"/>",
            "|");
        std::string text;
        for (std::size_t left = random.below(pieces + 1); left != 0; --left) {
            const std::size_t choice = random.below(kPieces.size() + 6);
            text += choice < kPieces.size() ? kPieces[choice] : random.next(4, true);
        }
        return text;
    }

    std::size_t below(std::size_t bound) { return random.below(bound); }

private:
    RandomText random;
};

} // namespace walktest

#endif
