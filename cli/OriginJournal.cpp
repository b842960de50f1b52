#include "cli/OriginJournal.hpp"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <string_view>

#include "util/FilePath.hpp"
#include "util/Text.hpp"

namespace quillet::cli {

namespace {

using Json = nlohmann::json;

/// File names are any bytes, JSON is text: a name is kept as the numbers of its bytes where it is not UTF-8.
std::string textOfName(const std::string& name) {
    const auto isPlain = [](char character) {
        return character >= ' ' && character <= '~' && character != '"' && character != '\\';
    };
    if (std::ranges::all_of(name, isPlain)) return '"' + name + '"';  // nearly always; a batch writes thousands
    if (util::isUTF8(name)) return Json(name).dump();
    return Json(std::vector<std::uint8_t>(name.begin(), name.end())).dump();
}

bool readName(const Json& json, std::string& name) {
    if (json.is_string()) {
        name = json.get<std::string>();
        return true;
    }
    if (!json.is_array()) return false;
    for (const Json& byte : json) {
        if (!byte.is_number_unsigned() || byte.get<std::uint64_t>() > 255) return false;
        name += static_cast<char>(byte.get<std::uint64_t>());
    }
    return true;
}

bool readEntry(const Json& json, OriginJournal::Entry& entry) {
    if (!json.is_object()) return false;
    for (const char* key : {"device", "inode"})
        if (!json.contains(key) || !json[key].is_number_unsigned()) return false;
    entry.origin.device = json["device"].get<std::uint64_t>();
    entry.origin.inode = json["inode"].get<std::uint64_t>();
    return json.contains("asset") && readName(json["asset"], entry.assetName) && json.contains("file") &&
           readName(json["file"], entry.origin.fileName) && json.contains("entry") &&
           readName(json["entry"], entry.dropEntry) && util::isEntryName(entry.assetName) &&
           util::isEntryName(entry.dropEntry);
}

}  // namespace

std::vector<OriginJournal::Entry> OriginJournal::entries() const {
    std::vector<Entry> found;
    const auto content = util::readFile(path_);
    if (!content) return found;
    for (const std::string_view line : util::split(util::charactersOf(content->bytes()), '\n')) {
        const Json json = Json::parse(line, nullptr, false);
        Entry entry;
        if (readEntry(json, entry)) found.push_back(std::move(entry));
    }
    return found;
}

void OriginJournal::add(const Entry& entry) {
    if (!file_.isOpen())
        file_ = util::FileDescriptor(open(path_.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644));
    const std::string line = fmt::format("{{\"asset\":{},\"device\":{},\"entry\":{},\"file\":{},\"inode\":{}}}\n",
                                         textOfName(entry.assetName), entry.origin.device, textOfName(entry.dropEntry),
                                         textOfName(entry.origin.fileName), entry.origin.inode);
    // Where it cannot be written, a title may be lost if the process is killed as well; that is no reason not to
    // import.
    if (file_.isOpen()) (void)util::writeAll(file_.number(), util::bytesOf(line));
}

void OriginJournal::forgetAll() {
    (void)file_.close();
    (void)unlink(path_.c_str());
}

}  // namespace quillet::cli
