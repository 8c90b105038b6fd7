// SPDX-License-Identifier: Apache-2.0
#ifndef VELLIX_READER_H
#define VELLIX_READER_H

#include <cstddef>
#include <map>
#include <memory>
#include <string>

#include "vellix/VellixDoc.h"

class QuoteSearch;
class VellixMMap;

// Walks through a document file with one page of 64 KB at a time, or through a text in memory.
//
// There is one read position, and every call moves it forward: the caller hands over a document of the type that it
// wants, and whatever stands before the next one of that type is passed over.
//     VellixReader reader;                                // for a file with a <CatResults> root
//     VellixDoc image(VELLIX_DOC_DOC), files(VELLIX_DOC_FH);
//     VellixEntry entry;
//     if (reader.load(L"catalog.xml") && reader.getFirstDoc(image) && image.getFirstChildDoc(files))
//         while (files.getNextEntry(entry))               // one entry object serves for all
//             use(entry.getAttribute(6));
//
// Any bytes may be read, at a cost in proportion to their number. An entry that is longer than a page, or that a page cuts,
// comes back whole; one of more than 16 MiB is passed over. A tag that breaks off, as at the end of a file that was cut, gives
// the attributes before the break, and of a value without its second quote the first word, with the quote in front. A NUL
// breaks off its tag, and the walk goes on behind it.
// Documents are looked for on the current page alone; only pulling entries leads on to the next.
//
// A file that another process changes while it is read may give wrong values. One that is shortened, or whose disk fails, ends
// the walk in front of the page that can't be had; the current page stays as it is. `getLastError` tells such an end from
// that of the file.
//
// A reader belongs to one thread at a time, with the documents that pull from it. It can't be copied.
class VELLIX_API VellixReader {
public:
    /// Makes a reader for files whose root is of `type`. Throws VELLIX_ERR_NO_MEMORY if memory for the mapped file can't
    /// be had, std::bad_alloc otherwise.
    VellixReader(VELLIX_DOC_TYPE type = VELLIX_DOC_RESULTS);
    ~VellixReader();
    VellixReader(const VellixReader&) = delete;
    VellixReader& operator=(const VellixReader&) = delete;

    /// Opens a file, reads its first page and the root's tag there. Starts over if something was loaded before. True also
    /// if there is no such tag or the file is empty. False if `path` is null or the file can't be opened or read: the
    /// root is empty then, and there is nothing to walk. A file that grows afterwards is read up to its first size.
    /// The path is the system's own on Windows; elsewhere it stands for UTF-8, whatever the locale, and `vellix::widePath`
    /// gives any name of a file.
    bool load(const wchar_t* path);

    /// Takes `text`, which need not be terminated and must outlive its use, as what is to be read, lets go of a file and
    /// reads the root's tag. On a later page of a file it only replaces the text of that page, and the walk goes on with
    /// the next page behind it. False if `text` is null with a `length`, or memory ran out.
    bool load(const char* text, unsigned long length);

    /// Fill `doc` from the next tag of its type on the current page and link it to this reader. Both are one operation:
    /// `getFirstDoc` rewinds nothing. Image documents and those below them are read with their contents, which are added
    /// to what `doc` holds. False if the page has no more such tag: the position is then at the end of the page.
    bool getFirstDoc(VellixDoc& doc);
    bool getNextDoc(VellixDoc& doc);

    /// Returns the root document.
    VellixDoc& rootDoc();

    /// Returns the ID of the root; empty if it has none.
    std::string getSessionID() const;

    /// True if the file was marked complete: its root has an IC other than 0. That is what the writer said of the file, not
    /// what became of the walk; `getLastError` tells that.
    bool isComplete();

    /// Returns why something of the file or text was not read, one of VELLIX_ERROR. VELLIX_SUCCESS at its true end, so ask
    /// once the walk has ended:
    /// VELLIX_ERR_NOT_MAPPED if a page couldn't be had, as the disk failed or the file was cut since `load`;
    /// VELLIX_ERR_NO_MEMORY if there was no memory for a page. Both end the walk in front of the record that is not whole.
    /// VELLIX_ERR_OUT_OF_RANGE if an entry of more than 16 MiB was passed over; the walk goes on.
    /// VELLIX_ERR_FILE_OPEN and VELLIX_ERR_NULL_ARGUMENT if `load` had no file or no text.
    /// A later code takes the place of an earlier one; a `load` that starts over begins with VELLIX_SUCCESS.
    int getLastError() const;

protected:
    /// Makes a document of `type`, fills it from the next such tag and reads its contents. The caller owns it and
    /// releases it with `delete`. Without such a tag it is empty.
    VellixDoc* readDoc(VELLIX_DOC_TYPE type);

    /// Fills `doc` from the next tag of its type on the current page. False if there is none, and `doc` is untouched.
    bool readDocEntry(VellixDoc& doc);

    /// Adds the entries that directly follow, tags of `doc`'s own type, to `doc`. Always true.
    bool readDocData(VellixDoc& doc);

    /// Adds the child documents whose tags directly follow to `doc`. Always true.
    bool readChildDocs(VellixDoc& doc);

    /// Fills `entry`, which comes cleared and with its type set, from the next tag, moving on to the next page where
    /// needed. True if it has attributes then.
    bool readEntry(VellixEntry& entry);

    /// Returns the cursor over the current page; null before the first `load` and after one that failed to open or read a
    /// file. What it points at lives until the next page.
    XmlStr* getXmlStr();

private:
    friend class VellixDoc; // pulls entries

    bool failed(int error);
    bool mapPage(__int64 offset);
    bool mapNextPage();
    bool setText(const char* text, unsigned long length);
    void readRoot();
    void startOver();
    bool atEnd() const;
    bool parseTag(VellixEntry& entry);
    template <class StartAfresh> bool readCutTag(VellixEntry& entry, unsigned long start, StartAfresh startAfresh);
    bool appendPages(std::string& text, __int64& end, __int64 enough);
    bool followOpenSearch(__int64 offset, unsigned int state, __int64 limit, __int64& quoteEnd);
    unsigned int vainStatesAt(__int64 offset) const;
    void standBehind(__int64 offset);

    std::wstring filePath;
    std::unique_ptr<VellixMMap> mmap;
    int lastError = VELLIX_SUCCESS;
    void* fileHandle;
    __int64 fileLength = 0;
    const char* pageAddress = nullptr;
    __int64 pageOffset = 0;
    unsigned int pageLength = 0; // 0 means that no page counts as mapped
    bool morePages = false;
    std::unique_ptr<XmlStr> xmlStr;
    std::unique_ptr<QuoteSearch> quoteSearch;   // in the current page or text
    std::map<__int64, unsigned int> vainStates; // by the end of a page, those of searches that find no quote behind it
    VellixDoc root;
};

#endif
