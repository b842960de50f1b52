#include <sys/mman.h>
#include <unistd.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "platform/linux/LibavMediaFramework.hpp"
#include "util/Bytes.hpp"
#include "util/Files.hpp"
#include "util/Text.hpp"

using namespace quillet;

/// Whatever a file holds, it is read or refused with a reason, its text is UTF-8 and its duration is a number.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const util::FileDescriptor file(memfd_create("fuzz", MFD_CLOEXEC));
    if (!file.isOpen() || !util::writeAll(file.number(), {data, size}).ok()) return 0;
    const std::string path = "/proc/self/fd/" + std::to_string(file.number());
    LibavMediaFramework media;
    const auto asset = media.assetAtPath(path);
    if (asset.has_value() != media.reasonAgainst(path).empty()) std::abort();
    if (!asset) return 0;
    if (!std::isfinite(asset->durationSeconds) || asset->durationSeconds < 0) std::abort();
    for (const MetadataFormat& format : asset->formats) {
        for (const MetadataItem& item : format.items) {
            const auto text = item.stringValue();
            if (text && !util::isUTF8(*text)) std::abort();
        }
    }
    return 0;
}
