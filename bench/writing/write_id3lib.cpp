/// Through id3lib, which puts a file whose tag grows together anew beside the old one, and renames it into place.

#include <id3/misc_support.h>
#include <id3/tag.h>

#include "bench/writing/WriterProgram.hpp"

namespace {

bool setTitle(const std::string& path, const std::string& title) {
    ID3_Tag tag;
    tag.Link(path.c_str(), ID3TT_ID3V2);
    return ID3_AddTitle(&tag, title.c_str(), true) != nullptr && tag.Update(ID3TT_ID3V2) == ID3TT_ID3V2;
}

}  // namespace

int main(int argc, char** argv) {
    return quillet::bench::runWriter(argc, argv, [](std::string_view) { return setTitle; });
}
