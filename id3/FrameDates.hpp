#pragma once

#include <string>
#include <string_view>

namespace quillet {

/// A time of recording as ID3v2.2 and 2.3 tell it: TYER, TDAT ("DDMM") and TIME ("HHMM"), each "" where it is not told
/// (ID3v2.3.0 4.2.1).
struct OldDate {
    std::string year, date, time;
    bool operator==(const OldDate&) const = default;
};

/// The time stamp of 2.4, such as "2004-05-06T07:08", as far as it can be told: a date needs a year of four digits, a
/// time needs a date. A year of another form is taken as it stands (ID3v2.4.0 structure 4).
std::string timeStampOf(const OldDate& old);
/// The same the other way. What a time stamp tells beyond that, timeStampOf of the answer does not.
OldDate oldDateOf(std::string_view timeStamp);

}  // namespace quillet
