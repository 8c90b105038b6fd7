// SPDX-License-Identifier: Apache-2.0
#ifndef VELLIX_ENTRY_H
#define VELLIX_ENTRY_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "vellix/VellixSchema.h"
#include "vellix/VellixTypes.h"
#include "vellix/VellixUtils.h"

class QuoteSearch;
class VellixStore;

namespace vellix {
class WalkCore;
} // namespace vellix

// One tag with its attributes: the leaf unit of a catalog document, and the base of VellixDoc.
//
// An attribute is named by its id, a small number. The document type of the entry gives each id its tag, data type and
// length limit (see docs/attributes.md for all of them). Values are held in plain form, as UTF-8, in numbered slots, and
// are escaped only on the way into text. A number is held as text too, in the form of its attribute.
//     VellixEntry file(VELLIX_DOC_FH);
//     file.addAttribute(6, "a&b");                        // NM
//     file.addAttribute(9, 12, false);                    // SZ
//     file.toString();                                    // <ET NM="a&amp;b" SZ="12"/>
//
// A slot is absent or present; a present one may be empty. Every entry has 78 slots, so its type can change after the
// fact, but a slot takes a value only while the type has an attribute at that place.
//
// A text that a getter hands out belongs to the entry. It lives until its slot next changes, or the entry is cleared,
// assigned to, loaded, moved from or destroyed. What happens to other slots doesn't touch it. It may be given to any setter
// of the same entry, as a whole or from its middle on.
//
// An entry can be used again and again, with `clear` in between or without. It keeps memory for the values to come, so that
// a loop soon allocates nothing any more but for lengths that are new; `loadFromBuffer` always allocates. What is kept stays
// within a few times the longest content that the entry held lately, besides some 100 KB. Only where the same bytes go to
// other slots each time, in fewer and longer texts, may it be up to some 40 times. "Lately" is the time of the last 16,384
// values that were replaced or removed, where a `clear` or an assignment counts as 64 of them. A copy is one allocation of
// just the size of what is copied. That stays while one of its texts does.
//
// An entry belongs to one thread at a time, getters included; two entries share no state. Where memory runs out and nothing
// else is said, std::bad_alloc leaves the call, and the entry keeps what it held.
class VELLIX_API VellixEntry {
public:
    /// Makes an entry of `type`. An `id` other than 0 is stored in slot 1 as a number. `flag` has no effect.
    VellixEntry(VELLIX_DOC_TYPE type = VELLIX_DOC_NONE, unsigned short id = 0, bool flag = true);

    /// Makes an entry of `type` and reads one tag into it with `parseAttrXMLString`, whose result is dropped. A null
    /// `buffer` leaves the entry empty. `flag` has no effect.
    VellixEntry(VELLIX_DOC_TYPE type, const char* buffer, unsigned long length, bool flag);

    /// Copies everything.
    VellixEntry(const VellixEntry& other);

    /// Takes over the content of `other`, which is left as an empty entry of VELLIX_DOC_NONE without an error.
    VellixEntry(VellixEntry&& other) noexcept;

    virtual ~VellixEntry();

    /// As the copy constructor, but `getLastError` stays as it was.
    void operator=(const VellixEntry& other);

    /// As the copying form; `other` is left as the moving constructor leaves it.
    void operator=(VellixEntry&& other) noexcept;

    /// Makes the entry new: everything returns to what construction with `type` gives. Then reads one tag from `buffer`, if
    /// it isn't null, and drops the result. `buffer` may be text of the entry itself. `flag` has no effect.
    void loadFromBuffer(VELLIX_DOC_TYPE type, const char* buffer, unsigned long length, bool flag);

    /// Makes every slot absent, drops the name, sets the type to VELLIX_DOC_NONE and both counters to 0. The error code
    /// and the closed mark stay.
    void clear();

    /// True if both hold the same values in the same slots. Type, name and counters don't enter into it.
    bool operator==(const VellixEntry& other) const;

    /// Stores a VELLIX_ERROR value as the last error. No success clears it.
    void setError(int code);
    int getLastError() const;

