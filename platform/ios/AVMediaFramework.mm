#include "platform/ios/AVMediaFramework.hpp"

#include <sys/stat.h>

#include <cmath>

#include "platform/ios/FoundationValues.h"
#import "platform/ios/PrivateClasses.h"
#import "platform/ios/SystemClasses.h"
#include "util/Log.hpp"

namespace quillet {

namespace {

bool isRegularFile(const std::string& path) {
    struct stat facts = {};
    return stat(path.c_str(), &facts) == 0 && S_ISREG(facts.st_mode);
}

/// A number as it is; four characters as the code that they are.
std::optional<std::uint32_t> keyOf(id key) {
    if ([key isKindOfClass:[NSNumber class]]) return [key unsignedIntValue];
    if (![key isKindOfClass:[NSString class]] || [key length] != 4) return std::nullopt;
    std::uint32_t code = 0;
    for (NSUInteger i = 0; i < 4; ++i) {
        const unichar character = [key characterAtIndex:i];
        if (character > 0xFF) return std::nullopt;
        code = code << 8 | character;
    }
    return code;
}

MetadataItem itemOf(id<AVMetadataItemObject> item) {
    NSString* const text = [item stringValue];
    return {textOf([item commonKey]), textOf([item keySpace]), keyOf([item key]), valueOf([item value]),
            text == nil ? std::nullopt : std::optional(textOf(text))};
}

double durationOf(id<AVURLAssetObject> asset) {
    using Seconds = double (*)(CMTime);
    const auto seconds = reinterpret_cast<Seconds>(symbolNamed("CMTimeGetSeconds", kCoreMedia));
    if (asset == nil || seconds == nullptr) return 0;
    const double duration = seconds([asset duration]);
    return std::isfinite(duration) && duration > 0 ? duration : 0;
}

std::optional<MediaAsset> contentOf(id<AVURLAssetObject> asset) {
    if (asset == nil) return std::nullopt;
    MediaAsset result;
    for (NSString* name in [asset availableMetadataFormats]) {
        MetadataFormat& format = result.formats.emplace_back(MetadataFormat{textOf(name), {}});
        for (id<AVMetadataItemObject> item in [asset metadataForFormat:name]) format.items.push_back(itemOf(item));
    }
    result.durationSeconds = durationOf(asset);
    // The class answers for every file; one that it cannot read has nothing to say.
    if (result.formats.empty() && result.durationSeconds == 0) return std::nullopt;
    return result;
}

}  // namespace

std::optional<MediaAsset> AVMediaFramework::assetAtPath(const std::string& path) {
    if (!isRegularFile(path)) return std::nullopt;
    @autoreleasepool {
        const id assetClass = answering(classNamed("AVURLAsset", kAVFoundation), @selector(URLAssetWithURL:options:));
        @try {
            return contentOf([(id<AVURLAssetClass>)assetClass URLAssetWithURL:[NSURL fileURLWithPath:stringOf(path)]
                                                                      options:nil]);
        } @catch (NSException* raised) {
            // What the framework lacks costs this file its values, and not the host.
            util::log("the media framework does not read " + path + ": " + textOf([raised reason]));
            return std::nullopt;
        }
    }
}

}  // namespace quillet
