// SPDX-License-Identifier: Apache-2.0
// Any bytes can be decoded, and every text without a NUL comes back from its escaped form and from a tag that holds it.
#include "Fuzz.h"

namespace {

void checkDecoding(const Guarded& bytes) {
    const MallocText plain(xmlDecode(bytes.data(), bytes.size()));
    if (!plain) return;
    // Reading the last byte of it, too, shows that all of it is there.
    require(std::strlen(plain.get()) <= bytes.size(), "a plain form is no longer than the escaped one");
    const MallocText escaped(xmlEncode(plain.get(), nullptr, -1));
    const Guarded again{std::string(escaped.get())};
    require(shown(MallocText(xmlDecode(again.data(), again.size()))) == plain.get(), "a decoded text comes back");
}

std::string checkEncoding(const std::string& text) {
    const Guarded plain = Guarded::terminated(text);
    const MallocText allocated(xmlEncode(plain.data(), nullptr, -1));
    std::string escaped = allocated.get();
    require(xmlLen(plain.data()) == escaped.size(), "the length of an escaped form");

    Guarded room(escaped.size() + 1);
    require(xmlEncode(plain.data(), room.data(), -1) == room.data(), "an escaped form goes to its destination");
    require(room.data() == escaped, "an escaped form is the same in a buffer");
    std::string appended = "in front";
    xmlEncode(appended, plain.data(), static_cast<int>(escaped.size()));
    require(appended == "in front" + escaped, "an escaped form is appended");

    const Guarded form(escaped);
    require(shown(MallocText(xmlDecode(form.data(), form.size()))) == text, "a text comes back from its escaped form");
    return escaped;
}

void checkTooLittleRoom(const std::string& text, const std::string& escaped) {
    const Guarded plain = Guarded::terminated(text);
    for (std::size_t size = escaped.size(); size != 0; size /= 2) {
        Guarded room(size); // and the NUL takes one of them
        xmlEncode(plain.data(), room.data(), static_cast<int>(size - 1));
        const MallocText counted(xmlEncode(plain.data(), nullptr, static_cast<int>(size - 1)));
        for (const char* part : {static_cast<const char*>(room.data()), static_cast<const char*>(counted.get())})
            require(escaped.compare(0, std::strlen(part), part) == 0,
                    "a form that is cut is the beginning of the whole");
    }
}

void checkTag(const std::string& text, const std::string& escaped) {
    const Guarded plain = Guarded::terminated(text);
    VellixEntry written(VELLIX_DOC_FH);
    require(written.addAttribute(6, plain.data()), "a text is stored");
    const std::string tag = textOf(written);
    require(tag == "<ET NM=\"" + escaped + "\"/>", "a tag holds the escaped form");

    const Guarded bytes(tag);
    VellixEntry read(VELLIX_DOC_FH);
    require(read.parseAttrXMLString(bytes.data(), bytes.size()) == VELLIX_SUCCESS, "a written tag can be read");
    require(read == written && read.getAttributeStr(6) == text, "a text comes back from a tag");
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const Guarded bytes(data, size);
    checkDecoding(bytes);
    const std::string text = upToNul(std::string(bytes.data(), size));
    const std::string escaped = checkEncoding(text);
    checkTooLittleRoom(text, escaped);
    checkTag(text, escaped);
    return 0;
}