    /// Returns the tag word that a parse read, or null for an entry built in code. The entry stays the owner.
    const char* getEntryName() const;

    VELLIX_DOC_TYPE getType() const;

    /// Sets the type alone: slots keep their values, whatever attributes the new type has there.
    void setType(VELLIX_DOC_TYPE type);

    /// Returns the type of document that holds documents of this type, VELLIX_DOC_NONE at a root.
    VELLIX_DOC_TYPE getParentType() const;

    /// True if a document of this type stands behind an XML declaration.
    bool includeXmlHeader() const;

    /// True if the contents of a document of this type are read along with its tag.
    bool cacheData() const;

    /// True if documents of this type have no child documents.
    bool isLeafDoc() const;

    /// True once a parse has read "/>". No parse lowers it.
    bool isEntryClosed() const;
    void setIsEntryClosed(bool closed);

    /// Returns the number of present slots.
    int getNumberOfAttributes() const;

    /// Returns the number of slots, present or not.
    int getTotalAttributes() const;

    unsigned long getNumberOfChildDocs() const;
    unsigned long getNumberOfEntries() const;

    /// True if no slot is present. Child documents and entries don't count.
    bool isEmpty() const;

    /// Returns the first row of the attribute map of `type`, null for a type without one. Nothing may be written through
    /// the result: the schema is constant.
    static VellixMapTag* getXmlMapTag(VELLIX_DOC_TYPE type);

    /// Returns the number of rows of that map, its end row included; 0 for a type without one.
    static unsigned long getXmlMapTagLen(VELLIX_DOC_TYPE type);

    /// Returns the tag at `position` of the entry's map, null where there is no attribute row. Nothing may be written
    /// through the result.
    char* getAttributeTag(int position) const;

    /// Returns the bytes of that tag, 0 where there is no attribute row.
    int getAttributeTagLen(int position) const;

    /// Returns the largest number of bytes that the attribute takes; -2 means no limit, or no attribute row.
    int getAttributeMaxLen(int position) const;

    // The width of long. The `long` and `unsigned long` forms of setters and getters carry 32 bits on every system. But on
    // 64-bit Linux std::int64_t, std::uint64_t, std::size_t, time_t and off_t are `long`, and are taken for 32 bits:
    //     file.addAttribute(9, std::uint64_t{3000000000}, false);  // true, and SZ is "-1294967296"
    //     file.addAttribute(9, std::uint64_t{5368709120}, false);  // false, and SZ keeps what it held
    //     std::uint64_t size = 0;
    //     file.getAttribute(9, size);                              // false: SZ has 64 bits
    // `vellix::set` and `vellix::get` of VellixAttributes.h take any integer by its value. Or convert: to `__int64` or
    // `unsigned __int64` what goes in, from a variable of such a type what comes out.

    // Setters. Each answers whether the value was stored. Common to all of them:
    // - A value for an `id` at whose place the entry's type has no attribute is refused: false, and nothing changes.
    // - A value that the attribute's data type refuses: false, VELLIX_ERR_OUT_OF_RANGE for a number and
    //   VELLIX_ERR_TYPE_MISMATCH for a text, and the slot stays as it was.
    // - A number is tested only against data types that are narrower than its own C++ type. An unsigned number of 32 or 64
    //   bits is refused by the signed ones among them, however small it is. Data types as wide or wider take every number,
    //   whatever its sign: -5 given as `int` is stored in an unsigned attribute of 32 or 64 bits, as "-5".
    // - Where the `id` of the row at that place differs (CatSearchCriteria 9 to 11, 42, 43), nothing is tested.
    // - A value longer than the attribute's limit is cut to it, counted in bytes.
    // - A decimal number is written with the sign that its bits have in 32 or 64 bits. So 4294967295 given as `unsigned
    //   int` is "-1", which the `unsigned int` getter reads back as 4294967295, but the `__int64` getter as -1. Given as
    //   `__int64` it is "4294967295", which the 64-bit getters read back, but the `unsigned int` getter as 2147483647. A
    //   `short` or an `unsigned short` stands as it is.
    // - `pad` right-aligns a radix-64 number with blanks to 3, 6 or 12 characters by its width of 16, 32 or 64 bits. It
    //   means nothing in a decimal attribute.

