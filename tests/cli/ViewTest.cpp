#include <gmock/gmock.h>

#include <nlohmann/json.hpp>

#include "cli/Console.hpp"
#include "cli/FreeName.hpp"
#include "cli/OriginJournal.hpp"
#include "cli/TrackView.hpp"
#include "tests/TemporaryFolder.hpp"
#include "util/Text.hpp"

namespace quillet::cli {
namespace {

TEST(TrackViewTest, WhatIsAbsentIsNull) {
    LibraryTrack track;
    track.persistentID = 18446744073709551615U;
    track.assetPath = "/root/M00/ABC.mp3";
    track.origin = TrackOrigin{"song.mp3", 1, 2};
    track.values = {{"item_extra.title", "ABC"}, {"album.album", ""},
                    {"track_number", 0U},        {"item_extra.track_count", 4294967295U},
                    {"disc_number", -1},         {"item_extra.year", "0000"}};
    const TrackView view(track);
    EXPECT_EQ(
        view.json().dump(),
        R"({"file":"song.mp3","persistentID":"18446744073709551615","assetPath":"/root/M00/ABC.mp3","title":null,)"
        R"("artist":null,"album":null,"albumArtist":null,"track":null,"trackCount":null,"disc":null,)"
        R"("discCount":null,"year":null,"durationMs":null,"artwork":null})");
    EXPECT_EQ(view.displayTitle(), "song.mp3");
    EXPECT_EQ(view.ofTotal("track_number", "item_extra.track_count"), "");
}

TEST(TrackViewTest, NumbersAndDurationsReadAsAUserWritesThem) {
    LibraryTrack track;
    track.values = {{"track_number", 3}, {"item_extra.track_count", 12U}, {"disc_number", 2U}};
    const std::pair<std::uint32_t, const char*> kDurations[] = {
        {499, "0:00"}, {59500, "1:00"}, {187000, "3:07"}, {3765000, "1:02:45"}};
    for (const auto& [milliseconds, text] : kDurations) {
        track.values["item_extra.total_time_ms"] = milliseconds;
        EXPECT_EQ(TrackView(track).duration(), text);
    }
    EXPECT_EQ(TrackView(track).ofTotal("track_number", "item_extra.track_count"), "3/12");
    EXPECT_EQ(TrackView(track).ofTotal("disc_number", "item_extra.disc_count"), "2");
    const std::pair<util::PropertyValue, nlohmann::ordered_json> kYears[] = {
        {"2009", 2009}, {2009U, 2009}, {"c. 1", "c. 1"}, {0U, nullptr}, {"", nullptr}};
    for (const auto& [year, json] : kYears) {
        track.values["item_extra.year"] = year;
        EXPECT_EQ(TrackView(track).year(), json);
    }
}

TEST(FreeNameTest, ANumberGoesBeforeTheExtensionAndTheNameStillFits) {
    EXPECT_EQ(numberedName("a.b.mp3", 1), "a.b.mp3");
    EXPECT_EQ(numberedName("a.b.mp3", 2), "a.b (2).mp3");
    EXPECT_EQ(numberedName("noext", 12), "noext (12)");
    for (const std::string& name : {std::string(255, 'x'), std::string(251, 'x') + ".mp3", "x." + std::string(253, 'e'),
                                    std::string(124, 'x') + "\xE2\x82\xAC" + std::string(124, 'y') + ".mp3"}) {
        const std::string second = numberedName(name, 2);
        EXPECT_LE(second.size(), 255U);
        EXPECT_NE(second, name);
        EXPECT_TRUE(util::isUTF8(second));
    }
}

TEST(ConsoleTest, WhatCouldSteerATerminalIsShownAsText) {
    EXPECT_EQ(shown("a\nb\t\x1b[2J\x7F\xFF é"), "a\\nb\\t\\x1b[2J\\x7f\uFFFD é");
    EXPECT_EQ(shown("\u009b31m"), "\\x9b31m") << "a control character of two bytes";
    EXPECT_EQ(shown("a\u202egpj\u2028\u2069\u2027…"), "a\\u202egpj\\u2028\\u2069\u2027…") << "turns a line round";
}

TEST(OriginJournalTest, GivesBackWhatWasAddedAndPassesOverWhatIsCutOff) {
    const test::TemporaryFolder folder;
    const std::string path = folder / "journal";
    const OriginJournal::Entry entry = {"A.mp3", {"na\xFFme\n.mp3", ~std::uint64_t{0}, 7}, "entry.mp3"};
    OriginJournal(path).add(entry);
    std::ofstream(path, std::ios::app) << R"({"asset":"B.mp3","file":5})" << "\n[]\n" << R"({"asset":"C.m)";
    const auto entries = OriginJournal(path).entries();
    ASSERT_EQ(entries.size(), 1U);
    EXPECT_EQ(entries[0].assetName, entry.assetName);
    EXPECT_EQ(entries[0].origin.fileName, entry.origin.fileName);
    EXPECT_EQ(entries[0].origin.device, entry.origin.device);
    EXPECT_EQ(entries[0].dropEntry, entry.dropEntry);
}

}  // namespace
}  // namespace quillet::cli
