#include "cli/ResourceDictionary.hpp"

#include <cstddef>
#include <memory>
#include <optional>

#include "cli/Root.hpp"
#include "platform/linux/LibplistPropertyLists.hpp"

namespace quillet {

extern const unsigned char kDataPlist[];
extern const std::size_t kDataPlistLength;

namespace cli {

DictionaryLoader resourceDictionary() {
    return [] {
        static const auto value = std::make_shared<const std::optional<util::PropertyValue>>(
            LibplistPropertyLists::parsed({kDataPlist, kDataPlistLength}));
        const util::PropertyDictionary* dictionary = *value ? (*value)->dictionary() : nullptr;
        return LoadedDictionary{{value, dictionary}, "data.plist in the program"};
    };
}

void giveResourceDictionary() {
    static const bool given = TagAPI::sharedInstance().loadDictionary(resourceDictionary());
    if (!given) throw UserError("the frame library of this program cannot be read");
}

}  // namespace cli

}  // namespace quillet
