// SPDX-License-Identifier: Apache-2.0
// A writer under calls in any order. A model of the documents, of the page rule and of the mark tells every byte of the
// file, what each call answers and the code that it leaves.
#include <algorithm>
#include <memory>
#include <vector>

#include "Fuzz.h"
#include "tests/FileSupport.h"
#include "tests/TempDir.h"

using namespace filetest;

namespace {

constexpr std::size_t kMostBytes = 5 * kPageSize;
constexpr int kUntouched = 99; // a code of nobody's
constexpr unsigned int kTypes = VELLIX_DOC_ENTRY_CONSTR_AND + 2;
const char* const kMarks[] = {"0", "9", "10", "x", ""}; // values of IC, of which one digit alone can be marked

// A file as it should become, and what a writer knows of it.
struct ModelFile {
    int code = kUntouched;
    std::string bytes{};
    std::size_t boundary = kPageSize;
    bool isThere = false;
    bool isIntact = false;
    bool isFinished = false;
    bool tagMissing = false;
    bool headerWritten = false;
    bool firstDocSeen = false;
    bool isMarked = false;
    std::size_t markAt = 0; // where the root's tag has a place for the mark
    std::size_t viewed = 0;

    void startOver() { *this = ModelFile{code}; }

    void open() {
        isThere = true;
        isIntact = !tagMissing;
    }

    bool isOpen() const { return isThere && !isFinished; }

    void refuse() { code = VELLIX_ERR_FILE_OPEN; } // what needs a file

    std::size_t room() const { return boundary > bytes.size() ? boundary - bytes.size() : 0; }

    // A record of some length that is given another one for its place.
    void put(const std::string& record, std::size_t placed) {
        if (!isOpen()) return;
        if (bytes.size() > boundary || placed > room()) {
            bytes.append(room(), ' ');
            boundary += kPageSize;
        }
        bytes += record;
    }

    void put(const std::string& record) { put(record, record.size()); }

    void putEntry(const std::string& record) {
        put(record);
        if (!isOpen()) refuse();
    }

    bool hasPlaceForMark() const {
        return markAt != 0 && bytes[markAt] >= '0' && bytes[markAt] <= '9' && bytes[markAt + 1] == '"';
    }
};

// A document that streams, and what is known of it.
struct ModelDoc {
    explicit ModelDoc(VELLIX_DOC_TYPE type) : row(xmlDocTypeRow(type)) {}

    const VellixDocTypeRow& row;
    std::string attributes;
    std::vector<std::string> held; // a child and an entry
    bool isLeaf = true;
    bool isOpened = false;
    bool isClosed = false;

    void open(ModelFile& file) {
        if (isOpened) return;
        isOpened = true;
        file.tagMissing = file.tagMissing || !file.isOpen();
        file.put(row.openTag == nullptr ? "" : row.openTag + attributes + (isLeaf ? "/>" : ">"));
        if (held.empty()) return;
        file.put(held[0]);
        file.putEntry(held[1]);
    }

    void add(ModelFile& file) {
        isLeaf = false;
        isClosed = false;
        open(file);
    }

    void close(ModelFile& file) {
        if (isClosed) return;
        isClosed = true;
        open(file);
        if (!isLeaf) file.put(row.closeTag == nullptr ? "" : row.closeTag);
        isOpened = false;
        held.clear();
    }
};

class Run {
public:
    Run(Input& source, const TempDir& place)
        : input(source), directory(place), choice(source.byte()), root(static_cast<VELLIX_DOC_TYPE>(choice % kTypes)),
          writer(static_cast<VELLIX_DOC_TYPE>(choice % kTypes)) {
        writer.setError(kUntouched);
        const bool isResults = root.row.docType == VELLIX_DOC_RESULTS;
        if (!isResults && root.row.docType != VELLIX_DOC_DOC) return;
        const char* const mark = kMarks[choice / kTypes % std::size(kMarks)];
        writer.getRootDoc().addAttribute("IC", 2, mark);
        if (isResults) writer.getRootDoc().addAttribute(1, "7");
        root.attributes = std::string(" IC=\"") + mark + (isResults ? R"(" ID="7")" : "\"");
    }

    void play() {
        while (!input.isEmpty() && file.bytes.size() < kMostBytes) {
            file.code = kUntouched;
            writer.setError(kUntouched);
            const unsigned int kind = input.below(16);
            (this->*(kind > 12 && input.below(4) != 0 ? &Run::flush : kSteps[kind]))();
            check();
        }
        while (!docs.empty()) closeDoc();
        close();
        check();
        require(!hasPath || bytesOf(directory.file("a.xml")) == withMark(), "the finished file is as it should be");
    }

private:
    using Step = void (Run::*)();
    static const Step kSteps[16]; // the last three are rare