    bool addAttribute(unsigned short id, short value, bool pad);
    bool addAttribute(unsigned short id, unsigned short value, bool pad);
    bool addAttribute(unsigned short id, int value, bool pad);

    /// A value above 2147483647 is stored as a negative number.
    bool addAttribute(unsigned short id, unsigned int value, bool pad);

    /// As the `int` form: 32 bits. A value that they can't hold is refused first of all, with VELLIX_ERR_OUT_OF_RANGE.
    bool addAttribute(unsigned short id, long value, bool pad);

    /// As the `unsigned int` form: 32 bits, and a value above 2147483647 is stored as a negative number. A value above
    /// 4294967295 is refused first of all, with VELLIX_ERR_OUT_OF_RANGE.
    bool addAttribute(unsigned short id, unsigned long value, bool pad);

    bool addAttribute(unsigned short id, __int64 value, bool pad);

    /// A value above 9223372036854775807 is stored as a negative number.
    bool addAttribute(unsigned short id, unsigned __int64 value, bool pad);

    /// Stores a text, up to its NUL. A null `value` makes the slot absent and answers false, unless the attribute is
    /// numeric: then the text is refused and the slot stays.
    bool addAttribute(unsigned short id, const char* value);

    /// As the `const char*` form: a NUL inside the string ends the value.
    bool addAttribute(unsigned short id, const std::string& value);

    /// Stores a wide text as UTF-8. A surrogate without its partner, and a value above U+10FFFF, becomes U+FFFD.
    bool addAttribute(unsigned short id, const wchar_t* value);

    /// Stores a text under the attribute whose tag is the `length` bytes at `tag`, in any case of letters, whatever its
    /// data type. False if the type has no such tag.
    bool addAttribute(const char* tag, unsigned int length, const char* value);

    /// Makes the slot absent. False only if there is no slot of that number.
    bool removeAttribute(unsigned short id);

    // Numeric getters. Each answers whether `value` was read from the slot.
    // - An attribute of a wider data type than `value`, or of a text: false, VELLIX_ERR_TYPE_MISMATCH; `value` is 0 for
    //   16 bits and untouched for 32 and 64.
    // - An absent slot: false, no error, and `value` is 0.
    // - Text that is no number gives what the attribute's form makes of it: the decimal digits that it starts with, 0
    //   without any; all bits set for a bad radix-64 digit. The result is true.
    // - Decimal text is read as a signed number of 32 bits, or of 64 by the `__int64` forms, also into an unsigned `value`.
    //   A number outside that range becomes its nearest limit. The result is true. `vellix::get` refuses instead.

    /// Keeps the low 16 bits of the 32: "70000" is 4464, "65535" is -1.
    bool getAttribute(unsigned short id, short& value);

    /// Keeps the low 16 bits of the 32: "70000" is 4464, "-1" is 65535.
    bool getAttribute(unsigned short id, unsigned short& value);

    /// "3000000000" is 2147483647.
    bool getAttribute(unsigned short id, int& value);

    /// The bits of the signed number: "-1" is 4294967295, "-1294967296" is 3000000000. But "3000000000" is 2147483647.
    bool getAttribute(unsigned short id, unsigned int& value);

    /// The result of the `int` form, and so 32 bits. An attribute of 64 bits is refused, also where `long` has as many.
    bool getAttribute(unsigned short id, long& value);

    /// The result of the `unsigned int` form, and so 32 bits: 0 to 4294967295. An attribute of 64 bits is refused.
    bool getAttribute(unsigned short id, unsigned long& value);

    /// Reads "-1" as -1, also in an unsigned attribute of 32 bits, where it stands for 4294967295. A radix-64 number from
    /// 2147483648 up comes back negative: "zzzzz1" is -1.
    bool getAttribute(unsigned short id, __int64& value);

