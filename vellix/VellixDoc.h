// SPDX-License-Identifier: Apache-2.0
#ifndef VELLIX_DOC_H
#define VELLIX_DOC_H

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "vellix/VellixEntry.h"

class VellixReader;
class VellixWriter;

// A tag that contains entries and other documents. It lives in one of three ways:
//
// - Streaming, with a writer: what is added goes to the file at once, and the order of the calls is the layout of the
//   file. Close documents from the inside outward, and all of them before the writer: nobody else closes a child.
// - Held, with neither: entries are copied into it, child documents are remembered by pointer and must outlive their use.
//   It turns into text with `serialize`, or into file records when it is given a writer and its open tag goes out.
// - Pulling, with a reader: it hands out the entries and child documents of a file one at a time.
//
//     VellixDoc files(VELLIX_DOC_FH);
//     VellixEntry file(VELLIX_DOC_FH);
//     file.addAttribute(6, "a.txt");
//     files.addEntry(file);
//     std::string text;
//     files.serialize(text);                              // <CatFH><ET NM="a.txt"/></CatFH>
//
// The document's own attributes are those of its base: a document is the tag that opens it. The counters of the base
// count what was ever added, held or streamed; `clear`, `close` and `reset` leave them alone.
//
// A document belongs to one thread at a time, together with its writer or reader and all documents linked to those.
class VELLIX_API VellixDoc : public VellixEntry {
public:
    /// Makes a held document.
    VellixDoc(VELLIX_DOC_TYPE type = VELLIX_DOC_DOC);

    /// Makes a document that pulls from `reader`, which it does not own.
    VellixDoc(VELLIX_DOC_TYPE type, VellixReader* reader);

    /// Makes a document that streams to `writer`, which it does not own.
    VellixDoc(VELLIX_DOC_TYPE type, VellixWriter* writer);

    /// Makes a held document with the attributes, counters, entries and child pointers of `other`, without its writer
    /// and reader. Child documents that a reader made are kept alive by both.
    VellixDoc(const VellixDoc& other);

    /// Closes the document. For a streaming one that writes what is missing of it, so its writer must still be alive.
    ~VellixDoc() override;

    /// Takes over attributes, counters, entries and child pointers; writer, reader and state stay.
    void operator=(const VellixDoc& other);

    /// Takes over what an entry has; entries, child documents, writer, reader and state stay.
    void operator=(const VellixEntry& entry);

    /// Adds an entry: writes it for a streaming document, keeps a copy otherwise. Sets the type of the caller's `entry`
    /// to the document's. False only if the writer did not write it, see VellixWriter::write.
    bool addEntry(VellixEntry& entry);

    /// Adds a child document. For a streaming document that gives `child` the writer and writes this document's own tag;
    /// the child's goes out when something is added to it, or when it is closed. The `close` of a child that was closed
    /// before and had nothing added since writes nothing: call `reset` on it before it serves again. Without a writer the
    /// pointer is kept: `child` stays the caller's, and documents must form a tree. Always true; whether the tag was
    /// written shows in VellixWriter::isIntact.
    bool addChildDoc(VellixDoc& child);

    /// Set where the document streams to or pulls from. Null ends that. Nothing else happens.
    void setWriter(VellixWriter* writer);
    void setReader(VellixReader* reader);

    /// Sends the document's own tag to the writer, and then the child documents and entries that it holds. False if that
    /// has been done since the last `clear`, otherwise true, whatever the writer answered.
    bool writeOpenTag();

    /// Sends the close tag to the writer, unless nothing was ever added. True only if the writer wrote it; false also if
    /// this has been done since the last `clear`.
    bool writeCloseTag();

    /// Drops the entries and child documents that are held. Attributes, counters, writer and reader stay. Hides the
    /// operation of the base, which clears attributes, name, type and counters.
    void clear();

    /// Sends what is missing of the document to the writer, and then clears it. A second call does nothing, until
    /// something is added to a streaming document, which begins a second element with the same attributes, or `reset` was
    /// called.
    void close();

