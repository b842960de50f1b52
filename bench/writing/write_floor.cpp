/// What a save in place has to ask of the system for each file, and nothing besides: open, head, rest of the tag, one
/// write, close. Mode "record": writes the title into the v1 record too, which the file has.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

#include "bench/writing/TagBuffer.hpp"
#include "bench/writing/WriterProgram.hpp"

namespace {

constexpr std::size_t kRecord = 128;
constexpr std::size_t kRecordTitle = 3;
constexpr std::size_t kRecordTitleLength = 30;

bool writeTag(int file, quillet::bench::TagBuffer& tag, const std::string& title) {
    if (!tag.read(file) || !tag.setTitle(title)) return false;
    return pwrite(file, tag.bytes().data(), tag.bytes().size(), 0) == static_cast<ssize_t>(tag.bytes().size());
}

bool writeRecord(int file, const std::string& title) {
    struct stat facts;
    char record[kRecord];
    if (fstat(file, &facts) != 0) return false;
    const off_t offset = facts.st_size - static_cast<off_t>(kRecord);
    if (pread(file, record, kRecord, offset) != static_cast<ssize_t>(kRecord)) return false;
    std::fill_n(record + kRecordTitle, kRecordTitleLength, '\0');
    std::copy_n(title.data(), std::min(title.size(), kRecordTitleLength), record + kRecordTitle);
    return pwrite(file, record, kRecord, offset) == static_cast<ssize_t>(kRecord);
}

}  // namespace

int main(int argc, char** argv) {
    quillet::bench::TagBuffer tag;
    return quillet::bench::runWriter(argc, argv, [&](std::string_view mode) {
        return [&tag, withRecord = mode == "record"](const std::string& path, const std::string& title) {
            const int file = open(path.c_str(), O_RDWR | O_CLOEXEC);
            if (file < 0) return false;
            const bool done = writeTag(file, tag, title) && (!withRecord || writeRecord(file, title));
            return close(file) == 0 && done;
        };
    });
}
