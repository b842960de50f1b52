#include "id3/FrameConversion.hpp"

#include <algorithm>
#include <initializer_list>
#include <iterator>
#include <memory>
#include <utility>

#include "id3/ChapterFrame.hpp"
#include "id3/FrameDates.hpp"
#include "id3/FrameFormat.hpp"
#include "id3/FrameLayout.hpp"
#include "id3/Limits.hpp"
#include "id3/id3V2Tag.hpp"
#include "util/ByteReader.hpp"
#include "util/Text.hpp"

namespace quillet {

namespace {

using util::Data;

/// What the size of a frame is at least that 2.2 cannot tell, and 2.4.
constexpr std::size_t kTooLargeFor2 = std::size_t{1} << 24;
constexpr std::size_t kTooLargeFor4 = std::size_t{1} << 28;

bool isOneOf(FrameID identifier, std::initializer_list<FrameID> identifiers) {
    return std::ranges::find(identifiers, identifier) != identifiers.end();
}
bool isYear(FrameID identifier) {
    return isOneOf(identifier, {"TYER", "TYE"});
}
bool isDay(FrameID identifier) {
    return isOneOf(identifier, {"TDAT", "TDA"});
}
bool isTime(FrameID identifier) {
    return isOneOf(identifier, {"TIME", "TIM"});
}
bool isPeople(FrameID identifier) {
    return isOneOf(identifier, {"TIPL", "TMCL", "IPLS", "IPL"});
}
bool isChapter(FrameID identifier) {
    return isOneOf(identifier, {"CHAP", "CTOC"});
}

bool isGenreReference(std::string_view text) {
    const auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
    return text == "RX" || text == "CR" || (!text.empty() && std::ranges::all_of(text, isDigit));
}

/// "(17)(RX)Name", as 2.2 and 2.3 write several genres (ID3v2.3.0 4.2.1, TCON).
std::string oldGenreText(const std::vector<std::string>& genres, const GenreNumbers& numberOf) {
    std::string references;
    std::vector<std::string> names;
    for (const std::string& genre : genres) {
        const std::int64_t number = genres.size() > 1 ? numberOf(genre).value_or(kNoGenre) : kNoGenre;
        if (isGenreReference(genre)) {
            references += "(" + genre + ")";
        } else if (number >= 0 && number < kNoGenre) {
            references += "(" + std::to_string(number) + ")";
        } else {
            names.push_back(genre);
        }
    }
    const std::string name = joined(names, kBetweenOldValues);
    return references + (name.starts_with('(') ? "(" : "") + name;
}

/// The conversion of one tag's frames.
class Converter {
  public:
    Converter(const FrameArray& frames, const id3V2Tag& target, const GenreNumbers& numberOf, std::string_view inside)
        : frames_(frames),
          target_(target),
          numberOf_(numberOf),
          inside_(inside),
          version_(static_cast<std::int32_t>(target.tagVersion())) {
        readDates();
        for (const auto& frame : frames_) convert(*frame);
    }
    ConvertedFrames result() { return std::move(converted_); }

  private:
    void lose(FrameID identifier, std::string reason) {
        converted_.losses.push_back({std::string(inside_) + identifier.text(), std::move(reason)});
    }
    std::string versionName() const { return "ID3v2." + std::to_string(version_); }

    void convert(const id3V2Frame& frame) {
        const FrameID identifier = frame.getFrameID();
        if (frame.encrypted()) return convertEncrypted(frame);
        if (!frame.getRawFrameData()) return lose(identifier, "could not be read");
        if (convertsDates_ && (identifier == "TDRC" || isYear(identifier) || isDay(identifier) || isTime(identifier)))
            return convertDate(frame);
        if (isPeople(identifier) && version_ < 4 && frame.majorVersion() >= 4) return convertPeople(frame);
        const auto [own, isText] = ownIdentifier(frame);
        if (own.empty()) return lose(identifier, versionName() + " has no frame for it");
        if (isChapter(identifier)) return convertChapter(frame, own);
        if (isText) return convertText(frame, own);
        add(frame, own, bodyForVersion(frame, layoutOf(identifier), version_));
    }

    struct OwnIdentifier {
        FrameID identifier;  ///< empty where the version has no such frame
        bool isText = false;
    };
    OwnIdentifier ownIdentifier(const id3V2Frame& frame) const {
        const std::string identifier = frame.getFrameID().text();
        const ResolvedFrame resolved = target_.getActualFrameID(identifier);
        if (resolved.record != nullptr)
            return {FrameID(*resolved.identifier), FrameLibrary::flagOf(*resolved.record, "text")};
        const bool isExperimental = identifier.size() == 4 && identifier[0] >= 'X' && identifier[0] <= 'Z';
        return {isExperimental && version_ >= 3 && frame.majorVersion() >= 3 ? frame.getFrameID() : FrameID(), false};
    }

    void add(const id3V2Frame& old, FrameID identifier, Data body) {
        const std::size_t limit = version_ < 3 ? kTooLargeFor2 : kTooLargeFor4;
        if (body.size() >= limit) return lose(old.getFrameID(), "is too large for " + versionName());
        converted_.frames.push_back(frameLike(old, identifier, std::move(body), version_));
    }
    void addText(const id3V2Frame& old, FrameID identifier, const std::string& text) {
        const std::uint8_t coding = util::ByteReader(old.getRawFrameData()->bytes()).u8().value_or(0);
        const auto made = id3V2Frame::initTextFrame(identifier, 0, 0, text, encodingFor(text, coding, version_),
                                                    version_, kStandardDialect);
        add(old, identifier, *made->getRawFrameData());
    }

