#include "vellix/VellixSchema.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <sstream>
#include <string>
#include <vector>

#include "TestSupport.h"

namespace {

constexpr int kTypes = 26;

VELLIX_DOC_TYPE docType(int number) { return static_cast<VELLIX_DOC_TYPE>(number); }

// The whole vocabulary once more, as existing files hold it. One word per row: the tag, a letter for the data type, a
// star for radix-64, "<" and the limit, "@" and the id where it isn't the position.
// s string, B uint8, h int16, H uint16, i int32, I uint32, q int64, Q uint64, o opaque.
struct MapText {
    std::vector<int> types;
    const char* rows;
};
const MapText kMaps[] = {
    {{1, 2}, "IC:B ID:s"},
    {{8}, "SpnId:Q"},
    {{16, 17, 18, 19, 20, 21, 22, 23, 24, 25},
     "Requester:s RequestID:s maxResultEntries:i maxResultsPerResultPage:i name:s op:s value:s"},
    {{3, 5, 15},
     "OP:I RT:I RST:I OT:I OST:I MST:I NM:s PT:s FP:s SZ:Q LB:Q AT:I CT:I MT:I ST:I AR:I XA:I IN:Q MD:I "
     "UN:s GN:s SCN:Q LSN:Q DBID:Q FT:Q UT:Q OS:I RLN:I BT:I HID:I PID:s CPD:Q TS:Q TID:I CID:I CNT:I "
     "CS:Q SU:s FR:s TO:s<16384 CC:s<16384 BCC:s<16384 AC:i AN:s AS:Q IF:I RD:I SD:I BN:s CE:s ATN:s VN:s "
     "TN:s CGY:s DB:s OD:s ALT:s IIMG:i INOD:q PIN:I TIT:s PRE:s CLN:s CFN:s CBY:s MBY:s COM:s LOC:s "
     "ANT:s URL:s STA:I ENT:I PTT:I EXT:I TIS:I RI10:I RI:I*"},
    {{4},
     "OP:I OST:I NM:s SU:s FR:s TO:s CC:s BCC:s AC:i AN:s AS:Q IF:I RD:I SD:I BN:s CE:s ATN:s VN:s TN:s "
     "CGY:s DB:s OD:s ALT:s TIT:s PRE:s CLN:s CFN:s CBY:s MBY:s COM:s LOC:s ANT:s URL:s STA:I ENT:I PTT:I "
     "EXT:I RI10:I RI:I*"},
    {{6}, "ID:Q NM:s VS:s VSNM:s DNS:s UID:s RI:I"},
    {{9},
     "PT:I VN:I IN:I BD:I BT:I UTC:I BTP:I OS:I OV:I ST:I XST:I ND:I NF:Q NB:Q NC:I NFU:I PEA:I SN:I "
     "PBA:I FDDV:I VID:I DEA:I DCA:I PS:I JI:I JG:s FG:s FI:I OH:I NI:I NE:I DTS:I ID:s CG:s STT:I NIS:I "
     "EPI:s DB:I JFG:s JEG:s JHG:s JPG:s SLG:s LG:s ET:I ES:I SSSR:I SP:s NM:s SD:s UN:s RN:s RL:s EN:s "
     "MN:s DNT:s EKN:s EKH:o DVN:s DPN:s DFR:s FH:s TS:I LCU:Q RK:s AID:s ESS:I EKS:o PIT:Q SCT:Q"},
    {{10},
     "MV:I FN:I MN:I ID:s MS:I SR:I RC:I TPS:I PV:I LBA:Q VA:I MT:I DG:s CD:I CT:I MSG:s SZ:Q OS:Q PW:s "
     "FN:s CL:s LC:s RL:s ST:I CF:Q CD:Q"},
    {{11},
     "ST:B IE:B DF:B AV:B IS:B PF:B WC:B WP:B AT:B GF:B DN:s DL:H FN:s FL:H RVD:H RYR:H RMO:H RDY:H RHR:H "
     "RMI:H RSE:H RDW:H PVD:H PYR:H PMO:H PDY:H PHR:H PMI:H PSE:H PDW:H AVD:H AYR:H AMO:H ADY:H AHR:H "
     "AMI:H ASE:H ADW:H BVD:H BYR:H BMO:H BDY:H BHR:H BMI:H BSE:H BDW:H AO:I AF:I TP:s TS:H TFN:s TFS:H"},
    {{12}, "ID:s CG:s OC:I ST:I"},
    {{13}, "SR:I ER:I II:I SI:I EI:I"},
    {{14}, "SZ:I BD:I BT:I IN:I MN:I TP:I NM:I LB:I"},
    {{7},
     "PH:s PT:s PL:h SZ:Q IC:i ML:h DN:i EFI:i IR:i NC:i@11 SD:h@9 ED:h@10 IS:i DO:i SPT:i RSP:i RT:i "
     "RST:i MBX:s SUB:s FRM:s TO:s CC:s BCC:s AN:s CBN:s CE:s AUN:s VN:s TPN:s CAT:s CLN:s CFN:s CTB:s "
     "MDB:s TIT:s PRE:s COM:s LOC:s ANT:s URL:s MT:i AT:i@43 CT:i@42 ESD:i CST:i CET:i TST:i TET:i EXD:i "
     "AC:i AZ:i SXB:s SXBS:i PPH:s REC:s RUR:i"},
};

// The map of a type in the words of kMaps.
std::string describeMap(VELLIX_DOC_TYPE type) {
    static const char kLetters[] = "sbBhHiIqQ??o";
    std::string words;
    const VellixDocTypeRow& row = xmlDocTypeRow(type);
    for (unsigned int position = 0; position + 1 < row.mapTagLen; ++position) {
        const VellixMapTag& tag = row.mapTag[position];
        words += (position == 0 ? "" : " ") + std::string(tag.tag) + ":" + kLetters[tag.dataType];
        if (tag.encoding != VELLIX_ENC_DECIMAL) words += tag.encoding == VELLIX_ENC_RADIX64 ? "*" : "?";
        if (tag.maxLen != -2) words += "<" + std::to_string(tag.maxLen);
        if (tag.id != position) words += "@" + std::to_string(tag.id);
    }
    return words;
}

TEST(Schema, MapsHoldTheVocabulary) {
    std::array<int, 12> rowsPerType{};
    int covered = 0;
    for (const MapText& map : kMaps) {
        for (const int type : map.types) {
            SCOPED_TRACE(type);
            ++covered;
            EXPECT_EQ(describeMap(docType(type)), map.rows);
            EXPECT_EQ(xmlDocTypeTable[type].mapTag, xmlDocTypeTable[map.types[0]].mapTag);
        }
        const VellixDocTypeRow& row = xmlDocTypeTable[map.types[0]];
        for (unsigned int position = 0; position + 1 < row.mapTagLen; ++position) {
            const VellixMapTag& tag = row.mapTag[position];
            ++rowsPerType.at(static_cast<std::size_t>(tag.dataType));
            EXPECT_EQ(tag.tagLen, std::strlen(tag.tag)) << tag.tag;
            EXPECT_EQ(tag.tagAssign, std::string(tag.tag) + "=\"");
            EXPECT_EQ(tag.tagAssignLen, std::strlen(tag.tagAssign)) << tag.tag;
        }
        EXPECT_EQ(row.mapTag[row.mapTagLen - 1].tag, nullptr);
    }
    EXPECT_EQ(covered, 25);
    EXPECT_EQ(rowsPerType, (std::array<int, 12>{137, 0, 11, 4, 36, 29, 109, 1, 26, 0, 0, 2}));
}

// Per type from 1 on: parent, name, what opens an entry ("=" if the open tag does), rows of the map with its end row,
// and a letter for its flag: header, cached or leaf.
const char* const kTypeRows =
    "0 CatResults = 3 h, 1 CatDoc = 3 h, 2 CatFH <ET 78 l, 2 CatFHStringSection <ET 40 l, 2 CatSpn <ET 78 l, "
    "1 CatRes <RE 8 l, 2 CatSearchCriteria <SC 58 l, 2 CatImgAltIdList <AltIdList 2 l, 2 CatImage = 71 c, "
    "9 CatFrag = 27 c, 9 CatFSE = 53 c, 9 CatImageChain = 5 c, 9 CatTrueImageExts = 6 c, 9 CatImageExtraInfo = 9 c, "
    "3 ET = 78 l, 0 CatQuery = 8 h, 16 ReturnResultFormat = 8 -, 17 ResultConstraints = 8 -, "
    "17 ImageAttributes <requestReturnAtt 8 -, 17 EntryAttributes <requestReturnAtt 8 -, 16 QueryConstraints = 8 -, "
    "21 ImageContraints = 8 -, 21 EntryConstraints = 8 -, 22 Image_Constr_AND <imageCriteriaColumn 8 -, "
    "23 Entry_Constr_AND <entryCriteriaColumn 8 -";

TEST(Schema, TypeTableHoldsTheDocumentTypes) {
    const std::vector<std::string> rows = split(kTypeRows, ", ");
    ASSERT_EQ(rows.size(), kTypes - 1U);
    for (int type = 1; type < kTypes; ++type) {
        const VellixDocTypeRow& row = xmlDocTypeTable[type];
        const std::string openTag = std::string("<") + row.name;
        std::ostringstream words;
        words << row.parentType << ' ' << row.name << ' ' << (openTag == row.entryOpenTag ? "=" : row.entryOpenTag)
              << ' ' << row.mapTagLen << ' ' << (row.includeXmlHeader != 0 ? "h" : "")
              << (row.cacheData != 0 ? "c" : "") << (row.isLeafDoc != 0 ? "l" : "")
              << (row.includeXmlHeader + row.cacheData + row.isLeafDoc == 0 ? "-" : "");
        EXPECT_EQ(words.str(), rows[static_cast<std::size_t>(type) - 1]);
        EXPECT_EQ(row.docType, type);
        EXPECT_EQ(row.nameLen, std::strlen(row.name)) << row.name;
        EXPECT_EQ(row.openTag, openTag);
        EXPECT_EQ(row.closeTag, std::string("</") + row.name + ">");
    }
}

TEST(Schema, NumberThatIsNoTypeHasTheRowOfNone) {
    for (const int number : {-2147483647 - 1, -1, 0, kTypes, kTypes + 1, 2147483647}) {
        const VELLIX_DOC_TYPE type = docType(number);
        EXPECT_EQ(&xmlDocTypeRow(type), &xmlDocTypeTable[0]) << number;
        EXPECT_EQ(xmlRowAt(type, 0), nullptr) << number;
        EXPECT_EQ(xmlRowById(type, 0), nullptr) << number;
        EXPECT_EQ(xmlRowByTag(type, "OP", 2), nullptr) << number;
        EXPECT_EQ(VellixEntry::getXmlMapTag(type), nullptr) << number;
        EXPECT_EQ(VellixEntry::getXmlMapTagLen(type), 0U) << number;
        EXPECT_EQ(OpenEntry(type).getAttributeTag(0), nullptr) << number;
        EXPECT_EQ(OpenEntry(type).toString(), "") << number;
    }
}

char upper(char byte) { return byte >= 'a' && byte <= 'z' ? static_cast<char>(byte - 'a' + 'A') : byte; }

bool sameWord(const std::string& word, const char* name) {
    if (name == nullptr || word.size() != std::strlen(name)) return false;
    for (std::size_t i = 0; i < word.size(); ++i) {
        if (upper(word[i]) != upper(name[i])) return false;
    }
    return true;
}

const VellixMapTag* searchTag(VELLIX_DOC_TYPE type, const std::string& word) {
    for (unsigned int position = 0; xmlRowAt(type, position) != nullptr; ++position) {
        if (sameWord(word, xmlRowAt(type, position)->tag)) return xmlRowAt(type, position);
    }
    return nullptr;
}

VELLIX_DOC_TYPE searchName(const std::string& word) {
    for (int type = 1; type < kTypes; ++type) {
        if (sameWord(word, xmlDocTypeTable[type].name)) return docType(type);
    }
    return VELLIX_DOC_NONE;
}

// A word, its other cases, its starts, what has more in front or behind, and each of its bytes with one bit changed.
std::vector<std::string> variantsOf(const std::string& word) {
    std::vector<std::string> all = {word + word, word + " ", word + std::string(1, '\0'), " " + word, word + "=\""};
    for (std::size_t i = 0; i < word.size(); ++i) {
        all.push_back(word.substr(0, i));
        all.push_back(word.substr(i));
        for (int bit = 1; bit < 256; bit *= 2) {
            all.push_back(word);
            all.back()[i] = static_cast<char>(all.back()[i] ^ bit);
        }
    }
    std::string lower = word;
    std::string raised = word;
    for (char& byte : raised) byte = upper(byte);
    for (char& byte : lower) byte = byte >= 'A' && byte <= 'Z' ? static_cast<char>(byte - 'A' + 'a') : byte;
    all.push_back(lower);
    all.push_back(raised);
    return all;
}

TEST(Schema, LookupsByWordAgreeWithALinearSearch) {
    std::vector<std::string> words;
    for (int type = 1; type < kTypes; ++type) {
        for (const std::string& variant : variantsOf(xmlDocTypeTable[type].name)) words.push_back(variant);
    }
    for (const MapText& map : kMaps) {
        for (unsigned int position = 0; xmlRowAt(docType(map.types[0]), position) != nullptr; ++position) {
            for (const std::string& variant : variantsOf(xmlRowAt(docType(map.types[0]), position)->tag))
                words.push_back(variant);
        }
    }
    words.emplace_back(100000, 'O');
    for (const std::string& word : words) {
        const ExactBytes bytes(word);
        EXPECT_EQ(xmlDocTypeByName(bytes.data(), bytes.size()), searchName(word)) << word;
        for (const MapText& map : kMaps) {
            const VELLIX_DOC_TYPE type = docType(map.types.back());
            EXPECT_EQ(xmlRowByTag(type, bytes.data(), bytes.size()), searchTag(type, word)) << type << " " << word;
        }
    }
    // Most tags have two letters; here are all words of two bytes.
    for (int value = 0; value < 65536; ++value) {
        const std::string word = {static_cast<char>(value >> 8), static_cast<char>(value & 255)};
        for (const int type : {3, 4, 7, 9, 10, 11}) {
            ASSERT_EQ(xmlRowByTag(docType(type), word.data(), 2), searchTag(docType(type), word))
                << type << " " << value;
        }
    }
}

} // namespace
