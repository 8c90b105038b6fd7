// SPDX-License-Identifier: Apache-2.0
// What the system alone costs: mapped views touched and summed, and a write call for each record of text that is ready.

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include "Catalog.h"
#include "Driver.h"
#include "EntrySetter.h"

using namespace bench;

namespace {

std::uint64_t sumOf(const char* view, std::size_t length) {
    std::uint64_t sum = 0;
    for (std::size_t i = 0; i + sizeof sum <= length; i += sizeof sum) {
        std::uint64_t word = 0;
        std::memcpy(&word, view + i, sizeof word);
        sum += word;
    }
    return sum;
}

// Finds no entries, so their number comes from the task.
std::uint64_t touchViews(const Task& task, Meter& meter) {
    std::uint64_t sum = 0;
    meter.start();
    {
        const File file(task.file, O_RDONLY);
        struct stat facts = {};
        require(fstat(file.descriptor, &facts) == 0, "the file can't be measured");
        for (off_t offset = 0; offset < facts.st_size; offset += static_cast<off_t>(kPageSize)) {
            const auto length = std::min(static_cast<std::size_t>(facts.st_size - offset), kPageSize);
            void* const view = mmap(nullptr, length, PROT_READ, MAP_SHARED, file.descriptor, offset);
            require(view != MAP_FAILED, "the file can't be mapped");
            sum += sumOf(static_cast<const char*>(view), length);
            munmap(view, length);
        }
    }
    for (unsigned long i = 0; i < task.entries; ++i) meter.entry();
    meter.stop();
    return sum;
}

std::vector<std::string> readyTexts(const Catalog& catalog) {
    std::vector<std::string> texts;
    texts.reserve(Catalog::kRecords);
    VellixEntry entry;
    for (unsigned long i = 0; i < Catalog::kRecords; ++i) {
        fill(entry, catalog[i]);
        texts.push_back(entry.toString());
    }
    return texts;
}

// Writes records by the page rule.
class Pages {
public:
    explicit Pages(int handle) : descriptor(handle) {}

    void put(std::string_view record) {
        static const std::string blanks(kPageSize, ' ');
        const std::size_t room = kPageSize - position % kPageSize;
        if (record.size() > room && room < kPageSize) send(std::string_view(blanks).substr(0, room));
        send(record);
    }

private:
    void send(std::string_view bytes) {
        require(write(descriptor, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()),
                "a record can't be written");
        position += bytes.size();
    }

    int descriptor;
    std::size_t position = 0;
};

std::uint64_t writeReady(const Task& task, Meter& meter) {
    const Catalog catalog;
    const std::vector<std::string> texts = readyTexts(catalog);
    std::remove(task.file);
    meter.start();
    {
        const File file(task.file, O_WRONLY | O_CREAT);
        Pages pages(file.descriptor);
        for (const char* record : kHead) pages.put(record);
        for (unsigned long i = 0; i < task.entries; ++i) {
            pages.put(texts[i % Catalog::kRecords]);
            meter.entry();
        }
        for (const char* record : kTail) pages.put(record);
    }
    meter.stop();
    return 0;
}

} // namespace

int main(int argc, char** argv) { return driverMain(argc, argv, {{"read", touchViews}, {"write", writeReady}}); }
