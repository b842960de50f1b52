#pragma once

#include <algorithm>
#include <string>
#include <vector>

namespace quillet {

/// What a reader has to tell of a tag or of audio, in plain words, each once.
class Remarks {
  public:
    /// Something had to be guessed, cut, skipped or left unread: what was read is not all that is there.
    void add(std::string remark) {
        faithful_ = false;
        note(std::move(remark));
    }
    /// Something is odd, but was read as it is meant, and is kept as it stands.
    void note(std::string remark) {
        if (std::find(all_.begin(), all_.end(), remark) == all_.end() && all_.size() < kMost)
            all_.push_back(std::move(remark));
    }
    /// Takes over what another reader has to tell.
    void add(const Remarks& others) {
        for (const std::string& remark : others.all_) note(remark);
        faithful_ = faithful_ && others.faithful_;
    }
    bool empty() const { return all_.empty(); }
    /// Whether everything was read as it stands.
    bool faithful() const { return faithful_; }
    const std::vector<std::string>& all() const { return all_; }
    void clear() { *this = Remarks(); }

  private:
    /// A tag of a million broken frames needs no million words.
    static constexpr std::size_t kMost = 20;
    std::vector<std::string> all_;
    bool faithful_ = true;
};

}  // namespace quillet
