#include "cli/LibraryRequests.hpp"

#include <array>
#include <exception>
#include <unordered_set>
#include <utility>

#include "util/FilePath.hpp"
#include "util/Text.hpp"

namespace quillet::cli {

namespace {

using util::PropertyDictionary;

constexpr const char* kTakeMessage = "QLTakeEntries";
constexpr const char* kRecheckMessage = "QLRecheck";
constexpr const char* kRemoveMessage = "QLRemoveTrack";

using Count = std::size_t RecheckResult::*;
constexpr std::array<std::pair<const char*, Count>, 5> kCounts = {{{"records", &RecheckResult::records},
                                                                   {"addedAgain", &RecheckResult::addedAgain},
                                                                   {"dropped", &RecheckResult::dropped},
                                                                   {"found", &RecheckResult::found},
                                                                   {"failed", &RecheckResult::failed}}};

std::uint64_t numberAt(const PropertyDictionary& dictionary, std::string_view key) {
    const util::PropertyValue* value = util::find(dictionary, key);
    if (value == nullptr) return 0;
    if (const auto* number = value->unsignedInteger()) return *number;
    const auto* number = value->signedInteger();
    return number == nullptr || *number < 0 ? 0 : static_cast<std::uint64_t>(*number);
}

PropertyDictionary answerRemoval(LibrarySide& side, const PropertyDictionary* userInfo) {
    PropertyDictionary answer;
    if (userInfo == nullptr) return answer;
    try {
        const auto removal = side.remove(numberAt(*userInfo, "persistentID"), numberAt(*userInfo, "keepFile") != 0);
        answer["removed"] = removal == LibrarySide::Removal::removed ? 1 : 0;
    } catch (const std::exception& error) {
        answer["error"] = error.what();
    }
    return answer;
}

void take(LibrarySide& side, const PropertyDictionary& entries) {
    std::unordered_set<std::string> names;
    for (const auto& [entry, fileName] : entries) {
        if (!util::isEntryName(entry) || fileName.data() == nullptr) continue;
        side.door().nameOrigin(entry, std::string(util::charactersOf(fileName.data()->bytes())));
        names.insert(entry);
    }
    side.importNow(std::move(names));
}

}  // namespace

std::shared_ptr<MessagingCenter> serveRequests(MessagingCenters& centers, LibrarySide& side) {
    auto center = centers.centerNamed(kLibraryMessagingCenter);
    if (center == nullptr || !center->runServerOnCurrentThread()) return nullptr;
    center->registerForMessageName(kTakeMessage, [&side](const std::string&, const PropertyDictionary* userInfo) {
        if (userInfo != nullptr) take(side, *userInfo);
        return std::optional<PropertyDictionary>();
    });
    center->registerForMessageName(kRecheckMessage, [&side](const std::string&, const PropertyDictionary*) {
        PropertyDictionary answer;
        try {
            const RecheckResult result = side.recheck();
            for (const auto& [key, count] : kCounts) answer[key] = std::uint64_t{result.*count};
        } catch (const std::exception& error) {
            answer["error"] = error.what();
        }
        return std::optional(answer);
    });
    center->registerForMessageName(kRemoveMessage, [&side](const std::string&, const PropertyDictionary* userInfo) {
        return std::optional(answerRemoval(side, userInfo));
    });
    return center;
}

bool requestTaking(MessagingCenters& centers, const std::map<std::string, std::string>& fileNames) {
    PropertyDictionary entries;
    for (const auto& [entry, fileName] : fileNames) {
        // A message is text. An entry whose name is none is found when the folder is quiet.
        if (util::isUTF8(entry)) entries[entry] = util::Data::copyOf(util::bytesOf(fileName));
    }
    const auto center = centers.centerNamed(kLibraryMessagingCenter);
    return center != nullptr && center->sendMessageName(kTakeMessage, &entries);
}

std::optional<RecheckResult> requestRecheck(MessagingCenters& centers) {
    const auto center = centers.centerNamed(kLibraryMessagingCenter);
    const auto answer = center ? center->sendMessageAndReceiveReplyName(kRecheckMessage, nullptr) : std::nullopt;
    if (!answer) return std::nullopt;
    if (const auto* error = util::find(*answer, "error")) throw LibraryError(error->stringValue().value_or(""));
    RecheckResult result;
    for (const auto& [key, count] : kCounts) result.*count = numberAt(*answer, key);
    return result;
}

std::optional<RemovalAnswer> requestRemoval(MessagingCenters& centers, std::uint64_t persistentID, bool keepFile) {
    const PropertyDictionary userInfo = {{"persistentID", persistentID}, {"keepFile", keepFile ? 1 : 0}};
    const auto center = centers.centerNamed(kLibraryMessagingCenter);
    const auto answer = center ? center->sendMessageAndReceiveReplyName(kRemoveMessage, &userInfo) : std::nullopt;
    if (!answer) return std::nullopt;
    RemovalAnswer result;
    if (numberAt(*answer, "removed") != 0) result.removal = LibrarySide::Removal::removed;
    if (const auto* error = util::find(*answer, "error")) result.error = error->stringValue().value_or("");
    return result;
}

}  // namespace quillet::cli
