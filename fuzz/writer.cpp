// SPDX-License-Identifier: Apache-2.0
// A writer under calls in any order. A model of the documents and of the page rule tells every byte of the file; and what
// went into it comes back when it is read.
#include <algorithm>
#include <memory>
#include <vector>

#include "Fuzz.h"
#include "tests/FileSupport.h"
#include "tests/PosixSupport.h"
#include "tests/TempDir.h"

using namespace filetest;

namespace {

constexpr std::size_t kMostBytes = 5 * kPageSize;

// A file as it should become.
class ModelFile {
public:
    bool isOpen = false;

    void start() {
        *this = ModelFile();
        isOpen = true;
    }

    // A record of some length that is given another one for its place.
    void put(const std::string& record, std::size_t placed) {
        if (!isOpen) return;
        if (bytes.size() > boundary || placed > room()) {
            bytes.append(room(), ' ');
            boundary += kPageSize;
        }
        regular = regular && record.size() <= std::min(placed, kPageSize);
        const std::size_t begin = bytes.size();
        bytes += record;
        records += record;
        const bool crosses = !record.empty() && begin / kPageSize != (bytes.size() - 1) / kPageSize;
        require(!regular || !crosses, "a record that fits crosses no boundary");
    }

    void put(const std::string& record) { put(record, record.size()); }

    std::size_t room() const { return boundary > bytes.size() ? boundary - bytes.size() : 0; }

    const std::string& content() const { return bytes; }
    const std::string& withoutFilling() const { return records; }

private:
    std::string bytes;
    std::string records;
    std::size_t boundary = kPageSize;
    bool regular = true; // no record so far was longer than a page or than it was said to be
};

// The tag of a document or entry with one attribute at most.
struct Attribute {
    std::string tag;
    std::string value;

    std::string text() const {
        if (tag.empty()) return "";
        return ' ' + tag + "=\"" + MallocText(xmlEncode(value.c_str(), nullptr, -1)).get() + '"';
    }
};

const char* orEmpty(const char* text) { return text != nullptr ? text : ""; }

// A document that streams, and what is known of it.
struct ModelDoc {
    explicit ModelDoc(VELLIX_DOC_TYPE type) : row(xmlDocTypeRow(type)) {}

    const VellixDocTypeRow& row;
    Attribute attribute;
    std::vector<std::string> held;
    bool leaf = true;
    bool opened = false;
    bool closeWritten = false;
    bool closed = false;

    void open(ModelFile& file) {
        if (opened) return;
        opened = true;
        file.put(row.openTag == nullptr ? "" : row.openTag + attribute.text() + (leaf ? "/>" : ">"));
        for (const std::string& record : held) file.put(record);
    }

    void add(ModelFile& file) {
        leaf = false;
        closed = false;
        open(file);
    }

    void close(ModelFile& file) {
        if (closed) return;
        closed = true;
        open(file);
        if (!closeWritten && !leaf) file.put(orEmpty(row.closeTag));
        opened = false;
        closeWritten = false;
        held.clear();
    }
};

class Run {
public:
    Run(Input& source, const TempDir& place)
        : input(source), directory(place), rootType(source.type()), root(rootType), writer(rootType) {
        if (rootType == VELLIX_DOC_RESULTS) {
            writer.getRootDoc().addAttribute(1, "7");
            root.attribute = {"IC=\"0\" ID", "7"};
        }
    }

    void step() {
        switch (input.below(16)) {
        case 0:
        case 1:
            return create(input.below(8) == 7);
        case 2:
        case 3:
            return addDoc();
        case 4:
            return addHeldDoc();
        case 5:
        case 6:
        case 7:
        case 8:
            return addEntry();
        case 9:
            return closeDoc();
        case 10:
            return write();
        case 11:
            return writeEntry();
        case 12:
            return mark();
        case 13:
            return input.below(4) == 0 ? reset() : flush();
        case 14:
            return input.below(4) == 0 ? close() : flush();
        default:
            return input.below(4) == 0 ? serialize() : flush();
        }
    }

    void check() {
        require(writer.size() == static_cast<__int64>(file.content().size() + 1), "the writer knows its position");
    }

    bool isLarge() const { return file.content().size() > kMostBytes; }

    void finish() {
        while (!docs.empty()) closeDoc();
        close();
        check();
        checkFile();
    }

private:
    struct Pair {
        ModelDoc model;
        VellixDoc doc;
        explicit Pair(VELLIX_DOC_TYPE type) : model(type), doc(type) {}
    };

    // A value that may fill pages.
    std::string value() {
        const std::string bytes = upToNul(input.text(input.below(64)));
        const std::size_t more = input.below(4) == 0 ? 257 * static_cast<std::size_t>(input.byte()) : 0;
        return bytes + std::string(more, 'x') + std::string(input.byte(), 'y');
    }

