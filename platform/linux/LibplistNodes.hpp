#pragma once

#include <plist/plist.h>

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>

#include "util/Text.hpp"

/// libplist's objects as both reading and writing hold them.
namespace quillet::libplist {

struct NodeFreer {
    void operator()(void* node) const noexcept { plist_free(node); }
};
using Node = std::unique_ptr<void, NodeFreer>;

struct MemoryFreer {
    void operator()(char* memory) const noexcept { std::free(memory); }
};
using Memory = std::unique_ptr<char, MemoryFreer>;

struct Form {
    Memory memory;
    std::uint32_t size = 0;
    std::string_view text() const { return memory ? std::string_view(memory.get(), size) : std::string_view(); }
};

inline Form formOf(plist_t node, void (*write)(plist_t, char**, std::uint32_t*)) {
    char* memory = nullptr;
    Form form;
    write(node, &memory, &form.size);
    form.memory.reset(memory);
    return form;
}

inline std::string wellFormed(std::string_view text) {
    return util::isUTF8(text) ? std::string(text) : util::decodeUTF8(util::bytesOf(text));
}

}  // namespace quillet::libplist
