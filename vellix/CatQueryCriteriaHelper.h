// SPDX-License-Identifier: Apache-2.0
#ifndef CAT_QUERY_CRITERIA_HELPER_H
#define CAT_QUERY_CRITERIA_HELPER_H

#include <memory>

#include "vellix/VellixDoc.h"

class VellixWriter;

// Builds a catalog query and hands it over as text: who asks, which attributes are to come back, and which images and
// entries qualify. The caller builds the structure from documents, which stream out as they are filled:
//
//     CatQueryCriteriaHelper query;
//     query.create(nullptr);                              // by way of a temporary file
//     query.setRequester("job");
//     query.setRequestId("r1");
//     VellixDoc format(VELLIX_DOC_RETURN_RESULT_FORMAT), wanted(VELLIX_DOC_IMAGE_ATTRIBUTES);
//     VellixEntry name;
//     name.setType(VELLIX_DOC_IMAGE_ATTRIBUTES);
//     name.addAttribute(4, "Name");
//     query.addDoc(format);                               // <CatQuery Requester="job" RequestID="r1">
//     format.addChildDoc(wanted);                         // <ReturnResultFormat>
//     wanted.addEntry(name);                              // <ImageAttributes><requestReturnAtt name="Name"/>
//     wanted.close();                                     // children first
//     format.close();
//     const char* text = query.serialize();               // query.size() - 1 bytes; null if anything was lost
//
// Close each document before `serialize`, or its close tag is missing in the text, and nobody tells. And close or destroy
// each before `close`, the next `create` and the end of the helper: a document that was added keeps a pointer to what these
// destroy, and would write there.
//
// A root of VELLIX_DOC_QUERY holds VELLIX_DOC_RETURN_RESULT_FORMAT and VELLIX_DOC_QUERY_CONSTRAINTS. The first holds
// VELLIX_DOC_RESULT_CONSTRAINTS, VELLIX_DOC_IMAGE_ATTRIBUTES and VELLIX_DOC_ENTRY_ATTRIBUTES; the second holds
// VELLIX_DOC_IMAGE_CONSTRAINTS with VELLIX_DOC_IMAGE_CONSTR_AND, and VELLIX_DOC_ENTRY_CONSTRAINTS with
// VELLIX_DOC_ENTRY_CONSTR_AND. Nobody checks that.
//
// A helper builds any number of queries, one after the other. It belongs to one thread at a time and can't be copied.
class VELLIX_API CatQueryCriteriaHelper {
public:
    CatQueryCriteriaHelper();

    /// Closes the query.
    virtual ~CatQueryCriteriaHelper();

    CatQueryCriteriaHelper(const CatQueryCriteriaHelper&) = delete;
    CatQueryCriteriaHelper& operator=(const CatQueryCriteriaHelper&) = delete;

    /// Starts a query in a file at `path`, or in a temporary one if `path` is null, after closing the one before. False
    /// if the file can't be opened: `addDoc` then still answers true, but nothing is written, and `serialize` gives null.
    /// Lets the exceptions of VellixWriter through.
    /// The path is the system's own on Windows; elsewhere it stands for UTF-8, whatever the locale, and `vellix::widePath`
    /// gives any name of a file.
    bool create(const wchar_t* path);

    /// Set who asks and the number or name of the request, before the first `addDoc`. Null takes the attribute away.
    /// Without a started query they do nothing.
    void setRequester(const char* requester);
    void setRequestId(const char* requestId);

    /// Adds a document below the root. False if no query was started.
    bool addDoc(VellixDoc& doc);

    /// Ends the query and returns its text, which has no NUL behind it, belongs to the helper and lives until `close` or
    /// `create`. Null if no query was started, if anything that was to be written is missing in it, or if its file was
    /// changed or replaced by somebody else or can't be mapped. Whoever shortens the file while its text is read ends the
    /// process.
    const char* serialize();

    /// True if a query was started and nothing of it was lost so far, and behind `close` if nothing was up to the end.
    bool isIntact() const;

    /// Returns the number of bytes written so far plus 1; 0 if no query was started.
    __int64 size() const;

    /// Ends the query. A temporary file is deleted, and the text is gone.
    void close();

private:
    std::unique_ptr<VellixWriter> writer;
    VellixDoc* root = nullptr; // the writer's, while a query is being built
    bool intact = false;       // of the query that was closed last
};

#endif