    // What a record of some length lacks to end at the boundary or next to it. Mostly nothing, to let it end anywhere.
    std::string filling(std::size_t length) {
        const std::size_t target = file.room() + 2 - input.below(5);
        return std::string(input.below(4) == 0 && target > length && target <= file.room() + 2 ? target - length : 0,
                           'z');
    }

    // An attribute that takes any text whatever its length.
    Attribute attributeFor(VELLIX_DOC_TYPE type) {
        const VellixMapTag* const row = xmlRowAt(type, input.byte() % 64);
        if (row == nullptr || row->maxLen >= 0 || type == VELLIX_DOC_SEARCH_CRITERIA || type == VELLIX_DOC_FRAG)
            return {};
        return {row->tag, value()};
    }

    static void give(VellixEntry& entry, const Attribute& attribute) {
        if (attribute.tag.empty()) return;
        require(entry.addAttribute(attribute.tag.data(), static_cast<unsigned int>(attribute.tag.size()),
                                   attribute.value.c_str()),
                "an attribute is stored");
    }

    static std::string entryText(VELLIX_DOC_TYPE type, const Attribute& attribute) {
        const char* const tag = xmlDocTypeRow(type).entryOpenTag;
        return tag == nullptr ? "" : tag + attribute.text() + "/>";
    }

    void create(bool asTemporary) {
        const bool made = asTemporary ? writer.create() : writer.create(directory.wide("a.xml").c_str());
        require(made == !file.isOpen, "a file is made where none is under way");
        if (!made) return;
        if (finished) expectNew();
        file.start();
        named = !asTemporary;
        temporary = asTemporary;
    }

    void reset() {
        require(writer.reset(), "a writer can start over");
        if (file.isOpen) expectClosed();
        expectNew();
        file.isOpen = named || temporary;
    }

    void expectNew() {
        file.start();
        firstDocSeen = false;
        headerWritten = false;
        finished = false;
        raw = false;
        markIsSet = false;
        rootAtFront = false;
        viewed = 0;
    }

    void writeHeader() {
        headerWritten = true;
        file.put(kHeader, kHeader.size() + 1);
    }

    // Whether the root's tag gets to where the mark has its place.
    void openRoot() {
        if (root.opened || !file.isOpen) return;
        rootAtFront = file.content() == kHeader && root.row.docType == VELLIX_DOC_RESULTS;
    }

    void attach(Pair& pair) {
        if (docs.empty()) {
            writer.addDoc(pair.doc);
            if (firstDocSeen) return;
            firstDocSeen = true;
            const bool wanted = pair.model.row.includeXmlHeader != 0;
            if (wanted || (!headerWritten && root.row.includeXmlHeader != 0)) writeHeader();
            openRoot();
            root.add(file);
        } else {
            docs.back()->doc.addChildDoc(pair.doc);
            docs.back()->model.add(file);
        }
    }

    void addDoc() {
        if (docs.size() == 8) return;
        const VELLIX_DOC_TYPE type = input.type();
        auto pair = std::make_unique<Pair>(type);
        pair->model.attribute = attributeFor(type);
        give(pair->doc, pair->model.attribute);
        attach(*pair);
        docs.push_back(std::move(pair));
    }

    // A document that holds an entry and a child before it gets a writer.
    void addHeldDoc() {
        const VELLIX_DOC_TYPE type = input.type();
        const VELLIX_DOC_TYPE childType = input.type();
        VellixDoc child(childType);
        auto pair = std::make_unique<Pair>(type);
        const Attribute attribute = attributeFor(type);
        VellixEntry entry(type);
        give(entry, attribute);
        pair->doc.addEntry(entry);
        pair->doc.addChildDoc(child);
        const VellixDocTypeRow& row = xmlDocTypeRow(childType);
        const std::string childText = row.openTag == nullptr ? "" : std::string(row.openTag) + "/>";
        pair->model.held = {(row.includeXmlHeader != 0 ? kHeader : "") + childText, entryText(type, attribute)};
        pair->model.leaf = false;
        attach(*pair);
        docs.push_back(std::move(pair));
        closeDoc();
    }

    void addEntry() {
        if (docs.empty()) return;
        const VELLIX_DOC_TYPE type = docs.back()->doc.getType();
        Attribute attribute = attributeFor(type);
        attribute.value += filling(entryText(type, attribute).size());
        VellixEntry entry(type);
        give(entry, attribute);
        const bool added = docs.back()->doc.addEntry(entry);
        const std::string text = entryText(type, attribute);
        docs.back()->model.add(file);
        file.put(text);
        require(added == (file.isOpen && !text.empty()), "an entry goes to the file");
    }