    /// The bits of the signed number: "-1" is 18446744073709551615, also in an attribute of 32 bits, and so is the radix-64
    /// number "zzzzz1". "18446744073709551615" is 9223372036854775807.
    bool getAttribute(unsigned short id, unsigned __int64& value);

    // Text getters. They give the slot's text as it stands, whatever the data type.

    /// Returns the text, or null for an absent slot.
    const char* getAttribute(unsigned short id) const;

    /// Gives the caller a copy of the text, to be released with `free`, and its length in bytes. False for an absent
    /// slot, and both stay untouched; false if memory ran out, and they are null and 0.
    bool getAttribute(unsigned short id, char*& value, int& length) const;

    /// Copies the text to `value`. False for an absent slot, and `value` stays untouched.
    bool getAttribute(unsigned short id, std::string& value) const;

    /// Returns the text with its length; the NUL behind it doesn't count. A view without data stands for an absent slot.
    std::string_view getAttributeView(unsigned short id) const;

    /// Returns the text as a string, which is made at the first call and lives as long as the text does. For an absent slot
    /// that is an empty string, always the same one.
    const std::string& getAttributeStr(unsigned short id) const;

    /// Puts the escaped form of the text in `value`. False for an absent slot, or if memory ran out, and `value` stays
    /// untouched.
    bool getAttributeXmlEncoded(unsigned short id, std::string& value) const;

    /// Replaces every present text by its escaped form. A second call changes nothing, and the text forms stay the same.
    /// A text for which memory runs out stays as it was. Slots with nothing to escape don't change.
    void encodingAttributes();

    // Text forms. The text of an entry is its open tag, then for each present slot in ascending order a blank, the tag,
    // the value in escaped form between double quotes, and last "/>", or ">" if the entry has child documents or
    // entries. Slots at whose place the entry's type has no attribute are passed over.

    /// Returns what the text begins with; empty for VELLIX_DOC_NONE.
    virtual const char* getOpenTag() const;

    /// Returns what the text ends with: "/>", or ">" if there are child documents or entries.
    virtual const char* getCloseTag() const;

    /// Returns the bytes of the text, its terminator not counted; 0 for VELLIX_DOC_NONE, ULONG_MAX for more than that.
    /// Costs a sum, no escaping.
    unsigned long size() const;

    /// Appends the text to `out`. False for VELLIX_DOC_NONE, and nothing is appended.
    bool serialize(std::string& out) const;

    /// Writes the text and a terminator to `buffer`, which holds `room` + 1 bytes. False if the text has more than
    /// `room` bytes: the pieces that fit stand in `buffer`, terminated. False for VELLIX_DOC_NONE and for a null
    /// `buffer`, and nothing is written.
    bool serialize(char* buffer, unsigned long room) const;

    /// Returns the text; empty for VELLIX_DOC_NONE.
    std::string toString() const;

    // Parsing. The text may be one that this entry handed out: the tag is read as it stood when the call began. A parse reads
    // one tag, adds to what the entry holds and returns a VELLIX_ERROR value, which it doesn't record:
    // - VELLIX_SUCCESS: the tag ended, with ">" straight behind an attribute or with "/>".
    // - VELLIX_ERR_END_OF_BUFFER: the text ended before the tag or inside it.
    // - VELLIX_ERR_NO_MEMORY: a value has a bad reference, or memory to decode it or for the name ran out. If there is none
    //   for the slot std::bad_alloc leaves the call.
    // - VELLIX_ERR_NULL_ARGUMENT: the text is null.
    // - VELLIX_ERR_SYNTAX: the first token is no "<", or a token stands where it may not. A tag without attributes that
    //   ends in ">" counts here too, with name and type set.
    // Attributes read before a failure stay. The first word becomes the entry's name, unless it has one; an entry of
    // VELLIX_DOC_NONE takes its type from that word. A word that names no type is forgotten again, and the next word that
    // stands where a tag may is tried in its place. Tags that the type doesn't know drop out. Numbers are stored as the
    // text that was read.

