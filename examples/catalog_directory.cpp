// SPDX-License-Identifier: Apache-2.0
// Catalogs a directory tree: writes one image command for everything below DIRECTORY into FILE, reads FILE back, and
// compares every attribute of every entry with what the walk saw.
//
//     catalog_directory DIRECTORY FILE
//
// Exit status: 0 if all came back equal, 1 if something did not, 2 if the work could not be done.

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <ctime>
#include <exception>
#include <filesystem>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include "vellix/CatImageCmdXmlFileHelper.h"
#include "vellix/VellixPath.h"

namespace fs = std::filesystem;

namespace {

// Attribute numbers of a command.
constexpr unsigned short kName = 6;      // NM, the last part of the path
constexpr unsigned short kPath = 7;      // PT, the directory that holds it
constexpr unsigned short kSize = 9;      // SZ
constexpr unsigned short kAccessed = 11; // AT, in seconds since 1970, as all times
constexpr unsigned short kChanged = 12;  // CT
constexpr unsigned short kModified = 13; // MT
constexpr unsigned short kInode = 17;    // IN
constexpr unsigned short kMode = 18;     // MD, kind and permissions
constexpr unsigned short kOwner = 19;    // UN

constexpr char kImageId[] = "catalog_directory";
constexpr unsigned long kPageSize = 65536;
constexpr unsigned long kRowsShown = 8;
constexpr unsigned long kDifferencesShown = 10;

// What is known of one entry. The inode number uses all 64 bits; its sign means nothing.
struct FileFacts {
    std::string name, path, owner;
    __int64 size = 0, accessed = 0, changed = 0, modified = 0, inode = 0, mode = 0;
};

template <class Value> struct Column {
    unsigned short id;
    Value FileFacts::*field;
};

// Times and mode stand in attributes of 32 bits without a sign. They go in and out as 64 bits with one, so that no value
// changes on the way, neither a time after 2038 nor one before 1970.
constexpr Column<std::string> kTexts[] = {
    {kName, &FileFacts::name}, {kPath, &FileFacts::path}, {kOwner, &FileFacts::owner}};
constexpr Column<__int64> kNumbers[] = {{kSize, &FileFacts::size},       {kAccessed, &FileFacts::accessed},
                                        {kChanged, &FileFacts::changed}, {kModified, &FileFacts::modified},
                                        {kInode, &FileFacts::inode},     {kMode, &FileFacts::mode}};
constexpr int kAttributes = static_cast<int>(std::size(kTexts) + std::size(kNumbers));

// Adds up the time spent between `start` and `stop`.
class Stopwatch {
public:
    void start() { begin = Clock::now(); }
    void stop() { total += Clock::now() - begin; }
    double seconds() const { return std::chrono::duration<double>(total).count(); }

private:
    using Clock = std::chrono::steady_clock;
    Clock::time_point begin;
    Clock::duration total{};
};

// A count of entries, shown only where a person looks on.
class Progress {
public:
    explicit Progress(const char* what) : doing(what), visible(isatty(STDERR_FILENO) == 1) {}
    ~Progress() { clear(); }
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void show(unsigned long entries) const {
        if (visible && entries % 4096 == 0) std::fprintf(stderr, "\r%s %lu entries", doing, entries);
    }

    void clear() const {
        if (visible) std::fputs("\r\033[K", stderr);
    }

private:
    const char* doing;
    bool visible;
};

// The facts of all entries in the order of the walk, in a nameless temporary file. The catalog is measured by them: they
// share no code with the library, cost no memory however large the tree is, and stay as they are if the tree changes.
class Notebook {
public:
    Notebook() : file(std::tmpfile()) { require(file != nullptr); }

    void write(const FileFacts& facts) {
        for (const auto& column : kTexts) {
            const std::string& text = facts.*column.field;
            put(text.size());
            require(std::fwrite(text.data(), 1, text.size(), file.get()) == text.size());
        }
        for (const auto& column : kNumbers) put(facts.*column.field);
    }

    void rewind() { require(std::fflush(file.get()) == 0 && std::fseek(file.get(), 0, SEEK_SET) == 0); }

    void read(FileFacts& facts) {
        for (const auto& column : kTexts) {
            std::string& text = facts.*column.field;
            std::size_t length = 0;
            get(length);
            text.resize(length);
            require(std::fread(text.data(), 1, length, file.get()) == length);
        }
        for (const auto& column : kNumbers) get(facts.*column.field);
    }

private:
    struct Close {
        void operator()(std::FILE* stream) const { std::fclose(stream); }
    };

    static void require(bool done) {
        if (!done) throw std::runtime_error("the temporary file can't be made, written or read");
    }

    template <class Value> void put(const Value& value) {
        require(std::fwrite(&value, sizeof value, 1, file.get()) == 1);
    }

