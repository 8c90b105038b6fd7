// SPDX-License-Identifier: Apache-2.0
// Printed from the tables of the library by examples/attribute_tables.cpp; don't edit.
#ifndef VELLIX_ATTRIBUTES_H
#define VELLIX_ATTRIBUTES_H

#include <cstdint>
#include <string_view>

#include "vellix/VellixSchema.h"
#include "vellix/VellixValues.h"

// A constant for each attribute of each document type, for `set`, `get` and `erase` of VellixValues.h. It stands in a
// namespace that is named after the document type's enumerator, under the attribute's tag:
//     vellix::set(file, vellix::fh::SZ, 1234);             // SZ of VELLIX_DOC_FH
//
// - AC, AO, CS, DO, ES, IN and RSP are macros in headers of some system. Their constants end in an underscore: fh::IN_.
// - CatFrag has the tags FN and CD twice, as a number and again further on. The second constants are frag::FN_19 and
//   frag::CD_25. Text tells the two apart by nothing: when it is read, the last value stands under the first constant.
// - NC, SD, ED, AT and CT of CatSearchCriteria have one slot when they are written and another when they are read, as told
//   in VellixSchema.h. `set` and `get` use the slot to write in an entry that was built in code, and the slot to read in
//   one that a parse has filled (its `getEntryName` isn't null). So the constant always means the tag of its name. But an
//   entry that is read and written again has these five values under each other's tags.
namespace vellix {

// CatResults, CatDoc
namespace results {
inline constexpr Attribute<std::uint8_t> IC(VELLIX_DOC_RESULTS, 0);
inline constexpr Attribute<std::string_view> ID(VELLIX_DOC_RESULTS, 1);
} // namespace results
namespace doc = results;

// CatFH, CatSpn, ET
namespace fh {
inline constexpr Attribute<std::uint32_t> OP(VELLIX_DOC_FH, 0);
inline constexpr Attribute<std::uint32_t> RT(VELLIX_DOC_FH, 1);
inline constexpr Attribute<std::uint32_t> RST(VELLIX_DOC_FH, 2);
inline constexpr Attribute<std::uint32_t> OT(VELLIX_DOC_FH, 3);
inline constexpr Attribute<std::uint32_t> OST(VELLIX_DOC_FH, 4);
inline constexpr Attribute<std::uint32_t> MST(VELLIX_DOC_FH, 5);
inline constexpr Attribute<std::string_view> NM(VELLIX_DOC_FH, 6);
inline constexpr Attribute<std::string_view> PT(VELLIX_DOC_FH, 7);
inline constexpr Attribute<std::string_view> FP(VELLIX_DOC_FH, 8);
inline constexpr Attribute<std::uint64_t> SZ(VELLIX_DOC_FH, 9);
inline constexpr Attribute<std::uint64_t> LB(VELLIX_DOC_FH, 10);
inline constexpr Attribute<std::uint32_t> AT(VELLIX_DOC_FH, 11);
inline constexpr Attribute<std::uint32_t> CT(VELLIX_DOC_FH, 12);
inline constexpr Attribute<std::uint32_t> MT(VELLIX_DOC_FH, 13);
inline constexpr Attribute<std::uint32_t> ST(VELLIX_DOC_FH, 14);
inline constexpr Attribute<std::uint32_t> AR(VELLIX_DOC_FH, 15);
inline constexpr Attribute<std::uint32_t> XA(VELLIX_DOC_FH, 16);
inline constexpr Attribute<std::uint64_t> IN_(VELLIX_DOC_FH, 17);
inline constexpr Attribute<std::uint32_t> MD(VELLIX_DOC_FH, 18);
inline constexpr Attribute<std::string_view> UN(VELLIX_DOC_FH, 19);
inline constexpr Attribute<std::string_view> GN(VELLIX_DOC_FH, 20);
inline constexpr Attribute<std::uint64_t> SCN(VELLIX_DOC_FH, 21);
inline constexpr Attribute<std::uint64_t> LSN(VELLIX_DOC_FH, 22);
inline constexpr Attribute<std::uint64_t> DBID(VELLIX_DOC_FH, 23);
inline constexpr Attribute<std::uint64_t> FT(VELLIX_DOC_FH, 24);
inline constexpr Attribute<std::uint64_t> UT(VELLIX_DOC_FH, 25);
inline constexpr Attribute<std::uint32_t> OS(VELLIX_DOC_FH, 26);
inline constexpr Attribute<std::uint32_t> RLN(VELLIX_DOC_FH, 27);
inline constexpr Attribute<std::uint32_t> BT(VELLIX_DOC_FH, 28);
inline constexpr Attribute<std::uint32_t> HID(VELLIX_DOC_FH, 29);
inline constexpr Attribute<std::string_view> PID(VELLIX_DOC_FH, 30);
inline constexpr Attribute<std::uint64_t> CPD(VELLIX_DOC_FH, 31);
inline constexpr Attribute<std::uint64_t> TS(VELLIX_DOC_FH, 32);
inline constexpr Attribute<std::uint32_t> TID(VELLIX_DOC_FH, 33);
inline constexpr Attribute<std::uint32_t> CID(VELLIX_DOC_FH, 34);
inline constexpr Attribute<std::uint32_t> CNT(VELLIX_DOC_FH, 35);
inline constexpr Attribute<std::uint64_t> CS_(VELLIX_DOC_FH, 36);
inline constexpr Attribute<std::string_view> SU(VELLIX_DOC_FH, 37);
inline constexpr Attribute<std::string_view> FR(VELLIX_DOC_FH, 38);
inline constexpr Attribute<std::string_view> TO(VELLIX_DOC_FH, 39);
inline constexpr Attribute<std::string_view> CC(VELLIX_DOC_FH, 40);
inline constexpr Attribute<std::string_view> BCC(VELLIX_DOC_FH, 41);
inline constexpr Attribute<std::int32_t> AC_(VELLIX_DOC_FH, 42);
inline constexpr Attribute<std::string_view> AN(VELLIX_DOC_FH, 43);
inline constexpr Attribute<std::uint64_t> AS(VELLIX_DOC_FH, 44);
inline constexpr Attribute<std::uint32_t> IF(VELLIX_DOC_FH, 45);
inline constexpr Attribute<std::uint32_t> RD(VELLIX_DOC_FH, 46);
inline constexpr Attribute<std::uint32_t> SD(VELLIX_DOC_FH, 47);
inline constexpr Attribute<std::string_view> BN(VELLIX_DOC_FH, 48);
inline constexpr Attribute<std::string_view> CE(VELLIX_DOC_FH, 49);
inline constexpr Attribute<std::string_view> ATN(VELLIX_DOC_FH, 50);
inline constexpr Attribute<std::string_view> VN(VELLIX_DOC_FH, 51);
inline constexpr Attribute<std::string_view> TN(VELLIX_DOC_FH, 52);
inline constexpr Attribute<std::string_view> CGY(VELLIX_DOC_FH, 53);
inline constexpr Attribute<std::string_view> DB(VELLIX_DOC_FH, 54);
inline constexpr Attribute<std::string_view> OD(VELLIX_DOC_FH, 55);
inline constexpr Attribute<std::string_view> ALT(VELLIX_DOC_FH, 56);
inline constexpr Attribute<std::int32_t> IIMG(VELLIX_DOC_FH, 57);
inline constexpr Attribute<std::int64_t> INOD(VELLIX_DOC_FH, 58);
inline constexpr Attribute<std::uint32_t> PIN(VELLIX_DOC_FH, 59);
inline constexpr Attribute<std::string_view> TIT(VELLIX_DOC_FH, 60);
inline constexpr Attribute<std::string_view> PRE(VELLIX_DOC_FH, 61);
inline constexpr Attribute<std::string_view> CLN(VELLIX_DOC_FH, 62);
inline constexpr Attribute<std::string_view> CFN(VELLIX_DOC_FH, 63);
inline constexpr Attribute<std::string_view> CBY(VELLIX_DOC_FH, 64);
inline constexpr Attribute<std::string_view> MBY(VELLIX_DOC_FH, 65);
inline constexpr Attribute<std::string_view> COM(VELLIX_DOC_FH, 66);
inline constexpr Attribute<std::string_view> LOC(VELLIX_DOC_FH, 67);
inline constexpr Attribute<std::string_view> ANT(VELLIX_DOC_FH, 68);
inline constexpr Attribute<std::string_view> URL(VELLIX_DOC_FH, 69);
inline constexpr Attribute<std::uint32_t> STA(VELLIX_DOC_FH, 70);
inline constexpr Attribute<std::uint32_t> ENT(VELLIX_DOC_FH, 71);
inline constexpr Attribute<std::uint32_t> PTT(VELLIX_DOC_FH, 72);
inline constexpr Attribute<std::uint32_t> EXT(VELLIX_DOC_FH, 73);
inline constexpr Attribute<std::uint32_t> TIS(VELLIX_DOC_FH, 74);
inline constexpr Attribute<std::uint32_t> RI10(VELLIX_DOC_FH, 75);
inline constexpr Attribute<std::uint32_t> RI(VELLIX_DOC_FH, 76);
} // namespace fh
namespace spn = fh;
namespace et = fh;

// CatFHStringSection
namespace fh_string_section {
inline constexpr Attribute<std::uint32_t> OP(VELLIX_DOC_FH_STRING_SECTION, 0);
inline constexpr Attribute<std::uint32_t> OST(VELLIX_DOC_FH_STRING_SECTION, 1);
inline constexpr Attribute<std::string_view> NM(VELLIX_DOC_FH_STRING_SECTION, 2);
inline constexpr Attribute<std::string_view> SU(VELLIX_DOC_FH_STRING_SECTION, 3);
inline constexpr Attribute<std::string_view> FR(VELLIX_DOC_FH_STRING_SECTION, 4);
inline constexpr Attribute<std::string_view> TO(VELLIX_DOC_FH_STRING_SECTION, 5);
inline constexpr Attribute<std::string_view> CC(VELLIX_DOC_FH_STRING_SECTION, 6);
inline constexpr Attribute<std::string_view> BCC(VELLIX_DOC_FH_STRING_SECTION, 7);
inline constexpr Attribute<std::int32_t> AC_(VELLIX_DOC_FH_STRING_SECTION, 8);
inline constexpr Attribute<std::string_view> AN(VELLIX_DOC_FH_STRING_SECTION, 9);
inline constexpr Attribute<std::uint64_t> AS(VELLIX_DOC_FH_STRING_SECTION, 10);
inline constexpr Attribute<std::uint32_t> IF(VELLIX_DOC_FH_STRING_SECTION, 11);
inline constexpr Attribute<std::uint32_t> RD(VELLIX_DOC_FH_STRING_SECTION, 12);
inline constexpr Attribute<std::uint32_t> SD(VELLIX_DOC_FH_STRING_SECTION, 13);
inline constexpr Attribute<std::string_view> BN(VELLIX_DOC_FH_STRING_SECTION, 14);
inline constexpr Attribute<std::string_view> CE(VELLIX_DOC_FH_STRING_SECTION, 15);
inline constexpr Attribute<std::string_view> ATN(VELLIX_DOC_FH_STRING_SECTION, 16);
inline constexpr Attribute<std::string_view> VN(VELLIX_DOC_FH_STRING_SECTION, 17);
inline constexpr Attribute<std::string_view> TN(VELLIX_DOC_FH_STRING_SECTION, 18);
inline constexpr Attribute<std::string_view> CGY(VELLIX_DOC_FH_STRING_SECTION, 19);
inline constexpr Attribute<std::string_view> DB(VELLIX_DOC_FH_STRING_SECTION, 20);
inline constexpr Attribute<std::string_view> OD(VELLIX_DOC_FH_STRING_SECTION, 21);
inline constexpr Attribute<std::string_view> ALT(VELLIX_DOC_FH_STRING_SECTION, 22);
inline constexpr Attribute<std::string_view> TIT(VELLIX_DOC_FH_STRING_SECTION, 23);
inline constexpr Attribute<std::string_view> PRE(VELLIX_DOC_FH_STRING_SECTION, 24);
inline constexpr Attribute<std::string_view> CLN(VELLIX_DOC_FH_STRING_SECTION, 25);
inline constexpr Attribute<std::string_view> CFN(VELLIX_DOC_FH_STRING_SECTION, 26);
inline constexpr Attribute<std::string_view> CBY(VELLIX_DOC_FH_STRING_SECTION, 27);
inline constexpr Attribute<std::string_view> MBY(VELLIX_DOC_FH_STRING_SECTION, 28);
inline constexpr Attribute<std::string_view> COM(VELLIX_DOC_FH_STRING_SECTION, 29);
inline constexpr Attribute<std::string_view> LOC(VELLIX_DOC_FH_STRING_SECTION, 30);
inline constexpr Attribute<std::string_view> ANT(VELLIX_DOC_FH_STRING_SECTION, 31);
inline constexpr Attribute<std::string_view> URL(VELLIX_DOC_FH_STRING_SECTION, 32);
inline constexpr Attribute<std::uint32_t> STA(VELLIX_DOC_FH_STRING_SECTION, 33);
inline constexpr Attribute<std::uint32_t> ENT(VELLIX_DOC_FH_STRING_SECTION, 34);
inline constexpr Attribute<std::uint32_t> PTT(VELLIX_DOC_FH_STRING_SECTION, 35);
inline constexpr Attribute<std::uint32_t> EXT(VELLIX_DOC_FH_STRING_SECTION, 36);
inline constexpr Attribute<std::uint32_t> RI10(VELLIX_DOC_FH_STRING_SECTION, 37);
inline constexpr Attribute<std::uint32_t> RI(VELLIX_DOC_FH_STRING_SECTION, 38);
} // namespace fh_string_section

// CatRes
namespace res {
inline constexpr Attribute<std::uint64_t> ID(VELLIX_DOC_RES, 0);
inline constexpr Attribute<std::string_view> NM(VELLIX_DOC_RES, 1);
inline constexpr Attribute<std::string_view> VS(VELLIX_DOC_RES, 2);
inline constexpr Attribute<std::string_view> VSNM(VELLIX_DOC_RES, 3);
inline constexpr Attribute<std::string_view> DNS(VELLIX_DOC_RES, 4);
inline constexpr Attribute<std::string_view> UID(VELLIX_DOC_RES, 5);
inline constexpr Attribute<std::uint32_t> RI(VELLIX_DOC_RES, 6);
} // namespace res

// CatSearchCriteria
namespace search_criteria {
inline constexpr Attribute<std::string_view> PH(VELLIX_DOC_SEARCH_CRITERIA, 0);
inline constexpr Attribute<std::string_view> PT(VELLIX_DOC_SEARCH_CRITERIA, 1);
inline constexpr Attribute<std::int16_t> PL(VELLIX_DOC_SEARCH_CRITERIA, 2);
inline constexpr Attribute<std::uint64_t> SZ(VELLIX_DOC_SEARCH_CRITERIA, 3);
inline constexpr Attribute<std::int32_t> IC(VELLIX_DOC_SEARCH_CRITERIA, 4);
inline constexpr Attribute<std::int16_t> ML(VELLIX_DOC_SEARCH_CRITERIA, 5);
inline constexpr Attribute<std::int32_t> DN(VELLIX_DOC_SEARCH_CRITERIA, 6);
inline constexpr Attribute<std::int32_t> EFI(VELLIX_DOC_SEARCH_CRITERIA, 7);
inline constexpr Attribute<std::int32_t> IR(VELLIX_DOC_SEARCH_CRITERIA, 8);
inline constexpr Attribute<std::int32_t> NC(VELLIX_DOC_SEARCH_CRITERIA, 9);
inline constexpr Attribute<std::int16_t> SD(VELLIX_DOC_SEARCH_CRITERIA, 10);
inline constexpr Attribute<std::int16_t> ED(VELLIX_DOC_SEARCH_CRITERIA, 11);
inline constexpr Attribute<std::int32_t> IS(VELLIX_DOC_SEARCH_CRITERIA, 12);
inline constexpr Attribute<std::int32_t> DO_(VELLIX_DOC_SEARCH_CRITERIA, 13);
inline constexpr Attribute<std::int32_t> SPT(VELLIX_DOC_SEARCH_CRITERIA, 14);
inline constexpr Attribute<std::int32_t> RSP_(VELLIX_DOC_SEARCH_CRITERIA, 15);
inline constexpr Attribute<std::int32_t> RT(VELLIX_DOC_SEARCH_CRITERIA, 16);
inline constexpr Attribute<std::int32_t> RST(VELLIX_DOC_SEARCH_CRITERIA, 17);
inline constexpr Attribute<std::string_view> MBX(VELLIX_DOC_SEARCH_CRITERIA, 18);
inline constexpr Attribute<std::string_view> SUB(VELLIX_DOC_SEARCH_CRITERIA, 19);
inline constexpr Attribute<std::string_view> FRM(VELLIX_DOC_SEARCH_CRITERIA, 20);
inline constexpr Attribute<std::string_view> TO(VELLIX_DOC_SEARCH_CRITERIA, 21);
inline constexpr Attribute<std::string_view> CC(VELLIX_DOC_SEARCH_CRITERIA, 22);
inline constexpr Attribute<std::string_view> BCC(VELLIX_DOC_SEARCH_CRITERIA, 23);
inline constexpr Attribute<std::string_view> AN(VELLIX_DOC_SEARCH_CRITERIA, 24);
inline constexpr Attribute<std::string_view> CBN(VELLIX_DOC_SEARCH_CRITERIA, 25);
inline constexpr Attribute<std::string_view> CE(VELLIX_DOC_SEARCH_CRITERIA, 26);
inline constexpr Attribute<std::string_view> AUN(VELLIX_DOC_SEARCH_CRITERIA, 27);
inline constexpr Attribute<std::string_view> VN(VELLIX_DOC_SEARCH_CRITERIA, 28);
inline constexpr Attribute<std::string_view> TPN(VELLIX_DOC_SEARCH_CRITERIA, 29);
inline constexpr Attribute<std::string_view> CAT(VELLIX_DOC_SEARCH_CRITERIA, 30);
inline constexpr Attribute<std::string_view> CLN(VELLIX_DOC_SEARCH_CRITERIA, 31);
inline constexpr Attribute<std::string_view> CFN(VELLIX_DOC_SEARCH_CRITERIA, 32);
inline constexpr Attribute<std::string_view> CTB(VELLIX_DOC_SEARCH_CRITERIA, 33);
inline constexpr Attribute<std::string_view> MDB(VELLIX_DOC_SEARCH_CRITERIA, 34);
inline constexpr Attribute<std::string_view> TIT(VELLIX_DOC_SEARCH_CRITERIA, 35);
inline constexpr Attribute<std::string_view> PRE(VELLIX_DOC_SEARCH_CRITERIA, 36);
inline constexpr Attribute<std::string_view> COM(VELLIX_DOC_SEARCH_CRITERIA, 37);
inline constexpr Attribute<std::string_view> LOC(VELLIX_DOC_SEARCH_CRITERIA, 38);
inline constexpr Attribute<std::string_view> ANT(VELLIX_DOC_SEARCH_CRITERIA, 39);
inline constexpr Attribute<std::string_view> URL(VELLIX_DOC_SEARCH_CRITERIA, 40);
inline constexpr Attribute<std::int32_t> MT(VELLIX_DOC_SEARCH_CRITERIA, 41);
inline constexpr Attribute<std::int32_t> AT(VELLIX_DOC_SEARCH_CRITERIA, 42);
inline constexpr Attribute<std::int32_t> CT(VELLIX_DOC_SEARCH_CRITERIA, 43);
inline constexpr Attribute<std::int32_t> ESD(VELLIX_DOC_SEARCH_CRITERIA, 44);
inline constexpr Attribute<std::int32_t> CST(VELLIX_DOC_SEARCH_CRITERIA, 45);
inline constexpr Attribute<std::int32_t> CET(VELLIX_DOC_SEARCH_CRITERIA, 46);
inline constexpr Attribute<std::int32_t> TST(VELLIX_DOC_SEARCH_CRITERIA, 47);
inline constexpr Attribute<std::int32_t> TET(VELLIX_DOC_SEARCH_CRITERIA, 48);
inline constexpr Attribute<std::int32_t> EXD(VELLIX_DOC_SEARCH_CRITERIA, 49);
inline constexpr Attribute<std::int32_t> AC_(VELLIX_DOC_SEARCH_CRITERIA, 50);
inline constexpr Attribute<std::int32_t> AZ(VELLIX_DOC_SEARCH_CRITERIA, 51);
inline constexpr Attribute<std::string_view> SXB(VELLIX_DOC_SEARCH_CRITERIA, 52);
inline constexpr Attribute<std::int32_t> SXBS(VELLIX_DOC_SEARCH_CRITERIA, 53);
inline constexpr Attribute<std::string_view> PPH(VELLIX_DOC_SEARCH_CRITERIA, 54);
inline constexpr Attribute<std::string_view> REC(VELLIX_DOC_SEARCH_CRITERIA, 55);
inline constexpr Attribute<std::int32_t> RUR(VELLIX_DOC_SEARCH_CRITERIA, 56);
} // namespace search_criteria

// CatImgAltIdList
namespace img_alt_id_list {
inline constexpr Attribute<std::uint64_t> SpnId(VELLIX_DOC_IMG_ALT_ID_LIST, 0);
} // namespace img_alt_id_list

// CatImage
namespace image {
inline constexpr Attribute<std::uint32_t> PT(VELLIX_DOC_IMAGE, 0);
inline constexpr Attribute<std::uint32_t> VN(VELLIX_DOC_IMAGE, 1);
inline constexpr Attribute<std::uint32_t> IN_(VELLIX_DOC_IMAGE, 2);
inline constexpr Attribute<std::uint32_t> BD(VELLIX_DOC_IMAGE, 3);
inline constexpr Attribute<std::uint32_t> BT(VELLIX_DOC_IMAGE, 4);
inline constexpr Attribute<std::uint32_t> UTC(VELLIX_DOC_IMAGE, 5);
inline constexpr Attribute<std::uint32_t> BTP(VELLIX_DOC_IMAGE, 6);
inline constexpr Attribute<std::uint32_t> OS(VELLIX_DOC_IMAGE, 7);
inline constexpr Attribute<std::uint32_t> OV(VELLIX_DOC_IMAGE, 8);
inline constexpr Attribute<std::uint32_t> ST(VELLIX_DOC_IMAGE, 9);
inline constexpr Attribute<std::uint32_t> XST(VELLIX_DOC_IMAGE, 10);
inline constexpr Attribute<std::uint32_t> ND(VELLIX_DOC_IMAGE, 11);
inline constexpr Attribute<std::uint64_t> NF(VELLIX_DOC_IMAGE, 12);
inline constexpr Attribute<std::uint64_t> NB(VELLIX_DOC_IMAGE, 13);
inline constexpr Attribute<std::uint32_t> NC(VELLIX_DOC_IMAGE, 14);
inline constexpr Attribute<std::uint32_t> NFU(VELLIX_DOC_IMAGE, 15);
inline constexpr Attribute<std::uint32_t> PEA(VELLIX_DOC_IMAGE, 16);
inline constexpr Attribute<std::uint32_t> SN(VELLIX_DOC_IMAGE, 17);
inline constexpr Attribute<std::uint32_t> PBA(VELLIX_DOC_IMAGE, 18);
inline constexpr Attribute<std::uint32_t> FDDV(VELLIX_DOC_IMAGE, 19);
inline constexpr Attribute<std::uint32_t> VID(VELLIX_DOC_IMAGE, 20);
inline constexpr Attribute<std::uint32_t> DEA(VELLIX_DOC_IMAGE, 21);
inline constexpr Attribute<std::uint32_t> DCA(VELLIX_DOC_IMAGE, 22);
inline constexpr Attribute<std::uint32_t> PS(VELLIX_DOC_IMAGE, 23);
inline constexpr Attribute<std::uint32_t> JI(VELLIX_DOC_IMAGE, 24);
inline constexpr Attribute<std::string_view> JG(VELLIX_DOC_IMAGE, 25);
inline constexpr Attribute<std::string_view> FG(VELLIX_DOC_IMAGE, 26);
inline constexpr Attribute<std::uint32_t> FI(VELLIX_DOC_IMAGE, 27);
inline constexpr Attribute<std::uint32_t> OH(VELLIX_DOC_IMAGE, 28);
inline constexpr Attribute<std::uint32_t> NI(VELLIX_DOC_IMAGE, 29);
inline constexpr Attribute<std::uint32_t> NE(VELLIX_DOC_IMAGE, 30);
inline constexpr Attribute<std::uint32_t> DTS(VELLIX_DOC_IMAGE, 31);
inline constexpr Attribute<std::string_view> ID(VELLIX_DOC_IMAGE, 32);
inline constexpr Attribute<std::string_view> CG(VELLIX_DOC_IMAGE, 33);
inline constexpr Attribute<std::uint32_t> STT(VELLIX_DOC_IMAGE, 34);
inline constexpr Attribute<std::uint32_t> NIS(VELLIX_DOC_IMAGE, 35);
inline constexpr Attribute<std::string_view> EPI(VELLIX_DOC_IMAGE, 36);
inline constexpr Attribute<std::uint32_t> DB(VELLIX_DOC_IMAGE, 37);
inline constexpr Attribute<std::string_view> JFG(VELLIX_DOC_IMAGE, 38);
inline constexpr Attribute<std::string_view> JEG(VELLIX_DOC_IMAGE, 39);
inline constexpr Attribute<std::string_view> JHG(VELLIX_DOC_IMAGE, 40);
inline constexpr Attribute<std::string_view> JPG(VELLIX_DOC_IMAGE, 41);
inline constexpr Attribute<std::string_view> SLG(VELLIX_DOC_IMAGE, 42);
inline constexpr Attribute<std::string_view> LG(VELLIX_DOC_IMAGE, 43);
inline constexpr Attribute<std::uint32_t> ET(VELLIX_DOC_IMAGE, 44);
inline constexpr Attribute<std::uint32_t> ES_(VELLIX_DOC_IMAGE, 45);
inline constexpr Attribute<std::uint32_t> SSSR(VELLIX_DOC_IMAGE, 46);
inline constexpr Attribute<std::string_view> SP(VELLIX_DOC_IMAGE, 47);
inline constexpr Attribute<std::string_view> NM(VELLIX_DOC_IMAGE, 48);
inline constexpr Attribute<std::string_view> SD(VELLIX_DOC_IMAGE, 49);
inline constexpr Attribute<std::string_view> UN(VELLIX_DOC_IMAGE, 50);
inline constexpr Attribute<std::string_view> RN(VELLIX_DOC_IMAGE, 51);
inline constexpr Attribute<std::string_view> RL(VELLIX_DOC_IMAGE, 52);
inline constexpr Attribute<std::string_view> EN(VELLIX_DOC_IMAGE, 53);
inline constexpr Attribute<std::string_view> MN(VELLIX_DOC_IMAGE, 54);
inline constexpr Attribute<std::string_view> DNT(VELLIX_DOC_IMAGE, 55);
inline constexpr Attribute<std::string_view> EKN(VELLIX_DOC_IMAGE, 56);
inline constexpr Attribute<std::string_view> EKH(VELLIX_DOC_IMAGE, 57);
inline constexpr Attribute<std::string_view> DVN(VELLIX_DOC_IMAGE, 58);
inline constexpr Attribute<std::string_view> DPN(VELLIX_DOC_IMAGE, 59);
inline constexpr Attribute<std::string_view> DFR(VELLIX_DOC_IMAGE, 60);
inline constexpr Attribute<std::string_view> FH(VELLIX_DOC_IMAGE, 61);
inline constexpr Attribute<std::uint32_t> TS(VELLIX_DOC_IMAGE, 62);
inline constexpr Attribute<std::uint64_t> LCU(VELLIX_DOC_IMAGE, 63);
inline constexpr Attribute<std::string_view> RK(VELLIX_DOC_IMAGE, 64);
inline constexpr Attribute<std::string_view> AID(VELLIX_DOC_IMAGE, 65);
inline constexpr Attribute<std::uint32_t> ESS(VELLIX_DOC_IMAGE, 66);
inline constexpr Attribute<std::string_view> EKS(VELLIX_DOC_IMAGE, 67);
inline constexpr Attribute<std::uint64_t> PIT(VELLIX_DOC_IMAGE, 68);
inline constexpr Attribute<std::uint64_t> SCT(VELLIX_DOC_IMAGE, 69);
} // namespace image

// CatFrag
namespace frag {
inline constexpr Attribute<std::uint32_t> MV(VELLIX_DOC_FRAG, 0);
inline constexpr Attribute<std::uint32_t> FN(VELLIX_DOC_FRAG, 1);
inline constexpr Attribute<std::uint32_t> MN(VELLIX_DOC_FRAG, 2);
inline constexpr Attribute<std::string_view> ID(VELLIX_DOC_FRAG, 3);
inline constexpr Attribute<std::uint32_t> MS(VELLIX_DOC_FRAG, 4);
inline constexpr Attribute<std::uint32_t> SR(VELLIX_DOC_FRAG, 5);
inline constexpr Attribute<std::uint32_t> RC(VELLIX_DOC_FRAG, 6);
inline constexpr Attribute<std::uint32_t> TPS(VELLIX_DOC_FRAG, 7);
inline constexpr Attribute<std::uint32_t> PV(VELLIX_DOC_FRAG, 8);
inline constexpr Attribute<std::uint64_t> LBA(VELLIX_DOC_FRAG, 9);
inline constexpr Attribute<std::uint32_t> VA(VELLIX_DOC_FRAG, 10);
inline constexpr Attribute<std::uint32_t> MT(VELLIX_DOC_FRAG, 11);
inline constexpr Attribute<std::string_view> DG(VELLIX_DOC_FRAG, 12);
inline constexpr Attribute<std::uint32_t> CD(VELLIX_DOC_FRAG, 13);
inline constexpr Attribute<std::uint32_t> CT(VELLIX_DOC_FRAG, 14);
inline constexpr Attribute<std::string_view> MSG(VELLIX_DOC_FRAG, 15);
inline constexpr Attribute<std::uint64_t> SZ(VELLIX_DOC_FRAG, 16);
inline constexpr Attribute<std::uint64_t> OS(VELLIX_DOC_FRAG, 17);
inline constexpr Attribute<std::string_view> PW(VELLIX_DOC_FRAG, 18);
inline constexpr Attribute<std::string_view> FN_19(VELLIX_DOC_FRAG, 19);
inline constexpr Attribute<std::string_view> CL(VELLIX_DOC_FRAG, 20);
inline constexpr Attribute<std::string_view> LC(VELLIX_DOC_FRAG, 21);
inline constexpr Attribute<std::string_view> RL(VELLIX_DOC_FRAG, 22);
inline constexpr Attribute<std::uint32_t> ST(VELLIX_DOC_FRAG, 23);
inline constexpr Attribute<std::uint64_t> CF(VELLIX_DOC_FRAG, 24);
inline constexpr Attribute<std::uint64_t> CD_25(VELLIX_DOC_FRAG, 25);
} // namespace frag

// CatFSE
namespace fse {
inline constexpr Attribute<std::uint8_t> ST(VELLIX_DOC_FSE, 0);
inline constexpr Attribute<std::uint8_t> IE(VELLIX_DOC_FSE, 1);
inline constexpr Attribute<std::uint8_t> DF(VELLIX_DOC_FSE, 2);
inline constexpr Attribute<std::uint8_t> AV(VELLIX_DOC_FSE, 3);
inline constexpr Attribute<std::uint8_t> IS(VELLIX_DOC_FSE, 4);
inline constexpr Attribute<std::uint8_t> PF(VELLIX_DOC_FSE, 5);
inline constexpr Attribute<std::uint8_t> WC(VELLIX_DOC_FSE, 6);
inline constexpr Attribute<std::uint8_t> WP(VELLIX_DOC_FSE, 7);
inline constexpr Attribute<std::uint8_t> AT(VELLIX_DOC_FSE, 8);
inline constexpr Attribute<std::uint8_t> GF(VELLIX_DOC_FSE, 9);
inline constexpr Attribute<std::string_view> DN(VELLIX_DOC_FSE, 10);
inline constexpr Attribute<std::uint16_t> DL(VELLIX_DOC_FSE, 11);
inline constexpr Attribute<std::string_view> FN(VELLIX_DOC_FSE, 12);
inline constexpr Attribute<std::uint16_t> FL(VELLIX_DOC_FSE, 13);
inline constexpr Attribute<std::uint16_t> RVD(VELLIX_DOC_FSE, 14);
inline constexpr Attribute<std::uint16_t> RYR(VELLIX_DOC_FSE, 15);
inline constexpr Attribute<std::uint16_t> RMO(VELLIX_DOC_FSE, 16);
inline constexpr Attribute<std::uint16_t> RDY(VELLIX_DOC_FSE, 17);
inline constexpr Attribute<std::uint16_t> RHR(VELLIX_DOC_FSE, 18);
inline constexpr Attribute<std::uint16_t> RMI(VELLIX_DOC_FSE, 19);
inline constexpr Attribute<std::uint16_t> RSE(VELLIX_DOC_FSE, 20);
inline constexpr Attribute<std::uint16_t> RDW(VELLIX_DOC_FSE, 21);
inline constexpr Attribute<std::uint16_t> PVD(VELLIX_DOC_FSE, 22);
inline constexpr Attribute<std::uint16_t> PYR(VELLIX_DOC_FSE, 23);
inline constexpr Attribute<std::uint16_t> PMO(VELLIX_DOC_FSE, 24);
inline constexpr Attribute<std::uint16_t> PDY(VELLIX_DOC_FSE, 25);
inline constexpr Attribute<std::uint16_t> PHR(VELLIX_DOC_FSE, 26);
inline constexpr Attribute<std::uint16_t> PMI(VELLIX_DOC_FSE, 27);
inline constexpr Attribute<std::uint16_t> PSE(VELLIX_DOC_FSE, 28);
inline constexpr Attribute<std::uint16_t> PDW(VELLIX_DOC_FSE, 29);
inline constexpr Attribute<std::uint16_t> AVD(VELLIX_DOC_FSE, 30);
inline constexpr Attribute<std::uint16_t> AYR(VELLIX_DOC_FSE, 31);
inline constexpr Attribute<std::uint16_t> AMO(VELLIX_DOC_FSE, 32);
inline constexpr Attribute<std::uint16_t> ADY(VELLIX_DOC_FSE, 33);
inline constexpr Attribute<std::uint16_t> AHR(VELLIX_DOC_FSE, 34);
inline constexpr Attribute<std::uint16_t> AMI(VELLIX_DOC_FSE, 35);
inline constexpr Attribute<std::uint16_t> ASE(VELLIX_DOC_FSE, 36);
inline constexpr Attribute<std::uint16_t> ADW(VELLIX_DOC_FSE, 37);
inline constexpr Attribute<std::uint16_t> BVD(VELLIX_DOC_FSE, 38);
inline constexpr Attribute<std::uint16_t> BYR(VELLIX_DOC_FSE, 39);
inline constexpr Attribute<std::uint16_t> BMO(VELLIX_DOC_FSE, 40);
inline constexpr Attribute<std::uint16_t> BDY(VELLIX_DOC_FSE, 41);
inline constexpr Attribute<std::uint16_t> BHR(VELLIX_DOC_FSE, 42);
inline constexpr Attribute<std::uint16_t> BMI(VELLIX_DOC_FSE, 43);
inline constexpr Attribute<std::uint16_t> BSE(VELLIX_DOC_FSE, 44);
inline constexpr Attribute<std::uint16_t> BDW(VELLIX_DOC_FSE, 45);
inline constexpr Attribute<std::uint32_t> AO_(VELLIX_DOC_FSE, 46);
inline constexpr Attribute<std::uint32_t> AF(VELLIX_DOC_FSE, 47);
inline constexpr Attribute<std::string_view> TP(VELLIX_DOC_FSE, 48);
inline constexpr Attribute<std::uint16_t> TS(VELLIX_DOC_FSE, 49);
inline constexpr Attribute<std::string_view> TFN(VELLIX_DOC_FSE, 50);
inline constexpr Attribute<std::uint16_t> TFS(VELLIX_DOC_FSE, 51);
} // namespace fse

// CatImageChain
namespace image_chain {
inline constexpr Attribute<std::string_view> ID(VELLIX_DOC_IMAGE_CHAIN, 0);
inline constexpr Attribute<std::string_view> CG(VELLIX_DOC_IMAGE_CHAIN, 1);
inline constexpr Attribute<std::uint32_t> OC(VELLIX_DOC_IMAGE_CHAIN, 2);
inline constexpr Attribute<std::uint32_t> ST(VELLIX_DOC_IMAGE_CHAIN, 3);
} // namespace image_chain

// CatTrueImageExts
namespace true_image_exts {
inline constexpr Attribute<std::uint32_t> SR(VELLIX_DOC_TRUE_IMAGE_EXTS, 0);
inline constexpr Attribute<std::uint32_t> ER(VELLIX_DOC_TRUE_IMAGE_EXTS, 1);
inline constexpr Attribute<std::uint32_t> II(VELLIX_DOC_TRUE_IMAGE_EXTS, 2);
inline constexpr Attribute<std::uint32_t> SI(VELLIX_DOC_TRUE_IMAGE_EXTS, 3);
inline constexpr Attribute<std::uint32_t> EI(VELLIX_DOC_TRUE_IMAGE_EXTS, 4);
} // namespace true_image_exts

// CatImageExtraInfo
namespace image_extra_info {
inline constexpr Attribute<std::uint32_t> SZ(VELLIX_DOC_IMAGE_EXTRA_INFO, 0);
inline constexpr Attribute<std::uint32_t> BD(VELLIX_DOC_IMAGE_EXTRA_INFO, 1);
inline constexpr Attribute<std::uint32_t> BT(VELLIX_DOC_IMAGE_EXTRA_INFO, 2);
inline constexpr Attribute<std::uint32_t> IN_(VELLIX_DOC_IMAGE_EXTRA_INFO, 3);
inline constexpr Attribute<std::uint32_t> MN(VELLIX_DOC_IMAGE_EXTRA_INFO, 4);
inline constexpr Attribute<std::uint32_t> TP(VELLIX_DOC_IMAGE_EXTRA_INFO, 5);
inline constexpr Attribute<std::uint32_t> NM(VELLIX_DOC_IMAGE_EXTRA_INFO, 6);
inline constexpr Attribute<std::uint32_t> LB(VELLIX_DOC_IMAGE_EXTRA_INFO, 7);
} // namespace image_extra_info

// CatQuery, ReturnResultFormat, ResultConstraints, ImageAttributes, EntryAttributes, QueryConstraints, ImageContraints, EntryConstraints, Image_Constr_AND, Entry_Constr_AND
namespace query {
inline constexpr Attribute<std::string_view> Requester(VELLIX_DOC_QUERY, 0);
inline constexpr Attribute<std::string_view> RequestID(VELLIX_DOC_QUERY, 1);
inline constexpr Attribute<std::int32_t> maxResultEntries(VELLIX_DOC_QUERY, 2);
inline constexpr Attribute<std::int32_t> maxResultsPerResultPage(VELLIX_DOC_QUERY, 3);
inline constexpr Attribute<std::string_view> name(VELLIX_DOC_QUERY, 4);
inline constexpr Attribute<std::string_view> op(VELLIX_DOC_QUERY, 5);
inline constexpr Attribute<std::string_view> value(VELLIX_DOC_QUERY, 6);
} // namespace query
namespace return_result_format = query;
namespace result_constraints = query;
namespace image_attributes = query;
namespace entry_attributes = query;
namespace query_constraints = query;
namespace image_constraints = query;
namespace entry_constraints = query;
namespace image_constr_and = query;
namespace entry_constr_and = query;

} // namespace vellix

#endif
