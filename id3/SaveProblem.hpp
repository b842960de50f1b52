#pragma once

#include <cerrno>
#include <cstdint>
#include <string>

#include "util/Files.hpp"

namespace quillet {

/// Why a file was not saved, fit to stand behind its name.
inline std::string saveProblem(const util::Status& failure) {
    if (failure.error() == EBUSY) return "was changed by another program meanwhile";
    return "cannot be written: " + failure.message();
}

/// Of a file with that many names, which a save would part.
inline std::string saveProblemOfLinks(std::uint64_t names) {
    return "has " + std::to_string(names) + " names (hard links); --break-links saves it under this one alone";
}

}  // namespace quillet