    struct Pair {
        ModelDoc model;
        VellixDoc child;
        VellixDoc doc;
        explicit Pair(VELLIX_DOC_TYPE type) : model(type), doc(type) {}
    };

    void check() {
        require(writer.size() == static_cast<__int64>(file.bytes.size() + 1), "the writer knows its position");
        require(writer.isIntact() == file.isIntact, "the writer knows what is lost");
        require(writer.getLastError() == file.code, "each call leaves the code of its failure, or the one before");
    }

    // A value that may fill pages.
    std::string value() {
        const std::string bytes = upToNul(input.text(input.below(64)));
        const std::size_t more = input.below(4) == 0 ? 257 * static_cast<std::size_t>(input.byte()) : 0;
        return bytes + std::string(more, 'x') + std::string(input.byte(), 'y');
    }

    // What a record of some length lacks to end at the boundary or next to it. Mostly nothing, to let it end anywhere.
    std::string filling(std::size_t length) {
        const std::size_t target = file.room() + 2 - std::min<std::size_t>(input.below(5), file.room() + 2);
        return std::string(input.below(4) == 0 && target > length ? target - length : 0, 'z');
    }

    // Gives an attribute that takes any text whatever its length, made longer as `fill` says, and returns its text.
    std::string give(VellixEntry& entry, bool fill = false) {
        const VellixMapTag* const row = xmlRowAt(entry.getType(), input.byte() % 64);
        if (row == nullptr || row->maxLen >= 0 || entry.getType() == VELLIX_DOC_SEARCH_CRITERIA ||
            entry.getType() == VELLIX_DOC_FRAG)
            return "";
        std::string text = value();
        if (fill) text += filling(text.size() + row->tagLen + 9);
        require(entry.addAttribute(row->tag, row->tagLen, text.c_str()), "an attribute is stored");
        return std::string(" ") + row->tag + "=\"" + MallocText(xmlEncode(text.c_str(), nullptr, -1)).get() + '"';
    }

    // The text of an entry with these attributes.
    static std::string textWith(VELLIX_DOC_TYPE type, const std::string& attributes) {
        const char* const tag = xmlDocTypeRow(type).entryOpenTag;
        return tag == nullptr ? "" : tag + attributes + "/>";
    }

    void create() {
        const bool isNull = input.below(8) > 5;
        const bool made = writer.create(isNull ? nullptr : directory.wide("a.xml").c_str());
        require(made == (!isNull && !file.isOpen()), "a file is made where none is under way");
        if (!made) file.code = isNull ? VELLIX_ERR_NULL_ARGUMENT : VELLIX_ERR_FILE_OPEN;
        if (!made) return;
        if (file.isFinished) file.startOver();
        file.open();
        hasPath = true;
    }

    void reset() {
        require(writer.sync() == file.isOpen(), "a file under way can be stored");
        file.isOpen() ? expectClosed() : file.refuse();
        require(writer.reset(), "a writer can start over");
        file.startOver();
        hasPath ? file.open() : file.refuse();
    }

    void writeHeader() {
        file.headerWritten = true;
        file.put(kHeader, kHeader.size() + 1);
    }

    void notePlaceForMark() {
        if (file.isOpen() && !root.isOpened && file.bytes == kHeader && !root.attributes.empty())
            file.markAt = kHeader.size() + std::strlen(root.row.entryOpenTag) + std::strlen(" IC=\"");
    }

    void attach(Pair& pair) {
        if (!docs.empty()) {
            require(docs.back()->doc.addChildDoc(pair.doc), "a document takes any other");
            return docs.back()->model.add(file);
        }
        require(writer.addDoc(pair.doc), "a writer takes any document");
        if (file.firstDocSeen) return;
        file.firstDocSeen = true;
        const bool wanted = pair.model.row.includeXmlHeader != 0;
        if (wanted || (!file.headerWritten && root.row.includeXmlHeader != 0)) writeHeader();
        notePlaceForMark();
        root.add(file);
    }

    // Lets a document hold an entry and a child before it gets a writer.
    void hold(Pair& pair) {
        pair.child.setType(input.type());
        VellixEntry entry(pair.doc.getType());
        const VellixDocTypeRow& row = xmlDocTypeRow(pair.child.getType());
        const std::string child = row.openTag == nullptr ? "" : std::string(row.openTag) + "/>";
        pair.model.held = {(row.includeXmlHeader != 0 ? kHeader : "") + child, textWith(entry.getType(), give(entry))};
        pair.model.isLeaf = false;
        pair.doc.addChildDoc(pair.child);
        pair.doc.addEntry(entry);
    }

