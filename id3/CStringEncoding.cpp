#include "id3/CStringEncoding.hpp"

#include "util/Text.hpp"

namespace quillet {

namespace {

CStringEncoding current = {util::decodeLatin1, util::encodeLatin1Lossy};

}  // namespace

const CStringEncoding& defaultCStringEncoding() {
    return current;
}

void setDefaultCStringEncoding(const CStringEncoding& encoding) {
    current = encoding;
}

}  // namespace quillet
