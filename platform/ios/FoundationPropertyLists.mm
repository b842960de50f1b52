#include "platform/ios/FoundationPropertyLists.hpp"

#include "platform/ios/FoundationValues.h"
#include "util/Files.hpp"
#include "util/Log.hpp"

namespace quillet {

std::optional<util::PropertyDictionary> FoundationPropertyLists::dictionaryWithContentsOfFile(const std::string& path) {
    const auto file = util::readFile(path);
    if (!file) return std::nullopt;
    @autoreleasepool {
        NSData* data = [NSData dataWithBytes:file->bytes().data() length:file->size()];
        return dictionaryOf([NSPropertyListSerialization propertyListWithData:data
                                                                      options:0
                                                                       format:nullptr
                                                                        error:nullptr]);
    }
}

bool FoundationPropertyLists::writeToFile(const util::PropertyDictionary& dictionary, const std::string& path,
                                          bool atomically) {
    @autoreleasepool {
        NSData* data = [NSPropertyListSerialization dataWithPropertyList:objectOf(dictionary)
                                                                  format:NSPropertyListXMLFormat_v1_0
                                                                 options:0
                                                                   error:nullptr];
        const bool written = data != nil && [data writeToFile:stringOf(path) atomically:atomically];
        if (!written) util::log(path + " cannot be written");
        return written;
    }
}

}  // namespace quillet