    void convertEncrypted(const id3V2Frame& frame) {
        const FrameID identifier = frame.getFrameID();
        if (version_ < 3) return lose(identifier, "is encrypted, which " + versionName() + " does not know");
        auto made = ownIdentifier(frame).identifier == identifier ? encryptedFrameFor(version_, frame) : nullptr;
        if (!made) return lose(identifier, "is encrypted, and cannot be changed");
        converted_.frames.push_back(std::move(made));
    }

    void convertText(const id3V2Frame& frame, FrameID own) {
        const Data& body = *frame.getRawFrameData();
        const std::uint8_t coding = util::ByteReader(body.bytes()).u8().value_or(0);
        const auto values = frame.textValues();
        const std::string text = joined(values, std::string_view("\0", 1));
        std::string wanted = text;
        const bool changesForm = (version_ >= 4) != (frame.majorVersion() >= 4);
        if (changesForm && isOneOf(frame.getFrameID(), {"TCON", "TCO"})) {
            const auto genres = frame.genreArrayFromFrame();
            wanted = version_ >= 4 ? joined(genres, std::string_view("\0", 1)) : oldGenreText(genres, numberOf_);
        } else if (changesForm && version_ < 4 && frame.getFrameID() == "TDOR") {
            wanted = oldDateOf(text).year;
            if (wanted != text) lose(frame.getFrameID(), "is kept as " + wanted);
        } else if (changesForm && version_ < 4 && values.size() > 1) {
            wanted = joined(values, kBetweenOldValues);
        }
        if (wanted == text && hasEncoding(version_, coding)) return add(frame, own, body);
        addText(frame, own, wanted);
    }

    /// All involved people are one list before 2.4.
    void convertPeople(const id3V2Frame& frame) {
        if (std::exchange(peopleAreWritten_, true)) return;
        for (const auto& one : frames_) {
            if (isPeople(one->getFrameID()) && one->getRawFrameData() && !one->encrypted()) addPeople(*one);
        }
        addText(frame, version_ < 3 ? "IPL" : "IPLS", peopleText_);
    }
    void addPeople(const id3V2Frame& frame) {
        auto values = frame.textValues();
        if (values.size() % 2 != 0) values.emplace_back();  // a part without a name, which is to stay one
        if (!peopleText_.empty() && !values.empty()) peopleText_ += '\0';
        peopleText_ += joined(values, std::string_view("\0", 1));
    }

    void readDates() {
        for (const auto& frame : frames_) {
            if (!frame->getRawFrameData() || frame->encrypted()) continue;
            const FrameID identifier = frame->getFrameID();
            const auto note = [&](std::string& part) {
                if (part.empty()) part = frame->getTextFromFrame().value_or("");
            };
            if (identifier == "TDRC") note(timeStamp_);
            if (isYear(identifier)) note(oldDate_.year);
            if (isDay(identifier)) note(oldDate_.date);
            if (isTime(identifier)) note(oldDate_.time);
        }
        hasTimeStamp_ = !timeStamp_.empty();
        if (!hasTimeStamp_) timeStamp_ = timeStampOf(oldDate_);
        // Between 2.2 and 2.3 each part is a frame of its own that stays one.
        convertsDates_ = version_ >= 4 || hasTimeStamp_;
    }
    /// All of them at the place of the first, and what each tells that the new ones do not.
    void convertDate(const id3V2Frame& frame) {
        const FrameID identifier = frame.getFrameID();
        const OldDate old = oldDateOf(timeStamp_);
        const std::string told = version_ >= 4 ? timeStamp_ : timeStampOf(old);
        if (!std::exchange(datesAreWritten_, true) && !timeStamp_.empty()) {
            if (version_ >= 4) {
                addText(frame, "TDRC", timeStamp_);
            } else {
                addText(frame, version_ < 3 ? "TYE" : "TYER", old.year);
                if (!old.date.empty()) addText(frame, version_ < 3 ? "TDA" : "TDAT", old.date);
                if (!old.time.empty()) addText(frame, version_ < 3 ? "TIM" : "TIME", old.time);
            }
        }
        const std::string text = frame.getTextFromFrame().value_or("");
        const OldDate kept = oldDateOf(told);
        const bool isTold = identifier == "TDRC" ? text == told
                            : isYear(identifier) ? told.starts_with(text)
                                                 : text == (isDay(identifier) ? kept.date : kept.time);
        if (!isTold) lose(identifier, told.empty() ? "has no year" : "is kept as " + told);
    }

    void convertChapter(const id3V2Frame& frame, FrameID own) {
        const auto chapter = inside_.empty() ? chapterFrameOf(frame) : std::nullopt;
        if (!chapter) return lose(frame.getFrameID(), "could not be read");
        ConvertedFrames inner =
            Converter(chapter->frames, target_, numberOf_, frame.getFrameID().text() + "/").result();
        std::ranges::move(inner.losses, std::back_inserter(converted_.losses));
        std::string bytes = chapter->front;
        for (const auto& part : inner.frames) part->appendCompleteRawFrame(bytes, version_ == 3);
        add(frame, own, Data::copyOf(util::bytesOf(bytes)));
    }

    const FrameArray& frames_;
    const id3V2Tag& target_;
    const GenreNumbers& numberOf_;
    std::string inside_;  ///< the chapter frame and "/", where the frames are of one
    std::int32_t version_;
    ConvertedFrames converted_;

    std::string timeStamp_;  ///< of all the dates' frames together
    OldDate oldDate_;
    bool hasTimeStamp_ = false;  ///< there is a frame of one
    bool convertsDates_ = false;
    bool datesAreWritten_ = false;
    bool peopleAreWritten_ = false;
    std::string peopleText_;
};

}  // namespace

ConvertedFrames convertFrames(const FrameArray& frames, const id3V2Tag& target, const GenreNumbers& numberOf) {
    return Converter(frames, target, numberOf, "").result();
}

}  // namespace quillet