    template <class Value> void get(Value& value) { require(std::fread(&value, sizeof value, 1, file.get()) == 1); }

    std::unique_ptr<std::FILE, Close> file;
};

struct Character {
    unsigned long code = 0;
    std::size_t length = 0; // in bytes, 0 for what is no UTF-8
};

// The character at `position`, in its only valid form.
Character characterAt(const std::string& text, std::size_t position) {
    constexpr unsigned long kLeast[] = {0, 0, 0x80, 0x800, 0x10000}; // what needs that many bytes
    const auto byteAt = [&](std::size_t index) { return static_cast<unsigned char>(text[index]); };
    const unsigned char lead = byteAt(position);
    if (lead < 0x80) return {lead, 1};
    const std::size_t length = lead < 0xC0 || lead > 0xF4 ? 0 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    if (length == 0 || length > text.size() - position) return {};
    unsigned long code = lead & (0xFFU >> (length + 1));
    for (std::size_t i = position + 1; i < position + length; ++i) {
        if ((byteAt(i) & 0xC0U) != 0x80) return {};
        code = code << 6 | (byteAt(i) & 0x3FU);
    }
    const bool surrogate = code >= 0xD800 && code <= 0xDFFF;
    return code < kLeast[length] || code > 0x10FFFF || surrogate ? Character{} : Character{code, length};
}

// What acts on the terminal or on the text around it instead of being seen: control characters, ends of lines and
// paragraphs, marks that change the direction of writing. The backslash too, since it begins an escape here.
bool isHidden(unsigned long code) {
    constexpr std::pair<unsigned long, unsigned long> kRanges[] = {{0x00, 0x1F},     {'\\', '\\'},     {0x7F, 0x9F},
                                                                   {0x061C, 0x061C}, {0x200E, 0x200F}, {0x2028, 0x202E},
                                                                   {0x2066, 0x2069}};
    return std::any_of(std::begin(kRanges), std::end(kRanges),
                       [&](const auto& range) { return code >= range.first && code <= range.second; });
}

// The text as a terminal may have it: each byte of a hidden character, and each that is no UTF-8, as \xNN.
std::string shown(const std::string& text) {
    std::string out;
    for (std::size_t position = 0; position < text.size();) {
        const Character character = characterAt(text, position);
        const std::size_t end = position + std::max<std::size_t>(character.length, 1);
        if (character.length != 0 && !isHidden(character.code)) {
            out.append(text, position, character.length);
            position = end;
        }
        for (; position < end; ++position) {
            std::array<char, 8> escape{};
            std::snprintf(escape.data(), escape.size(), "\\x%02X", static_cast<unsigned char>(text[position]));
            out += escape.data();
        }
    }
    return out;
}

std::string shown(__int64 number) { return std::to_string(number); }

// The name of a user, or the number of one without a name. Asking for it is slow, and a tree has few owners.
const std::string& ownerName(uid_t user) {
    static std::map<uid_t, std::string> known;
    const auto [place, isNew] = known.try_emplace(user);
    if (isNew) {
        const passwd* const account = getpwuid(user);
        place->second = account != nullptr ? std::string(account->pw_name) : std::to_string(user);
    }
    return place->second;
}

// Looks at one entry, at a link itself and not at its target.
std::error_code look(const fs::path& path, FileFacts& facts) {
    struct stat status = {};
    if (lstat(path.c_str(), &status) != 0) return {errno, std::generic_category()};
    facts.name = path.filename().native();
    facts.path = path.parent_path().native();
    facts.owner = ownerName(status.st_uid);
    facts.size = status.st_size;
    facts.accessed = status.st_atime;
    facts.changed = status.st_ctime;
    facts.modified = status.st_mtime;
    facts.inode = static_cast<__int64>(status.st_ino);
    facts.mode = status.st_mode;
    return {};
}

// Why something is not in the catalog.
class Misses {
public:
    void add(std::error_code error) {
        const auto kind = std::find_if(std::begin(kKinds), std::end(kKinds) - 1,
                                       [&](const Kind& each) { return error == each.first || error == each.second; });
        ++counts[static_cast<std::size_t>(kind - std::begin(kKinds))];
    }

    void print() const {
        for (std::size_t i = 0; i < counts.size(); ++i)
            if (counts[i] > 0) std::printf("\nnot in the catalog: %lu %s", counts[i], kKinds[i].meaning);
        if (counts != Counts{}) std::puts("");
    }

private:
    struct Kind {
        std::errc first, second;
        const char* meaning;
    };
    static constexpr Kind kKinds[] = {
        {std::errc::no_such_file_or_directory, std::errc::not_a_directory, "that vanished while the tree was walked"},
        {std::errc::permission_denied, std::errc::operation_not_permitted, "that may not be read"},
        {std::errc::filename_too_long, std::errc::filename_too_long, "whose paths are too long for the system"},
        {std::errc{}, std::errc{}, "that could not be read"}}; // all others

