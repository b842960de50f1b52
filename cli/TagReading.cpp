#include "cli/TagReading.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <new>
#include <nlohmann/json.hpp>
#include <thread>

#include "cli/FileSelection.hpp"
#include "cli/Interrupt.hpp"
#include "cli/ResourceDictionary.hpp"

namespace quillet::cli {

namespace {

FileOutput readOne(TagAPI& api, const SelectedFile& file, const std::function<FileOutput(const TagView&)>& render) try {
    if (!file.reason.empty()) return {"", file.reason};
    const ThreadLog log;
    const bool hasAudio = api.examineFile(file.path);
    if (!api.openStatus().ok()) return {"", reasonAgainstReading(api.openStatus(), file.path)};
    if (api.getFileSize() == 0) return {"", "is empty"};
    if (!hasAudio && !api.v2TagPresent() && !api.v1TagPresent()) return {"", "has neither MPEG audio nor a tag"};
    FileOutput output = render(TagView(api, file.path, hasAudio, log));
    api.releaseAttributes();
    return output;
} catch (const std::bad_alloc&) {
    // A text of the largest tag takes many times its size, which no other file is to suffer for.
    api.releaseAttributes();
    return {"", "cannot be read: not enough memory"};
}

/// One instance for each thread, all over one dictionary; none where the dictionary cannot be used.
std::vector<std::unique_ptr<TagAPI>> instances(unsigned count) {
    std::vector<std::unique_ptr<TagAPI>> all;
    auto first = TagAPI::initWithGenreList(resourceDictionary());
    if (first == nullptr) return all;
    all.push_back(std::move(first));
    while (all.size() < count) all.push_back(all.front()->sibling());
    return all;
}

unsigned threadCount(const TagFiles& files) {
    if (!FileSelection::mayBeSeveral(files.paths)) return 1;
    return files.jobs > 0 ? files.jobs : std::max(1U, std::thread::hardware_concurrency());
}

}  // namespace

int readTags(Console& console, const TagFiles& files, const ResultLayout& layout,
             const std::function<FileOutput(const TagView&)>& render) {
    rememberInterrupts();
    const auto apis = instances(threadCount(files));
    if (apis.empty()) {
        console.error("the frame library of this program cannot be read");
        return kSomeFailed;
    }
    std::vector<std::function<FileOutput(const SelectedFile&)>> readers;
    readers.reserve(apis.size());
    for (const auto& api : apis)
        readers.emplace_back([&](const SelectedFile& file) { return readOne(*api, file, render); });

    FileSelection selection(files.paths);
    bool isFirst = true;
    bool anyFailed = false;
    const auto next = [&] { return interrupted() ? std::nullopt : selection.next(); };
    readInParallel(next, readers, [&](const SelectedFile& file, const FileOutput& output) {
        if (!output.failure.empty()) {
            anyFailed = true;
            console.error(fmt::format("{}: {}", shown(file.path), output.failure));
        } else if (!output.text.empty()) {
            if (isFirst && !layout.heading.empty()) console.line(layout.heading);
            if (!isFirst && layout.areBlocks) console.line("");
            isFirst = false;
            console.line(output.text);
        }
        return !interrupted() && !console.outputHasFailed();
    });
    if (interrupted()) {
        console.note("interrupted");
        return kInterrupted;
    }
    if (!selection.foundAnything()) return kNothingToDo;
    return anyFailed ? kSomeFailed : kAllDone;
}

std::string reasonAgainstReading(util::Status status, const std::string& path) {
    std::error_code error;
    switch (status.error()) {
        case ENOENT:
        case ENOTDIR:
            return std::filesystem::is_symlink(path, error) ? "is a link to nothing" : "no such file";
        case EISDIR:
            return "is a folder";
        case ENOTSUP:
        case ENXIO:  // what opening a socket comes to
            return "is not a regular file";
        default:
            return "cannot be read: " + status.message();
    }
}

std::string jsonWithWarnings(nlohmann::ordered_json object, const TagView& view) {
    object["warnings"] = view.warnings();
    return jsonText(object);
}

std::string warningLines(const Console& console, const TagView& view, const std::string& prefix) {
    std::string lines;
    for (const std::string& warning : view.warnings())
        lines += "\n" + prefix + console.coloured(Colour::yellow, "warning: " + shown(warning));
    return lines;
}

}  // namespace quillet::cli
