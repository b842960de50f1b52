#include "id3/FrameDates.hpp"

#include <cstddef>

#include "util/Text.hpp"

namespace quillet {

namespace {

constexpr std::string_view kYear = "dddd";
constexpr std::string_view kDate = "dddd-dd-dd";
constexpr std::string_view kTime = "dddd-dd-ddTdd:dd";

/// Whether `text` has that form, in which 'd' is a digit.
bool hasForm(std::string_view text, std::string_view form) {
    if (text.size() != form.size()) return false;
    for (std::size_t i = 0; i < form.size(); ++i) {
        const bool fits = form[i] == 'd' ? text[i] >= '0' && text[i] <= '9' : text[i] == form[i];
        if (!fits) return false;
    }
    return true;
}

bool isWithin(std::string_view twoDigits, int first, int last) {
    const auto number = util::integerValue(twoDigits);
    return number >= first && number <= last;
}

}  // namespace

std::string timeStampOf(const OldDate& old) {
    std::string stamp = old.year;
    if (!hasForm(stamp, kYear) || !hasForm(old.date, "dddd")) return stamp;
    const std::string day = old.date.substr(0, 2);
    const std::string month = old.date.substr(2);
    if (!isWithin(day, 1, 31) || !isWithin(month, 1, 12)) return stamp;
    stamp.append("-").append(month).append("-").append(day);
    if (!hasForm(old.time, "dddd") || !isWithin(old.time.substr(0, 2), 0, 23) || !isWithin(old.time.substr(2), 0, 59))
        return stamp;
    return stamp.append("T").append(old.time, 0, 2).append(":").append(old.time, 2);
}

OldDate oldDateOf(std::string_view timeStamp) {
    const auto part = [&](std::size_t position) { return std::string(timeStamp.substr(position, 2)); };
    OldDate old;
    if (!hasForm(timeStamp.substr(0, kYear.size()), kYear)) {
        old.year = timeStamp;
        return old;
    }
    old.year = timeStamp.substr(0, kYear.size());
    if (hasForm(timeStamp.substr(0, kDate.size()), kDate)) old.date = part(8) + part(5);
    if (hasForm(timeStamp.substr(0, kTime.size()), kTime)) old.time = part(11) + part(14);
    return old;
}

}  // namespace quillet
