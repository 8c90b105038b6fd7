// SPDX-License-Identifier: Apache-2.0
#ifndef VELLIX_TESTS_TEMP_DIR_H
#define VELLIX_TESTS_TEMP_DIR_H

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <ios>
#include <random>
#include <stdexcept>
#include <string>
#include <system_error>

#include "vellix/VellixPath.h"

// A fresh directory of its own, removed with everything in it at the end of its life.
class TempDir {
public:
    TempDir() {
        std::random_device random;
        do {
            directory = std::filesystem::temp_directory_path() / ("vellix_test_" + std::to_string(random()));
        } while (!std::filesystem::create_directory(directory));
    }

    ~TempDir() {
        std::error_code ignored;
        std::filesystem::remove_all(directory, ignored);
    }

    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    /// The directory itself.
    std::string path() const { return directory.string(); }

    /// The path of `name` in the directory, as the narrow or the wide calls take it.
    std::string file(const std::string& name) const { return (directory / name).string(); }
    std::wstring wide(const std::string& name) const { return vellix::widePath(directory / name); }

private:
    std::filesystem::path directory;
};

/// Everything that the file at `path` holds. Throws, and so fails the test, if it can't be read.
inline std::string bytesOf(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    std::string bytes(file ? static_cast<std::size_t>(std::filesystem::file_size(path)) : 0, '\0');
    if (!file.read(bytes.data(), static_cast<std::streamsize>(bytes.size())))
        throw std::runtime_error("can't read " + path.string());
    return bytes;
}

/// Makes the file at `path` anew with `bytes` in it. Throws, and so fails the test, if it can't be written.
inline void writeFile(const std::filesystem::path& path, const std::string& bytes) {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file << bytes << std::flush;
    if (!file) throw std::runtime_error("can't write " + path.string());
}

#endif