    using Counts = std::array<unsigned long, std::size(kKinds)>;
    Counts counts{};
};

// Stores a number. One outside the range of its attribute, such as a time before 1970, is refused there; it goes in by the
// attribute's tag, which takes any text, and the 64-bit getter reads it back all the same. True if it took that road.
bool storedAsText(VellixEntry& command, unsigned short id, __int64 value) {
    if (command.addAttribute(id, value, false)) return false;
    const auto tagLength = static_cast<unsigned int>(command.getAttributeTagLen(id));
    command.addAttribute(command.getAttributeTag(id), tagLength, std::to_string(value).c_str());
    return true;
}

// The first half of the work: walks the tree and writes the file.
class Cataloger {
public:
    Cataloger(const fs::path& path, Notebook& pages) : notebook(pages) {
        if (!out.create(vellix::widePath(path).c_str())) throw std::runtime_error("can't write " + path.native());
        out.setImageId(kImageId);
    }

    // Keeps the directories still to be walked in a list: the depth of a tree costs neither stack nor open directories.
    void walk(const fs::path& top) {
        Stopwatch all;
        all.start();
        std::vector<fs::path> waiting{top};
        while (!waiting.empty()) {
            const fs::path directory = std::move(waiting.back());
            waiting.pop_back();
            std::error_code error;
            for (fs::directory_iterator place(directory, error), end; !error && place != end; place.increment(error))
                if (add(place->path())) waiting.push_back(place->path());
            if (error && entries == 0 && waiting.empty())
                throw std::runtime_error("can't list " + directory.native() + ": " + error.message());
            if (error) misses.add(error);
        }
        library.start();
        out.close();
        library.stop();
        all.stop();
        walkSeconds = all.seconds() - library.seconds();
        progress.clear();
    }

    unsigned long entries = 0;
    Misses misses;                  // entries that can't be looked at, and directories that can't be listed
    unsigned long outsideRange = 0; // numbers that their attributes don't admit
    double walkSeconds = 0;         // without the library's part
    Stopwatch library;

private:
    // Writes the command of one entry. True for a directory.
    bool add(const fs::path& path) {
        if (const std::error_code error = look(path, facts)) {
            misses.add(error);
            return false;
        }
        notebook.write(facts);
        library.start();
        for (const auto& column : kTexts) command.addAttribute(column.id, facts.*column.field);
        for (const auto& column : kNumbers)
            outsideRange += storedAsText(command, column.id, facts.*column.field) ? 1 : 0;
        const bool written = out.addImageCmd(command);
        library.stop();
        if (!written) throw std::runtime_error("can't write all of the file");
        progress.show(++entries);
        return S_ISDIR(static_cast<mode_t>(facts.mode));
    }

