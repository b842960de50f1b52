/// What a save that replaces the file in one step has to ask of the system, and nothing besides: the new tag into a new
/// file, the rest behind it inside the kernel, a rename. Mode "synced": the file before that, and its folder after it.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>

#include "bench/writing/TagBuffer.hpp"
#include "bench/writing/WriterProgram.hpp"

namespace {

using quillet::bench::TagBuffer;

bool copyRest(int from, off_t begin, int to) {
    struct stat facts;
    if (fstat(from, &facts) != 0) return false;
    while (begin < facts.st_size) {
        const auto left = static_cast<std::size_t>(facts.st_size - begin);
        if (copy_file_range(from, &begin, to, nullptr, left, 0) <= 0) return false;
    }
    return true;
}

bool fill(int working, int old, TagBuffer& tag, const std::string& title, bool synced) {
    if (!tag.read(old)) return false;
    const auto audio = static_cast<off_t>(tag.bytes().size());
    if (!tag.setTitle(title)) return false;
    const auto bytes = tag.bytes();
    return write(working, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()) &&
           copyRest(old, audio, working) && (!synced || fsync(working) == 0);
}

bool makeWorkingFile(const std::string& name, const std::string& path, TagBuffer& tag, const std::string& title,
                     bool synced) {
    const int old = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    const int working = open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
    bool done = old >= 0 && working >= 0 && fill(working, old, tag, title, synced);
    if (working >= 0) done = close(working) == 0 && done;
    if (old >= 0) close(old);
    return done;
}

bool syncFolderOf(const std::string& path) {
    const int folder = open(path.substr(0, path.rfind('/')).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (folder < 0) return false;
    const bool done = fsync(folder) == 0;
    close(folder);
    return done;
}

}  // namespace

int main(int argc, char** argv) {
    TagBuffer tag;
    return quillet::bench::runWriter(argc, argv, [&](std::string_view mode) {
        return [&tag, synced = mode == "synced"](const std::string& path, const std::string& title) {
            const std::string name = path + ".new";
            return makeWorkingFile(name, path, tag, title, synced) && std::rename(name.c_str(), path.c_str()) == 0 &&
                   (!synced || syncFolderOf(path));
        };
    });
}