    /// Closes the document unless it is closed, and lets a later `close` run again. That makes an object serve for several
    /// elements: with `reset` behind each `close`, every further `close` writes an element of its own, if nothing is added
    /// an empty one. It has the same attributes, and its tag and close tag stand apart (<CatFH></CatFH>) once anything was
    /// ever added, since the counters stay.
    void reset();

    /// Pull the next entry. Both are one operation: `getFirstEntry` rewinds nothing. `entry` is cleared and gets the
    /// document's type, whatever the answer. False at the end of the document, without a reader, and for document types
    /// whose entries were read along with their tag (`cacheData`).
    bool getFirstEntry(VellixEntry& entry);
    bool getNextEntry(VellixEntry& entry);

    /// Pull the next child document of the type that `child` has. Both are one operation: `getFirstChildDoc` rewinds
    /// nothing. False if the page holds no more of them, or without a reader.
    bool getFirstChildDoc(VellixDoc& child);
    bool getNextChildDoc(VellixDoc& child);

    /// Fills the document from a text. The first tag that yields attributes is the document's own: its type is taken, and
    /// its attributes too if its name is spelled as the type's; every later tag that yields attributes is added to the
    /// held entries with the type of its name. Nesting isn't kept, and tags without attributes and of unknown names are
    /// passed over, as is what stands behind a syntax error in a tag. What the document held stays in front. A text that
    /// begins with a tag instead of a header is read with the document's present type in hand: a first tag of another
    /// name leaves the document as it is.
    /// A literal and a `const char*` are paths: the form below takes them. A std::string is a text, whatever it holds.
    ///     doc.load("a.xml");                              // the file
    ///     doc.load(std::string("<CatDoc ID=\"1\"/>"));     // the text
    /// True, also for a text without tags. False for a null `text` of some length (VELLIX_ERR_NULL_ARGUMENT), and if
    /// memory ran out at the start or a string is longer than an `unsigned long` can count (VELLIX_ERR_NO_MEMORY).
    bool load(const char* text, unsigned long length);
    bool load(const std::string& text);

    /// Reads a regular file whole and loads its text; for the path of a std::string, give `path.c_str()`. False, with the code in `getLastError`: `path` is null
    /// (VELLIX_ERR_NULL_ARGUMENT); the file can't be opened or read (VELLIX_ERR_FILE_OPEN); its size can't be told
    /// (VELLIX_ERR_FILE_SIZE); no memory for its text, or more text than an `unsigned long` can count
    /// (VELLIX_ERR_NO_MEMORY). False without a code: it is empty. The bytes of `path` go to the system as they are, on
    /// Windows in its code page.
    bool load(const char* path);

    /// Appends the document's text to `out`: the XML header if its type has one, its own tag, its child documents, its
    /// entries, and its close tag if it holds anything. Always true.
    bool serialize(std::string& out) const;

    /// Writes the same text and a NUL at `cursor`, moves `cursor` to that NUL and takes the length of the text off `room`.
    /// False if `room` is less than the text and its NUL (`size()` is always enough): then neither moves, and an empty
    /// text stands at `cursor` if there is any room.
    bool serialize(char*& cursor, unsigned long& room) const;

    /// Returns a number of bytes that is always enough for the buffer form of `serialize`. It is not the text's length.
    /// ULONG_MAX means more than that.
    unsigned long size() const;

    /// The open and the close tag of the document's type, whatever it holds; empty for VELLIX_DOC_NONE.
    const char* getOpenTag() const override;
    const char* getCloseTag() const override;

private:
    friend class VellixReader; // hands over the documents that it made

    void adoptChildDoc(const std::shared_ptr<VellixDoc>& child);
    void takeOwnTag(const VellixEntry& tag);
    bool holdsAnything() const;
    std::uint64_t textLength() const;
    char* putText(char* out) const;
    bool hasLongEntry() const;
    template <class Append> std::string textFrom(Append append);

    bool openTagWritten = false;
    bool closeTagWritten = false;
    bool closed = false;
    VellixWriter* writer = nullptr;
    VellixReader* reader = nullptr;
    std::vector<VellixDoc*> childDocs;
    std::vector<VellixEntry> entries;
    std::vector<std::shared_ptr<VellixDoc>> readDocs; // those of `childDocs` that a reader made
};

#endif
