// consumer FILE: prints what the tags of an MP3 file say, and sets its year.
#include <cstdio>
#include <memory>

#include "id3/TagAPI.hpp"

int main(int argumentCount, char** arguments) {
    if (argumentCount != 2) return 2;

    // As the standards say, with exact durations; an ID3v1 tag answers where there is no other, and a new tag is 2.3.
    using quillet::util::PropertyDictionary;
    const quillet::DictionaryLoader loader = [] {
        const PropertyDictionary preferences = {{"Standard dialect", true},
                                                {"Parse V1", true},
                                                {"V1 auto - fallback", true},
                                                {"Default V2 tag - Major number", 3}};
        return quillet::LoadedDictionary{std::make_shared<const PropertyDictionary>(PropertyDictionary{
                                             {"preferences", preferences}, {"genres", PropertyDictionary()}}),
                                         "the program"};
    };
    const std::unique_ptr<quillet::TagAPI> file = quillet::TagAPI::initWithPath(arguments[1], loader);
    if (!file || !file->openStatus().ok()) {
        std::printf("not read\n");
        return 1;
    }
    std::printf("%s by %s, %u ms\n", file->getTitle().c_str(), file->getArtist().c_str(),
                file->getDurationMilliseconds());

    if (!file->setYear(2001) || file->updateFile() != 0) {
        std::printf("not saved: %s\n", file->saveProblem().c_str());
        return 1;
    }
    file->examineFile(arguments[1]);
    std::printf("now of %d\n", file->getYear());
}
