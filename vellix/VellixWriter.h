// SPDX-License-Identifier: Apache-2.0
#ifndef VELLIX_WRITER_H
#define VELLIX_WRITER_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>

#include "vellix/VellixDoc.h"

class VellixClaim;
class VellixMMap;

// Makes a document file: a root document with what streams into it, in records that cross no 64 KB page of the file where
// that can be avoided.
//
//     VellixWriter writer;                                // root <CatResults IC="0" ID="(seconds since 1970)">
//     writer.create(L"catalog.xml");
//     VellixDoc image(VELLIX_DOC_DOC), files(VELLIX_DOC_FH);
//     writer.addDoc(image);                               // header, root tag
//     image.addChildDoc(files);                           // <CatDoc>
//     files.addEntry(entry);                              // <CatFH>, <ET .../>
//     files.close();                                      // children first
//     image.close();
//     writer.markComplete();
//     writer.close();                                     // root close tag; IC="1"
//
// A record is what one `write` takes: a tag, an entry, a close tag, or the text of a held child document. It goes to the
// operating system, in one call, before `write` returns. A record that would end past the next page boundary starts on
// that boundary, behind blanks; behind a record of several pages it takes as many records until the boundary has caught up.
// The writer keeps nothing of a finished record, so a file of any length costs the same memory. It checks no order and no
// nesting of the tags; those come from the callers.
//
// What was acknowledged is in the file, with all the tags that were to stand in front of it, where these calls came behind
// `create` and the documents of an earlier file were closed before `reset`. An entry that can't be written
// is missing alone: what got into the file of it is blanked out, and the entries before and after it still read. Any other
// text that can't be written may be the tag on which all that follows hangs, so from then on every `write` to this file is
// false, with VELLIX_ERR_BAD_HANDLE.
//
// A writer goes by the file that it opened, not by the path: where another one stands at the path when the file is to be
// marked or seen, that one is left alone. Of two writers of a process on one file, the last that opened it has it, and the
// `write` of the other is false in the same way. Two processes must not write to one file at a time.
//
// A writer belongs to one thread at a time, with the documents that stream to it. It can't be copied.
class VELLIX_API VellixWriter {
public:
    /// Makes a writer with a root of `type`. A root of VELLIX_DOC_RESULTS gets the attributes IC, 0, and ID, the present
    /// time in seconds. Throws VELLIX_ERR_NO_MEMORY if memory for the mapped file can't be had, std::bad_alloc otherwise.
    VellixWriter(VELLIX_DOC_TYPE type = VELLIX_DOC_RESULTS);

    /// Makes a writer whose root is a copy of `doc`: what that holds goes into the file right behind the root's tag. A
    /// root of VELLIX_DOC_RESULTS gets IC and ID only if it has no attributes. Throws like the other form.
    VellixWriter(const VellixDoc& doc);

    /// Closes the file, ends the view, and deletes the file if it is a temporary one.
    ~VellixWriter();

    VellixWriter(const VellixWriter&) = delete;
    VellixWriter& operator=(const VellixWriter&) = delete;

    /// Starts a lasting file at `path`, emptying one that is there. False, with the code in `getLastError`: `path` is
    /// null (VELLIX_ERR_NULL_ARGUMENT); it can't be opened, or a file is still under way, which goes on undisturbed
    /// (VELLIX_ERR_FILE_OPEN). A writer that has closed its file starts over as `reset` does, and a temporary file that
    /// it had is deleted.
    /// The path is the system's own on Windows; elsewhere it stands for UTF-8, whatever the locale, and `vellix::widePath`
    /// gives any name of a file.
    bool create(const wchar_t* path);

    /// Starts a file in the system's temporary directory, readable by its owner alone, which the destructor deletes. Only
    /// the last one is: those that came before, by `create` or `reset`, stay. False as above.
    bool create();

    /// Gives `doc` this writer. The first document also writes the header and the root's tag: set the root's attributes
    /// before. Always true; without a file nothing is written, and the tags are lost.
    bool addDoc(VellixDoc& doc);

    /// Writes the text of an entry as one record. False: there is no file (VELLIX_ERR_FILE_OPEN); the text has more than
    /// 16 MiB, which no reader takes (VELLIX_ERR_OUT_OF_RANGE); the file has lost a tag before (VELLIX_ERR_BAD_HANDLE);
    /// without a code, the entry has no text, or the record could not be written, as on a full disk.
    bool write(const VellixEntry& entry);

    /// Writes a terminated text as one record; `length` serves only to place it in its page. False: `text` is null
    /// (VELLIX_ERR_NULL_ARGUMENT); the file has lost a tag before (VELLIX_ERR_BAD_HANDLE); without a code, there is no
    /// file, the text is empty, or the record could not be written.
    bool write(const char* text, unsigned long length);

    /// Hands what the stream holds to the operating system, which every `write` has done already. False without a file
    /// or if the system refuses.
    bool flush();

