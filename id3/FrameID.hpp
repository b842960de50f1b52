#pragma once

#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace quillet {

/// A frame identifier: 3 characters in ID3v2.2, 4 in 2.3 and 2.4. Kept in one word, so that a comparison is one
/// instruction. A longer identifier, which no version has, is cut to 4 characters.
class FrameID {
  public:
    constexpr FrameID() = default;
    constexpr FrameID(std::string_view text) {
        for (std::size_t i = 0; i < 4; ++i)
            word_ = word_ << 8 | (i < text.size() ? static_cast<unsigned char>(text[i]) : 0U);
    }
    /// The four characters of a big-endian word.
    static constexpr FrameID ofWord(std::uint32_t word) {
        FrameID identifier;
        identifier.word_ = word;
        return identifier;
    }
    constexpr FrameID(const char* text) : FrameID(std::string_view(text)) {}

    std::string text() const {
        std::string characters;
        for (unsigned shift = 32; shift > 0 && (word_ >> (shift - 8) & 0xFF) != 0; shift -= 8)
            characters += static_cast<char>(word_ >> (shift - 8) & 0xFF);
        return characters;
    }
    /// The character at a place from 0 to 3; 0 where there is none.
    constexpr std::uint8_t character(std::uint32_t place) const {
        return static_cast<std::uint8_t>(word_ >> (24 - 8 * place) & 0xFF);
    }
    constexpr bool empty() const { return word_ == 0; }
    /// An identifier as ID3v2.2 has it.
    constexpr FrameID firstThree() const {
        FrameID three;
        three.word_ = word_ & 0xFFFFFF00;
        return three;
    }
    constexpr auto operator<=>(const FrameID&) const = default;

  private:
    std::uint32_t word_ = 0;  ///< first character on top; unused places are zero
};

}  // namespace quillet
