// SPDX-License-Identifier: Apache-2.0
// Gives a fuzz target the files that were kept for it, so that every build tests them.
//
//     fuzz_NAME_replay FILE_OR_DIRECTORY...
//
// Each file is given whole, in halves, and changed at random, the same way in every run. A failed property ends the program:
// the last name printed is that of the file, and fuzz_NAME_replay.input beside the program is what was given.
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "Fuzz.h"
#include "tests/TempDir.h"

namespace {

constexpr unsigned int kChanges = 20; // of each file

std::vector<std::filesystem::path> filesIn(const std::filesystem::path& place) {
    if (!std::filesystem::is_directory(place)) return {place};
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(place)) files.push_back(entry.path());
    return files;
}

void run(const std::string& program, const std::string& bytes) {
    writeFile(program + ".input", bytes);
    const std::vector<std::uint8_t> copy(bytes.begin(), bytes.end());
    LLVMFuzzerTestOneInput(copy.data(), copy.size());
}

// Other bytes, pieces of markup or some of its own bytes, in a few places.
std::string changed(std::string bytes, RandomText& random) {
    for (std::size_t left = 1 + random.below(6); left != 0; --left) {
        std::string piece = random.next(4, true);
        const std::size_t kind = random.below(4);
        if (kind == 0) piece = bytes.substr(random.below(bytes.size() + 1), 10);
        if (kind == 1) piece.assign(1, static_cast<char>(random.below(256)));
        const std::size_t at = random.below(bytes.size() + 1);
        const bool inserts = random.below(2) != 0;
        bytes.replace(at, inserts ? 0 : piece.size(), piece);
    }
    return bytes;
}

} // namespace

int main(int argc, char** argv) {
    std::size_t files = 0;
    run(argv[0], "");
    for (int i = 1; i < argc; ++i) {
        for (const auto& file : filesIn(argv[i])) {
            std::printf("%s\n", file.c_str());
            std::fflush(stdout);
            const std::string bytes = bytesOf(file);
            run(argv[0], bytes);
            run(argv[0], bytes.substr(0, bytes.size() / 2));
            RandomText random(kChanges);
            for (unsigned int change = 0; change < kChanges; ++change) run(argv[0], changed(bytes, random));
            ++files;
        }
    }
    std::printf("%zu files\n", files);
    return files != 0 ? 0 : 1;
}