    Notebook& notebook;
    CatImageCmdXmlFileHelper out;
    VellixEntry command{VELLIX_DOC_FH};
    FileFacts facts;
    Progress progress{"cataloged"};
};

std::string permissions(__int64 mode) {
    constexpr std::pair<__int64, char> kKinds[] = {{S_IFDIR, 'd'}, {S_IFLNK, 'l'}, {S_IFCHR, 'c'},
                                                   {S_IFBLK, 'b'}, {S_IFIFO, 'p'}, {S_IFSOCK, 's'}};
    std::string text = "-rwxrwxrwx";
    for (const auto& [kind, letter] : kKinds)
        if ((mode & S_IFMT) == kind) text[0] = letter;
    for (unsigned int bit = 0; bit < 9; ++bit)
        if ((mode >> bit & 1) == 0) text[9 - bit] = '-';
    return text;
}

std::string utc(__int64 seconds) {
    const auto time = static_cast<std::time_t>(seconds);
    std::tm parts = {};
    std::array<char, 64> text{};
    if (gmtime_r(&time, &parts) == nullptr || std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M", &parts) == 0)
        return "?";
    return text.data();
}

// The second half: reads the file back and compares.
class Checker {
public:
    explicit Checker(Notebook& pages) : notebook(pages) {}

    void check(const fs::path& path, unsigned long entries) {
        library.start();
        const bool loaded = in.load(vellix::widePath(path).c_str());
        library.stop();
        if (loaded != (entries > 0)) // a file without commands can't be loaded
            differs("the file", "readable", loaded ? "yes" : "no");
        if (loaded && std::string(kImageId) != (in.getImageId() != nullptr ? in.getImageId() : ""))
            differs("the file", "image id", kImageId);
        for (unsigned long entry = 0; loaded && entry < entries; ++entry) {
            notebook.read(expected);
            if (!next()) {
                differs("the file", "entries", std::to_string(entry));
                return;
            }
            compare();
            if (entry < kRowsShown) printRow(entry == 0);
            progress.show(entry + 1);
        }
        if (next()) differs("the file", "entries", "more than were written");
        progress.clear();
    }

    unsigned long differences = 0;
    unsigned long compared = 0;
    Stopwatch library;

private:
    // Takes the next command out of the file, and its values out of the command.
    bool next() {
        library.start();
        const bool more = in.getNextImageCmd(command);
        missing = 0;
        for (const auto& column : kTexts)
            missing |= command.getAttribute(column.id, actual.*column.field) ? 0 : 1U << column.id;
        for (const auto& column : kNumbers)
            missing |= command.getAttribute(column.id, actual.*column.field) ? 0 : 1U << column.id;
        library.stop();
        return more;
    }

    void compare() {
        if (command.getNumberOfAttributes() != kAttributes)
            differs(expected.name, "attributes", std::to_string(command.getNumberOfAttributes()));
        for (const auto& column : kTexts) compareValue(column);
        for (const auto& column : kNumbers) compareValue(column);
    }

    template <class Value> void compareValue(const Column<Value>& column) {
        ++compared;
        const bool present = (missing >> column.id & 1U) == 0;
        const Value& value = actual.*column.field;
        if (!present || value != expected.*column.field)
            differs(expected.path + '/' + expected.name, command.getAttributeTag(column.id),
                    (present ? shown(value) : "absent") + " instead of " + shown(expected.*column.field));
    }

    void differs(const std::string& where, const char* what, const std::string& found) {
        if (++differences > kDifferencesShown) return;
        progress.clear();
        std::printf("DIFFERENT: %s: %s: %s\n", shown(where).c_str(), what, found.c_str());
    }

    void printRow(bool first) const {
        if (first) std::printf("%-10s  %-10s %13s  %-16s  %s\n", "mode", "owner", "size", "modified (UTC)", "path");
        std::printf("%s  %-10s %13lld  %-16s  %s\n", permissions(actual.mode).c_str(), shown(actual.owner).c_str(),
                    actual.size, utc(actual.modified).c_str(),
                    shown((fs::path(actual.path) / actual.name).native()).c_str());
    }

    Notebook& notebook;
    CatImageCmdXmlFileHelper in;
    VellixEntry command{VELLIX_DOC_FH};
    FileFacts expected, actual;
    unsigned int missing = 0; // a bit for each attribute that the command hasn't got
    Progress progress{"read back"};
};

void printNotes(const Cataloger& cataloger) {
    if (cataloger.entries > kRowsShown) std::printf("... and %lu more\n", cataloger.entries - kRowsShown);
    cataloger.misses.print();
    if (cataloger.outsideRange > 0)
        std::printf("\nstored as text: %lu numbers outside the range of their attributes\n", cataloger.outsideRange);
}

bool catalogAndCheck(const fs::path& directory, const fs::path& file) {
    Notebook notebook;
    Cataloger cataloger(file, notebook);
    cataloger.walk(directory);
    notebook.rewind();

    std::printf("catalog of %s\n\n", shown(directory.native()).c_str());
    Checker checker(notebook);
    checker.check(file, cataloger.entries);
    printNotes(cataloger);

    const auto bytes = static_cast<unsigned __int64>(fs::file_size(file));
    std::printf("\nentries     %lu\n", cataloger.entries);
    std::printf("bytes       %llu\n", bytes);
    std::printf("pages       %llu of 64 KB\n", (bytes + kPageSize - 1) / kPageSize);
    std::printf("written in  %.3f s (walking the tree took %.3f s more)\n", cataloger.library.seconds(),
                cataloger.walkSeconds);
    std::printf("read in     %.3f s\n", checker.library.seconds());
    if (checker.differences == 0)
        std::printf("result      all came back equal: %lu attributes compared\n", checker.compared);
    else
        std::printf("result      NOT EQUAL: %lu differences\n", checker.differences);
    return checker.differences == 0;
}

} // namespace

int main(int argumentCount, char** arguments) {
    if (argumentCount != 3) {
        std::fputs("usage: catalog_directory DIRECTORY FILE\n", stderr);
        return 2;
    }
    try {
        return catalogAndCheck(arguments[1], arguments[2]) ? 0 : 1;
    } catch (const std::exception& problem) {
        std::fprintf(stderr, "catalog_directory: %s\n", shown(problem.what()).c_str());
    } catch (VELLIX_ERROR code) {
        std::fprintf(stderr, "catalog_directory: error %d\n", static_cast<int>(code));
    }
    return 2;
}
