#pragma once

#include <cstddef>
#include <functional>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <string_view>

namespace quillet::cli {

enum class Colour { plain, dim, bold, green, yellow, red };

/// What the user sees: results on standard output, everything else on standard error. Colour only on a terminal, and
/// not where NO_COLOR is set or TERM is "dumb".
class Console {
  public:
    explicit Console(bool json);

    /// Whether results are JSON Lines.
    bool json() const { return json_; }
    bool outputIsTerminal() const { return outputIsTerminal_; }
    bool errorIsTerminal() const { return errorIsTerminal_; }
    /// Columns of the terminal that standard output is, or 80.
    std::size_t width() const;

    /// One result line.
    void line(std::string_view text);
    /// A result that is no text, as it is.
    void bytes(std::string_view content);
    void jsonLine(const nlohmann::ordered_json& object);
    /// A remark on standard error: "quillet: text". Printed beside JSON results too.
    void note(std::string_view text);
    /// The same, in red on a terminal.
    void error(std::string_view text);

    /// Called before each line that is printed, to take away what is on the screen only for now; null for nothing.
    void beforeLines(std::function<void()> clear) { beforeLine_ = std::move(clear); }

    /// Whether some result was not taken, so that more are in vain.
    bool outputHasFailed() const { return outputError_ != 0; }
    /// Ends results; false where standard output did not take them all, with a line unless a reader just had enough.
    bool finish();

    std::string coloured(Colour colour, std::string_view text) const;

  private:
    void makeRoom() {
        if (beforeLine_) beforeLine_();
    }

    std::function<void()> beforeLine_;
    int outputError_ = 0;  ///< errno of the first result that was not taken
    bool json_;
    bool outputIsTerminal_;
    bool errorIsTerminal_;
    bool colour_;
};

/// The object on one line; what is not UTF-8 in it is replaced.
std::string jsonText(const nlohmann::ordered_json& object);

/// A file name or tag text made fit for one line: ill-formed parts as U+FFFD, control characters as \n, \t, \x1b ...
std::string shown(std::string_view bytes);

/// How many terminal columns `utf8` takes.
std::size_t columnsOf(std::string_view utf8);
/// `utf8` cut to at most `columns` columns, with "…" at its end where something is missing.
std::string fitted(std::string_view utf8, std::size_t columns);

}  // namespace quillet::cli
