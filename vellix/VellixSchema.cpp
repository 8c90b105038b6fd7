// SPDX-License-Identifier: Apache-2.0
#include "vellix/VellixSchema.h"

#include <array>
#include <cstddef>
#include <iterator>

namespace {

constexpr int kNoLimit = -2;

constexpr VellixMapTag kMapEnd = {
    nullptr, 0, nullptr, 0, 0, static_cast<VELLIX_DATA_TYPE>(-1), static_cast<VELLIX_NUMERIC_ENCODING>(-1), kNoLimit};

#define FULL_ROW(id, tag, type, form, limit)                                                                           \
    { tag, sizeof(tag) - 1, tag "=\"", sizeof(tag) + 1, id, VELLIX_TYPE_##type, VELLIX_ENC_##form, limit }
#define ROW(id, tag, type) FULL_ROW(id, tag, type, DECIMAL, kNoLimit)
#define RADIX64_ROW(id, tag, type) FULL_ROW(id, tag, type, RADIX64, kNoLimit)
#define LIMITED_ROW(id, tag, type, limit) FULL_ROW(id, tag, type, DECIMAL, limit)

// The maps. Stored documents depend on every tag and on the order of the rows.

constexpr VellixMapTag kResultsMap[] = {
    ROW(0, "IC", UINT8),
    ROW(1, "ID", STRING),
    kMapEnd,
};

constexpr VellixMapTag kImgAltIdListMap[] = {
    ROW(0, "SpnId", UINT64),
    kMapEnd,
};

constexpr VellixMapTag kQueryMap[] = {
    ROW(0, "Requester", STRING),
    ROW(1, "RequestID", STRING),
    ROW(2, "maxResultEntries", INT32),
    ROW(3, "maxResultsPerResultPage", INT32),
    ROW(4, "name", STRING),
    ROW(5, "op", STRING),
    ROW(6, "value", STRING),
    kMapEnd,
};

constexpr VellixMapTag kFHMap[] = {
    ROW(0, "OP", UINT32),
    ROW(1, "RT", UINT32),
    ROW(2, "RST", UINT32),
    ROW(3, "OT", UINT32),
    ROW(4, "OST", UINT32),
    ROW(5, "MST", UINT32),
    ROW(6, "NM", STRING),
    ROW(7, "PT", STRING),
    ROW(8, "FP", STRING),
    ROW(9, "SZ", UINT64),
    ROW(10, "LB", UINT64),
    ROW(11, "AT", UINT32),
    ROW(12, "CT", UINT32),
    ROW(13, "MT", UINT32),
    ROW(14, "ST", UINT32),
    ROW(15, "AR", UINT32),
    ROW(16, "XA", UINT32),
    ROW(17, "IN", UINT64),
    ROW(18, "MD", UINT32),
    ROW(19, "UN", STRING),
    ROW(20, "GN", STRING),
    ROW(21, "SCN", UINT64),
    ROW(22, "LSN", UINT64),
    ROW(23, "DBID", UINT64),
    ROW(24, "FT", UINT64),
    ROW(25, "UT", UINT64),
    ROW(26, "OS", UINT32),
    ROW(27, "RLN", UINT32),
    ROW(28, "BT", UINT32),
    ROW(29, "HID", UINT32),
    ROW(30, "PID", STRING),
    ROW(31, "CPD", UINT64),
    ROW(32, "TS", UINT64),
    ROW(33, "TID", UINT32),
    ROW(34, "CID", UINT32),
    ROW(35, "CNT", UINT32),
    ROW(36, "CS", UINT64),
    ROW(37, "SU", STRING),
    ROW(38, "FR", STRING),
    LIMITED_ROW(39, "TO", STRING, 16384),
    LIMITED_ROW(40, "CC", STRING, 16384),
    LIMITED_ROW(41, "BCC", STRING, 16384),
    ROW(42, "AC", INT32),
    ROW(43, "AN", STRING),
    ROW(44, "AS", UINT64),
    ROW(45, "IF", UINT32),
    ROW(46, "RD", UINT32),
    ROW(47, "SD", UINT32),
    ROW(48, "BN", STRING),
    ROW(49, "CE", STRING),
    ROW(50, "ATN", STRING),
    ROW(51, "VN", STRING),
    ROW(52, "TN", STRING),
    ROW(53, "CGY", STRING),
    ROW(54, "DB", STRING),
    ROW(55, "OD", STRING),
    ROW(56, "ALT", STRING),
    ROW(57, "IIMG", INT32),
    ROW(58, "INOD", INT64),
    ROW(59, "PIN", UINT32),
    ROW(60, "TIT", STRING),
    ROW(61, "PRE", STRING),
    ROW(62, "CLN", STRING),
    ROW(63, "CFN", STRING),
    ROW(64, "CBY", STRING),
    ROW(65, "MBY", STRING),
    ROW(66, "COM", STRING),
    ROW(67, "LOC", STRING),
    ROW(68, "ANT", STRING),
    ROW(69, "URL", STRING),
    ROW(70, "STA", UINT32),
    ROW(71, "ENT", UINT32),
    ROW(72, "PTT", UINT32),
    ROW(73, "EXT", UINT32),
    ROW(74, "TIS", UINT32),
    ROW(75, "RI10", UINT32),
    RADIX64_ROW(76, "RI", UINT32),
    kMapEnd,
};

constexpr VellixMapTag kFHStringSectionMap[] = {
    ROW(0, "OP", UINT32),   ROW(1, "OST", UINT32),   ROW(2, "NM", STRING),          ROW(3, "SU", STRING),
    ROW(4, "FR", STRING),   ROW(5, "TO", STRING),    ROW(6, "CC", STRING),          ROW(7, "BCC", STRING),
    ROW(8, "AC", INT32),    ROW(9, "AN", STRING),    ROW(10, "AS", UINT64),         ROW(11, "IF", UINT32),
    ROW(12, "RD", UINT32),  ROW(13, "SD", UINT32),   ROW(14, "BN", STRING),         ROW(15, "CE", STRING),
    ROW(16, "ATN", STRING), ROW(17, "VN", STRING),   ROW(18, "TN", STRING),         ROW(19, "CGY", STRING),
    ROW(20, "DB", STRING),  ROW(21, "OD", STRING),   ROW(22, "ALT", STRING),        ROW(23, "TIT", STRING),
    ROW(24, "PRE", STRING), ROW(25, "CLN", STRING),  ROW(26, "CFN", STRING),        ROW(27, "CBY", STRING),
    ROW(28, "MBY", STRING), ROW(29, "COM", STRING),  ROW(30, "LOC", STRING),        ROW(31, "ANT", STRING),
    ROW(32, "URL", STRING), ROW(33, "STA", UINT32),  ROW(34, "ENT", UINT32),        ROW(35, "PTT", UINT32),
    ROW(36, "EXT", UINT32), ROW(37, "RI10", UINT32), RADIX64_ROW(38, "RI", UINT32), kMapEnd,
};

constexpr VellixMapTag kResMap[] = {
    ROW(0, "ID", UINT64),  ROW(1, "NM", STRING),  ROW(2, "VS", STRING), ROW(3, "VSNM", STRING),
    ROW(4, "DNS", STRING), ROW(5, "UID", STRING), ROW(6, "RI", UINT32), kMapEnd,
};

constexpr VellixMapTag kImageMap[] = {
    ROW(0, "PT", UINT32),
    ROW(1, "VN", UINT32),
    ROW(2, "IN", UINT32),
    ROW(3, "BD", UINT32),
    ROW(4, "BT", UINT32),
    ROW(5, "UTC", UINT32),
    ROW(6, "BTP", UINT32),
    ROW(7, "OS", UINT32),
    ROW(8, "OV", UINT32),
    ROW(9, "ST", UINT32),
    ROW(10, "XST", UINT32),
    ROW(11, "ND", UINT32),
    ROW(12, "NF", UINT64),
    ROW(13, "NB", UINT64),
    ROW(14, "NC", UINT32),
    ROW(15, "NFU", UINT32),
    ROW(16, "PEA", UINT32),
    ROW(17, "SN", UINT32),
    ROW(18, "PBA", UINT32),
    ROW(19, "FDDV", UINT32),
    ROW(20, "VID", UINT32),
    ROW(21, "DEA", UINT32),
    ROW(22, "DCA", UINT32),
    ROW(23, "PS", UINT32),
    ROW(24, "JI", UINT32),
    ROW(25, "JG", STRING),
    ROW(26, "FG", STRING),
    ROW(27, "FI", UINT32),
    ROW(28, "OH", UINT32),
    ROW(29, "NI", UINT32),
    ROW(30, "NE", UINT32),
    ROW(31, "DTS", UINT32),
    ROW(32, "ID", STRING),
    ROW(33, "CG", STRING),
    ROW(34, "STT", UINT32),
    ROW(35, "NIS", UINT32),
    ROW(36, "EPI", STRING),
    ROW(37, "DB", UINT32),
    ROW(38, "JFG", STRING),
    ROW(39, "JEG", STRING),
    ROW(40, "JHG", STRING),
    ROW(41, "JPG", STRING),
    ROW(42, "SLG", STRING),
    ROW(43, "LG", STRING),
    ROW(44, "ET", UINT32),
    ROW(45, "ES", UINT32),
    ROW(46, "SSSR", UINT32),
    ROW(47, "SP", STRING),
    ROW(48, "NM", STRING),
    ROW(49, "SD", STRING),
    ROW(50, "UN", STRING),
    ROW(51, "RN", STRING),
    ROW(52, "RL", STRING),
    ROW(53, "EN", STRING),
    ROW(54, "MN", STRING),
    ROW(55, "DNT", STRING),
    ROW(56, "EKN", STRING),
    ROW(57, "EKH", OPAQUE),
    ROW(58, "DVN", STRING),
    ROW(59, "DPN", STRING),
    ROW(60, "DFR", STRING),
    ROW(61, "FH", STRING),
    ROW(62, "TS", UINT32),
    ROW(63, "LCU", UINT64),
    ROW(64, "RK", STRING),
    ROW(65, "AID", STRING),
    ROW(66, "ESS", UINT32),
    ROW(67, "EKS", OPAQUE),
    ROW(68, "PIT", UINT64),
    ROW(69, "SCT", UINT64),
    kMapEnd,
};

constexpr VellixMapTag kFragMap[] = {
    ROW(0, "MV", UINT32),
    ROW(1, "FN", UINT32), // a tag that stands twice: text fills the first
    ROW(2, "MN", UINT32),
    ROW(3, "ID", STRING),
    ROW(4, "MS", UINT32),
    ROW(5, "SR", UINT32),
    ROW(6, "RC", UINT32),
    ROW(7, "TPS", UINT32),
    ROW(8, "PV", UINT32),
    ROW(9, "LBA", UINT64),
    ROW(10, "VA", UINT32),
    ROW(11, "MT", UINT32),
    ROW(12, "DG", STRING),
    ROW(13, "CD", UINT32), // a tag that stands twice: text fills the first
    ROW(14, "CT", UINT32),
    ROW(15, "MSG", STRING),
    ROW(16, "SZ", UINT64),
    ROW(17, "OS", UINT64),
    ROW(18, "PW", STRING),
    ROW(19, "FN", STRING), // a tag that stands twice: text fills the first
    ROW(20, "CL", STRING),
    ROW(21, "LC", STRING),
    ROW(22, "RL", STRING),
    ROW(23, "ST", UINT32),
    ROW(24, "CF", UINT64),
    ROW(25, "CD", UINT64), // a tag that stands twice: text fills the first
    kMapEnd,
};

constexpr VellixMapTag kFSEMap[] = {
    ROW(0, "ST", UINT8),
    ROW(1, "IE", UINT8),
    ROW(2, "DF", UINT8),
    ROW(3, "AV", UINT8),
    ROW(4, "IS", UINT8),
    ROW(5, "PF", UINT8),
    ROW(6, "WC", UINT8),
    ROW(7, "WP", UINT8),
    ROW(8, "AT", UINT8),
    ROW(9, "GF", UINT8),
    ROW(10, "DN", STRING),
    ROW(11, "DL", UINT16),
    ROW(12, "FN", STRING),
    ROW(13, "FL", UINT16),
    ROW(14, "RVD", UINT16),
    ROW(15, "RYR", UINT16),
    ROW(16, "RMO", UINT16),
    ROW(17, "RDY", UINT16),
    ROW(18, "RHR", UINT16),
    ROW(19, "RMI", UINT16),
    ROW(20, "RSE", UINT16),
    ROW(21, "RDW", UINT16),
    ROW(22, "PVD", UINT16),
    ROW(23, "PYR", UINT16),
    ROW(24, "PMO", UINT16),
    ROW(25, "PDY", UINT16),
    ROW(26, "PHR", UINT16),
    ROW(27, "PMI", UINT16),
    ROW(28, "PSE", UINT16),
    ROW(29, "PDW", UINT16),
    ROW(30, "AVD", UINT16),
    ROW(31, "AYR", UINT16),
    ROW(32, "AMO", UINT16),
    ROW(33, "ADY", UINT16),
    ROW(34, "AHR", UINT16),
    ROW(35, "AMI", UINT16),
    ROW(36, "ASE", UINT16),
    ROW(37, "ADW", UINT16),
    ROW(38, "BVD", UINT16),
    ROW(39, "BYR", UINT16),
    ROW(40, "BMO", UINT16),
    ROW(41, "BDY", UINT16),
    ROW(42, "BHR", UINT16),
    ROW(43, "BMI", UINT16),
    ROW(44, "BSE", UINT16),
    ROW(45, "BDW", UINT16),
    ROW(46, "AO", UINT32),
    ROW(47, "AF", UINT32),
    ROW(48, "TP", STRING),
    ROW(49, "TS", UINT16),
    ROW(50, "TFN", STRING),
    ROW(51, "TFS", UINT16),
    kMapEnd,
};

constexpr VellixMapTag kImageChainMap[] = {
    ROW(0, "ID", STRING), ROW(1, "CG", STRING), ROW(2, "OC", UINT32), ROW(3, "ST", UINT32), kMapEnd,
};

constexpr VellixMapTag kTrueImageExtsMap[] = {
    ROW(0, "SR", UINT32), ROW(1, "ER", UINT32), ROW(2, "II", UINT32),
    ROW(3, "SI", UINT32), ROW(4, "EI", UINT32), kMapEnd,
};

constexpr VellixMapTag kImageExtraInfoMap[] = {
    ROW(0, "SZ", UINT32), ROW(1, "BD", UINT32), ROW(2, "BT", UINT32),
    ROW(3, "IN", UINT32), ROW(4, "MN", UINT32), ROW(5, "TP", UINT32),
    ROW(6, "NM", UINT32), ROW(7, "LB", UINT32), kMapEnd,
};

constexpr VellixMapTag kSearchCriteriaMap[] = {
    ROW(0, "PH", STRING),   ROW(1, "PT", STRING),
    ROW(2, "PL", INT16),    ROW(3, "SZ", UINT64),
    ROW(4, "IC", INT32),    ROW(5, "ML", INT16),
    ROW(6, "DN", INT32),    ROW(7, "EFI", INT32),
    ROW(8, "IR", INT32),    ROW(11, "NC", INT32), // at position 9
    ROW(9, "SD", INT16),                          // at position 10
    ROW(10, "ED", INT16),                         // at position 11
    ROW(12, "IS", INT32),   ROW(13, "DO", INT32),
    ROW(14, "SPT", INT32),  ROW(15, "RSP", INT32),
    ROW(16, "RT", INT32),   ROW(17, "RST", INT32),
    ROW(18, "MBX", STRING), ROW(19, "SUB", STRING),
    ROW(20, "FRM", STRING), ROW(21, "TO", STRING),
    ROW(22, "CC", STRING),  ROW(23, "BCC", STRING),
    ROW(24, "AN", STRING),  ROW(25, "CBN", STRING),
    ROW(26, "CE", STRING),  ROW(27, "AUN", STRING),
    ROW(28, "VN", STRING),  ROW(29, "TPN", STRING),
    ROW(30, "CAT", STRING), ROW(31, "CLN", STRING),
    ROW(32, "CFN", STRING), ROW(33, "CTB", STRING),
    ROW(34, "MDB", STRING), ROW(35, "TIT", STRING),
    ROW(36, "PRE", STRING), ROW(37, "COM", STRING),
    ROW(38, "LOC", STRING), ROW(39, "ANT", STRING),
    ROW(40, "URL", STRING), ROW(41, "MT", INT32),
    ROW(43, "AT", INT32), // at position 42
    ROW(42, "CT", INT32), // at position 43
    ROW(44, "ESD", INT32),  ROW(45, "CST", INT32),
    ROW(46, "CET", INT32),  ROW(47, "TST", INT32),
    ROW(48, "TET", INT32),  ROW(49, "EXD", INT32),
    ROW(50, "AC", INT32),   ROW(51, "AZ", INT32),
    ROW(52, "SXB", STRING), ROW(53, "SXBS", INT32),
    ROW(54, "PPH", STRING), ROW(55, "REC", STRING),
    ROW(56, "RUR", INT32),  kMapEnd,
};

#undef ROW
#undef RADIX64_ROW
#undef LIMITED_ROW
#undef FULL_ROW

enum DocFlag { kPlain, kHeader, kCached, kLeaf };

} // namespace

#define ROW(type, parent, name, entryName, map, flag)                                                                  \
    {                                                                                                                  \
        VELLIX_DOC_##type, VELLIX_DOC_##parent, name, sizeof(name) - 1, "<" name, "</" name ">", "<" entryName, map,   \
            std::size(map), (flag) == kHeader, (flag) == kCached, (flag) == kLeaf                                      \
    }

// "ImageContraints" is spelled so in every stored query.
constexpr VellixDocTypeRow xmlDocTypeTable[27] = {
    {},
    ROW(RESULTS, NONE, "CatResults", "CatResults", kResultsMap, kHeader),
    ROW(DOC, RESULTS, "CatDoc", "CatDoc", kResultsMap, kHeader),
    ROW(FH, DOC, "CatFH", "ET", kFHMap, kLeaf),
    ROW(FH_STRING_SECTION, DOC, "CatFHStringSection", "ET", kFHStringSectionMap, kLeaf),
    ROW(SPN, DOC, "CatSpn", "ET", kFHMap, kLeaf),
    ROW(RES, RESULTS, "CatRes", "RE", kResMap, kLeaf),
    ROW(SEARCH_CRITERIA, DOC, "CatSearchCriteria", "SC", kSearchCriteriaMap, kLeaf),
    ROW(IMG_ALT_ID_LIST, DOC, "CatImgAltIdList", "AltIdList", kImgAltIdListMap, kLeaf),
    ROW(IMAGE, DOC, "CatImage", "CatImage", kImageMap, kCached),
    ROW(FRAG, IMAGE, "CatFrag", "CatFrag", kFragMap, kCached),
    ROW(FSE, IMAGE, "CatFSE", "CatFSE", kFSEMap, kCached),
    ROW(IMAGE_CHAIN, IMAGE, "CatImageChain", "CatImageChain", kImageChainMap, kCached),
    ROW(TRUE_IMAGE_EXTS, IMAGE, "CatTrueImageExts", "CatTrueImageExts", kTrueImageExtsMap, kCached),
    ROW(IMAGE_EXTRA_INFO, IMAGE, "CatImageExtraInfo", "CatImageExtraInfo", kImageExtraInfoMap, kCached),
    ROW(ET, FH, "ET", "ET", kFHMap, kLeaf),
    ROW(QUERY, NONE, "CatQuery", "CatQuery", kQueryMap, kHeader),
    ROW(RETURN_RESULT_FORMAT, QUERY, "ReturnResultFormat", "ReturnResultFormat", kQueryMap, kPlain),
    ROW(RESULT_CONSTRAINTS, RETURN_RESULT_FORMAT, "ResultConstraints", "ResultConstraints", kQueryMap, kPlain),
    ROW(IMAGE_ATTRIBUTES, RETURN_RESULT_FORMAT, "ImageAttributes", "requestReturnAtt", kQueryMap, kPlain),
    ROW(ENTRY_ATTRIBUTES, RETURN_RESULT_FORMAT, "EntryAttributes", "requestReturnAtt", kQueryMap, kPlain),
    ROW(QUERY_CONSTRAINTS, QUERY, "QueryConstraints", "QueryConstraints", kQueryMap, kPlain),
    ROW(IMAGE_CONSTRAINTS, QUERY_CONSTRAINTS, "ImageContraints", "ImageContraints", kQueryMap, kPlain), // sic
    ROW(ENTRY_CONSTRAINTS, QUERY_CONSTRAINTS, "EntryConstraints", "EntryConstraints", kQueryMap, kPlain),
    ROW(IMAGE_CONSTR_AND, IMAGE_CONSTRAINTS, "Image_Constr_AND", "imageCriteriaColumn", kQueryMap, kPlain),
    ROW(ENTRY_CONSTR_AND, ENTRY_CONSTRAINTS, "Entry_Constr_AND", "entryCriteriaColumn", kQueryMap, kPlain),
    {},
};

#undef ROW

namespace {

constexpr std::size_t kDocTypes = std::size(xmlDocTypeTable) - 1;

struct FoldTable {
    unsigned char lower[256] = {};

