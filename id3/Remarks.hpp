#pragma once

#include <algorithm>
#include <string>
#include <vector>

namespace quillet {

/// What a reader had to guess, cut, skip or leave unread, in plain words, each once. Empty where everything was read as
/// it stands; a tag with remarks was not read faithfully.
class Remarks {
  public:
    void add(std::string remark) {
        if (std::find(all_.begin(), all_.end(), remark) == all_.end() && all_.size() < kMost)
            all_.push_back(std::move(remark));
    }
    bool empty() const { return all_.empty(); }
    const std::vector<std::string>& all() const { return all_; }
    void clear() { all_.clear(); }

  private:
    /// A tag of a million broken frames needs no million words.
    static constexpr std::size_t kMost = 20;
    std::vector<std::string> all_;
};

}  // namespace quillet