    template <bool kHolds> void addDoc() {
        auto pair = std::make_unique<Pair>(input.type());
        if (kHolds) hold(*pair);
        if (!kHolds) pair->model.attributes = give(pair->doc);
        if (docs.size() == 8) return closeDoc();
        attach(*pair);
        docs.push_back(std::move(pair));
    }

    void addEntry() {
        if (docs.empty()) return;
        Pair& pair = *docs.back();
        VellixEntry entry(pair.doc.getType());
        const std::string text = textWith(entry.getType(), give(entry, true));
        const bool added = pair.doc.addEntry(entry);
        pair.model.add(file);
        expectEntry(added, text);
    }

    void expectEntry(bool written, const std::string& text) {
        require(written == (file.isOpen() && !text.empty()), "an entry goes to the file");
        file.putEntry(text);
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
        const bool isNull = text.empty() && placed % 2 != 0;
        const bool written = writer.write(isNull ? nullptr : text.c_str(), static_cast<unsigned long>(placed));
        require(written == (file.isOpen() && !text.empty()), "a text goes to the file");
        if (!isNull) return file.put(text, placed);
        if (file.isOpen()) file.code = VELLIX_ERR_NULL_ARGUMENT;
    }

    void writeEntry() {
        VellixEntry entry(input.type());
        const std::string text = textWith(entry.getType(), give(entry));
        expectEntry(writer.write(entry), text);
    }

    void mark() {
        writer.markComplete();
        markIsWanted = true;
    }

    void flush() {
        require(writer.flush() == file.isOpen(), "a file under way can be flushed");
        if (file.isOpen()) require(bytesOf(directory.file("a.xml")) == file.bytes, "each record is written");
    }

    void close() {
        writer.close();
        expectClosed();
    }

    void expectClosed() {
        if (file.isOpen()) {
            if (!file.headerWritten && root.row.includeXmlHeader != 0) writeHeader();
            if (!root.isClosed) notePlaceForMark();
            root.close(file);
        }
        file.isFinished = true;
        if (!markIsWanted || file.isMarked) return;
        const bool isSeen = file.viewed >= file.markAt + 2; // by a caller
        if (file.isIntact && file.markAt != 0 && !isSeen) return view(file.markAt + 2);
        file.code = !file.isThere      ? VELLIX_ERR_FILE_OPEN
                    : !file.isIntact   ? VELLIX_ERR_BAD_HANDLE
                    : file.markAt == 0 ? VELLIX_ERR_SYNTAX
                                       : VELLIX_ERR_NOT_MAPPED;
    }

    void serialize() {
        const char* const text = writer.serialize();
        expectClosed();
        view(file.bytes.size());
        require((text != nullptr) == (file.viewed != 0), "a finished file can be seen");
        require(text == nullptr || std::string(text, file.viewed) == withMark(), "the view shows the file");
    }

    // A view is only ever replaced by a longer one, and whoever makes a view sets the mark.
    void view(std::size_t length) {
        if (file.viewed >= length) return;
        file.viewed = length;
        if (!markIsWanted || file.isMarked || length < file.markAt + 2) return;
        file.isMarked = file.isIntact && file.hasPlaceForMark();
        if (!file.isMarked) file.code = file.isIntact ? VELLIX_ERR_SYNTAX : VELLIX_ERR_BAD_HANDLE;
    }

    std::string withMark() const {
        std::string bytes = file.bytes;
        if (file.isMarked) bytes[file.markAt] = '1';
        return bytes;
    }

    Input& input;
    const TempDir& directory;
    const unsigned int choice; // of the root
    ModelDoc root;
    ModelFile file;
    VellixWriter writer;
    std::vector<std::unique_ptr<Pair>> docs; // go before the writer
    bool hasPath = false;
    bool markIsWanted = false;
};

const Run::Step Run::kSteps[] = {&Run::create,       &Run::create,   &Run::addDoc<false>, &Run::addDoc<false>,
                                 &Run::addDoc<true>, &Run::addEntry, &Run::addEntry,      &Run::addEntry,
                                 &Run::addEntry,     &Run::closeDoc, &Run::write,         &Run::writeEntry,
                                 &Run::mark,         &Run::reset,    &Run::close,         &Run::serialize};

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const TempDir directory;
    Input input(data, size);
    Run(input, directory).play();
    return 0;
}
