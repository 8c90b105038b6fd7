// Gives a fuzz target the files that were kept for it, so that every build tests them.
//
//     fuzz_NAME_replay FILE_OR_DIRECTORY...
//
// Each file is given whole and in halves. Prints the name of each first, as a failed property ends the program.
#include <cstdio>
#include <exception>
#include <filesystem>
#include <string>
#include <vector>

#include "Fuzz.h"
#include "tests/TempDir.h"

namespace {

std::vector<std::filesystem::path> filesIn(const std::filesystem::path& place) {
    if (!std::filesystem::is_directory(place)) return {place};
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(place)) files.push_back(entry.path());
    return files;
}

void run(const std::string& bytes, std::size_t length) {
    const std::vector<std::uint8_t> copy(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(length));
    LLVMFuzzerTestOneInput(copy.data(), copy.size());
}

int replay(int count, char** places) {
    std::size_t files = 0;
    run("", 0);
    for (int i = 0; i < count; ++i) {
        for (const auto& file : filesIn(places[i])) {
            std::printf("%s\n", file.c_str());
            std::fflush(stdout);
            const std::string bytes = bytesOf(file);
            run(bytes, bytes.size());
            run(bytes, bytes.size() / 2);
            ++files;
        }
    }
    std::printf("%zu files\n", files);
    return files != 0 ? 0 : 1;
}

} // namespace

int main(int argc, char** argv) {
    try {
        return replay(argc - 1, argv + 1);
    } catch (const std::exception& problem) {
        std::fprintf(stderr, "%s\n", problem.what());
        return 1;
    }
}
