/// Through TagLib. As it is: no audio properties, and only those tags written that the file has, in their versions,
/// which is the same work that the other programs do. Mode "default": opened and saved without a further word.

#include <id3v2header.h>
#include <id3v2tag.h>
#include <mpegfile.h>

#include "bench/writing/WriterProgram.hpp"

namespace {

using TagLib::MPEG::File;

bool saveByDefault(const std::string& path, const std::string& title) {
    File file(path.c_str());
    if (!file.isValid()) return false;
    file.tag()->setTitle(title);
    return file.save();
}

bool saveWhatIsThere(const std::string& path, const std::string& title) {
    File file(path.c_str(), false);
    if (!file.isValid() || !file.hasID3v2Tag()) return false;
    file.tag()->setTitle(title);
    const bool isOld = file.ID3v2Tag()->header()->majorVersion() < 4;
    return file.save(File::ID3v2 | (file.hasID3v1Tag() ? File::ID3v1 : File::NoTags), File::StripNone,
                     isOld ? TagLib::ID3v2::v3 : TagLib::ID3v2::v4, File::DoNotDuplicate);
}

}  // namespace

int main(int argc, char** argv) {
    return quillet::bench::runWriter(
        argc, argv, [](std::string_view mode) { return mode == "default" ? saveByDefault : saveWhatIsThere; });
}
