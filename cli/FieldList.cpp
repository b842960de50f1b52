#include "cli/FieldList.hpp"

#include <fmt/format.h>

namespace quillet::cli {

namespace {
constexpr std::size_t kNameColumns = 14;
}  // namespace

void FieldList::add(std::string_view name, std::string_view value, std::string_view unit) {
    if (value.empty()) return;
    std::string line = shown(value) + std::string(unit);
    if (console_.outputIsTerminal() && console_.width() > 2 * kNameColumns)
        line = fitted(line, console_.width() - kNameColumns);
    if (!text_.empty()) text_ += '\n';
    text_ += console_.coloured(Colour::bold, fmt::format("{:<{}}", name, kNameColumns - 1)) + ' ' + line;
}

}  // namespace quillet::cli