    /// Waits until everything that was written so far is on the disk, so that a power cut can't take it. The name of a new
    /// file is the matter of its directory, which many systems store along with it. False: there is no file
    /// (VELLIX_ERR_FILE_OPEN), or the system refuses (VELLIX_ERR_BAD_HANDLE); then something of the file may be lost, and it
    /// takes no further records.
    bool sync();

    /// Ends the file: writes what is missing of the root, closes the stream, and then sets the completion mark if
    /// `markComplete` asked for it. Close all other documents before. A second call only tries to set the mark if it isn't.
    void close();

    /// Starts over on a new file with the same path, or with a new temporary name. A file under way is closed first, and a
    /// view from `serialize` ends. The root keeps its attributes and counters and is written when the first document is
    /// added. Without one the new file gets no tag at all: it has only the header, or nothing if the root's type has none. A
    /// mark asked for stays asked for. Always true; whether the new file could be opened shows at the first `write`.
    bool reset();

    /// Asks for the completion mark: once the file is closed, its IC="0" becomes IC="1" in place. The rest of the file is
    /// on the disk before that, and the mark when `close` returns. What prevents the mark shows in `getLastError` then:
    /// VELLIX_ERR_FILE_OPEN: there is no file, or its path no longer leads to it; VELLIX_ERR_BAD_HANDLE: `isIntact` is
    /// false, or the system refuses to store the file; VELLIX_ERR_FILE_SIZE: the file was made shorter or longer since;
    /// VELLIX_ERR_SYNTAX: the file doesn't begin with the header, the root's tag and a one-digit IC; VELLIX_ERR_NOT_MAPPED:
    /// there can be no view of it, or `serialize` has handed out an unmarked one.
    void markComplete();

    /// True if there is a file and nothing of it was lost so far: every tag and entry that was given to it while it was
    /// open, and with the first document also header and root, was written. After `close` it holds for the whole file.
    bool isIntact() const;

    /// Ends the file as `close` does and returns the address of its text in a mapped view, or null: there is no file or an
    /// empty one, its path leads to another one (VELLIX_ERR_FILE_OPEN), its length isn't that of what was written
    /// (VELLIX_ERR_FILE_SIZE), or it can't be mapped (VELLIX_ERR_NOT_MAPPED). The text is `size()` - 1 bytes long, has no
    /// NUL behind it, and lives until `reset`, `create` or the end of the writer. It may lack what could not be written, see
    /// `isIntact`. Whoever shortens the file while its text is read ends the process.
    const char* serialize();

    /// Returns the root document.
    VellixDoc& getRootDoc();

    int getLastError() const;
    void setError(int code);

    /// Returns the number of bytes written so far, page filling included, plus 1.
    __int64 size() const;

protected:
    /// Makes sure of a view of the first `length` bytes of the finished file, all of them for 0. True if a new view was
    /// asked for, whether or not it could be had. The codes are those of `serialize`.
    bool remap(unsigned long length);

private:
    friend class VellixDoc; // its own tags, and records that never got here

    void initRoot(bool withAttributes);
    void startOver();
    void dropTemporary();
    bool open(const wchar_t* name);
    void finishFile();
    void endStream();
    void endView();
    void writeHeader();
    void fillPage(std::uint64_t length);
    void makeRoom(std::uint64_t length);
    bool mayWrite();
    bool refuseLongTag();
    void writeOwnTag(const VellixDoc& doc, const std::string& text);
    bool put(std::size_t length);
    void blankOut(std::size_t length);
    void tagLost();
    bool hasItsLength() const;
    bool openFinished();
    void mapFront(std::uint64_t length);
    void mark();
    void storeMark();
    bool hasPlaceForMark() const;

    std::unique_ptr<VellixClaim> claim; // says which file this is
    std::wstring path;
    std::FILE* stream = nullptr;
    std::unique_ptr<VellixMMap> mmap;
    void* mapHandle;
    __int64 mappedSize = 0;
    bool temporary = false;
    bool firstDocPending = true;
    bool headerWritten = false;
    __int64 position = 0;
    __int64 nextBoundary;
    char* mappedAddr = nullptr;
    bool closed = false;
    int lastError = VELLIX_SUCCESS;
    VellixDoc rootDoc;
    bool complete = false;
    __int64 completeOffset = 0;  // where the mark goes in this file; 0 if it has no place
    bool tagMissing = false;     // a document's tag came before there was a file
    bool intact = false;         // a file was opened, and nothing of it was lost since
    bool cutOff = false;         // a tag was lost: nothing more is written
    bool syncRefused = false;    // the system didn't store the file
    bool stored = false;         // all of the finished file but the mark is on the disk
    bool marked = false;         // and so is the mark
    __int64 fileLength = 0;      // what the file has got, blanked records included
    std::size_t owedFilling = 0; // blanks that `position` counts and the file hasn't got yet
    std::string record;          // room for a record and the filling in front of it
};

#endif
