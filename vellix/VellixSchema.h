// SPDX-License-Identifier: Apache-2.0
#ifndef VELLIX_SCHEMA_H
#define VELLIX_SCHEMA_H

#include "vellix/VellixTypes.h"

// The vocabulary of the catalog dialect as constant data: one table of document types and, for each type, a map of its
// attributes. Nothing writes to it at run time, so any thread may read it at any time.
//
// Callers name an attribute by its id, a small number; the text names it by a short tag. Ids and positions in a map are
// the same but for five rows of the CatSearchCriteria map, so there are two lookups by number:
//     xmlRowById(VELLIX_DOC_SEARCH_CRITERIA, 9)              // null: the row at position 9 has the id 11
//     xmlRowAt(VELLIX_DOC_SEARCH_CRITERIA, 9)->tag           // "NC"
//     xmlRowByTag(VELLIX_DOC_SEARCH_CRITERIA, "nc", 2)->id   // 11

/// The kind of a document.
enum VELLIX_DOC_TYPE : int {
    VELLIX_DOC_NONE = 0,
    VELLIX_DOC_RESULTS = 1,
    VELLIX_DOC_DOC = 2,
    VELLIX_DOC_FH = 3,
    VELLIX_DOC_FH_STRING_SECTION = 4,
    VELLIX_DOC_SPN = 5,
    VELLIX_DOC_RES = 6,
    VELLIX_DOC_SEARCH_CRITERIA = 7,
    VELLIX_DOC_IMG_ALT_ID_LIST = 8,
    VELLIX_DOC_IMAGE = 9,
    VELLIX_DOC_FRAG = 10,
    VELLIX_DOC_FSE = 11,
    VELLIX_DOC_IMAGE_CHAIN = 12,
    VELLIX_DOC_TRUE_IMAGE_EXTS = 13,
    VELLIX_DOC_IMAGE_EXTRA_INFO = 14,
    VELLIX_DOC_ET = 15,
    VELLIX_DOC_QUERY = 16,
    VELLIX_DOC_RETURN_RESULT_FORMAT = 17,
    VELLIX_DOC_RESULT_CONSTRAINTS = 18,
    VELLIX_DOC_IMAGE_ATTRIBUTES = 19,
    VELLIX_DOC_ENTRY_ATTRIBUTES = 20,
    VELLIX_DOC_QUERY_CONSTRAINTS = 21,
    VELLIX_DOC_IMAGE_CONSTRAINTS = 22,
    VELLIX_DOC_ENTRY_CONSTRAINTS = 23,
    VELLIX_DOC_IMAGE_CONSTR_AND = 24,
    VELLIX_DOC_ENTRY_CONSTR_AND = 25
};

/// What an attribute admits. The end row of a map, and every lookup that finds no row, has -1, which is no enumerator.
enum VELLIX_DATA_TYPE : int {
    VELLIX_TYPE_STRING = 0, ///< text; numbers can be stored as decimal text but not read back as numbers
    VELLIX_TYPE_INT8 = 1,
    VELLIX_TYPE_UINT8 = 2,
    VELLIX_TYPE_INT16 = 3,
    VELLIX_TYPE_UINT16 = 4,
    VELLIX_TYPE_INT32 = 5,
    VELLIX_TYPE_UINT32 = 6,
    VELLIX_TYPE_INT64 = 7,
    VELLIX_TYPE_UINT64 = 8,
    VELLIX_TYPE_RESERVED9 = 9,   ///< takes numbers without a range, refuses text, and no numeric getter reads it
    VELLIX_TYPE_RESERVED10 = 10, ///< as VELLIX_TYPE_RESERVED9
    VELLIX_TYPE_OPAQUE = 11      ///< outside every test: takes text and numbers, and every getter reads it
};

/// The text form of a number. The end row of a map has -1, which is no enumerator.
enum VELLIX_NUMERIC_ENCODING : int {
    VELLIX_ENC_DECIMAL = 3, ///< decimal text, with a minus sign for negative values
    VELLIX_ENC_RADIX64 = 6  ///< digits in base 64, the least significant first
};

