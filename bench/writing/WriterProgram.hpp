#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace quillet::bench {

/// Gives the MP3 at `path` the title, an ASCII text; false where that failed. The file has an ID3v2 tag at its front,
/// with a title.
using SetTitle = std::function<bool(const std::string& path, const std::string& title)>;

/// The main of every program here: NAME LIST TITLE [MODE], where LIST has a path a line. `makeSetter` is told the mode,
/// a word that the one program knows ("" for none). Prints a JSON object with what the writing took in nanoseconds (of
/// the wall and of the processor) and the most memory that the process held, in KiB; fails where a file did.
int runWriter(int argc, char** argv, const std::function<SetTitle(std::string_view mode)>& makeSetter);

}  // namespace quillet::bench
