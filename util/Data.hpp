#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "util/Bytes.hpp"

namespace quillet::util {

/// Immutable bytes with shared ownership. A copy and a slice share the storage, which lives as long as any of them;
/// safe to share between threads.
class Data {
  public:
    Data() = default;
    explicit Data(std::vector<std::uint8_t> bytes);
    /// A view on bytes that `owner` keeps alive, and that nobody changes from now on.
    Data(std::shared_ptr<const void> owner, Bytes view) noexcept : storage_(std::move(owner)), view_(view) {}
    /// Copies what it is given.
    static Data copyOf(Bytes bytes);

    Bytes bytes() const noexcept { return view_; }
    std::size_t size() const noexcept { return view_.size(); }
    bool empty() const noexcept { return view_.empty(); }

    /// The `count` bytes at `offset`, sharing this storage; nullopt where they do not all lie inside.
    std::optional<Data> slice(std::size_t offset, std::size_t count) const {
        if (offset > size() || count > size() - offset) return std::nullopt;
        return Data(storage_, view_.subspan(offset, count));
    }
    /// Whether both are the same view of the same storage, not only equal bytes.
    bool isSameObject(const Data& other) const noexcept;

    /// -inflate  Decompresses zlib-wrapped bytes (RFC 1950). Empty data answers itself; nullopt where the bytes are
    /// truncated, corrupt or not zlib-wrapped.
    std::optional<Data> inflate() const;
    /// -deflate  Compresses to zlib-wrapped bytes at level 1, the fastest. Empty data answers itself; nullopt where
    /// zlib cannot start.
    std::optional<Data> deflate() const;
    /// -MD5  The digest as 32 lower-case hexadecimal digits (RFC 1321).
    std::string MD5() const;

    /// Equal bytes, wherever they are kept.
    friend bool operator==(const Data& a, const Data& b);

  private:
    std::shared_ptr<const void> storage_;
    Bytes view_;
};

/// The MD5 digest of `bytes` by the machine's own library (CommonCrypto on the device, libcrypto on Linux).
std::array<std::uint8_t, 16> platformMD5(Bytes bytes);

}  // namespace quillet::util
