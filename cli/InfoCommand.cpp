#include <fmt/format.h>

#include <nlohmann/json.hpp>

#include "cli/AudioView.hpp"
#include "cli/FieldList.hpp"
#include "cli/FileSelection.hpp"
#include "cli/TagReading.hpp"
#include "cli/TrackView.hpp"

namespace quillet::cli {

namespace {

// The widths are known before the first file is, and the name comes last: so a row can be printed as soon as it is
// there, however many follow.
constexpr const char* kRow = "{:>8}  {:>6}  {:>6}  {:<14}  {:<12}  {:<7}  {}";
constexpr std::size_t kColumnsBeforeName = 65;

std::string formatText(const AudioView& audio, std::string_view between) {
    return audio.layerText().empty() ? ""
                                     : fmt::format("{}{}Layer {}", audio.versionText(), between, audio.layerText());
}

std::string jsonResult(const TagView& view) {
    nlohmann::ordered_json object;
    addFileName(object, "file", view.path());
    view.audio().addTo(object);
    return jsonWithWarnings(std::move(object), view);
}

std::string block(const Console& console, const TagView& view) {
    const AudioView audio = view.audio();
    FieldList fields(console);
    fields.add("file", view.path());
    if (audio.layerText().empty())
        fields.add("audio", "none");
    else
        fields.add("audio", fmt::format("MPEG {}", formatText(audio, ", ")));
    fields.add("bit rate", audio.bitRateText(), " kbit/s");
    fields.add("frequency", audio.frequencyText(), " Hz");
    fields.add("channels", audio.channelText());
    if (audio.durationMs())
        fields.add("duration", fmt::format("{} (by {})", audio.exactTimeText(), audio.durationFromText()));
    if (const auto count = audio.frameCount()) fields.add("frames", std::to_string(*count));
    fields.add("fingerprint", audio.hash());
    return fields.text() + warningLines(console, view, "");
}

std::string row(const Console& console, const TagView& view) {
    const AudioView audio = view.audio();
    const std::size_t width = console.width();
    const std::string name =
        fitted(shown(view.path()), width > kColumnsBeforeName + 12 ? width - kColumnsBeforeName : 12);
    return fmt::format(kRow, audio.timeText(), audio.bitRateText(), audio.frequencyText(), audio.channelText(),
                       formatText(audio, " "), audio.durationFrom(), name) +
           warningLines(console, view, "          ");
}

std::string tabbedLine(const TagView& view) {
    const AudioView audio = view.audio();
    const std::string frames = audio.frameCount() ? std::to_string(*audio.frameCount()) : "";
    return fmt::format("{}\t{}\t{}\t{}\t{}\t{}\t{}\t{}\t{}\t{}\t{}", shown(view.path()), audio.versionText(),
                       audio.layerText(), audio.bitRateText(), audio.frequencyText(), audio.channelText(),
                       audio.secondsText(), audio.durationFrom(), frames, audio.hash(),
                       shown(fmt::to_string(fmt::join(view.warnings(), "; "))));
}

}  // namespace

int runInfo(Console& console, const TagFiles& files) {
    const bool isTable = console.outputIsTerminal() && !console.json() && FileSelection::mayBeSeveral(files.paths);
    ResultLayout layout;
    if (isTable)
        layout.heading = console.coloured(
            Colour::bold, fmt::format(kRow, "Time", "kbit/s", "Hz", "Channels", "MPEG", "From", "File"));
    return readTags(console, files, layout, [&](const TagView& view) -> FileOutput {
        if (console.json()) return {jsonResult(view), ""};
        if (!console.outputIsTerminal()) return {tabbedLine(view), ""};
        return {isTable ? row(console, view) : block(console, view), ""};
    });
}

}  // namespace quillet::cli
