#include <cstdlib>
#include <memory>

#include "id3/V20FrameSet.hpp"
#include "id3/V23FrameSet.hpp"
#include "id3/V24FrameSet.hpp"
#include "util/Log.hpp"

using namespace quillet;

namespace {

void require(bool holds) {
    if (!holds) std::abort();
}

/// What a walk asks the dialect; each is turned over on its own, too.
constexpr bool Dialect::* kEntries[] = {&Dialect::walksPastTheTag,
                                        &Dialect::guessesRoomForFrames,
                                        &Dialect::cutsLargeFrames,
                                        &Dialect::switchesToPlainSizesMidway,
                                        &Dialect::takesSpaceInIdentifiers,
                                        &Dialect::stopsAtOldIdentifiers,
                                        &Dialect::readsFormatFieldsAtFixedPlaces,
                                        &Dialect::reversesUnsynchronisationInPlace};

/// What one byte can become when it is decompressed.
constexpr std::size_t kMostGrowth = 1032;

void walk(const FrameWalkInput& input, unsigned version) {
    FrameStore frames;
    std::unique_ptr<const FrameWalk> walk;
    if (version == 2) walk = std::make_unique<V20FrameSet>(input, frames);
    if (version == 3) walk = std::make_unique<V23FrameSet>(input, frames);
    if (version == 4) walk = std::make_unique<V24FrameSet>(input, frames, true);

    const std::size_t size = input.tag.size();
    require(frames.all().size() <= size / (version == 2 ? 6 : 10));
    std::size_t views = 0;
    for (const auto& frame : frames.all()) {
        if (!frame->getRawFrameData()) continue;
        const util::Bytes body = frame->getRawFrameData()->bytes();
        require(body.size() <= size * kMostGrowth);
        const bool isView = body.data() >= input.tag.bytes().data() && body.data() <= input.tag.bytes().data() + size;
        if (isView) views += body.size() + (version == 2 ? 6 : 10);
        require(frame->isEqual(*frame));  // looks at every byte
    }
    if (input.dialect->guessesRoomForFrames || input.dialect->switchesToPlainSizesMidway) return;
    require(views <= size &&
            walk->getFrameSetLength() + input.frameOffset <= std::max<std::size_t>(size, input.frameOffset));
    require(walk->getFrameSetLength() >= views);
}

}  // namespace

/// The first byte chooses version and marks, the second how far in the frames begin; the rest is the tag.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    util::setLogSink([](std::string_view) {});
    if (size < 2) return 0;
    const util::Bytes bytes(data, size);
    const util::PropertyDictionary stops{{"TPE1", "x"}, {"TP1", "x"}};
    const FrameLibrary library;
    FrameWalkInput input{.tag = util::Data::copyOf(bytes.subspan(2)),
                         .frameOffset = bytes[1] < 0xF0 ? bytes[1] / 8U : bytes[1] - 0x100U,
                         .validFrameSet = (bytes[0] & 0x10) != 0 ? &stops : nullptr,
                         .tagUnsynchronised = (bytes[0] & 0x20) != 0,
                         .library = (bytes[0] & 0x40) != 0 ? &library : nullptr};
    const unsigned version = 2U + bytes[0] % 3U;
    for (const Dialect& base : {kSystemDialect, kStandardDialect}) {
        Dialect dialect = base;
        input.dialect = &dialect;
        walk(input, version);
        dialect.*kEntries[bytes[0] / 3U % std::size(kEntries)] = !base.system;
        walk(input, version);
    }
    return 0;
}
