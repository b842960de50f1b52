#include "cli/Console.hpp"

#include <fmt/format.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <nlohmann/json.hpp>

#include "util/Text.hpp"

namespace quillet::cli {

namespace {

const char* escapeOf(Colour colour) {
    switch (colour) {
        case Colour::plain:
            return "";
        case Colour::dim:
            return "\x1b[2m";
        case Colour::bold:
            return "\x1b[1m";
        case Colour::green:
            return "\x1b[32m";
        case Colour::yellow:
            return "\x1b[33m";
        case Colour::red:
            return "\x1b[31m";
    }
    return "";
}

bool wantsColour() {
    const char* no = std::getenv("NO_COLOR");
    const char* terminal = std::getenv("TERM");
    return (no == nullptr || *no == '\0') && (terminal == nullptr || std::string_view(terminal) != "dumb");
}

/// The next character of well-formed `utf8` and its columns; `utf8` moves on.
std::string_view nextCharacter(std::string_view& utf8, std::size_t& columns) {
    std::mbstate_t state = {};
    wchar_t character = 0;
    std::size_t length = std::mbrtowc(&character, utf8.data(), utf8.size(), &state);
    columns = 1;
    if (length == 0 || length > utf8.size()) {
        length = 1;
    } else if (const int width = wcwidth(character); width >= 0) {
        columns = static_cast<std::size_t>(width);
    }
    const std::string_view taken = utf8.substr(0, length);
    utf8.remove_prefix(length);
    return taken;
}

}  // namespace

Console::Console(bool json)
    : json_(json),
      outputIsTerminal_(isatty(STDOUT_FILENO) == 1),
      errorIsTerminal_(isatty(STDERR_FILENO) == 1),
      colour_(wantsColour()) {}

std::size_t Console::width() const {
    winsize size = {};
    return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
}

void Console::bytes(std::string_view content) {
    makeRoom();
    if (std::fwrite(content.data(), 1, content.size(), stdout) != content.size() && outputError_ == 0)
        outputError_ = errno;
}

void Console::line(std::string_view text) {
    bytes(text);
    bytes("\n");
}

void Console::jsonLine(const nlohmann::ordered_json& object) {
    line(jsonText(object));
}

void Console::note(std::string_view text) {
    makeRoom();
    std::fflush(stdout);
    const std::string whole = fmt::format("quillet: {}\n", text);
    std::fwrite(whole.data(), 1, whole.size(), stderr);
}

void Console::error(std::string_view text) {
    if (!errorIsTerminal_ || !colour_) return note(text);
    makeRoom();
    std::fflush(stdout);
    const std::string whole = fmt::format("quillet: {}{}\x1b[0m\n", escapeOf(Colour::red), text);
    std::fwrite(whole.data(), 1, whole.size(), stderr);
}

bool Console::finish() {
    if (std::fflush(stdout) != 0 && outputError_ == 0) outputError_ = errno;
    if (outputError_ != 0 && outputError_ != EPIPE)
        error(fmt::format("standard output did not take all results: {}", std::strerror(outputError_)));
    return outputError_ == 0;
}

std::string Console::coloured(Colour colour, std::string_view text) const {
    if (!outputIsTerminal_ || !colour_ || colour == Colour::plain) return std::string(text);
    return fmt::format("{}{}\x1b[0m", escapeOf(colour), text);
}

std::string jsonText(const nlohmann::ordered_json& object) {
    return object.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}

/// The character that `utf8` begins with, where it ends a line or turns the direction of what follows it, which could
/// make a line say another thing than it does (U+2028 to U+202E, U+2066 to U+2069); 0 otherwise.
static unsigned reorderingAt(std::string_view utf8) {
    if (utf8.size() < 3 || utf8[0] != '\xE2') return 0;
    const auto second = static_cast<unsigned char>(utf8[1]);
    const auto third = static_cast<unsigned char>(utf8[2]);
    const unsigned character = 0x2000U | (second & 0x3FU) << 6 | (third & 0x3FU);
    const bool found = (character >= 0x2028 && character <= 0x202E) || (character >= 0x2066 && character <= 0x2069);
    return found ? character : 0;
}

std::string shown(std::string_view bytes) {
    const std::string decoded = util::decodeUTF8(util::bytesOf(bytes));
    std::string text;
    for (std::size_t i = 0; i < decoded.size(); ++i) {
        const char character = decoded[i];
        const auto value = static_cast<unsigned char>(character);
        const auto next = static_cast<unsigned char>(i + 1 < decoded.size() ? decoded[i + 1] : '\0');
        const unsigned reordering = reorderingAt(std::string_view(decoded).substr(i));
        if (reordering != 0) {
            text += fmt::format("\\u{:04x}", reordering);
            i += 2;
        } else if (value == 0xC2 && next < 0xA0) {  // U+0080 to U+009F
            text += fmt::format("\\x{:02x}", next);
            ++i;
        } else if (value < 0x20 || value == 0x7F) {
            const std::string_view kShort = "\n\r\t";
            const std::size_t known = kShort.find(character);
            text += known == kShort.npos ? fmt::format("\\x{:02x}", value) : fmt::format("\\{}", "nrt"[known]);
        } else {
            text += character;
        }
    }
    return text;
}

std::size_t columnsOf(std::string_view utf8) {
    std::size_t total = 0;
    while (!utf8.empty()) {
        std::size_t columns = 0;
        nextCharacter(utf8, columns);
        total += columns;
    }
    return total;
}

std::string fitted(std::string_view utf8, std::size_t columns) {
    if (columnsOf(utf8) <= columns) return std::string(utf8);
    std::string text;
    std::size_t used = 1;  // the ellipsis
    while (!utf8.empty()) {
        std::size_t next = 0;
        const std::string_view character = nextCharacter(utf8, next);
        if (used + next > columns) break;
        used += next;
        text += character;
    }
    return text + "…";
}

}  // namespace quillet::cli
