#include "cli/ResourceDictionary.hpp"

#include <gmock/gmock.h>

#include <algorithm>
#include <set>

#include "id3/FrameLibrary.hpp"
#include "util/Text.hpp"

namespace quillet::test {
namespace {

using util::PropertyDictionary;

/// The frames that each standard declares (ID3v2.2.0 4, ID3v2.3.0 4, ID3v2.4.0 frames 4).
struct Standard {
    std::string_view version;
    std::string_view identifiers;
    std::size_t count;
};
const Standard kStandards[] = {
    {"2.0",
     "BUF CNT COM CRA CRM ETC EQU GEO IPL LNK MCI MLL PIC POP REV RVA SLT STC TAL TBP TCM TCO TCR TDA TDY TEN TFT TIM "
     "TKE TLA TLE TMT TOA TOF TOL TOR TOT TP1 TP2 TP3 TP4 TPA TPB TRC TRD TRK TSI TSS TT1 TT2 TT3 TXT TXX TYE UFI ULT "
     "WAF WAR WAS WCM WCP WPB WXX",
     63},
    {"2.3",
     "AENC APIC COMM COMR ENCR EQUA ETCO GEOB GRID IPLS LINK MCDI MLLT OWNE PRIV PCNT POPM POSS RBUF RVAD RVRB SYLT "
     "SYTC TALB TBPM TCOM TCON TCOP TDAT TDLY TENC TEXT TFLT TIME TIT1 TIT2 TIT3 TKEY TLAN TLEN TMED TOAL TOFN TOLY "
     "TOPE TORY TOWN TPE1 TPE2 TPE3 TPE4 TPOS TPUB TRCK TRDA TRSN TRSO TSIZ TSRC TSSE TYER TXXX UFID USER USLT WCOM "
     "WCOP WOAF WOAR WOAS WORS WPAY WPUB WXXX",
     74},
    {"2.4",
     "AENC APIC ASPI COMM COMR ENCR EQU2 ETCO GEOB GRID LINK MCDI MLLT OWNE PRIV PCNT POPM POSS RBUF RVA2 RVRB SEEK "
     "SIGN SYLT SYTC TALB TBPM TCOM TCON TCOP TDEN TDLY TDOR TDRC TDRL TDTG TENC TEXT TFLT TIPL TIT1 TIT2 TIT3 TKEY "
     "TLAN TLEN TMCL TMED TMOO TOAL TOFN TOLY TOPE TOWN TPE1 TPE2 TPE3 TPE4 TPOS TPRO TPUB TRCK TRSN TRSO TSOA TSOP "
     "TSOT TSRC TSSE TSST TXXX UFID USER USLT WCOM WCOP WOAF WOAR WOAS WORS WPAY WPUB WXXX",
     83},
};

const PropertyDictionary& dictionary() {
    static const auto loaded = cli::resourceDictionary()();
    return *loaded.dictionary;
}

const PropertyDictionary& section(std::string_view key) {
    return *FrameLibrary::dictionaryAt(dictionary(), key);
}

TEST(ResourceDictionaryTest, EveryFrameOfEveryStandardHasARecord) {
    for (const Standard& standard : kStandards) {
        const auto identifiers = util::split(standard.identifiers, ' ');
        EXPECT_EQ(std::set(identifiers.begin(), identifiers.end()).size(), standard.count);
        for (const std::string_view identifier : identifiers) {
            const auto* records = FrameLibrary::dictionaryAt(section("frames"), standard.version);
            EXPECT_NE(FrameLibrary::dictionaryAt(*records, identifier), nullptr) << standard.version << identifier;
        }
    }
}

TEST(ResourceDictionaryTest, RecordsAreWellFormedAndEquivalentsPointBack) {
    for (const Standard& standard : kStandards) {
        for (const auto& [identifier, value] : *FrameLibrary::dictionaryAt(section("frames"), standard.version)) {
            SCOPED_TRACE(std::string(standard.version) + " " + identifier);
            EXPECT_EQ(identifier.size(), standard.version == "2.0" ? 3U : 4U);
            EXPECT_TRUE(std::all_of(identifier.begin(), identifier.end(),
                                    [](char one) { return (one >= 'A' && one <= 'Z') || (one >= '0' && one <= '9'); }));
            const PropertyDictionary& record = *value.dictionary();
            for (const char* flag : {"text", "multi"}) EXPECT_NE(util::find(record, flag)->boolean(), nullptr);
            for (const auto& [key, equivalent] : record) {
                if (key == "text" || key == "multi") continue;
                const auto* others = FrameLibrary::dictionaryAt(section("frames"), key);
                ASSERT_NE(others, nullptr) << key;
                const auto* other = FrameLibrary::dictionaryAt(*others, *equivalent.text());
                ASSERT_NE(other, nullptr) << key;
                EXPECT_EQ(util::textAt(*other, standard.version), identifier);
                EXPECT_EQ(util::find(*other, "text")->boolean()[0], util::find(record, "text")->boolean()[0]);
            }
        }
    }
}

struct RecordCase {
    std::string_view version;
    std::string_view identifier;
    bool text;
    bool multi;
    std::string_view equivalents;  // in the other two versions
};
const RecordCase kRecords[] = {
    {"2.0", "TT2", true, false, "TIT2 TIT2"}, {"2.3", "TYER", true, false, "TYE TDRC"},
    {"2.4", "TDRC", true, false, "TYE TYER"}, {"2.3", "IPLS", true, false, "IPL TIPL"},
    {"2.3", "TDAT", true, false, "TDA "},     {"2.4", "RVA2", false, true, " "},
    {"2.3", "RVAD", false, false, "RVA "},    {"2.0", "CRM", false, true, " "},
    {"2.0", "COM", false, true, "COMM COMM"}, {"2.4", "TXXX", false, true, "TXX TXXX"},
    {"2.3", "WCOM", false, true, "WCM WCOM"}, {"2.3", "WOAF", false, false, "WAF WOAF"},
    {"2.3", "USER", false, false, " USER"},   {"2.4", "USER", false, true, " USER"},
    {"2.0", "TCP", true, false, "TCMP TCMP"}, {"2.3", "TSO2", true, false, "TS2 TSO2"},
    {"2.4", "GRP1", true, false, "GP1 GRP1"}, {"2.4", "PCST", false, false, "PCS PCST"},
    {"2.4", "CHAP", false, true, " CHAP"},    {"2.4", "TCON", true, false, "TCO TCON"},
};

TEST(ResourceDictionaryTest, RecordsSayWhatTheStandardsSay) {
    for (const RecordCase& one : kRecords) {
        const auto* records = FrameLibrary::dictionaryAt(section("frames"), one.version);
        const PropertyDictionary& record = *FrameLibrary::dictionaryAt(*records, one.identifier);
        EXPECT_EQ(FrameLibrary::flagOf(record, "text"), one.text) << one.identifier;
        EXPECT_EQ(FrameLibrary::flagOf(record, "multi"), one.multi) << one.identifier;
        std::vector<std::string> equivalents;
        for (const char* version : {"2.0", "2.3", "2.4"})
            if (version != one.version) equivalents.push_back(util::textAt(record, version));
        EXPECT_EQ(equivalents[0] + " " + equivalents[1], one.equivalents) << one.version << " " << one.identifier;
    }
}

TEST(ResourceDictionaryTest, GenreNamesAndNumbersAreEachOthersInverse) {
    const PropertyDictionary& genres = section("genres");
    const PropertyDictionary& indexes = section("genreIndexes");
    EXPECT_EQ(genres.size(), 192U);
    EXPECT_EQ(indexes.size(), 193U);
    EXPECT_EQ(*util::find(indexes, "-1"), util::PropertyValue(191));
    for (int number = 0; number < 192; ++number) {
        const std::string name = util::textAt(indexes, std::to_string(number));
        ASSERT_NE(util::find(genres, name), nullptr) << number;
        EXPECT_EQ(*util::find(genres, name), util::PropertyValue(number));
    }
    EXPECT_EQ(util::find(genres, "Unknown"), nullptr);
    // The last of the first list, of the first extension, of the honoured ones and of all.
    const std::pair<const char*, const char*> kNames[] = {
        {"0", "Blues"}, {"79", "Hard Rock"}, {"125", "Dance Hall"}, {"147", "Synthpop"}, {"191", "Psybient"}};
    for (const auto& [number, name] : kNames) EXPECT_EQ(util::textAt(indexes, number), name);
}

}  // namespace
}  // namespace quillet::test
