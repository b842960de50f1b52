#include "cli/LibraryRequests.hpp"

#include <array>
#include <exception>
#include <utility>

#include "util/FilePath.hpp"

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

/// Names are any bytes, so they travel as data.
util::Data dataOf(const std::string& name) {
    return util::Data::copyOf(util::bytesOf(name));
}

std::string nameAt(const PropertyDictionary& dictionary, std::string_view key) {
    const util::PropertyValue* value = util::find(dictionary, key);
    const util::Data* data = value == nullptr ? nullptr : value->data();
    return data == nullptr ? std::string() : std::string(util::charactersOf(data->bytes()));
}

void take(LibrarySide& side, const util::PropertyArray& finished) {
    std::vector<std::string> entries;
    for (const util::PropertyValue& one : finished) {
        const PropertyDictionary* names = one.dictionary();
        const std::string entry = names == nullptr ? "" : nameAt(*names, "entry");
        if (!util::isEntryName(entry)) continue;
        side.door().nameOrigin(entry, nameAt(*names, "file"));
        entries.push_back(entry);
    }
    side.importNow(std::move(entries));
}

}  // namespace

std::shared_ptr<MessagingCenter> serveRequests(MessagingCenters& centers, LibrarySide& side) {
    auto center = centers.centerNamed(kLibraryMessagingCenter);
    if (center == nullptr || !center->runServerOnCurrentThread()) return nullptr;
    center->registerForMessageName(kTakeMessage, [&side](const std::string&, const PropertyDictionary* userInfo) {
        const util::PropertyValue* entries = userInfo == nullptr ? nullptr : util::find(*userInfo, "entries");
        if (entries != nullptr && entries->array() != nullptr) take(side, *entries->array());
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

bool requestTaking(MessagingCenters& centers, const std::vector<FinishedEntry>& entries) {
    util::PropertyArray finished;
    for (const FinishedEntry& one : entries)
        finished.emplace_back(PropertyDictionary{{"entry", dataOf(one.entry)}, {"file", dataOf(one.fileName)}});
    const PropertyDictionary userInfo = {{"entries", std::move(finished)}};
    const auto center = centers.centerNamed(kLibraryMessagingCenter);
    return center != nullptr && center->sendMessageName(kTakeMessage, &userInfo);
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
