// SPDX-License-Identifier: Apache-2.0
// Runs the drivers that were built next to it, each as a process of its own and in turn for several rounds, checks that
// all of them saw the same entries, and prints one table and what the library has to reach.
//
//     bench_run DIRECTORY ENTRIES ROUNDS [--full] [--plot PLACE]
//
// The files go to DIRECTORY, which must have room for the largest of them twice. With --plot, what pictures are drawn from
// goes to PLACE: cost.dat and peak.dat. Exit status: 0 if everything agreed, 1 if
// not, 2 for wrong arguments.

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "Processes.h"

namespace fs = std::filesystem;
using namespace bench;

namespace {

enum class Kind { read, limit, write, writePaged, held };

struct Driver {
    const char* label;
    const char* program; // without the "bench_" in front
    const char* job;
    Kind kind;
    bool full;
    bool always; // with `full`: also without --full on the command line
    unsigned long threads = 1;
};

constexpr Driver kVellixRead = {"read, vellix", "vellix", "read", Kind::read, false, true};
constexpr Driver kVellixWrite = {"write, vellix", "vellix", "write", Kind::writePaged, false, true};

constexpr Driver kDrivers[] = {
    kVellixRead,
    {"read, vellix, by a walk", "vellix", "walk", Kind::read, false, true},
    {"read, by hand", "hand", "read", Kind::read, false, true},
    {"read, pugixml in place", "pugixml", "read", Kind::read, false, true},
    {"read, expat", "expat", "read", Kind::read, false, true},
    {"read, xmlTextReader", "libxml2", "read", Kind::read, false, true},
    {"read --full, vellix", "vellix", "read", Kind::read, true, true},
    {"read --full, by hand", "hand", "read", Kind::read, true, true},
    {"read --full, pugixml in place", "pugixml", "read", Kind::read, true, true},
    {"read --full, expat", "expat", "read", Kind::read, true, false},
    {"read --full, xmlTextReader", "libxml2", "read", Kind::read, true, false},
    {"limit, 64 KB views touched", "limits", "read", Kind::limit, false, true},
    kVellixWrite,
    {"write, by hand", "hand", "write", Kind::writePaged, false, true},
    {"write, fprintf, fflush each", "stdio", "write-flush", Kind::write, false, true},
    {"write, fprintf", "stdio", "write", Kind::write, false, true},
    {"write, fprintf of a known form, fflush", "stdio", "write-known-flush", Kind::write, false, true},
    {"write, xmlTextWriter, flush each", "libxml2", "write-flush", Kind::write, false, true},
    {"write, xmlTextWriter", "libxml2", "write", Kind::write, false, true},
    {"limit, one write per record", "limits", "write", Kind::writePaged, false, true},
};

constexpr Driver kHeld[] = {
    {"build from entries", "held", "build", Kind::held, false, true},
    {"copy", "held", "copy", Kind::held, false, true},
    {"load from a text", "held", "load", Kind::held, false, true},
};

constexpr Driver kAtOnce[] = {
    {"1 reader", "vellix", "read-1", Kind::read, false, true, 1},
    {"2 readers", "vellix", "read-2", Kind::read, false, true, 2},
    {"4 readers", "vellix", "read-4", Kind::read, false, true, 4},
};

constexpr unsigned long kFewEntries = 10000;
constexpr unsigned long kManyEntries = 1000000;
constexpr unsigned long kPlottedEntries[] = {kFewEntries, 30000, 100000, 300000, kManyEntries};

// What a driver told in its line.
struct Figures {
    unsigned long entries = 0;
    std::string checksum, shortSum, fullSum;
    double cpu = 0;  // nanoseconds
    double wall = 0; // nanoseconds
    double waits = 0;
    double bytes = 0;
    double peak = 0;        // kilobytes
    double allocations = 0; // per entry
};

// A file of so many entries, and what every reader has to find in it.
struct Sample {
    unsigned long entries;
    fs::path file;
    std::string shortSum, fullSum;
};

struct Row {
    double cpuPerEntry = 0; // nanoseconds
    double speed = 0;       // MB/s
    double peak = 0;        // MB
    double allocations = 0;
    std::optional<double> systemCalls;
};

bool isBuilt(const Driver& driver) { return fs::exists(driverPath(driver.program)); }

Command commandOf(const char* program, const char* job, const fs::path& file, unsigned long entries, bool full) {
    Command command = {driverPath(program), job, file, std::to_string(entries)};
    if (full) command.emplace_back("--full");
    return command;
}

Figures parsed(const std::string& line) {
    std::map<std::string, std::string> words;
    for (std::size_t at = 0; at < line.size();) {
        const std::size_t equals = line.find('=', at);
        const std::size_t end = std::min(line.find_first_of(" \n", at), line.size());
        if (equals < end) words[line.substr(at, equals - at)] = line.substr(equals + 1, end - equals - 1);
        at = end + 1;
    }
    const auto number = [&](const char* name) { return std::strtod(words[name].c_str(), nullptr); };
    Figures figures;
    figures.entries = std::strtoul(words["entries"].c_str(), nullptr, 10);
    figures.checksum = words["checksum"];
    figures.shortSum = words["short"];
    figures.fullSum = words["full"];
    figures.cpu = number("cpu_ns");
    figures.wall = number("wall_ns");
    figures.waits = number("waits");
    figures.bytes = number("bytes");
    figures.peak = number("peak_kb");
    figures.allocations = number("allocations");
    return figures;
}

// --- Checks ---

void expect(bool holds, const std::string& who, const char* what) {
    if (!holds) throw std::runtime_error(who + ": " + what);
}

bool sameBytes(const fs::path& left, const fs::path& right) {
    std::ifstream first(left, std::ios::binary);
    std::ifstream second(right, std::ios::binary);
    std::vector<char> one(1U << 20);
    std::vector<char> other(one.size());
    do {
        first.read(one.data(), static_cast<std::streamsize>(one.size()));
        second.read(other.data(), static_cast<std::streamsize>(other.size()));
        const auto length = static_cast<std::size_t>(first.gcount());
        if (first.gcount() != second.gcount() || std::memcmp(one.data(), other.data(), length) != 0) return false;
    } while (first && second);
    return first.eof() && second.eof();
}

void checkContent(const char* reader, const std::string& writer, const Sample& sample, const fs::path& file) {
    const Figures found = parsed(outputOf(commandOf(reader, "read", file, sample.entries, true)));
    expect(found.entries == sample.entries, writer + " as read by " + reader, "the number of entries differs");
    expect(found.checksum == sample.fullSum, writer + " as read by " + reader, "the checksum differs");
}

// --- Measuring ---

double medianOf(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    const std::size_t middle = values.size() / 2;
    return values.size() % 2 != 0 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

class Bench {
public:
    Bench(fs::path directory, unsigned long roundCount, bool withFull)
        : scratch(std::move(directory)), rounds(roundCount), full(withFull) {}

    Sample make(unsigned long entries) const {
        Sample sample = {entries, scratch / ("catalog-" + std::to_string(entries) + ".xml"), "", ""};
        const Figures figures = parsed(outputOf(commandOf("vellix", "make", sample.file, entries, false)));
        sample.shortSum = figures.shortSum;
        sample.fullSum = figures.fullSum;
        return sample;
    }

    bool isWanted(const Driver& driver) const { return isBuilt(driver) && (driver.always || full); }

    // Runs a driver once and checks what it did. Files written are checked by a second parser too in the first round.
    void run(const Driver& driver, const Sample& sample, bool firstRound) {
        const fs::path file = fileOf(driver, sample);
        const Figures figures =
            parsed(outputOf(commandOf(driver.program, driver.job, file, sample.entries, driver.full)));
        expect(figures.entries == sample.entries * driver.threads, driver.label, "the number of entries differs");
        if (driver.kind == Kind::held) {
            if (heldSum.empty()) heldSum = figures.checksum;
            expect(figures.checksum == heldSum, driver.label, "the text differs");
        } else if (driver.kind == Kind::read) {
            expect(figures.checksum == (driver.full ? sample.fullSum : sample.shortSum), driver.label,
                   "the checksum differs");
        } else if (driver.kind != Kind::limit) {
            checkWritten(driver, sample, file, firstRound);
        }
        results[key(driver, sample)].push_back(figures);
    }

    template <class Drivers> void measure(const std::vector<Sample>& samples, const Drivers& drivers) {
        for (unsigned long round = 0; round < rounds; ++round) {
            for (const Sample& sample : samples) {
                for (const Driver& driver : drivers) run(driver, sample, round == 0);
            }
        }
    }

    double median(const Driver& driver, const Sample& sample, double Figures::*field) const {
        std::vector<double> values;
        for (const Figures& figures : results.at(key(driver, sample))) values.push_back(figures.*field);
        return medianOf(std::move(values));
    }

    Row row(const Driver& driver, const Sample& sample) const {
        const double cpu = median(driver, sample, &Figures::cpu);
        Row row;
        row.cpuPerEntry = cpu / static_cast<double>(sample.entries * driver.threads);
        row.speed = median(driver, sample, &Figures::bytes) * 1000 / cpu;
        row.peak = median(driver, sample, &Figures::peak) / 1024;
        row.allocations = median(driver, sample, &Figures::allocations);
        return row;
    }

    // One driver's figure in parts of another's, the median of all rounds: what slows a machine down for a while slows
    // both. Nothing if the other was not there.
    std::optional<double> ratio(const char* mine, const char* theirs, const Sample& sample,
                                double Figures::*field = &Figures::cpu) const {
        const auto other = results.find(key(theirs, sample));
        if (other == results.end()) return std::nullopt;
        const std::vector<Figures>& own = results.at(key(mine, sample));
        std::vector<double> ratios;
        for (std::size_t round = 0; round < own.size(); ++round)
            ratios.push_back(own[round].*field / other->second[round].*field);
        return medianOf(std::move(ratios));
    }

    std::optional<double> systemCallsPerEntry(const Driver& driver, const Sample& sample) const {
        const fs::path file = fileOf(driver, sample);
        const auto calls = systemCallsOf(commandOf(driver.program, driver.job, file, sample.entries, driver.full));
        if (!calls) return std::nullopt;
        return *calls / static_cast<double>(sample.entries);
    }

private:
    static std::string key(const char* label, const Sample& sample) {
        return label + ('/' + std::to_string(sample.entries));
    }
    static std::string key(const Driver& driver, const Sample& sample) { return key(driver.label, sample); }

    fs::path fileOf(const Driver& driver, const Sample& sample) const {
        const bool writes = driver.kind == Kind::write || driver.kind == Kind::writePaged;
        return writes ? scratch / "written.xml" : sample.file;
    }

    static void checkWritten(const Driver& driver, const Sample& sample, const fs::path& file, bool firstRound) {
        if (driver.kind == Kind::writePaged) expect(sameBytes(file, sample.file), driver.label, "the file differs");
        if (driver.kind != Kind::writePaged || firstRound) checkContent("vellix", driver.label, sample, file);
        if (firstRound && fs::exists(driverPath("expat"))) checkContent("expat", driver.label, sample, file);
    }

    fs::path scratch;
    unsigned long rounds;
    bool full;
    std::map<std::string, std::vector<Figures>> results;
    std::string heldSum; // of the text of a held document
};

// --- Printing ---

void printHeader() {
    std::printf("%-34s %12s %8s %10s %10s %10s\n", "driver", "CPU ns/entry", "MB/s", "peak MB", "allocs", "sys calls");
}

void printRow(const std::string& label, const Row& row) {
    std::printf("%-34s %12.0f %8.0f %10.2f %10.3f ", label.c_str(), row.cpuPerEntry, row.speed, row.peak,
                row.allocations);
    if (row.systemCalls) {
        std::printf("%10.3f\n", *row.systemCalls);
    } else {
        std::printf("%10s\n", "-");
    }
}

struct Target {
    const char* name = nullptr;
    std::optional<double> value;
    double must = 0;
    double aim = 0;
    bool below = false; // it has to stay below `must`, not only at it
};

void printTarget(const Target& target) {
    std::printf("%-44s ", target.name);
    if (!target.value) {
        std::printf("%8s\n", "not measured");
        return;
    }
    const double value = std::round(*target.value * 1000) / 1000; // what is printed decides
    const bool reached = target.below ? value < target.must : value <= target.must;
    std::printf("%8.3f %10.2f %8.2f   %s%s\n", value, target.must, target.aim, reached ? "ok" : "NO",
                reached && value <= target.aim ? ", aim reached" : "");
}

std::vector<Driver> wantedDrivers(const Bench& bench) {
    std::vector<Driver> wanted;
    std::set<std::string> missing;
    for (const Driver& driver : kDrivers) {
        if (bench.isWanted(driver)) wanted.push_back(driver);
        if (!isBuilt(driver) && missing.insert(driver.program).second)
            std::printf("%s is skipped: its package was missing when the drivers were built\n", driver.program);
    }
    return wanted;
}

using Rows = std::map<std::string, Row>; // by the label of their driver

Rows compareDrivers(Bench& bench, const Sample& sample) {
    const std::vector<Driver> wanted = wantedDrivers(bench);
    bench.measure({sample}, wanted);
    Rows rows;
    printHeader();
    for (const Driver& driver : wanted) {
        Row row = bench.row(driver, sample);
        row.systemCalls = bench.systemCallsPerEntry(driver, sample);
        printRow(driver.label, row);
        rows[driver.label] = row;
    }
    return rows;
}

// What becomes of our own two jobs between few entries and many.
struct Growth {
    double peak = 0; // MB, of all four
    double read = 0; // of CPU time per entry, 0.1 for a tenth more
    double write = 0;
};

Growth measureGrowth(Bench& bench) {
    const Sample few = bench.make(kFewEntries);
    const Sample many = bench.make(kManyEntries);
    bench.measure({few, many}, std::vector<Driver>{kVellixRead, kVellixWrite});
    Growth growth;
    const auto grown = [&](const Driver& driver) {
        const Row small = bench.row(driver, few);
        const Row large = bench.row(driver, many);
        printRow(driver.label + std::string(", 10,000 entries"), small);
        printRow(driver.label + std::string(", 1,000,000 entries"), large);
        growth.peak = std::max({growth.peak, small.peak, large.peak});
        return large.cpuPerEntry / small.cpuPerEntry - 1;
    };
    growth.read = grown(kVellixRead);
    growth.write = grown(kVellixWrite);
    return growth;
}

void measureHeld(Bench& bench, const Sample& sample) {
    bench.measure({sample}, kHeld);
    std::printf("\n%-34s %12s %12s %10s\n", "held document", "CPU ns/entry", "bytes/entry", "allocs");
    for (const Driver& driver : kHeld) {
        const Row row = bench.row(driver, sample);
        const double bytes = row.peak * 1024 * 1024 / static_cast<double>(sample.entries);
        std::printf("%-34s %12.0f %12.0f %10.3f\n", driver.label, row.cpuPerEntry, bytes, row.allocations);
    }
}

// Each thread reads the whole file, so so many of them read so many times as much.
void measureAtOnce(Bench& bench, const Sample& sample) {
    bench.measure({sample}, kAtOnce);
    std::printf("\n%-34s %12s %12s %10s\n", "read, vellix, at once", "CPU ns/entry", "times one", "waits");
    for (const Driver& driver : kAtOnce) {
        const auto longer = bench.ratio(driver.label, kAtOnce[0].label, sample, &Figures::wall);
        std::printf("%-34s %12.0f %12.2f %10.0f\n", driver.label, bench.row(driver, sample).cpuPerEntry,
                    static_cast<double>(driver.threads) / *longer, bench.median(driver, sample, &Figures::waits));
    }
}

void printTargets(const Bench& bench, const Sample& sample, Rows rows, const Growth& growth) {
    const auto ratio = [&](const char* mine, const char* theirs) { return bench.ratio(mine, theirs, sample); };
    const Row read = rows[kVellixRead.label];
    const Row write = rows[kVellixWrite.label];
    const char* const fullRead = "read --full, vellix";
    const Target targets[] = {
        {"read against pugixml in place", ratio(kVellixRead.label, "read, pugixml in place"), 0.45, 0.36},
        {"read --full against pugixml in place", ratio(fullRead, "read --full, pugixml in place"), 0.55, 0.45},
        {"read against expat", ratio(kVellixRead.label, "read, expat"), 0.16, 0.13},
        {"read against the same by hand", ratio(kVellixRead.label, "read, by hand"), 1.35, 1.1},
        {"write against the same by hand", ratio(kVellixWrite.label, "write, by hand"), 1.2, 1.08},
        {"write against one write per ready record", ratio(kVellixWrite.label, "limit, one write per record"), 2, 1.8},
        {"write against fprintf with fflush each", ratio(kVellixWrite.label, "write, fprintf, fflush each"), 0.55, 0.5},
        {"allocations per entry", std::max(read.allocations, write.allocations), 0, 0},
        {"peak MB, 10,000 to 1,000,000 entries", std::max({read.peak, write.peak, growth.peak}), 0.5, 0.3},
        {"growth of CPU per entry in between, read", growth.read, 0.1, 0, true},
        {"growth of CPU per entry in between, write", growth.write, 0.1, 0, true},
    };
    std::printf("\n%-44s %8s %10s %8s\n", "median ratio of the rounds", "measured", "must reach", "aim");
    for (const Target& target : targets) printTarget(target);
}

// --- Data of pictures ---

// A line for each bar: its place from above, its name, its length and its colour. Reading and writing stand apart.
void plotCost(const fs::path& file, const Rows& rows) {
    std::ofstream out(file);
    int place = 0;
    for (const Driver& driver : kDrivers) {
        const auto row = rows.find(driver.label);
        if (row == rows.end()) continue;
        if (driver.job == kVellixWrite.job && driver.program == kVellixWrite.program) ++place;
        const std::string program = driver.program;
        const int colour = program == "vellix" ? 1 : program == "hand" ? 2 : program == "limits" ? 3 : 4;
        out << place++ << '\t' << driver.label << '\t' << std::lround(row->second.cpuPerEntry) << '\t' << colour
            << '\n';
    }
    expect(out.flush().good(), file, "can't be written");
}

// A line for each number of entries, a column for each reader.
void plotPeak(const fs::path& file, const fs::path& scratch) {
    Bench bench(scratch, 3, false);
    std::vector<Driver> readers;
    for (const Driver& driver : kDrivers) {
        if (driver.kind == Kind::read && !driver.full && isBuilt(driver)) readers.push_back(driver);
    }
    std::ofstream out(file);
    out << "entries";
    for (const Driver& driver : readers) out << '\t' << driver.label;
    for (const unsigned long entries : kPlottedEntries) {
        const Sample sample = bench.make(entries);
        bench.measure({sample}, readers);
        out << '\n' << entries;
        for (const Driver& driver : readers) out << '\t' << bench.row(driver, sample).peak;
        fs::remove(sample.file);
    }
    out << '\n';
    expect(out.flush().good(), file, "can't be written");
}

struct Options {
    fs::path directory;
    unsigned long entries = 0;
    unsigned long rounds = 0;
    bool full = false;
    fs::path plot; // empty for none
};

void benchAll(const Options& options) {
    Bench bench(options.directory, options.rounds, options.full);
    const Sample sample = bench.make(options.entries);
    const double megabytes = static_cast<double>(fs::file_size(sample.file)) / 1e6;
    std::printf("%lu entries, %.1f MB, medians of %lu round(s)\n", options.entries, megabytes, options.rounds);
    const Rows rows = compareDrivers(bench, sample);
    const Growth growth = measureGrowth(bench);
    measureHeld(bench, sample);
    measureAtOnce(bench, sample);
    printTargets(bench, sample, rows, growth);
    if (options.plot.empty()) return;
    plotCost(options.plot / "cost.dat", rows);
    plotPeak(options.plot / "peak.dat", options.directory);
}

// Without entries or rounds the options are wrong.
Options optionsOf(const std::vector<std::string>& words) {
    Options options;
    for (std::size_t i = 3; i < words.size(); ++i) {
        if (words[i] == "--full") {
            options.full = true;
        } else if (words[i] == "--plot" && i + 1 < words.size()) {
            options.plot = words[++i];
        } else {
            return {};
        }
    }
    if (words.size() < 3) return {};
    options.directory = words[0];
    options.entries = std::strtoul(words[1].c_str(), nullptr, 10);
    options.rounds = std::strtoul(words[2].c_str(), nullptr, 10);
    return options;
}

} // namespace

int main(int argc, char** argv) {
    std::setvbuf(stdout, nullptr, _IOLBF, 0); // a row at a time, and nothing of it twice through a fork
    try {
        const Options options = optionsOf({argv + 1, argv + argc});
        if (options.entries == 0 || options.rounds == 0) {
            std::fprintf(stderr, "usage: %s DIRECTORY ENTRIES ROUNDS [--full] [--plot PLACE]\n", argv[0]);
            return 2;
        }
        benchAll(options);
        return 0;
    } catch (const std::exception& error) {
        std::fflush(stdout);
        std::fprintf(stderr, "bench_run: %s\n", error.what());
        return 1;
    }
}
