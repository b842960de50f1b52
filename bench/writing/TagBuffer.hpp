#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace quillet::bench {

/// The tag of one file after another, in one buffer, changed with the least work that gives a right tag: no more than
/// the frames behind the title move. For tags that are known to be sound, and have a title.
class TagBuffer {
  public:
    /// Reads the head of an open file, and the rest of the tag where that is longer; false without a tag.
    bool read(int file);
    /// Changes the title frame's text. A tag that it does not fit gets a kibibyte of padding; false without a title.
    bool setTitle(std::string_view title);
    std::span<const std::uint8_t> bytes() const { return {buffer_.data(), size_}; }

  private:
    /// A frame's header at `begin`, of which a length is read or written as the version has it.
    std::size_t bodyLength(std::size_t begin) const;
    void setBodyLength(std::size_t begin, std::size_t length);
    std::size_t headerLength() const { return buffer_[3] == 2 ? 6 : 10; }
    bool readUpTo(int file, std::size_t end);

    std::vector<std::uint8_t> buffer_;
    std::size_t filled_ = 0;
    std::size_t size_ = 0;  ///< of the tag, its header included
};

}  // namespace quillet::bench
