#include "cli/FrameNames.hpp"

#include <algorithm>
#include <iterator>

namespace quillet::cli {

namespace {

struct FrameName {
    std::string_view identifier;     ///< in ID3v2.3 and 2.4, "" where there is none
    std::string_view oldIdentifier;  ///< in ID3v2.2, "" where there is none
    std::string_view name;
};

constexpr FrameName kNames[] = {
    {"AENC", "CRA", "audio encryption"},
    {"APIC", "PIC", "picture"},
    {"ASPI", "", "audio seek points"},
    {"CHAP", "", "chapter"},
    {"COMM", "COM", "comment"},
    {"COMR", "", "commercial"},
    {"", "CRM", "encrypted frame"},
    {"CTOC", "", "table of contents"},
    {"ENCR", "", "encryption method"},
    {"EQU2", "", "equalisation"},
    {"EQUA", "EQU", "equalisation"},
    {"ETCO", "ETC", "event times"},
    {"GEOB", "GEO", "attached object"},
    {"GRID", "", "group"},
    {"GRP1", "GP1", "grouping"},
    {"IPLS", "IPL", "involved people"},
    {"LINK", "LNK", "linked information"},
    {"MCDI", "MCI", "CD identifier"},
    {"MLLT", "MLL", "MPEG lookup table"},
    {"MVIN", "MVI", "movement number"},
    {"MVNM", "MVN", "movement name"},
    {"OWNE", "", "ownership"},
    {"PCNT", "CNT", "play counter"},
    {"PCST", "PCS", "podcast"},
    {"POPM", "POP", "rating"},
    {"POSS", "", "position"},
    {"PRIV", "", "private"},
    {"RBUF", "BUF", "buffer size"},
    {"RVA2", "", "volume"},
    {"RVAD", "RVA", "volume"},
    {"RVRB", "REV", "reverb"},
    {"SEEK", "", "next tag"},
    {"SIGN", "", "signature"},
    {"SYLT", "SLT", "timed lyrics"},
    {"SYTC", "STC", "tempo codes"},
    {"TALB", "TAL", "album"},
    {"TBPM", "TBP", "beats per minute"},
    {"TCAT", "TCT", "podcast category"},
    {"TCMP", "TCP", "compilation"},
    {"TCOM", "TCM", "composer"},
    {"TCON", "TCO", "genre"},
    {"TCOP", "TCR", "copyright"},
    {"TDAT", "TDA", "date"},
    {"TDEN", "", "encoding time"},
    {"TDES", "TDS", "podcast description"},
    {"TDLY", "TDY", "playlist delay"},
    {"TDOR", "", "original release time"},
    {"TDRC", "", "recording time"},
    {"TDRL", "", "release time"},
    {"TDTG", "", "tagging time"},
    {"TENC", "TEN", "encoded by"},
    {"TEXT", "TXT", "lyricist"},
    {"TFLT", "TFT", "file type"},
    {"TGID", "TID", "podcast identifier"},
    {"TIME", "TIM", "time"},
    {"TIPL", "", "involved people"},
    {"TIT1", "TT1", "grouping"},
    {"TIT2", "TT2", "title"},
    {"TIT3", "TT3", "subtitle"},
    {"TKEY", "TKE", "key"},
    {"TKWD", "TKW", "podcast keywords"},
    {"TLAN", "TLA", "language"},
    {"TLEN", "TLE", "length"},
    {"TMCL", "", "musicians"},
    {"TMED", "TMT", "media type"},
    {"TMOO", "", "mood"},
    {"TOAL", "TOT", "original album"},
    {"TOFN", "TOF", "original file name"},
    {"TOLY", "TOL", "original lyricist"},
    {"TOPE", "TOA", "original artist"},
    {"TORY", "TOR", "original year"},
    {"TOWN", "", "owner"},
    {"TPE1", "TP1", "artist"},
    {"TPE2", "TP2", "album artist"},
    {"TPE3", "TP3", "conductor"},
    {"TPE4", "TP4", "remixer"},
    {"TPOS", "TPA", "disc"},
    {"TPRO", "", "produced notice"},
    {"TPUB", "TPB", "publisher"},
    {"TRCK", "TRK", "track"},
    {"TRDA", "TRD", "recording dates"},
    {"TRSN", "", "radio station"},
    {"TRSO", "", "radio station owner"},
    {"TSIZ", "TSI", "size"},
    {"TSO2", "TS2", "album artist for sorting"},
    {"TSOA", "TSA", "album for sorting"},
    {"TSOC", "TSC", "composer for sorting"},
    {"TSOP", "TSP", "artist for sorting"},
    {"TSOT", "TST", "title for sorting"},
    {"TSRC", "TRC", "ISRC"},
    {"TSSE", "TSS", "encoder settings"},
    {"TSST", "", "disc title"},
    {"TXXX", "TXX", "user text"},
    {"TYER", "TYE", "year"},
    {"UFID", "UFI", "file identifier"},
    {"USER", "", "terms of use"},
    {"USLT", "ULT", "lyrics"},
    {"WCOM", "WCM", "commercial page"},
    {"WCOP", "WCP", "copyright page"},
    {"WFED", "WFD", "podcast feed"},
    {"WOAF", "WAF", "file page"},
    {"WOAR", "WAR", "artist page"},
    {"WOAS", "WAS", "source page"},
    {"WORS", "", "radio station page"},
    {"WPAY", "", "payment page"},
    {"WPUB", "WPB", "publisher page"},
    {"WXXX", "WXX", "user page"},
};

}  // namespace

std::string_view frameName(std::string_view identifier) {
    if (identifier.empty()) return "";
    const auto found = std::find_if(std::begin(kNames), std::end(kNames), [&](const FrameName& name) {
        return name.identifier == identifier || name.oldIdentifier == identifier;
    });
    return found == std::end(kNames) ? "" : found->name;
}

}  // namespace quillet::cli
