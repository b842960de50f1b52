/// Through this project's own engine, with the command's resource dictionary. Mode "unsynced": a file that is replaced
/// is not made durable.

#include <fmt/format.h>

#include "bench/writing/WriterProgram.hpp"
#include "cli/ResourceDictionary.hpp"
#include "id3/TagAPI.hpp"

int main(int argc, char** argv) {
    const std::unique_ptr<quillet::TagAPI> tags =
        quillet::TagAPI::initWithGenreList(quillet::cli::resourceDictionary());
    if (!tags) {
        fmt::print(stderr, "write_quillet: no resource dictionary\n");
        return 1;
    }
    return quillet::bench::runWriter(argc, argv, [&](std::string_view mode) {
        quillet::SaveOptions options;
        if (mode == "unsynced") options.file.durability = quillet::util::Durability::unsynced;
        tags->setSaveOptions(options);
        return [&](const std::string& path, const std::string& title) {
            tags->examineForUpdate(path);
            return tags->setTitle(title) && tags->updateFile() == 0;
        };
    });
}
