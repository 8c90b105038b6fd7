// SPDX-License-Identifier: Apache-2.0
// Counts the files of catalogs and sums their sizes by the suffix of their names, on as many machines as MPI gives.
//
//     mpirun -n 4 scan_mpi BYTES CATALOG...    in parts of so many bytes; 64000000 is a good choice
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <map>
#include <numeric>
#include <stdexcept>
#include <string>
#include <vector>

#include <mpi.h>

#include "vellix/VellixAttributes.h"
#include "vellix/VellixWalk.h"

namespace {

struct Sum {
    std::uint64_t files = 0;
    std::uint64_t bytes = 0;
};
using Sums = std::map<std::string, Sum>;

std::string suffixOf(const std::string& name) {
    const std::size_t dot = name.find_last_of("./");
    return dot != std::string::npos && name[dot] == '.' ? name.substr(dot) : "none";
}

// [parts]
void addPart(const vellix::Walk& whole, std::uint64_t begin, std::uint64_t end, Sums& sums) {
    vellix::Walk part = whole.part(begin, end, VELLIX_DOC_FH);
    for (const VellixEntry& file : part.entries(VELLIX_DOC_FH)) {
        Sum& sum = sums[suffixOf(file.getAttributeStr(vellix::fh::NM.number))];
        ++sum.files;
        sum.bytes += vellix::get(file, vellix::fh::SZ).value_or(0);
    }
    if (!part) throw std::runtime_error(part.error().message());
}

// Takes every part of every catalog whose turn it is.
Sums scan(int rank, int ranks, const std::vector<std::filesystem::path>& catalogs, std::uint64_t partLength) {
    Sums sums;
    int turn = 0;
    for (const std::filesystem::path& catalog : catalogs) {
        const vellix::Walk whole(catalog);
        if (!whole) throw std::runtime_error(catalog.u8string() + ": " + whole.error().message());
        for (std::uint64_t begin = 0; begin < whole.size(); begin += partLength) {
            if (turn == rank) addPart(whole, begin, begin + partLength, sums);
            turn = (turn + 1) % ranks;
        }
    }
    return sums;
}
// [parts]

// Sums as text: the suffix, a NUL, and two numbers.
std::string packed(const Sums& sums) {
    std::string text;
    for (const auto& [suffix, sum] : sums) {
        text += suffix + '\0' + std::to_string(sum.files) + ' ' + std::to_string(sum.bytes) + '\0';
    }
    return text;
}

void addPacked(const std::string& text, Sums& sums) {
    for (std::size_t at = 0; at < text.size();) {
        const std::string suffix = text.c_str() + at;
        at += suffix.size() + 1;
        const std::string numbers = text.c_str() + at;
        at += numbers.size() + 1;
        char* end = nullptr;
        sums[suffix].files += std::strtoull(numbers.c_str(), &end, 10);
        sums[suffix].bytes += std::strtoull(end, nullptr, 10);
    }
}

// [reduce]
// Brings the sums of all ranks together at rank 0.
Sums reduce(int rank, int ranks, const Sums& own) {
    const std::string text = packed(own);
    const int length = static_cast<int>(text.size());
    std::vector<int> lengths(static_cast<std::size_t>(ranks));
    MPI_Gather(&length, 1, MPI_INT, lengths.data(), 1, MPI_INT, 0, MPI_COMM_WORLD);
    std::vector<int> places(lengths.size());
    std::exclusive_scan(lengths.begin(), lengths.end(), places.begin(), 0);
    std::string all(rank == 0 ? static_cast<std::size_t>(places.back() + lengths.back()) : 0, '\0');
    MPI_Gatherv(text.data(), length, MPI_CHAR, all.data(), lengths.data(), places.data(), MPI_CHAR, 0, MPI_COMM_WORLD);
    Sums sums;
    addPacked(all, sums);
    return sums;
}
// [reduce]

void run(std::uint64_t partLength, const std::vector<std::filesystem::path>& catalogs) {
    int rank = 0;
    int ranks = 1;
    MPI_Comm_rank(MPI_COMM_WORLD, &rank);
    MPI_Comm_size(MPI_COMM_WORLD, &ranks);
    for (const auto& [suffix, sum] : reduce(rank, ranks, scan(rank, ranks, catalogs, partLength)))
        std::printf("%s %llu %llu\n", suffix.c_str(), static_cast<unsigned long long>(sum.files),
                    static_cast<unsigned long long>(sum.bytes));
}

} // namespace

int main(int argumentCount, char** arguments) {
    MPI_Init(&argumentCount, &arguments);
    const std::uint64_t partLength = argumentCount > 1 ? std::strtoull(arguments[1], nullptr, 10) : 0;
    if (partLength == 0) std::fputs("usage: scan_mpi BYTES CATALOG...\n", stderr);
    int status = partLength == 0 ? 2 : 0;
    try {
        if (status == 0) run(partLength, {arguments + 2, arguments + argumentCount});
    } catch (const std::exception& problem) {
        std::fprintf(stderr, "scan_mpi: %s\n", problem.what());
        MPI_Abort(MPI_COMM_WORLD, 1); // the other ranks would wait for this one
    }
    MPI_Finalize();
    return status;
}
