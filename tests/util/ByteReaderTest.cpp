#include "util/ByteReader.hpp"

#include <gtest/gtest.h>

#include <limits>

namespace quillet::util {
namespace {

constexpr std::uint8_t kBytes[] = {0x81, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x08};

/// What one kind of read gives at the start of kBytes, widened; nullopt where it does not fit.
struct ReadCase {
    const char* name;
    std::optional<std::uint64_t> (*read)(ByteReader&);
    std::size_t width;
    std::uint64_t value;
};

template <auto member>
std::optional<std::uint64_t> widened(ByteReader& reader) {
    return (reader.*member)();
}

const ReadCase kReads[] = {
    {"u8", widened<&ByteReader::u8>, 1, 0x81},
    {"u16BigEndian", widened<&ByteReader::u16BigEndian>, 2, 0x8102},
    {"u16LittleEndian", widened<&ByteReader::u16LittleEndian>, 2, 0x0281},
    {"u24BigEndian", widened<&ByteReader::u24BigEndian>, 3, 0x810203},
    {"u32BigEndian", widened<&ByteReader::u32BigEndian>, 4, 0x81020304},
    {"u32LittleEndian", widened<&ByteReader::u32LittleEndian>, 4, 0x04030281},
    {"u64BigEndian", widened<&ByteReader::u64BigEndian>, 8, 0x8102030405060708},
};

TEST(ByteReader, ReadsWhatFitsAndConsumesNothingElse) {
    for (const ReadCase& c : kReads) {
        SCOPED_TRACE(c.name);
        for (std::size_t size = 0; size <= sizeof kBytes; ++size) {
            ByteReader reader(Bytes(kBytes).first(size));
            const auto value = c.read(reader);
            EXPECT_EQ(value, size < c.width ? std::nullopt : std::optional(c.value));
            EXPECT_EQ(reader.remaining(), size < c.width ? size : size - c.width);
        }
    }
}

TEST(ByteReader, RefusesALengthBeyondTheEndHoweverLargeAndKeepsAChildInsideItsOwn) {
    for (const std::size_t count : {std::size_t{8}, std::size_t{9}, std::numeric_limits<std::size_t>::max()}) {
        ByteReader reader(kBytes);
        ASSERT_TRUE(reader.skip(1));
        EXPECT_FALSE(reader.take(count));
        EXPECT_FALSE(reader.child(count));
        EXPECT_FALSE(reader.skip(count));
        EXPECT_EQ(reader.remaining(), 7U);
    }
    ByteReader reader(kBytes);
    auto child = reader.child(3);
    ASSERT_TRUE(child);
    EXPECT_FALSE(child->u32BigEndian());
    EXPECT_EQ(child->u24BigEndian(), 0x810203U);
    EXPECT_TRUE(child->atEnd());
    EXPECT_EQ(reader.u8(), 0x04);
}

}  // namespace
}  // namespace quillet::util
