#pragma once

#include <cstdint>
#include <string>

namespace quillet::cli {

/// What the library side tells of the entries of the drop folder, by their names there. No call may throw.
class BatchReporter {
  public:
    virtual ~BatchReporter() = default;

    /// One more entry of the batch in hand has gone through the library.
    virtual void progressed() {}
    /// The file is in the library. A batch reports it when its transaction is safe.
    virtual void imported(const std::string& entry, std::uint64_t persistentID) = 0;
    /// No audio: it lies in the folder Rejected now, as `rejectedPath`.
    virtual void rejected(const std::string& entry, const std::string& rejectedPath, const std::string& reason) = 0;
    /// It could not be moved and lies in the drop folder still.
    virtual void kept(const std::string& entry, const std::string& reason) = 0;
    /// Its file is in the media folder, but the library did not take it; the next re-check tries again.
    virtual void notTaken(const std::string& entry, const std::string& assetName) = 0;
};

}  // namespace quillet::cli