/// One row of an attribute map. A map is an array of such rows with an end row behind the last attribute: null tags,
/// lengths and id 0, data type and encoding -1, no limit.
struct VellixMapTag {
    const char* tag;       ///< the attribute's name in the text, such as "OP"; null only in the end row
    unsigned int tagLen;   ///< bytes of `tag`
    const char* tagAssign; ///< `tag`, an equals sign and a double quote
    unsigned int tagAssignLen;
    unsigned int id; ///< the attribute's number; fits in 16 bits
    VELLIX_DATA_TYPE dataType;
    VELLIX_NUMERIC_ENCODING encoding;
    int maxLen; ///< largest number of bytes of the plain value; -2 means no limit
};

/// One row of the document type table.
struct VellixDocTypeRow {
    VELLIX_DOC_TYPE docType;        ///< the row's own type, and its index in the table
    VELLIX_DOC_TYPE parentType;     ///< the type of document that holds this one; VELLIX_DOC_NONE at a root
    const char* name;               ///< the element name
    unsigned int nameLen;           ///< bytes of `name`
    const char* openTag;            ///< "<" and the element name, without a closing bracket
    const char* closeTag;           ///< the whole close tag
    const char* entryOpenTag;       ///< what opens an entry in a document of this type
    const VellixMapTag* mapTag;     ///< the first row of the type's attribute map; null for a type without one
    unsigned int mapTagLen;         ///< rows of that map, its end row included
    unsigned char includeXmlHeader; ///< 1 if an XML declaration stands in front of a file or text of this type
    unsigned char cacheData;        ///< 1 if the contents of a document of this type are read along with its tag
    unsigned char isLeafDoc;        ///< 1 if documents of this type have no child documents but entries
};

/// Rows of the longest attribute map, its end row included.
constexpr unsigned int kLongestMap = 78;

/// The document type table: a row for each type, in the order of VELLIX_DOC_TYPE, and an end row of zeros and nulls like
/// the one of VELLIX_DOC_NONE.
extern VELLIX_API const VellixDocTypeRow xmlDocTypeTable[27];

/// Returns the row of `type`. A number that is no document type has the row of VELLIX_DOC_NONE.
inline const VellixDocTypeRow& xmlDocTypeRow(VELLIX_DOC_TYPE type) {
    const auto index = static_cast<unsigned int>(type);
    return xmlDocTypeTable[index <= VELLIX_DOC_ENTRY_CONSTR_AND ? index : 0];
}

/// Returns the type whose element name is the `length` bytes at `name`, letters compared without regard to case, or
/// VELLIX_DOC_NONE. `name` need not be terminated.
VELLIX_API VELLIX_DOC_TYPE xmlDocTypeByName(const char* name, unsigned long length);

/// Returns the attribute row at `position` of the map of `type`, whatever its `id`, or null where there is none: at the
/// end row, behind it, or for a type without a map.
inline const VellixMapTag* xmlRowAt(VELLIX_DOC_TYPE type, unsigned int position) {
    const VellixDocTypeRow& row = xmlDocTypeRow(type);
    return position < row.mapTagLen && position + 1 != row.mapTagLen ? row.mapTag + position : nullptr;
}

/// Returns the row at position `id` of the map of `type` if its `id` field says the same, otherwise null.
inline const VellixMapTag* xmlRowById(VELLIX_DOC_TYPE type, unsigned int id) {
    const VellixMapTag* row = xmlRowAt(type, id);
    return row != nullptr && row->id == id ? row : nullptr;
}

/// Returns the first row of the map of `type` whose tag is the `length` bytes at `tag`, letters compared without regard
/// to case, or null. `tag` need not be terminated. Takes the same short time for a map of any length.
VELLIX_API const VellixMapTag* xmlRowByTag(VELLIX_DOC_TYPE type, const char* tag, unsigned long length);

#endif