    /// Reads one tag at the position of `text`, and leaves the position behind the token that decided the result.
    int parseAttrXMLString(XmlStr* text);

    /// Reads one tag from the beginning of `buffer`.
    int parseAttrXMLString(const char* buffer, unsigned long length);

    // Single attributes, taken out of the text of one tag without an entry. `id` is the position of the attribute in the
    // map of `type`; a position without an attribute, and a null text, give null. `flag` has no effect. Any thread may
    // call these.

    /// Returns the plain value of the first such attribute of the tag at the start of `buffer`, or null. The tag is read
    /// as a parse reads it. The caller releases the result with `free`. Null means: the tag doesn't hold the attribute,
    /// a token stands where it may not before it, its value has a bad reference, or memory ran out.
    static char* parseAttribute(VELLIX_DOC_TYPE type, unsigned short id, const char* buffer, unsigned long length,
                                bool flag);

    /// Returns a pointer into `buffer`, to the value behind the opening quote, or null. Finds only the form that
    /// `serialize` writes, by its bytes: letters in their case, no blanks around the equals sign, double quotes, and
    /// before the first ">". A tag that is the tail of a longer one matches there. The value stays escaped and isn't
    /// terminated; `buffer` is.
    static const char* parseAttributeFast_ptr(VELLIX_DOC_TYPE type, unsigned short id, const char* buffer, bool flag);

    /// As the pointer form, but returns a copy of the value up to the closing quote, still escaped, which the caller
    /// releases with `free`. Null also if there is no closing quote or memory ran out.
    static char* parseAttributeFast_str(VELLIX_DOC_TYPE type, unsigned short id, const char* buffer, bool flag);

    /// Returns the first place before the first ">" of `text` where `pattern` stands, or null. An empty pattern stands at
    /// the start.
    static const char* attr_strstr(const char* text, const char* pattern);

protected:
    /// Stores `value`, up to its NUL, in slot `id`, without any test of data types. A null `value` makes the slot absent
    /// and answers false. False also if the entry's type has no attribute at that place, or if the escaped form of the
    /// value would pass 2 GiB.
    bool addAttribute_s(unsigned short id, const char* value);

    /// The data type of the attribute with that id, -1 if there is none.
    VELLIX_DATA_TYPE getDefaultDataType(unsigned short id) const;

    /// The form of numbers of the attribute with that id, VELLIX_ENC_DECIMAL if there is none.
    VELLIX_NUMERIC_ENCODING getEncoding(unsigned short id) const;

    /// The map of the entry's own type and its number of rows, as the static forms give them.
    VellixMapTag* getXmlMapTag() const;
    unsigned long getXmlMapTagLen() const;

    /// True if there are neither child documents nor entries.
    bool isLeaf() const;

private:
    friend class VellixDoc;        // maintains the two counters
    friend class VellixReader;     // asks parses whether they met the end of a page
    friend class VellixWriter;     // writes entries into its own buffer
    friend class VellixTagParser;  // stores what it reads
    friend class vellix::WalkCore; // asks parses whether they met the end of what is known

    const VellixDocTypeRow& row() const;
    void makeNew(VELLIX_DOC_TYPE newType) noexcept;
    bool admitsText(unsigned short id);
    template <class Number> bool addNumber(unsigned short id, Number value, bool pad);
    template <class Number, class Value> bool getNumber(unsigned short id, Value& value);
    int parseTag(XmlStr& text, QuoteSearch* search, bool& metEnd);
    template <class Visit> void eachAttribute(Visit visit) const;
    const char* plainCloseTag() const;
    std::uint64_t textSize(const char* openTag, const char* closeTag) const;
    std::uint64_t textBound(const char* openTag) const;
    char* putText(char* out, const char* openTag) const;
    void putPieces(char* out, std::size_t room, const char* openTag) const;

    VellixStore* store; // the values and the name; never null
    int lastError = VELLIX_SUCCESS;
    VELLIX_DOC_TYPE type;
    unsigned long numChildDocs = 0;
    unsigned long numEntries = 0;
    bool entryClosed = false;
};

#endif