    constexpr FoldTable() {
        for (unsigned int byte = 0; byte < 256; ++byte)
            lower[byte] = static_cast<unsigned char>(byte >= 'A' && byte <= 'Z' ? byte + ('a' - 'A') : byte);
    }
};
constexpr FoldTable kFold;

constexpr unsigned char fold(char c) { return kFold.lower[static_cast<unsigned char>(c)]; }

constexpr bool sameFolded(const char* left, const char* right, unsigned long length) {
    for (unsigned long i = 0; i < length; ++i) {
        if (fold(left[i]) != fold(right[i])) return false;
    }
    return true;
}

constexpr unsigned long kLongestAttributeTag = 23;

// A number for the bytes of a tag in lower case.
constexpr unsigned int keyOf(const char* tag, unsigned long length) {
    unsigned int key = 0;
    for (unsigned long i = 0; i < length; ++i) key = key * 37 + fold(tag[i]);
    return key;
}

// Finds the row of a tag in a short time: an open hash table over one map. No map fills more than a third of it. A byte for
// each place, since a process that uses the library keeps all of them in memory.
struct TagIndex {
    unsigned char positions[256]; // counted from 1; 0 in an empty place

    // The place of `tag`, or the empty place where it belongs.
    constexpr unsigned int find(const VellixMapTag* map, const char* tag, unsigned long length) const {
        unsigned int at = keyOf(tag, length) * 2654435761U >> 24; // the golden ratio spreads neighbouring keys
        for (; positions[at] != 0; at = (at + 1) % 256) {
            const VellixMapTag& row = map[positions[at] - 1];
            if (row.tagLen == length && sameFolded(row.tag, tag, length)) break;
        }
        return at;
    }
};

constexpr TagIndex indexOf(const VellixDocTypeRow& type) {
    TagIndex index = {};
    for (unsigned int position = 0; position + 1 < type.mapTagLen; ++position) {
        const VellixMapTag& row = type.mapTag[position];
        unsigned char& place = index.positions[index.find(type.mapTag, row.tag, row.tagLen)];
        if (place == 0) place = static_cast<unsigned char>(position + 1); // of a repeated tag the first counts
    }
    return index;
}

constexpr std::array<TagIndex, kDocTypes> indexAll() {
    std::array<TagIndex, kDocTypes> all = {};
    for (std::size_t type = 0; type < kDocTypes; ++type) all[type] = indexOf(xmlDocTypeTable[type]);
    return all;
}

constexpr std::array<TagIndex, kDocTypes> kTagIndex = indexAll();

constexpr bool isConsistent() {
    unsigned int longest = 0;
    for (std::size_t type = 0; type < kDocTypes; ++type) {
        const VellixDocTypeRow& row = xmlDocTypeTable[type];
        if (static_cast<std::size_t>(row.docType) != type) return false;
        if (row.mapTagLen > longest) longest = row.mapTagLen;
        for (unsigned int position = 0; position < row.mapTagLen; ++position) {
            if (row.mapTag[position].tagLen > kLongestAttributeTag) return false;
            if (row.mapTag[position].id >= row.mapTagLen) return false;
            if ((row.mapTag[position].tag == nullptr) != (position + 1 == row.mapTagLen)) return false;
        }
    }
    return longest == kLongestMap;
}
static_assert(isConsistent(),
              "each type stands at its own index, each map ends in its end row, and no id is behind it");

} // namespace

VELLIX_DOC_TYPE xmlDocTypeByName(const char* name, unsigned long length) {
    if (name == nullptr) return VELLIX_DOC_NONE;
    for (std::size_t type = 1; type < kDocTypes; ++type) {
        const VellixDocTypeRow& row = xmlDocTypeTable[type];
        if (row.nameLen == length && sameFolded(row.name, name, length)) return row.docType;
    }
    return VELLIX_DOC_NONE;
}

const VellixMapTag* xmlRowByTag(VELLIX_DOC_TYPE type, const char* tag, unsigned long length) {
    if (tag == nullptr || length > kLongestAttributeTag) return nullptr;
    const VellixDocTypeRow& row = xmlDocTypeRow(type);
    const TagIndex& index = kTagIndex[static_cast<std::size_t>(row.docType)];
    const unsigned int position = index.positions[index.find(row.mapTag, tag, length)];
    return position != 0 ? row.mapTag + (position - 1) : nullptr;
}