    void closeDoc() {
        if (docs.empty()) return;
        docs.back()->doc.close();
        docs.back()->model.close(file);
        docs.pop_back();
    }

    // Any text, with a length that may lie.
    void write() {
        std::string text = value();
        text += filling(text.size());
        const std::size_t placed = input.below(4) == 0 ? input.word() : text.size();
        require(writer.write(text.c_str(), static_cast<unsigned long>(placed)) == (file.isOpen && !text.empty()),
                "a text goes to the file");
        file.put(text, placed);
        raw = true;
    }

    void writeEntry() {
        const VELLIX_DOC_TYPE type = input.type();
        const Attribute attribute = attributeFor(type);
        VellixEntry entry(type);
        give(entry, attribute);
        const std::string text = entryText(type, attribute);
        require(writer.write(entry) == (file.isOpen && !text.empty()), "an entry goes to the file");
        file.put(text);
    }

    void flush() {
        require(writer.flush() == file.isOpen, "a file under way can be flushed");
        if (file.isOpen && named) require(bytesOf(directory.file("a.xml")) == file.content(), "each record is written");
    }

    void mark() {
        writer.markComplete();
        marked = true;
    }

    void close() {
        writer.close();
        expectClosed();
    }

    void expectClosed() {
        if (!finished && file.isOpen) {
            if (!headerWritten && root.row.includeXmlHeader != 0) writeHeader();
            if (!root.closed) openRoot();
            root.close(file);
            file.isOpen = false;
        }
        finished = true;
        if (marked && rootAtFront) view(markPlace() + 2);
    }

    void serialize() {
        const char* const text = writer.serialize();
        expectClosed();
        if (named || temporary) view(file.content().size());
        const bool there = (named || temporary) && viewed == file.content().size() && viewed != 0;
        require((text != nullptr) == there, "a finished file can be seen");
        require(!there || std::string(text, viewed) == withMark(), "the view shows the file");
    }

    std::size_t markPlace() const { return kHeader.size() + std::strlen(orEmpty(root.row.entryOpenTag)) + 5; }

    // A view is only ever replaced by a longer one, and whoever makes a view sets the mark.
    void view(std::size_t length) {
        if (viewed >= length) return;
        viewed = length;
        markIsSet = markIsSet || (marked && rootAtFront && viewed >= markPlace() + 2);
    }

    std::string withMark() const {
        std::string bytes = file.content();
        if (markIsSet) bytes[markPlace()] = '1';
        return bytes;
    }

    void checkFile() {
        if (!named) return;
        const std::string path = directory.file("a.xml");
        require(bytesOf(path) == withMark(), "the finished file is as it should be");
        // The root's tag has to stand in front, or it would be looked for where entries are: in memory in all of them, and
        // else on one page. And what was written as text may be half a tag, into which filling may have come.
        const std::string begin = orEmpty(root.row.openTag);
        const std::size_t at = file.content().compare(0, kHeader.size(), kHeader) == 0 ? kHeader.size() : 0;
        const std::string written = file.content() + '\0';
        if (raw || begin.empty() || root.row.cacheData != 0 || written.compare(at, begin.size(), begin) != 0) return;
        if (std::strchr(" />", written[at + begin.size()]) == nullptr) return;
        const Guarded bytes(file.withoutFilling());
        OpenReader pages(rootType);
        OpenReader memory(rootType);
        require(pages.load(directory.wide("a.xml").c_str()) && memory.load(bytes.data(), bytes.size()),
                "a written file can be loaded");
        require(readToEnd(pages) == readToEnd(memory), "a written file reads back");
    }

    Input& input;
    const TempDir& directory;
    VELLIX_DOC_TYPE rootType;
    ModelDoc root;
    ModelFile file;
    VellixWriter writer;
    std::vector<std::unique_ptr<Pair>> docs; // go before the writer
    bool named = false;
    bool temporary = false;
    bool firstDocSeen = false;
    bool headerWritten = false;
    bool finished = false;
    bool marked = false;
    bool markIsSet = false;
    bool rootAtFront = false;
    bool raw = false;
    std::size_t viewed = 0;
};

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const TempDir directory;
    static const TemporaryDirectory temporary(directory.path());
    Input input(data, size);
    {
        Run run(input, directory);
        while (!input.isEmpty() && !run.isLarge()) {
            run.step();
            run.check();
        }
        run.finish();
    }
    // Of several temporary files a writer deletes only the last.
    for (const auto& left : std::filesystem::directory_iterator(directory.path())) std::filesystem::remove(left.path());
    return 0;
}
