// SPDX-License-Identifier: Apache-2.0
// Catalogs directories into one file, each of them as an image of its own, and lists a file by image.
//
//     many_images CATALOG DIRECTORY...    writes the catalog, then lists it
//     many_images CATALOG                 lists it
//     many_images                         shows both with two small directories, which it makes
#include <cstdint>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "vellix/VellixAttributes.h"
#include "vellix/VellixPath.h"
#include "vellix/VellixWalk.h"
#include "vellix/VellixWriter.h"

namespace fs = std::filesystem;

namespace {

// [write]
bool addImage(VellixWriter& writer, const fs::path& directory) {
    VellixDoc image(VELLIX_DOC_DOC);
    VellixDoc files(VELLIX_DOC_FH);
    vellix::set(image, vellix::doc::ID, directory.u8string());
    writer.addDoc(image);
    image.addChildDoc(files);
    bool written = true;
    for (const fs::directory_entry& found : fs::recursive_directory_iterator(directory)) {
        std::error_code unknown; // a file may be gone by now; then its entry has no size
        VellixEntry file(VELLIX_DOC_FH);
        vellix::set(file, vellix::fh::NM, found.path().lexically_relative(directory).u8string());
        const std::uintmax_t size = found.is_regular_file(unknown) ? found.file_size(unknown) : 0;
        if (!unknown) vellix::set(file, vellix::fh::SZ, size);
        written = files.addEntry(file) && written;
    }
    files.close(); // children before parents
    image.close();
    return written;
}

bool writeCatalog(const fs::path& catalog, const std::vector<fs::path>& directories) {
    VellixWriter writer;
    bool written = writer.create(vellix::widePath(catalog).c_str());
    for (const fs::path& directory : directories) written = written && addImage(writer, directory);
    if (written) writer.markComplete();
    writer.close();
    return written;
}
// [write]

// [list]
bool listByImage(const fs::path& catalog) {
    vellix::Walk walk(catalog);
    for (const vellix::Document& image : walk.documents(VELLIX_DOC_DOC)) {
        std::printf("image %s\n", std::string(vellix::get(image.attributes(), vellix::doc::ID).value_or("")).c_str());
        for (const VellixEntry& file : image.entries(VELLIX_DOC_FH)) {
            const unsigned long long size = vellix::get(file, vellix::fh::SZ).value_or(0);
            std::printf("%8llu  %s\n", size, file.getAttributeStr(vellix::fh::NM.number).c_str());
        }
    }
    if (!walk) std::fprintf(stderr, "%s\n", walk.error().message().c_str());
    if (walk && !walk.isComplete()) std::fputs("the catalog was not finished\n", stderr);
    if (walk.unreadableTags() != 0) std::fputs("parts of the catalog can't be read\n", stderr);
    return walk && walk.isComplete() && walk.unreadableTags() == 0;
}
// [list]

// Two directories to show something with.
std::vector<fs::path> makeDirectories() {
    fs::create_directories("mail/inbox");
    fs::create_directories("photos");
    std::ofstream("mail/inbox/to do & done.txt") << "call home\n";
    std::ofstream("photos/sea.jpg") << "blue";
    return {"mail", "photos"};
}

} // namespace

int main(int argumentCount, char** arguments) {
    try {
        const fs::path catalog = argumentCount > 1 ? arguments[1] : "many_images.xml";
        std::vector<fs::path> directories;
        if (argumentCount == 1) directories = makeDirectories();
        for (int i = 2; i < argumentCount; ++i) directories.emplace_back(arguments[i]);
        if (!directories.empty() && !writeCatalog(catalog, directories)) {
            std::fputs("the catalog can't be written\n", stderr);
            return 1;
        }
        return listByImage(catalog) ? 0 : 1;
    } catch (const std::exception& problem) {
        std::fprintf(stderr, "many_images: %s\n", problem.what());
        return 1;
    }
}
